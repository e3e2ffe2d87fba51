#include "TarnFoundation/ChordSearch/TextualChordSearch.h"

#include "KELPMusic/ChordNameText.h"
#include "KELPMusic/KELPChordTable.h"
#include "Platform/DispatchQueue.h"
#include "Platform/FatalError.h"
#include "Platform/UTF8.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <utility>

namespace tarn {
namespace {

using LowerCasedNames = std::array<std::vector<std::string>, kNumberOfChordDefinitions>;

// The alternative names of each row of the chord table, in lower case.
const LowerCasedNames& lowerCasedAlternativeNames() {
    static const LowerCasedNames names = [] {
        LowerCasedNames rows;
        for (std::size_t row = 0; row < gChords.size(); ++row) {
            for (const std::string_view name : gChords[row].typedNames())
                rows[row].push_back(lowerCasedChordText(name));
        }
        return rows;
    }();
    return names;
}

std::size_t endOfCharacter(std::string_view text, std::size_t start) {
    (void)nextUTF8(text, start);
    return start;
}

struct TypedRoot {
    KELPNote note;
    std::size_t length; // bytes
};

std::optional<TypedRoot> rootOfTypedText(std::string_view text) {
    if (text.empty())
        return std::nullopt;
    const std::size_t first = endOfCharacter(text, 0);
    const auto oneCharacter = KELPNote::noteWithString(text.substr(0, first));
    if (!oneCharacter)
        return std::nullopt;
    if (first < text.size()) {
        const std::size_t second = endOfCharacter(text, first);
        if (const auto twoCharacters = KELPNote::noteWithString(text.substr(0, second)))
            return TypedRoot{*twoCharacters, second};
    }
    return TypedRoot{*oneCharacter, first};
}

ChordArray chordsMatching(std::string_view text) {
    // The first bytes of a cut-off character could be the beginning of a name in the table.
    const auto root = isUTF8(text) ? rootOfTypedText(text) : std::nullopt;
    if (!root)
        return {};
    const std::string_view rest = text.substr(root->length);
    const std::size_t slash = rest.rfind('/');
    const std::string quality = lowerCasedChordText(plainChordSigns(rest.substr(0, slash)));
    if (slash != std::string_view::npos && slash + 1 == rest.size()) {
        return ChordDetectionResults::_arrayWithPossibleSlashChordsForChord(
            KELPChord::chordWithString(root->note.string().append(quality)));
    }
    const std::string bass =
        slash == std::string_view::npos ? std::string() : lowerCasedChordText(rest.substr(slash + 1));
    if (!bass.empty() && !quality.empty())
        return ChordDetectionResults::
            _arrayWithChordsForRootNoteQueryingIntervalsWithStringBaseNoteWithString(root->note, quality,
                                                                                     bass);
    if (!bass.empty())
        return ChordDetectionResults::_arrayWithChordsForRootNoteQueryingBaseNotesWithString(root->note,
                                                                                             bass);
    if (!quality.empty())
        return ChordDetectionResults::_arrayWithChordsForRootNoteQueryingIntervalsWithString(root->note,
                                                                                             quality);
    return ChordDetectionResults::_arrayWithChordsForRootNote(root->note);
}

} // namespace

ChordDetectionResultArray ChordDetectionResults::_arrayWithChordsMatchingSearchString(std::string_view text) {
    ChordDetectionResultArray results;
    for (KELPChordRef& chord : chordsMatching(text))
        results.push_back(KELPChordDetectionResult::resultForChord(std::move(chord), kScoreOfTypedChord));
    return _arrayByPromotingExactMatchTo(std::move(results), text);
}

// Every name of the chord table reads back as its row, so the chords below are made from their rows at once.

ChordArray ChordDetectionResults::_arrayWithChordsForRootNote(const KELPNote& rootNote) {
    ChordArray chords;
    chords.reserve(gChords.size());
    for (const KELPChordDefinition& definition : gChords)
        chords.push_back(KELPChord::chordWithRoot(rootNote, definition.intervals));
    return chords;
}

ChordArray
ChordDetectionResults::_arrayWithChordsForRootNoteQueryingIntervalsWithString(const KELPNote& rootNote,
                                                                              std::string_view text) {
    ChordArray chords;
    const LowerCasedNames& names = lowerCasedAlternativeNames();
    for (std::size_t row = 0; row < gChords.size(); ++row) {
        if (std::any_of(names[row].begin(), names[row].end(),
                        [&](const std::string& name) { return name.starts_with(text); }))
            chords.push_back(KELPChord::chordWithRoot(rootNote, gChords[row].intervals));
    }
    return chords;
}

ChordArray ChordDetectionResults::_arrayWithChordsForRootNoteQueryingIntervalsWithStringBaseNoteWithString(
    const KELPNote& rootNote, std::string_view text, std::string_view baseNote) {
    const auto bass = KELPNote::noteWithString(baseNote);
    if (!bass)
        return {};
    ChordArray chords = _arrayWithChordsForRootNoteQueryingIntervalsWithString(rootNote, text);
    for (KELPChordRef& chord : chords)
        chord = chord->chordWithNewRoot(rootNote, bass);
    return chords;
}

ChordArray
ChordDetectionResults::_arrayWithChordsForRootNoteQueryingBaseNotesWithString(const KELPNote& rootNote,
                                                                              std::string_view text) {
    ChordArray chords;
    for (const std::string_view name : kNamedNoteEntries) {
        const auto note = KELPNote::noteWithString(name);
        if (!note || !note->string().starts_with(text))
            continue;
        if (auto chord = KELPChord::chordWithString(rootNote.string() + "/" + note->string()))
            chords.push_back(std::move(chord));
    }
    return chords;
}

ChordArray ChordDetectionResults::_arrayWithPossibleSlashChordsForChord(const KELPChordRef& chord) {
    ChordArray chords;
    if (!chord)
        return chords;
    const KELPChordIntervals& intervals = chord->chordIntervals();
    for (std::size_t i = 1; i < intervals.size() && intervals[i] != 0; ++i) {
        const KELPNote bass = chord->root().noteWithOffset(static_cast<std::int8_t>(intervals[i]));
        chords.push_back(chord->chordWithNewRoot(chord->root(), bass));
    }
    return chords;
}

ChordDetectionResultArray
ChordDetectionResults::_arrayByPromotingExactMatchTo(ChordDetectionResultArray results,
                                                     std::string_view text) {
    const std::string name = lowerCasedChordText(text);
    const KELPChordRef named = KELPChord::chordWithString(name);
    const auto match = std::find_if(results.begin(), results.end(), [&](const auto& result) {
        const KELPChordRef& chord = result->chord(); // nothing where a chord manager has answered nothing
        return chord && (lowerCasedChordText(chord->stringValue()) == name ||
                         (named && chord->isEqualToChord(*named)));
    });
    if (match != results.end())
        std::rotate(results.begin(), match, match + 1);
    return results;
}

ChordDetectionResultArray
ChordDetectionResults::_arrayOfUntransposedResultsUsingChordManager(const ChordDetectionResultArray& results,
                                                                    const ChordManager& chordManager) {
    ChordDetectionResultArray untransposed;
    untransposed.reserve(results.size());
    for (const auto& result : results)
        untransposed.push_back(KELPChordDetectionResult::resultForChord(
            chordManager.untransposedChord(result->chord()), result->score(), result->location()));
    return untransposed;
}

void KELPTextualChordSearchController::performSearchUsingString(std::string text) {
    const auto weakSelf = weak_from_this();
    precondition(!weakSelf.expired(), "A chord search controller must live in a shared pointer!");
    GlobalQueue::async([weakSelf, text = std::move(text)] {
        MainQueue::async(
            [weakSelf, results = ChordDetectionResults::_arrayWithChordsMatchingSearchString(text)] {
                const auto self = weakSelf.lock();
                const auto delegate = self ? self->delegate() : nullptr;
                if (delegate)
                    delegate->chordSearchControllerDidReceiveResults(*self, results);
            });
    });
}

} // namespace tarn
