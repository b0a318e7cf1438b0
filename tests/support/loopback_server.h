// A TCP server on the loopback address for the socket tests: it listens on a port the system picks and
// runs a handler on each connection it accepts, on its own thread.
#pragma once

#if defined(_WIN32)
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

#include <functional>
#include <string>
#include <thread>

namespace test_support {

#if defined(_WIN32)
using SocketLength = int;
inline void CloseSocket(int s) {
    ::closesocket(static_cast<SOCKET>(s));
}
constexpr int kNoSignal = 0;
// Winsock started for the test's own sockets, before the library has needed it.
inline const bool kWinsockStarted = [] {
    WSADATA data;
    return ::WSAStartup(MAKEWORD(2, 2), &data) == 0;
}();
#else
using SocketLength = socklen_t;
inline void CloseSocket(int s) {
    ::close(s);
}
constexpr int kNoSignal = MSG_NOSIGNAL;
#endif

class LoopbackServer {
public:
    // handler gets the connected socket; the server closes it after the handler returns.
    explicit LoopbackServer(std::function<void(int)> handler, int connections = 1) {
        m_listener = static_cast<int>(::socket(AF_INET, SOCK_STREAM, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof address);
        SocketLength size = sizeof address;
        ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size);
        m_port = ntohs(address.sin_port);
        ::listen(m_listener, 4);
        m_thread = std::thread([this, handler, connections] {
            for (int i = 0; i < connections; ++i) {
                const int s = static_cast<int>(::accept(m_listener, nullptr, nullptr));
                if (s < 0) return;
                handler(s);
                CloseSocket(s);
            }
        });
    }
    // Waits for the connections the server was made for: every test makes them.
    ~LoopbackServer() {
        m_thread.join();
        CloseSocket(m_listener);
    }
    std::string Name() const { return "SOCKET:127.0.0.1:" + std::to_string(m_port); }

    // A port on which nothing listens (bound a moment and let go).
    static std::string UnusedName() {
        std::string name;
        {
            LoopbackServer s([](int) {}, 0);
            name = s.Name();
        }
        return name;
    }

    // Every byte until the peer ends its side.
    static std::string ReceiveAll(int s) {
        std::string all;
        char buffer[4096];
        for (int n; (n = static_cast<int>(::recv(s, buffer, sizeof buffer, 0))) > 0;)
            all.append(buffer, static_cast<std::size_t>(n));
        return all;
    }
    static std::string ReceiveUntil(int s, const std::string& end) {
        std::string all;
        char c;
        while (all.size() < end.size() || all.compare(all.size() - end.size(), end.size(), end) != 0) {
            if (::recv(s, &c, 1, 0) != 1) break;
            all += c;
        }
        return all;
    }
    static void Send(int s, const std::string& bytes) {
        ::send(s, bytes.data(), static_cast<int>(bytes.size()), kNoSignal);
    }
    // Closes with a reset instead of an orderly end.
    static void Reset(int s) {
        linger l{1, 0};
        ::setsockopt(s, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&l), sizeof l);
    }

private:
    int m_listener;
    int m_port = 0;
    std::thread m_thread;
};

}  // namespace test_support
