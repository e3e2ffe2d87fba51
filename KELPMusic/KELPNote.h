#pragma once

#include "Platform/Export.h"
#include "Platform/KeyedArchive.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

/// A spelled note name without an octave: a letter with up to two sharps or flats. The spelling is its
/// position on the line of fifths (… Bb F C G D …, C = 0), so adding an interval is adding a number of
/// fifths. Notes are equal when they are spelled alike; C# and Db are two notes of one value.
namespace TARN_PUBLIC tarn {

class KELPNote final : public SecureCoding {
public:
    /// C with no accidental.
    KELPNote() = default;

    /// The note of a pitch class (0 = C … 11 = B; other numbers are taken modulo 12), black keys as sharps or
    /// flats.
    [[nodiscard]] static KELPNote noteWithValue(int value, bool flat = false);
    /// A letter of either case, then at most two equal accidentals out of # b ♯ ♭, or one of 𝄪 𝄫. Empty for
    /// any other text.
    [[nodiscard]] static std::optional<KELPNote> noteWithString(std::string_view text);
    /// The note with which the text begins, accidentals taken as far as they go, and the number of bytes it
    /// takes up.
    [[nodiscard]] static std::optional<std::pair<KELPNote, std::size_t>>
    notePrefixOfString(std::string_view text);
    /// The note `fifths` above C on the line of fifths; beyond two accidentals (-15 … 19) the first
    /// enharmonic equivalent within them.
    [[nodiscard]] static KELPNote noteWithFifths(int fifths);

    /// Pitch class, 0 (C) to 11 (B).
    [[nodiscard]] int value() const;
    /// Position on the line of fifths, -15 (Fbb) to 19 (B##).
    [[nodiscard]] int fifths() const { return mFifths; }
    /// 0 (C) to 6 (B).
    [[nodiscard]] int letter() const;
    /// Sharps, positive, or flats, negative: -2 to 2.
    [[nodiscard]] int accidental() const;
    /// Semitones above the C of the octave by which the letter is counted: -2 (Cbb) to 13 (B##).
    [[nodiscard]] int semitonesAboveC() const;
    /// The name in ASCII: "C", "C#", "Bb", "F##".
    [[nodiscard]] std::string string() const;
    [[nodiscard]] std::string description() const { return string(); }

    /// The note `offset` semitones above this one (negative: below), spelled as chord tones are counted: 3 is
    /// the minor third, 6 the diminished fifth, 8 the augmented fifth, 15 the augmented ninth, 18 the
    /// augmented eleventh, 20 the minor thirteenth. Whole octaves keep the spelling.
    [[nodiscard]] KELPNote noteWithOffset(std::int8_t offset) const;
    /// The same value with at most one accidental.
    [[nodiscard]] KELPNote withoutDoubleAccidental() const;

    [[nodiscard]] bool operator==(const KELPNote& other) const { return mFifths == other.mFifths; }

    static const ClassDescription& classDescription();
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
    /// Archive key: "name" (string).
    void encodeWithCoder(KeyedArchiver& coder) const override;

private:
    explicit KELPNote(int fifths) : mFifths(static_cast<std::int8_t>(fifths)) {}

    std::int8_t mFifths = 0;
};

inline constexpr std::size_t kNamedNoteEntriesCount = 17;
/// The note names that charts use, upwards from C, black keys as a sharp and then as a flat.
inline constexpr std::array<std::string_view, kNamedNoteEntriesCount> kNamedNoteEntries{
    "C", "C#", "Db", "D", "D#", "Eb", "E", "F", "F#", "Gb", "G", "G#", "Ab", "A", "A#", "Bb", "B"};

} // namespace tarn

template <>
struct std::hash<tarn::KELPNote> {
    std::size_t operator()(const tarn::KELPNote& note) const noexcept {
        return std::hash<int>{}(note.fifths());
    }
};
