#include "Interchange/KeyImport.h"

#include "Platform/PlainText.h"

#include <algorithm>
#include <array>

namespace tarn {
namespace {

struct Mode {
    std::string_view name; ///< in lower case
    bool isMinor;
};

constexpr std::array<Mode, 14> kModes{{{"", false},
                                       {"maj", false},
                                       {"major", false},
                                       {"ionian", false},
                                       {"lydian", false},
                                       {"mixolydian", false},
                                       {"m", true},
                                       {"-", true},
                                       {"min", true},
                                       {"minor", true},
                                       {"aeolian", true},
                                       {"dorian", true},
                                       {"phrygian", true},
                                       {"locrian", true}}};

} // namespace

KELPKeyRef keyWithName(std::string_view name) {
    const auto root = KELPNote::notePrefixOfString(name);
    if (!root)
        return nullptr;
    std::string_view rest = name.substr(root->second);
    rest.remove_prefix(std::min(rest.find_first_not_of(" :"), rest.size()));
    rest = rest.substr(0, rest.find_last_not_of(' ') + 1);
    const std::string word = rest == "M" ? "major" : lowerCased(rest);
    const auto mode =
        std::find_if(kModes.begin(), kModes.end(), [&](const Mode& m) { return m.name == word; });
    if (mode == kModes.end())
        return nullptr;
    return KELPKey::makeWithTonicChord(
        KELPChord::chordWithString(root->first.string() + (mode->isMinor ? "m" : "")));
}

void replaceKey(Song& song, const KELPKeyRef& key) {
    if (const auto present = song.notes->globalKey(); present && *present == *key)
        return;
    const auto entry = song.notes->newKeyEntry();
    entry->setTonicChord(key->tonicChord());
    song.notes->replaceKeyEntriesInArrayWithKeyEntriesInArray(song.notes->keyEntries(), {entry});
}

} // namespace tarn
