#pragma once

#include "Pictures/SongPictureLayout.h"
#include "Platform/Export.h"
#include "PracticePage/PracticeSession.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

namespace TARN_PUBLIC tarn {

/// Which rows of the chart a page wants, and how they are laid out.
struct RowsRequest {
    double width = 1000;         ///< of a row, in CSS pixels
    double pixelsPerSecond = 60; ///< about
    bool asTriads = false;
    std::int64_t firstRow = 0;
    std::int64_t count = 1;
    bool wantsStarts = false; ///< the first frames of all rows too
};

/// The chart in rows as pages draw it. The layouts that were used last are kept. Thread-safe.
class ChartRows {
public:
    /// A JSON object (docs/practice-page.md).
    [[nodiscard]] std::string rowsJSON(const PracticeSession::View& view, const RowsRequest& request);

private:
    struct Laid {
        std::shared_ptr<const Song> song;
        double width;
        double pixelsPerSecond;
        bool asTriads;
        std::shared_ptr<const SongPictureLayout> layout;
    };
    std::shared_ptr<const SongPictureLayout> layoutFor(const std::shared_ptr<const Song>& song,
                                                       const RowsRequest& request);

    static constexpr std::size_t kMostLayouts = 4;
    std::mutex mMutex;
    std::deque<Laid> mLaid; ///< the newest first
};

} // namespace tarn
