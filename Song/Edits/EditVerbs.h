#pragma once

#include "Platform/PlainText.h"
#include "Song/Edits/EditWords.h"
#include "Song/Edits/Edits.h"

#include <charconv>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What the verbs of edits do: one function for each, which reads what follows the verb and returns the
/// change. It throws EditWordError for what cannot be read; the change throws EditRefused.
namespace TARN_PUBLIC tarn {
namespace edits {

using Action = std::function<std::string(Song&)>;

/// The first word of an edit.
struct Verb {
    std::string_view name;
    std::string_view operands;
    std::string_view example;
    Action (*parse)(EditWords&);
};

// The verbs by what they are about; a new one is a function and a row in one of these files.

[[nodiscard]] std::span<const Verb> gridVerbs();
[[nodiscard]] std::span<const Verb> tempoVerbs();
[[nodiscard]] std::span<const Verb> propertyVerbs();
[[nodiscard]] std::span<const Verb> harmonyVerbs(); ///< keys and chords
[[nodiscard]] std::span<const Verb> regionVerbs();
[[nodiscard]] std::span<const Verb> outlineVerbs(); ///< sections and markers
[[nodiscard]] std::span<const Verb> noteVerbs();

// What they share.

[[noreturn]] inline void refuse(const std::string& reason) {
    throw EditRefused(reason);
}

inline std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

inline std::string counted(std::size_t count, const std::string& singular) {
    return std::to_string(count) + " " + singular + (count == 1 ? "" : "s");
}

/// The entry that a reference names among the kind's entries, in the order of time. `holds` says whether an
/// entry is the one at a frame.
template <typename Entry, typename Holds>
std::shared_ptr<Entry> find(const Song& document, const EntryList<Entry>& entries,
                            const EntryReference& reference, const std::string& kind, Holds holds) {
    const SongPositions positions(document);
    if (reference.at) {
        const std::int64_t frame = positions.frame(*reference.at);
        std::shared_ptr<Entry> found;
        for (const auto& entry : entries) {
            if (holds(*entry, frame))
                found = entry;
        }
        if (!found)
            refuse("there is no " + kind + " at " + reference.at->text);
        return found;
    }
    const auto named = [&](std::string_view name) {
        std::vector<std::shared_ptr<Entry>> matches;
        for (const auto& entry : entries) {
            if (lowerCased(entry->name().value_or("")) == lowerCased(name))
                matches.push_back(entry);
        }
        return matches;
    };
    auto matches = named(reference.name);
    if (matches.size() == 1)
        return matches.front();
    if (matches.empty()) {
        const std::size_t sign = reference.name.rfind('#');
        std::size_t ordinal = 0;
        if (sign != std::string::npos)
            std::from_chars(reference.name.data() + sign + 1, reference.name.data() + reference.name.size(),
                            ordinal);
        matches = named(std::string_view(reference.name).substr(0, sign));
        if (ordinal >= 1 && ordinal <= matches.size())
            return matches[ordinal - 1];
        refuse("there is no " + kind + " " + quoted(reference.name));
    }
    std::string places;
    for (const auto& match : matches)
        places += (places.empty() ? "" : ", ") + positions.name(match->location());
    refuse("there are " + std::to_string(matches.size()) + " called " + quoted(reference.name) + " (at " +
           places + "); write " + reference.name + "#2 for the second, or at and a place in it");
}

} // namespace edits
} // namespace tarn
