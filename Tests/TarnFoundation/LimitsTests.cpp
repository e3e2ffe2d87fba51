#include "Platform/KeyedArchiveFile.h"
#include "TarnFoundation/BeatSpacing.h"
#include "TarnFoundation/MIDIExport/MIDIExport.h"
#include "TarnFoundation/RegionEditing.h"
#include "TarnFoundation/SortedSearch.h"
#include "TarnFoundation/TarnPrerollController.h"
#include "TarnFoundation/UserEntries/TarnBeatLocator.h"
#include "TarnFoundation/UserEntries/TarnSongStructureStorage.h"
#include "Tests/Platform/System.h"
#include "Tests/Platform/TemporaryFolder.h"
#include "Tests/TarnFoundation/UserEntries/DocumentFixture.h"

#include <gmock/gmock.h>

#include <cstdlib>

namespace tarn {
namespace {

using namespace fixtures;

constexpr auto kEndless = std::numeric_limits<std::uint64_t>::max();

/// Saved to a file and opened.
template <typename Storage>
std::shared_ptr<Storage> reopened(const std::shared_ptr<Storage>& storage) {
    const TemporaryFolder folder;
    Error error;
    EXPECT_TRUE(writeArchive(storage, folder.path() / "song", &error)) << error.localizedDescription();
    auto read = readArchive<Storage>(folder.path() / "song", &error);
    EXPECT_NE(read, nullptr) << error.localizedDescription();
    return read;
}

TEST(LimitsTests, AMillionEntriesAreKeptAndSaved) {
#ifdef __SANITIZE_ADDRESS__
    constexpr std::int64_t kCount = 100'000; // the sanitizer would take most of a minute for them
#else
    constexpr std::int64_t kCount = 1'000'000;
#endif
    Locations descending(kCount);
    for (std::int64_t i = 0; i < kCount; ++i)
        descending[i] = (kCount - i) * 100;
    const auto document = makeDocumentWithBeats(descending);
    std::reverse(descending.begin(), descending.end());
    EXPECT_EQ(locations(document->beatEntries()), descending);
    const auto read = reopened(document);
    EXPECT_EQ(locations(read->beatEntries()), descending);
    EXPECT_EQ(identifiers(read->beatEntries()), identifiers(document->beatEntries()));
}

TEST(LimitsTests, SectionsBeyondSixteenBitsAndANameOfAMegabyte) {
    const auto structure = std::make_shared<TarnSongStructureStorage>();
    std::vector<std::shared_ptr<TarnSectionEntry>> sections(65'535);
    for (auto& section : sections)
        section = structure->newSectionEntry();
    structure->addSectionEntriesFromArray(sections);
    const auto identifier = structure->createNewSection(1);
    std::string name;
    while (name.size() < std::size_t{1} << 20)
        name += "Überleitung ";
    ASSERT_TRUE(structure->renameSection(identifier, name));
    const auto read = reopened(structure);
    EXPECT_EQ(identifiers(read->sectionEntries()), identifiers(structure->sectionEntries()));
    EXPECT_EQ(read->sectionEntries()[65'535]->name(), name);
}

/// Every kind with a location, at both of these, with the greatest length and with none.
Document documentAt(std::int64_t first, std::int64_t second) {
    const auto document = makeDocument();
    const auto addTo = [&](auto make, auto add) {
        for (const std::int64_t location : {first, second}) {
            const auto entry = make();
            entry->setLocation(location);
            if constexpr (requires { entry->setLength(kEndless); })
                entry->setLength(location == first ? kEndless : 0);
            if constexpr (requires { entry->setDownbeat(true); })
                entry->setDownbeat(true);
            if constexpr (requires {
                              entry->setPitch(KELPPitchRef());
                              entry->setFretSelection(0);
                          })
                entry->setPitch(KELPPitch::pitchWithNote(KELPNote::noteWithValue(0), 4));
            if constexpr (requires { entry->setChord(KELPChordRef()); })
                entry->setChord(KELPChord::chordWithString("C"));
            add(entry);
        }
    };
    document->forEachKind([&]<typename Kind>(Kind) {
        addTo([&] { return document->newEntry<Kind>(); },
              [&](const auto& entry) { document->add<Kind>({entry}); });
    });
    return document;
}

TEST(LimitsTests, TriesReturnNothingOverWhatCannotBeComputed) {
    const auto document = reopened(makeDocumentWithBeats({kLeast, kGreatest}));
    const auto beats = document->beatEntries();
    const auto endless = document->newRegionEntry();
    endless->setLength(kEndless);
    EXPECT_FALSE(document->tryAverageBeatEntrySpacing() || document->tryTempoFromBeatEntries(44100));
    EXPECT_FALSE(tryDistanceBetweenEntries(*beats[0], *beats[1]));
    EXPECT_FALSE(tryEvenlySpacedLocations(2, kLeast, kGreatest));
    EXPECT_FALSE(tryMidpointLocations(locations(beats)));
    EXPECT_FALSE(tryIndexOfClosestEntry(beats, 1) || tryClosest(locations(beats), 0, 1));
    EXPECT_FALSE(tryEntriesIn(beats, Range<std::int64_t>(0, 1)));
    EXPECT_FALSE(endless->tryEnd());
    EXPECT_FALSE(tryEntriesEnding(std::vector{endless}, ClosedRange<std::int64_t>(0, 1)));
    EXPECT_FALSE(
        TarnPrerollController(document, kGreatest).tryRequiresArtificialBeatEntriesForPrerollFrame(0));
    EXPECT_FALSE(KELPPitch(KELPNote(), std::numeric_limits<std::int32_t>::max()).tryPitchAtOffset(12));

    const auto song = makeDocumentWithBeats({0, 100});
    const auto songBeats = song->beatEntries();
    const auto region = at(5, song->newRegionEntry());
    region->setLength(5);
    EXPECT_EQ(song->tryAverageBeatEntrySpacing(), 100);
    EXPECT_EQ(song->tryTempoFromBeatEntries(200), 120);
    EXPECT_EQ(tryDistanceBetweenEntries(*songBeats[0], *songBeats[1]), 100);
    EXPECT_EQ(tryEvenlySpacedLocations(2, 0, 100), (Locations{0, 50}));
    EXPECT_EQ(tryMidpointLocations(locations(songBeats)), (Locations{50, 150}));
    EXPECT_EQ(tryIndexOfClosestEntry(songBeats, 60), 1u);
    EXPECT_EQ(tryClosest(locations(songBeats), 10, 1), 100);
    EXPECT_EQ(tryEntriesIn(songBeats, Range<std::int64_t>(1, 101)), std::vector{songBeats[1]});
    EXPECT_EQ(region->tryEnd(), 10);
    EXPECT_EQ(tryEntriesEnding(std::vector{region}, ClosedRange<std::int64_t>(0, 9))->size(), 0u);
    EXPECT_EQ(TarnPrerollController(song, 2).tryRequiresArtificialBeatEntriesForPrerollFrame(0), true);
    EXPECT_EQ(KELPPitch(KELPNote(), 4).tryPitchAtOffset(12)->octave(), 5);
}

TEST(LimitsTests, AnExportThatCannotBeExpressedLeavesNoFile) {
    const TemporaryFolder folder;
    const auto file = folder.path() / "song.mid";
    const auto exported = [&](const Document& document, double sampleRate) {
        return document->tryExportToMIDIFile(file, sampleRate, {{"exportNotes", true}, {"timing", 1}});
    };
    const auto withoutDenominator = makeDocumentWithBeats({0, 22050});
    withoutDenominator->setTimeSignature(4, 0);
    EXPECT_FALSE(exported(withoutDenominator, 44100));
    EXPECT_FALSE(exported(documentAt(0, 1), 44100)) << "notes of the greatest length";
    const auto song = makeDocumentWithBeats({0, 22050});
    EXPECT_FALSE(exported(song, std::numeric_limits<double>::infinity()));
    EXPECT_TRUE(folder.fileNames().empty());
    EXPECT_TRUE(exported(song, 44100));
}

using Attempt = void (*)(const Document& document, std::int64_t first, std::int64_t second);

template <std::int64_t kTiming>
void exportWithTiming(const Document& document, std::int64_t, std::int64_t) {
    document->exportToMIDIFile(testing::TempDir() + "tarn-limits.mid", 44100,
                               {{"exportNotes", true}, {"exportChords", true}, {"timing", kTiming}});
}

constexpr std::pair<const char*, Attempt> kAttempts[] = {
    {"ranges",
     [](const Document& document, std::int64_t first, std::int64_t second) {
         for (const std::int64_t at : {first, second}) {
             const auto found = document->noteEntriesInRange(std::uint64_t(at), 1);
             if (found.empty() || (*found.begin())->location() != at)
                 std::_Exit(1);
             (void)document->noteEntriesInRange(kEndless, std::uint64_t(at));
             (void)document->regionEntryForLocation(at);
             (void)document->regionEntryContaining(at);
         }
     }},
    {"export in seconds", exportWithTiming<0>},
    {"export that follows", exportWithTiming<1>},
    {"export in one tempo", exportWithTiming<2>},
    {"locator",
     [](const Document& document, std::int64_t first, std::int64_t second) {
         TarnBeatLocator locator;
         locator.updateWithNoteEntryStorage(*document);
         for (const std::int64_t at : {first, second, kLeast, kGreatest}) {
             const auto sample = std::uint64_t(at);
             const IndexPath path = locator.barBeatIndexOfSample(sample);
             (void)locator.sampleOfBarBeatIndex(path);
             (void)locator.sampleOfBarBeatIndex({sample, kEndless});
             (void)locator.sampleOfBarBeatIndex({kEndless, sample});
             (void)locator.closestBarBeatSampleToSample(sample);
             (void)locator.barIdentifierForSample(sample);
             (void)locator.beatIdentifierForSample(sample);
         }
     }},
    {"tempo", [](const Document& document, std::int64_t,
                 std::int64_t) { (void)document->tempoFromBeatEntries(44100); }},
    {"moved bar",
     [](const Document& document, std::int64_t first, std::int64_t second) {
         (void)document->setLocationOfBarEntry(document->beatEntries().back()->eventId(), first, second);
     }},
    {"beats of a bar",
     [](const Document& document, std::int64_t, std::int64_t second) {
         (void)document->setNumberOfBeats(4, document->beatEntries().front()->eventId(), second);
     }},
    {"rebuilt beats",
     [](const Document& document, std::int64_t first, std::int64_t second) {
         document->setTimeSignature(4, 4);
         (void)document->replaceBeatEntries({first, second}, {first}, 4);
     }},
    {"count-in",
     [](const Document& document, std::int64_t first, std::int64_t second) {
         TarnPrerollController controller(document, 2);
         (void)controller.snappedFrameForCountIn(second);
         (void)controller.prerollFrame(first);
         controller.generateArtificialBeatEntriesForPrerollFrame(first);
     }},
};

constexpr std::pair<std::int64_t, std::int64_t> kExtremes[] = {
    {kLeast, kGreatest}, {kLeast, kLeast + 1}, {kGreatest - 1, kGreatest}, {0, kGreatest}, {kLeast, 0}};

TEST(LimitsDeathTest, LocationsAndLengthsAtTheirExtremesStopAtMost) {
    for (const auto& [what, attempt] : kAttempts) {
        for (const auto& [first, second] : kExtremes) {
            SCOPED_TRACE(testing::Message() << what << " of " << first << " and " << second);
            const auto document = documentAt(first, second);
            EXPECT_EXIT(
                {
                    try {
                        attempt(document, first, second);
                    } catch (const std::bad_alloc&) {
                        std::_Exit(1);
                    } catch (...) {
                        // Refused with a reason.
                    }
                    std::_Exit(0);
                },
                succeededOrAborted,
                testing::Not(testing::AnyOf(testing::HasSubstr("runtime error"),
                                            testing::HasSubstr("terminate called"))));
        }
    }
}

} // namespace
} // namespace tarn
