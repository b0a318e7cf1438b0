// The table of system calls, set to the real POSIX calls by constant initialisation.
#include "ztbase/platform/internal/system_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace ZtBase::platform {

namespace {

// Share modes are kept by the file layer's registry and flock, not by open(2).
int Open(const char* path, bool write, bool create, int /*share*/, int& error) {
    const int fd = ::open(path, (write ? O_RDWR : O_RDONLY) | (create ? O_CREAT : 0) | O_CLOEXEC, 0666);
    if (fd < 0) error = errno;
    return fd;
}

void Close(int file) {
    ::close(file);
}

long long Read(int file, void* buffer, std::size_t count, int& error) {
    const ssize_t n = ::read(file, buffer, count);
    if (n < 0) error = errno;
    return n;
}

long long Write(int file, const void* buffer, std::size_t count, int& error) {
    const ssize_t n = ::write(file, buffer, count);
    if (n < 0) error = errno;
    return n;
}

bool Sync(int file, int& error) {
    if (::fsync(file) == 0) return true;
    error = errno;
    return false;
}

bool Truncate(int file, long long length, int& error) {
    if (::ftruncate(file, static_cast<off_t>(length)) == 0) return true;
    error = errno;
    return false;
}

bool Rename(const char* from, const char* to, int& error) {
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return true;
    error = errno;
    return false;
}

bool Replace(const char* from, const char* to, int& error) {
    if (::rename(from, to) == 0) return true;
    error = errno;
    return false;
}

bool Unlink(const char* path, int& error) {
    if (::unlink(path) == 0) return true;
    error = errno;
    return false;
}

void* Map(int file, std::size_t length, bool write, int& error) {
    void* view = ::mmap(nullptr, length, write ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED, file, 0);
    if (view != MAP_FAILED) return view;
    error = errno;
    return nullptr;
}

void Unmap(void* view, std::size_t length) {
    ::munmap(view, length);
}

bool SyncMapping(void* view, std::size_t length, int& error) {
    if (::msync(view, length, MS_SYNC) == 0) return true;
    error = errno;
    return false;
}

void* OpenLibrary(const char* path, std::string& error) {
    void* library = ::dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        const char* text = ::dlerror();
        error = text ? text : "cannot load the library";
    }
    return library;
}

// A non-blocking connect waited for with poll, so that a host that does not answer costs timeoutMs and no
// more; the socket goes back to blocking once connected.
int Connect(const void* address, unsigned length, int family, int timeoutMs, int& error) {
    const int s = ::socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (s < 0) {
        error = errno;
        return -1;
    }
    if (::connect(s, static_cast<const sockaddr*>(address), length) != 0) {
        if (errno != EINPROGRESS) {
            error = errno;
            ::close(s);
            return -1;
        }
        pollfd p{s, POLLOUT, 0};
        int ready;
        while ((ready = ::poll(&p, 1, timeoutMs)) < 0 && errno == EINTR) {
        }
        int result = 0;
        socklen_t size = sizeof result;
        if (ready == 0)
            result = ETIMEDOUT;
        else if (ready < 0)
            result = errno;
        else if (::getsockopt(s, SOL_SOCKET, SO_ERROR, &result, &size) != 0)
            result = errno;
        if (result != 0) {
            error = result;
            ::close(s);
            return -1;
        }
    }
    ::fcntl(s, F_SETFL, ::fcntl(s, F_GETFL) & ~O_NONBLOCK);
    return s;
}

bool StartThread(void* (*routine)(void*), void* argument, int& error) {
    pthread_t thread;
    if (const int e = ::pthread_create(&thread, nullptr, routine, argument)) {
        error = e;
        return false;
    }
    ::pthread_detach(thread);
    return true;
}

constexpr SystemCalls kReal{Open,   Close, Read,  Write,       Sync,        Truncate,    Rename, Replace,
                            Unlink, Map,   Unmap, SyncMapping, StartThread, OpenLibrary, Connect};

}  // namespace

constinit const SystemCalls kRealSystemCalls = kReal;
constinit SystemCalls gSystemCalls = kReal;

}  // namespace ZtBase::platform
