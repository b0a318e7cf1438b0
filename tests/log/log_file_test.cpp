#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/files/file_system.h>
#include <ztbase/log/log.h>

#include <filesystem>
#include <regex>

#include "scratch_dir.h"
#include "system_call_faults.h"

using namespace ZtBase;

namespace {

// The log file holds UTF-16 units; the tests read it back narrowed (all their text is ASCII).
std::string ReadUnits(const std::string& path) {
    const std::string bytes = ScratchDir::ReadBytes(path);
    std::string text;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        EXPECT_EQ(bytes[i + 1], 0) << "a unit above 255 at byte " << i;
        text += bytes[i];
    }
    return text;
}

// The log keeps the stem of the first file it was given for its whole life and holds its current file
// open, so the tests of one process share one directory and each starts its own file in it.
class LogFile : public testing::Test {
protected:
    static void SetUpTestSuite() { suiteDir = new ScratchDir("log"); }
    static void TearDownTestSuite() {
        delete suiteDir;
        suiteDir = nullptr;
    }
    void SetUp() override {
        logPath = dir / ("run" + std::to_string(++files) + ".log");
        CXFile file = gFileSystem.Create(eOpenProgramDir, CStr(logPath.c_str()), 1, XF_BINARY);
        gLog.SetLogFile(file);
        EXPECT_TRUE(file.IsNull()) << "the caller's handle is closed";
        gLog.SetFileLogging(1);
        gLog.SetFileLoggingFlush(1);
    }
    void TearDown() override {
        gLog.SetFileLogging(0);
        gLog.SetFileLoggingFlush(0);
        gLog.SetLogLevel(eLogError);
    }
    static inline ScratchDir* suiteDir = nullptr;
    static inline int files = 0;
    const ScratchDir& dir = *suiteDir;
    std::string logPath;
};

TEST_F(LogFile, RecordsCarryTimeTypeAndIndentedLines) {
    gLog.SetLogLevel(eLogInformation);
    gLog.printf(eLogError, "disk %s\n", "full");
    gLog.wprintf(eLogInformation, u"a\nb\n  ");
    gLog.PrintString(eLogUnclassified, "plain");
    gLog.SetLogLevel(eLogError);
    EXPECT_EQ(gLog.printf(eLogWarning, "filtered\n"), 0);

    const std::string text = ReadUnits(logPath);
    const std::regex layout(
        "log created\n"
        "([A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]\\d \\d\\d:\\d\\d:\\d\\d \\d{4})  E:  disk full\r\n"
        "[A-Za-z0-9: ]{24}  I:  a\r\n    b\r\n"
        "[A-Za-z0-9: ]{24}  -:  plain\r\n");
    EXPECT_TRUE(std::regex_match(text, layout)) << text;
}

TEST_F(LogFile, ExceptionsLeaveTheirLineInTheFile) {
    const CZtSimpleException e(10005, CUniStr(u"threading error"), ".\\ztprocess", 150);
    const CZtUnloggedException quiet(10005, CUniStr(u"unlogged"), ".\\ztprocess", 151);
    const std::string text = ReadUnits(logPath);
    EXPECT_NE(text.find("E:  Exception Thrown in .\\ztprocess(150):  code=10005: threading error\r\n"),
              std::string::npos)
        << text;
    EXPECT_EQ(text.find("unlogged"), std::string::npos);
}

TEST_F(LogFile, RollsOverAfterFourMebibytesToAFileNamedByTheUtcTime) {
    const std::string line(1000, 'x');
    int records = 0;
    while (gLog.GetLogFileName() == CStr(logPath.c_str())) {
        ASSERT_GT(gLog.printf(eLogError, "%s\n", line.c_str()), 0);
        ASSERT_LT(++records, 3000) << "no roll-over";
    }
    // Each record is 24 + 2 + 4 + 1000 + 2 units: the switch comes with the record that passes 4 MiB.
    const int recordBytes = 2 * (24 + 2 + 4 + 1000 + 2);
    EXPECT_EQ(records, 0x400000 / recordBytes + 1);
    EXPECT_GE(std::filesystem::file_size(logPath), 0x400000u);

    const std::string next = gLog.GetLogFileName().c_str();
    const std::string base = std::filesystem::path(next).filename().string();
    // stem "_" year-month-day "_" hour-minute-second-milliseconds "." extension, padded with spaces.
    EXPECT_EQ(std::filesystem::path(next).parent_path(), std::filesystem::path(logPath).parent_path());
    EXPECT_TRUE(std::regex_match(
        base, std::regex("run\\d+_\\d{4}-[ 1]\\d-[ 123]\\d_[ 12]\\d-[ 0-5]\\d-[ 0-6]\\d-[ 0-9]{3}\\d\\.log")))
        << base;
    gLog.printf(eLogError, "after\n");
    const std::string text = ReadUnits(next);
    EXPECT_EQ(text.rfind("log created\n", 0), 0u) << text.substr(0, 40);
    EXPECT_NE(text.find("E:  after\r\n"), std::string::npos);
}

