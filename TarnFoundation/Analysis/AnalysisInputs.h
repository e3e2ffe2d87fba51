#pragma once

#include "KELPMusic/KELPKey.h"
#include "Platform/Export.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <cstdint>
#include <vector>

/// What the analysis is told about a document. Any thread may ask.
namespace TARN_PUBLIC tarn {
namespace analysis {

/// Hz of A4: the frequency of the first standard pitch; concert pitch without one.
[[nodiscard]] double tuningFrequency(const TarnNoteEntryStorage& storage);
/// The key of the first key entry; C major without one.
[[nodiscard]] KELPKeyRef key(const TarnNoteEntryStorage& storage);

/// In frames, in the entries' order.
template <typename Entry>
[[nodiscard]] std::vector<std::int64_t> locations(const EntryList<Entry>& entries) {
    std::vector<std::int64_t> result;
    result.reserve(entries.size());
    for (const auto& entry : entries)
        result.push_back(entry->location());
    return result;
}

} // namespace analysis
} // namespace tarn
