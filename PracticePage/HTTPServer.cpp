#include "PracticePage/HTTPServer.h"

#include "Platform/PlainText.h"
#include "PracticePage/Connections.h"
#include "PracticePage/EventStream.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <cstring>
#include <microhttpd.h>
#include <mutex>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/resource.h>
#include <unistd.h>

namespace tarn {
namespace {

/// Those that a page sends fit many times.
constexpr std::size_t kMostMemoryOfRequest = 32 << 10; // bytes, of its head
constexpr unsigned kThreads = 4;

/// A request on its way in, and whether it is too large.
struct Exchange {
    HTTPRequest request;
    bool isTooLarge = false;
};

/// An event stream that a connection sends.
struct StreamSending {
    MHD_Connection* connection;
    std::shared_ptr<EventStream> events;
};

ssize_t readEvents(void* context, std::uint64_t /*position*/, char* buffer, std::size_t room) {
    auto& sending = *static_cast<StreamSending*>(context);
    const auto read = sending.events->read(buffer, room, [&sending] {
        MHD_suspend_connection(sending.connection);
        return std::function<void()>(
            [connection = sending.connection] { MHD_resume_connection(connection); });
    });
    if (read.state == EventStream::State::end)
        return MHD_CONTENT_READER_END_OF_STREAM;
    return static_cast<ssize_t>(read.length);
}

/// A process may have few files open unless it asks for more, and each connection is one.
void allowFiles(std::size_t count) {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= count)
        return;
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, count);
    setrlimit(RLIMIT_NOFILE, &limit);
}

bool isLoopback(std::uint32_t address) {
    return ntohl(address) >> 24 == 127;
}

std::uint32_t addressOf(const sockaddr* peer) {
    sockaddr_in internet{};
    if (peer == nullptr || peer->sa_family != AF_INET)
        return 0;
    std::memcpy(&internet, peer, sizeof internet);
    return internet.sin_addr.s_addr;
}

MHD_Result addField(void* context, MHD_ValueKind kind, const char* key, const char* value) {
    auto& request = *static_cast<HTTPRequest*>(context);
    const std::string text = value ? value : "";
    if (kind == MHD_HEADER_KIND)
        request.headers.emplace_back(lowerCased(key), text);
    else
        request.query.emplace_back(key, text);
    return MHD_YES;
}

} // namespace

class HTTPServer::Implementation {
public:
    Implementation(const Options& options, Handler handler)
        : mOptions(options), mHandler(std::move(handler)), mConnections(options.patience) {
        allowFiles(options.mostConnections + 200);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(options.port);
        address.sin_addr.s_addr = htonl(options.isOnNetwork ? INADDR_ANY : INADDR_LOOPBACK);
        mDaemon = MHD_start_daemon(
            MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME, options.port, &Implementation::accepts,
            this, &Implementation::receive, this, MHD_OPTION_SOCK_ADDR, &address, MHD_OPTION_THREAD_POOL_SIZE,
            kThreads, MHD_OPTION_CONNECTION_LIMIT, static_cast<unsigned>(options.mostConnections),
            MHD_OPTION_CONNECTION_MEMORY_LIMIT, kMostMemoryOfRequest, MHD_OPTION_NOTIFY_CONNECTION,
            &Implementation::noteConnection, this, MHD_OPTION_NOTIFY_COMPLETED,
            &Implementation::noteCompletion, this, MHD_OPTION_END);
        if (!mDaemon)
            throw std::runtime_error("port " + std::to_string(options.port) +
                                     " cannot be had; another program may be using it");
    }

    ~Implementation() {
        const auto listening = MHD_quiesce_daemon(mDaemon);
        {
            const std::lock_guard guard(mMutex);
            mIsEnding = true;
            for (const auto& stream : mStreams) {
                if (const auto events = stream.lock())
                    events->close(); // connections that wait cannot be ended
            }
        }
        MHD_stop_daemon(mDaemon);
        if (listening != MHD_INVALID_SOCKET)
            ::close(listening);
    }
    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;

    [[nodiscard]] std::uint16_t port() const {
        const auto* const info = MHD_get_daemon_info(mDaemon, MHD_DAEMON_INFO_BIND_PORT);
        return info ? info->port : 0;
    }

private:
    static MHD_Result accepts(void* self, const sockaddr* peer, socklen_t /*length*/) {
        const auto& server = *static_cast<Implementation*>(self);
        const auto address = addressOf(peer);
        return isLoopback(address) ||
                       server.mConnections.countFrom(address) < server.mOptions.mostConnectionsOfOthers
                   ? MHD_YES
                   : MHD_NO;
    }

    static void noteConnection(void* self, MHD_Connection* connection, void** context,
                               MHD_ConnectionNotificationCode what) {
        auto& all = static_cast<Implementation*>(self)->mConnections;
        if (what == MHD_CONNECTION_NOTIFY_STARTED) {
            const auto* const socket = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
            const auto* const peer = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
            *context = all.add(socket->connect_fd, addressOf(peer ? peer->client_addr : nullptr));
        } else if (*context) {
            all.remove(static_cast<Connections::Connection*>(*context));
        }
    }

