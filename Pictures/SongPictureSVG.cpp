#include "Pictures/PictureAssets.h"
#include "Pictures/PictureText.h"
#include "Pictures/PictureWords.h"
#include "Pictures/RowPicture.h"
#include "Pictures/SongPicture.h"
#include "Pictures/SongPictureLayout.h"
#include "Pictures/WaveformOutline.h"

#include <algorithm>
#include <ostream>
#include <string_view>

namespace tarn {

namespace {

constexpr double kMargin = RowPicture::kLeftMargin; ///< points, on all sides

/// Heading and chart as one text for those who do not see the picture.
std::string description(const PictureHeading& heading, const SpokenChart& chart) {
    std::string text = heading.artist;
    for (const auto& fact : heading.facts)
        text += (text.empty() ? "" : ", ") + fact;
    text += ".";
    for (const auto& passage : chart.passages) {
        if (!passage.section.empty())
            text += "\n" + passage.section + ".";
        for (const auto& line : passage.lines)
            text += "\n" + line.place + (line.chords.empty() ? "" : ": " + line.chords) + ".";
    }
    if (chart.leftOut > 0)
        text += "\n" + std::to_string(chart.leftOut) + " more.";
    std::string markup;
    for (std::size_t start = 0; start < text.size();) { // line by line, since a name has no line feed
        const auto end = std::min(text.find('\n', start), text.size());
        markup += escapedMarkup(std::string_view(text).substr(start, end - start)) + "\n";
        start = end + 1;
    }
    return markup;
}

/// A line of the heading; moves the baseline past it.
std::string headingLine(const char* cssClass, double& baseline, const std::string& text, double width,
                        PictureFont font) {
    baseline += font.size + 8;
    const auto shown = fittedText(text, width, font);
    return "<text class=\"" + std::string(cssClass) + "\" x=\"" + pictureNumber(kMargin) + "\" y=\"" +
           pictureNumber(baseline) + "\">" +
           (shown == text ? "" : "<title>" + escapedMarkup(text) + "</title>") + escapedMarkup(shown) +
           "</text>\n";
}

} // namespace

void writeSongPictureSVG(std::ostream& out, const Song& song, const std::shared_ptr<Waveform>& waveform,
                         const PictureOptions& options) {
    const SongPictureLayout layout(song, options);
    const SongRows& rows = layout.rows();
    const RowPicture picture(layout, song.recording.sampleRate);
    const auto heading = pictureHeading(song, options);
    double y = kMargin - 8;
    std::string head = headingLine("title", y, heading.title, options.pageWidth, {26, true});
    if (!heading.artist.empty())
        head += headingLine("artist", y, heading.artist, options.pageWidth, {16, false});
    std::string facts;
    for (const auto& fact : heading.facts)
        facts += (facts.empty() ? "" : "   ·   ") + fact;
    head += headingLine("facts", y, facts, options.pageWidth, {14, false});
    y += 26;

    const std::string width = pictureNumber(options.pageWidth + 2 * kMargin);
    double rowHeights = 0;
    for (std::int64_t row = 0; row < rows.rowCount(); ++row)
        rowHeights += picture.height(row);
    const std::string height = pictureNumber(y + rowHeights + kMargin);
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " << width << " " << height
        << "\" width=\"" << width << "\" height=\"" << height
        << "\" role=\"img\" aria-labelledby=\"song-title song-chart\">\n<title id=\"song-title\">"
        << escapedMarkup(heading.title) << "</title>\n<desc id=\"song-chart\">"
        << description(heading, spokenChart(song, options)) << "</desc>\n<style>\n"
        << kPictureStyle << "</style>\n<rect class=\"paper\" width=\"100%\" height=\"100%\"/>\n"
        << head;
    const WaveformOutline outline(waveform, rows.usualFramesPerPoint());
    for (std::int64_t row = 0; row < rows.rowCount(); ++row) {
        const auto columns = outline.columnsOf(rows.frameRange(row));
        out << "<g class=\"row\" transform=\"translate(" << pictureNumber(kMargin) << " " << pictureNumber(y)
            << ")\">\n"
            << picture.draw(row, outline, outline.paths(columns.lower, columns.upper)) << "</g>\n";
        y += picture.height(row);
    }
    out << "</svg>\n";
}

} // namespace tarn
