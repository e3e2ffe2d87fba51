#pragma once

#include "KELPMusic/KELPChord.h"
#include "KELPMusic/KELPPitch.h"
#include "Platform/Export.h"
#include "Song/SongPositions.h"

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The words of an edit and what can be read from them.
namespace TARN_PUBLIC tarn {

struct EditWord {
    std::string text;
    bool isQuoted = false; ///< a name, whatever it says
};

/// Names an entry: by its name with A to Z in any case, by its name and which of them in time (`Chorus#2`),
/// or by a place in it.
struct EntryReference {
    std::string name;
    std::optional<Position> at;
};

/// What cannot be read; without the form of the edit, which the caller adds.
class EditWordError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Splits at blanks outside of single or double quotes. Throws EditWordError for a quote that does not end.
[[nodiscard]] std::vector<EditWord> splitWords(std::string_view text);

/// Takes the words of one edit one after another. Anything else throws EditWordError.
class EditWords {
public:
    explicit EditWords(std::vector<EditWord> words) : mWords(std::move(words)) {}

    [[nodiscard]] bool isAtEnd() const { return mNext == mWords.size(); }
    /// Whether the next word, which there has to be, stood in quotes.
    [[nodiscard]] bool isNextQuoted() const { return mWords[mNext].isQuoted; }
    /// Takes the keyword when it comes next; quoted words are never keywords.
    bool takeIf(std::string_view keyword);
    void expect(std::string_view keyword);
    void expectEnd() const;
    /// Which of the keywords comes next; takes it.
    std::size_t oneOf(std::initializer_list<std::string_view> keywords);

    std::string word(const char* what);
    /// A name that stands before a place; empty when an unquoted keyword or place comes next.
    std::optional<std::string> nameBefore(std::initializer_list<std::string_view> keywords);
    std::int64_t wholeNumber(const char* what);
    Position position();
    Distance distance();
    KELPChordRef chord();
    KELPPitchRef pitch(); ///< in MIDI's range
    EntryReference reference();

private:
    std::vector<EditWord> mWords;
    std::size_t mNext = 0;
};

} // namespace tarn
