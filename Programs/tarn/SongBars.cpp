#include "Programs/tarn/SongBars.h"

#include <algorithm>

namespace tarn::program {

SongBars::SongBars(const Song& document) {
    std::vector<std::shared_ptr<TarnBeatEntry>> beats;
    for (const auto& beat : document.notes->beatEntriesFilteredByTimeSignature()) {
        if (beat->location() < 0)
            continue;
        if (beat->isDownbeat())
            mStarts.push_back(beats.size());
        beats.push_back(beat);
    }
    mBeats = std::move(beats);
}

std::optional<SongBars::Place> SongBars::placeOfBeat(std::size_t index) const {
    const auto past = std::upper_bound(mStarts.begin(), mStarts.end(), index) - mStarts.begin();
    if (past == 0)
        return std::nullopt;
    const auto bar = static_cast<std::size_t>(past - 1);
    return Place{bar, index - mStarts[bar]};
}

std::optional<SongBars::Place> SongBars::placeOfFrame(std::int64_t frame) const {
    const auto past =
        std::upper_bound(mBeats.begin(), mBeats.end(), frame,
                         [](std::int64_t at, const auto& beat) { return at < beat->location(); }) -
        mBeats.begin();
    return past == 0 ? std::nullopt : placeOfBeat(static_cast<std::size_t>(past - 1));
}

} // namespace tarn::program
