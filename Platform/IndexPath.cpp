#include "Platform/IndexPath.h"

namespace tarn {

std::string IndexPath::description() const {
    std::string text;
    for (const std::uint64_t index : mIndexes) {
        if (!text.empty())
            text += ", ";
        text += std::to_string(index);
    }
    return '{' + text + '}';
}

} // namespace tarn
