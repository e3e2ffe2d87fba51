#include "DocumentFixture.h"

#include "Platform/Log.h"
#include "Platform/ProcessInfo.h"
#include "TarnFoundation/UserEntries/EntryOrder.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorageUndoRecorder.h"
#include "Tests/Platform/System.h"

#include <numeric>
#include <random>

using namespace tarn;
using namespace tarn::fixtures;

namespace {

std::shared_ptr<TarnMarkerEntry> markerAt(TarnNoteEntryStorage& storage, std::int64_t location) {
    return at(location, storage.newMarkerEntry());
}

/// Writes down its calls, together with the notices of other observers.
struct DisplayLog : TarnNoteEntryStorageDisplay, TarnNoteEntryStorageDelegate {
    Names log;
    void noteStorageInvalidateDisplayInRange(TarnNoteEntryStorage&,
                                             std::pair<std::int64_t, std::int64_t> range) override {
        log.push_back("display " + std::to_string(range.first) + " " + std::to_string(range.second));
    }
    void noteStorageDidChangeInstrumentDescription(TarnNoteEntryStorage&) override {
        log.push_back("display instrument");
    }
    void noteStorageDidChangeInstrumentDescription(TarnNoteEntryStorage&, const KELPInstrumentRef&,
                                                   const KELPInstrumentRef&) override {
        log.push_back("delegate instrument");
    }
};

TEST(TarnNoteEntryStorageTests, NumbersEntriesAndCopies) {
    const auto document = makeDocument();
    EXPECT_EQ(document->newChordEntry()->eventId(), 0u);
    const auto verse = document->newVerseRegionEntry();
    verse->setRange({4, 5});
    const std::shared_ptr<TarnRegionEntry> copy = document->copyOfRegionEntry(verse);
    EXPECT_EQ(copy->description(), "<TarnVerseRegionEntry: >: EventID: 2, {4,5}");
    const auto copies = document->mutableCopiesOfUserEntriesInArray(EntryList<TarnRegionEntry>{verse, copy});
    EXPECT_EQ(identifiers(copies), (Identifiers{3, 4}));
}

TEST(TarnNoteEntryStorageTests, ReadsByLocationAndRangesInStoredOrder) {
    const auto document = makeDocument();
    std::vector<std::shared_ptr<TarnMarkerEntry>> markers;
    for (const std::int64_t location : {300, 100, 200, 100, -2})
        markers.push_back(markerAt(*document, location));
    document->addMarkerEntriesFromArray(markers);
    EXPECT_EQ(identifiers(document->markerEntries()), (Identifiers{4, 1, 3, 2, 0}));
    EXPECT_EQ(identifiers(document->markerEntriesInRange(100, 200)), (Identifiers{1, 2, 3}));
    EXPECT_TRUE(document->markerEntriesInRange(0, 100).empty());
    // A negative location is a very large unsigned number.
    const auto upToTheGreatest = std::numeric_limits<std::uint64_t>::max() - 250;
    EXPECT_EQ(identifiers(document->markerEntriesInRange(250, upToTheGreatest)), (Identifiers{0, 4}));

    using Bounds = std::pair<std::int64_t, std::int64_t>;
    EXPECT_EQ(rangeOfUserEntriesInArray(markers), Bounds(-2, 300));
    EXPECT_EQ(rangeOfUserEntriesInArray(EntryList<TarnMarkerEntry>()), Bounds(0, 0));
}

TEST(TarnNoteEntryStorageTests, SharesAListUntilItsKindChanges) {
    const auto document = makeDocumentWithBeats({1, 2, 3});
    document->addMarkerEntriesFromArray({markerAt(*document, 9), markerAt(*document, 8)});
    const auto beats = document->beatEntries();
    const auto markers = document->markerEntries();
    document->addMarkerEntry(markerAt(*document, 7));
    EXPECT_TRUE(document->beatEntries().isSameListAs(beats));
    EXPECT_EQ(locations(markers), (Locations{8, 9}));
}

TEST(TarnNoteEntryStorageTests, GoesThroughAChangeInOrder) {
    const auto document = makeDocument();
    const auto display = std::make_shared<DisplayLog>();
    auto& log = display->log;
    document->display = display;
    const auto key = document->observeKey("beatEntries", [&](const std::string& name, KeyValueChange change) {
        log.push_back((change == KeyValueChange::willChange ? "will " : "did ") + name + " " +
                      std::to_string(document->beatEntries().size()));
    });
    const auto token = NotificationCenter::defaultCenter().addObserver(
        BeatKind::kDidChangeNotification, document, nullptr, [&](const Notification& n) {
            log.push_back(n.name + " " + std::to_string(document->beatEntries().size()));
        });

    const auto beat = at(1000, document->newBeatEntry());
    document->addBeatEntry(beat);
    document->replaceBeatEntry(beat, at(500, document->newBeatEntry()));
    document->replaceBeatEntriesInArrayWithBeatEntriesInArray({}, {}); // no display, but notices all the same
    document->removeBeatEntriesInArray({});                            // an empty list is displayed as (0, 0)
    const std::string posted = "TarnNoteEntryStorageDidChangeBeatEntriesNotification 1";
    EXPECT_EQ(log, (Names{"will beatEntries 0", "display 1000 1000", "did beatEntries 1", posted, //
                          "will beatEntries 1", "display 500 1000", "did beatEntries 1", posted,  //
                          "will beatEntries 1", "did beatEntries 1", posted,                      //
                          "will beatEntries 1", "display 0 0", "did beatEntries 1", posted}));
    NotificationCenter::defaultCenter().removeObserver(token);
}

TEST(TarnNoteEntryStorageTests, CarriesTheListsThatWerePassed) {
    const auto document = makeDocument();
    const auto stranger = markerAt(*document, 1);
    const auto marker = markerAt(*document, 2);
    const NotificationRecorder recorder(document);
    EntryList<TarnMarkerEntry> passed, alsoPassed;
    const auto token =
        document->observeKey("markerEntries", [&](const auto&, KeyValueChange) { passed = alsoPassed = {}; });
    document->addMarkerEntriesFromArray(passed = {marker});
    document->removeMarkerEntriesInArray(passed = {stranger, marker});
    document->removeMarkerEntry(stranger); // posted although nothing changes
    document->replaceMarkerEntriesInArrayWithMarkerEntriesInArray(passed = {stranger}, alsoPassed = {marker});
    // Added, removed (99: no list), and what the changeset says.
    const std::vector<Positions> expected{{1, 99, 1, 0}, {99, 2, 0, 1}, {99, 1, 0, 0}, {1, 1, 1, 0}};
    std::vector<Positions> sizes;
    for (std::size_t i = 0; i < recorder.notifications.size(); ++i) {
        const auto* added = recorder.list<TarnMarkerEntry>(i, TarnNoteEntryStorageAddedEntriesKey);
        const auto* removed = recorder.list<TarnMarkerEntry>(i, TarnNoteEntryStorageRemovedEntriesKey);
        const auto changeset = recorder.changeset<TarnMarkerEntry>(i);
        sizes.push_back({added ? added->size() : 99, removed ? removed->size() : 99,
                         changeset->added().size(), changeset->removed().size()});
    }
    EXPECT_EQ(sizes, expected);
    EXPECT_EQ(recorder.notifications[0].object, std::shared_ptr<const void>(document));
}

TEST(TarnNoteEntryStorageTests, LetsObserversEditAndLeave) {
    const auto document = makeDocument();
    NotificationCenter::Token observing;
    observing = NotificationCenter::defaultCenter().addObserver(
        MarkerKind::kDidChangeNotification, document, nullptr, [&](const Notification&) {
            NotificationCenter::defaultCenter().removeObserver(observing);
            document->addChordEntry(document->newChordEntry());
            document->addMarkerEntry(document->newMarkerEntry());
        });
    document->addMarkerEntry(document->newMarkerEntry());
    EXPECT_EQ(document->markerEntries().size(), 2u);
    EXPECT_EQ(document->chordEntries().size(), 1u);
}

TEST(TarnNoteEntryStorageTests, LetsObserversDropTheLastReferenceToIt) {
    // Called in the course of a change: the change goes on to its end, and then the storage goes.
    int posted = 0;
    const auto count = [&](const Notification&) { ++posted; };
    for (const KeyValueChange when : {KeyValueChange::willChange, KeyValueChange::didChange}) {
        auto document = makeDocument();
        const std::weak_ptr<TarnNoteEntryStorage> weak = document;
        const auto key = document->observeKey("markerEntries", [&](const auto&, KeyValueChange change) {
            if (change == when)
                document.reset();
            ASSERT_FALSE(weak.expired());
        });
        NotificationCenter::defaultCenter().addObserver(MarkerKind::kDidChangeNotification, document, nullptr,
                                                        count);
        document->addMarkerEntry(document->newMarkerEntry());
        EXPECT_EQ(std::exchange(posted, 0), 1);
        EXPECT_TRUE(weak.expired());
    }

    // The same in the first of two changes that belong together.
    const auto expectBoth = [&](const char* first, const char* second, void (*edit)(TarnNoteEntryStorage&)) {
        auto document = makeDocumentWithBeats({-1});
        const std::weak_ptr<TarnNoteEntryStorage> weak = document;
        document->undoManager = std::make_shared<UndoManager>();
        document->setTimeSignature(4, 8);
        document->addRegionEntry(document->newRegionEntry());
        NotificationCenter::defaultCenter().addObserver(first, document, nullptr, [&](const Notification&) {
            document->undoManager = nullptr;
            document.reset();
        });
        NotificationCenter::defaultCenter().addObserver(second, document, nullptr, count);
        edit(*document);
        EXPECT_EQ(std::exchange(posted, 0), 1) << second;
        EXPECT_TRUE(weak.expired()) << second;
    };
    expectBoth(KeyKind::kDidChangeNotification, ChordKind::kDidChangeNotification, [](auto& storage) {
        storage.overrideGlobalKey(KELPKey::makeWithTonicChord(KELPChord::chordWithString("C")));
    });
    expectBoth(BeatKind::kDidChangeNotification, TimeSignatureKind::kDidChangeNotification,
               [](auto& storage) { storage.performTimeSignatureMigration(); });
    expectBoth(RegionKind::kDidChangeNotification, BeatKind::kDidChangeNotification,
               [](auto& storage) { storage.eliminateBogusEntries(); });
}

TEST(TarnNoteEntryStorageTests, ChangesItsInstrument) {
    const auto document = makeDocument();
    const auto display = std::make_shared<DisplayLog>();
    document->display = display;
    document->delegate = display;
    const NotificationRecorder recorder(document);
    document->setInstrumentDescription(KELPStringedInstrumentDescription::stringedInstrumentDescription());
    EXPECT_TRUE(display->log.empty());
    const auto old = document->instrumentDescription();
    const auto bass = KELPStringedInstrumentDescription::presets().back();
    ASSERT_FALSE(bass->isEqualToDescription(*old));
    document->setInstrumentDescription(bass);
    EXPECT_EQ(display->log, (Names{"delegate instrument", "display instrument"}));
    ASSERT_EQ(recorder.names(), Names{"TarnNoteEntryStorageDidChangeInstrumentDescriptionNotification"});
    for (const auto& [key, expected] : {std::pair(TarnNoteEntryStorageChangedEntriesKey, bass),
                                        {TarnNoteEntryStorageAddedEntriesKey, bass},
                                        {TarnNoteEntryStorageRemovedEntriesKey, old}})
        EXPECT_EQ(*recorder.notifications[0].value<KELPInstrumentRef>(key), expected) << key;
}

TEST(TarnNoteEntryStorageTests, SignalsTheChangesOfItsOwn) {
    const auto document = makeDocument();
    const auto other = makeDocument();
    int count = 0;
    auto subscription =
        document->didChangeNoteEntriesSignal().subscribe([&](const Notification&) { ++count; });
    document->addNoteEntry(document->newNoteEntry());
    other->addNoteEntry(other->newNoteEntry());
    document->addChordEntry(document->newChordEntry());
    subscription.reset();
    document->addNoteEntry(document->newNoteEntry());
    EXPECT_EQ(count, 1);
}

TEST(TarnNoteEntryStorageTests, SettersOfWholeListsChangeNothingThatIsRead) {
    const auto document = makeDocumentWithBeats({5});
    const NotificationRecorder recorder(document);
    document->setBeatEntries({});
    EXPECT_EQ(locations(document->beatEntries()), Locations{5});
    EXPECT_TRUE(recorder.notifications.empty());
}

TEST(TarnNoteEntryStorageTests, CheckpointsLeaveOutNotesRegionsAndMarkers) {
    // Odd beats survive in a checkpoint: its beats come before its time signature.
    const auto document = makeDocumentWithBeats({0, 1, 2});
    document->setTimeSignature(4, 4);
    document->addNoteEntry(document->newNoteEntry());
    document->addRegionEntry(document->newVerseRegionEntry());
    document->addMarkerEntry(document->newMarkerEntry());
    document->addChordEntry(document->newChordEntry());
    document->setUseLegacyBeatFiltering(false);
    const auto checkpoint = TarnNoteEntryStorage::newCheckpointFromStorage(*document);
    EXPECT_EQ(checkpoint->beatEntries().copy(), document->beatEntries().copy()) << "the same, not copies";
    EXPECT_EQ(checkpoint->chordEntries().size(), 1u);
    EXPECT_TRUE(checkpoint->noteEntries().empty() && checkpoint->regionEntries().empty() &&
                checkpoint->markerEntries().empty());
    EXPECT_EQ(checkpoint->nextEventId(), document->nextEventId());
    EXPECT_TRUE(checkpoint->useLegacyBeatFiltering());
}

TEST(TarnNoteEntryStorageTests, PopulateTakesOverAsItStands) {
    const auto source = makeDocument();
    source->addMarkerEntriesFromArray({markerAt(*source, 9), markerAt(*source, 3)});
    source->setTimeSignature(4, 4);
    const auto document = makeDocumentWithBeats({0, 1, 2});
    const auto display = std::make_shared<DisplayLog>();
    document->display = display;
    const auto key = document->observeKey("markerEntries", [](const auto&, auto) { ADD_FAILURE(); });
    const NotificationRecorder recorder(document);
    document->populateWithNoteEntryStorageEntries(*source);
    EXPECT_TRUE(display->log.empty());
    Names expected;
    for (const std::string kind :
         {"NoteEntries", "ChordEntries", "BeatEntries", "TempoEntries", "TimeSignatureEntries",
          "RegionEntries", "MarkerEntries", "StandardPitchEntries", "KeyEntries", "InstrumentDescription"})
        expected.push_back("TarnNoteEntryStorageDidChange" + kind + "Notification");
    EXPECT_EQ(recorder.names(), expected);
    EXPECT_EQ(recorder.notifications.back().userInfo.size(), 1u);
    EXPECT_EQ(recorder.list<TarnBeatEntry>(2, TarnNoteEntryStorageRemovedEntriesKey)->size(), 3u);
    EXPECT_EQ(locations(recorder.changeset<TarnMarkerEntry>(6)->items()), (Locations{9, 3})) << "unsorted";
    EXPECT_EQ(document->nextEventId(), source->nextEventId());
}

TEST(ConsistencyTests, PrunesOddBeatsInQuarterNoteSpacing) {
    const auto expectRemaining = [](std::size_t count, const Positions& downbeats,
                                    const Locations& positions) {
        Locations all(count);
        std::iota(all.begin(), all.end(), 0);
        auto beats = makeDocumentWithBeats(all, downbeats)->beatEntries().copy();
        std::shuffle(beats.begin(), beats.end(), std::mt19937(count));
        const auto document = makeDocument();
        document->setTimeSignature(4, 4);
        const NotificationRecorder recorder(document);
        document->addBeatEntriesFromArray(beats);
        EXPECT_EQ(locations(document->beatEntries()), positions);
        EXPECT_EQ(recorder.list<TarnBeatEntry>(0, TarnNoteEntryStorageAddedEntriesKey)->size(), count);
        EXPECT_EQ(recorder.changeset<TarnBeatEntry>(0)->added().size(), positions.size());
    };
    expectRemaining(6, {}, {0, 1, 2, 3, 4, 5});
    expectRemaining(5, {}, {0, 1, 2, 3});
    expectRemaining(6, {0, 3}, {0, 1, 3, 4});
    expectRemaining(6, {1}, {1, 2, 3, 4}); // the first beat goes, and the last: the stretch from 1 holds five
    expectRemaining(7, {1}, {1, 2, 3, 4, 5, 6});
    expectRemaining(4, {0, 1}, {1, 2});             // a gap of one beat removes the earlier downbeat itself
    expectRemaining(7, {3, 5}, {1, 2, 3, 4, 5, 6}); // the first beat goes even where the pickup is longer
    expectRemaining(1, {0}, {});
}

TEST(ConsistencyTests, LooksAtTheFirstStoredTimeSignature) {
    const auto document = makeDocument();
    const auto eighths = at(100, document->newTimeSignatureEntry());
    eighths->setDenominator(8);
    document->addTimeSignatureEntry(eighths); // the first added, though not the earliest
    document->addTimeSignatureEntry(document->newTimeSignatureEntry());
    document->addBeatEntriesFromArray({document->newBeatEntry()});
    EXPECT_EQ(document->beatEntries().size(), 1u);
    EXPECT_TRUE(document->useQuarterNoteSpacing()) << "reads the earliest";
}

TEST(ConsistencyTests, EliminatesBogusEntriesWithOneNotificationOfAKind) {
    const auto document = makeDocumentWithBeats({-1, 0, -7});
    document->addRegionEntriesFromArray({document->newVerseRegionEntry(), document->newRegionEntry()});
    document->addTempoEntry(document->newTempoEntry());
    const auto region = addRegions(*document, {{0, static_cast<std::uint64_t>(kGreatest)}})[0];
    EXPECT_FALSE(document->containsBaselineContent());
    document->setTimeSignature(3, 8);
    EXPECT_TRUE(document->containsBaselineContent());
    const NotificationRecorder recorder(document);
    document->eliminateBogusEntries();
    document->eliminateBogusEntries();
    EXPECT_EQ(recorder.names(),
              (Names{RegionKind::kDidChangeNotification, BeatKind::kDidChangeNotification}));
    EXPECT_EQ(identifiers(document->regionEntries()), Identifiers{region->eventId()});
    EXPECT_EQ(locations(document->beatEntries()), Locations{0});
}

TEST(ConsistencyTests, LogsOnlyWhenAskedTo) {
    Names lines;
    const auto previous =
        setLogSink([&](const LogMessage& m) { lines.push_back(m.category + ": " + m.text(false)); });
    makeDocumentWithBeats({1});
    EXPECT_TRUE(lines.empty());
    const EnvironmentVariable debug("TARN_NOTE_ENTRY_STORAGE_DEBUG", ""); // presence counts
    const auto document = makeDocument();
    document->setTimeSignature(4, 4);
    addBeats(*document, {0, 1, 2}, {1});
    setLogSink(previous);
    EXPECT_EQ(lines, (Names{"TarnNoteEntryStorage: Enforcing consistency of beat entries.",
                            "TarnNoteEntryStorage: Removing first beat entry at odd position.",
                            "TarnNoteEntryStorage: Removing 1 beat entries at odd positions."}));
}

template <typename Entries>
Entries inOrder(Entries entries) {
    std::stable_sort(entries.begin(), entries.end(),
                     [](const auto& a, const auto& b) { return a->location() < b->location(); });
    return entries;
}

/// Edits one kind of a document at random, in every way that there is, next to the plain lists that it should
/// hold: entries stored twice, different entries of one identifier, equal and negative locations, locations
/// changed in place, contents taken over, and steps undone and redone.
template <typename Kind>
void expectPlainLists(unsigned seed, bool keepsInOrder) {
    using Entry = typename Kind::Entry;
    using Plain = std::vector<std::shared_ptr<Entry>>;
    std::mt19937 random(seed);
    const auto upTo = [&](unsigned count) { return random() % count; };
    Plain pool;
    const std::uint64_t greatest = std::numeric_limits<std::uint64_t>::max();
    for (const std::uint64_t id : std::initializer_list<std::uint64_t>{
             0, greatest, greatest - 1, 1, 2, 2, 3, std::uint64_t{1} << 32, std::uint64_t{1} << 63})
        pool.push_back(std::make_shared<Entry>(id));
    const auto someEntries = [&] {
        Plain entries(upTo(5));
        for (auto& entry : entries)
            entry = pool[upTo(unsigned(pool.size()))];
        return entries;
    };
    const auto moveSome = [&] {
        for (unsigned i = upTo(3); i > 0; --i)
            pool[upTo(unsigned(pool.size()))]->setLocation(std::int64_t(upTo(6)) - 2);
    };
    const auto holds = [](const auto& entries, const auto& wanted) {
        return std::any_of(entries.begin(), entries.end(),
                           [&](const auto& e) { return e->isEqual(*wanted); });
    };
    /// Positions of the first occurrences of what is in `entries` and not in `others`.
    const auto only = [&](const Plain& entries, const Plain& others) {
        IndexSet positions;
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (!holds(others, entries[i]) && !holds(Plain(entries.begin(), entries.begin() + i), entries[i]))
                positions.insert(i);
        }
        return positions;
    };

