#include "TarnFoundation/TarnPrerollController.h"
#include "Tests/TarnFoundation/BeatGrid.h"

namespace tarn {
namespace {

using namespace test;
constexpr TimeSignature kCommonTime{4, 4};

TEST(PrerollTests, SnapsBackOntoTheBeatAtOrBeforeTheFrame) {
    const TarnPrerollController controller(makeStorage(evenGrid(4, 100, {0}, 100)), 1);
    for (const auto& [frame, snapped] : {std::pair(99, 99), {100, 100}, {199, 100}, {200, 200}, {9999, 400}})
        EXPECT_EQ(controller.snappedFrameForCountIn(frame), snapped);
    EXPECT_EQ(controller.snappedFrameForCountInClosestTo(199), 100);
}

TEST(PrerollTests, NeedsAFullCountInOfStoredBeatsBeforeTheFrame) {
    const auto expectLastFrame = [](std::optional<TimeSignature> signature, std::int64_t bars,
                                    std::int64_t frame) { // that requires them; beats lie 10 apart
        const TarnPrerollController controller(makeStorage(evenGrid(40, 10, {0}), signature), bars);
        EXPECT_TRUE(controller.requiresArtificialBeatEntriesForPrerollFrame(frame));
        EXPECT_FALSE(controller.requiresArtificialBeatEntriesForPrerollFrame(frame + 1));
        EXPECT_TRUE(controller.requiresArtificialBeatEntriesForPrerollFrame(-1));
    };
    expectLastFrame(kCommonTime, 1, 69);
    expectLastFrame(TimeSignature{3, 4}, 2, 109);
    expectLastFrame(TimeSignature{6, 8}, 1, 49);
    expectLastFrame(TimeSignature{3, 2}, 1, 49); // doubled unless over 8
    expectLastFrame(std::nullopt, 2, 149);
    // Before every beat, even when nothing is counted in.
    EXPECT_TRUE(TarnPrerollController(makeStorage({}), 0).requiresArtificialBeatEntriesForPrerollFrame(5));
    EXPECT_DEATH((void)TarnPrerollController(makeStorage({{0}}), kGreatest)
                     .requiresArtificialBeatEntriesForPrerollFrame(5),
                 "overflow");
}

TEST(PrerollTests, ArtificialBeatsComeBeforeTheFirstAndGoAwayTogether) {
    // Seven gaps of 703 frames in all: 100.43 frames each.
    auto grid = evenGrid(24, 100, {0, 8, 16});
    for (std::size_t i = 7; i < grid.size(); ++i)
        grid[i].location += 3;
    const auto storage = makeStorage(grid, kCommonTime);
    TarnPrerollController controller(storage, 1);
    ASSERT_TRUE(controller.requiresArtificialBeatEntriesForPrerollFrame(250));
    controller.generateArtificialBeatEntriesForPrerollFrame(250);

    auto expected = evenGrid(6, 100, {}, -600);
    // From the first downbeat after the frame (position 6 + 8) back by bars of 8: position 6, the song's
    // first beat.
    expected.insert(expected.end(), grid.begin(), grid.end());
    EXPECT_EQ(beatsOf(storage->beatEntries()), expected);
    expectOneUndoableChange(storage, [&] { controller.clearArtificialBeatEntries(); });
    EXPECT_EQ(beatsOf(storage->beatEntries()), grid);

    controller.countInBars = 2;
    controller.generateArtificialBeatEntriesForPrerollFrame(-5);
    expected = evenGrid(16, 100, {0, 8}, -1600);
    expected.insert(expected.end(), grid.begin(), grid.end());
    EXPECT_EQ(beatsOf(storage->beatEntries()), expected);
}

TEST(PrerollTests, ArtificialSpacingIsASeventhRoundedToTheNearestFrame) {
    for (const auto& [eighth, first] : {std::pair(73, -10), {74, -11}, {75, -11}}) {
        auto grid = evenGrid(8, 10, {0});
        grid[7].location = eighth;
        const auto storage = makeStorage(grid, TimeSignature{1, 8});
        TarnPrerollController(storage, 1).generateArtificialBeatEntriesForPrerollFrame(-1);
        EXPECT_EQ(storage->beatEntries().front()->location(), first);
    }
}

TEST(PrerollTests, GeneratingStopsWhereItCannotWork) {
    const auto generate = [](const Document& storage, std::int64_t frame) {
        TarnPrerollController(storage, 1).generateArtificialBeatEntriesForPrerollFrame(frame);
    };
    EXPECT_DEATH(generate(makeStorage(evenGrid(7, 10, {0}), kCommonTime), 0), "eight beats");
    EXPECT_DEATH(generate(makeStorage({}), 0), "eight beats");
    const auto longer = makeStorage(evenGrid(16, 10, {0}), kCommonTime);
    EXPECT_DEATH(generate(longer, 80), "beats are missing");
    generate(longer, 79); // 8 - 7: one beat, pruned again
    EXPECT_EQ(beatsOf(longer->beatEntries()), evenGrid(16, 10, {0}));
}

TEST(PrerollTests, PrerollGoesBackByBarsFromTheBeatBeforeTheFrame) {
    // Pickup at 0, 10; downbeats at 20, 60, 100.
    const auto storage = makeStorage(evenGrid(14, 10, {2, 6, 10}));
    const auto expect = [&](std::int64_t frame, std::int64_t bars, std::int64_t preroll) {
        EXPECT_EQ(TarnPrerollController(storage, bars).prerollFrame(frame), preroll) << frame << ", " << bars;
    };
    expect(75, 1, 60); // inside a bar: its own downbeat
    expect(60, 1, 20); // on a downbeat: the previous one
    expect(65, 1, 20); // the current beat is the downbeat, which does not count
    expect(100, 2, 20);
    expect(75, 2, 20);
    expect(75, 9, 20); // no more downbeats: the first one
    expect(75, 0, 60);
    expect(75, -3, 60);
    expect(25, 1, 25); // no downbeat before the beat at 20
    expect(5, 1, 5);
    expect(-1, 1, -1);
    EXPECT_EQ(TarnPrerollController(storage, 2).prerollFrameFor(100), 20);
}

} // namespace
} // namespace tarn
