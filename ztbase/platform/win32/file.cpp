// Files and the file system on Windows: CreateFileA with the share modes the system enforces between
// every open, in this process and in others; LockFile byte ranges; FindFirstFileA listings; and the
// program, current and temporary directories.
#include <cstring>
#include <vector>

#include "ztbase/platform/internal/platform.h"
#include "ztbase/platform/internal/system_calls.h"
#include "ztbase/platform/win32/windows_api.h"

namespace ZtBase::platform {

using win32::HandleOf;
using win32::LastError;

// ---- files --------------------------------------------------------------------------------------

FileId OpenFile(const char* path, FileAccess access, int share, FileDisposition disposition, int& error) {
    const bool write = access == FileAccess::kReadWrite;
    const int file =
        gSystemCalls.open(path, write, disposition != FileDisposition::kOpenExisting, share, error);
    if (file == kNoFile) {
        // A directory opens (for its attributes) but is not a file.
        return kNoFile;
    }
    BY_HANDLE_FILE_INFORMATION info{};
    if (::GetFileInformationByHandle(HandleOf(file), &info) &&
        (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
        gSystemCalls.close(file);
        error = ERROR_DIRECTORY;
        return kNoFile;
    }
    // Truncated only once the system has accepted the share mode, so that a refused open damages nothing.
    if (disposition == FileDisposition::kCreateAlways && write && !TruncateFile(file, 0, error)) {
        gSystemCalls.close(file);
        return kNoFile;
    }
    return file;
}

void CloseFile(FileId file) noexcept {
    if (file != kNoFile) gSystemCalls.close(file);
}

long long SeekFile(FileId file, long long offset, SeekFrom from, int& error) noexcept {
    const DWORD method = from == SeekFrom::kBegin     ? FILE_BEGIN
                         : from == SeekFrom::kCurrent ? FILE_CURRENT
                                                      : FILE_END;
    LARGE_INTEGER distance, result;
    distance.QuadPart = offset;
    if (!::SetFilePointerEx(HandleOf(file), distance, &result, method)) {
        error = LastError();
        return -1;
    }
    return result.QuadPart;
}

long long FileSizeOf(FileId file, int& error) noexcept {
    LARGE_INTEGER size;
    if (!::GetFileSizeEx(HandleOf(file), &size)) {
        error = LastError();
        return -1;
    }
    return size.QuadPart;
}

bool SyncFile(FileId file, int& error) noexcept {
    if (gSystemCalls.sync(file, error)) return true;
    // Handles that cannot be flushed (consoles, some devices) have nothing to flush.
    return error == ERROR_INVALID_HANDLE || error == ERROR_INVALID_FUNCTION;
}

// Locks belong to the handle; a range another handle holds is refused at once. A zero-length range locks
// nothing.
namespace {
bool SetRangeLock(FileId file, bool lock, long long offset, long long length, int& error) {
    if (offset < 0 || length < 0) {
        error = ERROR_INVALID_PARAMETER;
        return false;
    }
    if (length == 0) return true;
    const auto o = static_cast<unsigned long long>(offset);
    const auto n = static_cast<unsigned long long>(length);
    const BOOL done = lock ? ::LockFile(HandleOf(file), DWORD(o), DWORD(o >> 32), DWORD(n), DWORD(n >> 32))
                           : ::UnlockFile(HandleOf(file), DWORD(o), DWORD(o >> 32), DWORD(n), DWORD(n >> 32));
    if (done) return true;
    error = LastError();
    return false;
}
}  // namespace

bool LockFileRange(FileId file, long long offset, long long length, int& error) noexcept {
    return SetRangeLock(file, true, offset, length, error);
}

bool UnlockFileRange(FileId file, long long offset, long long length, int& error) noexcept {
    return SetRangeLock(file, false, offset, length, error);
}

std::string ErrorText(int error) {
    char* text = nullptr;
    const DWORD n = ::FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
        static_cast<DWORD>(error), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<char*>(&text),
        0, nullptr);
    std::string result;
    if (n && text) result.assign(text, n);
    if (text) ::LocalFree(text);
    while (!result.empty() && (result.back() == '\n' || result.back() == '\r' || result.back() == ' '))
        result.pop_back();
    if (result.empty()) result = "Unknown error " + std::to_string(error);
    return result;
}

// ---- the file system ----------------------------------------------------------------------------

FileInfo StatPath(const char* path) noexcept {
    FileInfo info;
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!::GetFileAttributesExA(path, GetFileExInfoStandard, &data)) return info;
    info.exists = true;
    info.directory = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    info.readOnly = (data.dwFileAttributes & FILE_ATTRIBUTE_READONLY) != 0;
    info.size = static_cast<long long>((static_cast<unsigned long long>(data.nFileSizeHigh) << 32) |
                                       data.nFileSizeLow);
    // FILETIME counts 100-nanosecond intervals since 1601-01-01 UTC already.
    info.modified = (static_cast<unsigned long long>(data.ftLastWriteTime.dwHighDateTime) << 32) |
                    data.ftLastWriteTime.dwLowDateTime;
    return info;
}

