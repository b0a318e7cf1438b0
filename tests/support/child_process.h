// A second process for the tests that need one: this test program again, running a single test whose
// name starts with DISABLED_ (so that it never runs by itself), with its inputs in the environment. Works
// alike on every system the library runs on.
#pragma once

#if defined(_WIN32)
#include <windows.h>
#endif

#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace test_support {

inline void SetEnvironment(const std::string& name, const std::string& value) {
#if defined(_WIN32)
    ::_putenv_s(name.c_str(), value.c_str());
#else
    ::setenv(name.c_str(), value.c_str(), 1);
#endif
}

inline std::string ThisProgram() {
#if defined(_WIN32)
    char path[MAX_PATH];
    const DWORD n = ::GetModuleFileNameA(nullptr, path, MAX_PATH);
    return std::string(path, n);
#else
    return std::filesystem::read_symlink("/proc/self/exe").string();
#endif
}

// Runs Suite.DISABLED_Name in a new process of this program with the variables set; true when the test
// passed there.
inline bool ChildTestPasses(const std::string& test,
                            const std::vector<std::pair<std::string, std::string>>& env) {
    for (const auto& [name, value] : env) SetEnvironment(name, value);
    std::string command = "\"" + ThisProgram() + "\" --gtest_also_run_disabled_tests --gtest_filter=" + test;
#if defined(_WIN32)
    command = "\"" + command + " >NUL 2>&1\"";  // cmd /c drops the outer quotes
#else
    command += " >/dev/null 2>&1";
#endif
    return std::system(command.c_str()) == 0;
}

// The value a child test was given; empty when unset.
inline std::string ChildInput(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

}  // namespace test_support
