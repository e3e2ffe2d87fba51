#include "Pictures/RowPicture.h"

#include "Pictures/PictureText.h"
#include "TarnFoundation/Formatting/TarnFormatting.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace tarn {

namespace {

// Heights in points.
constexpr double kSectionHeight = 18;
constexpr double kRegionLaneHeight = 17;
constexpr double kChordHeight = 32;
constexpr double kTickHeight = 8;
constexpr double kNumberHeight = 14;
constexpr double kMarkerHeight = 16; // of a lane
constexpr double kFlagWidth = 10;
constexpr double kRowGap = 20;

// As the style sheet has them.
constexpr PictureFont kSectionFont{11.5, true};
constexpr PictureFont kRegionFont{11, false};
constexpr PictureFont kMarkerFont{11, false};
constexpr PictureFont kNumberFont{11, true};
constexpr PictureFont kTimeFont{9, false};
constexpr PictureFont kChordFont{16, true};
constexpr PictureFont kNarrowChordFont{12, true};
constexpr PictureFont kCrowdedChordFont{10, true};

using Item = SongPictureLayout::Item;

/// The items of a section that the row shows, less those that begin less than half a point before the next
/// one that is shown (in its lane): nobody could tell them apart. What is left out is counted.
std::vector<Item> shownItems(const SongPictureLayout& layout, std::int64_t row,
                             SongPictureLayout::Section section, std::size_t& hiddenCount) {
    constexpr double kLeastDistance = 0.5; // points
    const auto items = layout.itemsInRow(row, section);
    std::vector<double> next(std::max<std::size_t>(layout.regionLaneCount(), 1),
                             std::numeric_limits<double>::infinity());
    std::vector<Item> shown;
    for (auto item = items.rbegin(); item != items.rend(); ++item) {
        const double left = layout.rows().offset((*item)->frames.lower, row);
        if (left > next[(*item)->lane] - kLeastDistance) {
            ++hiddenCount;
            continue;
        }
        next[(*item)->lane] = left;
        shown.push_back(*item);
    }
    std::reverse(shown.begin(), shown.end());
    return shown;
}

/// A marker as a row shows it: its name stands in the highest lane in which it ends before the next marker,
/// whose line goes down as far as its own lane.
struct PlacedMarker {
    Item item;
    double left;
    double room; ///< for the name
    std::size_t lane;
};

std::vector<PlacedMarker> placedMarkers(const SongPictureLayout& layout, std::int64_t row,
                                        std::size_t& hiddenCount) {
    constexpr double kGap = 3;
    constexpr std::size_t kMostLanes = 3;
    std::array<double, kMostLanes> ends{}; // of what is free in each lane; no lane has more than a lower one
    ends.fill(layout.rows().pageWidth() + kGap);
    std::vector<PlacedMarker> markers;
    const auto shown = shownItems(layout, row, SongPictureLayout::markers, hiddenCount);
    for (auto item = shown.rbegin(); item != shown.rend(); ++item) {
        const double left = layout.rows().offset((*item)->frames.lower, row);
        const double needed = kFlagWidth + textWidth((*item)->text, kMarkerFont) + kGap;
        std::size_t lane = 0;
        for (std::size_t lower = 1; lower < kMostLanes && left + needed > ends[lane]; ++lower) {
            if (ends[lower] > ends[lane])
                lane = lower;
        }
        markers.push_back({*item, left, ends[lane] - kGap - kFlagWidth - left, lane});
        std::fill_n(ends.begin(), lane + 1, left);
    }
    std::reverse(markers.begin(), markers.end());
    return markers;
}

} // namespace

/// Where the parts of a row lie.
struct RowPicture::Anatomy {
    std::size_t regionLaneCount = 0;
    double regionTop = 0;
    double chordBaseline = 0;
    double waveformTop = 0;
    double waveformBottom = 0;
    double numberBaseline = 0;
    double numberBottom = 0;
    double height = 0;

    Anatomy(const SongPictureLayout& layout, std::int64_t row) {
        for (const auto& region : layout.itemsInRow(row, SongPictureLayout::regions))
            regionLaneCount = std::max(regionLaneCount, region->lane + 1);
        regionTop = layout.has(SongPictureLayout::sections) ? kSectionHeight + 3 : 0;
        waveformTop = regionTop + static_cast<double>(regionLaneCount) * kRegionLaneHeight +
                      (layout.has(SongPictureLayout::chords) ? kChordHeight : kTickHeight);
        chordBaseline = waveformTop - 10;
        waveformBottom = waveformTop + kWaveformHeight;
        numberBottom = waveformBottom + kNumberHeight;
        numberBaseline = numberBottom - 3;
        std::size_t markerLaneCount = 0;
        std::size_t ignored = 0;
        for (const auto& marker : placedMarkers(layout, row, ignored))
            markerLaneCount = std::max(markerLaneCount, marker.lane + 1);
        height = numberBottom + static_cast<double>(markerLaneCount) * kMarkerHeight + kRowGap;
    }
    [[nodiscard]] double markerBaseline(std::size_t lane) const {
        return numberBottom + static_cast<double>(lane + 1) * kMarkerHeight - 4;
    }
};

