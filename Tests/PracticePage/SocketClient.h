#pragma once

#include <arpa/inet.h>
#include <chrono>
#include <cstdint>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace tarn {

/// A connection to a port of this machine, for requests as no browser would send them.
class SocketClient {
public:
    explicit SocketClient(std::uint16_t port) : mSocket(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        mIsConnected = ::connect(mSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    ~SocketClient() { ::close(mSocket); }
    SocketClient(const SocketClient&) = delete;
    SocketClient& operator=(const SocketClient&) = delete;

    [[nodiscard]] bool isConnected() const { return mIsConnected; }

    /// False once the other side has closed.
    bool send(std::string_view text) {
        while (!text.empty()) {
            const auto sent = ::send(mSocket, text.data(), text.size(), MSG_NOSIGNAL);
            if (sent <= 0)
                return false;
            text.remove_prefix(static_cast<std::size_t>(sent));
        }
        return true;
    }
    /// All that arrives until `part` has, the connection ends, or the time is over.
    std::string receiveUntil(std::string_view part,
                             std::chrono::milliseconds patience = std::chrono::seconds(20)) {
        const auto end = std::chrono::steady_clock::now() + patience;
        std::string text;
        while (text.find(part) == text.npos && std::chrono::steady_clock::now() < end && !mHasEnded) {
            pollfd ready{mSocket, POLLIN, 0};
            if (::poll(&ready, 1, 50) <= 0)
                continue;
            char bytes[65536];
            const auto count = ::recv(mSocket, bytes, sizeof bytes, 0);
            mHasEnded = count <= 0;
            text.append(bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
        return text;
    }
    /// Whether the other side ends the connection in that time.
    bool ends(std::chrono::milliseconds patience) {
        (void)receiveUntil("\x01 never sent", patience);
        return mHasEnded;
    }

private:
    int mSocket;
    bool mIsConnected = false;
    bool mHasEnded = false;
};

} // namespace tarn
