// The Windows headers as the win32 platform files take them, and the conversions between the library's
// file numbers and the system's handles. A file number is the handle's value: kernel handles carry only
// 32 significant bits (so 32-bit and 64-bit processes can share them), so the value fits an int and is
// sign-extended back; INVALID_HANDLE_VALUE is -1, the library's kNoFile.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <cstdint>
#include <string>

namespace ZtBase::platform::win32 {

inline HANDLE HandleOf(int file) noexcept {
    return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(file));
}
inline int FileOf(HANDLE handle) noexcept {
    return static_cast<int>(reinterpret_cast<std::intptr_t>(handle));
}
inline int LastError() noexcept {
    return static_cast<int>(::GetLastError());
}
// Directories the system gives end with a backslash here, as the file spaces expect.
inline std::string WithSeparator(std::string directory) {
    if (!directory.empty() && directory.back() != '\\' && directory.back() != '/') directory += '\\';
    return directory;
}

}  // namespace ZtBase::platform::win32
