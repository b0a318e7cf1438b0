// The log: one process-wide CLogManager, gLog, fans every diagnostic line out to the sinks that are
// switched on: the log file, the debugger (standard error while a debugger is attached or
// ZTBASE_DEBUG_OUTPUT is set), the console (standard output) and the system log. A level filter drops
// lines less severe than the configured level. One lock inside the log keeps lines from interleaving.
#pragma once

#include <cstdarg>
#include <string>

#include "ztbase/base/line_sink.h"
#include "ztbase/files/xfile.h"
#include "ztbase/platform/export.h"
#include "ztbase/process/locks.h"
#include "ztbase/strings/unistr.h"

namespace ZtBase {

// gLog is also the line sink (base/line_sink.h) through which the layers below the log write: it
// installs itself when it is constructed and removes itself when it is destroyed.
class ZTBASE_API CLogManager : public CLineSink {
public:
    // Debugger sink on, the others off, level 1 (errors only). Sets the process-wide constructed flag.
    CLogManager();
    // Clears the constructed flag: from then on output is dropped and the setters throw.
    ~CLogManager() override;

    // Each setter throws CZtSimpleException 10009 "Initialization sequence is wrong" when the flag is clear.
    // Records reach the log file only once a log file has been set; until then file logging writes
    // nothing. The flush switch flushes the file after every record.
    void SetFileLogging(unsigned char on);
    void SetFileLoggingFlush(unsigned char on);
    void SetDebuggerLogging(unsigned char on);
    void SetCommandPromptLogging(unsigned char on);
    void SetApplicationEventLogging(unsigned char on);
    // The highest type still output.
    void SetLogLevel(LogTypes level);

    // Makes file's file the log file: writes the line "log created" to it, closes this handle on it
    // (the handle becomes blank) and opens the same name again, through the file system, for appending.
    // The first file set gives the name stem and extension of the files that roll-over makes. The file
    // must be one the file system can open again by its name (a disk file).
    void SetLogFile(CXFile& file);
    // Closes the log file and starts a new one named stem + "_" + the UTC date and time (numbers padded
    // with spaces) + "." + extension. Runs by itself after every 4 MiB of records.
    void CreateNewerLogFile();
    // The current log file's name (empty when none is set).
    CStr GetLogFileName() const;

    // Format and output one message. Return the formatted length, or 0 when nothing was output (no sink on,
    // type above the level, empty text, or the log not constructed). Formats: see strings/format.h.
    int wprintf(LogTypes type, const unsigned short* format, ...);
    int wprintf(int type, const unsigned short* format, ...);
    int wprintf(LogTypes type, const char16_t* format, ...);
    int wprintf(int type, const char16_t* format, ...);
    int printf(LogTypes type, const char* format, ...);
    int printf(int type, const char* format, ...);
    int vwprintf(LogTypes type, const unsigned short* format, va_list args) override;
    int vprintf(LogTypes type, const char* format, va_list args) override;
    // The text followed by a line feed.
    int PrintString(LogTypes type, const unsigned short* text);
    int PrintString(LogTypes type, const char* text);
    int PrintString(LogTypes type, const char16_t* text) {
        return PrintString(type, reinterpret_cast<const unsigned short*>(text));
    }

    // One log file record: time24 (the 24-character local time), two spaces, the type prefix ("-:  ",
    // "E:  ", "W:  ", "I:  "), the text with every line feed turned into CR LF and four spaces, the part
    // after the last line feed trimmed of spaces and left out when nothing remains, and a final CR LF.
    static CUniStr BuildFileRecord(LogTypes type, const unsigned short* text, unsigned length,
                                   const CUniStr& time24);
    // The process-wide constructed flag.
    static unsigned char IsConstructed() noexcept;

private:
    template <class Ch>
    int Output(LogTypes type, const Ch* format, va_list args);
    void Deliver(LogTypes type, const char* text, unsigned length);
    void Deliver(LogTypes type, const unsigned short* text, unsigned length);
    void ReportEvent(LogTypes type, const char* text, std::size_t length);
    template <class Ch>
    void WriteFileRecord(LogTypes type, const Ch* text, unsigned length);
    // BuildFileRecord's text appended to record; 8-bit text is widened byte by byte.
    template <class Ch>
    static void AppendFileRecord(CUniStr& record, LogTypes type, const Ch* text, unsigned length,
                                 const CUniStr& time24);
    void CheckConstructed() const;

    mutable CQuickLock m_lock;  // re-entrant: a message raised while writing a record comes back here
    unsigned char m_fileLogging = 0;
    unsigned char m_flushFile = 0;
    unsigned char m_debuggerLogging = 1;
    unsigned char m_eventLogging = 0;
    unsigned char m_consoleLogging = 0;
    LogTypes m_level = eLogError;
    unsigned char m_eventSourceOpen = 0;  // the system log is opened at the first event-log output
    unsigned char m_writingFile = 0;  // a record is being written: messages raised meanwhile skip the file
    CXFile m_file;                    // the open log file
    unsigned m_bytesWritten = 0;      // bytes written to the current file since it was opened
    CStr m_stem;                      // the first log file's name without its last extension
    CStr m_extension;                 // that extension, without the dot
    CUniStr m_timeText;               // the time of the last record, reused while it does not change
    std::string m_utf8;               // 16-bit text converted for the terminal and the system log
    CUniStr m_record;                 // the file record being written, its body kept from record to record
};

// Defined with the library's other global objects.
extern ZTBASE_API CLogManager gLog;

}  // namespace ZtBase
