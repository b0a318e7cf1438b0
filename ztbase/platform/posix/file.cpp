// Files and the file system on POSIX: open(2) with share modes kept between opens of this process by a
// registry keyed by device and inode, advisory flock(2) between processes, open-file-description byte
// range locks, and the directory, path and time helpers the file spaces need.
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ztbase/platform/internal/platform.h"
#include "ztbase/platform/internal/system_calls.h"

namespace ZtBase::platform {

namespace {

// ---- the share registry ---------------------------------------------------------------------------

struct OpenRecord {
    FileId file;
    FileAccess access;
    int share;
};

struct FileRecord {
    std::vector<OpenRecord> opens;
    // A duplicate of the first open's descriptor that holds the flock for the whole process: flock locks
    // belong to the open file description, so the registry decides between opens inside the process and
    // this one lock stands for all of them towards other processes until the last open closes.
    int lockHolder = -1;
};

using FileKey = std::pair<dev_t, ino_t>;

struct ShareRegistry {
    std::mutex mutex;
    std::map<FileKey, FileRecord> files;
    std::unordered_map<FileId, FileKey> keyOf;
};

ShareRegistry& Registry() {
    // Never destroyed: files may be closed by global objects during unloading.
    static ShareRegistry* registry = new ShareRegistry;
    return *registry;
}

// Whether a share mode lets another open have this access.
bool ShareAllows(int share, FileAccess access) {
    if (share == 2) return true;
    if (share == 1) return access == FileAccess::kRead;
    return false;
}

int OpenRetrying(const char* path, bool write, bool create, int share, int& error) {
    for (;;) {
        const int fd = gSystemCalls.open(path, write, create, share, error);
        if (fd >= 0 || error != EINTR) return fd;
    }
}

void CloseQuietly(int fd) {
    gSystemCalls.close(fd);  // not retried on EINTR: the descriptor is gone either way on Linux
}

// The GNU and the XSI strerror_r differ in their result; take the text from either.
[[maybe_unused]] const char* ErrorTextFrom(int result, const char* buffer) {
    return result == 0 ? buffer : nullptr;
}
[[maybe_unused]] const char* ErrorTextFrom(const char* result, const char*) {
    return result;
}

// Seconds between 1601-01-01 and 1970-01-01.
constexpr unsigned long long kEpochDifference = 11644473600ULL;

unsigned long long FileTimeOf(const struct timespec& t) {
    if (t.tv_sec < 0) return 0;
    return (static_cast<unsigned long long>(t.tv_sec) + kEpochDifference) * 10000000ULL +
           static_cast<unsigned long long>(t.tv_nsec) / 100;
}

std::string WithSeparator(std::string directory) {
    if (!directory.empty() && directory.back() != '/') directory += '/';
    return directory;
}

}  // namespace

// ---- files --------------------------------------------------------------------------------------

FileId OpenFile(const char* path, FileAccess access, int share, FileDisposition disposition, int& error) {
    // Truncation waits until the share check has passed, so that a refused open damages nothing.
    const int fd = OpenRetrying(path, access == FileAccess::kReadWrite,
                                disposition != FileDisposition::kOpenExisting, share, error);
    if (fd < 0) return kNoFile;
    struct stat st {};
    if (::fstat(fd, &st) != 0) {
        error = errno;
        CloseQuietly(fd);
        return kNoFile;
    }
    if (S_ISDIR(st.st_mode)) {
        error = EISDIR;
        CloseQuietly(fd);
        return kNoFile;
    }

    ShareRegistry& registry = Registry();
    std::lock_guard<std::mutex> guard(registry.mutex);
    const FileKey key(st.st_dev, st.st_ino);
    auto found = registry.files.find(key);
    if (found != registry.files.end()) {
        for (const OpenRecord& other : found->second.opens) {
            if (!ShareAllows(other.share, access) || !ShareAllows(share, other.access)) {
                error = EBUSY;
                CloseQuietly(fd);
                return kNoFile;
            }
        }
    }
    int lockHolder = -1;
    if (found == registry.files.end()) {
        if (::flock(fd, (share == 0 ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0) {
            // Another process holds a lock that excludes this open. Other failures (a file system
            // without flock) leave the file unlocked towards other processes.
            if (errno == EWOULDBLOCK) {
                error = EBUSY;
                CloseQuietly(fd);
                return kNoFile;
            }
        }
        lockHolder = ::fcntl(fd, F_DUPFD_CLOEXEC, 0);
        if (lockHolder < 0) {
            error = errno;
            CloseQuietly(fd);
            return kNoFile;
        }
    }
    if (disposition == FileDisposition::kCreateAlways && access == FileAccess::kReadWrite &&
        !TruncateFile(fd, 0, error)) {
        if (lockHolder >= 0) CloseQuietly(lockHolder);
        CloseQuietly(fd);
        return kNoFile;
    }
    FileRecord& record = found != registry.files.end() ? found->second : registry.files[key];
    if (lockHolder >= 0) record.lockHolder = lockHolder;
    record.opens.push_back(OpenRecord{fd, access, share});
    registry.keyOf[fd] = key;
    return fd;
}

void CloseFile(FileId file) noexcept {
    if (file == kNoFile) return;
    {
        ShareRegistry& registry = Registry();
        std::lock_guard<std::mutex> guard(registry.mutex);
        auto key = registry.keyOf.find(file);
        if (key != registry.keyOf.end()) {
            auto record = registry.files.find(key->second);
            if (record != registry.files.end()) {
                auto& opens = record->second.opens;
                for (auto it = opens.begin(); it != opens.end(); ++it) {
                    if (it->file == file) {
                        opens.erase(it);
                        break;
                    }
                }
                if (opens.empty()) {
                    if (record->second.lockHolder >= 0) CloseQuietly(record->second.lockHolder);
                    registry.files.erase(record);
                }
            }
            registry.keyOf.erase(key);
        }
        // Closed under the registry's lock, so the number cannot be handed out again and registered
        // before its entry is gone.
        CloseQuietly(file);
    }
}

long long SeekFile(FileId file, long long offset, SeekFrom from, int& error) noexcept {
    const int whence = from == SeekFrom::kBegin ? SEEK_SET : from == SeekFrom::kCurrent ? SEEK_CUR : SEEK_END;
    const off_t result = ::lseek(file, static_cast<off_t>(offset), whence);
    if (result < 0) {
        error = errno;
        return -1;
    }
    return static_cast<long long>(result);
}

long long FileSizeOf(FileId file, int& error) noexcept {
    struct stat st {};
    if (::fstat(file, &st) != 0) {
        error = errno;
        return -1;
    }
    return static_cast<long long>(st.st_size);
}

bool SyncFile(FileId file, int& error) noexcept {
    if (gSystemCalls.sync(file, error)) return true;
    // Files that cannot be synchronised (pipes, some devices) have nothing to flush.
    return error == EINVAL || error == EROFS;
}

namespace {
// A zero-length range locks nothing (a length of zero would mean "to the end and beyond" to fcntl).
bool SetRangeLock(FileId file, short type, long long offset, long long length, int& error) {
    if (offset < 0 || length < 0) {
        error = EINVAL;
        return false;
    }
    if (length == 0) return true;
    struct flock range {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = static_cast<off_t>(offset);
    range.l_len = static_cast<off_t>(length);
    range.l_pid = 0;
    if (::fcntl(file, F_OFD_SETLK, &range) == 0) return true;
    error = errno;
    return false;
}
}  // namespace

bool LockFileRange(FileId file, long long offset, long long length, int& error) noexcept {
    if (SetRangeLock(file, F_WRLCK, offset, length, error)) return true;
    // A write lock needs a descriptor open for writing; a read-only open takes a read lock, which still
    // excludes every writer's lock.
    if (error == EBADF && (::fcntl(file, F_GETFL) & O_ACCMODE) == O_RDONLY)
        return SetRangeLock(file, F_RDLCK, offset, length, error);
    return false;
}

bool UnlockFileRange(FileId file, long long offset, long long length, int& error) noexcept {
    return SetRangeLock(file, F_UNLCK, offset, length, error);
}

std::string ErrorText(int error) {
    char buffer[512];
    buffer[0] = 0;
    const char* text = ErrorTextFrom(::strerror_r(error, buffer, sizeof buffer), buffer);
    if (text && *text) return text;
    return "Unknown error " + std::to_string(error);
}

// ---- the file system ----------------------------------------------------------------------------

FileInfo StatPath(const char* path) noexcept {
    FileInfo info;
    struct stat st {};
    if (::stat(path, &st) != 0) return info;
    info.exists = true;
    info.directory = S_ISDIR(st.st_mode);
    info.readOnly = ::access(path, W_OK) != 0;
    info.size = static_cast<long long>(st.st_size);
    info.modified = FileTimeOf(st.st_mtim);
    return info;
}

bool DeletePath(const char* path, int& error) noexcept {
    return gSystemCalls.unlink(path, error);
}

bool ReplacePath(const char* from, const char* to, int& error) noexcept {
    return gSystemCalls.replace(from, to, error);
}

bool MovePath(const char* from, const char* to, int& error) noexcept {
    if (gSystemCalls.rename(from, to, error)) return true;
    if (error != EINVAL && error != ENOSYS && error != EOPNOTSUPP) return false;
    // The file system cannot refuse to replace by itself: a hard link can (it never replaces), and
    // removing the old name completes the move. Directories cannot be linked; they are renamed after a
    // check that leaves a small window.
    struct stat st {};
    if (::lstat(from, &st) != 0) {
        error = errno;
        return false;
    }
    if (S_ISDIR(st.st_mode)) {
        struct stat target {};
        if (::lstat(to, &target) == 0) {
            error = EEXIST;
            return false;
        }
        if (::rename(from, to) == 0) return true;
        error = errno;
        return false;
    }
    if (::link(from, to) != 0) {
        error = errno;
        return false;
    }
    if (::unlink(from) != 0) {
        error = errno;
        const int saved = error;
        ::unlink(to);
        error = saved;
        return false;
    }
    return true;
}

bool MakeDirectory(const char* path, int& error) noexcept {
    if (::mkdir(path, 0777) == 0) return true;
    error = errno;
    return false;
}

bool ListDirectory(const char* directory, const char* pattern, ListWhat what,
                   std::vector<std::string>& names) {
    DIR* dir = ::opendir(directory);
    if (!dir) return false;
    std::string base = WithSeparator(directory);
    while (const struct dirent* entry = ::readdir(dir)) {
        const char* name = entry->d_name;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
        if (::fnmatch(pattern, name, 0) != 0) continue;
        bool isDirectory = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK) {
            struct stat st {};
            if (::stat((base + name).c_str(), &st) != 0) continue;  // a dangling link is neither
            isDirectory = S_ISDIR(st.st_mode);
        }
        if ((what == ListWhat::kFiles && isDirectory) || (what == ListWhat::kDirectories && !isDirectory))
            continue;
        names.emplace_back(name);
    }
    ::closedir(dir);
    return true;
}

bool MatchesPattern(const char* pattern, const char* name) noexcept {
    return ::fnmatch(pattern, name, 0) == 0;
}

std::string ProgramPath() {
    std::vector<char> buffer(256);
    for (;;) {
        const ssize_t n = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (n < 0) return std::string();
        if (static_cast<std::size_t>(n) < buffer.size()) return std::string(buffer.data(), std::size_t(n));
        buffer.resize(buffer.size() * 2);
    }
}

std::string CurrentDirectory() {
    std::vector<char> buffer(256);
    for (;;) {
        if (::getcwd(buffer.data(), buffer.size())) return WithSeparator(buffer.data());
        if (errno != ERANGE) return std::string();
        buffer.resize(buffer.size() * 2);
    }
}

std::string TemporaryDirectory() {
    const char* value = std::getenv("TMPDIR");
    if (value && *value) return WithSeparator(value);
    return "/tmp/";
}

}  // namespace ZtBase::platform
