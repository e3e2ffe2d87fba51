#include "Interchange/ChordReplacement.h"

#include <algorithm>

namespace tarn {

std::string replaceChordsOf(Song& song, std::vector<std::shared_ptr<TarnChordEntry>> chords) {
    auto& storage = *song.notes;
    const auto entries = storage.chordEntries();
    std::vector<std::shared_ptr<TarnChordEntry>> previous(entries.begin(), entries.end());
    const auto sounds = [](const auto& entry) { return entry->chord() && !entry->chord()->isNoChord(); };
    const auto first = std::find_if(chords.begin(), chords.end(), sounds);
    if (!previous.empty() && !sounds(previous.front()) && first != chords.end() &&
        previous.front()->location() < (*first)->location()) {
        chords.erase(chords.begin(), first);
        previous.erase(previous.begin());
    }
    std::string report = std::to_string(chords.size()) + " chords replace " + std::to_string(previous.size());
    storage.replaceChordEntriesInArrayWithChordEntriesInArray(std::move(previous), std::move(chords));
    return report;
}

} // namespace tarn
