// The library's only way to the operating system. Everything here is internal (not exported, not
// installed); one implementation per system lives beside it (posix/ now). Other files include this header
// instead of any system header.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>

namespace ZtBase::platform {

// ---- threads and time ---------------------------------------------------------------------------
// The operating system's identifier of the calling thread (never all bits set).
unsigned CurrentThreadId() noexcept;
// A monotonic clock in nanoseconds, for intervals only.
unsigned long long MonotonicNanoseconds() noexcept;
// Processors online, at least 1.
unsigned ProcessorCount() noexcept;

// The local time in the 24-character layout "Sat Nov 21 10:18:00 2026" (no line feed), English names
// whatever the locale. out receives the text and a terminator; returns its length.
constexpr std::size_t kTimeTextSize = 32;
unsigned LocalTimeText(char (&out)[kTimeTextSize]) noexcept;

struct UtcTime {
    unsigned year;    // e.g. 2026
    unsigned month;   // 1-12
    unsigned day;     // 1-31
    unsigned hour;    // 0-23
    unsigned minute;  // 0-59
    unsigned second;  // 0-60
    unsigned millisecond;
};
UtcTime CurrentUtcTime() noexcept;

// ---- events -------------------------------------------------------------------------------------
// A manual-reset event: once set it releases every waiter, present and future, until it is reset.
class ManualResetEvent {
public:
    explicit ManualResetEvent(bool signalled) : m_signalled(signalled) {}
    ManualResetEvent(const ManualResetEvent&) = delete;
    ManualResetEvent& operator=(const ManualResetEvent&) = delete;

    void Set();
    void Reset();
    void Wait();
    // False when the event stayed unsignalled for milliseconds (measured on a steady clock).
    bool WaitFor(unsigned milliseconds);

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_signalled;
};

// ---- diagnostics sinks --------------------------------------------------------------------------
// True while debug output is wanted: a debugger (tracer) is attached, or the environment variable
// ZTBASE_DEBUG_OUTPUT is set. The variable is read once; the tracer is looked up at most about once a
// second, so asking is cheap.
bool DebugOutputWanted() noexcept;
// Writes the bytes to standard error when DebugOutputWanted(), else nothing.
void DebugOutput(const char* bytes, std::size_t count) noexcept;

enum class SystemLogLevel { kError, kWarning, kInformation };
// Names the process in the system log from now on. The text is kept by pointer: it must stay alive
// until SystemLogClose.
void SystemLogOpen(const char* identity) noexcept;
void SystemLogWrite(SystemLogLevel level, const char* text, std::size_t count) noexcept;
void SystemLogClose() noexcept;

// ---- environment --------------------------------------------------------------------------------
// The value of an environment variable; false when it is not set.
bool EnvironmentValue(const char* name, std::string& value);

}  // namespace ZtBase::platform
