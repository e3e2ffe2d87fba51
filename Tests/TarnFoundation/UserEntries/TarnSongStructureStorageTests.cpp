#include "DocumentFixture.h"

#include "TarnFoundation/UserEntries/TarnSectionColor.h"
#include "TarnFoundation/UserEntries/TarnSongStructureStorage.h"

#include <gtest/gtest.h>

#include <future>

using namespace tarn;
using namespace tarn::fixtures;

namespace {

using Structure = std::shared_ptr<TarnSongStructureStorage>;

constexpr const char* kBoundsNotification = "TarnSongStructureStorageDidChangeBoundsEntriesNotification";
constexpr const char* kSectionNotification = "TarnSongStructureStorageDidChangeSectionEntriesNotification";

std::vector<std::string> describe(const TarnSongStructureStorage& structure) {
    std::vector<std::string> lines;
    for (const auto& bounds : structure.boundsEntries())
        lines.push_back(bounds->description());
    for (const auto& section : structure.sectionEntries())
        lines.push_back(section->description());
    return lines;
}

Structure makeStructure(const std::vector<std::int64_t>& bounds, const std::vector<std::int64_t>& sections) {
    const auto structure = std::make_shared<TarnSongStructureStorage>();
    for (const auto location : bounds) {
        const auto entry = structure->newBoundsEntry();
        entry->setLocation(location);
        structure->addBoundsEntry(entry);
    }
    for (const auto location : sections)
        structure->createNewSection(location);
    return structure;
}

TEST(SongStructure, EditsSectionsUnderNewIdentifiers) {
    const auto structure = std::make_shared<TarnSongStructureStorage>();
    const NotificationRecorder recorder(structure);
    EXPECT_EQ(structure->createNewSection(5000), 0u);
    const auto created = structure->sectionEntries()[0];
    const auto expect = [&](const std::string& section) {
        EXPECT_EQ(describe(*structure),
                  std::vector<std::string>{"<TarnMutableSectionEntry: >: EventID: " + section});
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
    EXPECT_EQ(recorder.names(), std::vector<std::string>(4, kSectionNotification));
    for (const auto& notification : recorder.notifications) {
        const auto* changeset =
            notification.value<EntryChangesetRef<TarnSectionEntry>>("TarnUserEntryStorageChangesetKey");
        ASSERT_TRUE(changeset);
        const bool isEdit = &notification != &recorder.notifications[0];
        EXPECT_EQ((*changeset)->removedItems().size(), isEdit ? 1u : 0u);
        EXPECT_EQ((*changeset)->addedItems().size(), 1u);
        EXPECT_EQ(notification.userInfo.count("TarnUserEntryStorageRemovedEntriesKey"), isEdit ? 1u : 0u);
        EXPECT_EQ(notification.userInfo.count("TarnUserEntryStorageAddedEntriesKey"), 1u);
    }
}

TEST(SongStructure, CopiesSectionsMutably) {
    const auto structure = makeStructure({}, {700});
    const auto section = structure->sectionEntries()[0];
    const auto copy = structure->mutableCopyOfSectionEntry(section);
    EXPECT_EQ(copy->eventId(), 1u);
    EXPECT_EQ(structure->nextEventId(), 2u) << "the two copies on the way share one identifier";
    copy->setName("Coda");
    EXPECT_EQ(copy->location(), 700);
    EXPECT_EQ(section->name(), "Section");
    EXPECT_FALSE(structure->containsSectionEntry(copy));
}

TEST(SongStructure, ListsByLocationWithNoticesForItsKindsOnly) {
    const auto structure = std::make_shared<TarnSongStructureStorage>();
    std::vector<std::string> log;
    const auto observe = [&](const char* key) {
        return structure->observeKey(key, [&](const std::string& name, KeyValueChange change) {
            log.push_back((change == KeyValueChange::willChange ? "will " : "did ") + name);
        });
    };
    const auto bounds = observe("boundsEntries");
    const auto sections = observe("sectionEntries");
    const NotificationRecorder recorder(structure);
    const auto late = structure->newBoundsEntry();
    late->setLocation(10);
    structure->addBoundsEntriesFromArray({late, structure->newBoundsEntry(), structure->newBoundsEntry()});
    structure->createNewSection(0);
    structure->removeSectionEntriesInArray({}); // posts all the same
    EXPECT_EQ(identifiers(structure->boundsEntries()), (std::vector<std::uint64_t>{1, 2, 0}));
    EXPECT_EQ(log,
              (std::vector<std::string>{"will boundsEntries", "did boundsEntries", "will sectionEntries",
                                        "did sectionEntries", "will sectionEntries", "did sectionEntries"}));
    EXPECT_EQ(recorder.names(),
              (std::vector<std::string>{kBoundsNotification, kSectionNotification, kSectionNotification}));
}

TEST(SongStructure, PopulateTakesOverAsItStands) {
    const auto source = makeStructure({9, 3}, {50, 20});
    const auto structure = makeStructure({1}, {});
    const auto key = structure->observeKey("boundsEntries", [](const auto&, auto) { ADD_FAILURE(); });
    const NotificationRecorder recorder(structure);
    structure->populateWithSongStructureStorageEntries(*source);
    EXPECT_EQ(describe(*structure), describe(*source));
    EXPECT_EQ(structure->boundsEntries()[0], source->boundsEntries()[0]) << "the same entries, not copies";
    EXPECT_EQ(structure->nextEventId(), 4u);
    ASSERT_EQ(recorder.names(), (std::vector<std::string>{kBoundsNotification, kSectionNotification}));
    const auto sizes = [&](std::size_t index, const char* listKey) {
        return locations(*recorder.list<TarnBoundsEntry>(index, listKey));
    };
    EXPECT_EQ(sizes(0, "TarnUserEntryStorageAddedEntriesKey"), (std::vector<std::int64_t>{9, 3}))
        << "unsorted";
    EXPECT_EQ(sizes(0, "TarnUserEntryStorageRemovedEntriesKey"), std::vector<std::int64_t>{1});
}

TEST(SongStructure, PopulateLeavesTheLockOfTheSourceAlone) {
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

/// Archives only some of a structure's keys.
class PartOfAStructure : public SecureCoding {
public:
    bool withCounter = true;
    std::vector<std::shared_ptr<TarnUserEntry>> sections;

    [[nodiscard]] const ClassDescription& dynamicClass() const override {
        return TarnSongStructureStorage::classDescription();
    }
    void encodeWithCoder(KeyedArchiver& coder) const override {
        if (withCounter)
            coder.encodeUnsigned("nextEventId", 7);
        if (!sections.empty())
            coder.encodeObjects("sectionEntryArray", sections);
    }
};

TEST(SongStructure, SurvivesArchivesAlsoWithoutSomeKeys) {
    const auto decode = [](const std::shared_ptr<SecureCoding>& object) {
        return KeyedUnarchiver::unarchivedObject<TarnSongStructureStorage>(
            KeyedArchiver::archivedData(object));
    };
    const auto structure = makeStructure({9, 3}, {50, 20});
    structure->renameSection(2, "Überleitung");
    structure->addSectionEntry(structure->newSectionEntry()); // without name and colour
    const NotificationRecorder recorder;
    const auto read = decode(structure);
    ASSERT_TRUE(read);
    EXPECT_EQ(describe(*read), describe(*structure));
    EXPECT_EQ(read->nextEventId(), structure->nextEventId());
    EXPECT_EQ(recorder.names(), (std::vector<std::string>{kBoundsNotification, kSectionNotification}));

    const auto part = std::make_shared<PartOfAStructure>();
    ASSERT_TRUE(decode(part));
    part->sections = {std::make_shared<TarnMutableSectionEntry>(3)};
    const auto withSections = decode(part);
    ASSERT_TRUE(withSections);
    EXPECT_EQ(withSections->sectionEntries().size(), 1u);
    EXPECT_TRUE(withSections->boundsEntries().empty());
    EXPECT_EQ(withSections->createNewSection(0), 7u);
    part->sections = {std::make_shared<TarnBoundsEntry>(3)};
    EXPECT_FALSE(decode(part)) << "an entry of another kind";
    part->sections.clear();
    part->withCounter = false;
    EXPECT_FALSE(decode(part));
}

} // namespace
