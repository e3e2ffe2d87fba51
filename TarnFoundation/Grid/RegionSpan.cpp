#include "TarnFoundation/Grid/RegionSpan.h"

#include "Platform/CheckedArithmetic.h"

#include <algorithm>

namespace tarn {

RegionSpan RegionSpan::between(std::int64_t a, std::int64_t b) {
    const std::int64_t start = std::min(a, b);
    return {start, checkedCast<std::uint64_t>(checkedSubtract(std::max(a, b), start))};
}

Checked<std::int64_t> RegionSpan::checkedEnd() const {
    return tryCast<std::int64_t>(length).then(
        [this](std::int64_t distance) { return tryAdd(location, distance); });
}

std::int64_t RegionSpan::end() const {
    return checkedEnd().orAbort();
}

} // namespace tarn
