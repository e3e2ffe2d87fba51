#pragma once

#include "Platform/Export.h"
#include "Platform/UTF8.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

/// Paths as text, whatever the system keeps them in: the standard library's own conversions throw over a path
/// or a text that has no counterpart, and use another encoding on some systems.
namespace TARN_PUBLIC tarn {

namespace detail {

inline const std::string& textOfNative(const std::string& bytes) {
    return bytes;
}
inline std::string textOfNative(std::wstring_view units) {
    const auto unitAt = [&](std::size_t i) -> std::uint32_t {
        return i < units.size() ? static_cast<std::uint16_t>(units[i]) : 0;
    };
    std::string text;
    for (std::size_t i = 0; i < units.size(); ++i) {
        const std::uint32_t unit = unitAt(i), next = unitAt(i + 1);
        if (unit >> 10 == 0xD800 >> 10 && next >> 10 == 0xDC00 >> 10) {
            appendUTF8(text, 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00));
            ++i;
        } else {
            appendUTF8(text, unit >> 11 == 0xD800 >> 11 ? kReplacementCharacter : unit);
        }
    }
    return text;
}

inline void appendNative(std::string& bytes, std::string_view text) {
    bytes += text;
}
inline void appendNative(std::wstring& units, std::string_view text) {
    for (std::size_t index = 0; index < text.size();) {
        const char32_t character = nextUTF8(text, index);
        if (character >= 0x10000) {
            units += static_cast<wchar_t>(0xD800 + ((character - 0x10000) >> 10));
            units += static_cast<wchar_t>(0xDC00 + (character & 0x3FF));
        } else {
            units += static_cast<wchar_t>(character);
        }
    }
}

} // namespace detail

/// For messages and documents: UTF-8, or where the system's paths are bytes those bytes. U+FFFD for each half
/// of a surrogate pair without the other.
[[nodiscard]] inline std::string textOfPath(const std::filesystem::path& path) {
    return detail::textOfNative(path.native());
}

/// As textOfPath, with slashes between the names on every system: for what other systems read.
[[nodiscard]] inline std::string genericTextOfPath(const std::filesystem::path& path) {
    std::string text = textOfPath(path);
    if (std::filesystem::path::preferred_separator == '\\')
        std::replace(text.begin(), text.end(), '\\', '/');
    return text;
}

/// The path of that text in UTF-8; U+FFFD for each of its ill-formed parts where the system's paths are not
/// bytes.
[[nodiscard]] inline std::filesystem::path pathOfText(std::string_view text) {
    std::filesystem::path::string_type native;
    detail::appendNative(native, text);
    return native;
}

} // namespace tarn
