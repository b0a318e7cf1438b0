// Shared libraries through dlopen: loading goes through the system-call table so that a test can make it
// fail.
#include <dlfcn.h>

#include "ztbase/platform/internal/platform.h"
#include "ztbase/platform/internal/system_calls.h"

namespace ZtBase::platform {

void* LibrarySymbol(void* library, const char* name) noexcept {
    return library ? ::dlsym(library, name) : nullptr;
}

void CloseLibrary(void* library) noexcept {
    if (library) ::dlclose(library);
}

const char* LibraryExtension() noexcept {
    return "so";
}

}  // namespace ZtBase::platform
