#pragma once

#include "Platform/Export.h"
#include "Platform/IndexPath.h"
#include "Platform/Range.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// What is drawn on a timeline: items with a place in frames, found by the stretch of frames or by the row
/// that shows them. An item is named by an index path of two: its section, and its index there.
namespace TARN_PUBLIC tarn {

/// Something with a place on the timeline.
class TimelineItem {
public:
    virtual ~TimelineItem() = default;
    /// The frames that the item covers. An empty range is a point, such as a beat: it shows where its frame
    /// does.
    [[nodiscard]] virtual Range<std::int64_t> frameRange() const = 0;
};

/// A list of items of one kind, in any order. What it returns stays the same until its owner says otherwise.
class TimelineDataSource {
public:
    virtual ~TimelineDataSource() = default;
    [[nodiscard]] virtual std::size_t itemCount() const = 0;
    /// The item at `index`, which is less than the item count.
    [[nodiscard]] virtual std::shared_ptr<const TimelineItem> item(std::size_t index) const = 0;
};

/// Sections of items, and the rows that show them.
class WrappedTimelineDataSource {
public:
    virtual ~WrappedTimelineDataSource() = default;
    [[nodiscard]] virtual std::int64_t rowCount() const = 0;
    [[nodiscard]] virtual std::size_t sectionCount() const = 0;
    /// A section that does not exist aborts, here and in `item`.
    [[nodiscard]] virtual std::size_t itemCount(std::size_t section) const = 0;
    [[nodiscard]] virtual std::shared_ptr<const TimelineItem> item(const IndexPath& indexPath) const = 0;
    /// The items that `row` shows, at least in part: section by section, within a section by ascending index.
    [[nodiscard]] virtual std::vector<IndexPath> indexesForItems(std::int64_t row) const = 0;
};

} // namespace tarn
