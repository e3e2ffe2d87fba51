#include "DocumentFixture.h"

#include "Platform/KeyedArchiveFile.h"
#include "TarnFoundation/UserEntries/TarnSongStructureStorage.h"
#include "Tests/Platform/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <limits>
#include <random>

using namespace tarn;
using namespace tarn::fixtures;

namespace {

constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
constexpr auto kGreatest = std::numeric_limits<std::int64_t>::max();

/// Two entries of every kind, with unset optional fields and extreme numbers.
Document makeFullDocument() {
    const auto document = makeDocument();
    const auto add = [&](auto entry, std::int64_t location) {
        entry->setLocation(location);
        return entry;
    };
    const auto note = add(document->newNoteEntry(), kGreatest);
    note->setPitch(KELPPitch::pitchWithNote(KELPNote::noteWithValue(10, true), 3));
    note->setLength(std::numeric_limits<std::uint64_t>::max());
    note->setFretSelection(255);
    note->setChannel(7);
    document->addNoteEntriesFromArray({note, add(document->newNoteEntry(), kLeast)});
    const auto chord = add(document->newChordEntry(), 0);
    chord->setChord(KELPChord::chordWithString("Bbm7/Ab"));
    const auto noChord = add(document->newChordEntry(), 1);
    noChord->setChord(KELPChord::noChord());
    document->addChordEntriesFromArray({chord, noChord});
    const auto downbeat = add(document->newBeatEntry(), 3);
    downbeat->setDownbeat(true);
    document->addBeatEntriesFromArray(
        {add(document->newBeatEntry(), 9), downbeat, add(document->newBeatEntry(), -4)});
    const auto signature = add(document->newTimeSignatureEntry(), 2);
    signature->setNumerator(255);
    document->addTimeSignatureEntriesFromArray({signature, add(document->newTimeSignatureEntry(), 1)});
    const auto tempo = document->newTempoEntry();
    tempo->setTempo(0.1f);
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
    const auto key = document->newKeyEntry();
    key->setTonicChord(KELPChord::chordWithString("Ebm"));
    document->addKeyEntry(key);
    document->setInstrumentDescription(KELPStringedInstrumentDescription::presets().back());
    return document;
}

std::vector<std::string> describeAll(const TarnNoteEntryStorage& document) {
    std::vector<std::string> lines{std::to_string(document.nextEventId()),
                                   document.instrumentDescription()->description()};
    const auto add = [&](const auto& entries) {
        for (const auto& entry : entries)
            lines.push_back(std::string(entry->className()) + " " + entry->description());
    };
#define TARN_DESCRIBE(Stem, stem) add(document.stem##Entries());
    TARN_NOTE_ENTRY_STORAGE_KINDS(TARN_DESCRIBE)
#undef TARN_DESCRIBE
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

TEST(DocumentArchive, RoundTripsEveryKindExactly) {
    const auto document = makeFullDocument();
    const auto bytes = KeyedArchiver::archivedData(document);
    Error error;
    const auto read = KeyedUnarchiver::unarchivedObject<TarnNoteEntryStorage>(bytes, &error);
    ASSERT_TRUE(read) << error.localizedDescription();
    EXPECT_EQ(describeAll(*read), describeAll(*document));
    EXPECT_EQ(read->newBeatEntry()->eventId(), document->nextEventId());
    EXPECT_TRUE(read->useLegacyBeatFiltering());
    EXPECT_EQ(KeyedArchiver::archivedData(read).size(), bytes.size());
}

TEST(DocumentArchive, PassesBeatsThroughConsistencyAsTheyAreDecoded) {
    // Beats are read before the time signature, so odd ones stay until the next edit.
    const auto document = makeDocumentWithBeats({0, 1, 2});
    document->setTimeSignature(4, 4);
    const auto read =
        KeyedUnarchiver::unarchivedObject<TarnNoteEntryStorage>(KeyedArchiver::archivedData(document));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->beatEntries().size(), 3u);
    const auto beat = read->newBeatEntry();
    beat->setLocation(3);
    read->addBeatEntriesFromArray({beat, read->newBeatEntry()});
    EXPECT_EQ(read->beatEntries().size(), 4u);
}

/// Archives only some of a document's keys.
class PartOfADocument : public SecureCoding {
public:
    bool withCounter = false;
    std::vector<std::shared_ptr<TarnUserEntry>> beats;

