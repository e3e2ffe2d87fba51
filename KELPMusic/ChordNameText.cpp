#include "KELPMusic/ChordNameText.h"

#include <array>
#include <utility>

namespace tarn {
namespace {

template <std::size_t Count>
std::string replacingSigns(std::string_view text,
                           const std::array<std::pair<std::string_view, std::string_view>, Count>& signs) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        std::string_view taken = text.substr(0, 1);
        std::string_view written = taken;
        // All signs lie outside ASCII, and a byte of theirs is never the first of another character.
        if (static_cast<unsigned char>(text.front()) >= 0x80) {
            for (const auto& [sign, replacement] : signs) {
                if (text.starts_with(sign)) {
                    taken = sign;
                    written = replacement;
                    break;
                }
            }
        }
        result += written;
        text.remove_prefix(taken.size());
    }
    return result;
}

} // namespace

std::string plainChordSigns(std::string_view text) {
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 5> kSigns{{
        {"\xE2\x99\xAF", "#"},        // ♯
        {"\xE2\x99\xAD", "b"},        // ♭
        {"\xE2\x88\x86", "\xCE\x94"}, // increment sign
        {"\xE2\x96\xB3", "\xCE\x94"}, // white triangle
        {"\xC2\xBA", "\xC2\xB0"},     // º
    }};
    return replacingSigns(text, kSigns);
}

std::string lowerCasedChordText(std::string_view text) {
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 2> kLetters{{
        {"\xC3\x98", "\xC3\xB8"}, // Ø
        {"\xCE\x94", "\xCE\xB4"}, // Δ
    }};
    std::string result = replacingSigns(text, kLetters);
    for (char& character : result) {
        if (character >= 'A' && character <= 'Z')
            character = static_cast<char>(character - 'A' + 'a');
    }
    return result;
}

} // namespace tarn
