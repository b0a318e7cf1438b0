#include "ztbase/log/log.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ztbase/errors/exceptions.h"
#include "ztbase/log/line_collector.h"
#include "ztbase/strings/unistr.h"

using namespace ZtBase;

namespace {

// Console output on, so that what the log prints can be captured; the defaults come back afterwards.
class LogConsole : public testing::Test {
protected:
    void SetUp() override {
        gLog.SetLogLevel(eLogError);
        gLog.SetCommandPromptLogging(1);
        testing::internal::CaptureStdout();
    }
    void TearDown() override {
        if (capturing) testing::internal::GetCapturedStdout();
        gLog.SetCommandPromptLogging(0);
        gLog.SetDebuggerLogging(1);
        gLog.SetLogLevel(eLogError);
    }
    std::string Captured() {
        capturing = false;
        return testing::internal::GetCapturedStdout();
    }
    bool capturing = true;
};

std::u16string U16(const CUniStr& s) {
    return std::u16string(reinterpret_cast<const char16_t*>(s.c_str()), s.Length());
}

const unsigned short* P(const char16_t* s) {
    return reinterpret_cast<const unsigned short*>(s);
}

// Collectors take the lines below the log while they live, formatted, and nest: the inner one hands the
// lines back to the outer one when it goes, and the outer one to the log.
TEST(LineCollector, GathersFormattedLinesAndNests) {
    CLineCollector outer;
    DebugWriteLn("first");
    {
        CLineCollector inner;
        SinkPrintf(eLogWarning, U16Literal(u"%s=%d;").text, U16Literal(u"n").text, 42);
        try {
            throw CZtSimpleException(10501, CUniStr("bad table"), "mappeddatatable", 7);
        } catch (const CZtException&) {
        }
        EXPECT_EQ(inner.GetText().ToUtf8(),
                  "n=42;Exception Thrown in mappeddatatable(7):  code=10501: bad table\n");
    }
    DebugWrite(u"second");
    EXPECT_EQ(outer.GetText().ToUtf8(), "first\nsecond");
}

}  // namespace

TEST_F(LogConsole, LevelFiltersLessSevereTypes) {
    EXPECT_EQ(gLog.printf(eLogError, "error %d\n", 1), 8);
    EXPECT_EQ(gLog.printf(eLogWarning, "warning\n"), 0);
    EXPECT_EQ(gLog.printf(eLogInformation, "info\n"), 0);
    EXPECT_EQ(gLog.printf(eLogUnclassified, "unclassified\n"), 13);  // type 0 always passes
    DebugWriteLn("debug line at the default level");
    DebugWrite(u"debug text at the default level");
    gLog.SetLogLevel(eLogWarning);
    DebugWriteLn(u"debug \u00e9");
    DebugWrite("no line feed|");
    EXPECT_EQ(gLog.printf(eLogInformation, "info\n"), 0);
    EXPECT_EQ(gLog.printf(static_cast<LogTypes>(7), "other\n"), 0);  // other types rank below information
    gLog.SetLogLevel(eLogInformation);
    EXPECT_EQ(gLog.wprintf(eLogInformation, u"info %s\n", P(u"ok")), 8);
    EXPECT_EQ(Captured(), "error 1\nunclassified\ndebug \xC3\xA9\nno line feed|info ok\n");
}

TEST_F(LogConsole, NothingIsOutputWithoutASinkOrText) {
    gLog.SetDebuggerLogging(0);
    gLog.SetCommandPromptLogging(0);
    EXPECT_EQ(gLog.printf(eLogError, "dropped\n"), 0);
    EXPECT_EQ(gLog.wprintf(eLogError, u"dropped\n"), 0);
    gLog.SetDebuggerLogging(1);  // on, though nothing reaches a terminal without a debugger
    EXPECT_EQ(gLog.printf(eLogError, "counted\n"), 8);
    gLog.SetCommandPromptLogging(1);
    EXPECT_EQ(gLog.printf(eLogError, "%s", ""), 0);
    EXPECT_EQ(gLog.PrintString(eLogError, "line"), 5);
    EXPECT_EQ(gLog.PrintString(eLogError, u"wide"), 5);
    EXPECT_EQ(Captured(), "line\nwide\n");
}

TEST_F(LogConsole, LongMessagesArriveWhole) {
    // Around the fixed buffer (1,023 units) and the first two heap sizes, and far beyond.
    std::string expected;
    for (std::size_t n : {1022u, 1023u, 1024u, 2000u, 4095u, 4096u, 16384u, 100000u}) {
        std::string narrow(n - 1, 'x');
        narrow[n / 2] = 'M';
        EXPECT_EQ(gLog.printf(eLogError, "%s\n", narrow.c_str()), static_cast<int>(n));
        expected += narrow + "\n";

        std::u16string wide(n - 1, u'\u00e9');
        wide[n / 3] = char16_t(0xD83D);  // a surrogate pair
        wide[n / 3 + 1] = char16_t(0xDE00);
        EXPECT_EQ(gLog.wprintf(eLogError, u"%s\n", P(wide.c_str())), static_cast<int>(n));
        expected += CUniStr(P(wide.c_str())).ToUtf8() + "\n";
    }
    const std::string got = Captured();
    EXPECT_EQ(got.size(), expected.size());
    EXPECT_TRUE(got == expected);
}

