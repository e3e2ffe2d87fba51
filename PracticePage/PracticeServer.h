#pragma once

#include "Platform/Export.h"
#include "PracticePage/HTTPServer.h"
#include "PracticePage/PracticeAPI.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace TARN_PUBLIC tarn {

/// Serves the practice page until nobody needs it any more.
class PracticeServer {
public:
    struct Options {
        PracticeAPI::Options api;
        std::uint16_t port = 0;
        /// A page that is closed may come back for so long, as one that is loaded again does.
        std::chrono::milliseconds patience{30'000};
        HTTPServer::Options http = {};
    };

    /// Throws std::runtime_error where the port cannot be had.
    explicit PracticeServer(Options options);

    [[nodiscard]] PracticeAPI& api() { return mAPI; }
    /// Where the page is on this machine, "http://127.0.0.1:4711/".
    [[nodiscard]] std::string address() const;
    /// The same with a token that begins a session, once.
    [[nodiscard]] std::string addressWithToken();
    /// Where other devices find it; empty unless it is offered to them.
    [[nodiscard]] std::vector<std::string> networkAddresses() const;

    /// Returns when the question is answered with yes, which is asked often, or when the page has been
    /// closed. A page that never was opened is waited for.
    void run(const std::function<bool()>& isInterrupted);

private:
    const Options mOptions;
    PracticeAPI mAPI;
    std::vector<std::string> mNetworkHosts;
    HTTPServer mServer;
};

} // namespace tarn
