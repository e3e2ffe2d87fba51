#include "Platform/Log.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

namespace tarn {

namespace {

/// Restores the default sink.
struct LogTests : testing::Test {
    ~LogTests() override {
        setLogSink({});
        setLogLevel(LogLevel::fault);
        setLogShowsPrivateArguments(false);
    }
    const Log log{"org.example", "Tests"};
};
using LogConcurrencyTests = LogTests;

} // namespace

TEST_F(LogTests, FillsPlaceholdersInOrderAndHidesPrivateArguments) {
    const std::tuple<const char*, std::vector<LogArgument>, const char*, const char*> cases[] = {
        {"plain", {}, "plain", "plain"},
        {"{} of {}", {logPublic(1), logPrivate("me")}, "1 of <private>", "1 of me"},
        {"{}{}", {logPublic("{}"), logPublic("b")}, "{}b", "{}b"}, // an argument is not a format
        {"{} {}", {logPublic("one")}, "one {}", "one {}"},
        {"none", {logPublic("surplus")}, "none", "none"}};
    for (const auto& [format, arguments, hidden, shown] : cases) {
        const LogMessage message{"", "", LogLevel::standard, format, arguments};
        EXPECT_EQ(message.text(false), hidden);
        EXPECT_EQ(message.text(true), shown);
    }
}

TEST_F(LogTests, ADisabledLogBuildsNoArguments) {
    int built = 0;
    int delivered = 0;
    setLogSink([&](const LogMessage&) { ++delivered; });
    const auto arguments = [&] { return ++built, std::vector{logPublic(1)}; };
    Log::disabled().write(LogLevel::fault, "{}", arguments);
    Log::disabled().signpostBegin("Interval", Log::disabled().makeSignpost());
    EXPECT_EQ(built + delivered, 0);
    log.write(LogLevel::debug, "{}", arguments);
    EXPECT_EQ(built + delivered, 2);
}

TEST_F(LogTests, TheDefaultSinkShowsFaultsOnlyUntilItIsAskedForMore) {
    const auto written = [&] {
        testing::internal::CaptureStderr();
        log.write(LogLevel::info, "quiet");
        log.write(LogLevel::error, "path {}", [] { return std::vector{logPrivate("/home/me")}; });
        return testing::internal::GetCapturedStderr();
    };
    EXPECT_EQ(written(), "");
    setLogLevel(LogLevel::standard);
    EXPECT_EQ(written(), "[org.example:Tests] error: path <private>\n");
    setLogShowsPrivateArguments(true);
    EXPECT_EQ(written(), "[org.example:Tests] error: path /home/me\n");
}

TEST_F(LogTests, SurvivesASinkThatThrowsLogsOrReplacesItself) {
    std::vector<std::string> texts;
    setLogSink([&](const LogMessage& message) {
        texts.push_back(message.text(true));
        log.write(LogLevel::debug, "from the sink");
        setLogSink([&](const LogMessage& later) { texts.push_back("second " + later.text(true)); });
        throw std::runtime_error("thrown after all");
    });
    log.write(LogLevel::debug, "a");
    log.write(LogLevel::debug, "b");
    EXPECT_EQ(texts, (std::vector<std::string>{"a", "second b"}));
}

TEST_F(LogTests, SignpostsOfOverlappingIntervalsDiffer) {
    std::vector<std::string> texts;
    EXPECT_FALSE(setLogSink([&](const LogMessage& message) { texts.push_back(message.text(false)); }));
    const auto first = log.makeSignpost(), second = log.makeSignpost();
    EXPECT_NE(first, second);
    log.signpostBegin("Analysis", first);
    log.signpostEnd("Analysis", second);
    EXPECT_EQ(texts, (std::vector{"signpost begin Analysis " + std::to_string(first),
                                  "signpost end Analysis " + std::to_string(second)}));
}

TEST_F(LogConcurrencyTests, ASinkIsCalledByOneThreadAtATimeAndNeverAfterItsReplacement) {
    constexpr int kThreads = 8, kMessages = 200;
    int replacedCount = 0, afterReplacement = 0; // deliberately not atomic: the log serialises
    std::vector<std::thread> threads;
    {
        int count = 0;
        setLogSink([&count](const LogMessage&) { ++count; });
        for (int i = 0; i < kThreads; ++i)
            threads.emplace_back([this] {
                for (int message = 0; message < kMessages; ++message)
                    log.write(LogLevel::debug, "{}", [] { return std::vector{logPublic(1)}; });
            });
        setLogSink([&](const LogMessage&) { ++afterReplacement; });
        replacedCount = count;
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(replacedCount + afterReplacement, kThreads * kMessages);
}

} // namespace tarn
