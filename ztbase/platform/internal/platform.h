// The library's only way to the operating system. Everything here is internal (not exported, not
// installed); one implementation per system lives beside it (posix/ now). Other files include this header
// instead of any system header.
#pragma once

#include <cerrno>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

namespace ZtBase::platform {

// ---- threads and time ---------------------------------------------------------------------------
// The operating system's identifier of the calling thread (never all bits set).
unsigned CurrentThreadId() noexcept;
// A monotonic clock in nanoseconds, for intervals only.
unsigned long long MonotonicNanoseconds() noexcept;
// Processors online, at least 1.
unsigned ProcessorCount() noexcept;
void SleepMilliseconds(unsigned milliseconds) noexcept;

// A thread of the system, created held at a start gate: entry(argument) runs once ResumeThread opens the
// gate, so the creator can register the thread first. The handle outlives the thread until CloseThread,
// and any number of waits may be made on it, before or after the end.
class Thread;
// Null with error set when the system refuses; id is the new thread's identifier.
Thread* CreateSuspendedThread(unsigned (*entry)(void*), void* argument, unsigned& id, int& error) noexcept;
void ResumeThread(Thread* thread) noexcept;
// True until the thread has left its start routine.
bool ThreadStillActive(Thread* thread) noexcept;
void WaitForThread(Thread* thread) noexcept;
// Priorities in the documented scale: idle -15, normal 0, above normal 1 are set as nice values 19, 0 and -5
// (a change the system refuses is ignored); nice values read back as -15 (10 and above), -1 (1 to 9), 0,
// 1 (-1 to -5) and 2 (below -5).
int ThreadPriority(Thread* thread) noexcept;
void SetThreadPriority(Thread* thread, int priority) noexcept;
// Lets go of the handle; a thread still running runs on.
void CloseThread(Thread* thread) noexcept;

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

// ---- memory -------------------------------------------------------------------------------------
// size bytes aligned to alignment (a power of two, size a multiple of it), or null; freed only by
// FreeAligned.
void* AllocateAligned(std::size_t size, std::size_t alignment) noexcept;
void FreeAligned(void* block) noexcept;  // null is ignored

// ---- events -------------------------------------------------------------------------------------
// A manual-reset event: once set it releases every waiter, present and future, until it is reset.
class ManualResetEvent {
public:
    // A system that cannot make one more event raises std::bad_alloc.
    explicit ManualResetEvent(bool signalled);
    ~ManualResetEvent();
    ManualResetEvent(const ManualResetEvent&) = delete;
    ManualResetEvent& operator=(const ManualResetEvent&) = delete;

