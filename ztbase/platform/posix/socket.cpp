// Stream sockets: names resolved with getaddrinfo, connections made through the system-call table, every
// wait bounded with poll, and sends that never raise SIGPIPE.
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "ztbase/platform/internal/platform.h"
#include "ztbase/platform/internal/system_calls.h"

namespace ZtBase::platform {

namespace {

// 1 ready, 0 timed out, -1 failed (error set).
int WaitFor(SocketId socket, short events, int timeoutMs, int& error) noexcept {
    pollfd p{socket, events, 0};
    for (;;) {
        const int ready = ::poll(&p, 1, timeoutMs);
        if (ready >= 0) return ready > 0 ? 1 : 0;
        if (errno != EINTR) {
            error = errno;
            return -1;
        }
    }
}

}  // namespace

SocketId ConnectStream(const char* host, const char* port, int timeoutMs, ConnectFailure& why, int& error,
                       std::string& message) noexcept {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (const int e = ::getaddrinfo(host, port, &hints, &found)) {
        why = ConnectFailure::kUnknownHost;
        error = e == EAI_SYSTEM ? errno : 0;
        message = ::gai_strerror(e);
        return kNoSocket;
    }
    why = ConnectFailure::kOther;
    error = 0;
    SocketId result = kNoSocket;
    for (const addrinfo* a = found; a && result == kNoSocket; a = a->ai_next) {
        result = gSystemCalls.connect(a->ai_addr, a->ai_addrlen, a->ai_family, timeoutMs, error);
    }
    ::freeaddrinfo(found);
    if (result != kNoSocket) {
        why = ConnectFailure::kNone;
    } else {
        why = error == ECONNREFUSED ? ConnectFailure::kRefused
              : error == ETIMEDOUT  ? ConnectFailure::kTimedOut
                                    : ConnectFailure::kOther;
        message = ErrorText(error);
    }
    return result;
}

long long ReceiveSocket(SocketId socket, void* buffer, std::size_t count, int timeoutMs,
                        int& error) noexcept {
    for (;;) {
        const int ready = WaitFor(socket, POLLIN, timeoutMs, error);
        if (ready < 0) return -1;
        if (ready == 0) {
            error = ETIMEDOUT;
            return -1;
        }
        const ssize_t got = ::recv(socket, buffer, count, 0);
        if (got >= 0) return got;
        if (errno != EINTR && errno != EAGAIN) {
            error = errno;
            return -1;
        }
    }
}

long long SendSocket(SocketId socket, const void* buffer, std::size_t count, int timeoutMs,
                     int& error) noexcept {
    const char* p = static_cast<const char*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        const ssize_t sent = ::send(socket, p + done, count - done, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0) {
            done += static_cast<std::size_t>(sent);
            continue;
        }
        if (errno == EINTR) continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK) {
            error = errno;
            return -1;
        }
        const int ready = WaitFor(socket, POLLOUT, timeoutMs, error);
        if (ready < 0) return -1;
        if (ready == 0) {
            error = ETIMEDOUT;
            return -1;
        }
    }
    return static_cast<long long>(done);
}

void ShutdownSending(SocketId socket) noexcept {
    if (socket != kNoSocket) ::shutdown(socket, SHUT_WR);
}

void CloseSocket(SocketId socket) noexcept {
    if (socket != kNoSocket) ::close(socket);
}

}  // namespace ZtBase::platform
