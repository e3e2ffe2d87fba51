#include "Song/Edits/EditWords.h"

#include "KELPMusic/HarteChord.h"

#include <algorithm>
#include <charconv>

namespace tarn {
namespace {

constexpr std::string_view kBlankCharacters = " \t\r\n";

std::optional<std::int64_t> integerWithText(std::string_view text) {
    if (text.starts_with('+'))
        text.remove_prefix(1);
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, number);
    return parsed.ec == std::errc() && parsed.ptr == end ? std::optional(number) : std::nullopt;
}

} // namespace

std::vector<EditWord> splitWords(std::string_view text) {
    std::vector<EditWord> words;
    while (true) {
        text.remove_prefix(std::min(text.find_first_not_of(kBlankCharacters), text.size()));
        if (text.empty())
            return words;
        const char quote = text.front();
        if (quote == '"' || quote == '\'') {
            const std::size_t end = text.find(quote, 1);
            if (end == std::string_view::npos)
                throw EditWordError("a quote does not end");
            words.push_back({std::string(text.substr(1, end - 1)), true});
            text.remove_prefix(end + 1);
            if (!text.empty() && kBlankCharacters.find(text.front()) == std::string_view::npos)
                throw EditWordError("a quote ends within a word; a name with \" stands in ' '");
        } else {
            const std::size_t end = std::min(text.find_first_of(kBlankCharacters), text.size());
            words.push_back({std::string(text.substr(0, end)), false});
            text.remove_prefix(end);
        }
    }
}

bool EditWords::takeIf(std::string_view keyword) {
    if (isAtEnd() || mWords[mNext].isQuoted || mWords[mNext].text != keyword)
        return false;
    ++mNext;
    return true;
}

void EditWords::expect(std::string_view keyword) {
    if (!takeIf(keyword))
        throw EditWordError("'" + std::string(keyword) + "' is missing" +
                            (isAtEnd() ? "" : " before '" + mWords[mNext].text + "'"));
}

void EditWords::expectEnd() const {
    if (!isAtEnd())
        throw EditWordError("'" + mWords[mNext].text + "' is one word too many");
}

std::size_t EditWords::oneOf(std::initializer_list<std::string_view> keywords) {
    std::size_t index = 0;
    std::string list;
    for (const std::string_view keyword : keywords) {
        if (takeIf(keyword))
            return index;
        list.append(index == 0 ? "" : index + 1 == keywords.size() ? " or " : ", ").append(keyword);
        ++index;
    }
    throw EditWordError(isAtEnd() ? list + " is missing" : "'" + mWords[mNext].text + "' is not " + list);
}

std::string EditWords::word(const char* what) {
    if (isAtEnd())
        throw EditWordError(std::string(what) + " is missing");
    return mWords[mNext++].text;
}

std::optional<std::string> EditWords::nameBefore(std::initializer_list<std::string_view> keywords) {
    if (isAtEnd())
        return std::nullopt;
    const EditWord& next = mWords[mNext];
    const bool isName =
        next.isQuoted || (std::find(keywords.begin(), keywords.end(), next.text) == keywords.end() &&
                          !Position::make(next.text));
    return isName ? std::optional(word("the name")) : std::nullopt;
}

std::int64_t EditWords::wholeNumber(const char* what) {
    const std::string text = word(what);
    const auto number = integerWithText(text);
    if (!number)
        throw EditWordError("'" + text + "' is not " + what + ", a whole number");
    return *number;
}

Position EditWords::position() {
    const std::string text = word("a position");
    auto position = Position::make(text);
    if (!position)
        throw EditWordError("'" + text + "' is not a valid position (" + Position::kForms + ")");
    return *std::move(position);
}

Distance EditWords::distance() {
    const std::string text = word("a length");
    const std::size_t unitBegin = std::min(text.find_first_not_of("+-.0123456789/"), text.size());
    const std::string amount = text.substr(0, unitBegin);
    const std::string unit =
        unitBegin < text.size() ? text.substr(unitBegin) : word("beats, bars, s or frames");
    const auto distance = Distance::make(amount, unit);
    if (!distance)
        throw EditWordError("'" + amount + " " + unit +
                            "' is not a valid length (1 beat, 1/2 beat, 2 bars, 0.5s, 300ms, 441 frames)");
    return *distance;
}

KELPChordRef EditWords::chord() {
    const std::string text = word("a chord");
    auto chord = chordWithLabelOrName(text);
    if (!chord)
        throw EditWordError("'" + text + "' is not a valid chord (F#m7, Bb/D, N.C.; 'tarn chords' searches)");
    return chord;
}

KELPPitchRef EditWords::pitch() {
    const std::string text = word("a note");
    const auto note = KELPNote::notePrefixOfString(text);
    const auto octave = note ? integerWithText(std::string_view(text).substr(note->second)) : std::nullopt;
    constexpr std::int64_t kHighestOctave = 9;
    if (octave && *octave >= -1 && *octave <= kHighestOctave) {
        auto pitch = KELPPitch::pitchWithNote(note->first, static_cast<std::int32_t>(*octave));
        if (pitch->semitones() == pitch->midiNote())
            return pitch;
    }
    throw EditWordError("'" + text + "' is not a note with its octave (E4, Bb3, C-1 to G9)");
}

EntryReference EditWords::reference() {
    if (takeIf("at"))
        return {{}, position()};
    return {word("a name"), std::nullopt};
}

} // namespace tarn
