#include "PracticePage/PracticeServer.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <thread>

namespace tarn {

using Clock = std::chrono::steady_clock;

namespace {

/// The addresses (IPv4) at which other machines reach this one.
std::vector<std::string> ownAddresses() {
    std::vector<std::string> addresses;
    ifaddrs* all = nullptr;
    if (getifaddrs(&all) != 0)
        return addresses;
    for (const ifaddrs* each = all; each != nullptr; each = each->ifa_next) {
        const bool isUsable = each->ifa_addr && each->ifa_addr->sa_family == AF_INET &&
                              (each->ifa_flags & IFF_UP) && !(each->ifa_flags & IFF_LOOPBACK);
        if (!isUsable)
            continue;
        char text[INET_ADDRSTRLEN] = "";
        const auto* const internet = reinterpret_cast<const sockaddr_in*>(each->ifa_addr);
        if (inet_ntop(AF_INET, &internet->sin_addr, text, sizeof text))
            addresses.emplace_back(text);
    }
    freeifaddrs(all);
    return addresses;
}

HTTPServer::Options httpOptions(const PracticeServer::Options& options) {
    auto http = options.http;
    http.port = options.port;
    http.isOnNetwork = options.api.access.isOnNetwork;
    return http;
}

} // namespace

PracticeServer::PracticeServer(Options options)
    : mOptions(std::move(options)), mAPI(mOptions.api),
      mServer(httpOptions(mOptions), [this](const HTTPRequest& request) { return mAPI.answer(request); }) {
    const std::string port = ":" + std::to_string(mServer.port());
    if (mOptions.api.access.isOnNetwork) {
        for (const std::string& address : ownAddresses())
            mNetworkHosts.push_back(address + port);
    }
    auto hosts = mNetworkHosts;
    hosts.push_back("127.0.0.1" + port);
    hosts.push_back("localhost" + port);
    mAPI.access().setHosts(std::move(hosts));
}

std::string PracticeServer::address() const {
    return "http://127.0.0.1:" + std::to_string(mServer.port()) + "/";
}

std::string PracticeServer::addressWithToken() {
    return address() + "#t=" + mAPI.access().newToken();
}

std::vector<std::string> PracticeServer::networkAddresses() const {
    std::vector<std::string> addresses;
    for (const std::string& host : mNetworkHosts)
        addresses.push_back("http://" + host + "/");
    return addresses;
}

void PracticeServer::run(const std::function<bool()>& isInterrupted) {
    auto nextKeepAlive = Clock::now() + std::chrono::seconds(15);
    while (!isInterrupted()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        if (Clock::now() >= nextKeepAlive) {
            mAPI.events().pushKeepAlive();
            nextKeepAlive = Clock::now() + std::chrono::seconds(15);
        }
        if (mAPI.wasVisited() && mAPI.idleTime() > mOptions.patience)
            break;
    }
    mAPI.events().push("goodbye", "{}");
    mAPI.events().close();
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // for the pages to hear it
}

} // namespace tarn
