#include "ztbase/base/line_sink.h"

#include <atomic>

namespace ZtBase {

namespace {
// Constant-initialised: lines written while global objects are built find either nothing or the log.
constinit std::atomic<CLineSink*> gSink{nullptr};

template <class Ch>
int Forward(LogTypes type, const Ch* format, va_list args) {
    CLineSink* sink = gSink.load(std::memory_order_acquire);
    if (!sink) return 0;
    if constexpr (sizeof(Ch) == 1)
        return sink->vprintf(type, format, args);
    else
        return sink->vwprintf(type, format, args);
}

constexpr unsigned short kText[] = {'%', 's', 0};
constexpr unsigned short kLine[] = {'%', 's', '\n', 0};
}  // namespace

CLineSink::~CLineSink() = default;

CLineSink* InstallLineSink(CLineSink* sink) noexcept {
    return gSink.exchange(sink, std::memory_order_acq_rel);
}

int SinkPrintf(LogTypes type, const unsigned short* format, ...) {
    va_list args;
    va_start(args, format);
    const int n = Forward(type, format, args);
    va_end(args);
    return n;
}

int SinkPrintf(LogTypes type, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int n = Forward(type, format, args);
    va_end(args);
    return n;
}

void DebugWrite(const unsigned short* text) {
    SinkPrintf(eLogWarning, kText, text);
}
void DebugWrite(const char* text) {
    SinkPrintf(eLogWarning, "%s", text);
}
void DebugWriteLn(const unsigned short* text) {
    SinkPrintf(eLogWarning, kLine, text);
}
void DebugWriteLn(const char* text) {
    SinkPrintf(eLogWarning, "%s\n", text);
}

}  // namespace ZtBase
