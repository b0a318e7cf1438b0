// Writes that the disk refuses part-way, injected through the platform's table of system calls: for
// every number of bytes the disk still takes, the write error is raised and the bytes that were in the
// file before are intact.
#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/files/disk_file.h>

#include <algorithm>
#include <random>
#include <string>

#include "expect_error.h"
#include "scratch_dir.h"
#include "system_call_faults.h"

using namespace ZtBase;
using test_support::ExpectError;
using test_support::FailSyncs;
using test_support::FailWritesAfter;
using test_support::MessageOf;

namespace {

constexpr unsigned kIO = 11001;

std::string RandomBytes(std::mt19937& rng, std::size_t n) {
    std::string s(n, '\0');
    for (auto& c : s) c = static_cast<char>(rng() & 0xFF);
    return s;
}

// Budgets from nothing to the whole payload: each of the first bytes, every window boundary and the
// bytes around it, and a stride through the rest.
std::vector<long long> Budgets(long long total) {
    std::vector<long long> out;
    for (long long b = 0; b < 8; ++b) out.push_back(b);
    for (long long w = CXFileBuffered::kWindowSize; w <= total + 1; w += CXFileBuffered::kWindowSize)
        for (long long d = -1; d <= 1; ++d) out.push_back(w + d);
    for (long long b = 8; b < total; b += 1531) out.push_back(b);
    out.push_back(total - 1);
    out.push_back(total);
    std::sort(out.begin(), out.end());
    out.erase(std::unique(out.begin(), out.end()), out.end());
    return out;
}

TEST(WriteFailure, EachBudgetRaisesTheWriteErrorAndKeepsTheEarlierBytes) {
    ScratchDir dir("write-failure");
    std::mt19937 rng(11);
    const std::string before = RandomBytes(rng, 3000);
    const std::string payload = RandomBytes(rng, 3 * CXFileBuffered::kWindowSize + 1234);
    const std::string path = dir / "f.bin";
    for (unsigned char buffered : {0, 1}) {
        for (long long budget : Budgets(static_cast<long long>(payload.size()))) {
            SCOPED_TRACE("buffered " + std::to_string(buffered) + ", budget " + std::to_string(budget));
            ScratchDir::WriteBytes(path, before);
            bool raised = false;
            std::size_t accepted = 0;  // bytes WriteBlock took before the failure
            {
                CXFile f = OpenDiskFile(path.c_str(), buffered, XF_BINARY, 0, XF_SHARE_NONE);
                f.SeekFromEnd(0);
                FailWritesAfter disk(budget);
                try {
                    while (accepted < payload.size()) {
                        const unsigned n =
                            static_cast<unsigned>(std::min<std::size_t>(1000, payload.size() - accepted));
                        ASSERT_EQ(f.WriteBlock(payload.data() + accepted, n), n);
                        accepted += n;
                    }
                    f.Flush();
                } catch (const CZtXFileException& e) {
                    raised = true;
                    EXPECT_EQ(e.GetExceptionErrorCode(), kIO);
                    EXPECT_EQ(MessageOf(e), "File write failed : " + path);
                }
                EXPECT_EQ(raised, budget < static_cast<long long>(payload.size()));
                // The disk holds the earlier bytes and exactly what it took of the payload (looked at where
                // a file open for exclusive use can be read; the check after the release holds everywhere).
                if (test_support::kExclusiveFilesReadable) {
                    const std::string now = ScratchDir::ReadBytes(path);
                    const std::size_t took =
                        std::min<std::size_t>(static_cast<std::size_t>(budget), payload.size());
                    ASSERT_EQ(now.size(), before.size() + took);
                    EXPECT_EQ(now.substr(0, before.size()), before);
                    EXPECT_EQ(now.substr(before.size()), payload.substr(0, took));
                }
            }
            // With the disk back, releasing the buffered file writes what its window still held: the file
            // holds the earlier bytes and a prefix of the payload covering every block the file took.
            const std::string after = ScratchDir::ReadBytes(path);
            ASSERT_GE(after.size(), before.size() + accepted);
            EXPECT_EQ(after.substr(0, before.size()), before);
            EXPECT_EQ(after.substr(before.size()), payload.substr(0, after.size() - before.size()));
            if (!raised) {
                EXPECT_EQ(after.size(), before.size() + payload.size());
            }
        }
    }
}

TEST(WriteFailure, AFailedSyncGivesEachKindsMessage) {
    ScratchDir dir("sync-failure");
    const std::string path = dir / "s.bin";
    ScratchDir::WriteBytes(path, "kept");
    const struct {
        unsigned char buffered;
        std::string message;
    } cases[] = {{0, "I/O error on file : " + path},
                 {1, "I/O error on file:\n        " + test_support::SystemMessage(test_support::kErrorIo)}};
    for (const auto& c : cases) {
        CXFile f = OpenDiskFile(path.c_str(), c.buffered, XF_BINARY, 0, XF_SHARE_NONE);
        f.SeekFromEnd(0);
        f.WriteBlock("+more", 5);
        FailSyncs sync;
        ExpectError<CZtXFileException>([&] { f.Flush(); }, kIO, c.message);
    }
    EXPECT_EQ(ScratchDir::ReadBytes(path), "kept+more+more");
}

}  // namespace

// Every system call of an append, a cut and a flush made to fail in turn (the nth for n = 1, 2, ... until
// the operation needs fewer): each failure is raised as the file error, and the bytes that were in the file
// before are intact. A failure that reached the caller as nothing at all would be a lost write.
TEST(WriteFailure, EachFailingSystemCallIsRaisedAndKeepsTheEarlierBytes) {
    ScratchDir dir("nth-call");
    std::mt19937 rng(5);
    const std::string before = RandomBytes(rng, 5000);
    const std::string payload = RandomBytes(rng, 2 * CXFileBuffered::kWindowSize + 777);
    const std::string path = dir / "f.bin";
    for (unsigned char buffered : {0, 1}) {
        SCOPED_TRACE("buffered " + std::to_string(buffered));
        const long long calls = test_support::ForEachFailingCall(
            test_support::kFaultAll,
            [&] {
                ScratchDir::WriteBytes(path, before);
                CXFile f = AppendDiskFile(path.c_str(), buffered, XF_BINARY, XF_SHARE_NONE);
                f.WriteBlock(payload.data(), 3000);
                f.WriteBlock(payload.data() + 3000, static_cast<unsigned>(payload.size()) - 3000);
                f.Flush();
                f.SetFileLength(static_cast<unsigned>(before.size() + payload.size() - 10));
                f.Flush();
            },
            [&](const test_support::FaultOutcome& o) {
                SCOPED_TRACE("call " + std::to_string(o.n));
                EXPECT_EQ(o.tripped, o.threw) << "a failed call is raised, and only then";
                if (o.threw) {
                    EXPECT_EQ(o.code, static_cast<int>(kIO));
                }
                const std::string now = ScratchDir::ReadBytes(path);
                ASSERT_GE(now.size(), before.size());
                EXPECT_EQ(now.substr(0, before.size()), before);
                if (!o.tripped) {
                    EXPECT_EQ(now, before + payload.substr(0, payload.size() - 10));
                }
            });
        EXPECT_GE(calls, 5) << "open, writes, syncs and the cut were each made to fail";
    }
}
