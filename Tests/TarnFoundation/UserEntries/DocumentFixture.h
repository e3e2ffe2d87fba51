#pragma once

#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// Helpers that tests of the document share.
namespace tarn::fixtures {

using Document = std::shared_ptr<TarnNoteEntryStorage>;

inline Document makeDocument() {
    return std::make_shared<TarnNoteEntryStorage>();
}

/// A document whose grid holds beats at `locations`, those at positions in `downbeats` being downbeats.
inline Document makeDocumentWithBeats(const std::vector<std::int64_t>& locations,
                                      const std::vector<std::size_t>& downbeats = {}) {
    const auto document = makeDocument();
    std::vector<std::shared_ptr<TarnBeatEntry>> beats;
    for (const std::int64_t location : locations) {
        beats.push_back(document->newBeatEntry());
        beats.back()->setLocation(location);
    }
    for (const std::size_t position : downbeats)
        beats.at(position)->setDownbeat(true);
    document->addBeatEntriesFromArray(std::move(beats));
    return document;
}

/// Location and length of a region.
using Span = std::pair<std::int64_t, std::uint64_t>;

/// A new region, not added.
inline std::shared_ptr<TarnRegionEntry> newRegion(TarnNoteEntryStorage& document, Span span) {
    auto region = document.newRegionEntry();
    region->setRange({span.first, span.second});
    return region;
}

/// Adds a region for each span and answers them.
inline std::vector<std::shared_ptr<TarnRegionEntry>> addRegions(TarnNoteEntryStorage& document,
                                                                const std::vector<Span>& spans) {
    std::vector<std::shared_ptr<TarnRegionEntry>> regions;
    for (const Span& span : spans)
        regions.push_back(newRegion(document, span));
    document.addRegionEntriesFromArray(regions);
    return regions;
}

template <typename Entries>
std::vector<std::int64_t> locations(const Entries& entries) {
    std::vector<std::int64_t> result;
    for (const auto& entry : entries)
        result.push_back(entry->location());
    return result;
}

template <typename Entries>
std::vector<std::uint64_t> identifiers(const Entries& entries) {
    std::vector<std::uint64_t> result;
    for (const auto& entry : entries)
        result.push_back(entry->eventId());
    return result;
}

/// Collects the notifications of one sender (none = any) as long as it lives.
class NotificationRecorder {
public:
    explicit NotificationRecorder(const std::shared_ptr<const void>& sender = nullptr)
        : mToken(NotificationCenter::defaultCenter().addObserver(
              "", sender, nullptr, [this](const Notification& n) { notifications.push_back(n); })) {}
    ~NotificationRecorder() { NotificationCenter::defaultCenter().removeObserver(mToken); }

    [[nodiscard]] std::vector<std::string> names() const {
        std::vector<std::string> result;
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
