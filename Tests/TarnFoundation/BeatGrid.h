#pragma once

#include "TarnFoundation/UserEntries/TarnNoteEntryStorageUndoRecorder.h"
#include "Tests/TarnFoundation/UserEntries/DocumentFixture.h"

#include <algorithm>
#include <functional>
#include <random>
#include <sstream>

/// Beat grids for tests: written as text or as positions of downbeats, or drawn at random.
namespace tarn::test {

using namespace fixtures;
using BeatRef = std::shared_ptr<TarnBeatEntry>;

struct BeatAt {
    std::int64_t location = 0;
    bool isDownbeat = false;
    friend bool operator==(const BeatAt&, const BeatAt&) = default;
};
using Grid = std::vector<BeatAt>;

inline std::ostream& operator<<(std::ostream& out, const BeatAt& beat) {
    return out << beat.location << (beat.isDownbeat ? "*" : "");
}

/// Beats by their locations, downbeats with a star: "0* 100 200".
inline Grid gridOf(const std::string& text) {
    Grid grid;
    std::istringstream words(text);
    for (std::string word; words >> word;)
        grid.push_back({std::stoll(word), word.back() == '*'});
    return grid;
}

/// `count` beats from `first` on, `spacing` apart, with downbeats at the given positions.
inline Grid evenGrid(std::size_t count, std::int64_t spacing, const Positions& downbeats,
                     std::int64_t first = 0) {
    Grid grid;
    for (std::size_t i = 0; i < count; ++i)
        grid.push_back({first + static_cast<std::int64_t>(i) * spacing, false});
    for (const std::size_t position : downbeats)
        grid[position].isDownbeat = true;
    return grid;
}

/// A new document with these beats, then (so that no rule prunes them) the signature.
inline Document makeStorage(const Grid& grid, std::optional<TimeSignature> signature = std::nullopt) {
    Locations locations;
    Positions downbeats;
    for (const auto& beat : grid) {
        if (beat.isDownbeat)
            downbeats.push_back(locations.size());
        locations.push_back(beat.location);
    }
    auto storage = makeDocumentWithBeats(locations, downbeats);
    if (signature)
        storage->setTimeSignature(signature->numerator, signature->denominator);
    return storage;
}

template <typename Beats>
Grid beatsOf(const Beats& beats) {
    Grid result;
    for (const auto& beat : beats)
        result.push_back({beat->location(), beat->isDownbeat()});
    return result;
}

inline std::int64_t drawn(std::mt19937_64& random, std::int64_t low, std::int64_t high) {
    return std::uniform_int_distribution<std::int64_t>(low, high)(random);
}

/// Pickup beats, odd bars, doubled locations, negative locations, one beat and none all occur.
inline Grid randomGrid(std::mt19937_64& random) {
    Grid grid;
    std::int64_t location = drawn(random, -60, 60);
    const bool doubles = drawn(random, 0, 3) == 0;
    const std::int64_t downbeatOdds = drawn(random, 1, 9);
    for (auto remaining = drawn(random, 0, drawn(random, 0, 3) == 0 ? 2 : 40); remaining > 0; --remaining) {
        grid.push_back({location, drawn(random, 0, downbeatOdds) == 0});
        location += drawn(random, doubles ? 0 : 1, 25);
    }
    return grid;
}

/// Performs `edit` and checks that it is one change of the beats: one notification with one changeset that
/// turns the old grid into the new one, no change of another kind, and one undo step that restores the very
/// entries, and redoes them.
inline void expectOneUndoableChange(const Document& storage, const std::function<void()>& edit) {
    storage->undoManager = std::make_shared<UndoManager>();
    const TarnNoteEntryStorageUndoRecorder undoRecorder(storage, storage->undoManager);
    const auto before = storage->beatEntries().copy();
    const auto beatsBefore = beatsOf(before);
    const NotificationRecorder recorder(storage);
    edit();
    ASSERT_EQ(recorder.names(), Names{TarnNoteEntryStorageDidChangeBeatEntriesNotification});
    const auto changeset = recorder.changeset<TarnBeatEntry>(0);
    ASSERT_NE(changeset, nullptr);
    EXPECT_EQ(changeset->oldItems().copy(), before);
    const auto after = storage->beatEntries().copy();
    EXPECT_EQ(changeset->items().copy(), after);

    if (after != before) {
        storage->undoManager->undo();
        EXPECT_FALSE(storage->undoManager->canUndo());
        EXPECT_EQ(storage->beatEntries().copy(), before);
        EXPECT_EQ(beatsOf(before), beatsBefore) << "a stored beat was changed in place";
        storage->undoManager->redo();
        EXPECT_EQ(storage->beatEntries().copy(), after);
    }
    storage->undoManager = nullptr;
}

} // namespace tarn::test
