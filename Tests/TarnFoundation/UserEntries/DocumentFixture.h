#pragma once

#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// Helpers that tests of the document share.
namespace tarn::fixtures {

using Document = std::shared_ptr<TarnNoteEntryStorage>;
using Identifiers = std::vector<std::uint64_t>;
using Locations = std::vector<std::int64_t>;
using Names = std::vector<std::string>;
using Positions = std::vector<std::size_t>;

constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
constexpr auto kGreatest = std::numeric_limits<std::int64_t>::max();

inline Document makeDocument() {
    return std::make_shared<TarnNoteEntryStorage>();
}

/// The entry itself, put at the location.
template <typename Entry>
std::shared_ptr<Entry> at(std::int64_t location, std::shared_ptr<Entry> entry) {
    entry->setLocation(location);
    return entry;
}

/// Adds beats at `locations`, those at positions in `downbeats` being downbeats.
inline void addBeats(TarnNoteEntryStorage& document, const Locations& locations,
                     const Positions& downbeats = {}) {
    std::vector<std::shared_ptr<TarnBeatEntry>> beats;
    for (const std::int64_t location : locations)
        beats.push_back(at(location, document.newBeatEntry()));
    for (const std::size_t position : downbeats)
        beats.at(position)->setDownbeat(true);
    document.addBeatEntriesFromArray(std::move(beats));
}

inline Document makeDocumentWithBeats(const Locations& locations, const Positions& downbeats = {}) {
    auto document = makeDocument();
    addBeats(*document, locations, downbeats);
    return document;
}

inline void addNote(TarnNoteEntryStorage& document, std::int64_t location, std::uint64_t length, int midi) {
    const auto note = at(location, document.newNoteEntry());
    note->setPitch(KELPPitch::pitchWithNote(KELPNote::noteWithValue(midi % 12), midi / 12 - 1));
    note->setLength(length);
    document.addNoteEntry(note);
}

/// An unreadable text gives a chord or key entry without a chord.
inline void addChord(TarnNoteEntryStorage& document, std::int64_t location, const char* name) {
    const auto chord = at(location, document.newChordEntry());
    chord->setChord(KELPChord::chordWithString(name));
    document.addChordEntry(chord);
}

inline void addKey(TarnNoteEntryStorage& document, std::int64_t location, const char* tonic) {
    const auto key = at(location, document.newKeyEntry());
    key->setTonicChord(KELPChord::chordWithString(tonic));
    document.addKeyEntry(key);
}

/// The chords with their locations: "A@0 N.C.@400".
template <typename Chords>
Names chordsOf(const Chords& chords) {
    Names result;
    for (const auto& entry : chords)
        result.push_back((entry->chord() ? entry->chord()->string() : "none") + "@" +
                         std::to_string(entry->location()));
    return result;
}

/// Location and length of a region.
using Span = std::pair<std::int64_t, std::uint64_t>;

/// A new region, not added.
inline std::shared_ptr<TarnRegionEntry> newRegion(TarnNoteEntryStorage& document, Span span) {
    auto region = document.newRegionEntry();
    region->setRange({span.first, span.second});
    return region;
}

/// Adds a region for each span and returns them.
inline std::vector<std::shared_ptr<TarnRegionEntry>> addRegions(TarnNoteEntryStorage& document,
                                                                const std::vector<Span>& spans) {
    std::vector<std::shared_ptr<TarnRegionEntry>> regions;
    for (const Span& span : spans)
        regions.push_back(newRegion(document, span));
    document.addRegionEntriesFromArray(regions);
    return regions;
}

template <typename Entries>
Locations locations(const Entries& entries) {
    Locations result;
    for (const auto& entry : entries)
        result.push_back(entry->location());
    return result;
}

template <typename Entries>
Identifiers identifiers(const Entries& entries) {
    Identifiers result;
    for (const auto& entry : entries)
        result.push_back(entry->eventId());
    return result;
}

/// The object archived and read back as `Read`.
template <typename Read, typename Object>
std::shared_ptr<Read> decoded(const std::shared_ptr<Object>& object, Error* error = nullptr) {
    return KeyedUnarchiver::unarchivedObject<Read>(KeyedArchiver::archivedData(object), error);
}

/// Expects that a storage is read from its counter alone, and with entries of the right kind under the key,
/// but not with entries of another kind or without the counter. Returns the one with entries; its counter
/// is 7.
template <typename Storage>
std::shared_ptr<Storage> readInParts(const char* key, const std::shared_ptr<TarnUserEntry>& right,
                                     const std::shared_ptr<TarnUserEntry>& wrong) {
    struct Part : SecureCoding {
        bool withCounter = true;
        const char* entriesKey = nullptr;
        std::vector<std::shared_ptr<TarnUserEntry>> entries;
        [[nodiscard]] const ClassDescription& dynamicClass() const override {
            return Storage::classDescription();
        }
        void encodeWithCoder(KeyedArchiver& coder) const override {
            if (withCounter)
                coder.encodeUnsigned("nextEventId", 7);
            if (!entries.empty())
                coder.encodeObjects(entriesKey, entries);
        }
    };
    const auto part = std::make_shared<Part>();
    part->entriesKey = key;
    EXPECT_TRUE(decoded<Storage>(part));
    part->entries = {wrong};
    EXPECT_FALSE(decoded<Storage>(part));
    part->entries = {right};
    const auto read = decoded<Storage>(part);
    part->withCounter = false;
    Error error;
    EXPECT_FALSE(decoded<Storage>(part, &error));
    EXPECT_NE(error.localizedDescription().find(Storage::classDescription().name), std::string::npos);
    return read;
}

/// Collects the notifications of one sender (none = any) as long as it lives.
class NotificationRecorder {
public:
    explicit NotificationRecorder(const std::shared_ptr<const void>& sender = nullptr)
        : mToken(NotificationCenter::defaultCenter().addObserver(
              "", sender, nullptr, [this](const Notification& n) { notifications.push_back(n); })) {}
    ~NotificationRecorder() { NotificationCenter::defaultCenter().removeObserver(mToken); }

    [[nodiscard]] Names names() const {
        Names result;
        for (const auto& notification : notifications)
            result.push_back(notification.name);
        return result;
    }
    template <typename Entry>
    [[nodiscard]] EntryChangesetRef<Entry> changeset(std::size_t index) const {
        const auto* value = notifications.at(index).template value<EntryChangesetRef<Entry>>(
            TarnNoteEntryStorageChangesetKey);
        return value ? *value : nullptr;
    }
    template <typename Entry>
    [[nodiscard]] const EntryList<Entry>* list(std::size_t index, const char* key) const {
        return notifications.at(index).template value<EntryList<Entry>>(key);
    }

    std::vector<Notification> notifications;

private:
    NotificationCenter::Token mToken;
};

} // namespace tarn::fixtures
