#include "DocumentFixture.h"

#include "Platform/KeyedArchiveFile.h"
#include "Platform/Log.h"
#include "TarnFoundation/UserEntries/TarnSongStructureStorage.h"
#include "Tests/Platform/TemporaryFolder.h"

#include <random>

using namespace tarn;
using namespace tarn::fixtures;

namespace {

/// Two entries of every kind, with unset optional fields and extreme numbers.
Document makeFullDocument() {
    const auto document = makeDocument();
    const auto note = at(kGreatest, document->newNoteEntry());
    note->setPitch(KELPPitch::pitchWithNote(KELPNote::noteWithValue(10, true), 3));
    note->setLength(std::numeric_limits<std::uint64_t>::max());
    note->setFretSelection(255);
    note->setChannel(15);
    document->addNoteEntriesFromArray({note, at(kLeast, document->newNoteEntry())});
    addChord(*document, 0, "Bbm7/Ab");
    addChord(*document, 1, "N.C.");
    addBeats(*document, {9, 3, -4}, {1});
    const auto signature = at(2, document->newTimeSignatureEntry());
    signature->setNumerator(255);
    document->addTimeSignatureEntriesFromArray({signature, at(1, document->newTimeSignatureEntry())});
    const auto tempo = document->newTempoEntry();
    tempo->setTempo(std::numeric_limits<float>::denorm_min());
    document->addTempoEntriesFromArray({tempo, document->newTempoEntry()});
    const auto named = document->newRegionEntry();
    named->setName("");
    named->setLength(std::uint64_t{1} << 63);
    const auto unnamed = document->newVerseRegionEntry();
    unnamed->setName(std::nullopt);
    document->addRegionEntriesFromArray({named, unnamed, document->newVerseRegionEntry(),
                                         document->newChorusRegionEntry(), document->newBridgeRegionEntry(),
                                         document->newMarkerRegionEntry()});
    const auto marker = document->newMarkerEntry();
    marker->setName("Überleitung");
    document->addMarkerEntriesFromArray({marker, document->newMarkerEntry()});
    const auto standard = document->newStandardPitchEntry();
    standard->setFrequency(std::nextafter(440.0, 441.0));
    document->addStandardPitchEntriesFromArray({standard, document->newStandardPitchEntry()});
    addKey(*document, 0, "Ebm");
    document->setInstrumentDescription(KELPStringedInstrumentDescription::presets().back());
    return document;
}

Names describeAll(const TarnNoteEntryStorage& document) {
    Names lines{std::to_string(document.nextEventId()), document.instrumentDescription()->description()};
    const auto add = [&](const auto& entries) {
        for (const auto& entry : entries)
            lines.push_back(std::string(entry->className()) + " " + entry->description());
    };
    document.forEachKind([&]<typename Kind>(Kind) { add(document.entries<Kind>()); });
    for (const auto& note : document.noteEntries())
        lines.push_back(std::to_string(note->fretSelection()) + " " + std::to_string(note->channel()));
    for (const auto& region : document.regionEntries())
        lines.push_back(region->name().value_or("none"));
    for (const auto& tempo : document.tempoEntries())
        lines.push_back(std::to_string(std::bit_cast<std::uint32_t>(tempo->tempo())));
    for (const auto& pitch : document.standardPitchEntries())
        lines.push_back(std::to_string(std::bit_cast<std::uint64_t>(pitch->frequency())));
    return lines;
}

TEST(DocumentArchiveTests, RoundTripsEveryKindExactly) {
    const auto document = makeFullDocument();
    Error error;
    const auto read = decoded<TarnNoteEntryStorage>(document, &error);
    ASSERT_TRUE(read) << error.localizedDescription();
    EXPECT_EQ(describeAll(*read), describeAll(*document));
    EXPECT_TRUE(read->useLegacyBeatFiltering());
    EXPECT_EQ(KeyedArchiver::archivedData(read).size(), KeyedArchiver::archivedData(document).size());
}

TEST(DocumentArchiveTests, PassesBeatsThroughConsistencyAsTheyAreDecoded) {
    // Beats are read before the time signature, so odd ones stay until the next edit.
    const auto document = makeDocumentWithBeats({0, 1, 2});
    document->setTimeSignature(4, 4);
    const auto read = decoded<TarnNoteEntryStorage>(document);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->beatEntries().size(), 3u);
    addBeats(*read, {3, 0});
    EXPECT_EQ(read->beatEntries().size(), 4u);
}

TEST(DocumentArchiveTests, NeedsItsCounterAndEntriesOfTheRightKind) {
    const auto read = readInParts<TarnNoteEntryStorage>("beatEntryArray", std::make_shared<TarnBeatEntry>(1),
                                                        std::make_shared<TarnMarkerEntry>(1));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->beatEntries().size(), 1u);
    EXPECT_EQ(read->newNoteEntry()->eventId(), 7u);
}