bool DeletePath(const char* path, int& error) noexcept {
    return gSystemCalls.unlink(path, error);
}

bool ReplacePath(const char* from, const char* to, int& error) noexcept {
    return gSystemCalls.replace(from, to, error);
}

bool MovePath(const char* from, const char* to, int& error) noexcept {
    return gSystemCalls.rename(from, to, error);
}

bool MakeDirectory(const char* path, int& error) noexcept {
    if (::CreateDirectoryA(path, nullptr)) return true;
    error = LastError();
    return false;
}

namespace {

// A bracket expression at pattern (just after '['): whether c is in it; end is set past the ']'. A '['
// without its ']' is an ordinary character, as the shell takes it.
bool InBracket(const char* pattern, char c, const char*& end, bool& valid) {
    const char* p = pattern;
    const bool negate = *p == '!' || *p == '^';
    if (negate) ++p;
    bool found = false;
    bool first = true;
    while (*p && (first || *p != ']')) {
        first = false;
        char low = *p;
        if (low == '\\' && p[1]) low = *++p;
        char high = low;
        if (p[1] == '-' && p[2] && p[2] != ']') {
            const bool quoted = p[2] == '\\' && p[3];
            high = quoted ? p[3] : p[2];
            p += quoted ? 3 : 2;
        }
        if (static_cast<unsigned char>(low) <= static_cast<unsigned char>(c) &&
            static_cast<unsigned char>(c) <= static_cast<unsigned char>(high))
            found = true;
        ++p;
    }
    valid = *p == ']';
    end = valid ? p + 1 : pattern;
    return found != negate;
}

}  // namespace

// Shell patterns as fnmatch reads them without flags: '*' any run, '?' one character, '[...]' a set
// (with '!' or '^' to negate and ranges), '\\' quoting the next character. Written out here because the
// system's own wildcards ("*.*", short names) match differently.
bool MatchesPattern(const char* pattern, const char* name) noexcept {
    const char* starPattern = nullptr;
    const char* starName = nullptr;
    while (*name) {
        const char* next = nullptr;
        bool matched = false;
        switch (*pattern) {
            case '*':
                starPattern = ++pattern;
                starName = name;
                continue;
            case '?':
                matched = true;
                next = pattern + 1;
                break;
            case '[': {
                bool valid = false;
                const char* end = nullptr;
                const bool in = InBracket(pattern + 1, *name, end, valid);
                if (valid) {
                    matched = in;
                    next = end;
                } else {
                    matched = *name == '[';
                    next = pattern + 1;
                }
                break;
            }
            case '\\':
                if (pattern[1]) {
                    matched = pattern[1] == *name;
                    next = pattern + 2;
                    break;
                }
                [[fallthrough]];
            default:
                matched = *pattern != 0 && *pattern == *name;
                next = pattern + 1;
                break;
        }
        if (matched) {
            pattern = next;
            ++name;
        } else if (starPattern) {
            pattern = starPattern;
            name = ++starName;
        } else {
            return false;
        }
    }
    while (*pattern == '*') ++pattern;
    return *pattern == 0;
}

bool ListDirectory(const char* directory, const char* pattern, ListWhat what,
                   std::vector<std::string>& names) {
    const std::string all = win32::WithSeparator(directory) + "*";
    WIN32_FIND_DATAA entry{};
    const HANDLE find = ::FindFirstFileA(all.c_str(), &entry);
    if (find == INVALID_HANDLE_VALUE) {
        // An empty directory still lists "." and ".."; nothing found means no such directory.
        return false;
    }
    do {
        const char* name = entry.cFileName;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
        if (!MatchesPattern(pattern, name)) continue;
        const bool isDirectory = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        if ((what == ListWhat::kFiles && isDirectory) || (what == ListWhat::kDirectories && !isDirectory))
            continue;
        names.emplace_back(name);
    } while (::FindNextFileA(find, &entry));
    ::FindClose(find);
    return true;
}

std::string ProgramPath() {
    std::vector<char> buffer(MAX_PATH);
    for (;;) {
        const DWORD n = ::GetModuleFileNameA(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
        if (n == 0) return std::string();
        if (n < buffer.size()) return std::string(buffer.data(), n);
        buffer.resize(buffer.size() * 2);
    }
}

std::string CurrentDirectory() {
    const DWORD needed = ::GetCurrentDirectoryA(0, nullptr);
    if (needed == 0) return std::string();
    std::vector<char> buffer(needed + 1);
    const DWORD n = ::GetCurrentDirectoryA(static_cast<DWORD>(buffer.size()), buffer.data());
    if (n == 0 || n >= buffer.size()) return std::string();
    return win32::WithSeparator(std::string(buffer.data(), n));
}

std::string TemporaryDirectory() {
    char buffer[MAX_PATH + 2];
    const DWORD n = ::GetTempPathA(sizeof buffer, buffer);
    if (n == 0 || n >= sizeof buffer) return std::string();
    return win32::WithSeparator(std::string(buffer, n));
}

}  // namespace ZtBase::platform
