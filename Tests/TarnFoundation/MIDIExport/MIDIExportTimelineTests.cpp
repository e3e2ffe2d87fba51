#include "TarnFoundation/MIDIExport/MIDIExportTimeline.h"

#include "Tests/TarnFoundation/UserEntries/DocumentFixture.h"

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
    Locations frames(count);
    for (std::size_t i = 0; i < count; ++i)
        frames[i] = first + static_cast<std::int64_t>(i) * kPulse;
    return makeDocumentWithBeats(frames, downbeats);
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

} // namespace

TEST(MIDIExportTimeline, describesBarsByTheirPulses) {
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

TEST(MIDIExportTimeline, choosesTheAnchorAndTheLeadIn) {
    // The first beat's frame, what is expected of the lead-in, and no quarter notes where there is none.
    const auto expectLeadIn = [](std::int64_t first, const Positions& downbeats, double length,
                                 std::size_t anchor, double quarterNotes) {
        SCOPED_TRACE(testing::Message() << first << ' ' << anchor << ' ' << length);
        const auto timeline = timelineOf(evenSong(first, 20, downbeats), kFollow);
        const LeadIn& leadIn = leadInOf(timeline);
        EXPECT_DOUBLE_EQ(leadIn.length, length);
        EXPECT_EQ(leadIn.anchorIndex, anchor);
        EXPECT_NEAR(leadIn.quarterNotes, quarterNotes, 1e-12);
        EXPECT_EQ(leadIn.anchorFrame.has_value(), quarterNotes > 0);
        EXPECT_EQ(leadIn.beatsPerMinute.has_value(), quarterNotes > 0);
        ASSERT_EQ(timeline.timeSignatureEvents.size(), 1U);
        EXPECT_EQ(timeline.timeSignatureEvents[0].position, 0);
        if (quarterNotes > 0) {
            const double anchorFrame =
                static_cast<double>(first + static_cast<std::int64_t>(anchor) * kPulse);
            EXPECT_EQ(leadIn.anchorFrame, anchorFrame);
            EXPECT_NEAR(*leadIn.beatsPerMinute, quarterNotes / (anchorFrame / kTimelineRate / 60), 1e-9);
            EXPECT_EQ(timeline.tempoEvents.front(), (TempoEvent{0, *leadIn.beatsPerMinute}));
            // The song's start is at 0, and both stretches meet at the anchor.
            EXPECT_EQ(timeline.mapping(0), 0);
            EXPECT_NEAR(timeline.mapping(anchorFrame / 2), quarterNotes / 2, 1e-12);
            EXPECT_NEAR(timeline.mapping(anchorFrame), quarterNotes, 1e-12);
            EXPECT_NEAR(timeline.mapping(std::nextafter(anchorFrame, 0)), quarterNotes, 1e-9);
        }
    };
    expectLeadIn(2205, {0, 4}, 2, 0, 2); // at the threshold
    expectLeadIn(2204, {0, 4}, 0, 0, 0);
    expectLeadIn(2204, {}, 0, 0, 0);
    expectLeadIn(882, {3, 7}, 2, 3, 2);          // anchored at the downbeat
    expectLeadIn(22050, {3, 7}, 2, 0, 0.5);      // anchored at the pickup
    expectLeadIn(882, {5, 9}, 2, 5, 2);          // 2.52 quarter notes: down to one bar
    expectLeadIn(0, {6, 10}, 2, 6, 2);           // halfway between bars goes down
    expectLeadIn(0, {7, 11}, 4, 7, 4);           // beyond it up
    expectLeadIn(0, {4, 8}, 2, 4, 2);            // a whole bar
    expectLeadIn(22050, {5, 9}, 4, 0, 1.5);      // halfway, but down leaves nothing before the anchor
    expectLeadIn(44100, {3, 7}, 2, 0, 0.5);      // half the stretch before the anchor remains
    expectLeadIn(44982, {3, 7}, 4, 0, 2.5);      // a little less
    expectLeadIn(44100, {}, 4, 0, 4);            // the document's 4/4
    expectLeadIn(11025, {4, 7, 10}, 3, 0, 1);    // 3/8
    expectLeadIn(-kPulse, {4, 8}, 2, 4, 2);      // beats before the song's start
    expectLeadIn(-10 * kPulse, {4, 8}, 0, 0, 0); // the downbeat as well
}

TEST(MIDIExportTimeline, placesMeterChangesAfterTheLeadIn) {
    const auto timeline = timelineOf(evenSong(882, 30, {3, 7, 13}), kFollow);
    EXPECT_EQ(timeline.timeSignatureEvents, (Signatures{{0, {2, 4}}, {4, {3, 4}}}));
}

TEST(MIDIExportTimeline, keepsOnlyAudibleTempoChanges) {
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

TEST(MIDIExportTimeline, aFixedTempoIsThatOfTheUpperMedianInterval) {
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

TEST(MIDIExportTimeline, aFixedTempoMakesRoomForTheEarliestExportedEntry) {
    constexpr std::int64_t downbeat = 10 * kPulse; // bars of two quarter notes
    const auto expectRoom = [](const Locations& notes, const Locations& chords, bool exportsNotes,
                               bool exportsChords, double length) {
        const auto document = evenSong(4 * kPulse, 30, {6, 10});
        for (const std::int64_t frame : notes)
            addNote(*document, frame, 0, 60);
        for (const std::int64_t frame : chords)
            addChord(*document, frame, "C");
        const MIDIExportTimeline timeline(kFixed, exportsNotes, exportsChords, kTimelineRate, *document);
        EXPECT_EQ(leadInOf(timeline).length, length);
        EXPECT_EQ(timeline.mapping(static_cast<double>(downbeat)), length);
        EXPECT_EQ(timeline.tempoEvents, (Tempos{{0, 60}}));
    };
    expectRoom({downbeat - 4 * kPulse}, {}, true, true, 2); // a whole bar: at position 0
    expectRoom({downbeat - 4 * kPulse - 1}, {}, true, true, 4);
    expectRoom({downbeat - 1}, {}, true, true, 2);
    expectRoom({downbeat}, {}, true, true, 0);
    expectRoom({downbeat + 30 * kPulse, downbeat}, {downbeat - 5 * kPulse}, true, true, 4);
    expectRoom({downbeat}, {downbeat - 5 * kPulse}, true, false, 0);
    expectRoom({downbeat}, {downbeat - 5 * kPulse}, false, true, 4);
    expectRoom({downbeat}, {}, false, false, 6); // frame 0: five quarter notes before the downbeat
    expectRoom({}, {}, true, true, 6);
    expectRoom({-3 * kPulse}, {}, true, true, 8); // extrapolated along the first interval
}

TEST(MIDIExportTimeline, extrapolatesAlongTheFirstAndTheLastInterval) {
    const auto document = makeDocumentWithBeats({1000, 2000, 4000, 5000}, {1});
    document->setTimeSignature(4, 4);
    addNote(*document, 2000, 0, 60);
    const auto timeline = timelineOf(document, kFixed);
    const std::pair<double, double> positions[] = {{0, -1},      {1000, -0.5}, {1500, -0.25}, {2000, 0},
                                                   {3000, 0.25}, {4000, 0.5},  {5000, 1},     {7000, 2}};
    for (const auto& [frame, position] : positions)
        EXPECT_DOUBLE_EQ(timeline.mapping(frame), position) << frame;
}

TEST(MIDIExportTimeline, aRepeatedBeatIsSkippedWithItsDownbeat) {
    const auto document = makeDocumentWithBeats({1000, 2000, 2000, 3000, 4000}, {2, 4});
    const auto grid = PulseGrid::make(document->beatEntries());
    ASSERT_TRUE(grid);
    EXPECT_EQ(grid->frames, (std::vector<double>{1000, 2000, 3000, 4000}));
    EXPECT_EQ(grid->downbeatIndices, std::vector<std::size_t>{3});
    EXPECT_FALSE(PulseGrid::make(makeDocumentWithBeats({5, 5, 5})->beatEntries()));
}

TEST(MIDIExportTimeline, fallsBackToSeconds) {
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

TEST(MIDIExportTimeline, aSignatureWithAZeroMakesNoLeadIn) {
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

TEST(MIDIExportTimeline, aTempoThatCannotBeComparedStopsTheProcess) {
    // Beyond 2^63 microseconds per quarter note.
    const auto document = makeDocumentWithBeats({0, std::int64_t{1} << 62});
    EXPECT_DEATH((void)timelineOf(document, kFollow, 1e-3), "cannot be converted to an integer");
    // Of 0 microseconds, as if it could be compared.
    EXPECT_DEATH((void)timelineOf(document, kFollow, std::numeric_limits<double>::infinity()), "not finite");
}

} // namespace tarn