TEST(DocumentArchiveTests, LeavesOutEntriesThatLackWhatTheyMustHave) {
    const auto document = makeDocument();
    addChord(*document, 0, "A");
    document->addChordEntry(at(5, document->newChordEntry()));
    addChord(*document, 9, "E");
    document->addKeyEntry(document->newKeyEntry());
    const auto pitch = document->newStandardPitchEntry();
    pitch->setPitch(nullptr);
    document->addStandardPitchEntriesFromArray({pitch, document->newStandardPitchEntry()});
    document->addMarkerEntry(document->newMarkerEntry());
    Names log;
    setLogSink([&](const LogMessage& message) { log.push_back(message.text(false)); });
    const auto read = decoded<TarnNoteEntryStorage>(document);
    setLogSink({});
    ASSERT_TRUE(read);
    EXPECT_EQ(chordsOf(read->chordEntries()), (Names{"A@0", "E@9"}));
    EXPECT_TRUE(read->keyEntries().empty());
    EXPECT_EQ(identifiers(read->standardPitchEntries()), (Identifiers{5}));
    EXPECT_EQ(read->markerEntries().size(), 1u);
    EXPECT_EQ(read->nextEventId(), document->nextEventId());
    ASSERT_EQ(log.size(), 3u) << "one line for each kind";
    EXPECT_EQ(log[0],
              "Entries left out of a document: 1. Element 1 of \"chordEntryArray\" of "
              "TarnNoteEntryStorage cannot be made: a value of TarnChordEntry is missing or not valid");
}

TEST(DocumentArchiveTests, GivesAReasonOrADocumentForDamagedBytes) {
    const auto bytes = KeyedArchiver::archivedData(makeFullDocument());
    constexpr unsigned kSeed = 20;
    std::mt19937 random(kSeed);
    int refused = 0;
    for (int round = 0; round < 3000; ++round) {
        auto damaged = bytes;
        if (round % 2)
            damaged.resize(random() % bytes.size());
        else
            damaged[random() % damaged.size()] ^= std::byte(1 << random() % 8);
        Error error;
        const auto document = KeyedUnarchiver::unarchivedObject<TarnNoteEntryStorage>(damaged, &error);
        EXPECT_NE(document == nullptr, error.domain.empty()) << "seed " << kSeed << ", round " << round;
        refused += !document;
    }
    EXPECT_GT(refused, 1500);
}

TEST(DocumentArchiveTests, OpensInAnIndependentReader) {
    if (std::system("/usr/bin/python3 -c 'import plistlib' > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "needs Python 3";
    const TemporaryFolder folder;
    const auto file = folder.path() / "song.plist";
    ASSERT_TRUE(writeArchive(makeFullDocument(), file));
    const auto script = folder.path() / "check.py";
    writeText(script, R"(
import plistlib, sys
archive = plistlib.load(open(sys.argv[1], "rb"))
objects = archive["$objects"]
def resolve(value):
    return objects[value.data] if isinstance(value, plistlib.UID) else value
root = resolve(archive["$top"]["root"])
def entries(key):
    return [resolve(e) for e in resolve(root[key])["NS.objects"]]
kinds = {"noteEntryArray": (2, "pitch length fretSelection channel"), "chordEntryArray": (2, "chord"),
         "beatEntryArray": (3, "downbeat"), "timeSignatureEntryArray": (2, "numerator denominator"),
         "tempoEntryArray": (2, "tempo"), "regionEntryArray": (6, "length name"), "markerEntryArray": (2, "name"),
         "standardPitchEntryArray": (2, "pitch frequency"), "keyEntryArray": (1, "tonicChord")}
for key, (count, attributes) in kinds.items():
    assert len(entries(key)) == count, (key, len(entries(key)))
    for entry in entries(key):
        assert set(entry) == {"$class", "eventId", "location", *attributes.split()}, (key, set(entry))
notes = entries("noteEntryArray")
assert resolve(notes[0]["length"]) == 2**64 - 1 and resolve(notes[0]["location"]) == 2**63 - 1
assert resolve(notes[1]["location"]) == -2**63 and notes[1]["pitch"].data == 0
verse = resolve(entries("regionEntryArray")[2]["$class"])
assert verse["$classname"] == "TarnVerseRegionEntry"
assert verse["$classes"][:2] == ["TarnVerseRegionEntry", "TarnRegionEntry"]
assert archive["$archiver"] == "NSKeyedArchiver" and "instrumentDescription" in root
)");
    EXPECT_EQ(std::system(("/usr/bin/python3 '" + script.string() + "' '" + file.string() + "'").c_str()), 0);
}

TEST(DocumentFileTests, TellsItsFailuresApart) {
    const TemporaryFolder folder;
    const auto open = [](const std::filesystem::path& file) {
        Error error;
        EXPECT_FALSE(readArchive<TarnNoteEntryStorage>(file, &error));
        EXPECT_EQ(error.domain, kArchiveFileErrorDomain);
        EXPECT_NE(error.localizedDescription().find(file.filename().string()), std::string::npos);
        return static_cast<ArchiveFileFailure>(error.code);
    };
    EXPECT_EQ(open(folder.path() / "none.tarn"), ArchiveFileFailure::missing);
    EXPECT_EQ(open(folder.path()), ArchiveFileFailure::unreadable) << "a folder";
    const auto file = folder.path() / "song.tarn";
    writeText(file, "bplist00 but not really");
    EXPECT_EQ(open(file), ArchiveFileFailure::undecodable);
    const auto structure = std::make_shared<TarnSongStructureStorage>();
    structure->createNewSection(3);
    ASSERT_TRUE(writeArchive(structure, file));
    EXPECT_EQ(open(file), ArchiveFileFailure::undecodable) << "another object";
}

} // namespace
