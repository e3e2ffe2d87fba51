#pragma once

#include "Pictures/SongPicture.h"
#include "Tests/Song/SongTexts.h"

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace tarn::test {

/// At 1,000 frames per second, eight bars of four beats, two seconds each, from half a second on, and half a
/// second after them; a chord on every bar.
inline std::shared_ptr<Song> eightBars() {
    auto song = std::make_shared<Song>(Recording{"My song & <more>.wav", 1000, 17'000, "id"});
    song->notes->setTimeSignature(4, 4);
    addBeats(*song, {.first = 500, .spacing = 250, .count = 64, .perBar = 8});
    for (int bar = 0; bar < 8; ++bar)
        addChord(*song, 500 + 2000 * bar, bar % 2 ? "Bbm7b5" : "F#/A#");
    return song;
}

/// Two bars to a row.
constexpr PictureOptions kTwoBars{800, 4};

inline std::string svgOf(const Song& song, const PictureOptions& options = kTwoBars,
                         const std::shared_ptr<Waveform>& waveform = nullptr) {
    std::ostringstream text;
    writeSongPictureSVG(text, song, waveform, options);
    return text.str();
}

inline std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++found;
    return found;
}

/// What the texts of a class say, in their order.
inline std::vector<std::string> textsOf(const std::string& svg, const std::string& cssClass) {
    std::vector<std::string> texts;
    const std::string start = "<text class=\"" + cssClass + "\"";
    for (auto at = svg.find(start); at != std::string::npos; at = svg.find(start, at + start.size())) {
        const auto begin = svg.find('>', at) + 1;
        texts.push_back(svg.substr(begin, svg.find("</text>", begin) - begin));
    }
    return texts;
}

} // namespace tarn::test
