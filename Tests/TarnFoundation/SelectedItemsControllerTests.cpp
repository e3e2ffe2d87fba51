#include "Tests/TarnFoundation/UserEntries/DocumentFixture.h"

#include "TarnFoundation/TarnSelectedItemsController.h"

#include <algorithm>

using namespace tarn;
using namespace tarn::fixtures;

namespace {

/// A document with two entries of each kind that can be selected, and a selection whose notices are logged.
class SelectedItemsControllerTests : public ::testing::Test {
protected:
    void SetUp() override {
        document->addChordEntriesFromArray(chords);
        document->addRegionEntriesFromArray(regions);
        document->addMarkerEntriesFromArray(markers);
        document->addNoteEntriesFromArray(notes);
        for (const char* key :
             {"selectedChordEntry", "selectedRegionEntry", "selectedMarkerEntry", "selectedNoteEntries"})
            tokens.push_back(controller->observeKey(key, [this](const auto& name, KeyValueChange change) {
                const char* when = change == KeyValueChange::willChange ? "will " : "did ";
                log.push_back(when + name + " " + selected());
            }));
    }

    /// What is selected, by identifiers: "c0 r- m4 n6,7".
    [[nodiscard]] std::string selected() const {
        const auto id = [](const auto& entry) { return entry ? std::to_string(entry->eventId()) : "-"; };
        std::string text = "c" + id(controller->selectedChordEntry()) + " r" +
                           id(controller->selectedRegionEntry()) + " m" +
                           id(controller->selectedMarkerEntry()) + " n";
        const auto selectedNotes = controller->selectedNoteEntries();
        if (!selectedNotes)
            return text + "-";
        auto sorted = identifiers(*selectedNotes);
        std::sort(sorted.begin(), sorted.end());
        for (const auto note : sorted)
            text += (text.back() == 'n' ? "" : ",") + std::to_string(note);
        return text;
    }

