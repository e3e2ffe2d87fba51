#include "Platform/PlainText.h"

#include "Platform/UTF8.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace tarn {
namespace {

std::string withoutControls(std::string_view text, bool keepsLines) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const char32_t character = nextUTF8(text, i);
        const bool isShown = !isControl(character) || (keepsLines && character == '\n');
        appendUTF8(result, isShown ? character : U' ');
    }
    return result;
}

} // namespace

std::string lowerCased(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return result;
}

std::string_view stripped(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::size_t first = std::min(text.find_first_not_of(kBlanks), text.size());
    return text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

std::optional<double> numberWithText(std::string_view text) {
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, number);
    if (parsed.ec != std::errc() || parsed.ptr != end || !std::isfinite(number))
        return std::nullopt;
    return number;
}

std::string decimalText(double number, int decimals) {
    std::array<char, 512> digits; // the longest double has 309 digits before the point
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number,
                                   std::chars_format::fixed, decimals);
    return {digits.data(), end.ptr};
}

bool isControl(char32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x061C ||
           character == 0x200E || character == 0x200F || (character >= 0x2028 && character <= 0x202E) ||
           (character >= 0x2066 && character <= 0x2069);
}

std::string printable(std::string_view text) {
    return withoutControls(text, true);
}

std::string onOneLine(std::string_view text) {
    return withoutControls(text, false);
}

std::string shortened(std::string_view text) {
    constexpr std::size_t kMostCharacters = 80;
    std::size_t end = 0;
    for (std::size_t count = 0; count < kMostCharacters && end < text.size(); ++count)
        (void)nextUTF8(text, end);
    return onOneLine(text.substr(0, end)) + (end < text.size() ? "…" : "");
}

std::string inQuotes(std::string_view text) {
    return "'" + shortened(text) + "'";
}

} // namespace tarn
