#include "AnalysisEngine/BeatAlignment.h"

#include <gtest/gtest.h>
#include <random>

using namespace tarn;

namespace {

constexpr std::int64_t kTatumLength = 10000;
constexpr std::int64_t kFirstTatum = 4321;

std::vector<std::int64_t> evenTatums(std::size_t count) {
    std::vector<std::int64_t> tatums(count);
    for (std::size_t i = 0; i < count; ++i)
        tatums[i] = kFirstTatum + static_cast<std::int64_t>(i) * kTatumLength;
    return tatums;
}

/// Chord changes of a song whose bars begin at tatum `pickup`: in most bars on the first tatum, in some in
/// the middle as well; `jitter` tatums early or late, some missed, some where there are none.
std::vector<std::int64_t> playedChanges(std::size_t pickup, std::size_t barLength, double inTheMiddle,
                                        double jitter, double missed, double invented, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> chance(0, 1);
    std::normal_distribution<double> shift(0, 1);
    std::vector<std::int64_t> changes;
    const auto add = [&](double position) {
        changes.push_back(kFirstTatum +
                          static_cast<std::int64_t>((position + jitter * shift(random)) * kTatumLength));
    };
    for (std::size_t bar = pickup; bar < 320; bar += barLength) {
        if (chance(random) >= missed)
            add(static_cast<double>(bar));
        if (chance(random) < inTheMiddle)
            add(static_cast<double>(bar) + static_cast<double>(barLength) / 2);
        if (chance(random) < invented)
            add(320 * chance(random));
    }
    return changes;
}

TEST(BeatAlignment, FindsBarsAndPickup) {
    const std::pair<std::size_t, double> cases[] = {{8, 0}, {8, 0.3}, {8, 0.5}, {6, 0}, {4, 0}};
    for (const auto& [length, inTheMiddle] : cases)
        for (std::size_t pickup = 0; pickup < length; pickup += 2)
            for (unsigned seed = 0; seed < 10; ++seed) {
                SCOPED_TRACE(testing::Message()
                             << length << " tatums, pickup " << pickup << ", seed " << seed);
                const bool clean = length == 4; // so short a bar is only taken where it is clearly so
                const auto changes = playedChanges(pickup, length, inTheMiddle, clean ? 0.05 : 0.25,
                                                   clean ? 0 : 0.15, clean ? 0 : 0.3, seed);
                const auto tatums = evenTatums(320);
                const auto alignment = alignBeats(tatums, 8, changes);
                ASSERT_TRUE(alignment);
                EXPECT_EQ(alignment->tatumCount, static_cast<int>(length));
                EXPECT_EQ(alignment->downbeatLocation, tatums[pickup]);
            }
}

TEST(BeatAlignment, KeepsTheExpectedBarWithoutReasonForAnother) {
    const auto tatums = evenTatums(100);
    for (const int expected : {3, 4, 6, 8, 10, 16})
        for (const std::vector<std::int64_t>& changes :
             {std::vector<std::int64_t>{}, {-50}, {tatums.back() + 1}, {INT64_MIN, INT64_MAX}}) {
            SCOPED_TRACE(expected);
            const auto alignment = alignBeats(tatums, expected, changes);
            ASSERT_TRUE(alignment);
            EXPECT_EQ(alignment->tatumCount, expected);
            EXPECT_EQ(alignment->downbeatLocation, tatums.front());
        }
}

TEST(BeatAlignment, TakesFewTatums) {
    EXPECT_FALSE(alignBeats({}, 8, {}));
    for (std::size_t count = 1; count < 8; ++count) {
        const auto tatums = evenTatums(count);
        const auto alignment =
            alignBeats(tatums, 8, std::vector<std::int64_t>{tatums.back(), tatums.front()});
        ASSERT_TRUE(alignment);
        EXPECT_EQ((alignment->downbeatLocation - kFirstTatum) % (2 * kTatumLength), 0);
        EXPECT_LE(alignment->downbeatLocation, tatums.back());
    }
}

TEST(BeatAlignment, ReadsCompoundBeatsFromUnevenTatums) {
    // Two bars of two dotted quarters or one of four: only tatums on the last third tell that two are as
    // likely. The changes are on every second beat but for some that are missed.
    std::vector<std::int64_t> even, uneven, changes;
    for (std::int64_t beat = 0; beat < 120; ++beat) {
        even.insert(even.end(), {beat * 30000, beat * 30000 + 15000});
        uneven.insert(uneven.end(), {beat * 30000, beat * 30000 + 20000});
        if (beat % 2 == 0 && beat % 10 != 8)
            changes.push_back(beat * 30000);
        if (beat % 8 == 1)
            changes.push_back(beat * 30000);
    }
    EXPECT_EQ(alignBeats(even, 8, changes)->tatumCount, 8);
    EXPECT_EQ(alignBeats(uneven, 8, changes)->tatumCount, 4);
}

TEST(BeatAlignment, StopsWhenAsked) {
    const auto tatums = evenTatums(64);
    const StageMonitor stopped([] { return true; }, nullptr);
    EXPECT_THROW(alignBeats(tatums, 8, tatums, stopped), AnalysisCancelled);
    double last = 0;
    const StageMonitor listening(nullptr, [&](double share) { last = share; });
    alignBeats(tatums, 8, tatums, listening);
    EXPECT_EQ(last, 1);
}

TEST(BeatAlignmentDeathTest, RefusesEmptyBars) {
    EXPECT_DEATH(alignBeats(evenTatums(8), 0, {}), "A bar needs at least one tatum.");
}

} // namespace
