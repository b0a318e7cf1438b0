// Shared libraries through LoadLibraryA: loading goes through the system-call table so that a test can
// make it fail.
#include "ztbase/platform/internal/platform.h"
#include "ztbase/platform/internal/system_calls.h"
#include "ztbase/platform/win32/windows_api.h"

namespace ZtBase::platform {

void* LibrarySymbol(void* library, const char* name) noexcept {
    return library ? reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(library), name)) : nullptr;
}

void CloseLibrary(void* library) noexcept {
    if (library) ::FreeLibrary(static_cast<HMODULE>(library));
}

const char* LibraryExtension() noexcept {
    return "dll";
}

}  // namespace ZtBase::platform