    [[nodiscard]] const ClassDescription& dynamicClass() const override {
        return TarnNoteEntryStorage::classDescription();
    }
    void encodeWithCoder(KeyedArchiver& coder) const override {
        if (withCounter)
            coder.encodeUnsigned("nextEventId", 7);
        if (!beats.empty())
            coder.encodeObjects("beatEntryArray", beats);
    }
};

TEST(DocumentArchive, NeedsItsCounterAndEntriesOfTheRightKind) {
    const auto part = std::make_shared<PartOfADocument>();
    const auto decode = [&](Error* error = nullptr) {
        return KeyedUnarchiver::unarchivedObject<TarnNoteEntryStorage>(KeyedArchiver::archivedData(part),
                                                                       error);
    };
    Error error;
    EXPECT_FALSE(decode(&error));
    EXPECT_NE(error.localizedDescription().find("TarnNoteEntryStorage"), std::string::npos);
    part->withCounter = true;
    ASSERT_TRUE(decode());
    EXPECT_TRUE(decode()->beatEntries().empty());
    EXPECT_EQ(decode()->newNoteEntry()->eventId(), 7u);
    part->beats = {std::make_shared<TarnMarkerEntry>(1)};
    EXPECT_FALSE(decode(&error));
    part->beats = {std::make_shared<TarnBeatEntry>(1)};
    EXPECT_TRUE(decode());
}

TEST(DocumentArchive, GivesAReasonOrADocumentForDamagedBytes) {
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

TEST(DocumentArchive, OpensInAnIndependentReader) {
    if (std::system("/usr/bin/python3 -c 'import plistlib' > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "needs Python 3";
    const TemporaryFolder folder;
    const auto file = folder.path() / "song.plist";
    ASSERT_TRUE(writeArchive(makeFullDocument(), file));
    const auto script = folder.path() / "check.py";
    std::ofstream(script) << R"(
import plistlib, sys
archive = plistlib.load(open(sys.argv[1], "rb"))
objects = archive["$objects"]
def resolve(value):
    return objects[value.data] if isinstance(value, plistlib.UID) else value
root = resolve(archive["$top"]["root"])
counts = {"noteEntryArray": 2, "chordEntryArray": 2, "beatEntryArray": 3, "timeSignatureEntryArray": 2,
          "tempoEntryArray": 2, "regionEntryArray": 6, "markerEntryArray": 2, "standardPitchEntryArray": 2,
          "keyEntryArray": 1}
keys = {"noteEntryArray": {"eventId", "location", "pitch", "length", "fretSelection", "channel"},
        "chordEntryArray": {"eventId", "location", "chord"}, "beatEntryArray": {"eventId", "location", "downbeat"},
        "timeSignatureEntryArray": {"eventId", "location", "numerator", "denominator"},
        "tempoEntryArray": {"eventId", "location", "tempo"}, "regionEntryArray": {"eventId", "location", "length", "name"},
        "markerEntryArray": {"eventId", "location", "name"},
        "standardPitchEntryArray": {"eventId", "location", "pitch", "frequency"},
        "keyEntryArray": {"eventId", "location", "tonicChord"}}
for key, count in counts.items():
    entries = [resolve(e) for e in resolve(root[key])["NS.objects"]]
    assert len(entries) == count, (key, len(entries))
    for entry in entries:
        assert set(entry) - {"$class"} == keys[key], (key, set(entry))
notes = [resolve(e) for e in resolve(root["noteEntryArray"])["NS.objects"]]
assert resolve(notes[0]["length"]) == 2**64 - 1 and resolve(notes[0]["location"]) == 2**63 - 1
assert resolve(notes[1]["location"]) == -2**63 and notes[1]["pitch"].data == 0
regions = [resolve(e) for e in resolve(root["regionEntryArray"])["NS.objects"]]
assert resolve(regions[2]["$class"])["$classname"] == "TarnVerseRegionEntry"
assert resolve(regions[2]["$class"])["$classes"][:2] == ["TarnVerseRegionEntry", "TarnRegionEntry"]
assert archive["$archiver"] == "NSKeyedArchiver" and "instrumentDescription" in root
)";
    EXPECT_EQ(std::system(("/usr/bin/python3 '" + script.string() + "' '" + file.string() + "'").c_str()), 0);
}

TEST(DocumentFile, TellsItsFailuresApart) {
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
    std::ofstream(file) << "bplist00 but not really";
    EXPECT_EQ(open(file), ArchiveFileFailure::undecodable);
    const auto structure = std::make_shared<TarnSongStructureStorage>();
    structure->createNewSection(3);
    ASSERT_TRUE(writeArchive(structure, file));
    EXPECT_EQ(open(file), ArchiveFileFailure::undecodable) << "another object";
    const auto read = readArchive<TarnSongStructureStorage>(file);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->sectionEntries()[0]->name(), "Section");
    EXPECT_EQ(read->createNewSection(4), 1u);
    EXPECT_TRUE(read->boundsEntries().empty());
}

} // namespace
