// Stream sockets over Winsock: started once for the process, names resolved with getaddrinfo, connections
// made through the system-call table, every wait bounded with select.
#include <winsock2.h>
#include <ws2tcpip.h>

#include "ztbase/platform/internal/platform.h"
#include "ztbase/platform/internal/system_calls.h"
#include "ztbase/platform/win32/windows_api.h"

namespace ZtBase::platform {

namespace {

// Winsock is started on the first use and left running until the process ends.
int StartWinsock() noexcept {
    static const int result = [] {
        WSADATA data;
        return ::WSAStartup(MAKEWORD(2, 2), &data);
    }();
    return result;
}

// 1 ready, 0 timed out, -1 failed (error set).
int WaitFor(SocketId socket, bool forWriting, int timeoutMs, int& error) noexcept {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(static_cast<SOCKET>(socket), &set);
    timeval wait{timeoutMs / 1000, (timeoutMs % 1000) * 1000};
    const int ready = ::select(0, forWriting ? nullptr : &set, forWriting ? &set : nullptr, nullptr,
                               timeoutMs < 0 ? nullptr : &wait);
    if (ready >= 0) return ready > 0 ? 1 : 0;
    error = ::WSAGetLastError();
    return -1;
}

}  // namespace

SocketId ConnectStream(const char* host, const char* port, int timeoutMs, ConnectFailure& why, int& error,
                       std::string& message) noexcept {
    if (const int e = StartWinsock()) {
        why = ConnectFailure::kOther;
        error = e;
        message = ErrorText(e);
        return kNoSocket;
    }
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (const int e = ::getaddrinfo(host, port, &hints, &found)) {
        why = ConnectFailure::kUnknownHost;
        error = e;
        message = ErrorText(e);
        return kNoSocket;
    }
    why = ConnectFailure::kOther;
    error = 0;
    SocketId result = kNoSocket;
    for (const addrinfo* a = found; a && result == kNoSocket; a = a->ai_next) {
        result = gSystemCalls.connect(a->ai_addr, static_cast<unsigned>(a->ai_addrlen), a->ai_family,
                                      timeoutMs, error);
    }
    ::freeaddrinfo(found);
    if (result != kNoSocket) {
        why = ConnectFailure::kNone;
    } else {
        why = error == WSAECONNREFUSED ? ConnectFailure::kRefused
              : error == WSAETIMEDOUT  ? ConnectFailure::kTimedOut
                                       : ConnectFailure::kOther;
        message = ErrorText(error);
    }
    return result;
}

long long ReceiveSocket(SocketId socket, void* buffer, std::size_t count, int timeoutMs,
                        int& error) noexcept {
    const int ready = WaitFor(socket, false, timeoutMs, error);
    if (ready < 0) return -1;
    if (ready == 0) {
        error = WSAETIMEDOUT;
        return -1;
    }
    const int asked = count < (1u << 30) ? static_cast<int>(count) : (1 << 30);
    const int got = ::recv(static_cast<SOCKET>(socket), static_cast<char*>(buffer), asked, 0);
    if (got >= 0) return got;
    error = ::WSAGetLastError();
    return -1;
}

long long SendSocket(SocketId socket, const void* buffer, std::size_t count, int timeoutMs,
                     int& error) noexcept {
    const char* p = static_cast<const char*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        const int ready = WaitFor(socket, true, timeoutMs, error);
        if (ready < 0) return -1;
        if (ready == 0) {
            error = WSAETIMEDOUT;
            return -1;
        }
        const std::size_t left = count - done;
        const int asked = left < (1u << 30) ? static_cast<int>(left) : (1 << 30);
        const int sent = ::send(static_cast<SOCKET>(socket), p + done, asked, 0);
        if (sent < 0) {
            error = ::WSAGetLastError();
            return -1;
        }
        done += static_cast<std::size_t>(sent);
    }
    return static_cast<long long>(done);
}

void ShutdownSending(SocketId socket) noexcept {
    if (socket != kNoSocket) ::shutdown(static_cast<SOCKET>(socket), SD_SEND);
}

void CloseSocket(SocketId socket) noexcept {
    if (socket != kNoSocket) ::closesocket(static_cast<SOCKET>(socket));
}

}  // namespace ZtBase::platform