TEST_F(LogConsole, SimpleExceptionWritesOneErrorLineAndUnloggedNone) {
    {
        CZtSimpleException e(10005, CUniStr(u"threading error"), ".\\ztprocess", 150);
        CZtUnloggedException u(10005, CUniStr(u"threading error"), ".\\ztprocess", 150);
        CZtSimpleException copy(e);  // copying does not log again
    }
    EXPECT_EQ(Captured(), "Exception Thrown in .\\ztprocess(150):  code=10005: threading error\n");
}

TEST_F(LogConsole, ConcurrentWritersNeverInterleaveWithinALine) {
    constexpr int kThreads = 8, kLines = 400;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([t] {
            const std::string body(60 + t * 7, static_cast<char>('a' + t));
            for (int i = 0; i < kLines; ++i) {
                if (i % 2)
                    gLog.printf(eLogError, "T%d L%d %s\n", t, i, body.c_str());
                else
                    gLog.wprintf(eLogError, u"T%d L%d %S\n", t, i, body.c_str());
            }
        });
    for (auto& th : threads) th.join();
    std::istringstream lines(Captured());
    std::set<std::pair<int, int>> seen;
    std::string line;
    int count = 0;
    while (std::getline(lines, line)) {
        ++count;
        int t = -1, i = -1;
        char body[512] = {};
        ASSERT_EQ(std::sscanf(line.c_str(), "T%d L%d %511s", &t, &i, body), 3) << line;
        ASSERT_TRUE(t >= 0 && t < kThreads) << line;
        EXPECT_EQ(std::string(body), std::string(60 + t * 7, static_cast<char>('a' + t))) << line;
        EXPECT_TRUE(seen.insert({t, i}).second) << line;
    }
    EXPECT_EQ(count, kThreads * kLines);
}

TEST(LogRecord, LineFeedsBecomeIndentedLinesAndTrailingSpacesVanish) {
    const CUniStr time(u"Sat Nov 21 10:18:00 2026");
    const char16_t* text = u"a\nb\n  ";
    EXPECT_EQ(U16(CLogManager::BuildFileRecord(eLogWarning, P(text), 6, time)),
              u"Sat Nov 21 10:18:00 2026  W:  a\r\n    b\r\n");
    EXPECT_EQ(U16(CLogManager::BuildFileRecord(eLogError, P(u"  one  "), 7, time)),
              u"Sat Nov 21 10:18:00 2026  E:  one\r\n");  // the only piece is also the last
    EXPECT_EQ(U16(CLogManager::BuildFileRecord(eLogInformation, P(u"x\n\n  y  \nz  "), 12, time)),
              u"Sat Nov 21 10:18:00 2026  I:  x\r\n    \r\n      y  \r\n    z\r\n");
    EXPECT_EQ(U16(CLogManager::BuildFileRecord(eLogUnclassified, P(u"\n"), 1, time)),
              u"Sat Nov 21 10:18:00 2026  -:  \r\n");
    EXPECT_EQ(U16(CLogManager::BuildFileRecord(static_cast<LogTypes>(9), P(u"   "), 3, time)),
              u"Sat Nov 21 10:18:00 2026  -:  \r\n");
    // The length given is what counts, not a terminator.
    EXPECT_EQ(U16(CLogManager::BuildFileRecord(eLogError, P(u"abc\ndef"), 5, time)),
              u"Sat Nov 21 10:18:00 2026  E:  abc\r\n    d\r\n");
}

TEST(LogSetters, ThrowWhileTheConstructedFlagIsClear) {
    ASSERT_EQ(CLogManager::IsConstructed(), 1);
    auto other = std::make_unique<CLogManager>();
    other.reset();  // destroying any log manager clears the process-wide flag
    ASSERT_EQ(CLogManager::IsConstructed(), 0);
    try {
        gLog.SetLogLevel(eLogInformation);
        ADD_FAILURE() << "no exception";
    } catch (const CZtSimpleException& e) {
        EXPECT_EQ(e.GetErrorCode(), 10009);
        EXPECT_EQ(CUniStr(e.GetErrorString(0)), CUniStr(u"Initialization sequence is wrong"));
        EXPECT_EQ(CUniStr(e.GetModuleName()), CUniStr(u".\\log"));
    }
    EXPECT_THROW(gLog.SetCommandPromptLogging(1), CZtSimpleException);
    EXPECT_EQ(gLog.printf(eLogError, "dropped\n"), 0);  // output is dropped silently
    // A log manager constructed again sets the flag; it lives to the end of the program.
    static CLogManager restorer;
    EXPECT_EQ(CLogManager::IsConstructed(), 1);
    EXPECT_NO_THROW(gLog.SetLogLevel(eLogError));
}
