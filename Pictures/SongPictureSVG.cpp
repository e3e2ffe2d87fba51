#include "Pictures/SongPicture.h"

#include "Pictures/SongPictureLayout.h"
#include "TarnFoundation/Formatting/TarnFormatting.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>
#include <vector>

namespace tarn {

namespace {

// Heights and distances in points.
constexpr double kMargin = 36;
constexpr double kHeaderHeight = 74;
constexpr double kSectionHeight = 18;
constexpr double kRegionLaneHeight = 17;
constexpr double kChordHeight = 30;
constexpr double kWaveformHeight = 58;
constexpr double kBeatNumberHeight = 14;
constexpr double kMarkerHeight = 16;
constexpr double kRowGap = 20;
/// The most columns of the waveform in a picture, so that a song of hours makes a file of megabytes.
constexpr double kMostWaveformColumns = 300'000;
constexpr double kFinestColumn = 1.5;
constexpr std::size_t kLongestText = 48; ///< characters of a name that are shown

/// A number with two digits after the point at most, whatever the locale.
std::string number(double value) {
    char text[64];
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 2).ptr;
    std::string result(text, end);
    while (result.back() == '0')
        result.pop_back();
    if (result.back() == '.')
        result.pop_back();
    return result == "-0" ? "0" : result;
}

std::string decimals(double value, int digits) {
    char text[400];
    return {text, std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, digits).ptr};
}

/// The length of the well-formed UTF-8 character at the beginning of the text; 0 when there is none.
std::size_t characterLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    const std::size_t length = lead < 0x80                   ? 1
                               : lead >= 0xC2 && lead < 0xE0 ? 2
                               : lead >= 0xE0 && lead < 0xF0 ? 3
                               : lead >= 0xF0 && lead < 0xF5 ? 4
                                                             : 0;
    if (length == 0 || length > text.size())
        return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if (byte(i) >> 6 != 2)
            return 0;
    }
    // Overlong forms, surrogates, and what lies beyond Unicode.
    if ((lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xED && byte(1) >= 0xA0) ||
        (lead == 0xF0 && byte(1) < 0x90) || (lead == 0xF4 && byte(1) >= 0x90))
        return 0;
    return length;
}

