#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Text in UTF-8, character by character.
namespace tarn {

inline constexpr char32_t kReplacementCharacter = 0xFFFD;

/// The character at the index, which moves past it; U+FFFD for each maximal ill-formed part. The index lies
/// in the text.
[[nodiscard]] inline char32_t nextUTF8(std::string_view text, std::size_t& index) {
    const auto byteAt = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t lead = byteAt(index++);
    if (lead < 0x80)
        return lead;
    if (lead < 0xC2 || lead > 0xF4)
        return kReplacementCharacter;
    const int following = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    // The first following byte has a narrower range where it would give an overlong form, a surrogate or too
    // much.
    std::uint8_t low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    std::uint8_t high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    char32_t character = lead & (0x3Fu >> following);
    for (int i = 0; i < following; ++i) {
        if (index == text.size() || byteAt(index) < low || byteAt(index) > high)
            return kReplacementCharacter;
        character = character << 6 | (byteAt(index++) & 0x3Fu);
        low = 0x80;
        high = 0xBF;
    }
    return character;
}

/// Whether the whole text is well-formed.
[[nodiscard]] inline bool isUTF8(std::string_view text) {
    for (std::size_t index = 0; index < text.size();) {
        const std::size_t start = index;
        if (nextUTF8(text, index) == kReplacementCharacter &&
            text.substr(start, index - start) != "\xEF\xBF\xBD") // U+FFFD itself
            return false;
    }
    return true;
}

[[nodiscard]] inline std::size_t utf8Length(char32_t character) {
    return character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
}

inline void appendUTF8(std::string& text, char32_t character) {
    const std::size_t length = utf8Length(character);
    if (length == 1) {
        text.push_back(static_cast<char>(character));
        return;
    }
    const std::uint32_t lead = 0xF0u << (4 - length) & 0xFFu;
    text.push_back(static_cast<char>(lead | character >> (6 * (length - 1))));
    for (std::size_t i = length - 1; i-- > 0;)
        text.push_back(static_cast<char>(0x80u | (character >> (6 * i) & 0x3Fu)));
}

} // namespace tarn
