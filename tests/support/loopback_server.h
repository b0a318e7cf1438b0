// A TCP server on the loopback address for the socket tests: it listens on a port the system picks and
// runs a handler on each connection it accepts, on its own thread.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <thread>

namespace test_support {

class LoopbackServer {
public:
    // handler gets the connected socket; the server closes it after the handler returns.
    explicit LoopbackServer(std::function<void(int)> handler, int connections = 1) {
        m_listener = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof address);
        socklen_t size = sizeof address;
        ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size);
        m_port = ntohs(address.sin_port);
        ::listen(m_listener, 4);
        m_thread = std::thread([this, handler, connections] {
            for (int i = 0; i < connections; ++i) {
                const int s = ::accept(m_listener, nullptr, nullptr);
                if (s < 0) return;
                handler(s);
                ::close(s);
            }
        });
    }
    // Waits for the connections the server was made for: every test makes them.
    ~LoopbackServer() {
        m_thread.join();
        ::close(m_listener);
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
        for (ssize_t n; (n = ::recv(s, buffer, sizeof buffer, 0)) > 0;)
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
    static void Send(int s, const std::string& bytes) { ::send(s, bytes.data(), bytes.size(), MSG_NOSIGNAL); }
    // Closes with a reset instead of an orderly end.
    static void Reset(int s) {
        linger l{1, 0};
        ::setsockopt(s, SOL_SOCKET, SO_LINGER, &l, sizeof l);
    }

private:
    int m_listener;
    int m_port = 0;
    std::thread m_thread;
};

}  // namespace test_support
