#include "DocumentFixture.h"

#include "TarnFoundation/UserEntries/TarnNoteEntryStorageUndoRecorder.h"
#include "Tests/Platform/Threads.h"

#include <algorithm>
#include <atomic>
#include <latch>
#include <set>

using namespace tarn;
using namespace tarn::fixtures;

namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 30;

template <typename Entries>
bool isInOrder(const Entries& entries) {
    const auto all = locations(entries);
    return std::is_sorted(all.begin(), all.end());
}

/// An entry of a thread's own; its location tells which.
template <typename Entry>
std::shared_ptr<Entry> placed(std::shared_ptr<Entry> entry, int thread, int round) {
    return at(round % 7 * kThreads + thread, std::move(entry));
}

TEST(StorageConcurrencyTests, LosesNoEditAndNoNotification) {
    const auto document = makeDocument();
    std::atomic<int> notifications = 0, notices = 0;
    const auto token = NotificationCenter::defaultCenter().addObserver(
        MarkerKind::kDidChangeNotification, document, nullptr, [&](const Notification& notification) {
            const auto* changeset =
                notification.value<EntryChangesetRef<TarnMarkerEntry>>(TarnNoteEntryStorageChangesetKey);
            notifications += changeset && isInOrder((*changeset)->items());
            (void)document->markerEntries().size(); // observers may read while others edit
        });
    const auto key = document->observeKey("markerEntries", [&](const auto&, auto) { ++notices; });

    std::latch start(kThreads);
    inThreads(kThreads, [&](int thread) {
        start.arrive_and_wait();
        for (int round = 0; round < kRounds; ++round) {
            const auto marker = placed(document->newMarkerEntry(), thread, round);
            const auto other = placed(document->newMarkerEntry(), thread, round);
            document->addMarkerEntriesFromArray({marker, other});
            const auto copy = document->copyOfMarkerEntry(marker);
            document->replaceMarkerEntry(marker, copy);
            EXPECT_FALSE(document->containsMarkerEntry(marker));
            EXPECT_TRUE(document->containsMarkerEntry(copy));
            document->removeMarkerEntry(other);
            document->addBeatEntriesFromArray({placed(document->newBeatEntry(), thread, round),
                                               placed(document->newBeatEntry(), thread, round + 3)});
        }
    });
    NotificationCenter::defaultCenter().removeObserver(token);

    const auto markers = identifiers(document->markerEntries());
    EXPECT_EQ(markers.size(), std::size_t{kThreads * kRounds});
    EXPECT_EQ(std::set(markers.begin(), markers.end()).size(), markers.size());
    EXPECT_EQ(document->beatEntries().size(), std::size_t{2 * kThreads * kRounds});
    EXPECT_EQ(document->nextEventId(), std::uint64_t{5 * kThreads * kRounds});
    EXPECT_EQ(notifications, 3 * kThreads * kRounds);
    EXPECT_EQ(notices, 6 * kThreads * kRounds);
}

