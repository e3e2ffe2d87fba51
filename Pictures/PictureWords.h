#pragma once

#include "Pictures/SongPicture.h"
#include "Platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// What a picture says in words: its heading, and the chart for those who do not see it.
namespace TARN_PUBLIC tarn {

/// Texts are bounded, not yet escaped.
struct PictureHeading {
    std::string title; ///< what the song is called, or else its recording's file, without ending; never empty
    std::string artist;
    std::vector<std::string> facts; ///< key, tempo, metre, tuning, capo, length, as far as they are known
};

[[nodiscard]] PictureHeading pictureHeading(const Song& song, const PictureOptions& options);

/// Bars, or where there are none single chords, that follow each other in one section.
struct ChartPassage {
    struct Line {
        std::int64_t frame;
        std::string place;  ///< "Bar 3", or a time
        std::string chords; ///< that sound there, the one that goes on from before included
    };
    std::string section; ///< empty where none is named; several names where sections begin in one bar
    std::vector<Line> lines;
};

struct SpokenChart {
    std::vector<ChartPassage> passages;
    std::size_t leftOut = 0; ///< lines after the first 2,000
};

[[nodiscard]] SpokenChart spokenChart(const Song& song, const PictureOptions& options);

} // namespace tarn
