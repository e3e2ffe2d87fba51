#pragma once

#include "Platform/Export.h"

#include <charconv>
#include <memory>
#include <optional>
#include <string>

/// The pieces that the entries' description texts are made of.
namespace TARN_PUBLIC tarn {

inline constexpr const char* kMissingObjectDescription = "(null)";

template <typename Object>
[[nodiscard]] std::string describe(const std::shared_ptr<Object>& object) {
    return object ? object->description() : kMissingObjectDescription;
}

[[nodiscard]] inline std::string describe(const std::optional<std::string>& text) {
    return text.value_or(kMissingObjectDescription);
}

/// Fixed notation with `digits` digits after the point, in every locale.
[[nodiscard]] inline std::string describe(double value, int digits) {
    char text[400]; // the largest double has 309 digits before the point
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, digits).ptr;
    return {text, end};
}

} // namespace tarn
