#include "Platform/OperationQueue.h"

#include "Platform/DispatchQueue.h"
#include "Platform/Progress.h"
#include "Tests/Platform/Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

namespace tarn {
namespace {

using Names = std::vector<std::string>;
using Operations = std::vector<std::shared_ptr<Operation>>;

/// An operation that adds its name to the others.
std::shared_ptr<Operation> noting(Names& names, const std::string& name) {
    return std::make_shared<BlockOperation>([&names, name] { names.push_back(name); });
}

/// Holds every operation that depends on it, until it is opened.
struct Gate {
    std::promise<void> promise;
    std::shared_ptr<Operation> operation =
        std::make_shared<BlockOperation>([opened = promise.get_future().share()] { opened.wait(); });
    void open() { promise.set_value(); }
};

TEST(OperationQueueTests, ReadyOperationsRunInOrderOfAddition) {
    Names names;
    OperationQueue queue;
    queue.setMaxConcurrentOperationCount(1);
    Gate gate;
    const auto a = noting(names, "a"), b = noting(names, "b"), c = noting(names, "c"), d = noting(names, "d"),
               cancelled = noting(names, "cancelled");
    a->addDependency(c);
    a->addDependency(c);
    cancelled->addDependency(c);
    d->addDependency(cancelled); // still runs
    cancelled->cancel();
    EXPECT_EQ(a->dependencies(), Operations{c});
    queue.addOperations({gate.operation, d, a, b, c, cancelled}, false);
    EXPECT_EQ(queue.operations(), (Operations{gate.operation, d, a, b, c, cancelled}));
    EXPECT_FALSE(cancelled->isFinished()) << "finishes in its turn";
    gate.open();
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(names, (Names{"b", "c", "a", "d"}));
    EXPECT_TRUE(queue.operations().empty());
    EXPECT_TRUE(cancelled->isFinished());
    EXPECT_TRUE(a->dependencies().empty()) << "let go when finished";

    const auto late = noting(names, "late");
    late->addDependency(a); // finished already
    queue.addOperations({late}, true);
    EXPECT_EQ(names.back(), "late");
}

TEST(OperationQueueTests, CancellingAllLeavesOnlyTheRunningOneToLook) {
    OperationQueue queue;
    queue.setMaxConcurrentOperationCount(1);
    std::promise<void> started;
    std::weak_ptr<Operation> self;
    const auto running = std::make_shared<BlockOperation>([&] {
        started.set_value();
        while (!self.lock()->isCancelled())
            std::this_thread::yield();
    });
    self = running;
    std::atomic<int> ran = 0;
    queue.addOperation(running);
    for (int i = 0; i < 10; ++i)
        queue.addOperation([&] { ++ran; });
    started.get_future().wait();
    queue.cancelAllOperations();
    queue.addOperation([&] { ran += 100; });
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(ran, 100) << "what is added afterwards runs";
}

TEST(OperationQueueTests, TellsStatesAndFinishesTheProgress) {
    for (const bool isCancelled : {false, true}) {
        OperationQueue queue;
        const auto parent = Progress::discrete(12);
        std::vector<Operation::State> states;
        const auto operation = std::make_shared<BlockOperation>([] {});
        parent->addChild(operation->progress(), 12);
        const auto token = operation->observeState([&](const Operation& changed, Operation::State state) {
            EXPECT_EQ(changed.state(), state);
            EXPECT_EQ(parent->isFinished(), state == Operation::State::finished);
            if (state == Operation::State::finished)
                changed.waitUntilFinished(); // returns at once
            states.push_back(state);
        });
        if (isCancelled)
            operation->cancel();
        queue.addOperation(operation);
        operation->waitUntilFinished();
        auto expected = std::vector{Operation::State::executing, Operation::State::finished};
        if (isCancelled)
            expected.erase(expected.begin());
        EXPECT_EQ(states, expected);
        EXPECT_EQ(parent->completedUnitCount(), 12);
    }
}

TEST(OperationQueueTests, DependenciesReachAcrossQueuesThatHaveGone) {
    Names names;
    Gate gate;
    const auto second = noting(names, "second");
    std::weak_ptr<Operation> third;
    {
        OperationQueue first, other;
        const auto last = noting(names, "third");
        third = last;
        second->addDependency(gate.operation);
        last->addDependency(second);
        other.addOperation(last);
        other.addOperation(second);
        first.addOperation(gate.operation);
    }
    const auto last = third.lock();
    gate.open();
    ASSERT_TRUE(last) << "an operation that was added stays until it has run";
    last->waitUntilFinished();
    EXPECT_EQ(names, (Names{"second", "third"}));
}

TEST(OperationQueueTests, MayBeDroppedByItsOwnOperation) {
    auto queue = std::make_shared<OperationQueue>();
    queue->setMaxConcurrentOperationCount(1);
    Names names;
    const auto last = noting(names, "last");
    std::promise<void> mayDrop;
    queue->addOperation([&, dropped = mayDrop.get_future().share()] {
        dropped.wait();
        queue.reset();
    });
    queue->addOperation(last);
    mayDrop.set_value();
    last->waitUntilFinished();
    EXPECT_EQ(names, Names{"last"});
}

TEST(OperationQueueTests, CyclesNeverRunAndAreLetGoWithTheirQueues) {
    const auto captured = std::make_shared<std::atomic<int>>(0);
    const auto make = [&] { return std::make_shared<BlockOperation>([captured] { ++*captured; }); };
    {
        OperationQueue queue, other;
        const auto a = make(), b = make(), c = make(), behind = make(), alone = make(), free = make();
        a->addDependency(b);
        b->addDependency(c);
        c->addDependency(a);
        behind->addDependency(a);
        alone->addDependency(alone);
        EXPECT_EQ(c->dependencies(), Operations{a});
        queue.addOperations({a, b, behind, alone, free}, false);
        other.addOperation(c);
        free->waitUntilFinished();
        EXPECT_EQ(queue.operations(), (Operations{a, b, behind, alone}));
    }
    EXPECT_EQ(*captured, 1);
    EXPECT_EQ(captured.use_count(), 1) << "nothing is left of the cycles";
}

TEST(OperationQueueTests, ALongChainNeitherNestsInRunningNorInGoing) {
    constexpr int kLength = 20000;
    for (const bool runs : {true, false}) {
        Operations chain;
        int ran = 0;
        for (int i = 0; i < kLength; ++i) {
            chain.push_back(std::make_shared<BlockOperation>([&] { ++ran; }));
            if (i > 0)
                chain[i]->addDependency(chain[i - 1]);
        }
        if (runs) {
            OperationQueue queue;
            queue.addOperations(chain, true);
        }
        EXPECT_EQ(ran, runs ? kLength : 0);
        const auto last = chain.back();
        chain.clear();
    }
}

TEST(OperationQueueTests, TheMainQueueRunsOneAfterAnotherOnTheMainThread) {
    MainQueue::becomeMainThread();
    const auto& queue = OperationQueue::mainQueue();
    Names heard;
    const auto background = std::make_shared<BlockOperation>([] { EXPECT_FALSE(MainQueue::isMainThread()); });
    const auto dependent = noting(heard, "dependent");
    dependent->addDependency(background);
    queue->addOperation(dependent);
    for (const char* name : {"a", "b"}) {
        queue->addOperation([&, name] {
            EXPECT_TRUE(MainQueue::isMainThread());
            heard.emplace_back(name);
        });
    }
    MainQueue::async([&] { heard.emplace_back("other work"); });
    EXPECT_TRUE(MainQueue::runUntil([&] { return heard.size() == 3; }, std::chrono::seconds(20)));
    EXPECT_EQ(heard, (Names{"a", "other work", "b"}));
    OperationQueue().addOperation(background);
    EXPECT_TRUE(MainQueue::runUntil([&] { return dependent->isFinished(); }, std::chrono::seconds(20)));
}

TEST(OperationQueueTests, WrongUseAborts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    MainQueue::becomeMainThread();
    OperationQueue queue;
    const auto operation = std::make_shared<BlockOperation>([] {}),
               other = std::make_shared<BlockOperation>([] {});
    queue.addOperations({operation}, true);
    EXPECT_DEATH(queue.addOperation(operation), "only once");
    EXPECT_DEATH(operation->addDependency(other), "before the operation is added");
    EXPECT_DEATH(BlockOperation([] {}).addDependency(operation), "shared pointer");
    EXPECT_DEATH(queue.setMaxConcurrentOperationCount(0), "at least one");
    EXPECT_DEATH(OperationQueue::mainQueue()->addOperations({other}, true), "main thread cannot wait");
    EXPECT_DEATH(
        {
            queue.addOperation([] { throw std::runtime_error("odd"); });
            queue.waitUntilAllOperationsAreFinished();
            std::this_thread::sleep_for(std::chrono::seconds(20));
        },
        "exception left background work: odd");
}

TEST(OperationQueueConcurrencyTests, NeverMoreAtATimeThanAllowed) {
    for (const int limit : {1, 2, 5}) {
        OperationQueue queue;
        queue.setMaxConcurrentOperationCount(limit);
        std::atomic<int> current = 0, most = 0;
        std::promise<void> allAreIn; // shows that as many as allowed do run together
        const auto together = allAreIn.get_future().share();
        for (int i = 0; i < 200; ++i) {
            queue.addOperation([&, i, together] {
                const int now = ++current;
                for (int m = most; m < now && !most.compare_exchange_weak(m, now);) {
                }
                if (now == limit && i < limit)
                    allAreIn.set_value();
                if (i < limit)
                    together.wait();
                --current;
            });
        }
        queue.waitUntilAllOperationsAreFinished();
        EXPECT_EQ(most, limit);
    }
}

TEST(OperationQueueConcurrencyTests, EightThreadsBuildGraphsCancelAndWait) {
    constexpr int kThreads = 8, kRounds = 25;
    const auto shared = std::make_shared<OperationQueue>();
    std::atomic<int> ran = 0, outOfOrder = 0, expected = 0;
    inThreads(kThreads, [&](int t) {
        for (int round = 0; round < kRounds; ++round) {
            auto own = std::make_shared<OperationQueue>();
            own->setMaxConcurrentOperationCount(1 + round % 3);
            Operations operations;
            for (int i = 0; i < 12; ++i) {
                std::weak_ptr<Operation> before;
                if (i >= 2)
                    before = operations[i - 2];
                operations.push_back(std::make_shared<BlockOperation>([&, before] {
                    if (const auto finished = before.lock(); finished && !finished->isFinished())
                        ++outOfOrder;
                    ++ran;
                }));
                if (i >= 2)
                    operations[i]->addDependency(operations[i - 2]);
            }
            const bool cancels = (t + round) % 4 == 0;
            if (cancels)
                operations[5]->cancel();
            expected += cancels ? 11 : 12;
            for (std::size_t i = 0; i < operations.size(); ++i)
                (i % 2 ? *own : *shared).addOperation(operations[i]);
            own.reset();
            operations.back()->cancel(); // may come too late
            operations[10]->waitUntilFinished();
            EXPECT_TRUE(operations[8]->isFinished());
            operations[9]->waitUntilFinished();
            operations[11]->waitUntilFinished();
        }
    });
    shared->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(outOfOrder, 0);
    EXPECT_LE(ran, expected);
    EXPECT_GE(ran, expected - kThreads * kRounds) << "only the last of each round may be cancelled in time";
}

/// Runs while the process ends: its thread must not stumble over what is destroyed.
TEST(OperationQueueConcurrencyTests, TheProcessMayEndWhileOperationsRun) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            static OperationQueue queue;
            static std::promise<void> started;
            queue.addOperation([] {
                started.set_value();
                for (;;)
                    OperationQueue::mainQueue()->addOperation([] {});
            });
            GlobalQueue::async([] { MainQueue::sync([] {}); });
            queue.addOperation([] { MainQueue::sync([] {}); });
            started.get_future().wait();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace tarn
