#pragma once

#include "Platform/Export.h"

#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>

namespace TARN_PUBLIC tarn {

/// A set of positions in ascending order.
class IndexSet {
public:
    IndexSet() = default;
    IndexSet(std::initializer_list<std::size_t> indexes);
    /// Takes positions in any order; duplicates collapse.
    explicit IndexSet(std::vector<std::size_t> indexes);

    void insert(std::size_t index);
    [[nodiscard]] bool contains(std::size_t index) const;
    [[nodiscard]] std::size_t size() const { return mIndexes.size(); }
    [[nodiscard]] bool empty() const { return mIndexes.empty(); }
    [[nodiscard]] auto begin() const { return mIndexes.begin(); }
    [[nodiscard]] auto end() const { return mIndexes.end(); }
    /// The positions as runs, for example "{0-2, 5}"; "{}" when empty.
    [[nodiscard]] std::string description() const;
    friend bool operator==(const IndexSet&, const IndexSet&) = default;

private:
    std::vector<std::size_t> mIndexes;
};

} // namespace tarn
