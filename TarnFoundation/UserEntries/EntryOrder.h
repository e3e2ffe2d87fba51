#pragma once

#include "Platform/Export.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace TARN_PUBLIC tarn {

/// Sorts by location, ascending; entries at one location keep their order. The first `orderedCount` entries
/// are known to be in order. O(n + k log n) for k entries after an ordered beginning, without looking at its
/// entries one by one.
template <typename Entry>
void sortByLocation(std::vector<std::shared_ptr<Entry>>& entries, std::size_t orderedCount = 0) {
    const auto byLocation = [](const auto& a, const auto& b) { return a->location() < b->location(); };
    const auto known = entries.begin() + std::ptrdiff_t(std::max<std::size_t>(orderedCount, 1) - 1);
    if (orderedCount >= entries.size())
        return;
    const auto unsorted = std::is_sorted_until(known, entries.end(), byLocation);
    if (unsorted == entries.end())
        return;
    std::stable_sort(unsorted, entries.end(), byLocation);
    const auto tailCount = entries.end() - unsorted;
    if (tailCount > (unsorted - entries.begin()) / 8) {
        std::inplace_merge(entries.begin(), unsorted, entries.end(), byLocation);
        return;
    }
    // A short tail goes to its places from the back, each in one block move of what it passes.
    std::vector<std::shared_ptr<Entry>> tail(std::make_move_iterator(unsorted),
                                             std::make_move_iterator(entries.end()));
    auto headEnd = unsorted;
    auto gap = entries.end();
    while (!tail.empty()) {
        const auto place = std::upper_bound(entries.begin(), headEnd, tail.back(), byLocation);
        gap = std::move_backward(place, headEnd, gap);
        headEnd = place;
        *--gap = std::move(tail.back());
        tail.pop_back();
    }
}

} // namespace tarn