/// For XML text and attributes: escaped, cut to a length that can be shown, without what XML does not allow.
std::string escaped(std::string_view text) {
    std::string result;
    std::size_t characters = 0;
    while (!text.empty()) {
        if (++characters > kLongestText)
            return result + "…";
        const std::size_t length = characterLength(text);
        const auto character = text.substr(0, std::max<std::size_t>(length, 1));
        text.remove_prefix(character.size());
        if (length == 0 || character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF")
            result += "\xEF\xBF\xBD";
        else if (length == 1 && static_cast<unsigned char>(character[0]) < 0x20)
            result += ' ';
        else if (character == "&")
            result += "&amp;";
        else if (character == "<")
            result += "&lt;";
        else if (character == ">")
            result += "&gt;";
        else if (character == "\"")
            result += "&quot;";
        else
            result += character;
    }
    return result;
}

/// A chord's name as it is set in print: "Bbm7b5/Db" as "B♭m7♭5/D♭".
std::string typeset(std::string_view chord) {
    std::string result;
    for (std::size_t i = 0; i < chord.size(); ++i) {
        const bool afterLetter =
            i > 0 && chord[i - 1] >= 'A' && chord[i - 1] <= 'G' && (i == 1 || chord[i - 2] == '/');
        const bool beforeDigit = i + 1 < chord.size() && chord[i + 1] >= '0' && chord[i + 1] <= '9';
        if (chord[i] == '#')
            result += "♯";
        else if (chord[i] == 'b' && (afterLetter || beforeDigit))
            result += "♭";
        else
            result += chord[i];
    }
    return result;
}

std::string percentEncoded(std::string_view path) {
    std::string result;
    for (const char character : path) {
        const bool plain = (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
                           (character >= '0' && character <= '9') ||
                           std::string_view("-._~/").find(character) != std::string_view::npos;
        constexpr std::string_view kDigits = "0123456789ABCDEF";
        const auto byte = static_cast<unsigned char>(character);
        if (plain)
            result += character;
        else
            result += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return result;
}

std::string titleOf(const Song& document) {
    const auto& name = document.recording.fileName;
    const auto file = name.substr(name.find_last_of('/') + 1);
    const auto dot = file.find_last_of('.');
    return dot == std::string::npos || dot == 0 ? file : file.substr(0, dot);
}

/// Key, tempo, metre, tuning and length, as far as they are known.
std::string factsOf(const Song& document) {
    const auto& notes = *document.notes;
    std::string facts;
    const auto add = [&](const std::string& fact) { facts += (facts.empty() ? "" : "   ·   ") + fact; };
    if (const auto key = notes.globalKey()) {
        const auto& tonic = *key->tonicChord();
        add(typeset(tonic.root().string()) + (tonic.isMinor() ? " minor" : " major"));
    }
    if (const auto tempos = notes.tempoEntries(); !tempos.empty())
        add("♩ = " + decimals(static_cast<double>(tempos.front()->tempo()), 1));
    if (!notes.timeSignatureEntries().empty()) {
        const auto signature = notes.timeSignature();
        add(std::to_string(signature.numerator) + "/" + std::to_string(signature.denominator));
    }
    if (const auto pitches = notes.standardPitchEntries(); !pitches.empty())
        add("A4 = " + decimals(pitches.front()->frequency(), 1) + " Hz");
    add(formattedDuration(document.seconds(document.recording.frameCount)));
    return facts;
}

/// Where the parts of a row lie, from the row's top.
struct RowAnatomy {
    double regionTop = 0;
    double chordBaseline = 0;
    double waveformTop = 0;
    double waveformBottom = 0;
    double numberBaseline = 0;
    double markerBaseline = 0;
    double height = 0;

    explicit RowAnatomy(const SongPictureLayout& layout) {
        double y = layout.hasSections() ? kSectionHeight + 3 : 0;
        regionTop = y;
        y += static_cast<double>(layout.regionLaneCount()) * kRegionLaneHeight;
        chordBaseline = y + kChordHeight - 9;
        y += kChordHeight;
        waveformTop = y;
        waveformBottom = y + kWaveformHeight;
        numberBaseline = waveformBottom + kBeatNumberHeight - 3;
        y = waveformBottom + kBeatNumberHeight;
        markerBaseline = y + kMarkerHeight - 4;
        if (layout.hasMarkers())
            y += kMarkerHeight;
        height = y + kRowGap;
    }
};

class PictureWriter {
public:
    PictureWriter(const Song& document, const Waveform* waveform, const PictureOptions& options)
        : mDocument(document), mWaveform(waveform), mLayout(document, options), mAnatomy(mLayout),
          mWidth(options.pageWidth) {}

    void writeSVG(std::ostream& out) {
        const auto rows = mLayout.timeline().rowCount();
        const double height = rowTop(rows) + kMargin;
        const double width = mWidth + 2 * kMargin;
        mText += "<svg xmlns=\"http://www.w3.org/2000/svg\" id=\"song\" viewBox=\"0 0 " + number(width) +
                 " " + number(height) + "\" width=\"" + number(width) + "\" height=\"" + number(height) +
                 "\" role=\"img\" aria-label=\"" + escaped(titleOf(mDocument)) + "\">\n";
        mText += kStyle;
        mText += "<rect class=\"paper\" width=\"100%\" height=\"100%\"/>\n";
        text("title", kMargin, kMargin + 24, escaped(titleOf(mDocument)));
        text("facts", kMargin, kMargin + 48, escapedFacts());
        for (std::int64_t row = 0; row < rows; ++row) {
            writeRow(row);
            passOn(out);
        }
        mText += "</svg>\n";
        passOn(out);
    }

    /// For each row its first frame, the frame after its last one, its first frame's place, and its
    /// waveform's top.
    [[nodiscard]] std::string rowTable() const {
        std::string table = "[";
        const auto& timeline = mLayout.timeline();
        for (std::int64_t row = 0; row < timeline.rowCount(); ++row) {
            const auto frames = timeline.frameRange(row);
            table += (row ? ",[" : "[") + std::to_string(frames.lower) + "," + std::to_string(frames.upper) +
                     "," + number(x(frames.lower, row)) + "," + number(rowTop(row) + mAnatomy.waveformTop) +
                     "]";
        }
        return table + "]";
    }
    [[nodiscard]] double framesPerPoint() const { return mLayout.timeline().framesPerPoint(); }
    /// How far above its waveform a row begins.
    [[nodiscard]] double rowLead() const { return mAnatomy.waveformTop; }

private:
    void passOn(std::ostream& out) {
        out << mText;
        mText.clear();
    }

    [[nodiscard]] std::string escapedFacts() const { return factsOf(mDocument); } // made of our own texts

    [[nodiscard]] double rowTop(std::int64_t row) const {
        return kMargin + kHeaderHeight + static_cast<double>(row) * mAnatomy.height;
    }

    [[nodiscard]] double x(std::int64_t frame, std::int64_t row) const {
        return kMargin + mLayout.timeline().offset(frame, row);
    }

    void text(const char* cssClass, double left, double baseline, const std::string& content) {
        mText += "<text class=\"" + std::string(cssClass) + "\" x=\"" + number(left) + "\" y=\"" +
                 number(baseline) + "\">" + content + "</text>\n";
    }
    void line(const char* cssClass, double x1, double y1, double x2, double y2) {
        mText += "<line class=\"" + std::string(cssClass) + "\" x1=\"" + number(x1) + "\" y1=\"" +
                 number(y1) + "\" x2=\"" + number(x2) + "\" y2=\"" + number(y2) + "\"/>\n";
    }

    void writeRow(std::int64_t row) {
        const double top = rowTop(row);
        const auto frames = mLayout.timeline().frameRange(row);
        if (frames.isEmpty())
            return;
        mText += "<g class=\"row\">\n";
        mHiddenCount = mLayout.hiddenRegionCount(row);
        writeSections(row, top, frames);
        writeWaveform(row, top, frames);
        writeBeats(row, top);
        writeRegions(row, top, frames);
        writeChords(row, top);
        writeMarkers(row, top);
        if (mHiddenCount > 0)
            text("more", kMargin + mWidth, top + mAnatomy.regionTop - 4,
                 "+ " + std::to_string(mHiddenCount) + " more");
        text("time", kMargin - 4, top + (mAnatomy.waveformTop + mAnatomy.waveformBottom) / 2 + 3,
             formattedDuration(mDocument.seconds(frames.lower)));
        mText += "</g>\n";
    }

    /// The items of a section that a row shows, less those that begin less than half a point before the next
    /// one that is shown (in its lane): nobody could tell them apart. What is left out is counted.
    std::vector<std::shared_ptr<const PictureItem>> shownItems(std::int64_t row,
                                                               SongPictureLayout::Section section) {
        constexpr double kLeastDistance = 0.5; // points
        const auto items = mLayout.itemsInRow(row, section);
        const std::int64_t rowStart = mLayout.timeline().frameRange(row).lower;
        std::vector<double> next(std::max<std::size_t>(mLayout.regionLaneCount(), 1),
                                 std::numeric_limits<double>::infinity());
        std::vector<std::shared_ptr<const PictureItem>> shown;
        for (auto item = items.rbegin(); item != items.rend(); ++item) {
            const double left = x(std::max((*item)->frames.lower, rowStart), row);
            if (left > next[(*item)->lane] - kLeastDistance) {
                ++mHiddenCount;
                continue;
            }
            next[(*item)->lane] = left;
            shown.push_back(*item);
        }
        std::reverse(shown.begin(), shown.end());
        return shown;
    }

    void writeSections(std::int64_t row, double top, const Range<std::int64_t>& frames) {
        for (const auto& section : shownItems(row, SongPictureLayout::sections)) {
            const double left = x(std::max(section->frames.lower, frames.lower), row);
            const double right = x(std::min(section->frames.upper, frames.upper), row);
            mText += "<rect class=\"section\" x=\"" + number(left) + "\" y=\"" + number(top) + "\" width=\"" +
                     number(std::max(0.0, right - left - 1)) + "\" height=\"" + number(kSectionHeight) +
                     "\" rx=\"3\" fill=\"" + section->color + "\"/>\n";
            clippedText("section-name", left + 6, top + kSectionHeight - 5, right, section->text);
        }
    }

    void writeRegions(std::int64_t row, double top, const Range<std::int64_t>& frames) {
        for (const auto& region : shownItems(row, SongPictureLayout::regions)) {
            const double left = x(std::max(region->frames.lower, frames.lower), row);
            const double right = x(std::min(region->frames.upper, frames.upper), row);
            const auto lane = static_cast<double>(mLayout.regionLaneCount() - 1 - region->lane);
            const double y = top + mAnatomy.regionTop + lane * kRegionLaneHeight + 13;
            line("bracket", left, y, right, y);
            if (region->frames.lower >= frames.lower)
                line("bracket", left, y, left, y + 4);
            if (region->frames.upper <= frames.upper)
                line("bracket", right, y, right, y + 4);
            clippedText("region-name", left + 4, y - 3, right, region->text);
        }
    }

    /// A name that has room up to `right`, cut to about what fits there.
    void clippedText(const char* cssClass, double left, double baseline, double right,
                     const std::string& name) {
        constexpr double kCharacterWidth = 6.5;
        const double room = (right - left) / kCharacterWidth;
        if (room < 2)
            return;
        std::string shown;
        std::size_t characters = 0;
        for (std::string_view rest = name; !rest.empty(); ++characters) {
            if (static_cast<double>(characters + 1) > room) {
                shown += "…";
                break;
            }
            const auto length = std::max<std::size_t>(characterLength(rest), 1);
            shown += rest.substr(0, length);
            rest.remove_prefix(length);
        }
        text(cssClass, left, baseline, escaped(shown));
    }

    void writeChords(std::int64_t row, double top) {
        double free = 0; // up to where the last name reaches
        for (const auto& chord : shownItems(row, SongPictureLayout::chords)) {
            const double left = x(chord->frames.lower, row);
            const auto name = typeset(chord->text);
            const bool isCrowded = left < free;
            constexpr double kChordCharacterWidth = 8.5;
            constexpr double kNarrowCharacterWidth = 5.5;
            text(isCrowded ? "chord crowded" : "chord", left,
                 top + mAnatomy.chordBaseline - (isCrowded ? kChordHeight / 2 - 2 : 0), escaped(name));
            free = left + static_cast<double>(chord->text.size()) *
                              (isCrowded ? kNarrowCharacterWidth : kChordCharacterWidth);
            line("change", left, top + mAnatomy.waveformTop - 5, left, top + mAnatomy.waveformTop);
        }
    }

    void writeBeats(std::int64_t row, double top) {
        double lastNumber = 0;
        for (const auto& beat : shownItems(row, SongPictureLayout::beats)) {
            const double at = x(beat->frames.lower, row);
            const double bottom = top + mAnatomy.waveformBottom;
            if (beat->isDownbeat)
                line("bar", at, top + mAnatomy.waveformTop, at, bottom + 3);
            else
                line("beat", at, bottom - 12, at, bottom);
            constexpr double kNumberDistance = 18;
            if (beat->number > 0 && at >= lastNumber + (beat->isDownbeat ? 0 : kNumberDistance)) {
                text(beat->isDownbeat ? "bar-number" : "beat-number", at, top + mAnatomy.numberBaseline,
                     std::to_string(beat->number));
                lastNumber = at;
            }
        }
    }

    void writeMarkers(std::int64_t row, double top) {
        for (const auto& marker : shownItems(row, SongPictureLayout::markers)) {
            const double at = x(marker->frames.lower, row);
            const double foot = top + mAnatomy.markerBaseline + 2;
            line("marker", at, top + mAnatomy.waveformTop, at, foot);
            mText += "<path class=\"flag\" d=\"M" + number(at) + " " + number(foot - 10) + "l7 4l-7 4z\"/>\n";
            clippedText("marker-name", at + 10, top + mAnatomy.markerBaseline, kMargin + mWidth,
                        marker->text);
        }
    }

    /// Two outlines, of the peaks and of the root mean square, mirrored about the middle of the row.
    void writeWaveform(std::int64_t row, double top, const Range<std::int64_t>& frames) {
        const double middle = top + (mAnatomy.waveformTop + mAnatomy.waveformBottom) / 2;
        line("middle", x(frames.lower, row), middle, x(frames.upper, row), middle);
        if (!mWaveform)
            return;
        const double rowCount = static_cast<double>(mLayout.timeline().rowCount());
        const double column = std::max(kFinestColumn, mWidth * rowCount / kMostWaveformColumns);
        const double framesPerColumn = column * framesPerPoint();
        std::size_t level = 0;
        while (level + 1 < Waveform::kLevelCount && Waveform::framesPerPoint(level + 1) <= framesPerColumn)
            ++level;
        const auto points = mWaveform->points(level);
        const double framesPerSample = Waveform::framesPerPoint(level);
        std::vector<std::pair<double, Waveform::Point>> columns;
        const double left = x(frames.lower, row);
        const double right = x(frames.upper, row);
        for (double at = left; at < right; at += column) {
            const double first =
                (static_cast<double>(frames.lower) + (at - left) * framesPerPoint()) / framesPerSample;
            const auto from = static_cast<std::size_t>(std::max(0.0, first));
            const auto to = std::min(points.size(),
                                     static_cast<std::size_t>(first + framesPerColumn / framesPerSample) + 1);
            if (from >= to)
                break;
            Waveform::Point sum = points[from];
            for (std::size_t i = from; i < to; ++i) {
                sum.minimum = std::min(sum.minimum, points[i].minimum);
                sum.maximum = std::max(sum.maximum, points[i].maximum);
                sum.rms = std::max(sum.rms, points[i].rms);
            }
            columns.emplace_back(at, sum);
        }
        const auto outline = [&](const char* cssClass, const auto& upper, const auto& lower) {
            constexpr double kScale = kWaveformHeight / 2 / 127;
            mText += "<polygon class=\"" + std::string(cssClass) + "\" points=\"";
            for (const auto& [at, point] : columns)
                mText += number(at) + " " + number(middle - upper(point) * kScale) + " ";
            for (auto entry = columns.rbegin(); entry != columns.rend(); ++entry)
                mText += number(entry->first) + " " + number(middle - lower(entry->second) * kScale) + " ";
            mText += "\"/>\n";
        };
        using Point = Waveform::Point;
        outline(
            "peaks", [](Point p) { return p.maximum; }, [](Point p) { return p.minimum; });
        outline(
            "rms", [](Point p) { return p.rms; }, [](Point p) { return -p.rms; });
    }

    static constexpr const char* kStyle =
        "<style>\n"
        "text{font-family:'Helvetica Neue',Arial,'DejaVu Sans',sans-serif;fill:#1d2733}\n"
        ".paper{fill:#fff}\n"
        ".title{font-size:26px;font-weight:700}\n"
        ".facts{font-size:14px;fill:#4a5866}\n"
        ".section-name{font-size:11.5px;font-weight:600}\n"
        ".region-name{font-size:11px;fill:#7a3e00}\n"
        ".bracket{stroke:#b4651a;stroke-width:1.5}\n"
        ".chord{font-size:16px;font-weight:700}\n"
        ".chord.crowded{font-size:10px}\n"
        ".change{stroke:#1d2733;stroke-width:1}\n"
        ".peaks{fill:#c3d3e3}\n"
        ".rms{fill:#86a7c7}\n"
        ".middle{stroke:#c3d3e3;stroke-width:.75}\n"
        ".bar{stroke:#1d2733;stroke-width:1.5}\n"
        ".beat{stroke:#5d6d7d;stroke-width:.75}\n"
        ".bar-number,.beat-number{text-anchor:middle}\n"
        ".bar-number{font-size:11px;font-weight:700}\n"
        ".beat-number{font-size:9px;fill:#5d6d7d}\n"
        ".time,.more{font-size:9px;fill:#5d6d7d;text-anchor:end}\n"
        ".marker{stroke:#a11d33;stroke-width:1;stroke-dasharray:3 2}\n"
        ".flag{fill:#a11d33}\n"
        ".marker-name{font-size:11px;fill:#a11d33}\n"
        "#cursor{stroke:#e0245e;stroke-width:2}\n"
        "</style>\n";

    const Song& mDocument;
    const Waveform* mWaveform;
    SongPictureLayout mLayout;
    RowAnatomy mAnatomy;
    double mWidth;
    std::size_t mHiddenCount = 0; ///< what the row that is being written does not show
    std::string mText;
};

/// Moves the cursor to where the audio is, and the audio to where the picture is clicked. `place` finds the
/// row and the point of a time; the page notes what it finds for the middle of the song, so that a reader
/// without sound sees that it works.
constexpr const char* kPlayerScript = R"(
const svg = document.getElementById('song'), audio = document.getElementById('audio');
const cursor = document.createElementNS('http://www.w3.org/2000/svg', 'line');
cursor.id = 'cursor';
svg.appendChild(cursor);
function rowOfFrame(frame) {
  let low = 0, high = rows.length - 1;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (rows[middle][1] > frame) high = middle; else low = middle + 1;
  }
  return low;
}
function place(seconds) {
  if (!rows.length) return null;
  const frame = seconds * sampleRate, row = rowOfFrame(frame), [first, , left, top] = rows[row];
  return {row, x: left + (frame - first) / framesPerPoint, top};
}
function show(seconds, follow) {
  const at = place(seconds);
  if (!at) return;
  for (const [name, value] of [['x1', at.x], ['x2', at.x], ['y1', at.top], ['y2', at.top + waveformHeight]])
    cursor.setAttribute(name, value);
  if (follow && cursor.dataset.row !== String(at.row))
    cursor.scrollIntoView({block: 'center', behavior: 'smooth'});
  cursor.dataset.row = at.row;
}
function step() {
  show(audio.currentTime, true);
  if (!audio.paused) requestAnimationFrame(step);
}
audio.addEventListener('play', step);
audio.addEventListener('seeked', () => show(audio.currentTime, false));
audio.addEventListener('error', () => { document.getElementById('no-audio').hidden = false; }, true);
svg.addEventListener('click', event => {
  const point = new DOMPoint(event.clientX, event.clientY).matrixTransform(svg.getScreenCTM().inverse());
  let row = 0;
  while (row + 1 < rows.length && rows[row + 1][3] - rowLead <= point.y) ++row;
  if (!rows.length) return;
  const [first, end, left] = rows[row];
  const frame = Math.min(end, Math.max(first, first + (point.x - left) * framesPerPoint));
  audio.currentTime = frame / sampleRate;
  show(frame / sampleRate, false);
});
document.addEventListener('keydown', event => {
  if (event.code === 'Space' && event.target === document.body) {
    event.preventDefault();
    if (audio.paused) audio.play(); else audio.pause();
  }
});
const middle = place(duration / 2);
show(0, false);
document.body.dataset.middle = middle ? middle.row + ' ' + middle.x.toFixed(1) : '';
)";

} // namespace