double RowPicture::height(std::int64_t row) const {
    return Anatomy(mLayout, row).height;
}

double RowPicture::waveformTop(std::int64_t row) const {
    return Anatomy(mLayout, row).waveformTop;
}

/// One row on its way to become text.
class RowPicture::Drawing {
public:
    Drawing(const RowPicture& picture, std::int64_t row)
        : mLayout(picture.mLayout), mRow(row), mAnatomy(mLayout, row), mSampleRate(picture.mSampleRate),
          mFrames(mLayout.rows().frameRange(row)), mWidth(mLayout.rows().width(row)),
          mPageWidth(mLayout.rows().pageWidth()), mHiddenCount(mLayout.hiddenRegionCount(row)) {}

    std::string draw(const WaveformOutline& outline, std::string_view waveform) {
        addSections();
        addWaveform(outline, waveform);
        addBeats();
        addRegions();
        addChords();
        addMarkers();
        addTime();
        if (mHiddenCount > 0)
            addText("more", mPageWidth, mAnatomy.height - 7, "+ " + std::to_string(mHiddenCount) + " more");
        return std::move(mText);
    }

private:
    [[nodiscard]] double x(std::int64_t frame) const { return mLayout.rows().offset(frame, mRow); }

    void addText(std::string_view cssClass, double left, double baseline, std::string_view content) {
        addText(cssClass, left, baseline, content, content);
    }
    /// What is shown of a name; one that is cut has a tip.
    void addText(std::string_view cssClass, double left, double baseline, std::string_view shown,
                 std::string_view name) {
        if (shown.empty())
            return;
        mText += "<text class=\"" + std::string(cssClass) + "\" x=\"" + pictureNumber(left) + "\" y=\"" +
                 pictureNumber(baseline) + "\">" + (shown == name ? "" : titleElement(name)) +
                 escapedMarkup(shown) + "</text>\n";
    }
    void addLine(std::string_view cssClass, double x1, double y1, double x2, double y2) {
        mText += "<line class=\"" + std::string(cssClass) + "\" x1=\"" + pictureNumber(x1) + "\" y1=\"" +
                 pictureNumber(y1) + "\" x2=\"" + pictureNumber(x2) + "\" y2=\"" + pictureNumber(y2) +
                 "\"/>\n";
    }
    static std::string titleElement(std::string_view tip) {
        return "<title>" + escapedMarkup(tip) + "</title>";
    }
    /// The end of a mark's element, with a tip where its name has no room.
    static std::string endOfMark(const std::string& element, std::string_view shown, std::string_view name) {
        return shown.empty() && !name.empty() ? ">" + titleElement(name) + "</" + element + ">\n" : "/>\n";
    }

    std::vector<Item> shownItems(SongPictureLayout::Section section) {
        return tarn::shownItems(mLayout, mRow, section, mHiddenCount);
    }

    void addTime() {
        constexpr double kGap = 5;
        const auto time = formattedDuration(static_cast<double>(mFrames.lower) / mSampleRate);
        const bool isLong = textWidth(time, kTimeFont) > kLeftMargin - kGap;
        addText(isLong ? "time long" : "time", -kGap,
                (mAnatomy.waveformTop + mAnatomy.waveformBottom) / 2 + 3, time);
    }

    void addSections() {
        for (const auto& section : shownItems(SongPictureLayout::sections)) {
            const double left = x(section->frames.lower);
            const double right = x(section->frames.upper);
            const auto shown = fittedText(section->text, right - left - 10, kSectionFont);
            mText += "<rect class=\"section\" x=\"" + pictureNumber(left) + "\" y=\"0\" width=\"" +
                     pictureNumber(std::max(0.0, right - left - 1)) + "\" height=\"" +
                     pictureNumber(kSectionHeight) + "\" rx=\"3\" fill=\"" + section->color + "\"" +
                     endOfMark("rect", shown, section->text);
            addText(section->isDark ? "section-name on-dark" : "section-name", left + 6, kSectionHeight - 5,
                    shown, section->text);
        }
    }

