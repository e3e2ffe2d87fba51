#include "Song/Edits/EditVerbs.h"

namespace tarn::edits {
namespace {

Action setText(EditWords& words, const char* what, std::string SongProperties::*property) {
    std::string text; // of all words, since shells take quotes away; none clears it
    std::size_t count = 0;
    bool hasQuotes = false;
    for (; !words.isAtEnd(); ++count) {
        hasQuotes = hasQuotes || words.isNextQuoted();
        text += (text.empty() ? "" : " ") + onOneLine(words.word(what));
    }
    if (hasQuotes && count > 1) // they might belong to it, as in Rock 'n' Roll
        throw EditWordError("quotes stand around the whole " + std::string(what));
    return [=](Song& song) {
        const std::string before = std::exchange(song.properties.*property, text);
        return std::string(what) + " " + quoted(text) + " (was " + quoted(before) + ")";
    };
}

Action setNumber(EditWords& words, const char* what, int SongProperties::*property, int least, int most) {
    const std::int64_t number = words.wholeNumber(what);
    if (number < least || number > most)
        throw EditWordError(std::string(what) + " lies between " + std::to_string(least) + " and " +
                            std::to_string(most));
    return [=](Song& song) {
        const int before = std::exchange(song.properties.*property, static_cast<int>(number));
        return std::string(what) + " " + std::to_string(number) + " (was " + std::to_string(before) + ")";
    };
}

Action setTitle(EditWords& words) {
    return setText(words, "title", &SongProperties::title);
}

Action setArtist(EditWords& words) {
    return setText(words, "artist", &SongProperties::artist);
}

Action setCapo(EditWords& words) {
    return setNumber(words, "capo", &SongProperties::capo, 0, SongProperties::kHighestCapo);
}

Action setTransposition(EditWords& words) {
    return setNumber(words, "transposition", &SongProperties::transposition,
                     -SongProperties::kFarthestTransposition, SongProperties::kFarthestTransposition);
}

} // namespace

std::span<const Verb> propertyVerbs() {
    static constexpr Verb kVerbs[] = {
        {"title", "= NAME", "title=\"Blue in green\"", setTitle},
        {"artist", "= NAME", "artist=\"Bill Evans\"", setArtist},
        {"capo", "= FRET", "capo=3", setCapo},
        {"transpose", "= SEMITONES", "transpose=-2", setTransposition},
    };
    return kVerbs;
}

} // namespace tarn::edits
