#include "Pictures/PictureAssets.h"
#include "Pictures/PictureText.h"
#include "Pictures/PictureWords.h"
#include "Pictures/RowPicture.h"
#include "Pictures/SongPicture.h"
#include "Pictures/SongPictureLayout.h"
#include "Pictures/WaveformOutline.h"
#include "Platform/FatalError.h"
#include "Platform/PlainText.h"
#include "TarnFoundation/Formatting/TarnFormatting.h"

#include <algorithm>
#include <functional>
#include <map>
#include <ostream>
#include <string_view>
#include <vector>

namespace tarn {

namespace {

constexpr std::size_t kColumnsOfPiece = 256; ///< of the waveform, which layouts share in pieces
constexpr double kRightMargin = 12;          ///< points, for chords that reach over the row's end
constexpr double kMargins = RowPicture::kLeftMargin + kRightMargin;

/// The song on rows of one width.
struct PageLayout {
    std::string cssClasses; ///< for which windows it is, as the style sheet names them
    PictureOptions options;
};

/// Rows narrower than asked for hold as much less music, so that names stay readable.
std::vector<PageLayout> pageLayouts(const PictureOptions& options) {
    constexpr double kMediumWidth = 640;
    constexpr double kNarrowWidth = 320;
    std::vector<PageLayout> layouts{{"on-wide", options}};
    const auto add = [&](const char* cssClass, double width) {
        if (width >= layouts.back().options.pageWidth) {
            layouts.back().cssClasses += std::string(" ") + cssClass;
            return;
        }
        PictureOptions narrower = options;
        narrower.pageWidth = width;
        narrower.secondsPerRow = options.secondsPerRow * width / options.pageWidth;
        layouts.push_back({cssClass, narrower});
    };
    add("on-medium", kMediumWidth);
    add("on-narrow", kNarrowWidth);
    return layouts;
}

void writeWaveformPieces(std::ostream& out, const WaveformOutline& outline) {
    for (std::size_t first = 0; first < outline.columnCount(); first += kColumnsOfPiece)
        out << "<g id=\"w" << first / kColumnsOfPiece << "\">"
            << outline.paths(first, std::min(first + kColumnsOfPiece, outline.columnCount())) << "</g>\n";
}

std::string waveformOfRow(const WaveformOutline& outline, const Range<std::int64_t>& frames) {
    const auto columns = outline.columnsOf(frames);
    std::string pieces;
    for (std::size_t piece = columns.lower / kColumnsOfPiece; piece * kColumnsOfPiece < columns.upper;
         ++piece)
        pieces += "<use href=\"#w" + std::to_string(piece) + "\"/>";
    return pieces;
}

/// "From 0:16, bars 9 to 16".
std::string rowLabel(const SongPictureLayout& layout, std::int64_t row, double sampleRate) {
    std::string label =
        "From " + formattedDuration(static_cast<double>(layout.rows().frameRange(row).lower) / sampleRate);
    std::size_t first = 0;
    std::size_t last = 0;
    for (const auto& beat : layout.itemsInRow(row, SongPictureLayout::beats)) {
        if (beat->isDownbeat) {
            first = first == 0 ? beat->number : first;
            last = beat->number;
        }
    }
    if (first != 0 && first == last)
        label += ", bar " + std::to_string(first);
    else if (first != 0)
        label += ", bars " + std::to_string(first) + " to " + std::to_string(last);
    return label;
}

void writeLayout(std::ostream& out, const Song& song, const PageLayout& page,
                 const WaveformOutline& outline) {
    const SongPictureLayout layout(song, page.options);
    const SongRows& rows = layout.rows();
    const RowPicture picture(layout, song.recording.sampleRate);
    const std::string boxStart = pictureNumber(-RowPicture::kLeftMargin) + " 0 " +
                                 pictureNumber(page.options.pageWidth + kMargins) + " ";
    out << "<div class=\"layout " << page.cssClasses << "\">\n";
    for (std::int64_t row = 0; row < rows.rowCount(); ++row) {
        const auto frames = rows.frameRange(row);
        const double top = picture.waveformTop(row);
        out << "<svg class=\"row\" viewBox=\"" << boxStart << pictureNumber(picture.height(row))
            << "\" role=\"img\" aria-label=\"" << rowLabel(layout, row, song.recording.sampleRate)
            << "\" data-place=\"" << frames.lower << " " << frames.upper << " 0 "
            << pictureNumber(rows.width(row)) << " " << pictureNumber(top) << " "
            << pictureNumber(top + RowPicture::kWaveformHeight) << "\">\n"
            << picture.draw(row, outline, waveformOfRow(outline, frames)) << "</svg>\n";
    }
    out << "</div>\n";
}

/// Each bar is a button that goes there, where there is a player.
void writeChart(std::ostream& out, const SpokenChart& chart, bool hasPlayer) {
    for (const auto& passage : chart.passages) {
        if (!passage.section.empty())
            out << "<h2>" << escapedMarkup(passage.section) << "</h2>\n";
        out << "<ul>\n";
        for (const auto& line : passage.lines) {
            out << "<li>";
            if (hasPlayer)
                out << "<button type=\"button\" data-frame=\"" << line.frame << "\">"
                    << escapedMarkup(line.place) << "</button>";
            else
                out << "<span class=\"place\">" << escapedMarkup(line.place) << "</span>";
            out << " <span>" << escapedMarkup(line.chords) << "</span></li>\n";
        }
        out << "</ul>\n";
    }
    if (chart.leftOut > 0)
        out << "<p>" << chart.leftOut << " more</p>\n";
}

/// Copies the template with what belongs at each of its names.
void writeFilled(std::ostream& out, std::string_view markup,
                 const std::map<std::string_view, std::function<void()>>& parts) {
    for (auto open = markup.find("{{"); open != std::string_view::npos; open = markup.find("{{")) {
        const auto close = markup.find("}}", open);
        precondition(close != std::string_view::npos, "A name in the page's template has no end");
        const auto part = parts.find(markup.substr(open + 2, close - open - 2));
        precondition(part != parts.end(), "The page's template has a name that nothing belongs to");
        out << markup.substr(0, open);
        part->second();
        markup.remove_prefix(close + 2);
    }
    out << markup;
}

} // namespace

void writeSongPictureHTML(std::ostream& out, const Song& song, const std::shared_ptr<Waveform>& waveform,
                          const PictureOptions& options, const std::string& audioFile) {
    const auto heading = pictureHeading(song, options);
    const auto layouts = pageLayouts(options);
    const double framesPerPoint = SongPictureLayout(song, options).rows().usualFramesPerPoint();
    const WaveformOutline outline(waveform, framesPerPoint);
    const auto writeFacts = [&] {
        const char* separator = "";
        for (const auto& fact : heading.facts) {
            out << separator << escapedMarkup(fact);
            separator = "\u00A0· "; // lines do not begin with it
        }
    };
    const auto writeRows = [&] {
        for (const auto& layout : layouts)
            writeLayout(out, song, layout, outline);
    };
    const auto writeArtist = [&] {
        if (!heading.artist.empty())
            out << "<p>" << escapedMarkup(heading.artist) << "</p>\n";
    };
    const auto writeStyle = [&] {
        out << kPictureStyle << kPageStyle
            << "#song { --widest: " << pictureNumber(options.pageWidth + kMargins) << "px }\n";
    };
    const bool hasPlayer = !audioFile.empty();
    const auto writePlayer = [&] {
        if (hasPlayer)
            writeFilled(out, kPlayerMarkup, {{"audio", [&] { out << percentEncoded(audioFile); }}});
    };
    writeFilled(out, kPageMarkup,
                {{"title", [&] { out << escapedMarkup(heading.title); }},
                 {"style", writeStyle},
                 {"player", writePlayer},
                 {"rate", [&] { out << decimalText(song.recording.sampleRate, 3); }},
                 {"artist", writeArtist},
                 {"facts", writeFacts},
                 {"waveform", [&] { writeWaveformPieces(out, outline); }},
                 {"rows", writeRows},
                 {"chart", [&] { writeChart(out, spokenChart(song, options), hasPlayer); }},
                 {"script", [&] { out << kPageScript; }}});
}

} // namespace tarn
