// The system's error numbers and messages for the failures the tests provoke or inject, so that a test
// expects the text the library gives on the system it runs on.
#pragma once

#if defined(_WIN32)
#include <windows.h>
#else
#include <cerrno>
#include <cstring>
#endif

#include <string>

namespace test_support {

#if defined(_WIN32)
// Whether a test may read a file the library holds open for exclusive use: Windows refuses every other
// open, elsewhere the share modes bind only the library's own opens.
constexpr bool kExclusiveFilesReadable = false;
constexpr int kErrorNotFound = ERROR_FILE_NOT_FOUND;
constexpr int kErrorBusy = ERROR_SHARING_VIOLATION;
constexpr int kErrorIo = ERROR_IO_DEVICE;
constexpr int kErrorDiskFull = ERROR_DISK_FULL;

inline std::string SystemMessage(int error) {
    char text[512] = {0};
    DWORD n = ::FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                               static_cast<DWORD>(error), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), text,
                               sizeof text, nullptr);
    while (n > 0 && (text[n - 1] == '\n' || text[n - 1] == '\r' || text[n - 1] == ' ')) --n;
    return std::string(text, n);
}
#else
constexpr bool kExclusiveFilesReadable = true;
constexpr int kErrorNotFound = ENOENT;
constexpr int kErrorBusy = EBUSY;
constexpr int kErrorIo = EIO;
constexpr int kErrorDiskFull = ENOSPC;

inline std::string SystemMessage(int error) {
    return std::strerror(error);
}
#endif

}  // namespace test_support
