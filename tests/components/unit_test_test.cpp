#include <gtest/gtest.h>
#include <ztbase/components/unit_test.h>
#include <ztbase/errors/exceptions.h>

#include <string>

using namespace ZtBase;

namespace {

TEST(UnitTestManager, TheLibrarysOwnTestersRunAndPassHere) {
    ASSERT_EQ(gUnitTestManager.GetTesterCount(), 5);
    for (const char* name : {"datatable", "tasks", "files", "pools", "strings"}) {
        SCOPED_TRACE(name);
        CUnitTesterBase* tester = gUnitTestManager.FindTester(CUniStr(name));
        ASSERT_NE(tester, nullptr);
        const SUnitTestResult result = CUnitTestManager::Run(*tester);
        EXPECT_TRUE(result.passed) << result.message.ToUtf8();
        EXPECT_EQ(result.name.ToUtf8(), name);
        EXPECT_GE(result.seconds, 0.0);
    }
    EXPECT_EQ(gUnitTestManager.FindTester(CUniStr("TASKS")), gUnitTestManager.FindTester(CUniStr("tasks")));
    EXPECT_EQ(gUnitTestManager.FindTester(CUniStr("nothing")), nullptr);
    EXPECT_EQ(gUnitTestManager.GetTester(5), nullptr);
}

struct Scripted : CUnitTesterBase {
    int behaviour;
    Scripted(const char* name, int b) : CUnitTesterBase(CUniStr(name)), behaviour(b) {}
    unsigned char RunTest(CUniStr& message) override {
        if (behaviour == 1) throw CZtSimpleException(10009, CUniStr("gone wrong"), "here", 1);
        if (behaviour == 2) throw std::runtime_error("standard failure");
        message = CUniStr("checked nothing");
        return behaviour == 0 ? 1 : 0;
    }
};

TEST(UnitTestManager, FailuresAndExceptionsAreReportedAndTestersComeAndGo) {
    Scripted passing("passing", 0), library("library", 1), standard("standard", 2), failing("failing", 3);
    const struct {
        Scripted* tester;
        bool passed;
        const char* message;
    } cases[] = {{&passing, true, "checked nothing"},
                 {&library, false, "gone wrong"},
                 {&standard, false, "standard failure"},
                 {&failing, false, "checked nothing"}};
    for (const auto& c : cases) {
        gUnitTestManager.Register(c.tester);
        gUnitTestManager.Register(c.tester);  // once only
        const SUnitTestResult result = CUnitTestManager::Run(*c.tester);
        EXPECT_EQ(static_cast<bool>(result.passed), c.passed);
        EXPECT_EQ(result.message.ToUtf8(), c.message);
    }
    EXPECT_EQ(gUnitTestManager.GetTesterCount(), 9);
    for (const auto& c : cases) gUnitTestManager.Unregister(c.tester);
    EXPECT_EQ(gUnitTestManager.GetTesterCount(), 5);
    EXPECT_EQ(gUnitTestManager.FindTester(CUniStr("passing")), nullptr);
}

}  // namespace
