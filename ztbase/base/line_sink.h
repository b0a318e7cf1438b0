// Where code below the log leaves its lines: an exception's line, the debug lines of files and threads.
// Those layers cannot include the log, which is built on them; they write through the one line sink
// that the log installs when it is constructed and removes when it is destroyed. Until then, and after,
// their lines are dropped, as the log itself drops output while it is not constructed.
#pragma once

#include <cstdarg>

#include "ztbase/platform/export.h"

namespace ZtBase {

// A lower number is more severe; 0 (unclassified) always passes the log's level filter.
enum LogTypes { eLogUnclassified = 0, eLogError = 1, eLogWarning = 2, eLogInformation = 3 };

// The receiving end: formats (the library's printf-style formats, 8-bit or 16-bit) and outputs one
// message, returning its length, or 0 when nothing was output.
class ZTBASE_API CLineSink {
public:
    virtual ~CLineSink();
    virtual int vwprintf(LogTypes type, const unsigned short* format, va_list args) = 0;
    virtual int vprintf(LogTypes type, const char* format, va_list args) = 0;
};

// Makes sink the receiver of every line written below (nullptr: drop them). The previous sink is
// returned. The sink must outlive its installation.
ZTBASE_API CLineSink* InstallLineSink(CLineSink* sink) noexcept;

// One message through the installed sink; 0 when none is installed.
ZTBASE_API int SinkPrintf(LogTypes type, const unsigned short* format, ...);
ZTBASE_API int SinkPrintf(LogTypes type, const char* format, ...);

// Output at the warning type: the text alone, or followed by a line feed. Filtered out at the log's
// default level 1.
ZTBASE_API void DebugWrite(const unsigned short* text);
ZTBASE_API void DebugWrite(const char* text);
ZTBASE_API void DebugWriteLn(const unsigned short* text);
ZTBASE_API void DebugWriteLn(const char* text);
inline void DebugWrite(const char16_t* text) {
    DebugWrite(reinterpret_cast<const unsigned short*>(text));
}
inline void DebugWriteLn(const char16_t* text) {
    DebugWriteLn(reinterpret_cast<const unsigned short*>(text));
}

}  // namespace ZtBase