    void addRegions() {
        for (const auto& region : shownItems(SongPictureLayout::regions)) {
            const double left = x(region->frames.lower);
            const double right = x(region->frames.upper);
            const auto shown = fittedText(region->text, right - left - 7, kRegionFont);
            const auto lane = static_cast<double>(mAnatomy.regionLaneCount - 1 - region->lane);
            const double y = mAnatomy.regionTop + lane * kRegionLaneHeight + 13;
            // A bracket with a foot where the region begins and ends.
            const bool begins = region->frames.lower >= mFrames.lower;
            const bool ends = region->frames.upper <= mFrames.upper;
            mText += "<path class=\"bracket\" d=\"M" + pictureNumber(left) + " " +
                     pictureNumber(begins ? y + 4 : y) + (begins ? "v-4" : "") + "H" +
                     pictureNumber(std::max(left, right - (ends ? 1.5 : 0))) + (ends ? "v4" : "") + "\"" +
                     endOfMark("path", shown, region->text);
            addText("region-name", left + 4, y - 3, shown, region->text);
        }
    }

    /// In print size where that has room, else narrower, else small and, where it must be, raised; else as
    /// the tip of its tick.
    void addChords() {
        const auto chords = shownItems(SongPictureLayout::chords);
        double free = addChordGoingOn(chords.empty() ? mPageWidth : x(chords.front()->frames.lower));
        double raisedFree = 0;
        for (std::size_t i = 0; i < chords.size(); ++i) {
            const double left = x(chords[i]->frames.lower);
            const auto& name = chords[i]->text;
            // The last one may reach into the margin.
            const double end = mPageWidth + kRightMargin;
            const double right = i + 1 == chords.size() ? end : x(chords[i + 1]->frames.lower) - 3;
            const auto width = [&](PictureFont font) { return textWidth(name, font); };
            // In front of the row's end where there is no room after its place.
            const double crowdedLeft = std::min(left, end - width(kCrowdedChordFont));
            const double crowdedEnd = crowdedLeft + width(kCrowdedChordFont) + 3;
            bool isShown = true;
            if (left >= free && left + width(kNarrowChordFont) <= right) {
                const bool isNarrow = left + width(kChordFont) > right;
                addText(isNarrow ? "chord narrow" : "chord", left, mAnatomy.chordBaseline, name);
                free = left + width(isNarrow ? kNarrowChordFont : kChordFont);
            } else if (crowdedLeft >= free && (crowdedEnd - 3 <= right || crowdedLeft < raisedFree)) {
                addText("chord crowded", crowdedLeft, mAnatomy.chordBaseline, name);
                free = crowdedEnd;
            } else if (crowdedLeft >= raisedFree) {
                addText("chord crowded", crowdedLeft, mAnatomy.chordBaseline - kRaise, name);
                raisedFree = crowdedEnd;
            } else {
                isShown = false;
                ++mHiddenCount;
            }
            mText += "<path class=\"change\" d=\"M" + pictureNumber(left) + " " +
                     pictureNumber(mAnatomy.waveformTop - 5) + "v5\"" +
                     endOfMark("path", isShown ? name : "", name);
        }
    }

    /// The chord that sounds when the row begins, up to the first change. Returns how far it reaches.
    double addChordGoingOn(double change) {
        const auto chord = mLayout.chordBeforeRow(mRow);
        if (!chord || change <= 0)
            return 0;
        for (const auto& [font, cssClass] : {std::pair(kChordFont, "chord going-on"),
                                             std::pair(kNarrowChordFont, "chord narrow going-on")}) {
            const double width = textWidth(chord->text, font);
            if (width + 3 <= change) {
                addText(cssClass, 0, mAnatomy.chordBaseline, chord->text);
                return width;
            }
        }
        return 0;
    }

    /// Whether the next row begins with a bar.
    [[nodiscard]] bool endsWithBarLine() const {
        if (mRow + 1 == mLayout.rows().rowCount())
            return false;
        const auto next = mLayout.itemsInRow(mRow + 1, SongPictureLayout::beats);
        return !next.empty() && next.front()->isDownbeat && next.front()->frames.lower == mFrames.upper;
    }

    void addBeats() {
        const double bottom = mAnatomy.waveformBottom;
        std::vector<double> numbered; // where bar numbers stand
        const auto shown = shownItems(SongPictureLayout::beats);
        double free = -kLeftMargin;
        for (const auto& beat : shown) {
            const double at = x(beat->frames.lower);
            if (!beat->isDownbeat) {
                addLine("beat", at, bottom - (opensGroup(*beat) ? 12 : 6), at, bottom);
                continue;
            }
            addLine("bar", at, mAnatomy.waveformTop, at, bottom + 3);
            const auto number = std::to_string(beat->number);
            const double half = textWidth(number, kNumberFont) / 2;
            if (beat->number == 0 || at - half < free)
                continue;
            addText("bar-number", at, mAnatomy.numberBaseline, number);
            numbered.push_back(at);
            free = at + half + 3;
        }
        if (endsWithBarLine())
            addLine("bar", mWidth, mAnatomy.waveformTop, mWidth, bottom + 3);
        for (auto bar = shown.begin(); bar != shown.end();) {
            const auto next =
                std::find_if(bar + 1, shown.end(), [](const auto& beat) { return beat->isDownbeat; });
            addBeatNumbers(bar, next, numbered);
            bar = next;
        }
    }

