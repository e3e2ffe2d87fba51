#include "Platform/NotificationCenter.h"

#include "Platform/DispatchQueue.h"
#include "Platform/OperationQueue.h"
#include "Platform/Signal.h"
#include "Tests/Platform/Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace tarn {
namespace {

using Names = std::vector<std::string>;

/// Observers that note what they receive.
struct NotificationCenterTests : testing::Test {
    NotificationCenter::Token listen(const std::string& label, const std::string& name = "n",
                                     const std::shared_ptr<int>& sender = nullptr,
                                     const std::shared_ptr<OperationQueue>& queue = nullptr) {
        return center.addObserver(name, sender, queue,
                                  [this, label](const Notification&) { heard.push_back(label); });
    }
    NotificationCenter center;
    Names heard;
};
using NotificationCenterConcurrencyTests = NotificationCenterTests;

TEST_F(NotificationCenterTests, DeliversByNameAndSenderInOrderOfRegistration) {
    const auto song = std::make_shared<int>(1), other = std::make_shared<int>(1);
    listen("all", "");
    listen("beats", "beats");
    listen("beats of song", "beats", song);
    listen("all of song", "", song);
    listen("chords", "chords");
    listen("beats again", "beats");

    const std::tuple<std::string, std::shared_ptr<int>, Names> cases[] = {
        {"beats", song, {"all", "beats", "beats of song", "all of song", "beats again"}},
        {"beats", other, {"all", "beats", "beats again"}},
        {"beats", nullptr, {"all", "beats", "beats again"}},
        {"chords", song, {"all", "all of song", "chords"}},
        {"unknown", other, {"all"}},
        {"", song, {"all", "all of song"}}};
    for (const auto& [name, object, expected] : cases) {
        heard.clear();
        center.post(name, object);
        EXPECT_EQ(heard, expected) << name;
    }
}

TEST_F(NotificationCenterTests, HandsOverTheUserInformationByType) {
    center.addObserver("n", nullptr, nullptr, [](const Notification& notification) {
        ASSERT_TRUE(notification.value<int>("count"));
        EXPECT_EQ(*notification.value<int>("count"), 7);
        EXPECT_FALSE(notification.value<long>("count"));
        EXPECT_FALSE(notification.value<int>("absent"));
    });
    center.post("n", nullptr, {{"count", 7}});
}

TEST_F(NotificationCenterTests, ALaterObjectAtTheAddressOfASenderIsAnotherSender) {
    int storage = 0;
    const auto keep = [](int*) {};
    auto first = std::shared_ptr<int>(&storage, keep);
    int calls = 0;
    center.addObserver("n", first, nullptr, [&](const Notification&) { ++calls; });
    // Another part of the same object stands for the same sender.
    center.post("n", std::shared_ptr<int>(first, &calls));
    EXPECT_EQ(calls, 1);
    first.reset();
    center.post("n", std::shared_ptr<int>(&storage, keep));
    EXPECT_EQ(calls, 1);
    EXPECT_DEATH(center.addObserver("n", std::shared_ptr<int>(std::shared_ptr<int>(), &storage), nullptr,
                                    [](const Notification&) {}),
                 "must be owned");
}

TEST_F(NotificationCenterTests, ObserversMayChangeInsideADelivery) {
    NotificationCenter::Token self, later;
    self = center.addObserver("n", nullptr, nullptr, [&](const Notification&) {
        heard.push_back("self");
        self->remove();
        center.removeObserver(later);
        listen("new");
        center.post("n", nullptr);
        heard.push_back("end");
    });
    listen("kept");
    later = listen("later");
    center.post("n", nullptr);
    // The inner delivery comes first; the outer one neither reaches the removed nor the added observer.
    EXPECT_EQ(heard, (Names{"self", "kept", "new", "end", "kept"}));
}

struct Target {
    explicit Target(NotificationCenter& notificationCenter) : center(notificationCenter) {}
    ~Target() { center.post("gone", nullptr); }
    void hear(const Notification&) {
        ++calls;
        owner.reset();
        ++calls; // still here
        finalCalls = calls;
    }
    NotificationCenter& center;
    std::shared_ptr<Target> owner;
    int calls = 0;
    static inline int finalCalls = 0;
};

TEST_F(NotificationCenterTests, TargetsAreHeldWeaklyAndLiveThroughTheirCalls) {
    int gone = 0;
    center.addObserver("gone", nullptr, nullptr, [&](const Notification&) { ++gone; });
    auto target = std::make_shared<Target>(center);
    auto* const raw = target.get();
    raw->owner = target;
    center.addObserver(target, &Target::hear, "n", nullptr);
    center.addObserver(target, &Target::hear, "n", nullptr);
    target.reset();
    center.post("n", nullptr);
    EXPECT_EQ(Target::finalCalls, 2) << "the second registration has lost its target";
    EXPECT_EQ(gone, 1);

    target = std::make_shared<Target>(center);
    center.addObserver("n", nullptr, nullptr, [&](const Notification&) { center.removeObserver(target); });
    center.addObserver(target, &Target::hear, "n", nullptr);
    center.addObserver(target, &Target::hear, "", nullptr);
    center.post("n", nullptr);
    center.post("n", nullptr);
    EXPECT_EQ(target->calls, 0) << "removed before its turn in the first delivery";
}

TEST_F(NotificationCenterTests, ReleasesWhatRemovedAndDeadObserversCaptured) {
    const auto captured = std::make_shared<int>(0);
    const auto token = center.addObserver("n", nullptr, nullptr, [captured](const Notification&) {});
    EXPECT_EQ(captured.use_count(), 2);
    token->remove();
    token->remove();
    EXPECT_EQ(captured.use_count(), 1) << "although the token is kept";

    // Observers of senders that have gone do not pile up, neither with posts nor without.
    for (int i = 0; i < 1000; ++i)
        center.addObserver("n", std::make_shared<int>(i), nullptr, [captured](const Notification&) {});
    EXPECT_LE(captured.use_count(), 50);
    center.addObserver("", std::make_shared<int>(0), nullptr, [captured](const Notification&) {});
    center.post("n", nullptr);
    EXPECT_EQ(captured.use_count(), 1);
    center.post("any", nullptr);

    // What a closure captured may call back while it is destroyed.
    int posts = 0;
    center.addObserver("gone", nullptr, nullptr, [&](const Notification&) { ++posts; });
    auto capturedTarget = std::make_shared<Target>(center);
    const auto owning =
        center.addObserver("n", nullptr, nullptr, [kept = std::move(capturedTarget)](const Notification&) {});
    center.removeObserver(owning);
    EXPECT_EQ(posts, 1);
}

TEST_F(NotificationCenterTests, MayGoBeforeItsTokensAndInsideADelivery) {
    auto own = std::make_unique<NotificationCenter>();
    int calls = 0;
    const auto first = own->addObserver("n", nullptr, nullptr, [&](const Notification&) { own.reset(); });
    own->addObserver("n", nullptr, nullptr, [&](const Notification&) { ++calls; });
    own->post("n", nullptr);
    EXPECT_EQ(calls, 1);
    first->remove();
}

TEST_F(NotificationCenterTests, ObserversWithAQueueHearOnIt) {
    const auto queue = OperationQueue::mainQueue();
    listen("first", "n", nullptr, queue);
    const auto removed = listen("removed before its turn", "n", nullptr, queue);
    listen("last", "n", nullptr, queue);
    center.post("n", nullptr);
    EXPECT_TRUE(heard.empty());
    removed->remove();
    EXPECT_TRUE(MainQueue::runUntil([&] { return heard.size() == 2; }, std::chrono::seconds(10)));
    EXPECT_EQ(heard, (Names{"first", "last"}));
}

TEST_F(NotificationCenterTests, SignalsDeliverUntilDisposedOf) {
    auto sender = std::make_shared<int>(0);
    const auto signal = notificationSignal(center, "n", sender);
    int calls = 0;
    auto subscription = signal.subscribe([&](const Notification&) { ++calls; });
    {
        auto moved = std::move(subscription);
        center.post("n", sender);
        center.post("n", nullptr);
        EXPECT_EQ(calls, 1);
    }
    center.post("n", sender);
    EXPECT_EQ(calls, 1);
    sender.reset();
    const auto tooLate = signal.subscribe([&](const Notification&) { ++calls; });
    center.post("n", nullptr);
    EXPECT_EQ(calls, 1) << "a sender that has gone is not any sender";
}

TEST_F(NotificationCenterConcurrencyTests, EightThreadsAddPostAndRemove) {
    const auto sender = std::make_shared<int>(0);
    std::atomic<int> permanentCalls = 0, callsAfterOwnRemoval = 0;
    center.addObserver("n", nullptr, nullptr, [&](const Notification&) { ++permanentCalls; });
    constexpr int kThreads = 8, kRounds = 400;
    inThreads(kThreads, [&](int) {
        const auto target = std::make_shared<Target>(center);
        for (int round = 0; round < kRounds; ++round) {
            int ownCalls = 0; // of this thread's posts only
            const auto self = std::this_thread::get_id();
            std::atomic<bool> isRemoved = false;
            const auto token = center.addObserver("n", sender, nullptr, [&, self](const Notification&) {
                if (std::this_thread::get_id() != self)
                    return;
                ++ownCalls;
                if (isRemoved)
                    ++callsAfterOwnRemoval;
            });
            center.addObserver(target, &Target::hear, "other", sender);
            center.post("n", sender);
            EXPECT_EQ(ownCalls, 1);
            isRemoved = true;
            center.removeObserver(token);
            center.removeObserver(target);
            center.post("n", sender);
        }
    });
    EXPECT_EQ(permanentCalls, kThreads * kRounds * 2);
    EXPECT_EQ(callsAfterOwnRemoval, 0);
}

} // namespace
} // namespace tarn
