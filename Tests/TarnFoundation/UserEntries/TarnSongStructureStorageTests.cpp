#include "DocumentFixture.h"

#include "TarnFoundation/UserEntries/TarnSectionColor.h"
#include "TarnFoundation/UserEntries/TarnSongStructureStorage.h"

#include <future>

using namespace tarn;
using namespace tarn::fixtures;

namespace {

using Structure = std::shared_ptr<TarnSongStructureStorage>;

constexpr const char* kBoundsNotification = "TarnSongStructureStorageDidChangeBoundsEntriesNotification";
constexpr const char* kSectionNotification = "TarnSongStructureStorageDidChangeSectionEntriesNotification";

Names describe(const TarnSongStructureStorage& structure) {
    Names lines;
    for (const auto& bounds : structure.boundsEntries())
        lines.push_back(bounds->description());
    for (const auto& section : structure.sectionEntries())
        lines.push_back(section->description());
    return lines;
}

Structure makeStructure(const Locations& bounds, const Locations& sections) {
    const auto structure = std::make_shared<TarnSongStructureStorage>();
    for (const auto location : bounds)
        structure->addBoundsEntry(at(location, structure->newBoundsEntry()));
    for (const auto location : sections)
        structure->createNewSection(location);
    return structure;
}

TEST(TarnSongStructureStorageTests, EditsSectionsUnderNewIdentifiers) {
    const auto structure = std::make_shared<TarnSongStructureStorage>();
    const NotificationRecorder recorder(structure);
    EXPECT_EQ(structure->createNewSection(5000), 0u);
    const auto created = structure->sectionEntries()[0];
    const auto expect = [&](const std::string& section) {
        EXPECT_EQ(describe(*structure), Names{"<TarnMutableSectionEntry: >: EventID: " + section});
    };
    expect("0, {5000}: Section, named:other");
    EXPECT_EQ(structure->renameSection(0, "Intro"), 1u);
    expect("1, {5000}: Intro, named:other");
    EXPECT_EQ(structure->setColorForSection(1, "rgba:FF000080"), 2u); // a bare name, whatever it looks like
    expect("2, {5000}: Intro, named:rgba:FF000080");
    EXPECT_EQ(structure->updateSection(2, "", "verse"), 3u);
    expect("3, {5000}: , named:verse");
    EXPECT_EQ(structure->sectionEntries()[0]->sectionColor(), TarnSectionColor::verse());
    EXPECT_EQ(created->name(), "Section") << "an edit makes another entry";

    for (const std::uint64_t gone : {0, 2, 99}) {
        EXPECT_EQ(structure->renameSection(gone, "x"), std::nullopt);
        EXPECT_EQ(structure->setColorForSection(gone, "x"), std::nullopt);
        EXPECT_EQ(structure->updateSection(gone, "x", "x"), std::nullopt);
    }
    EXPECT_EQ(structure->nextEventId(), 4u);
    EXPECT_EQ(recorder.names(), Names(4, kSectionNotification));
    Names sizes; // added and removed: by the changeset, and the lists that are there
    for (const auto& n : recorder.notifications) {
        const auto* changeset =
            n.value<EntryChangesetRef<TarnSectionEntry>>("TarnUserEntryStorageChangesetKey");
        ASSERT_TRUE(changeset);
        sizes.push_back(std::to_string((*changeset)->added().size()) +
                        std::to_string((*changeset)->removed().size()) + " " +
                        std::to_string(n.userInfo.count("TarnUserEntryStorageAddedEntriesKey")) +
                        std::to_string(n.userInfo.count("TarnUserEntryStorageRemovedEntriesKey")));
    }
    EXPECT_EQ(sizes, (Names{"10 10", "11 11", "11 11", "11 11"}));
}

TEST(TarnSongStructureStorageTests, CopiesSectionsMutably) {
    const auto structure = makeStructure({}, {700});
    const auto section = structure->sectionEntries()[0];
    const auto copy = structure->mutableCopyOfSectionEntry(section);
    EXPECT_EQ(structure->nextEventId(), 2u) << "the two copies on the way share one identifier";
    copy->setName("Coda");
    EXPECT_EQ(copy->description(), "<TarnMutableSectionEntry: >: EventID: 1, {700}: Coda, named:other");
    EXPECT_EQ(section->name(), "Section");
    EXPECT_FALSE(structure->containsSectionEntry(copy));
}

TEST(TarnSongStructureStorageTests, ListsByLocationWithNoticesForItsKindsOnly) {
    const auto structure = std::make_shared<TarnSongStructureStorage>();
    Names log;
    const auto observe = [&](const char* key) {
        return structure->observeKey(key, [&](const std::string& name, KeyValueChange change) {
            log.push_back((change == KeyValueChange::willChange ? "will " : "did ") + name);
        });
    };
    const auto bounds = observe("boundsEntries");
    const auto sections = observe("sectionEntries");
    const NotificationRecorder recorder(structure);
    structure->addBoundsEntriesFromArray(
        {at(10, structure->newBoundsEntry()), structure->newBoundsEntry(), structure->newBoundsEntry()});
    structure->createNewSection(0);
    structure->removeSectionEntriesInArray({}); // posts all the same
    EXPECT_EQ(identifiers(structure->boundsEntries()), (Identifiers{1, 2, 0}));
    EXPECT_EQ(log, (Names{"will boundsEntries", "did boundsEntries", "will sectionEntries",
                          "did sectionEntries", "will sectionEntries", "did sectionEntries"}));
    EXPECT_EQ(recorder.names(), (Names{kBoundsNotification, kSectionNotification, kSectionNotification}));
}

TEST(TarnSongStructureStorageTests, PopulateTakesOverAsItStands) {
    const auto source = makeStructure({9, 3}, {50, 20});
    const auto structure = makeStructure({1}, {});
    const auto key = structure->observeKey("boundsEntries", [](const auto&, auto) { ADD_FAILURE(); });
    const NotificationRecorder recorder(structure);
    structure->populateWithSongStructureStorageEntries(*source);
    EXPECT_EQ(describe(*structure), describe(*source));
    EXPECT_EQ(structure->boundsEntries()[0], source->boundsEntries()[0]) << "the same entries, not copies";
    EXPECT_EQ(structure->nextEventId(), 4u);
    ASSERT_EQ(recorder.names(), (Names{kBoundsNotification, kSectionNotification}));
    const auto list = [&](const char* listKey) {
        return locations(*recorder.list<TarnBoundsEntry>(0, listKey));
    };
    EXPECT_EQ(list("TarnUserEntryStorageAddedEntriesKey"), (Locations{9, 3})) << "unsorted";
    EXPECT_EQ(list("TarnUserEntryStorageRemovedEntriesKey"), Locations{1});
}

TEST(TarnSongStructureStorageTests, PopulateLeavesTheLockOfTheSourceAlone) {
    // While it posts, a populating storage holds its lock; another one can take over its contents meanwhile.
    const auto source = makeStructure({1}, {2});
    const auto reader = std::make_shared<TarnSongStructureStorage>();
    std::future<void> reading;
    auto token = NotificationCenter::defaultCenter().addObserver(
        kSectionNotification, source, nullptr, [&](const Notification&) {
            reading = std::async(std::launch::async,
                                 [&] { reader->populateWithSongStructureStorageEntries(*source); });
            EXPECT_EQ(reading.wait_for(std::chrono::seconds(20)), std::future_status::ready);
        });
    source->populateWithSongStructureStorageEntries(*makeStructure({3, 4}, {5}));
    NotificationCenter::defaultCenter().removeObserver(token);
    reading.get();
    EXPECT_EQ(describe(*reader), describe(*source));
    EXPECT_EQ(reader->nextEventId(), 3u);
}

TEST(TarnSongStructureStorageTests, SurvivesArchivesAlsoWithoutSomeKeys) {
    const auto structure = makeStructure({9, 3}, {50, 20});
    structure->renameSection(2, "Überleitung");
    structure->addSectionEntry(structure->newSectionEntry()); // without name and colour
    const NotificationRecorder recorder;
    const auto read = decoded<TarnSongStructureStorage>(structure);
    ASSERT_TRUE(read);
    EXPECT_EQ(describe(*read), describe(*structure));
    EXPECT_EQ(read->nextEventId(), structure->nextEventId());
    EXPECT_EQ(recorder.names(), (Names{kBoundsNotification, kSectionNotification}));

    const auto part = readInParts<TarnSongStructureStorage>("sectionEntryArray",
                                                            std::make_shared<TarnMutableSectionEntry>(3),
                                                            std::make_shared<TarnBoundsEntry>(3));
    ASSERT_TRUE(part);
    EXPECT_EQ(part->sectionEntries().size(), 1u);
    EXPECT_TRUE(part->boundsEntries().empty());
    EXPECT_EQ(part->createNewSection(0), 7u);
}

} // namespace
