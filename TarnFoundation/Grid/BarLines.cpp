#include "TarnFoundation/Grid/BarLines.h"

#include <algorithm>
#include <functional>

namespace tarn {

BarLines::BarLines(std::size_t positionCount, std::vector<std::size_t> downbeats)
    : mPositionCount(positionCount), mDownbeats(std::move(downbeats)) {
    precondition(std::adjacent_find(mDownbeats.begin(), mDownbeats.end(), std::greater_equal<>()) ==
                     mDownbeats.end(),
                 "Downbeats must ascend");
    precondition(mDownbeats.empty() || mDownbeats.back() < positionCount, "Downbeats must lie in the grid");
}

bool BarLines::isDownbeat(std::size_t position) const {
    return std::binary_search(mDownbeats.begin(), mDownbeats.end(), position);
}

Range<std::size_t> BarLines::bar(std::size_t index) const {
    precondition(index < mDownbeats.size(), "There is no such bar");
    return {mDownbeats[index], index + 1 < mDownbeats.size() ? mDownbeats[index + 1] : mPositionCount};
}

std::optional<std::size_t> BarLines::barHolding(std::size_t position) const {
    precondition(position < mPositionCount, "There is no such position");
    const auto next = std::upper_bound(mDownbeats.begin(), mDownbeats.end(), position) - mDownbeats.begin();
    return next == 0 ? std::nullopt : std::optional(static_cast<std::size_t>(next - 1));
}

Range<std::size_t> BarLines::stretchFrom(std::size_t position) const {
    precondition(position < mPositionCount, "There is no such position");
    const auto next = std::upper_bound(mDownbeats.begin(), mDownbeats.end(), position);
    return {position, next == mDownbeats.end() ? mPositionCount : *next};
}

Range<std::size_t> BarLines::stretchBefore(std::size_t position) const {
    precondition(position < mPositionCount, "There is no such position");
    const auto next = std::lower_bound(mDownbeats.begin(), mDownbeats.end(), position);
    return {next == mDownbeats.begin() ? 0 : *(next - 1), position};
}

BarLines BarLines::keeping(std::span<const std::size_t> positions) const {
    std::vector<std::size_t> downbeats;
    auto next = mDownbeats.begin();
    for (std::size_t i = 0; i < positions.size(); ++i) {
        precondition(positions[i] < mPositionCount && (i == 0 || positions[i - 1] < positions[i]),
                     "The positions to keep must ascend and be those of the grid");
        next = std::find_if(next, mDownbeats.end(), [&](std::size_t d) { return d >= positions[i]; });
        if (next != mDownbeats.end() && *next == positions[i])
            downbeats.push_back(i);
    }
    return {positions.size(), std::move(downbeats)};
}

std::vector<BarLines::Move> BarLines::moves(std::int64_t offset) const {
    const auto count = static_cast<std::int64_t>(mPositionCount);
    precondition(count == 0 || offset >= -count,
                 "Downbeats cannot be shifted back by more than the number of beats");
    std::vector<Move> moves;
    moves.reserve(mDownbeats.size());
    for (const std::size_t downbeat : mDownbeats) {
        const auto unwrapped = checkedAdd(count + static_cast<std::int64_t>(downbeat), offset);
        moves.push_back({downbeat, static_cast<std::size_t>(unwrapped % count)});
    }
    return moves;
}

BarLines BarLines::shifted(std::int64_t offset) const {
    std::vector<std::size_t> downbeats;
    downbeats.reserve(mDownbeats.size());
    for (const Move& move : moves(offset))
        downbeats.push_back(move.to);
    std::sort(downbeats.begin(), downbeats.end());
    return {mPositionCount, std::move(downbeats)};
}

BarLines BarLines::markedEvery(std::size_t step) const {
    precondition(step >= 1, "A bar must hold at least one beat");
    std::vector<std::size_t> downbeats;
    for (std::size_t position = pickup().upper; position < mPositionCount; position += step)
        downbeats.push_back(position);
    return {mPositionCount, std::move(downbeats)};
}

std::vector<std::size_t> BarLines::quarterNotes() const {
    std::vector<std::size_t> positions;
    positions.reserve(mPositionCount / 2 + 1);
    auto next = mDownbeats.begin();
    takeQuarterNotes(
        mPositionCount, [&](std::size_t) { return next == mDownbeats.end() ? mPositionCount : *next++; },
        [&](std::size_t position) { positions.push_back(position); });
    return positions;
}

} // namespace tarn
