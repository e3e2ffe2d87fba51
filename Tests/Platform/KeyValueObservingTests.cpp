#include "Platform/KeyValueObserving.h"
#include "Tests/Platform/Threads.h"

#include <gtest/gtest.h>

#include <atomic>

namespace tarn {
namespace {

struct Document : KeyValueObservable {
    void change(const std::string& key) const {
        willChangeValueForKey(key);
        didChangeValueForKey(key);
    }
};

TEST(KeyValueObservingTests, TellsTheObserversOfTheKeyBeforeAndAfter) {
    Document document;
    std::vector<std::string> heard;
    const auto observe = [&](const std::string& label, const std::string& key) {
        return document.observeKey(key, [&heard, label](const std::string& changed, KeyValueChange change) {
            heard.push_back(label + (change == KeyValueChange::willChange ? " will " : " did ") + changed);
        });
    };
    const auto first = observe("1", "beats");
    auto second = observe("2", "beats");
    const auto third = observe("3", "chords");
    document.change("beats");
    EXPECT_EQ(heard,
              (std::vector<std::string>{"1 will beats", "2 will beats", "1 did beats", "2 did beats"}));

    heard.clear();
    second.reset();
    document.change("beats");
    document.change("beat");
    EXPECT_EQ(heard, (std::vector<std::string>{"1 will beats", "1 did beats"}));
}

TEST(KeyValueObservingTests, ObserversMayRemoveThemselvesAndDropTheObject) {
    auto document = std::make_unique<Document>();
    const auto captured = std::make_shared<int>(0);
    int calls = 0;
    Subscription self;
    Subscription added;
    self = document->observeKey("key", [&, captured](auto&&...) {
        ++calls;
        self.reset();
        added = document->observeKey("key", [&](auto&&...) { calls += 100; });
        document.reset();
    });
    const auto last = document->observeKey("key", [&](auto&&...) { calls += 10; });
    document->willChangeValueForKey("key");
    EXPECT_EQ(calls, 11);
    EXPECT_EQ(captured.use_count(), 1);
}

TEST(KeyValueObservingConcurrencyTests, ThreadsObserveWhileOthersChange) {
    std::atomic<int> permanentCalls = 0;
    Document observed;
    const auto permanent = observed.observeKey("key", [&](auto&&...) { ++permanentCalls; });
    inThreads(8, [&](int) {
        for (int round = 0; round < 200; ++round) {
            auto own = std::make_shared<std::atomic<int>>(0);
            const auto token = observed.observeKey("key", [own](auto&&...) { ++*own; });
            observed.change("key");
            EXPECT_GE(*own, 2);
        }
    });
    EXPECT_EQ(permanentCalls, 8 * 200 * 2);
}

} // namespace
} // namespace tarn
