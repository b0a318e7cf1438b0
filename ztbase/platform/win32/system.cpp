// Clocks, processors, the environment, the debugger sink and the event log on Windows.
#include <fcntl.h>
#include <io.h>
#include <malloc.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "ztbase/platform/internal/platform.h"
#include "ztbase/platform/win32/windows_api.h"
// after windows.h
#include <shellapi.h>

namespace ZtBase::platform {

unsigned CurrentThreadId() noexcept {
    return static_cast<unsigned>(::GetCurrentThreadId());
}

unsigned long long MonotonicNanoseconds() noexcept {
    static const unsigned long long frequency = [] {
        LARGE_INTEGER f;
        ::QueryPerformanceFrequency(&f);
        return static_cast<unsigned long long>(f.QuadPart);
    }();
    LARGE_INTEGER now;
    ::QueryPerformanceCounter(&now);
    const auto ticks = static_cast<unsigned long long>(now.QuadPart);
    // Whole seconds and the rest apart, so that the product cannot overflow.
    return ticks / frequency * 1000000000ull + ticks % frequency * 1000000000ull / frequency;
}

unsigned ProcessorCount() noexcept {
    SYSTEM_INFO info{};
    ::GetSystemInfo(&info);
    return info.dwNumberOfProcessors > 0 ? static_cast<unsigned>(info.dwNumberOfProcessors) : 1u;
}

void SleepMilliseconds(unsigned milliseconds) noexcept {
    ::Sleep(milliseconds);
}

unsigned LocalTimeText(char (&out)[kTimeTextSize]) noexcept {
    static constexpr char kDays[] = "SunMonTueWedThuFriSat";
    static constexpr char kMonths[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
    SYSTEMTIME t{};
    ::GetLocalTime(&t);
    const int n =
        std::snprintf(out, kTimeTextSize, "%.3s %.3s%3u %02u:%02u:%02u %u", kDays + 3 * (t.wDayOfWeek % 7),
                      kMonths + 3 * ((t.wMonth + 11) % 12), unsigned(t.wDay), unsigned(t.wHour),
                      unsigned(t.wMinute), unsigned(t.wSecond), unsigned(t.wYear));
    return n > 0 ? static_cast<unsigned>(n) : 0u;
}

UtcTime CurrentUtcTime() noexcept {
    SYSTEMTIME t{};
    ::GetSystemTime(&t);
    return UtcTime{t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute, t.wSecond, t.wMilliseconds};
}

void* AllocateAligned(std::size_t size, std::size_t alignment) noexcept {
    return ::_aligned_malloc(size, alignment);
}

void FreeAligned(void* block) noexcept {
    ::_aligned_free(block);
}

std::vector<std::string> ProgramArguments(int argc, char** argv) {
    int count = 0;
    wchar_t** wide = ::CommandLineToArgvW(::GetCommandLineW(), &count);
    if (!wide) return std::vector<std::string>(argv, argv + argc);
    std::vector<std::string> result;
    for (int i = 0; i < count; ++i) {
        const int n = ::WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, nullptr, 0, nullptr, nullptr);
        std::string text(n > 0 ? static_cast<std::size_t>(n) : 1u, '\0');
        if (n > 0) ::WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, text.data(), n, nullptr, nullptr);
        text.resize(text.size() - 1);  // the terminator
        result.push_back(std::move(text));
    }
    ::LocalFree(wide);
    return result;
}

void UntranslatedStandardStreams() noexcept {
    ::_setmode(::_fileno(stdin), _O_BINARY);
    ::_setmode(::_fileno(stdout), _O_BINARY);
}

bool EnvironmentValue(const char* name, std::string& value) {
    // The C run-time's copy, which _putenv and setenv in this process change too.
    const char* v = std::getenv(name);
    if (!v) return false;
    value = v;
    return true;
}

// ---- debugger sink ------------------------------------------------------------------------------

bool DebugOutputWanted() noexcept {
    static const bool byEnvironment = std::getenv("ZTBASE_DEBUG_OUTPUT") != nullptr;
    return byEnvironment || ::IsDebuggerPresent();
}

// To the debugger as 16-bit text (the bytes are code page 1252, whatever the system's code page), and to
// standard error as well when the environment asked for debug output.
void DebugOutput(const char* bytes, std::size_t count) noexcept {
    static const bool byEnvironment = std::getenv("ZTBASE_DEBUG_OUTPUT") != nullptr;
    if (!DebugOutputWanted()) return;
    try {
        if (::IsDebuggerPresent()) {
            const int n = ::MultiByteToWideChar(1252, 0, bytes, static_cast<int>(count), nullptr, 0);
            std::vector<wchar_t> wide(static_cast<std::size_t>(n) + 1, 0);
            ::MultiByteToWideChar(1252, 0, bytes, static_cast<int>(count), wide.data(), n);
            ::OutputDebugStringW(wide.data());
        }
    } catch (...) {
        std::string text(bytes, count);
        ::OutputDebugStringA(text.c_str());
    }
    if (byEnvironment) {
        std::fwrite(bytes, 1, count, stderr);
        std::fflush(stderr);
    }
}

// ---- event log ----------------------------------------------------------------------------------
namespace {
std::atomic<HANDLE> gEventSource{nullptr};
}

void SystemLogOpen(const char* identity) noexcept {
    const HANDLE source = ::RegisterEventSourceA(nullptr, identity);
    if (const HANDLE old = gEventSource.exchange(source)) ::DeregisterEventSource(old);
}

void SystemLogWrite(SystemLogLevel level, const char* text, std::size_t count) noexcept {
    const HANDLE source = gEventSource.load();
    if (!source) return;
    const WORD type = level == SystemLogLevel::kError     ? EVENTLOG_ERROR_TYPE
                      : level == SystemLogLevel::kWarning ? EVENTLOG_WARNING_TYPE
                                                          : EVENTLOG_INFORMATION_TYPE;
    try {
        const std::string line(text, count);
        const char* strings[] = {line.c_str()};
        ::ReportEventA(source, type, 0, 0, nullptr, 1, 0, strings, nullptr);
    } catch (...) {
    }
}

void SystemLogClose() noexcept {
    if (const HANDLE old = gEventSource.exchange(nullptr)) ::DeregisterEventSource(old);
}

}  // namespace ZtBase::platform
