#include "TarnFoundation/MIDIExport/MIDIExportTimeline.h"

#include "Tests/TarnFoundation/BeatGrid.h"

#include <cmath>

namespace tarn {

namespace {

using namespace fixtures;
using Signatures = std::vector<TimeSignatureEvent>;
using Tempos = std::vector<TempoEvent>;

constexpr std::int64_t kFollow = 1;
constexpr std::int64_t kFixed = 2;
constexpr double kTimelineRate = 44100;
constexpr std::int64_t kPulse = 22050; ///< half a second

/// Even beats from `first` on.
Document evenSong(std::int64_t first, std::size_t count, const Positions& downbeats) {
    return test::makeStorage(test::evenGrid(count, kPulse, downbeats, first));
}

Document songWithIntervals(const Locations& intervals) {
    Locations frames{0};
    for (const std::int64_t interval : intervals)
        frames.push_back(frames.back() + interval);
    return makeDocumentWithBeats(frames);
}

MIDIExportTimeline timelineOf(const Document& document, std::int64_t timing, double rate = kTimelineRate) {
    return {timing, true, true, rate, *document};
}

const LeadIn& leadInOf(const MIDIExportTimeline& timeline) {
    if (const auto* fixed = std::get_if<Mapping::FixedTempo>(&timeline.mapping.kind))
        return fixed->leadIn;
    return std::get<Mapping::FollowSongTempo>(timeline.mapping.kind).leadIn;
}

TEST(MIDIExportTimelineTests, DescribesBarsByTheirPulses) {
    const auto expectBars = [](const Positions& downbeats, const Signatures& events) {
        const auto document = evenSong(0, 1600, downbeats);
        document->setTimeSignature(7, 16);
        EXPECT_EQ(timelineOf(document, kFixed).timeSignatureEvents, events);
        if (downbeats.empty() || downbeats.front() == 0) {
            EXPECT_EQ(timelineOf(document, kFollow).timeSignatureEvents, events);
        }
    };
    expectBars({0, 4, 8}, {{0, {2, 4}}});
    expectBars({0, 3, 6}, {{0, {3, 8}}});
    expectBars({0, 6, 12}, {{0, {3, 4}}});
    expectBars({0, 1, 2}, {{0, {1, 8}}});
    expectBars({0, 4, 7}, {{0, {2, 4}}, {2, {3, 8}}});
    expectBars({0, 8, 16, 22, 28, 36}, {{0, {4, 4}}, {8, {3, 4}}, {14, {4, 4}}});
    expectBars({0, 12, 18}, {{0, {6, 4}}, {6, {3, 4}}});
    expectBars({0, 255, 512, 1022, 1536}, {{0, {255, 8}}, {256, {255, 4}}}); // the cap makes bars equal
    expectBars({0}, {{0, {7, 16}}});                                         // the document's own
    expectBars({5}, {{0, {7, 16}}});
    expectBars({}, {{0, {7, 16}}});
}

/// Even beats, followed by the file's tempo.
struct Start {
    std::int64_t firstBeat = 0;
    Positions downbeats = {};
};
struct ExpectedLeadIn {
    double length = 0;       ///< quarter notes before the first downbeat
    std::size_t anchor = 0;  ///< the beat from which the tempo is the song's
    double quarterNotes = 0; ///< from the song's start to the anchor
};

void expectLeadIn(const Start& start, const ExpectedLeadIn& expected) {
    SCOPED_TRACE(testing::Message() << "first beat " << start.firstBeat << ", anchor " << expected.anchor);
    const auto timeline = timelineOf(evenSong(start.firstBeat, 20, start.downbeats), kFollow);
    const LeadIn& leadIn = leadInOf(timeline);
    EXPECT_DOUBLE_EQ(leadIn.length, expected.length);
    EXPECT_EQ(leadIn.anchorIndex, expected.anchor);
    EXPECT_NEAR(leadIn.quarterNotes, expected.quarterNotes, 1e-12);
    ASSERT_EQ(timeline.timeSignatureEvents.size(), 1U);
    EXPECT_EQ(timeline.timeSignatureEvents[0].position, 0);
    const double anchorFrame =
        static_cast<double>(start.firstBeat + static_cast<std::int64_t>(expected.anchor) * kPulse);
    ASSERT_EQ(leadIn.anchorFrame, anchorFrame);
    ASSERT_TRUE(leadIn.beatsPerMinute);
    EXPECT_NEAR(*leadIn.beatsPerMinute, expected.quarterNotes / (anchorFrame / kTimelineRate / 60), 1e-9);
    EXPECT_EQ(timeline.tempoEvents.front(), (TempoEvent{0, *leadIn.beatsPerMinute}));
    // The song's start is at 0, and both stretches meet at the anchor.
    EXPECT_EQ(timeline.mapping(0), 0);
    EXPECT_NEAR(timeline.mapping(anchorFrame / 2), expected.quarterNotes / 2, 1e-12);
    EXPECT_NEAR(timeline.mapping(anchorFrame), expected.quarterNotes, 1e-12);
    EXPECT_NEAR(timeline.mapping(std::nextafter(anchorFrame, 0)), expected.quarterNotes, 1e-9);
}

void expectNoLeadIn(const Start& start) {
    const auto timeline = timelineOf(evenSong(start.firstBeat, 20, start.downbeats), kFollow);
    const LeadIn& leadIn = leadInOf(timeline);
    EXPECT_EQ(leadIn.length, 0) << start.firstBeat;
    EXPECT_EQ(leadIn.anchorIndex, 0U);
    EXPECT_EQ(leadIn.quarterNotes, 0);
    EXPECT_FALSE(leadIn.anchorFrame);
    EXPECT_FALSE(leadIn.beatsPerMinute);
}

TEST(MIDIExportTimelineTests, ASongThatStartsWithinATwentiethOfASecondNeedsNoLeadIn) {
    expectNoLeadIn({.firstBeat = 2204, .downbeats = {0, 4}});
    expectNoLeadIn({.firstBeat = 2204});
    expectLeadIn({.firstBeat = 2205, .downbeats = {0, 4}}, {.length = 2, .anchor = 0, .quarterNotes = 2});
}

TEST(MIDIExportTimelineTests, TheAnchorIsTheFirstBeatOrWhereThatIsTooEarlyTheFirstDownbeat) {
    expectLeadIn({.firstBeat = 22050, .downbeats = {3, 7}}, {.length = 2, .anchor = 0, .quarterNotes = 0.5});
    expectLeadIn({.firstBeat = 882, .downbeats = {3, 7}}, {.length = 2, .anchor = 3, .quarterNotes = 2});
}

TEST(MIDIExportTimelineTests, APickupIsRoundedToWholeBars) {
    expectLeadIn({.downbeats = {4, 8}}, {.length = 2, .anchor = 4, .quarterNotes = 2});
    // 2.52 quarter notes; halfway between bars; beyond that.
    expectLeadIn({.firstBeat = 882, .downbeats = {5, 9}}, {.length = 2, .anchor = 5, .quarterNotes = 2});
    expectLeadIn({.downbeats = {6, 10}}, {.length = 2, .anchor = 6, .quarterNotes = 2});
    expectLeadIn({.downbeats = {7, 11}}, {.length = 4, .anchor = 7, .quarterNotes = 4});
}

TEST(MIDIExportTimelineTests, AtLeastHalfOfTheStretchBeforeTheAnchorRemains) {
    expectLeadIn({.firstBeat = 44100, .downbeats = {3, 7}}, {.length = 2, .anchor = 0, .quarterNotes = 0.5});
    expectLeadIn({.firstBeat = 44982, .downbeats = {3, 7}}, {.length = 4, .anchor = 0, .quarterNotes = 2.5});
    expectLeadIn({.firstBeat = 22050, .downbeats = {5, 9}}, {.length = 4, .anchor = 0, .quarterNotes = 1.5});
}

TEST(MIDIExportTimelineTests, BarsOfTheLeadInAreTheFirstBars) {
    expectLeadIn({.firstBeat = 11025, .downbeats = {4, 7, 10}},
                 {.length = 3, .anchor = 0, .quarterNotes = 1});
    expectLeadIn({.firstBeat = 44100}, {.length = 4, .anchor = 0, .quarterNotes = 4}); // the document's 4/4
}

TEST(MIDIExportTimelineTests, BeatsBeforeTheSongsStartCountAsAPickup) {
    expectLeadIn({.firstBeat = -kPulse, .downbeats = {4, 8}}, {.length = 2, .anchor = 4, .quarterNotes = 2});
    expectNoLeadIn({.firstBeat = -10 * kPulse, .downbeats = {4, 8}}); // the downbeat as well
}

TEST(MIDIExportTimelineTests, PlacesChangesOfMetreAfterTheLeadIn) {
    const auto timeline = timelineOf(evenSong(882, 30, {3, 7, 13}), kFollow);
    EXPECT_EQ(timeline.timeSignatureEvents, (Signatures{{0, {2, 4}}, {4, {3, 4}}}));
}

TEST(MIDIExportTimelineTests, KeepsOnlyAudibleTempoChanges) {
    EXPECT_EQ(timelineOf(evenSong(0, 50, {0, 4, 8}), kFollow).tempoEvents, (Tempos{{0, 60}}));
    // The lead-in's 78.9 beats per minute, then the song's 60 from the anchor at its whole bar.
    const Tempos tempos = timelineOf(evenSong(882, 12, {3, 7}), kFollow).tempoEvents;
    ASSERT_EQ(tempos.size(), 2U);
    EXPECT_EQ(tempos[1], (TempoEvent{2, 60}));

    // A frame is a quarter of a microsecond per quarter note.
    const auto document = songWithIntervals({2000001, 2000002, 2000005, 2000006, 2000003, 2000001, 1999999});
    const Tempos kept = timelineOf(document, kFollow, 8e6).tempoEvents;
    ASSERT_EQ(kept.size(), 4U);
    for (std::size_t i = 0; i < kept.size(); ++i)
        EXPECT_EQ(kept[i].position, static_cast<double>(i));
    EXPECT_EQ(kept.front().beatsPerMinute, 8e6 * 30 / 2000001); // the first of equals
}

TEST(MIDIExportTimelineTests, AFixedTempoIsThatOfTheUpperMedianInterval) {
    const std::pair<Locations, double> cases[] = {
        {{11760}, 113}, // 112.5
        {{10000, 11760, 10000, 11760}, 113},
        {{11760, 10000, 10000}, 132}, // 132.3
        {{1000, 11760, 90000}, 113},
        {{10000, 90000}, 15}, // 14.7
    };
    for (const auto& [intervals, tempo] : cases)
        EXPECT_EQ(timelineOf(songWithIntervals(intervals), kFixed).tempoEvents, (Tempos{{0, tempo}}));
}

/// What is exported of a song of bars of two quarter notes, the first of them at `kFirstDownbeat`.
struct Exported {
    Locations notes = {};
    Locations chords = {};
    bool exportsNotes = true;
    bool exportsChords = true;
};
constexpr std::int64_t kFirstDownbeat = 10 * kPulse;

/// The quarter notes before the first downbeat.
double roomFor(const Exported& exported) {
    const auto document = evenSong(4 * kPulse, 30, {6, 10});
    for (const std::int64_t frame : exported.notes)
        addNote(*document, frame, 0, 60);
    for (const std::int64_t frame : exported.chords)
        addChord(*document, frame, "C");
    const MIDIExportTimeline timeline(kFixed, exported.exportsNotes, exported.exportsChords, kTimelineRate,
                                      *document);
    EXPECT_EQ(timeline.mapping(static_cast<double>(kFirstDownbeat)), leadInOf(timeline).length);
    EXPECT_EQ(timeline.tempoEvents, (Tempos{{0, 60}}));
    return leadInOf(timeline).length;
}

TEST(MIDIExportTimelineTests, AFixedTempoMakesRoomForTheEarliestEntryByWholeBars) {
    EXPECT_EQ(roomFor({.notes = {kFirstDownbeat}}), 0);
    EXPECT_EQ(roomFor({.notes = {kFirstDownbeat - 1}}), 2);
    EXPECT_EQ(roomFor({.notes = {kFirstDownbeat - 4 * kPulse}}), 2);
    EXPECT_EQ(roomFor({.notes = {kFirstDownbeat - 4 * kPulse - 1}}), 4);
    EXPECT_EQ(roomFor({.notes = {-3 * kPulse}}), 8) << "extrapolated along the first interval";
}

TEST(MIDIExportTimelineTests, OnlyExportedEntriesNeedRoom) {
    const Locations notes{kFirstDownbeat + 30 * kPulse, kFirstDownbeat};
    const Locations chords{kFirstDownbeat - 5 * kPulse};
    EXPECT_EQ(roomFor({.notes = notes, .chords = chords}), 4);
    EXPECT_EQ(roomFor({.notes = notes, .chords = chords, .exportsChords = false}), 0);
    EXPECT_EQ(roomFor({.notes = notes, .chords = chords, .exportsNotes = false}), 4);
}

TEST(MIDIExportTimelineTests, WithoutEntriesTheSongsStartNeedsRoom) {
    EXPECT_EQ(roomFor({}), 6) << "five quarter notes before the downbeat";
    EXPECT_EQ(roomFor({.notes = {kFirstDownbeat}, .exportsNotes = false, .exportsChords = false}), 6);
}

TEST(MIDIExportTimelineTests, ExtrapolatesAlongTheFirstAndTheLastInterval) {
    const auto document = makeDocumentWithBeats({1000, 2000, 4000, 5000}, {1});
    document->setTimeSignature(4, 4);
    addNote(*document, 2000, 0, 60);
    const auto timeline = timelineOf(document, kFixed);
    const std::pair<double, double> positions[] = {{0, -1},      {1000, -0.5}, {1500, -0.25}, {2000, 0},
                                                   {3000, 0.25}, {4000, 0.5},  {5000, 1},     {7000, 2}};
    for (const auto& [frame, position] : positions)
        EXPECT_DOUBLE_EQ(timeline.mapping(frame), position) << frame;
}

TEST(MIDIExportTimelineTests, ARepeatedBeatIsSkippedWithItsDownbeat) {
    const auto document = makeDocumentWithBeats({1000, 2000, 2000, 3000, 4000}, {2, 4});
    const auto grid = PulseGrid::make(document->beatEntries());
    ASSERT_TRUE(grid);
    EXPECT_EQ(grid->frames, (std::vector<double>{1000, 2000, 3000, 4000}));
    EXPECT_EQ(grid->downbeatIndices, std::vector<std::size_t>{3});
    EXPECT_FALSE(PulseGrid::make(makeDocumentWithBeats({5, 5, 5})->beatEntries()));
}

TEST(MIDIExportTimelineTests, WithoutAGridPositionsAreSeconds) {
    const auto song = evenSong(0, 20, {0, 4});
    const auto oneBeat = evenSong(0, 1, {0});
    const std::pair<Document, std::int64_t> cases[] = {
        {song, 0}, {song, 3}, {song, -1}, {oneBeat, kFollow}, {oneBeat, kFixed}, {makeDocument(), kFollow}};
    for (const auto& [document, timing] : cases) {
        const auto timeline = timelineOf(document, timing);
        EXPECT_EQ(timeline.tempoEvents, (Tempos{{0, 60}}));
        EXPECT_TRUE(timeline.timeSignatureEvents.empty());
        EXPECT_EQ(timeline.mapping(-22050), -0.5);
        EXPECT_EQ(timeline.mapping(132300), 3);
    }
}

TEST(MIDIExportTimelineTests, ASignatureWithAZeroMakesNoLeadIn) {
    for (const TimeSignature signature : {TimeSignature{0, 4}, TimeSignature{4, 0}, TimeSignature{0, 0}}) {
        const auto document = evenSong(44100, 20, {6});
        document->setTimeSignature(signature.numerator, signature.denominator);
        for (const std::int64_t timing : {kFollow, kFixed}) {
            const auto timeline = timelineOf(document, timing);
            EXPECT_EQ(leadInOf(timeline).length, 0);
            EXPECT_FALSE(leadInOf(timeline).anchorFrame);
            EXPECT_EQ(timeline.timeSignatureEvents, (Signatures{{0, signature}}));
            EXPECT_EQ(timeline.tempoEvents, (Tempos{{0, 60}}));
            EXPECT_EQ(timeline.mapping(44100 + 6.0 * kPulse), 0);
        }
    }
}

TEST(MIDIExportTimelineTests, ATempoThatCannotBeComparedAborts) {
    // Beyond 2^63 microseconds per quarter note.
    const auto document = makeDocumentWithBeats({0, std::int64_t{1} << 62});
    EXPECT_DEATH((void)timelineOf(document, kFollow, 1e-3), "cannot be converted to an integer");
    // Of 0 microseconds, as if it could be compared.
    EXPECT_DEATH((void)timelineOf(document, kFollow, std::numeric_limits<double>::infinity()), "not finite");
}

} // namespace

} // namespace tarn
