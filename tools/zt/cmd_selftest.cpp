// zt selftest: runs the library's self-test testers (all, or those named) on this machine and prints one
// line each, its name, PASS or FAIL, its time and what it checked or what failed, then a summary line.
// Exit 0 when every tester passed, 1 when one failed, 2 for a name no tester has.
#include "zt.h"

namespace zt {

Command AddSelfTestCommand(CLI::App& zt) {
    auto names = std::make_shared<std::vector<std::string>>();
    CLI::App* app = zt.add_subcommand("selftest", "Check that the library works on this machine");
    app->add_option("names", *names, "Testers to run (all when none is named)");
    app->footer("Testers: datatable, tasks, files, pools, strings.");
    return {app, [names] {
                using namespace ZtBase;
                std::vector<CUnitTesterBase*> testers;
                if (names->empty()) {
                    for (int i = 0, n = gUnitTestManager.GetTesterCount(); i < n; ++i)
                        testers.push_back(gUnitTestManager.GetTester(i));
                }
                for (const std::string& name : *names) {
                    CUnitTesterBase* tester = gUnitTestManager.FindTester(CUniStr::FromUtf8(name));
                    if (!tester) throw Failure{kUsage, "no tester named " + name};
                    testers.push_back(tester);
                }
                int failed = 0;
                double total = 0;
                for (CUnitTesterBase* tester : testers) {
                    const SUnitTestResult r = CUnitTestManager::Run(*tester);
                    failed += r.passed ? 0 : 1;
                    total += r.seconds;
                    std::printf("%-10s %s  %7.3f s  %s\n", r.name.ToUtf8().c_str(),
                                r.passed ? "PASS" : "FAIL", r.seconds, r.message.ToUtf8().c_str());
                    std::fflush(stdout);
                }
                std::printf("%zu testers, %d failed, %.3f s\n", testers.size(), failed, total);
                if (std::fflush(stdout) != 0) throw Failure{kIoError, "standard output: write error"};
                return failed ? kBadInput : kOk;
            }};
}

}  // namespace zt
