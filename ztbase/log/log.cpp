#include "ztbase/log/log.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>
#include <string>

#include "ztbase/errors/exceptions.h"
#include "ztbase/files/file_system.h"
#include "ztbase/platform/internal/platform.h"
#include "ztbase/strings/format.h"
#include "ztbase/strings/number_format.h"

namespace ZtBase {

namespace {

std::atomic<bool> gConstructed{false};

// The name under which the log reports to the system log: the whole text, as it stands.
constexpr char kEventSource[] =
    "HKEY_LOCAL_"
    "MACHINE\\System\\CurrentControlSet\\Services\\EventLog\\Application\\ZtBase\\Security\\System";

// Texts of this many units or more go to the system log in pieces of at most this size.
constexpr std::size_t kEventPiece = 16384;

constexpr unsigned kFixedBuffer = 1024;

// The record's type prefix, two spaces before it included.
const unsigned short* FilePrefix(LogTypes type) noexcept {
    static constexpr U16Literal kError(u"  E:  "), kWarning(u"  W:  "), kInformation(u"  I:  "),
        kOther(u"  -:  ");
    switch (type) {
        case eLogError:
            return kError;
        case eLogWarning:
            return kWarning;
        case eLogInformation:
            return kInformation;
        default:
            return kOther;
    }
}
constexpr unsigned kPrefixLength = 6;

platform::SystemLogLevel EventType(LogTypes type) noexcept {
    switch (type) {
        case eLogUnclassified:
        case eLogInformation:
            return platform::SystemLogLevel::kInformation;
        case eLogWarning:
            return platform::SystemLogLevel::kWarning;
        default:
            return platform::SystemLogLevel::kError;
    }
}

// UTF-16 to UTF-8 into out (replaced).
void ToUtf8(const unsigned short* s, std::size_t n, std::string& out) {
    out.clear();
    AppendUtf8(s, n, out);
}

}  // namespace

CLogManager::CLogManager() {
    gConstructed.store(true, std::memory_order_release);
    if (this == &gLog) InstallLineSink(this);
}

CLogManager::~CLogManager() {
    gConstructed.store(false, std::memory_order_release);
    if (this == &gLog) InstallLineSink(nullptr);
    if (m_eventSourceOpen) platform::SystemLogClose();
}

unsigned char CLogManager::IsConstructed() noexcept {
    return gConstructed.load(std::memory_order_acquire) ? 1 : 0;
}

void CLogManager::CheckConstructed() const {
    if (!IsConstructed())
        throw CZtSimpleException(kErrWrongState, CUniStr(u"Initialization sequence is wrong"), ".\\log",
                                 __LINE__);
}

// ---- switches -----------------------------------------------------------------------------------
void CLogManager::SetFileLogging(unsigned char on) {
    CheckConstructed();
    CGetLock hold(m_lock);
    m_fileLogging = on;
}

void CLogManager::SetFileLoggingFlush(unsigned char on) {
    CheckConstructed();
    CGetLock hold(m_lock);
    m_flushFile = on;
}

void CLogManager::SetDebuggerLogging(unsigned char on) {
    CheckConstructed();
    CGetLock hold(m_lock);
    m_debuggerLogging = on;
}

void CLogManager::SetCommandPromptLogging(unsigned char on) {
    CheckConstructed();
    CGetLock hold(m_lock);
    m_consoleLogging = on;
}

void CLogManager::SetApplicationEventLogging(unsigned char on) {
    CheckConstructed();
    CGetLock hold(m_lock);
    m_eventLogging = on;
}

void CLogManager::SetLogLevel(LogTypes level) {
    CheckConstructed();
    CGetLock hold(m_lock);
    m_level = level;
}

// ---- output -------------------------------------------------------------------------------------
int CLogManager::wprintf(LogTypes type, const unsigned short* format, ...) {
    va_list args;
    va_start(args, format);
    const int n = Output(type, format, args);
    va_end(args);
    return n;
}

int CLogManager::wprintf(int type, const unsigned short* format, ...) {
    va_list args;
    va_start(args, format);
    const int n = Output(static_cast<LogTypes>(type), format, args);
    va_end(args);
    return n;
}

int CLogManager::wprintf(LogTypes type, const char16_t* format, ...) {
    va_list args;
    va_start(args, format);
    const int n = Output(type, reinterpret_cast<const unsigned short*>(format), args);
    va_end(args);
    return n;
}

int CLogManager::wprintf(int type, const char16_t* format, ...) {
    va_list args;
    va_start(args, format);
    const int n = Output(static_cast<LogTypes>(type), reinterpret_cast<const unsigned short*>(format), args);
    va_end(args);
    return n;
}

int CLogManager::printf(LogTypes type, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int n = Output(type, format, args);
    va_end(args);
    return n;
}

int CLogManager::printf(int type, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int n = Output(static_cast<LogTypes>(type), format, args);
    va_end(args);
    return n;
}

int CLogManager::vwprintf(LogTypes type, const unsigned short* format, va_list args) {
    return Output(type, format, args);
}

int CLogManager::vprintf(LogTypes type, const char* format, va_list args) {
    return Output(type, format, args);
}

int CLogManager::PrintString(LogTypes type, const unsigned short* text) {
    return wprintf(type, u"%s\n", text);
}

int CLogManager::PrintString(LogTypes type, const char* text) {
    return printf(type, "%s\n", text);
}

template <class Ch>
int CLogManager::Output(LogTypes type, const Ch* format, va_list args) {
    if (!IsConstructed()) return 0;
    CGetLock hold(m_lock);
    if (!m_fileLogging && !m_debuggerLogging && !m_eventLogging && !m_consoleLogging) return 0;
    if (static_cast<int>(type) > static_cast<int>(m_level)) return 0;

    // Up to 1,023 units without touching the heap; longer texts grow the buffer by 4 until they fit.
    Ch fixed[kFixedBuffer];
    Ch* text = fixed;
    std::unique_ptr<Ch[]> heap;
    int n = FormatTextV(fixed, kFixedBuffer - 1, format, args);
    for (std::size_t size = 4 * kFixedBuffer; n < 0; size *= 4) {
        heap.reset(new Ch[size]);
        text = heap.get();
        n = FormatTextV(text, size - 1, format, args);
    }
    text[n] = 0;
    if (n == 0) return 0;
    Deliver(type, text, static_cast<unsigned>(n));
    return n;
}

// File sink: once a log file is set, each message goes to it as one record of 16-bit units, and the
// bytes written are counted for roll-over. Errors of the file are not caught here; an exception raised
// while a record is written logs its own line to the other sinks only, so a failing file cannot recurse.
template <class Ch>
void CLogManager::WriteFileRecord(LogTypes type, const Ch* text, unsigned length) {
    if (!m_fileLogging || m_file.IsNull() || m_writingFile) return;
    struct Writing {
        unsigned char& flag;
        explicit Writing(unsigned char& f) : flag(f) { flag = 1; }
        ~Writing() { flag = 0; }
    } writing(m_writingFile);
    char time24[platform::kTimeTextSize];
    const unsigned timeLength = platform::LocalTimeText(time24);
    bool same = m_timeText.Length() == timeLength;
    for (unsigned i = 0; same && i < timeLength; ++i)
        same = m_timeText[i] == static_cast<unsigned char>(time24[i]);
    if (!same) m_timeText = CUniStr(time24, timeLength);
    // Formatted once, into a body kept for the next record (unless it grew large).
    m_record.Clear();
    AppendFileRecord(m_record, type, text, length, m_timeText);
    const unsigned bytes = 2 * m_record.Length();
    m_file.WriteBlock(reinterpret_cast<const char*>(m_record.c_str()), bytes);
    if (m_record.Size() > 64 * 1024) m_record.Blank();
    if (m_flushFile) m_file.Flush();
    m_bytesWritten += bytes;
    if (m_bytesWritten > 0x400000) {
        CreateNewerLogFile();
        m_bytesWritten = 0;
    }
}

void CLogManager::SetLogFile(CXFile& file) {
    CheckConstructed();
    CGetLock hold(m_lock);
    const CStr name = file.GetName();
    const XF_TEXT_MODE mode = file.GetTextMode();
    file.UniWriteLn(CUniStr(u"log created"));
    file.Flush();
    file.Release();
    m_file = gFileSystem.OpenForAppend(eOpenProgramDir, name, 1, mode, XF_SHARE_NONE);
    m_bytesWritten = 0;
    if (m_stem.IsNull()) {
        m_stem = name;
        unsigned end = name.Length();  // just past the last "."
        while (end > 0 && name[end - 1] != '.') --end;
        if (end > 0) {
            m_extension = name.Copy(end);
            m_stem = name.Copy(0, end - 1);
        }
    }
}

void CLogManager::CreateNewerLogFile() {
    CGetLock hold(m_lock);
    const XF_TEXT_MODE mode = m_file.GetTextMode();
    m_file.Flush();
    m_file.Release();
    const platform::UtcTime t = platform::CurrentUtcTime();
    // Numbers padded on the left with spaces, not zeros: the padding is part of the name.
    const CStr date = MakeStr(t.year, 4, eDecimal, ' ') + "-" + MakeStr(t.month, 2, eDecimal, ' ') + "-" +
                      MakeStr(t.day, 2, eDecimal, ' ');
    const CStr time = MakeStr(t.hour, 2, eDecimal, ' ') + "-" + MakeStr(t.minute, 2, eDecimal, ' ') + "-" +
                      MakeStr(t.second, 2, eDecimal, ' ') + "-" + MakeStr(t.millisecond, 4, eDecimal, ' ');
    CXFile next =
        gFileSystem.Create(eOpenProgramDir, m_stem + "_" + date + "_" + time + "." + m_extension, 1, mode);
    SetLogFile(next);
}

CStr CLogManager::GetLogFileName() const {
    CGetLock hold(m_lock);
    return m_file.GetName();
}

void CLogManager::Deliver(LogTypes type, const char* text, unsigned length) {
    if (m_fileLogging && !m_file.IsNull()) WriteFileRecord(type, text, length);
    if (m_debuggerLogging) platform::DebugOutput(text, length);
    if (m_consoleLogging) std::fwrite(text, 1, length, stdout);
    if (m_eventLogging) ReportEvent(type, text, length);
}

void CLogManager::Deliver(LogTypes type, const unsigned short* text, unsigned length) {
    WriteFileRecord(type, text, length);
    // The conversion is skipped when no sink needs it (the debugger sink is on by default).
    const bool debugger = m_debuggerLogging && platform::DebugOutputWanted();
    if (!debugger && !m_consoleLogging && !m_eventLogging) return;
    ToUtf8(text, length, m_utf8);
    if (debugger) platform::DebugOutput(m_utf8.data(), m_utf8.size());
    if (m_consoleLogging) std::fwrite(m_utf8.data(), 1, m_utf8.size(), stdout);
    if (m_eventLogging) {
        if (length < kEventPiece) {
            ReportEvent(type, m_utf8.data(), m_utf8.size());
        } else {
            // Pieces of at most 16,384 units, each converted on its own.
            std::string piece;
            for (std::size_t at = 0; at < length; at += kEventPiece) {
                const std::size_t n = length - at < kEventPiece ? length - at : kEventPiece;
                ToUtf8(text + at, n, piece);
                ReportEvent(type, piece.data(), piece.size());
            }
        }
    }
    if (m_utf8.capacity() > 64 * 1024) std::string().swap(m_utf8);  // do not keep a huge buffer
}

// One system-log entry per piece of at most 16,384 bytes of the 8-bit text, or the given text whole when
// it is shorter. The system log is opened at the first report, so a process that never reports keeps
// its own system-log name.
void CLogManager::ReportEvent(LogTypes type, const char* text, std::size_t length) {
    if (!m_eventSourceOpen) {
        platform::SystemLogOpen(kEventSource);
        m_eventSourceOpen = 1;
    }
    const platform::SystemLogLevel level = EventType(type);
    if (length < kEventPiece) {
        platform::SystemLogWrite(level, text, length);
        return;
    }
    for (std::size_t at = 0; at < length; at += kEventPiece)
        platform::SystemLogWrite(level, text + at, length - at < kEventPiece ? length - at : kEventPiece);
}

// ---- file records -------------------------------------------------------------------------------
namespace {
void AppendRun(CUniStr& out, const unsigned short* p, unsigned n) {
    out.Append(p, n);
}
void AppendRun(CUniStr& out, const char* p, unsigned n) {
    for (unsigned i = 0; i < n; ++i) out += static_cast<unsigned short>(static_cast<unsigned char>(p[i]));
}
}  // namespace

template <class Ch>
void CLogManager::AppendFileRecord(CUniStr& record, LogTypes type, const Ch* text, unsigned length,
                                   const CUniStr& time24) {
    static constexpr U16Literal kBreak(u"\r\n    ");
    if constexpr (sizeof(Ch) == 1) length = static_cast<unsigned>(std::find(text, text + length, 0) - text);
    record.Assure(record.Length() + time24.Length() + length + length / 8 + 16);
    record += time24;
    record.Append(FilePrefix(type), kPrefixLength);
    const Ch* p = text;
    const Ch* end = text + length;
    bool first = true;
    for (const Ch* lf; (lf = std::find(p, end, Ch(10))) != end; p = lf + 1) {
        if (!first) record += kBreak;
        AppendRun(record, p, static_cast<unsigned>(lf - p));
        first = false;
    }
    // The part after the last line feed, trimmed of spaces, only when something is left.
    while (p != end && *p == ' ') ++p;
    while (end != p && end[-1] == ' ') --end;
    if (p != end) {
        if (!first) record += kBreak;
        AppendRun(record, p, static_cast<unsigned>(end - p));
    }
    static constexpr U16Literal kEnd(u"\r\n");
    record.Append(kEnd, 2);
}

CUniStr CLogManager::BuildFileRecord(LogTypes type, const unsigned short* text, unsigned length,
                                     const CUniStr& time24) {
    CUniStr record;
    AppendFileRecord(record, type, text, length, time24);
    return record;
}

}  // namespace ZtBase
