#include "PracticePage/RowsJSON.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace tarn {
namespace {

using nlohmann::json;
using Layout = SongPictureLayout;

/// Hundredths of a pixel.
double rounded(double x) {
    return std::round(x * 100) / 100;
}

/// One row of a layout as JSON.
class RowJSON {
public:
    RowJSON(const Song& song, const Layout& layout, std::int64_t row)
        : mSong(song), mLayout(layout), mRow(row), mFrames(layout.rows().frameRange(row)) {}

    [[nodiscard]] json object() const {
        const double width = rounded(mLayout.rows().width(mRow));
        json row{{"index", mRow},
                 {"frame", mFrames.lower},
                 {"end", mFrames.upper},
                 {"width", width},
                 {"bars", json::array()},
                 {"beats", json::array()},
                 {"chords", chords()},
                 {"sections", stretches(Layout::sections)},
                 {"regions", stretches(Layout::regions)},
                 {"hiddenRegions", mLayout.hiddenRegionCount(mRow)},
                 {"markers", markers()},
                 {"pieces", {{mFrames.lower, 0}, {mFrames.upper, width}}}};
        for (const auto& beat : mLayout.itemsInRow(mRow, Layout::beats)) {
            const double at = x(beat->frames.lower);
            if (beat->isDownbeat)
                row["bars"].push_back({{"number", beat->number}, {"x", at}});
            row["beats"].push_back(at);
        }
        return row;
    }

private:
    [[nodiscard]] double x(std::int64_t frame) const { return rounded(mLayout.rows().offset(frame, mRow)); }

    [[nodiscard]] json chord(const PictureItem& item, bool isRepeated) const {
        const auto confidence = mSong.facts.chords.find(item.identifier);
        return {
            {"id", item.identifier},
            {"x", isRepeated ? 0.0 : x(item.frames.lower)},
            {"text", item.text},
            {"confidence", confidence == mSong.facts.chords.end() ? json(nullptr) : json(confidence->second)},
            {"repeated", isRepeated}};
    }

    [[nodiscard]] json chords() const {
        auto array = json::array();
        const auto items = mLayout.itemsInRow(mRow, Layout::chords);
        const auto before = mLayout.chordBeforeRow(mRow);
        if (before && (items.empty() || items.front()->frames.lower > mFrames.lower))
            array.push_back(chord(*before, true));
        for (const auto& item : items)
            array.push_back(chord(*item, false));
        for (std::size_t i = 0; i < array.size(); ++i) {
            const double end = i + 1 < array.size() ? array[i + 1]["x"].get<double>() : x(mFrames.upper);
            array[i]["width"] = rounded(end - array[i]["x"].get<double>());
        }
        return array;
    }

    [[nodiscard]] json stretches(Layout::Section section) const {
        auto array = json::array();
        for (const auto& item : mLayout.itemsInRow(mRow, section)) {
            json stretch{{"id", item->identifier},
                         {"frame", item->frames.lower},
                         {"end", item->frames.upper},
                         {"x", x(item->frames.lower)},
                         {"width", rounded(x(item->frames.upper) - x(item->frames.lower))},
                         {"text", item->text},
                         {"repeated", item->frames.lower < mFrames.lower}};
            if (section == Layout::regions) {
                stretch["lane"] = item->lane;
            } else {
                stretch["color"] = item->color;
                stretch["dark"] = item->isDark;
            }
            array.push_back(std::move(stretch));
        }
        return array;
    }

    [[nodiscard]] json markers() const {
        auto array = json::array();
        for (const auto& item : mLayout.itemsInRow(mRow, Layout::markers))
            array.push_back({{"id", item->identifier},
                             {"frame", item->frames.lower},
                             {"x", x(item->frames.lower)},
                             {"text", item->text}});
        return array;
    }

    const Song& mSong;
    const Layout& mLayout;
    const std::int64_t mRow;
    const Range<std::int64_t> mFrames;
};

} // namespace

std::shared_ptr<const SongPictureLayout> ChartRows::layoutFor(const std::shared_ptr<const Song>& song,
                                                              const RowsRequest& request) {
    const std::lock_guard guard(mMutex);
    for (const Laid& laid : mLaid) {
        if (laid.song == song && laid.width == request.width &&
            laid.pixelsPerSecond == request.pixelsPerSecond && laid.asTriads == request.asTriads)
            return laid.layout;
    }
    PictureOptions options;
    options.pageWidth = request.width;
    options.secondsPerRow = request.width / request.pixelsPerSecond;
    options.asTriads = request.asTriads;
    mLaid.push_front({song, request.width, request.pixelsPerSecond, request.asTriads,
                      std::make_shared<const SongPictureLayout>(*song, options)});
    if (mLaid.size() > kMostLayouts)
        mLaid.pop_back();
    return mLaid.front().layout;
}

std::string ChartRows::rowsJSON(const PracticeSession::View& view, const RowsRequest& request) {
    const auto layout = layoutFor(view.song, request);
    const std::int64_t rowCount = layout->rows().rowCount();
    json object{{"revision", view.revision}, {"rowCount", rowCount}, {"rows", json::array()}};
    const std::int64_t end = std::min(rowCount, request.firstRow + request.count);
    for (std::int64_t row = request.firstRow; row < end; ++row)
        object["rows"].push_back(RowJSON(*view.song, *layout, row).object());
    if (request.wantsStarts) {
        auto starts = json::array();
        for (std::int64_t row = 0; row < rowCount; ++row)
            starts.push_back(layout->rows().frameRange(row).lower);
        object["starts"] = std::move(starts);
    }
    return object.dump(-1, ' ', false, json::error_handler_t::replace);
}

} // namespace tarn
