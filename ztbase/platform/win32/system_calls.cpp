// The table of system calls, set to the real Windows calls by constant initialisation. Error numbers are
// the system's own (GetLastError, WSAGetLastError); ErrorText turns them into its messages.
#include "ztbase/platform/internal/system_calls.h"

#include <process.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#include "ztbase/platform/internal/platform.h"
#include "ztbase/platform/win32/windows_api.h"

namespace ZtBase::platform {

namespace {

using win32::FileOf;
using win32::HandleOf;
using win32::LastError;

DWORD ShareModeOf(int share) {
    // Renaming or deleting an open file is allowed, as it is on other systems; only reading and writing
    // are shared by the mode.
    const DWORD base = FILE_SHARE_DELETE;
    return share == 2   ? base | FILE_SHARE_READ | FILE_SHARE_WRITE
           : share == 1 ? base | FILE_SHARE_READ
                        : base;
}

int Open(const char* path, bool write, bool create, int share, int& error) {
    const HANDLE h = ::CreateFileA(path, write ? GENERIC_READ | GENERIC_WRITE : GENERIC_READ,
                                   ShareModeOf(share), nullptr, create ? OPEN_ALWAYS : OPEN_EXISTING,
                                   FILE_ATTRIBUTE_NORMAL | FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        error = LastError();
        return -1;
    }
    return FileOf(h);
}

void Close(int file) {
    ::CloseHandle(HandleOf(file));
}

// One call moves at most 1 GiB, so a count always fits a DWORD.
constexpr std::size_t kLargestTransfer = std::size_t(1) << 30;

long long Read(int file, void* buffer, std::size_t count, int& error) {
    DWORD done = 0;
    const DWORD asked = static_cast<DWORD>(count < kLargestTransfer ? count : kLargestTransfer);
    if (::ReadFile(HandleOf(file), buffer, asked, &done, nullptr)) return done;
    error = LastError();
    return error == ERROR_BROKEN_PIPE || error == ERROR_HANDLE_EOF ? 0 : -1;
}

long long Write(int file, const void* buffer, std::size_t count, int& error) {
    DWORD done = 0;
    const DWORD asked = static_cast<DWORD>(count < kLargestTransfer ? count : kLargestTransfer);
    if (::WriteFile(HandleOf(file), buffer, asked, &done, nullptr)) return done;
    error = LastError();
    return -1;
}

bool Sync(int file, int& error) {
    if (::FlushFileBuffers(HandleOf(file))) return true;
    error = LastError();
    return false;
}

// The end of the file moves to length; the file pointer stays where it was.
bool Truncate(int file, long long length, int& error) {
    FILE_END_OF_FILE_INFO end{};
    end.EndOfFile.QuadPart = length;
    if (::SetFileInformationByHandle(HandleOf(file), FileEndOfFileInfo, &end, sizeof end)) return true;
    error = LastError();
    return false;
}

bool Rename(const char* from, const char* to, int& error) {
    if (::MoveFileExA(from, to, 0)) return true;
    error = LastError();
    return false;
}

bool Replace(const char* from, const char* to, int& error) {
    if (::MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING)) return true;
    error = LastError();
    return false;
}

bool Unlink(const char* path, int& error) {
    if (::DeleteFileA(path)) return true;
    error = LastError();
    return false;
}

// A view of the file through a mapping object that is let go at once: the view keeps the mapping alive.
void* Map(int file, std::size_t length, bool write, int& error) {
    const unsigned long long size = length;
    const HANDLE mapping =
        ::CreateFileMappingA(HandleOf(file), nullptr, write ? PAGE_READWRITE : PAGE_READONLY,
                             static_cast<DWORD>(size >> 32), static_cast<DWORD>(size), nullptr);
    if (!mapping) {
        error = LastError();
        return nullptr;
    }
    void* view = ::MapViewOfFile(mapping, write ? FILE_MAP_WRITE : FILE_MAP_READ, 0, 0, length);
    if (!view) error = LastError();
    ::CloseHandle(mapping);
    return view;
}

void Unmap(void* view, std::size_t) {
    ::UnmapViewOfFile(view);
}

bool SyncMapping(void* view, std::size_t length, int& error) {
    if (::FlushViewOfFile(view, length)) return true;
    error = LastError();
    return false;
}

void* StartThread(unsigned(__stdcall* routine)(void*), void* argument, unsigned& id, int& error) {
    const std::uintptr_t thread = ::_beginthreadex(nullptr, 0, routine, argument, CREATE_SUSPENDED, &id);
    if (thread == 0) {
        error = static_cast<int>(::GetLastError());
        if (error == 0) error = ERROR_NOT_ENOUGH_MEMORY;
        return nullptr;
    }
    return reinterpret_cast<void*>(thread);
}

// The system's message for a failed load, without its line end.
void* OpenLibrary(const char* path, std::string& error) {
    // No message box for a library that cannot be found or loaded: the caller reports it.
    const UINT previous = ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    HMODULE library = ::LoadLibraryA(path);
    const DWORD code = ::GetLastError();
    ::SetErrorMode(previous);
    if (!library) error = path + std::string(": ") + ErrorText(static_cast<int>(code));
    return reinterpret_cast<void*>(library);
}

// A non-blocking connect waited for with select, so that a host that does not answer costs timeoutMs and
// no more; the socket goes back to blocking once connected.
int Connect(const void* address, unsigned length, int family, int timeoutMs, int& error) {
    const SOCKET s = ::socket(family, SOCK_STREAM, IPPROTO_TCP);
    if (s == INVALID_SOCKET) {
        error = ::WSAGetLastError();
        return -1;
    }
    u_long nonBlocking = 1;
    ::ioctlsocket(s, FIONBIO, &nonBlocking);
    if (::connect(s, static_cast<const sockaddr*>(address), static_cast<int>(length)) != 0) {
        const int started = ::WSAGetLastError();
        if (started != WSAEWOULDBLOCK) {
            error = started;
            ::closesocket(s);
            return -1;
        }
        fd_set writable, failed;
        FD_ZERO(&writable);
        FD_ZERO(&failed);
        FD_SET(s, &writable);
        FD_SET(s, &failed);
        timeval wait{timeoutMs / 1000, (timeoutMs % 1000) * 1000};
        const int ready = ::select(0, nullptr, &writable, &failed, timeoutMs < 0 ? nullptr : &wait);
        int result = 0;
        int size = sizeof result;
        if (ready == 0)
            result = WSAETIMEDOUT;
        else if (ready < 0)
            result = ::WSAGetLastError();
        else if (::getsockopt(s, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&result), &size) != 0)
            result = ::WSAGetLastError();
        if (result != 0) {
            error = result;
            ::closesocket(s);
            return -1;
        }
    }
    nonBlocking = 0;
    ::ioctlsocket(s, FIONBIO, &nonBlocking);
    return static_cast<int>(s);
}

constexpr SystemCalls kReal{Open,   Close, Read,  Write,       Sync,        Truncate,    Rename, Replace,
                            Unlink, Map,   Unmap, SyncMapping, StartThread, OpenLibrary, Connect};

}  // namespace

constinit const SystemCalls kRealSystemCalls = kReal;
constinit SystemCalls gSystemCalls = kReal;

}  // namespace ZtBase::platform
