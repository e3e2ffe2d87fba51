#pragma once

#include "Platform/Export.h"
#include "Platform/IndexPath.h"
#include "Timeline/TimelineDataSource.h"
#include "Timeline/WrappedTimeline.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

/// Several lists of items (say beats, chords and regions) as the sections of one wrapped timeline.
namespace TARN_PUBLIC tarn {

/// Finds the ranges that have frames in common with a stretch of frames, where an empty range counts as the
/// frame at its lower bound, in O(log n + k) for n ranges and k results, however they overlap. A priority
/// search tree: ordered by lower bound and, as a heap, by upper bound. (E. M. McCreight, "Priority Search
/// Trees", SIAM Journal on Computing 14 (2), 1985.)
class TimelineItemIndex {
public:
    TimelineItemIndex() = default;
    explicit TimelineItemIndex(const std::vector<Range<std::int64_t>>& ranges);

    /// Calls `found(index, range)` for every range that touches a frame from `first` to `last`, both
    /// included, in no stated order.
    template <typename Function>
    void forEachTouching(std::int64_t first, std::int64_t last, Function found) const {
        if (first <= last)
            visit(mRoot, first, last, found);
    }

private:
    using Link = std::uint32_t;
    static constexpr Link kNoNode = std::numeric_limits<Link>::max();
    struct Node {
        Range<std::int64_t> range;
        std::int64_t lastFrame; ///< the greatest of those below: no node has a greater one than its parent
        std::int64_t split;     ///< lower bounds on the left are at most this, on the right at least
        Link index;
        Link left = kNoNode;
        Link right = kNoNode;
    };

    Link build(std::vector<Node>& byLowerBound, std::size_t first, std::size_t end);
    template <typename Function>
    void visit(Link link, std::int64_t first, std::int64_t last, Function& found) const {
        if (link == kNoNode || mNodes[link].lastFrame < first)
            return;
        const Node& node = mNodes[link];
        if (node.range.lower <= last)
            found(std::size_t{node.index}, node.range);
        visit(node.left, first, last, found);
        if (node.split <= last)
            visit(node.right, first, last, found);
    }

    std::vector<Node> mNodes;
    Link mRoot = kNoNode;
};

/// Every item is in the rows that show its frames. A point that lies before or after all frames of the song
/// (a count-in beat, a beat on the song's end) is in the row in which a view draws it, the first or the last.
///
/// Keeps the places of all items in order, so that the items of a row are found in O(log n + k) for n items
/// of which the row shows k (and k log k to sort those). The rows themselves are asked for each time: a
/// changed zoom or width needs no reload, changed items do.
class CombinedTimelineDataSource : public WrappedTimelineDataSource {
public:
    /// The sections are the sources, in this order. Loads their items.
    CombinedTimelineDataSource(std::shared_ptr<const WrappedTimelineProtocol> timeline,
                               std::vector<std::shared_ptr<const TimelineDataSource>> sources);

    /// Reads the items of all sources again.
    void reloadData();
    /// Reads the items of one source again.
    void reloadSection(std::size_t section);

    [[nodiscard]] std::int64_t rowCount() const override;
    [[nodiscard]] std::size_t sectionCount() const override { return mSections.size(); }
    [[nodiscard]] std::size_t itemCount(std::size_t section) const override;
    [[nodiscard]] std::shared_ptr<const TimelineItem> item(const IndexPath& indexPath) const override;
    [[nodiscard]] std::vector<IndexPath> indexesForItems(std::int64_t row) const override;

private:
    struct Section {
        std::shared_ptr<const TimelineDataSource> source;
        std::vector<std::shared_ptr<const TimelineItem>> items;
        TimelineItemIndex index;
    };
    [[nodiscard]] const Section& sectionAt(std::uint64_t section) const;

    std::shared_ptr<const WrappedTimelineProtocol> mTimeline;
    std::vector<Section> mSections;
};

} // namespace tarn
