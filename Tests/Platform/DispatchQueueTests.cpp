#include "Platform/DispatchQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>

namespace tarn {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLong{20000};

TEST(MainQueueTests, SyncRunsAtOnceOnTheMainThreadAndAsyncLater) {
    MainQueue::becomeMainThread();
    std::vector<int> order;
    MainQueue::async([&] {
        order.push_back(1);
        MainQueue::sync([&] { order.push_back(2); });
        MainQueue::async([&] { order.push_back(5); });
        order.push_back(3);
    });
    MainQueue::async([&] { order.push_back(4); });
    MainQueue::sync([&] { order.push_back(0); });
    EXPECT_EQ(order, std::vector<int>{0});
    EXPECT_EQ(MainQueue::runPending(), 2U) << "what a block queues waits for the next turn";
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
    EXPECT_EQ(MainQueue::runPending(), 1U);
    EXPECT_EQ(MainQueue::runPending(), 0U);
}

TEST(MainQueueTests, BlocksMayDrainTheQueue) {
    MainQueue::becomeMainThread();
    int ran = 0;
    MainQueue::async([&] { EXPECT_EQ(MainQueue::runPending(), 2U); });
    MainQueue::async([&] { ++ran; });
    MainQueue::async([&] { ++ran; });
    EXPECT_EQ(MainQueue::runPending(), 1U);
    EXPECT_EQ(ran, 2);
}

TEST(MainQueueTests, RunUntilReturnsTheCondition) {
    MainQueue::becomeMainThread();
    EXPECT_TRUE(MainQueue::runUntil([] { return true; }, milliseconds(0)));
    EXPECT_FALSE(MainQueue::runUntil([] { return false; }, milliseconds(0)));
    EXPECT_FALSE(MainQueue::runUntil([] { return false; }, milliseconds(3)));
    int looks = 0;
    EXPECT_TRUE(MainQueue::runUntil([&] { return ++looks == 3; })) << "looked at although no block arrives";
    int ran = 0;
    for (int i = 0; i < 3; ++i)
        MainQueue::async([&] { ++ran; });
    EXPECT_TRUE(MainQueue::runUntil([&] { return ran == 2; }));
    EXPECT_EQ(ran, 2) << "looked at after each block";
    MainQueue::runPending();
}

TEST(MainQueueTests, OnlyTheMainThreadDrains) {
    MainQueue::becomeMainThread();
    EXPECT_TRUE(MainQueue::isMainThread());
    std::async(std::launch::async, [] { EXPECT_FALSE(MainQueue::isMainThread()); }).get();
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(std::thread([] { MainQueue::runPending(); }).join(), "main thread");
    EXPECT_DEATH(
        {
            MainQueue::async([] { throw std::runtime_error("odd"); });
            MainQueue::runPending();
        },
        "exception left background work: odd");
    EXPECT_DEATH(
        {
            GlobalQueue::async([] { throw 1; });
            MainQueue::runUntil([] { return false; }, kLong);
        },
        "exception left background work");
}

TEST(MainQueueConcurrencyTests, SyncFromManyThreadsWhileTheMainThreadDrains) {
    MainQueue::becomeMainThread();
    int unguarded = 0; // touched on the main thread only
    std::atomic<int> finished = 0;
    for (int t = 0; t < 8; ++t) {
        GlobalQueue::async([&] {
            for (int i = 0; i < 100; ++i) {
                int result = 0;
                MainQueue::sync([&] { result = ++unguarded; });
                EXPECT_GT(result, 0);
                MainQueue::async([&] { MainQueue::sync([&] { ++unguarded; }); });
            }
            GlobalQueue::async([&] { MainQueue::async([&] { ++finished; }); });
        });
    }
    ASSERT_TRUE(MainQueue::runUntil([&] { return finished == 8; }, kLong));
    EXPECT_EQ(unguarded, 1600);
}

} // namespace
} // namespace tarn
