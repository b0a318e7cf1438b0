// Threads, clocks, processors, the environment, the debugger sink and the system log on POSIX.
#include <fcntl.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ztbase/platform/internal/platform.h"

namespace ZtBase::platform {

unsigned CurrentThreadId() noexcept {
    static thread_local const unsigned id = static_cast<unsigned>(::syscall(SYS_gettid));
    return id;
}

unsigned long long MonotonicNanoseconds() noexcept {
    timespec ts;
    ::clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<unsigned long long>(ts.tv_sec) * 1000000000ull +
           static_cast<unsigned long long>(ts.tv_nsec);
}

unsigned ProcessorCount() noexcept {
    const long n = ::sysconf(_SC_NPROCESSORS_ONLN);
    return n > 0 ? static_cast<unsigned>(n) : 1u;
}

unsigned LocalTimeText(char (&out)[kTimeTextSize]) noexcept {
    static constexpr char kDays[] = "SunMonTueWedThuFriSat";
    static constexpr char kMonths[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
    // The text changes once a second; each thread keeps the last one it made (the log asks per record).
    thread_local time_t cachedSecond = -1;
    thread_local char cachedText[kTimeTextSize];
    thread_local unsigned cachedLength = 0;
    const time_t now = ::time(nullptr);
    if (now != cachedSecond) {
        tm t;
        if (!::localtime_r(&now, &t)) {
            out[0] = 0;
            return 0;
        }
        const int n = std::snprintf(cachedText, kTimeTextSize, "%.3s %.3s%3d %02d:%02d:%02d %d",
                                    kDays + 3 * (t.tm_wday % 7), kMonths + 3 * (t.tm_mon % 12), t.tm_mday,
                                    t.tm_hour, t.tm_min, t.tm_sec, t.tm_year + 1900);
        cachedLength = n > 0 ? static_cast<unsigned>(n) : 0u;
        cachedSecond = now;
    }
    std::memcpy(out, cachedText, kTimeTextSize);
    return cachedLength;
}

UtcTime CurrentUtcTime() noexcept {
    timespec ts;
    ::clock_gettime(CLOCK_REALTIME, &ts);
    tm t{};
    const time_t secs = ts.tv_sec;
    ::gmtime_r(&secs, &t);
    return UtcTime{static_cast<unsigned>(t.tm_year + 1900),
                   static_cast<unsigned>(t.tm_mon + 1),
                   static_cast<unsigned>(t.tm_mday),
                   static_cast<unsigned>(t.tm_hour),
                   static_cast<unsigned>(t.tm_min),
                   static_cast<unsigned>(t.tm_sec),
                   static_cast<unsigned>(ts.tv_nsec / 1000000)};
}

void* AllocateAligned(std::size_t size, std::size_t alignment) noexcept {
    return std::aligned_alloc(alignment, size);
}

void FreeAligned(void* block) noexcept {
    std::free(block);
}

std::vector<std::string> ProgramArguments(int argc, char** argv) {
    return std::vector<std::string>(argv, argv + argc);
}

void UntranslatedStandardStreams() noexcept {}

bool EnvironmentValue(const char* name, std::string& value) {
    const char* v = std::getenv(name);
    if (!v) return false;
    value = v;
    return true;
}

// ---- debugger sink ------------------------------------------------------------------------------
namespace {

// TracerPid from /proc/self/status: non-zero while a debugger or tracer is attached.
bool TracerAttached() noexcept {
    const int fd = ::open("/proc/self/status", O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    char buf[4096];
    std::size_t used = 0;
    for (;;) {
        const ssize_t got = ::read(fd, buf + used, sizeof(buf) - 1 - used);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        used += static_cast<std::size_t>(got);
        if (used == sizeof(buf) - 1) break;
    }
    ::close(fd);
    buf[used] = 0;
    const char* p = std::strstr(buf, "TracerPid:");
    if (!p) return false;
    return std::strtol(p + 10, nullptr, 10) != 0;
}

std::atomic<bool> gTracerSeen{false};
std::atomic<unsigned long long> gNextTracerCheck{0};

}  // namespace

bool DebugOutputWanted() noexcept {
    static const bool byEnvironment = std::getenv("ZTBASE_DEBUG_OUTPUT") != nullptr;
    if (byEnvironment) return true;
    const unsigned long long now = MonotonicNanoseconds();
    unsigned long long next = gNextTracerCheck.load(std::memory_order_relaxed);
    // One thread per second refreshes the answer; the others use the last one.
    if (now >= next &&
        gNextTracerCheck.compare_exchange_strong(next, now + 1000000000ull, std::memory_order_relaxed))
        gTracerSeen.store(TracerAttached(), std::memory_order_relaxed);
    return gTracerSeen.load(std::memory_order_relaxed);
}

void DebugOutput(const char* bytes, std::size_t count) noexcept {
    if (!DebugOutputWanted()) return;
    while (count > 0) {
        const ssize_t done = ::write(STDERR_FILENO, bytes, count);
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) return;
        bytes += done;
        count -= static_cast<std::size_t>(done);
    }
}

// ---- system log ---------------------------------------------------------------------------------
void SystemLogOpen(const char* identity) noexcept {
    ::openlog(identity, LOG_PID, LOG_USER);
}

void SystemLogWrite(SystemLogLevel level, const char* text, std::size_t count) noexcept {
    const int priority = level == SystemLogLevel::kError     ? LOG_ERR
                         : level == SystemLogLevel::kWarning ? LOG_WARNING
                                                             : LOG_INFO;
    ::syslog(priority, "%.*s", static_cast<int>(count), text);
}

void SystemLogClose() noexcept {
    ::closelog();
}

}  // namespace ZtBase::platform
