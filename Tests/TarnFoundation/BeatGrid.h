#pragma once

#include "Platform/NotificationCenter.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorageUndoRecorder.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <random>

/// Beat grids for tests: written as locations and positions of downbeats, or drawn at random.
namespace tarn::test {

using BeatRef = std::shared_ptr<TarnBeatEntry>;
using Locations = std::vector<std::int64_t>;
using Storage = std::shared_ptr<TarnNoteEntryStorage>;

struct BeatAt {
    std::int64_t location = 0;
    bool isDownbeat = false;
    friend bool operator==(const BeatAt&, const BeatAt&) = default;
};

inline std::ostream& operator<<(std::ostream& out, const BeatAt& beat) {
    return out << beat.location << (beat.isDownbeat ? "*" : "");
}

/// `count` beats from `first` on, `spacing` apart, with downbeats at the given positions.
inline std::vector<BeatAt> evenGrid(std::size_t count, std::int64_t spacing,
                                    std::vector<std::size_t> downbeats, std::int64_t first = 0) {
    std::vector<BeatAt> grid;
    for (std::size_t i = 0; i < count; ++i)
        grid.push_back({first + static_cast<std::int64_t>(i) * spacing, false});
    for (const std::size_t position : downbeats)
        grid[position].isDownbeat = true;
    return grid;
}

/// A new storage with these beats, then (so that no rule prunes them) the signature.
inline Storage makeStorage(const std::vector<BeatAt>& grid,
                           std::optional<TimeSignature> signature = std::nullopt) {
    auto storage = std::make_shared<TarnNoteEntryStorage>();
    std::vector<BeatRef> beats;
    for (const auto& beat : grid) {
        beats.push_back(storage->newBeatEntry());
        beats.back()->setLocation(beat.location);
        beats.back()->setDownbeat(beat.isDownbeat);
    }
    storage->addBeatEntriesFromArray(beats);
    if (signature)
        storage->setTimeSignature(signature->numerator, signature->denominator);
    return storage;
}

template <typename Beats>
std::vector<BeatAt> beatsOf(const Beats& beats) {
    std::vector<BeatAt> result;
    for (const auto& beat : beats)
        result.push_back({beat->location(), beat->isDownbeat()});
    return result;
}

template <typename Beats>
std::vector<std::uint64_t> identifiersOf(const Beats& beats) {
    std::vector<std::uint64_t> identifiers;
    for (const auto& beat : beats)
        identifiers.push_back(beat->eventId());
    return identifiers;
}

/// Pickup beats, odd bars, doubled locations, negative locations, one beat and none all occur.
inline std::vector<BeatAt> randomGrid(std::mt19937_64& random) {
    const auto draw = [&](std::int64_t low, std::int64_t high) {
        return std::uniform_int_distribution<std::int64_t>(low, high)(random);
    };
    std::vector<BeatAt> grid;
    std::int64_t location = draw(-60, 60);
    const bool doubles = draw(0, 3) == 0;
    const std::int64_t downbeatOdds = draw(1, 9);
    for (std::int64_t remaining = draw(0, draw(0, 3) == 0 ? 2 : 40); remaining > 0; --remaining) {
        grid.push_back({location, draw(0, downbeatOdds) == 0});
        location += draw(doubles ? 0 : 1, 25);
    }
    return grid;
}

/// Performs `edit` and checks that it is one change of the beats: one notification with one changeset that
/// turns the old grid into the new one, no change of another kind, and one undo step that restores the very
/// entries, and redoes them.
inline void expectOneUndoableChange(const Storage& storage, const std::function<void()>& edit) {
    storage->undoManager = std::make_shared<UndoManager>();
    const TarnNoteEntryStorageUndoRecorder recorder(storage, storage->undoManager);
    const auto before = storage->beatEntries().copy();
    const auto beatsBefore = beatsOf(before);
    std::vector<std::string> notifications;
    EntryChangesetRef<TarnBeatEntry> changeset;
    const auto token = NotificationCenter::defaultCenter().addObserver(
        "", storage, nullptr, [&](const Notification& notification) {
            notifications.push_back(notification.name);
            changeset = std::any_cast<EntryChangesetRef<TarnBeatEntry>>(
                notification.userInfo.at(TarnNoteEntryStorageChangesetKey));
        });
    edit();
    NotificationCenter::defaultCenter().removeObserver(token);
    EXPECT_EQ(notifications, std::vector<std::string>{TarnNoteEntryStorageDidChangeBeatEntriesNotification});
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
