#include "PracticePage/EventStream.h"
#include "PracticePage/HTTPServer.h"
#include "Tests/PracticePage/SocketClient.h"

#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <vector>

namespace tarn {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;

/// Says back what it was sent.
HTTPResponse echo(const HTTPRequest& request) {
    return {200, "text/plain",
            request.method + " " + request.path + " x=" + std::string(request.argument("x").value_or("-")) +
                " " + request.body};
}

std::string answerTo(std::uint16_t port, const std::string& request) {
    SocketClient client(port);
    client.send(request);
    return client.receiveUntil("\x01", 30s);
}

const std::string kEnd = "Host: h\r\nConnection: close\r\n\r\n";

TEST(HTTPServerTests, AnswersRequestsWithTheirArgumentsAndBodies) {
    const HTTPServer server({}, echo);
    EXPECT_THAT(answerTo(server.port(), "GET /a%2Fb?x=1%262 HTTP/1.1\r\n" + kEnd),
                HasSubstr("GET /a/b x=1&2 "));
    EXPECT_THAT(answerTo(server.port(), "PUT /p HTTP/1.1\r\nContent-Length: 5\r\n" + kEnd + "hello"),
                HasSubstr("PUT /p x=- hello"));
}

TEST(HTTPServerTests, WhatTheHandlerThrowsEndsTheRequestAlone) {
    const HTTPServer server({}, [](const HTTPRequest& request) -> HTTPResponse {
        if (request.path == "/fault")
            throw std::runtime_error("a secret");
        return echo(request);
    });
    const auto answer = answerTo(server.port(), "GET /fault HTTP/1.1\r\n" + kEnd);
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 500"));
    EXPECT_THAT(answer, testing::Not(HasSubstr("secret")));
    EXPECT_THAT(answerTo(server.port(), "GET / HTTP/1.1\r\n" + kEnd), StartsWith("HTTP/1.1 200"));
}

TEST(HTTPServerTests, RefusesWhatIsTooLargeBeforeTheHandlerSeesIt) {
    std::atomic<int> calls = 0;
    const HTTPServer server({.largestBody = 1000}, [&](const HTTPRequest& request) {
        ++calls;
        return echo(request);
    });
    EXPECT_THAT(answerTo(server.port(), "POST / HTTP/1.1\r\nContent-Length: 1001\r\n" + kEnd),
                StartsWith("HTTP/1.1 413"));
    EXPECT_THAT(answerTo(server.port(), "POST / HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n" + kEnd),
                testing::AnyOf(StartsWith("HTTP/1.1 413"), StartsWith("HTTP/1.1 400")));
    const std::string chunk = "258\r\n" + std::string(0x258, 'x') + "\r\n"; // 600 bytes
    EXPECT_THAT(answerTo(server.port(), "POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n" + kEnd + chunk +
                                            chunk + "0\r\n\r\n"),
                StartsWith("HTTP/1.1 413"));
    EXPECT_THAT(answerTo(server.port(), "GET / HTTP/1.1\r\nX: " + std::string(100'000, 'x') + "\r\n" + kEnd),
                StartsWith("HTTP/1.1 431"));
    EXPECT_THAT(answerTo(server.port(), "GET /" + std::string(100'000, 'x') + " HTTP/1.1\r\n" + kEnd),
                StartsWith("HTTP/1.1 414"));
    EXPECT_EQ(calls, 0);
    EXPECT_THAT(answerTo(server.port(),
                         "POST / HTTP/1.1\r\nContent-Length: 1000\r\n" + kEnd + std::string(1000, 'y')),
                StartsWith("HTTP/1.1 200"));
}

TEST(HTTPServerTests, ClosesRequestsThatArriveByteByByteAndConnectionsThatSayNothing) {
    const HTTPServer server({.patience = 2s}, echo);
    SocketClient silent(server.port());
    SocketClient slow(server.port());
    slow.send("GET / HTTP/1.1\r\nX: ");
    bool isOpen = true;
    for (int i = 0; i < 200 && isOpen; ++i) {
        std::this_thread::sleep_for(50ms);
        isOpen = slow.send("x") && !slow.ends(1ms);
    }
    EXPECT_FALSE(isOpen);
    EXPECT_TRUE(silent.ends(10s));
    SocketClient prompt(server.port());
    prompt.send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_THAT(prompt.receiveUntil("GET /"), StartsWith("HTTP/1.1 200"));
}

TEST(HTTPServerTests, FiveHundredIdleConnectionsKeepNobodyFromBeingAnswered) {
    const HTTPServer server({}, echo);
    std::vector<std::unique_ptr<SocketClient>> idle;
    for (int i = 0; i < 500; ++i) {
        idle.push_back(std::make_unique<SocketClient>(server.port()));
        ASSERT_TRUE(idle.back()->isConnected()) << i;
        idle.back()->send("GET / HTTP/1.1\r\n");
    }
    for (int i = 0; i < 20; ++i)
        ASSERT_THAT(answerTo(server.port(), "GET / HTTP/1.1\r\n" + kEnd), StartsWith("HTTP/1.1 200")) << i;
    idle.back()->send("Host: h\r\n\r\n");
    EXPECT_THAT(idle.back()->receiveUntil("GET /"), StartsWith("HTTP/1.1 200"));
}

TEST(HTTPServerTests, EventsReachAPageThatWaitsForThemUntilTheStreamOrTheServerEnds) {
    const auto events = std::make_shared<EventStream>();
    auto server =
        std::make_unique<HTTPServer>(HTTPServer::Options{.patience = 1500ms}, [&](const HTTPRequest&) {
            HTTPResponse response{200, "text/event-stream"};
            response.events = events;
            return response;
        });
    SocketClient page(server->port());
    page.send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    events->push("song", "1");
    EXPECT_THAT(page.receiveUntil("data: 1"), HasSubstr("event: song\ndata: 1\n\n"));
    std::this_thread::sleep_for(2500ms); // a stream may be silent
    events->push("song", "2");
    EXPECT_THAT(page.receiveUntil("data: 2"), HasSubstr("data: 2\n\n"));
    server.reset();
    EXPECT_TRUE(page.ends(5s));
    EXPECT_TRUE(events->isClosed());
}

TEST(HTTPServerTests, APageThatDoesNotReadLosesItsStream) {
    EventStream events;
    const std::string large(100'000, 'x');
    for (int i = 0; i < 5; ++i)
        events.push("song", large);
    EXPECT_FALSE(events.isClosed());
    for (int i = 0; i < 10; ++i)
        events.push("song", large);
    EXPECT_TRUE(events.isClosed());
}

} // namespace
} // namespace tarn
