#include "Platform/FatalError.h"
#include "Platform/Log.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <future>
#include <stdexcept>
#include <thread>

namespace tarn {

TEST(FatalErrorDeathTest, SaysWhyOnStandardErrorAndInTheLog) {
    const auto stop = [] {
        setLogSink([](const LogMessage& message) {
            std::fprintf(stderr, "log %s %d %s", message.category.c_str(), message.level == LogLevel::fault,
                         message.text(false).c_str());
        });
        fatalError("Broken {} 100%s");
    };
    EXPECT_DEATH(stop(), "Fatal error: Broken \\{\\} 100%s\nlog FatalError 1 Broken \\{\\} 100%s");
    EXPECT_DEATH(precondition(1 > 2, "One is not above two"), "One is not above two");
}

TEST(FatalErrorDeathTest, AFailingSinkNeitherRepeatsNorStopsTheEnd) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto withSink = [](LogSink sink) {
        setLogSink(std::move(sink));
        fatalError("the reason");
    };
    EXPECT_DEATH(withSink([](const LogMessage&) { throw std::runtime_error("no disk"); }), "the reason");
    EXPECT_DEATH(withSink([](const LogMessage&) { fatalError("inner"); }), "the reason\nFatal error: inner");

    const auto whileAnotherThreadIsStuck = [] {
        std::promise<void> inside;
        setLogSink([&](const LogMessage&) {
            inside.set_value();
            std::this_thread::sleep_for(std::chrono::hours(1));
        });
        std::thread([] { Log::standard().write(LogLevel::error, "stuck"); }).detach();
        inside.get_future().wait();
        fatalError("the reason");
    };
    EXPECT_DEATH(whileAnotherThreadIsStuck(), "the reason");
}

} // namespace tarn