    Document document = makeDocument();
    std::vector<std::shared_ptr<TarnChordEntry>> chords{document->newChordEntry(), document->newChordEntry()};
    std::vector<std::shared_ptr<TarnRegionEntry>> regions{document->newVerseRegionEntry(),
                                                          document->newRegionEntry()};
    std::vector<std::shared_ptr<TarnMarkerEntry>> markers{document->newMarkerEntry(),
                                                          document->newMarkerEntry()};
    std::vector<std::shared_ptr<TarnNoteEntry>> notes{document->newNoteEntry(), document->newNoteEntry()};
    std::shared_ptr<TarnSelectedItemsController> controller =
        std::make_shared<TarnSelectedItemsController>(document);
    Names log;
    std::vector<Subscription> tokens;
};

TEST_F(SelectedItemsControllerTests, FirstOfAKindClearsAllButTheRegion) {
    EXPECT_EQ(selected(), "c- r- m- n-");
    const auto expect = [&](const char* expected) { EXPECT_EQ(selected(), expected); };
    controller->selectChordEntry(chords[0]);
    controller->selectRegionEntry(regions[0]);
    expect("c- r2 m- n-"); // a region clears, too
    controller->selectChordEntry(chords[0]);
    expect("c0 r2 m- n-");
    controller->selectChordEntry(chords[1]);
    expect("c1 r2 m- n-");
    controller->selectMarkerEntry(markers[0]);
    expect("c- r2 m4 n-");
    log.clear();
    controller->selectNoteEntriesFromArray({notes[0], notes[1], notes[0]});
    EXPECT_EQ(log, (Names{"will selectedMarkerEntry c- r2 m4 n-", "did selectedMarkerEntry c- r2 m- n-",
                          "will selectedNoteEntries c- r2 m- n-", "did selectedNoteEntries c- r2 m- n6,7"}));
    controller->selectNoteEntriesFromArray({notes[0]});
    controller->selectRegionEntry(regions[1]); // moving on keeps the others
    expect("c- r3 m- n6");
    controller->selectRegionEntry(nullptr);
    expect("c- r- m- n6");
    controller->selectRegionEntry(nullptr); // selecting none where there was none clears like a first one
    expect("c- r- m- n-");
    controller->selectNoteEntriesFromArray({});
    expect("c- r- m- n"); // an empty set, which differs from none
    const auto& held = controller->selectedNoteEntries();
    controller->selectMarkerEntry(markers[1]);
    expect("c- r- m5 n-");
    EXPECT_TRUE(held) << "a copy";
}

TEST_F(SelectedItemsControllerTests, AreThoseThatWerePassedAlsoWhenObserversReassignThem) {
    const auto token = controller->observeKey("selectedChordEntry", [&](const auto&, KeyValueChange change) {
        if (change == KeyValueChange::didChange && !controller->selectedChordEntry()) {
            markers.clear();
            notes.clear();
        }
    });
    controller->selectChordEntry(chords[0]);
    controller->selectNoteEntriesFromArray(notes);
    EXPECT_EQ(selected(), "c- r- m- n6,7");
    controller->selectChordEntry(chords[0]);
    controller->selectMarkerEntry(markers.emplace_back(document->newMarkerEntry()));
    EXPECT_EQ(selected(), "c- r- m8 n-");
}

TEST_F(SelectedItemsControllerTests, DropOutWhenTheyDisappearFromTheDocument) {
    const auto expect = [&](const char* expected, std::size_t notices) {
        EXPECT_EQ(selected(), expected);
        EXPECT_EQ(log.size(), notices) << expected;
        log.clear();
    };
    controller->selectRegionEntry(regions[0]);
    controller->selectChordEntry(chords[0]);
    log.clear();
    document->removeChordEntry(chords[1]);
    document->removeNoteEntriesInArray({});
    expect("c0 r2 m- n-", 0);
    document->replaceChordEntry(chords[0], std::make_shared<TarnChordEntry>(chords[0]->eventId()));
    expect("c0 r2 m- n-", 0); // its equal is there
    document->removeChordEntry(chords[0]);
    expect("c- r2 m- n-", 2);

    controller->selectMarkerEntry(markers[0]);
    document->removeRegionEntry(regions[0]);
    expect("c- r- m4 n-", 4);
    document->replaceMarkerEntry(markers[0], document->copyOfMarkerEntry(markers[0]));
    expect("c- r- m- n-", 2);

    controller->selectRegionEntry(regions[1]);
    controller->selectNoteEntriesFromArray(notes);
    log.clear();
    const auto equal = std::make_shared<TarnNoteEntry>(notes[1]->eventId());
    document->replaceNoteEntriesInArrayWithNoteEntriesInArray(notes,
                                                              {document->copyOfNoteEntry(notes[0]), equal});
    expect("c- r3 m- n7", 2);
    EXPECT_EQ(*controller->selectedNoteEntries()->begin(), equal) << "the document's own entry";
    document->removeNoteEntry(equal);
    expect("c- r3 m- n-", 2);
    controller->selectNoteEntriesFromArray({});
    document->addNoteEntry(notes[0]);
    expect("c- r3 m- n-", 4); // none of an empty set survives
    document->populateWithNoteEntryStorageEntries(*makeDocument());
    expect("c- r- m- n-", 2);
}

TEST_F(SelectedItemsControllerTests, ClearTheOthersWhenNoSelectedNoteIsLeft) {
    // A chord is selected beside notes only when an observer does so while the notes are being selected.
    const auto token = controller->observeKey("selectedNoteEntries", [&](const auto&, KeyValueChange change) {
        if (change == KeyValueChange::willChange && !controller->selectedNoteEntries())
            controller->selectChordEntry(chords[0]);
    });
    controller->selectRegionEntry(regions[0]);
    controller->selectNoteEntriesFromArray(notes);
    EXPECT_EQ(selected(), "c0 r2 m- n6,7");
    log.clear();
    document->removeNoteEntriesInArray(notes);
    EXPECT_EQ(log, (Names{"will selectedChordEntry c0 r2 m- n6,7", "did selectedChordEntry c- r2 m- n6,7",
                          "will selectedNoteEntries c- r2 m- n6,7", "did selectedNoteEntries c- r2 m- n-"}));
}

TEST_F(SelectedItemsControllerTests, IgnoreOtherDocumentsAndNotificationsWithoutAChangeset) {
    controller->selectRegionEntry(regions[0]);
    controller->selectChordEntry(chords[0]);
    log.clear();
    const auto other = makeDocument();
    other->addChordEntry(other->newChordEntry());
    other->populateWithNoteEntryStorageEntries(*makeDocument());
    for (const char* name : {ChordKind::kDidChangeNotification, RegionKind::kDidChangeNotification})
        NotificationCenter::defaultCenter().post(name, document);
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(selected(), "c0 r2 m- n-");
}

TEST_F(SelectedItemsControllerTests, AreFollowedOnlyWhileTheControllerLives) {
    controller->selectChordEntry(chords[0]);
    const std::weak_ptr<TarnSelectedItemsController> weak = controller;
    std::string last;
    const auto watch =
        controller->observeKey("selectedChordEntry", [&](const std::string& key, KeyValueChange) {
            last = key;
            controller.reset(); // in the midst of a change
        });
    tokens.clear();
    document->removeChordEntry(chords[0]);
    EXPECT_EQ(last, "selectedChordEntry");
    EXPECT_TRUE(weak.expired());
    document->removeNoteEntriesInArray(notes);
    document->removeMarkerEntriesInArray(markers);
}

} // namespace
