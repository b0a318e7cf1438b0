// The tool's output file with each system call of writing it failing in turn (open, writes, the sync):
// the failure reaches the command as exit code 3, the file it was to replace is as it was, and no
// temporary file is left behind.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "scratch_dir.h"
#include "system_call_faults.h"
#include "zt.h"

namespace {

TEST(ToolOutput, EachFailingCallLeavesTheOldFileAndNoTemporary) {
    ScratchDir dir("zt-output");
    const std::string path = dir / "out.zt";
    const std::string old = "the file as it was\n";
    std::string bytes;
    for (int i = 0; i < 3000; ++i) bytes += "(value " + std::to_string(i) + ")\n";  // several windows
    int failures = 0;
    const long long calls = test_support::ForEachFailingCall(
        test_support::kFaultAll,
        [&] {
            ScratchDir::WriteBytes(path, old);
            try {
                zt::Output out(path);
                out.Write(bytes.substr(0, 1000));
                out.Write(bytes.substr(1000));
                out.Commit();
            } catch (const zt::Failure& f) {
                ++failures;
                EXPECT_EQ(f.code, zt::kIoError) << f.message;
                EXPECT_EQ(f.message.rfind(path + ": ", 0), 0u) << f.message;
            }
        },
        [&](const test_support::FaultOutcome& o) {
            SCOPED_TRACE("call " + std::to_string(o.n));
            EXPECT_FALSE(o.threw) << "the library's error is the tool's failure: " << o.message;
            const std::string now = ScratchDir::ReadBytes(path);
            EXPECT_TRUE(now == old || now == bytes) << "neither the old file nor the new one";
            if (!o.tripped) {
                EXPECT_EQ(now, bytes);
            }
            int files = 0;
            for (const auto& entry :
                 std::filesystem::directory_iterator(std::filesystem::path(path).parent_path())) {
                if (entry.path() != path) ADD_FAILURE() << entry.path();
                ++files;
            }
            EXPECT_EQ(files, 1) << "a temporary file was left behind";
        });
    EXPECT_GE(calls, 4);
    EXPECT_EQ(failures, calls - 1);
}

}  // namespace
