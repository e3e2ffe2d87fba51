#include "Platform/IndexSet.h"

#include <algorithm>
#include <utility>

namespace tarn {

IndexSet::IndexSet(std::initializer_list<std::size_t> indexes)
    : IndexSet(std::vector<std::size_t>(indexes)) {}

IndexSet::IndexSet(std::vector<std::size_t> indexes) : mIndexes(std::move(indexes)) {
    if (!std::is_sorted(mIndexes.begin(), mIndexes.end()))
        std::sort(mIndexes.begin(), mIndexes.end());
    mIndexes.erase(std::unique(mIndexes.begin(), mIndexes.end()), mIndexes.end());
}

void IndexSet::insert(std::size_t index) {
    const auto position = std::lower_bound(mIndexes.begin(), mIndexes.end(), index);
    if (position == mIndexes.end() || *position != index)
        mIndexes.insert(position, index);
}

bool IndexSet::contains(std::size_t index) const {
    return std::binary_search(mIndexes.begin(), mIndexes.end(), index);
}

std::string IndexSet::description() const {
    std::string text;
    for (std::size_t first = 0; first < mIndexes.size();) {
        std::size_t last = first;
        while (last + 1 < mIndexes.size() && mIndexes[last + 1] - mIndexes[last] == 1)
            ++last;
        if (!text.empty())
            text += ", ";
        text += std::to_string(mIndexes[first]);
        if (last > first)
            text += '-' + std::to_string(mIndexes[last]);
        first = last + 1;
    }
    return '{' + text + '}';
}

} // namespace tarn