    void Set();
    void Reset();
    void Wait();
    // False when the event stayed unsignalled for milliseconds (measured on a steady clock).
    bool WaitFor(unsigned milliseconds);

private:
#if defined(_WIN32)
    void* m_event;  // the system's event object
#else
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_signalled;
#endif
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

// ---- the program ----------------------------------------------------------------------------------
// The program's arguments in UTF-8, its name first: main's own where they are bytes already, the system's
// 16-bit command line where main's would be in an 8-bit code page.
std::vector<std::string> ProgramArguments(int argc, char** argv);
// Standard input and output carry bytes as they are, with no line-end translation.
void UntranslatedStandardStreams() noexcept;

// ---- environment --------------------------------------------------------------------------------
// The value of an environment variable; false when it is not set.
bool EnvironmentValue(const char* name, std::string& value);

// ---- native paths -------------------------------------------------------------------------------
// The separator of native paths, and whether a native path may start with a drive ("C:\\x") or a server
// and share ("\\\\server\\share\\x").
// kMappedFilesStayPut: a file mapped anywhere cannot be replaced or deleted by name until every view of
// it is gone. kInvalidArgumentError: the system's error number for an argument it refuses;
// kInterruptedError for a call a signal cut short, to be made again (none on Windows); kWriteFaultError for
// a write that took nothing.
#if defined(_WIN32)
inline constexpr char kNativeSeparator = '\\';
inline constexpr bool kNativeDrives = true;
inline constexpr bool kMappedFilesStayPut = true;
inline constexpr int kInvalidArgumentError = 87;  // ERROR_INVALID_PARAMETER
inline constexpr int kInterruptedError = -1;      // no such error number
inline constexpr int kWriteFaultError = 29;       // ERROR_WRITE_FAULT
#else
inline constexpr char kNativeSeparator = '/';
inline constexpr bool kNativeDrives = false;
inline constexpr bool kMappedFilesStayPut = false;
inline constexpr int kInvalidArgumentError = EINVAL;
inline constexpr int kInterruptedError = EINTR;
inline constexpr int kWriteFaultError = EIO;
#endif

// ---- files ------------------------------------------------------------------------------------
// Paths here are native paths. Every function reports failure through its result and, where it takes
// one, an error number (errno) that ErrorText turns into the system's message; none raises.

using FileId = int;  // an open file; kNoFile when none
constexpr FileId kNoFile = -1;

enum class FileAccess { kRead, kReadWrite };
enum class FileDisposition { kOpenExisting, kCreateAlways, kOpenAlways };
// Share modes of an open, as the library's XF_SHARE_FLAGS: 0 exclusive, 1 others may read, 2 others may
// read and write. Within this process they are enforced exactly (an open succeeds only if its access is
// allowed by every existing open's share mode of the same file, and every existing open's access by its
// own share mode; the refusal's error is EBUSY); between processes an exclusive open takes an exclusive
// advisory lock on the whole file and a shared one a shared lock, both without waiting.
FileId OpenFile(const char* path, FileAccess access, int share, FileDisposition disposition, int& error);
// Closes the file and forgets its share registration. kNoFile is ignored.
void CloseFile(FileId file) noexcept;
// Reads up to count bytes at the file's offset, looping over short reads and EINTR until count bytes or
// the end; returns the bytes read, or -1 with error.
long long ReadFile(FileId file, void* buffer, std::size_t count, int& error) noexcept;
// Writes all count bytes (looping over short writes and EINTR); returns the bytes written, or -1.
long long WriteFile(FileId file, const void* buffer, std::size_t count, int& error) noexcept;
enum class SeekFrom { kBegin, kCurrent, kEnd };
// The new offset from the start, or -1 with error (a negative result offset is an error, EINVAL).
long long SeekFile(FileId file, long long offset, SeekFrom from, int& error) noexcept;
long long FileSizeOf(FileId file, int& error) noexcept;                 // -1 on failure
bool TruncateFile(FileId file, long long length, int& error) noexcept;  // the file's end at length
bool SyncFile(FileId file, int& error) noexcept;
// Exclusive byte-range lock owned by the open file (not the process), failing at once when another open
// holds an overlapping one.
bool LockFileRange(FileId file, long long offset, long long length, int& error) noexcept;
bool UnlockFileRange(FileId file, long long offset, long long length, int& error) noexcept;

// ---- mappings ---------------------------------------------------------------------------------
// A mapping shows length bytes of a file from its start, shared with the file. Making one has two steps
// that can fail apart: preparing the file (a writable mapping longer than the file extends the file to
// length; a read-only one longer than the file is refused with EINVAL, as touching the missing pages would
// fault; a length of 0 is refused too), then mapping it.
bool PrepareMapping(FileId file, std::size_t length, bool write, int& error) noexcept;
void* MapFile(FileId file, std::size_t length, bool write, int& error) noexcept;  // null on failure
void UnmapFile(void* view, std::size_t length) noexcept;                          // null is ignored
// The mapping's changes on disk: the changed pages written and waited for, then the file synced.
bool SyncMappedFile(FileId file, void* view, std::size_t length, int& error) noexcept;

// The system's message for an error number.
std::string ErrorText(int error);

// ---- the file system --------------------------------------------------------------------------
struct FileInfo {
    bool exists = false;
    bool directory = false;
    bool readOnly = false;  // no write permission for this process
    long long size = 0;
    unsigned long long modified = 0;  // 100-nanosecond intervals since 1601-01-01 UTC
};
FileInfo StatPath(const char* path) noexcept;
bool DeletePath(const char* path, int& error) noexcept;  // a file, not a directory
// Never replaces an existing file.
bool MovePath(const char* from, const char* to, int& error) noexcept;
// Moves a file over another in one step: the old file or the new one is seen under to, never neither.
bool ReplacePath(const char* from, const char* to, int& error) noexcept;
bool MakeDirectory(const char* path, int& error) noexcept;
// Entries of directory whose names match the shell pattern (fnmatch), without "." and "..", in the order
// the system lists them; files only, directories only, or both.
enum class ListWhat { kFiles, kDirectories, kBoth };
bool ListDirectory(const char* directory, const char* pattern, ListWhat what,
                   std::vector<std::string>& names);
// Whether name matches the shell pattern as ListDirectory matches them.
bool MatchesPattern(const char* pattern, const char* name) noexcept;

// The running program's path, the current directory, the temporary directory ($TMPDIR, else /tmp/).
// Directories end with "/". Empty on failure.
std::string ProgramPath();
std::string CurrentDirectory();
std::string TemporaryDirectory();

// ---- shared libraries ---------------------------------------------------------------------------
// A loaded library; null when loading failed (error holds the system's message).
void* OpenLibrary(const char* path, std::string& error) noexcept;
// The address of an exported symbol, or null.
void* LibrarySymbol(void* library, const char* name) noexcept;
void CloseLibrary(void* library) noexcept;  // null is ignored
// The file name shared libraries carry here ("so"), without the dot.
const char* LibraryExtension() noexcept;

// ---- stream sockets -----------------------------------------------------------------------------
using SocketId = int;  // an open socket; kNoSocket when none
constexpr SocketId kNoSocket = -1;
enum class ConnectFailure { kNone, kUnknownHost, kRefused, kTimedOut, kOther };
// Connects to host:port (a name or a numeric address; a port number or service name), trying each address
// the resolver gives until one answers, each within timeoutMs. kNoSocket on failure, with why and the
// system's error number (for kUnknownHost the resolver's message is in message).
SocketId ConnectStream(const char* host, const char* port, int timeoutMs, ConnectFailure& why, int& error,
                       std::string& message) noexcept;
// Up to count bytes, waiting at most timeoutMs for the first; 0 at the peer's orderly end, -1 with error on
// failure (ETIMEDOUT when nothing came in time).
long long ReceiveSocket(SocketId socket, void* buffer, std::size_t count, int timeoutMs, int& error) noexcept;
// All count bytes, each wait for room at most timeoutMs; -1 with error on failure. A peer that has gone
// gives EPIPE, never a signal.
long long SendSocket(SocketId socket, const void* buffer, std::size_t count, int timeoutMs,
                     int& error) noexcept;
// Ends the sending direction (the peer reads its end), keeping the receiving one.
void ShutdownSending(SocketId socket) noexcept;
void CloseSocket(SocketId socket) noexcept;  // kNoSocket is ignored

}  // namespace ZtBase::platform
