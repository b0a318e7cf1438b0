// What the platform layer does alike on every system, over the table of system calls: mappings and the
// loading of libraries. A test that replaces an entry of the table reaches these too.
#include "ztbase/platform/internal/platform.h"
#include "ztbase/platform/internal/system_calls.h"

namespace ZtBase::platform {

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