    static Connections::Connection* connectionOf(MHD_Connection* connection) {
        const auto* const info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
        return static_cast<Connections::Connection*>(info->socket_context);
    }

    static void noteCompletion(void* self, MHD_Connection* connection, void** context,
                               MHD_RequestTerminationCode /*how*/) {
        delete static_cast<Exchange*>(*context);
        *context = nullptr;
        static_cast<Implementation*>(self)->mConnections.noteAnswer(connectionOf(connection));
    }

    static MHD_Result receive(void* self, MHD_Connection* connection, const char* path, const char* method,
                              const char* /*version*/, const char* data, std::size_t* length,
                              void** context) {
        return static_cast<Implementation*>(self)->receive(connection, path, method, {data, *length}, length,
                                                           context);
    }

    MHD_Result receive(MHD_Connection* connection, const char* path, const char* method,
                       std::string_view data, std::size_t* length, void** context) {
        if (!*context) {
            auto exchange = std::make_unique<Exchange>();
            exchange->request.method = method;
            exchange->request.path = path;
            exchange->request.isFromThisMachine = isLoopback(connectionOf(connection)->address);
            MHD_get_connection_values(connection, MHD_HEADER_KIND, &addField, &exchange->request);
            MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, &addField, &exchange->request);
            const bool isTooLarge = declaresTooMuch(exchange->request);
            *context = exchange.release();
            // The rest is not read: the connection ends with the answer.
            return isTooLarge ? send(connection, tooLarge()) : MHD_YES;
        }
        auto& exchange = *static_cast<Exchange*>(*context);
        if (!data.empty()) {
            exchange.isTooLarge =
                exchange.isTooLarge || exchange.request.body.size() + data.size() > mOptions.largestBody;
            if (!exchange.isTooLarge)
                exchange.request.body += data;
            *length = 0;
            return MHD_YES;
        }
        if (exchange.isTooLarge)
            return send(connection, tooLarge());
        HTTPResponse response;
        try {
            response = mHandler(exchange.request);
        } catch (const std::exception&) {
            response = {500, "application/json", R"({"error":"The program could not do this."})"};
        }
        return send(connection, std::move(response));
    }

    [[nodiscard]] bool declaresTooMuch(const HTTPRequest& request) const {
        const auto declared = request.header("content-length");
        std::size_t length = 0;
        if (!declared)
            return false;
        const auto read = std::from_chars(declared->data(), declared->data() + declared->size(), length);
        return read.ec != std::errc() || length > mOptions.largestBody;
    }

    static HTTPResponse tooLarge() {
        return {413, "application/json", R"({"error":"The request is too large."})"};
    }

    MHD_Result send(MHD_Connection* connection, HTTPResponse answer) {
        MHD_Response* const response =
            answer.events ? responseOf(connection, answer.events)
                          : MHD_create_response_from_buffer(answer.body.size(), answer.body.data(),
                                                            MHD_RESPMEM_MUST_COPY);
        if (!response)
            return MHD_NO;
        MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, answer.type.c_str());
        for (const auto& [name, value] : answer.headers)
            MHD_add_response_header(response, name.c_str(), value.c_str());
        const auto result = MHD_queue_response(connection, static_cast<unsigned>(answer.status), response);
        MHD_destroy_response(response);
        return result;
    }

    MHD_Response* responseOf(MHD_Connection* connection, const std::shared_ptr<EventStream>& events) {
        const std::lock_guard guard(mMutex);
        if (mIsEnding)
            return nullptr;
        std::erase_if(mStreams, [](const auto& stream) { return stream.expired(); });
        mStreams.push_back(events);
        mConnections.noteStream(connectionOf(connection));
        constexpr std::size_t kBlock = 4096;
        auto sending = std::make_unique<StreamSending>(StreamSending{connection, events});
        auto* const response = MHD_create_response_from_callback(
            MHD_SIZE_UNKNOWN, kBlock, &readEvents, sending.get(), [](void* context) {
                const std::unique_ptr<StreamSending> ended(static_cast<StreamSending*>(context));
                ended->events->close(); // nobody reads it any more
            });
        if (response)
            (void)sending.release();
        return response;
    }

    const Options mOptions;
    const Handler mHandler;
    Connections mConnections;
    std::mutex mMutex;
    bool mIsEnding = false;
    std::vector<std::weak_ptr<EventStream>> mStreams;
    MHD_Daemon* mDaemon = nullptr;
};

HTTPServer::HTTPServer(const Options& options, Handler handler)
    : mImplementation(std::make_unique<Implementation>(options, std::move(handler))) {}

HTTPServer::~HTTPServer() = default;

std::uint16_t HTTPServer::port() const {
    return mImplementation->port();
}

} // namespace tarn