TEST(StorageConcurrencyTests, ReadsObservesAndArchivesWhileOthersEdit) {
    const auto document = makeDocument();
    document->setTimeSignature(4, 4);
    const auto quiet = makeDocumentWithBeats({5, 3, 9, 1}); // read without its lock, so nobody edits it
    const auto mirror = makeDocument();
    const auto presets = KELPStringedInstrumentDescription::presets();
    const auto edit = [&](int thread, int round) {
        // Always two beats and no downbeat, so that the quarter-note rule finds an even number each time.
        document->addBeatEntriesFromArray({placed(document->newBeatEntry(), thread, round),
                                           placed(document->newBeatEntry(), thread, round)});
        document->addRegionEntry(placed(document->newVerseRegionEntry(), thread, round));
        document->setInstrumentDescription(presets[std::size_t(round + thread) % presets.size()]);
        document->setBeatEntries(document->beatEntries());
        mirror->populateWithNoteEntryStorageEntries(*quiet);
    };
    const auto observe = [&](int round) {
        auto heard = std::make_shared<std::atomic<int>>(0);
        const auto key = document->observeKey("beatEntries", [heard](const auto&, auto) { ++*heard; });
        const auto subscription =
            document->didChangeBeatEntriesSignal().subscribe([heard](const Notification&) { ++*heard; });
        const auto beats = document->beatEntries();
        EXPECT_TRUE(isInOrder(beats));
        EXPECT_EQ(beats.size() % 2, 0u);
        EXPECT_TRUE(document->instrumentDescription());
        const auto fewer = document->beatEntriesInRange(0, 20).size(); // before the whole, which only grows
        EXPECT_LE(fewer, document->beatEntries().size());
        (void)document->regionEntryForLocation(round);
        const auto mirrored = mirror->beatEntries().size();
        EXPECT_TRUE(mirrored == 0 || mirrored == 4) << mirrored;
        if (round % 10 == 0) {
            const auto read = decoded<TarnNoteEntryStorage>(document);
            ASSERT_TRUE(read);
            EXPECT_EQ(read->beatEntries().size() % 2, 0u);
            EXPECT_TRUE(TarnNoteEntryStorage::newCheckpointFromStorage(*document)->regionEntries().empty());
        }
    };
    std::latch start(kThreads);
    inThreads(kThreads, [&](int thread) {
        start.arrive_and_wait();
        for (int round = 0; round < kRounds; ++round) {
            if (thread % 2 == 0)
                edit(thread, round);
            else
                observe(round);
        }
    });
    EXPECT_EQ(document->beatEntries().size(), std::size_t{kThreads * kRounds});
    EXPECT_EQ(document->regionEntries().size(), std::size_t{kThreads / 2 * kRounds});
    EXPECT_EQ(mirror->nextEventId(), quiet->nextEventId());
}

/// A document whose changes are recorded, and threads that edit it.
struct UndoRecorderConcurrencyTests : testing::Test {
    Document document = makeDocument();
    std::shared_ptr<UndoManager> manager = document->undoManager = std::make_shared<UndoManager>();
    TarnNoteEntryStorageUndoRecorder recorder{document, manager};

    void edit(int thread, int round) {
        const auto marker = placed(document->newMarkerEntry(), thread, round);
        document->addMarkerEntriesFromArray({marker, placed(document->newMarkerEntry(), thread, round)});
        addBeats(*document, {round, thread});
        document->replaceMarkerEntry(marker, document->copyOfMarkerEntry(marker));
        const UndoGroup group(round % 2 == 0 ? manager : nullptr, round % 4 == 0);
        document->addNoteEntry(placed(document->newNoteEntry(), thread, round));
        document->removeMarkerEntry(marker);
    }
    [[nodiscard]] std::vector<Identifiers> contents() const {
        return {identifiers(document->markerEntries()), identifiers(document->beatEntries())};
    }
};

TEST_F(UndoRecorderConcurrencyTests, StepsAreInTheOrderOfTheChangesOfAllThreads) {
    inThreads(kThreads, [&](int thread) {
        for (int round = 1; round < 2 * kRounds; round += 2) // every change is a step of its own
            edit(thread, round);
    });
    const auto edited = contents();
    while (manager->canUndo())
        manager->undo();
    EXPECT_EQ(contents(), (std::vector<Identifiers>{{}, {}}));
    while (manager->canRedo())
        manager->redo();
    EXPECT_EQ(contents(), edited);
}

TEST_F(UndoRecorderConcurrencyTests, OneThreadUndoesWhileTheOthersEdit) {
    const auto first = document->newChordEntry();
    document->addChordEntry(first);
    inThreads(kThreads, [&](int thread) {
        for (int round = 0; round < kRounds; ++round) {
            if (thread > 0) {
                edit(thread, round);
            } else {
                manager->undo();
                EXPECT_FALSE(manager->isUndoing());
                manager->redo();
            }
        }
    });
    EXPECT_EQ(manager->groupingLevel(), 0);
    EXPECT_TRUE(manager->isUndoRegistrationEnabled());
    const auto last = document->newChordEntry();
    document->addChordEntry(last);
    manager->undo();
    EXPECT_FALSE(document->containsChordEntry(last)) << "the next step is that of the last change";
}

} // namespace
