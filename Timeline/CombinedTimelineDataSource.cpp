#include "Timeline/CombinedTimelineDataSource.h"

#include "Platform/CheckedArithmetic.h"
#include "Platform/FatalError.h"

#include <algorithm>
#include <utility>

namespace tarn {

TimelineItemIndex::TimelineItemIndex(const std::vector<Range<std::int64_t>>& ranges) {
    std::vector<Node> nodes;
    nodes.reserve(ranges.size());
    for (const auto& range : ranges) {
        // A point is found like an item of one frame.
        const auto lastFrame = range.isEmpty() ? range.lower : range.upper - 1;
        nodes.push_back({range, lastFrame, range.lower, checkedCast<Link>(nodes.size())});
    }
    std::stable_sort(nodes.begin(), nodes.end(),
                     [](const Node& a, const Node& b) { return a.range.lower < b.range.lower; });
    mNodes.reserve(nodes.size());
    mRoot = build(nodes, 0, nodes.size());
}

TimelineItemIndex::Link TimelineItemIndex::build(std::vector<Node>& byLowerBound, std::size_t first,
                                                 std::size_t end) {
    if (first == end)
        return kNoNode;
    const auto begin = byLowerBound.begin() + static_cast<std::ptrdiff_t>(first);
    const auto stop = byLowerBound.begin() + static_cast<std::ptrdiff_t>(end);
    const auto top =
        std::max_element(begin, stop, [](const Node& a, const Node& b) { return a.lastFrame < b.lastFrame; });
    std::rotate(begin, top, top + 1); // to the front; the others stay in order
    const auto link = checkedCast<Link>(mNodes.size());
    mNodes.push_back(*begin);
    const auto middle = first + 1 + (end - first - 1) / 2;
    if (middle < end)
        mNodes[link].split = byLowerBound[middle].range.lower;
    const auto left = build(byLowerBound, first + 1, middle);
    const auto right = build(byLowerBound, middle, end);
    mNodes[link].left = left;
    mNodes[link].right = right;
    return link;
}

CombinedTimelineDataSource::CombinedTimelineDataSource(
    std::shared_ptr<const WrappedTimelineProtocol> timeline,
    std::vector<std::shared_ptr<const TimelineDataSource>> sources)
    : mTimeline(std::move(timeline)) {
    for (auto& source : sources)
        mSections.push_back({std::move(source), {}, {}});
    reloadData();
}

void CombinedTimelineDataSource::reloadData() {
    for (std::size_t section = 0; section < mSections.size(); ++section)
        reloadSection(section);
}

void CombinedTimelineDataSource::reloadSection(std::size_t section) {
    const auto& source = *sectionAt(section).source;
    std::vector<std::shared_ptr<const TimelineItem>> items;
    std::vector<Range<std::int64_t>> ranges;
    for (std::size_t index = 0, count = source.itemCount(); index < count; ++index) {
        items.push_back(source.item(index));
        ranges.push_back(items.back()->frameRange());
    }
    mSections[section].items = std::move(items);
    mSections[section].index = TimelineItemIndex(ranges);
}

const CombinedTimelineDataSource::Section&
CombinedTimelineDataSource::sectionAt(std::uint64_t section) const {
    precondition(section < mSections.size(), "The timeline has no such section");
    return mSections[section];
}

std::int64_t CombinedTimelineDataSource::rowCount() const {
    return mTimeline->rowCount();
}

std::size_t CombinedTimelineDataSource::itemCount(std::size_t section) const {
    return sectionAt(section).items.size();
}

std::shared_ptr<const TimelineItem> CombinedTimelineDataSource::item(const IndexPath& indexPath) const {
    precondition(indexPath.length() == 2, "A timeline item is named by its section and its index");
    const auto& items = sectionAt(indexPath.indexAtPosition(0)).items;
    const auto index = indexPath.indexAtPosition(1);
    precondition(index < items.size(), "The timeline's section has no such item");
    return items[index];
}

std::vector<IndexPath> CombinedTimelineDataSource::indexesForItems(std::int64_t row) const {
    const auto shown = mTimeline->frameRange(row);
    using Limits = std::numeric_limits<std::int64_t>;
    const auto first = row == 0 ? Limits::min() : shown.lower;
    const auto last =
        row == mTimeline->rowCount() - 1 ? Limits::max() : std::max(shown.upper, Limits::min() + 1) - 1;
    std::vector<IndexPath> paths;
    std::vector<std::size_t> indexes;
    for (std::size_t section = 0; section < mSections.size(); ++section) {
        indexes.clear();
        mSections[section].index.forEachTouching(first, last, [&](std::size_t index, const auto& range) {
            const bool isShown = !shown.isEmpty() && range.lower < shown.upper && shown.lower < range.upper;
            if (range.isEmpty() || isShown)
                indexes.push_back(index);
        });
        std::sort(indexes.begin(), indexes.end());
        for (const auto index : indexes)
            paths.push_back({section, index});
    }
    return paths;
}

} // namespace tarn
