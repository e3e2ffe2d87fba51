#include "Tests/TarnFoundation/UserEntries/DocumentFixture.h"

#include "Platform/OperationQueue.h"
#include "TarnFoundation/NotificationDescriptor.h"

#include <gtest/gtest.h>

#include <thread>

using namespace tarn;
using namespace tarn::fixtures;

namespace {

NotificationCenter& center() {
    return NotificationCenter::defaultCenter();
}

TEST(NotificationDescriptor, MakesTypedPayloadsOfAStoragesChanges) {
    const auto document = makeDocument();
    const auto other = makeDocument();
    std::vector<std::string> log;
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
    EXPECT_EQ(log, (std::vector<std::string>{"beats 2", "markers 1", "any markers 1", "regions 1",
                                             "any markers 1"}));
    for (const auto& token : {beats, markers, anySender})
        center().removeObserver(token);
}

TEST(NotificationDescriptor, DeliversOnTheQueueThatIsNamed) {
    const auto document = makeDocument();
    const auto queue = std::make_shared<OperationQueue>();
    std::thread::id thread;
    const auto token =
        addObserver(center(), markersDidChangeNotification(), document, queue,
                    [&](const ChangesetPayload<TarnMarkerEntry>&) { thread = std::this_thread::get_id(); });
    document->insertMarkerEntry(5);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_NE(thread, std::thread::id());
    EXPECT_NE(thread, std::this_thread::get_id());
    center().removeObserver(token);
}

TEST(NotificationDescriptor, IsAnOrdinaryValue) {
    auto descriptor = beatsDidChangeNotification();
    EXPECT_EQ(descriptor.name, "TarnNoteEntryStorageDidChangeBeatEntriesNotification");
    int made = 0;
    descriptor.name = "SomethingHappened";
    descriptor.make = [&made, make = beatsDidChangeNotification().make](const UserInfo& userInfo) {
        ++made;
        return make(userInfo);
    };
    const auto document = makeDocument();
    const auto token = document->addObserver(descriptor, [](const auto&) {});
    document->addBeatEntry(document->newBeatEntry());
    EXPECT_EQ(made, 0);
    const EntryChangesetRef<TarnBeatEntry> changeset =
        std::make_shared<EntryChangeset<TarnBeatEntry>>(EntryList<TarnBeatEntry>(), document->beatEntries());
    center().post("SomethingHappened", document, {{TarnNoteEntryStorageChangesetKey, changeset}});
    EXPECT_EQ(made, 1);
    center().removeObserver(token);
}

TEST(NotificationDescriptor, StopsTheProcessWithoutAChangesetOfItsKind) {
    const auto document = makeDocument();
    const auto token = document->addObserver(markersDidChangeNotification(), [](const auto&) {});
    const auto post = [&](UserInfo userInfo) {
        center().post(MarkerKind::kDidChangeNotification, document, std::move(userInfo));
    };
    EXPECT_DEATH(post({}), "carries no changeset");
    EXPECT_DEATH(post({{TarnNoteEntryStorageAddedEntriesKey, document->markerEntries()}}),
                 "carries no changeset");
    EXPECT_DEATH(post({{TarnNoteEntryStorageChangesetKey, 7}}), "something else");
    EXPECT_DEATH(post({{TarnNoteEntryStorageChangesetKey, EntryChangesetRef<TarnBeatEntry>()}}),
                 "something else");
    EXPECT_DEATH(post({{TarnNoteEntryStorageChangesetKey, EntryChangesetRef<TarnMarkerEntry>()}}),
                 "something else");
    center().removeObserver(token);
}

} // namespace
