#include "KELPMusic/KELPNote.h"

#include <concepts>

namespace tarn {
namespace {

constexpr int kLowestFifths = -15; // Fbb
constexpr int kHighestFifths = 19; // B##

template <std::integral T>
int modulo(T value, int divisor) {
    const int remainder = static_cast<int>(value % divisor);
    return remainder < 0 ? remainder + divisor : remainder;
}

struct AccidentalSign {
    std::string_view text;
    int sharps;
};

constexpr std::array<AccidentalSign, 6> kSigns{{
    {"#", 1},
    {"b", -1},
    {"\xE2\x99\xAF", 1},      // ♯
    {"\xE2\x99\xAD", -1},     // ♭
    {"\xF0\x9D\x84\xAA", 2},  // double sharp
    {"\xF0\x9D\x84\xAB", -2}, // double flat
}};

const AccidentalSign* signAtStartOf(std::string_view text) {
    for (const AccidentalSign& sign : kSigns) {
        if (text.starts_with(sign.text))
            return &sign;
    }
    return nullptr;
}

// Fifths for an ascending interval of 0 to 23 semitones. The second octave differs where a tension differs
// from the chord tone of the same sound: #9 from b3, #11 from b5, b13 from #5.
constexpr std::array<int, 24> kFifthsOfAscendingInterval{0, -5, 2, -3, 4, -1, -6, 1, 8,  3, -2, 5,
                                                         0, -5, 2, 9,  4, -1, 6,  1, -4, 3, -2, 5};
// For a descending interval of 0 to 11 semitones: the minor, perfect or major one, and the diminished fifth.
constexpr std::array<int, 12> kFifthsOfDescendingInterval{0, 5, -2, 3, -4, 1, 6, -1, 4, -3, 2, -5};

} // namespace

KELPNote KELPNote::noteWithFifths(int fifths) {
    if (fifths > kHighestFifths)
        return KELPNote(kHighestFifths - 11 + modulo(fifths - kHighestFifths - 1, 12));
    if (fifths < kLowestFifths)
        return KELPNote(kLowestFifths + modulo(std::int64_t{fifths} - kLowestFifths, 12));
    return KELPNote(fifths);
}

KELPNote KELPNote::noteWithValue(int value, bool flat) {
    // Seven semitones make a fifth, and seven is its own inverse modulo 12. Sharps: F (-1) to A# (10); flats:
    // Gb (-6) to B (5).
    const int fifths = modulo(modulo(value, 12) * 7, 12);
    const int highest = flat ? 5 : 10;
    return KELPNote(fifths > highest ? fifths - 12 : fifths);
}

std::optional<std::pair<KELPNote, std::size_t>> KELPNote::notePrefixOfString(std::string_view text) {
    if (text.empty())
        return std::nullopt;
    constexpr std::string_view kLettersByFifths = "FCGDAEB";
    const char letter = text.front() >= 'a' && text.front() <= 'g'
                            ? static_cast<char>(text.front() - 'a' + 'A')
                            : text.front();
    const std::size_t index = kLettersByFifths.find(letter);
    if (index == std::string_view::npos)
        return std::nullopt;
    int fifths = static_cast<int>(index) - 1;
    std::size_t length = 1;
    if (const AccidentalSign* first = signAtStartOf(text.substr(length))) {
        fifths += 7 * first->sharps;
        length += first->text.size();
        const AccidentalSign* second = signAtStartOf(text.substr(length));
        if (second && second->sharps == first->sharps && (first->sharps == 1 || first->sharps == -1)) {
            fifths += 7 * second->sharps;
            length += second->text.size();
        }
    }
    return std::pair{KELPNote(fifths), length};
}

std::optional<KELPNote> KELPNote::noteWithString(std::string_view text) {
    const auto prefix = notePrefixOfString(text);
    if (!prefix || prefix->second != text.size())
        return std::nullopt;
    return prefix->first;
}

int KELPNote::value() const {
    return modulo(mFifths * 7, 12);
}

int KELPNote::letter() const {
    return modulo(mFifths * 4, 7);
}

int KELPNote::accidental() const {
    // F (-1) to B (5) carry none; 15 keeps the dividend positive for every note.
    return (mFifths + 15) / 7 - 2;
}

int KELPNote::semitonesAboveC() const {
    constexpr std::array<int, 7> kSemitonesOfLetter{0, 2, 4, 5, 7, 9, 11};
    return kSemitonesOfLetter[static_cast<std::size_t>(letter())] + accidental();
}

std::string KELPNote::string() const {
    std::string name(1, "CDEFGAB"[letter()]);
    const int sharps = accidental();
    name.append(static_cast<std::size_t>(sharps < 0 ? -sharps : sharps), sharps < 0 ? 'b' : '#');
    return name;
}

KELPNote KELPNote::noteWithOffset(std::int8_t offset) const {
    if (offset < 0)
        return noteWithFifths(mFifths + kFifthsOfDescendingInterval[static_cast<std::size_t>(-offset % 12)]);
    const int interval = offset < 24 ? offset : 12 + offset % 12;
    return noteWithFifths(mFifths + kFifthsOfAscendingInterval[static_cast<std::size_t>(interval)]);
}

KELPNote KELPNote::withoutDoubleAccidental() const {
    if (accidental() == 2)
        return KELPNote(mFifths - 12);
    return accidental() == -2 ? KELPNote(mFifths + 12) : *this;
}

const ClassDescription& KELPNote::classDescription() {
    static constexpr ClassDescription description{
        "KELPNote", nullptr, [](KeyedUnarchiver& coder) -> std::shared_ptr<SecureCoding> {
            const auto name = coder.decodeString("name");
            const auto note = name ? noteWithString(*name) : std::nullopt;
            return note ? std::make_shared<KELPNote>(*note) : nullptr;
        }};
    return description;
}

void KELPNote::encodeWithCoder(KeyedArchiver& coder) const {
    coder.encodeString("name", string());
}

} // namespace tarn
