#include "Platform/Progress.h"
#include "Tests/Platform/Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <limits>
#include <thread>

namespace tarn {
namespace {

using ProgressPointer = std::shared_ptr<Progress>;

TEST(ProgressTests, CountsOfOneAlone) {
    const std::tuple<std::int64_t, std::int64_t, double, bool> cases[] = {
        {0, 0, 0, false}, {0, 5, 0, false}, {-1, 0, 0, false}, {4, 1, 0.25, false},
        {4, 4, 1, true},  {4, 9, 1, true},  {4, -2, 0, false}};
    for (const auto& [total, completed, fraction, isFinished] : cases) {
        const auto progress = Progress::discrete(total);
        progress->setCompletedUnitCount(completed);
        EXPECT_EQ(progress->completedUnitCount(), completed);
        EXPECT_EQ(progress->fractionCompleted(), fraction) << total << ' ' << completed;
        EXPECT_EQ(progress->isFinished(), isFinished) << total << ' ' << completed;
        progress->markFinished();
        EXPECT_TRUE(progress->isFinished());
        EXPECT_EQ(progress->fractionCompleted(), 1);
        EXPECT_EQ(progress->completedUnitCount(), completed) << "the counts stay true";
    }
}

TEST(ProgressTests, AChildContributesItsUnitsOnceHoweverItEnds) {
    using Step = std::function<void(ProgressPointer&)>;
    const auto completed = [](std::int64_t count) -> Step {
        return [=](auto& child) { child->setCompletedUnitCount(count); };
    };
    const auto total = [](std::int64_t count) -> Step {
        return [=](auto& child) { child->setTotalUnitCount(count); };
    };
    const Step marked = [](auto& child) { child->markFinished(); };
    const Step gone = [](auto& child) { child.reset(); };
    // What happens before the child is added, and after.
    const std::tuple<const char*, std::vector<Step>, std::vector<Step>> cases[] = {
        {"completed", {}, {completed(10)}},
        {"overshot", {}, {completed(11)}},
        {"cancelled", {}, {marked}},
        {"added finished", {marked}, {}},
        {"completed and marked", {}, {completed(10), marked}},
        {"total lowered", {completed(5)}, {total(5)}},
        {"total known last", {total(0)}, {total(3), completed(3)}},
        {"taken back and finished again", {}, {completed(10), completed(1), completed(10)}},
        {"gone", {}, {gone}}};
    for (const auto& [label, before, after] : cases) {
        SCOPED_TRACE(label);
        const auto song = Progress::discrete(1), parent = Progress::discrete(18);
        song->addChild(parent, 1);
        parent->setCompletedUnitCount(6);
        auto child = Progress::discrete(10);
        for (const auto& step : before)
            step(child);
        parent->addChild(child, 12);
        EXPECT_EQ(song->completedUnitCount(), parent->isFinished() ? 1 : 0);
        for (const auto& step : after)
            step(child);
        EXPECT_EQ(parent->completedUnitCount(), 18);
        EXPECT_TRUE(parent->isFinished());
        EXPECT_EQ(song->completedUnitCount(), 1);
        if (child)
            child->setCompletedUnitCount(2);
        EXPECT_EQ(parent->completedUnitCount(), 18) << "what has been contributed stays";
    }
}

TEST(ProgressTests, UnfinishedChildrenMoveTheFractionOnly) {
    const auto parent = Progress::discrete(18), middle = Progress::discrete(4), leaf = Progress::discrete(2);
    parent->addChild(middle, 12);
    middle->addChild(leaf, 2);
    middle->setCompletedUnitCount(1);
    leaf->setCompletedUnitCount(1);
    EXPECT_EQ(middle->fractionCompleted(), 0.5);
    EXPECT_EQ(parent->fractionCompleted(), 6.0 / 18);
    EXPECT_EQ(parent->completedUnitCount(), 0);
    leaf->setCompletedUnitCount(2);
    EXPECT_EQ(middle->completedUnitCount(), 3);
    EXPECT_EQ(parent->completedUnitCount(), 0);
    middle->setCompletedUnitCount(2);
    EXPECT_EQ(parent->completedUnitCount(), 12);
    EXPECT_FALSE(parent->isFinished());
}

TEST(ProgressTests, ParentsAndChildrenDoNotKeepEachOther) {
    auto parent = Progress::discrete(2), child = Progress::discrete(1);
    parent->addChild(child, 1);
    const std::weak_ptr<Progress> weakParent = parent;
    parent.reset();
    EXPECT_TRUE(weakParent.expired());
    child->setCompletedUnitCount(1);
    EXPECT_TRUE(child->isFinished());
}

TEST(ProgressTests, ObserversHearEveryChangeBelowWithoutLocks) {
    const auto parent = Progress::discrete(10), child = Progress::discrete(2);
    parent->addChild(child, 10);
    std::vector<std::string> heard;
    const auto childToken = child->observe([&](const Progress& progress) {
        heard.push_back("child " + std::to_string(progress.completedUnitCount()));
        parent->setLocalizedDescription("step " + std::to_string(progress.completedUnitCount()));
    });
    auto parentToken = parent->observe([&](const Progress& progress) {
        heard.push_back("parent " + std::to_string(progress.completedUnitCount()) + ' ' +
                        progress.localizedDescription());
    });
    child->setCompletedUnitCount(1);
    EXPECT_EQ(heard, (std::vector<std::string>{"child 1", "parent 0 step 1", "parent 0 step 1"}));
    heard.clear();
    child->setCompletedUnitCount(1);
    parent->setLocalizedDescription("step 1");
    EXPECT_TRUE(heard.empty()) << "nothing has changed";
    child->setCompletedUnitCount(2);
    EXPECT_EQ(heard, (std::vector<std::string>{"child 2", "parent 10 step 2", "parent 10 step 2"}));
    parentToken.reset();
    heard.clear();
    parent->markFinished();
    EXPECT_TRUE(heard.empty());
}

TEST(ProgressTests, RestartForgetsWhatWasDone) {
    const auto progress = Progress::discrete(4), finished = Progress::discrete(1),
               unfinished = Progress::discrete(2);
    int notices = 0;
    const auto token = progress->observe([&](const Progress&) { ++notices; });
    progress->addChild(finished, 1);
    progress->addChild(unfinished, 1);
    finished->markFinished();
    unfinished->setCompletedUnitCount(1);
    progress->setCompletedUnitCount(1);
    progress->markFinished();
    notices = 0;
    progress->restart(8);
    EXPECT_EQ(notices, 1);
    unfinished->markFinished();
    EXPECT_EQ(notices, 1);
    EXPECT_EQ(progress->totalUnitCount(), 8);
    EXPECT_EQ(progress->completedUnitCount(), 0);
    EXPECT_EQ(progress->fractionCompleted(), 0);
    progress->setCompletedUnitCount(8);
    EXPECT_EQ(notices, 2);
}

TEST(ProgressTests, WrongTreesAbort) {
    const auto make = [] { return Progress::discrete(1); };
    const auto parent = make(), child = make(), leaf = make(), other = make(), huge = make(), last = make();
    parent->addChild(child, 1);
    child->addChild(leaf, 1);
    EXPECT_DEATH(other->addChild(child, 1), "child of one other only");
    EXPECT_DEATH(leaf->addChild(parent, 1), "below itself");
    EXPECT_DEATH(other->addChild(other, 1), "below itself");
    EXPECT_DEATH(other->addChild(Progress::discrete(1), -1), "number of units");
    huge->setCompletedUnitCount(std::numeric_limits<std::int64_t>::max());
    huge->addChild(last, 1);
    last->markFinished();
    EXPECT_DEATH(static_cast<void>(huge->completedUnitCount()), "overflow");
}

TEST(ProgressConcurrencyTests, ATreeFinishesExactlyWithItsLeaves) {
    constexpr int kThreads = 8, kChildren = 50;
    const auto root = Progress::discrete(kThreads);
    std::atomic<int> finishedReports = 0;
    std::atomic<bool> wentBack = false;
    std::atomic<std::int64_t> highest = 0;
    const auto token = root->observe([&](const Progress& progress) {
        if (progress.isFinished())
            ++finishedReports;
        const auto seen = highest.load();
        const auto now = progress.completedUnitCount();
        wentBack = wentBack || now < seen;
        for (auto h = highest.load(); h < now && !highest.compare_exchange_weak(h, now);) {
        }
    });
    inThreads(kThreads, [&](int) {
        const auto branch = Progress::discrete(kChildren);
        root->addChild(branch, 1);
        for (int i = 0; i < kChildren; ++i) {
            const auto leaf = Progress::discrete(4);
            branch->addChild(leaf, 1);
            std::thread ends([&] { leaf->markFinished(); });
            for (int unit = 1; unit <= 4; ++unit)
                leaf->setCompletedUnitCount(unit);
            EXPECT_LE(root->fractionCompleted(), 1);
            ends.join();
            EXPECT_EQ(branch->completedUnitCount(), i + 1);
        }
    });
    EXPECT_EQ(root->completedUnitCount(), kThreads);
    EXPECT_GE(finishedReports, 1);
    EXPECT_FALSE(wentBack);
}

} // namespace
} // namespace tarn
