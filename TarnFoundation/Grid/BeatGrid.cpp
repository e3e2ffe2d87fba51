#include "TarnFoundation/Grid/BeatGrid.h"

#include "Platform/CheckedArithmetic.h"
#include "TarnFoundation/Grid/EvenSpacing.h"

#include <algorithm>

namespace tarn {

namespace {

BarLines barLinesOf(std::span<const GridBeat> beats) {
    std::vector<std::size_t> downbeats;
    for (std::size_t i = 0; i < beats.size(); ++i) {
        if (beats[i].isDownbeat)
            downbeats.push_back(i);
    }
    return {beats.size(), std::move(downbeats)};
}

std::vector<std::int64_t> locationsOf(std::span<const GridBeat> beats) {
    std::vector<std::int64_t> locations;
    locations.reserve(beats.size());
    for (const GridBeat& beat : beats)
        locations.push_back(beat.location);
    return locations;
}

/// Appends a bar of `count` beats.
void appendBar(std::vector<GridBeat>& beats, std::int64_t count, std::int64_t start, std::int64_t end) {
    const std::size_t downbeat = beats.size();
    for (const std::int64_t location : evenlySpacedLocations(count, start, end))
        beats.push_back({location, false});
    beats[downbeat].isDownbeat = true;
}

} // namespace

BeatGrid::BeatGrid(std::vector<std::int64_t> locations, BarLines barLines)
    : mLocations(std::move(locations)), mBarLines(std::move(barLines)) {
    precondition(mLocations.size() == mBarLines.positionCount(), "Each position must have a location");
    precondition(std::is_sorted(mLocations.begin(), mLocations.end()), "Beats must be in order");
}

BeatGrid::BeatGrid(std::span<const GridBeat> beats) : BeatGrid(locationsOf(beats), barLinesOf(beats)) {}

std::vector<GridBeat> BeatGrid::beats() const {
    std::vector<GridBeat> beats;
    beats.reserve(size());
    for (const std::int64_t location : mLocations)
        beats.push_back({location, false});
    for (const std::size_t downbeat : mBarLines.downbeats())
        beats[downbeat].isDownbeat = true;
    return beats;
}

std::vector<std::int64_t> BeatGrid::downbeatLocations() const {
    std::vector<std::int64_t> locations;
    locations.reserve(mBarLines.barCount());
    for (const std::size_t downbeat : mBarLines.downbeats())
        locations.push_back(mLocations[downbeat]);
    return locations;
}

Bar BeatGrid::bar(std::size_t index, std::int64_t gridEnd) const {
    const Range<std::size_t> positions = mBarLines.bar(index);
    return {index + 1, positions, mLocations[positions.lower], endOf(positions, gridEnd)};
}

std::vector<Bar> BeatGrid::bars(std::int64_t gridEnd) const {
    std::vector<Bar> bars;
    bars.reserve(mBarLines.barCount());
    for (std::size_t i = 0; i < mBarLines.barCount(); ++i)
        bars.push_back(bar(i, gridEnd));
    return bars;
}

std::optional<Bar> BeatGrid::barAt(std::int64_t frame, std::int64_t gridEnd) const {
    const auto place = position(frame);
    return place ? std::optional(bar(place->bar - 1, gridEnd)) : std::nullopt;
}

std::optional<BarBeat> BeatGrid::barBeat(std::size_t position) const {
    const auto bar = mBarLines.barHolding(position);
    if (!bar)
        return std::nullopt;
    return BarBeat{*bar + 1, position - mBarLines.bar(*bar).lower + 1};
}

std::optional<BarBeat> BeatGrid::position(std::int64_t frame) const {
    const auto past = std::upper_bound(mLocations.begin(), mLocations.end(), frame) - mLocations.begin();
    return past == 0 ? std::nullopt : barBeat(static_cast<std::size_t>(past - 1));
}

std::size_t BeatGrid::firstAtOrAfter(std::int64_t frame) const {
    return static_cast<std::size_t>(std::lower_bound(mLocations.begin(), mLocations.end(), frame) -
                                    mLocations.begin());
}

BeatGrid BeatGrid::keeping(std::span<const std::size_t> positions) const {
    BarLines barLines = mBarLines.keeping(positions); // which checks the positions
    std::vector<std::int64_t> locations;
    locations.reserve(positions.size());
    for (const std::size_t position : positions)
        locations.push_back(mLocations[position]);
    return {std::move(locations), std::move(barLines)};
}

BeatGrid BeatGrid::from(std::int64_t frame) const {
    const auto all = beats();
    return BeatGrid(std::span(all).subspan(firstAtOrAfter(frame)));
}

BeatGrid BeatGrid::with(const GridEdit& edit) const {
    precondition(edit.replaced.lower <= edit.replaced.upper && edit.replaced.upper <= size(),
                 "An edit must replace beats of the grid");
    auto after = beats();
    const auto at = [&](std::size_t position) {
        return after.begin() + static_cast<std::ptrdiff_t>(position);
    };
    after.erase(at(edit.replaced.lower), at(edit.replaced.upper));
    after.insert(after.end(), edit.beats.begin(), edit.beats.end());
    std::stable_sort(after.begin(), after.end(),
                     [](const GridBeat& a, const GridBeat& b) { return a.location < b.location; });
    return BeatGrid(after);
}

GridEdit BeatGrid::barMoved(std::size_t position, std::int64_t to, std::int64_t gridEnd) const {
    const auto moved = mBarLines.stretchFrom(position);
    const auto previous = mBarLines.stretchBefore(position);
    const std::int64_t start = mBarLines.isDownbeat(previous.lower) ? mLocations[previous.lower] : 0;
    const std::int64_t end = endOf(moved, gridEnd);
    precondition(to <= end, "A bar line must not move beyond the end of its bar");
    precondition(previous.isEmpty() || start <= to,
                 "A bar line must not move before the start of the previous bar");
    GridEdit edit{{previous.lower, moved.upper}, {}};
    if (!previous.isEmpty())
        appendBar(edit.beats, static_cast<std::int64_t>(sizeOf(previous)), start, to);
    appendBar(edit.beats, static_cast<std::int64_t>(sizeOf(moved)), to, end);
    return edit;
}

GridEdit BeatGrid::barRefilled(std::size_t position, std::int64_t count, std::int64_t gridEnd) const {
    const auto replaced = mBarLines.stretchFrom(position);
    const std::int64_t start = mLocations[position];
    const std::int64_t end = endOf(replaced, gridEnd);
    precondition(start <= end, "A bar must not end before it starts");
    GridEdit edit{replaced, {}};
    appendBar(edit.beats, count, start, end);
    return edit;
}

std::vector<GridBeat> barsInEighths(std::span<const std::int64_t> barLines, std::int64_t end,
                                    std::int64_t beatsPerBar) {
    precondition(!barLines.empty(), "There must be a bar line to begin with");
    std::vector<GridBeat> counted;
    for (std::size_t i = 0; i < barLines.size(); ++i)
        appendBar(counted, beatsPerBar, barLines[i], i + 1 < barLines.size() ? barLines[i + 1] : end);
    const auto locations = locationsOf(counted);
    auto halfway = midpointLocations(locations);
    // After a longer bar of a single beat the last half gap may reach past the end; the last beat stays
    // before it, as long as the counted one does.
    if (halfway.back() >= end && locations.back() < end)
        halfway.back() = checkedAdd(locations.back(), checkedSubtract(end, locations.back()) / 2);
    std::vector<GridBeat> beats;
    beats.reserve(2 * counted.size());
    for (std::size_t i = 0; i < counted.size(); ++i) {
        beats.push_back(counted[i]);
        beats.push_back({halfway[i], false});
    }
    return beats;
}

} // namespace tarn
