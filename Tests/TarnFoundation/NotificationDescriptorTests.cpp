#include "Tests/TarnFoundation/UserEntries/DocumentFixture.h"

#include "Platform/OperationQueue.h"
#include "TarnFoundation/NotificationDescriptor.h"
#include "TarnFoundation/UserEntries/TarnSongStructureStorage.h"

#include <thread>

using namespace tarn;
using namespace tarn::fixtures;

namespace {

NotificationCenter& center() {
    return NotificationCenter::defaultCenter();
}

TEST(NotificationDescriptorTests, MakesTypedPayloadsOfAStoragesChanges) {
    const auto document = makeDocument();
    const auto other = makeDocument();
    Names log;
    const auto writeDown = [&log](const char* kind) {
        return [&log, kind](const auto& payload) {
            log.push_back(kind + std::string(" ") + std::to_string(payload.changeset->addedItems().size()));
        };
    };
    const auto beats = document->addObserver(beatsDidChangeNotification(), writeDown("beats"));
    const auto markers = document->addObserver(markersDidChangeNotification(), writeDown("markers"));
    const auto regions = document->addObserver(regionsDidChangeNotification(), writeDown("regions"));
    const auto anySender =
        addObserver(center(), markersDidChangeNotification(), nullptr, nullptr, writeDown("any markers"));
    document->addBeatEntriesFromArray({document->newBeatEntry(), document->newBeatEntry()});
    document->insertMarkerEntry(5);
    document->addRegionEntry(document->newVerseRegionEntry());
    document->addChordEntry(document->newChordEntry()); // no descriptor names these
    other->insertMarkerEntry(6);
    center().removeObserver(regions);
    document->addRegionEntry(document->newVerseRegionEntry());
    EXPECT_EQ(log, (Names{"beats 2", "markers 1", "any markers 1", "regions 1", "any markers 1"}));
    for (const auto& token : {beats, markers, anySender})
        center().removeObserver(token);
}

TEST(NotificationDescriptorTests, ObservesOneKindOrEveryKindWhileTheSubscriptionLasts) {
    const auto document = makeDocument();
    const auto structure = std::make_shared<TarnSongStructureStorage>();
    Names log;
    const auto writeDown = [&log](auto kind, const auto& payload) {
        log.push_back(kind.kName + std::string(" ") + std::to_string(payload.changeset->addedItems().size()));
    };
    auto ofDocument = observeAllEntries(document, writeDown);
    const auto ofStructure = observeAllEntries(structure, writeDown);
    {
        const auto keys = observeEntries<KeyKind>(document, [&](const auto&) { log.push_back("a key"); });
        document->addKeyEntry(document->newKeyEntry());
    }
    document->addChordEntry(document->newChordEntry());
    structure->createNewSection(7);
    ofDocument.reset();
    document->addChordEntry(document->newChordEntry());
    structure->addBoundsEntry(structure->newBoundsEntry());
    EXPECT_EQ(log, (Names{"key 1", "a key", "chord 1", "section 1", "bounds 1"}));
}

TEST(NotificationDescriptorTests, IsAnOrdinaryValueForAnyPayloadAndQueue) {
    const NotificationDescriptor<std::size_t> descriptor{
        "SomethingHappened", [](const UserInfo& userInfo) { return userInfo.size(); }};
    const auto queue = std::make_shared<OperationQueue>();
    Positions sizes;
    std::thread::id thread;
    const auto token = addObserver(center(), descriptor, nullptr, queue, [&](std::size_t size) {
        sizes.push_back(size);
        thread = std::this_thread::get_id();
    });
    center().post("SomethingHappened", nullptr, {{"one", 1}, {"two", 2}});
    center().post("SomethingElse", nullptr);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(sizes, Positions{2});
    EXPECT_NE(thread, std::this_thread::get_id());
    center().removeObserver(token);
}

TEST(NotificationDescriptorTests, AbortsWithoutAChangesetOfItsKind) {
    const auto document = makeDocument();
    const auto token = document->addObserver(markersDidChangeNotification(), [](const auto&) {});
    const auto post = [&](UserInfo userInfo) {
        center().post(MarkerKind::kDidChangeNotification, document, std::move(userInfo));
    };
    const char* const key = TarnNoteEntryStorageChangesetKey;
    EXPECT_DEATH(post({}), "carries no changeset");
    for (const std::any& value : {std::any(7), std::any(EntryChangesetRef<TarnBeatEntry>()),
                                  std::any(EntryChangesetRef<TarnMarkerEntry>())})
        EXPECT_DEATH(post({{key, value}}), "something else");
    center().removeObserver(token);
}

} // namespace