void writeSongPictureSVG(std::ostream& out, const Song& document, const std::shared_ptr<Waveform>& waveform,
                         const PictureOptions& options) {
    PictureWriter(document, waveform.get(), options).writeSVG(out);
}

void writeSongPictureHTML(std::ostream& out, const Song& document, const std::shared_ptr<Waveform>& waveform,
                          const PictureOptions& options, const std::string& audioFile) {
    PictureWriter writer(document, waveform.get(), options);
    const auto title = escaped(titleOf(document));
    const double duration = document.seconds(document.recording.frameCount);
    out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width,initial-scale=1\">\n<title>" +
               title +
               "</title>\n<style>\nbody{margin:0;background:#eef1f4}\n"
               "#player{position:sticky;top:0;z-index:1;display:flex;gap:1rem;align-items:center;padding:."
               "5rem "
               "1rem;"
               "background:#1d2733;color:#fff;font:14px 'Helvetica Neue',Arial,sans-serif}\n"
               "#player audio{flex:1;max-width:48rem;height:2.2rem}\n"
               "#song{display:block;margin:1rem auto;max-width:100%;height:auto;cursor:pointer;"
               "box-shadow:0 1px 6px #0003}\n"
               "@media print{#player{display:none}body{background:none}#song{box-shadow:none;margin:0}}\n"
               "</style>\n</head>\n<body>\n<div id=\"player\"><audio id=\"audio\" controls "
               "preload=\"metadata\" "
               "src=\"" +
               percentEncoded(audioFile) +
               "\"></audio><span id=\"no-audio\" hidden>The recording cannot be played here: it must lie "
               "beside "
               "this "
               "page.</span></div>\n";
    writer.writeSVG(out);
    out << "<script>\nconst rows = " + writer.rowTable() +
               ", sampleRate = " + decimals(document.recording.sampleRate, 3) +
               ", framesPerPoint = " + decimals(writer.framesPerPoint(), 6) +
               ", waveformHeight = " + number(kWaveformHeight) + ", rowLead = " + number(writer.rowLead()) +
               ", duration = " + decimals(duration, 6) + ";" + kPlayerScript +
               "</script>\n</body>\n</html>\n";
}

} // namespace tarn
