#include "Pictures/PictureText.h"

#include "Platform/PlainText.h"
#include "Platform/UTF8.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

namespace tarn {

namespace {

constexpr std::string_view kEllipsis = "…";

/// Advance widths of the printable ASCII characters in thousandths of the size, each the widest of the usual
/// sans-serif fonts (Helvetica and its likes, and the one of most Linux systems).
// clang-format off
constexpr std::array<std::int16_t, 95> kWidths{
    318, 401, 460, 838, 636, 950, 780, 275, 390, 390, 500, 838, 318, 361, 318, 337, // blank to /
    636, 636, 636, 636, 636, 636, 636, 636, 636, 636, 337, 337, 838, 838, 838, 556, // 0 to ?
    1015, 684, 686, 722, 770, 667, 611, 778, 752, 295, 500, 667, 557, 863, 748, 787, // @ to O
    667, 787, 722, 667, 611, 732, 684, 989, 685, 667, 685, 390, 337, 390, 838, 556, // P to _
    500, 613, 635, 550, 635, 615, 352, 635, 634, 278, 278, 579, 278, 974, 634, 612, // ` to o
    635, 635, 411, 521, 392, 634, 592, 818, 592, 592, 525, 636, 337, 636, 838}; // p to ~
// clang-format on

struct Span {
    char32_t first;
    char32_t last;
};

template <std::size_t kCount>
bool isAmong(char32_t character, const std::array<Span, kCount>& spans) {
    return std::any_of(spans.begin(), spans.end(),
                       [&](Span span) { return span.first <= character && character <= span.last; });
}

/// Whether a character is drawn over the one before it: accents, variation selectors, joiners, skin tones.
bool isMark(char32_t character) {
    static constexpr std::array<Span, 7> kMarks{{{0x300, 0x36F},
                                                 {0x200B, 0x200D},
                                                 {0x20D0, 0x20FF},
                                                 {0xFE00, 0xFE0F},
                                                 {0xFE20, 0xFE2F},
                                                 {0x1F3FB, 0x1F3FF},
                                                 {0xE0020, 0xE01EF}}};
    return isAmong(character, kMarks);
}

/// Width in thousandths of the size.
double advance(char32_t character) {
    if (character >= 0x20 && character < 0x7F)
        return kWidths[character - 0x20];
    if (isMark(character))
        return 0;
    static constexpr std::array<Span, 5> kFullWidth{
        {{0x1100, 0x115F}, {0x2E80, 0xD7FF}, {0xF900, 0xFAFF}, {0xFF00, 0xFF60}, {0x1F000, 0x3FFFF}}};
    if (isAmong(character, kFullWidth))
        return 1100;
    constexpr double kOthers = 680; // letters of other alphabets, musical signs
    return kOthers;
}

double scaleOf(PictureFont font) {
    constexpr double kBold = 1.14;
    return font.size / 1000 * (font.isBold ? kBold : 1);
}

} // namespace

std::string pictureNumber(double value) {
    char text[400];
    char* const end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 2).ptr;
    std::string result(text, end);
    while (result.back() == '0')
        result.pop_back();
    if (result.back() == '.')
        result.pop_back();
    return result == "-0" ? "0" : result;
}

std::string boundedName(std::string_view name) {
    constexpr std::size_t kMostCharacters = 300;
    constexpr std::size_t kMostBytes = 4 * (kMostCharacters + 1);
    const std::string text = onOneLine(name.substr(0, kMostBytes));
    std::size_t end = 0;
    for (std::size_t characters = 0; end < text.size() && characters < kMostCharacters; ++characters)
        (void)nextUTF8(text, end);
    return end < text.size() ? text.substr(0, end).append(kEllipsis) : text;
}

std::string escapedMarkup(std::string_view text) {
    std::string result;
    for (std::size_t index = 0; index < text.size();) {
        const char32_t character = nextUTF8(text, index);
        if (character == '&')
            result += "&amp;";
        else if (character == '<')
            result += "&lt;";
        else if (character == '>')
            result += "&gt;";
        else if (character == '"')
            result += "&quot;";
        else if (character == 0xFFFE || character == 0xFFFF)
            appendUTF8(result, kReplacementCharacter);
        else if (isControl(character))
            result += ' ';
        else
            appendUTF8(result, character);
    }
    return result;
}

std::string percentEncoded(std::string_view path) {
    std::string result;
    for (const char character : path) {
        const bool plain = (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
                           (character >= '0' && character <= '9') ||
                           std::string_view("-._~/").find(character) != std::string_view::npos;
        constexpr std::string_view kDigits = "0123456789ABCDEF";
        const auto byte = static_cast<unsigned char>(character);
        if (plain)
            result += character;
        else
            result += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return result;
}

std::string typesetChord(std::string_view chord) {
    std::string result;
    for (std::size_t i = 0; i < chord.size(); ++i) {
        const bool afterLetter =
            i > 0 && chord[i - 1] >= 'A' && chord[i - 1] <= 'G' && (i == 1 || chord[i - 2] == '/');
        const bool beforeDigit = i + 1 < chord.size() && chord[i + 1] >= '0' && chord[i + 1] <= '9';
        if (chord[i] == '#')
            result += "♯";
        else if (chord[i] == 'b' && (afterLetter || beforeDigit))
            result += "♭";
        else
            result += chord[i];
    }
    return result;
}

double textWidth(std::string_view text, PictureFont font) {
    double width = 0;
    for (std::size_t index = 0; index < text.size();)
        width += advance(nextUTF8(text, index));
    return width * scaleOf(font);
}

std::string fittedText(std::string_view text, double room, PictureFont font) {
    const double scale = scaleOf(font);
    constexpr double kEllipsisAdvance = 1000;
    double width = 0;
    std::size_t cut = 0; // up to where the text fits with an ellipsis, never before a mark or after a joiner
    constexpr char32_t kJoiner = 0x200D;
    char32_t last = 0;
    for (std::size_t index = 0; index < text.size();) {
        const std::size_t start = index;
        const char32_t character = nextUTF8(text, index);
        if (!isMark(character) && last != kJoiner && (width + kEllipsisAdvance) * scale <= room)
            cut = start;
        width += advance(character);
        if (width * scale > room) {
            while (cut > 0 && text[cut - 1] == ' ')
                --cut;
            return cut == 0 ? "" : std::string(text.substr(0, cut)).append(kEllipsis);
        }
        last = character;
    }
    return std::string(text);
}

} // namespace tarn
