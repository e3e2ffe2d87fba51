#include "KELPMusic/ChordTriad.h"

#include <algorithm>

namespace tarn {

KELPChordRef triadOf(const KELPChordRef& chord) {
    if (!chord || chord->isNoChord())
        return chord;
    const auto& intervals = chord->chordIntervals();
    const auto has = [&](std::int32_t interval) {
        return std::find(intervals.begin() + 1, intervals.end(), interval) != intervals.end();
    };
    KELPChordIntervals triad{};
    std::size_t count = 1;
    const auto takeFirst = [&](std::initializer_list<std::int32_t> candidates) {
        const auto* const found = std::find_if(candidates.begin(), candidates.end(), has);
        if (found != candidates.end())
            triad[count++] = *found;
    };
    takeFirst({4, 3, 5, 2});
    takeFirst({7, 6, 8});
    return KELPChord::chordWithRoot(chord->root(), triad);
}

} // namespace tarn