    const auto document = makeDocument();
    const auto manager = std::make_shared<UndoManager>();
    const TarnNoteEntryStorageUndoRecorder undoRecorder(document, manager);
    Plain stored;
    const auto expectStored = [&](const Plain& expected, const char* after) {
        stored = expected;
        ASSERT_EQ(document->entries<Kind>().copy(), inOrder(stored))
            << Kind::kObservableKey << " after " << after << ", seed " << seed;
    };
    for (int step = 0; step < 30; ++step) {
        manager->removeAllActions();
        const Plain before = stored;
        Plain after = stored;
        if (upTo(8) == 0) {
            const auto source = makeDocument();
            after = someEntries();
            source->add<Kind>(after);
            if (keepsInOrder)
                after = inOrder(after);
            moveSome(); // what is taken over need not be in order
            document->populateWithNoteEntryStorageEntries(*source);
        } else {
            moveSome();
            const Plain removed = someEntries();
            const Plain added = someEntries();
            const Plain old = inOrder(stored);
            std::erase_if(after, [&](const auto& entry) { return holds(removed, entry); });
            after.insert(after.end(), added.begin(), added.end());
            if (keepsInOrder && (!removed.empty() || !added.empty()))
                after = inOrder(after);
            const NotificationRecorder recorder(document);
            document->replace<Kind>(removed, added);
            ASSERT_EQ(recorder.notifications.size(), 1u);
            const auto changeset = recorder.changeset<Entry>(0);
            EXPECT_EQ(changeset->oldItems().copy(), old);
            EXPECT_EQ(changeset->added(), only(inOrder(after), old)) << "seed " << seed;
            EXPECT_EQ(changeset->removed(), only(old, inOrder(after))) << "seed " << seed;
        }
        expectStored(after, "an edit");
        moveSome();
        for (unsigned times = upTo(3); times > 0 && manager->canUndo(); --times) {
            manager->undo();
            expectStored(before, "undoing");
            moveSome();
            manager->redo();
            expectStored(after, "redoing");
        }
    }
}

TEST(EntryOrderTests, HoldsWhatPlainListsWouldHold) {
    for (unsigned seed = 0; seed < 300; ++seed) {
        TarnNoteEntryStorage::forEachKind([seed]<typename Kind>(Kind) {
            constexpr bool isBeat = std::is_same_v<Kind, BeatKind>;
            if (isBeat || seed < 60)
                expectPlainLists<Kind>(seed, isBeat);
        });
    }
}

TEST(EntryOrderTests, AgreesWithAStableSort) {
    for (unsigned seed = 0; seed < 2000; ++seed) {
        std::mt19937 random(seed);
        std::vector<std::shared_ptr<TarnBeatEntry>> entries(random() % 40);
        const bool hasOrderedBeginning = random() % 2;
        for (std::size_t i = 0; i < entries.size(); ++i) {
            entries[i] = std::make_shared<TarnBeatEntry>(i);
            const bool inTail = i + 4 > entries.size();
            entries[i]->setLocation(hasOrderedBeginning && !inTail ? std::int64_t(i / 2)
                                                                   : std::int64_t(random() % 20));
        }
        const auto expected = inOrder(entries);
        sortByLocation(entries);
        EXPECT_EQ(entries, expected) << "seed " << seed;
    }
}

} // namespace