    /// Whether a beat within a bar is one that is felt.
    [[nodiscard]] bool opensGroup(const PictureItem& beat) const {
        return beat.number == 0 || (beat.number - 1) % mLayout.beatsPerGroup() == 0;
    }

    /// Numbers all beats of a bar, or the first one of each group, or of every other one: as many as have
    /// room.
    void addBeatNumbers(std::vector<Item>::const_iterator bar, std::vector<Item>::const_iterator end,
                        const std::vector<double>& barNumbers) {
        constexpr double kDistance = 14;
        const auto isNearBar = [&](double at) {
            const auto next = std::lower_bound(barNumbers.begin(), barNumbers.end(), at);
            return (next != barNumbers.end() && *next - at < kDistance) ||
                   (next != barNumbers.begin() && at - *(next - 1) < kDistance);
        };
        const std::size_t group = mLayout.beatsPerGroup();
        for (const std::size_t step : {std::size_t{1}, group, 2 * group}) {
            std::vector<std::pair<double, std::size_t>> places;
            bool haveRoom = true;
            for (auto beat = bar; beat != end; ++beat) {
                if ((*beat)->isDownbeat || (*beat)->number == 0 || ((*beat)->number - 1) % step != 0)
                    continue;
                const double at = x((*beat)->frames.lower);
                haveRoom =
                    haveRoom && !isNearBar(at) && (places.empty() || at - places.back().first >= kDistance);
                places.emplace_back(at, (*beat)->number);
            }
            if (!haveRoom)
                continue;
            for (const auto& [at, number] : places)
                addText("beat-number", at, mAnatomy.numberBaseline, std::to_string(number));
            return;
        }
    }

    void addMarkers() {
        for (const auto& [marker, left, room, lane] : placedMarkers(mLayout, mRow, mHiddenCount)) {
            const double baseline = mAnatomy.markerBaseline(lane);
            addLine("marker", left, mAnatomy.waveformTop, left, mAnatomy.waveformBottom);
            addLine("marker", left, mAnatomy.numberBottom, left, baseline + 2); // spares the beat's number
            const auto shown = fittedText(marker->text, room, kMarkerFont);
            mText += "<path class=\"flag\" d=\"M" + pictureNumber(left) + " " + pictureNumber(baseline - 8) +
                     "l7 4l-7 4z\"" + endOfMark("path", shown, marker->text);
            addText("marker-name", left + kFlagWidth, baseline, shown, marker->text);
        }
    }

    void addWaveform(const WaveformOutline& outline, std::string_view waveform) {
        const double middle = (mAnatomy.waveformTop + mAnatomy.waveformBottom) / 2;
        addLine("middle", 0, middle, mWidth, middle);
        if (waveform.empty())
            return;
        const double perColumn = outline.framesPerColumn();
        mText +=
            "<svg y=\"" + pictureNumber(mAnatomy.waveformTop) + "\" width=\"" + pictureNumber(mWidth) +
            "\" height=\"" + pictureNumber(kWaveformHeight) + "\" viewBox=\"" +
            pictureNumber(static_cast<double>(mFrames.lower) / perColumn) + " -127 " +
            pictureNumber(std::max(0.01, static_cast<double>(mFrames.upper - mFrames.lower) / perColumn)) +
            " 254\" preserveAspectRatio=\"none\">";
        mText += waveform;
        mText += "</svg>\n";
    }

    static constexpr double kRightMargin = 10; ///< beyond the page's width, that chords may use
    static constexpr double kRaise = 14;       ///< of crowded chords over the others

    const SongPictureLayout& mLayout;
    std::int64_t mRow;
    Anatomy mAnatomy;
    double mSampleRate;
    Range<std::int64_t> mFrames;
    double mWidth;
    double mPageWidth;        ///< up to where names may reach, also in a short row
    std::size_t mHiddenCount; ///< what the row does not show
    std::string mText;
};

std::string RowPicture::draw(std::int64_t row, const WaveformOutline& outline,
                             std::string_view waveform) const {
    return Drawing(*this, row).draw(outline, waveform);
}

} // namespace tarn
