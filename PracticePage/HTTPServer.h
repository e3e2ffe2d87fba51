#pragma once

#include "Platform/Export.h"
#include "PracticePage/HTTP.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace TARN_PUBLIC tarn {

/// HTTP/1.1 on a port of this machine, on a few threads however many connections are open. Requests are
/// bounded in size, number and time; what exceeds a bound is refused and never reaches the handler.
class HTTPServer {
public:
    struct Options {
        std::uint16_t port = 0;   ///< 0: any free one
        bool isOnNetwork = false; ///< reachable from other machines; otherwise on the loopback address alone
        std::size_t largestBody = 64 << 10; ///< bytes
        std::size_t mostConnections = 1000;
        /// How many connections another machine may have.
        std::size_t mostConnectionsOfOthers = 32;
        /// A connection on which no request has been answered for so long is closed.
        std::chrono::milliseconds patience{30'000};
    };
    /// Called on several threads at once. An exception gives the status 500.
    using Handler = std::function<HTTPResponse(const HTTPRequest&)>;

    /// Serves from now on. Throws std::runtime_error where the port cannot be had.
    HTTPServer(const Options& options, Handler handler);
    /// Ends all connections.
    ~HTTPServer();
    HTTPServer(const HTTPServer&) = delete;
    HTTPServer& operator=(const HTTPServer&) = delete;

    [[nodiscard]] std::uint16_t port() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> mImplementation;
};

} // namespace tarn