TEST_F(LogFile, NothingReachesTheFileWhileFileLoggingIsOff) {
    gLog.SetFileLogging(0);
    gLog.printf(eLogError, "hidden\n");
    EXPECT_EQ(ReadUnits(logPath), "log created\n");
}

// A disk that takes only some bytes of a record: the writer learns of it through the file's error, and
// every record, the refused ones too (they stay in the file's window), is in the file in order once the
// disk takes writes again.
TEST_F(LogFile, AFullDiskRaisesTheWriteErrorAndLosesNoRecord) {
    gLog.printf(eLogError, "record 0\n");
    const std::string start = ReadUnits(logPath);
    int raised = 0, records = 1;
    for (long long budget = 0; budget < 4000; budget += 97, ++records) {
        test_support::FailWritesAfter disk(budget);
        try {
            EXPECT_GT(gLog.printf(eLogError, "record %d\n", records), 0);
        } catch (const CZtXFileException& e) {
            ++raised;
            EXPECT_EQ(e.GetExceptionErrorCode(), 11001u);
            EXPECT_EQ(CUniStr(e.GetErrorString(0)).ToUtf8(), "File write failed : " + logPath);
        }
        EXPECT_EQ(ReadUnits(logPath).substr(0, start.size()), start) << "the earlier records are intact";
    }
    EXPECT_GT(raised, 5);
    EXPECT_LT(raised, records - 1) << "large budgets take the whole window";
    gLog.printf(eLogError, "record %d\n", records);
    const std::string text = ReadUnits(logPath);
    std::size_t at = 0;
    for (int i = 0; i <= records; ++i) {
        const std::size_t found = text.find("E:  record " + std::to_string(i) + "\r\n", at);
        ASSERT_NE(found, std::string::npos) << "record " << i << " in\n" << text;
        at = found;
    }
}

// Each system call of writing up to a roll-over made to fail in turn (every one of the first 40, then a
// stride through the rest, for a roll-over takes some 700 calls): the failure reaches the writer as the
// file's error, and the bytes already in the first file are intact.
TEST_F(LogFile, EachFailingCallUpToARollOverIsRaisedAndKeepsTheEarlierBytes) {
    gLog.SetFileLoggingFlush(0);
    const std::string line(7000, 'y');  // records of some 14 KB: a roll-over after about 300
    long long n = 1, cleanCalls = -1;
    int raised = 0;
    for (; cleanCalls < 0; n += n < 40 ? 1 : 37) {
        SCOPED_TRACE("call " + std::to_string(n));
        const std::string path = dir / ("nth" + std::to_string(n) + ".log");
        CXFile file = gFileSystem.Create(eOpenProgramDir, CStr(path.c_str()), 1, XF_BINARY);
        gLog.SetLogFile(file);
        const std::string earlier = ScratchDir::ReadBytes(path);
        bool rolled = false;
        long long calls = 0;
        {
            test_support::FailNthCall fault(test_support::kFaultAll, n);
            try {
                for (int records = 0; !rolled; ++records) {
                    ASSERT_LT(records, 400) << "no roll-over";
                    gLog.printf(eLogError, "%s\n", line.c_str());
                    rolled = gLog.GetLogFileName() != CStr(path.c_str());
                }
            } catch (const CZtXFileException& e) {
                ++raised;
                EXPECT_EQ(e.GetExceptionErrorCode(), 11001u) << test_support::MessageOf(e);
            }
            calls = test_support::FailNthCall::Calls();
        }
        EXPECT_EQ(ScratchDir::ReadBytes(path).substr(0, earlier.size()), earlier);
        if (calls < n) {
            EXPECT_TRUE(rolled);
            cleanCalls = calls;
        }
    }
    EXPECT_GT(cleanCalls, 100);
    EXPECT_GT(raised, 20);
}

}  // namespace
