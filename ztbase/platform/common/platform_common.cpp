// What the platform layer does alike on every system, over the table of system calls: the loops of reads
// and writes, cutting files, mappings and the loading of libraries. A test that replaces an entry of the
// table reaches these too.
#include "ztbase/platform/internal/platform.h"
#include "ztbase/platform/internal/system_calls.h"

namespace ZtBase::platform {

long long ReadFile(FileId file, void* buffer, std::size_t count, int& error) noexcept {
    char* out = static_cast<char*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        const long long n = gSystemCalls.read(file, out + done, count - done, error);
        if (n < 0) {
            if (error == kInterruptedError) continue;
            return -1;
        }
        if (n == 0) break;
        done += static_cast<std::size_t>(n);
    }
    return static_cast<long long>(done);
}

long long WriteFile(FileId file, const void* buffer, std::size_t count, int& error) noexcept {
    const char* in = static_cast<const char*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        const long long n = gSystemCalls.write(file, in + done, count - done, error);
        if (n < 0) {
            if (error == kInterruptedError) continue;
            return -1;
        }
        if (n == 0) {
            error = kWriteFaultError;
            return -1;
        }
        done += static_cast<std::size_t>(n);
    }
    return static_cast<long long>(done);
}

bool TruncateFile(FileId file, long long length, int& error) noexcept {
    if (length < 0) {
        error = kInvalidArgumentError;
        return false;
    }
    for (;;) {
        if (gSystemCalls.truncate(file, length, error)) return true;
        if (error != kInterruptedError) return false;
    }
}

bool PrepareMapping(FileId file, std::size_t length, bool write, int& error) noexcept {
    const long long size = FileSizeOf(file, error);
    if (size < 0) return false;
    const auto wanted = static_cast<long long>(length);
    if (length == 0 || wanted < 0 || (!write && wanted > size)) {
        error = kInvalidArgumentError;
        return false;
    }
    return wanted <= size || TruncateFile(file, wanted, error);
}

void* MapFile(FileId file, std::size_t length, bool write, int& error) noexcept {
    return gSystemCalls.map(file, length, write, error);
}

void UnmapFile(void* view, std::size_t length) noexcept {
    if (view) gSystemCalls.unmap(view, length);
}

bool SyncMappedFile(FileId file, void* view, std::size_t length, int& error) noexcept {
    if (view && !gSystemCalls.syncMapping(view, length, error)) return false;
    return SyncFile(file, error);
}

void* OpenLibrary(const char* path, std::string& error) noexcept {
    try {
        return gSystemCalls.openLibrary(path, error);
    } catch (...) {
        return nullptr;
    }
}

}  // namespace ZtBase::platform
