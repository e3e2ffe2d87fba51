#include "TarnFoundation/UserEntries/TarnSectionColor.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace tarn {

namespace {

constexpr std::string_view kNamedTag = "named";
constexpr std::string_view kRGBATag = "rgba";
constexpr std::size_t kHexadecimalDigits = 8;

/// 0 to 255; a component outside 0 to 1 counts as the nearer end, one that is not a number as 0.
std::uint32_t byteOfComponent(float component) {
    if (!(component > 0))
        return 0;
    return static_cast<std::uint32_t>(std::lround(std::min(component, 1.0f) * 255.0f));
}

std::optional<std::uint32_t> hexadecimalNumber(std::string_view digits) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number, 16);
    if (error != std::errc() || end != digits.data() + digits.size())
        return std::nullopt;
    return number;
}

} // namespace

std::optional<TarnSectionColor> TarnSectionColor::make(std::string_view rawValue) {
    const auto tagBegin = rawValue.find_first_not_of(':');
    if (tagBegin == std::string_view::npos)
        return std::nullopt;
    const auto tagEnd = rawValue.find(':', tagBegin);
    if (tagEnd == std::string_view::npos)
        return std::nullopt;
    const auto tag = rawValue.substr(tagBegin, tagEnd - tagBegin);
    const auto payload = rawValue.substr(tagEnd + 1);
    if (payload.empty())
        return std::nullopt;
    if (tag == kNamedTag)
        return named(std::string(payload));
    if (tag == kRGBATag && payload.size() == kHexadecimalDigits) {
        const auto number = hexadecimalNumber(payload);
        if (!number)
            return std::nullopt;
        const auto component = [&](int shift) {
            return static_cast<float>(*number >> shift & 0xFF) / 255.0f;
        };
        return rgba({component(24), component(16), component(8), component(0)});
    }
    return std::nullopt;
}

std::string TarnSectionColor::rawValue() const {
    if (const auto* text = name())
        return std::string(kNamedTag) + ":" + *text;
    std::string raw = std::string(kRGBATag) + ":";
    const RGBA& c = *components();
    for (const float value : {c.red, c.green, c.blue, c.alpha}) {
        constexpr std::string_view kDigits = "0123456789ABCDEF";
        const auto byte = byteOfComponent(value);
        raw += kDigits[byte >> 4];
        raw += kDigits[byte & 0xF];
    }
    return raw;
}

} // namespace tarn
