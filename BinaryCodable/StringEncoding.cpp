#include "BinaryCodable/StringEncoding.h"

#include <algorithm>
#include <cstddef>

namespace tarn {

namespace {

using Bytes = std::span<const std::uint8_t>;

bool isContinuation(std::uint8_t byte) {
    return (byte & 0xC0) == 0x80;
}
bool isHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}
bool isLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

/// The character at the beginning of `bytes`, which is then shortened by its bytes; empty when malformed.
/// Well-formed sequences: Unicode Standard, table 3-7.
std::optional<char32_t> takeUTF8Character(Bytes& bytes) {
    const std::uint8_t first = bytes[0];
    std::size_t length = 1;
    char32_t character = first;
    char32_t smallest = 0;
    if (first >= 0x80) {
        if (first >= 0xF8 || isContinuation(first))
            return std::nullopt;
        length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
        smallest = length == 4 ? 0x10000 : length == 3 ? 0x800 : 0x80;
        character = first & (0x7Fu >> length);
    }
    if (bytes.size() < length)
        return std::nullopt;
    for (std::size_t i = 1; i < length; ++i) {
        if (!isContinuation(bytes[i]))
            return std::nullopt;
        character = (character << 6) | (bytes[i] & 0x3Fu);
    }
    if (character < smallest || character > 0x10FFFF || (character >= 0xD800 && character < 0xE000))
        return std::nullopt;
    bytes = bytes.subspan(length);
    return character;
}

bool isWellFormedUTF8(Bytes bytes) {
    while (!bytes.empty()) {
        if (!takeUTF8Character(bytes))
            return false;
    }
    return true;
}

bool isASCII(Bytes bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte < 0x80; });
}

void appendUTF8(char32_t character, std::string& text) {
    const auto append = [&text](char32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (character < 0x80) {
        append(character);
        return;
    }
    if (character < 0x800) {
        append(0xC0 | (character >> 6));
    } else {
        if (character < 0x10000) {
            append(0xE0 | (character >> 12));
        } else {
            append(0xF0 | (character >> 18));
            append(0x80 | ((character >> 12) & 0x3F));
        }
        append(0x80 | ((character >> 6) & 0x3F));
    }
    append(0x80 | (character & 0x3F));
}

std::optional<std::vector<std::uint8_t>> utf16FromUTF8(Bytes text) {
    std::vector<std::uint8_t> result;
    const auto append = [&result](char32_t unit) {
        result.push_back(static_cast<std::uint8_t>(unit & 0xFF));
        result.push_back(static_cast<std::uint8_t>(unit >> 8));
    };
    while (!text.empty()) {
        const auto character = takeUTF8Character(text);
        if (!character)
            return std::nullopt;
        if (*character < 0x10000) {
            append(*character);
        } else {
            append(0xD800 + ((*character - 0x10000) >> 10));
            append(0xDC00 + ((*character - 0x10000) & 0x3FF));
        }
    }
    return result;
}

std::optional<std::string> utf8FromUTF16(Bytes bytes) {
    if (bytes.size() % 2 != 0)
        return std::nullopt;
    const auto unitAt = [bytes](std::size_t i) {
        return static_cast<char32_t>(bytes[i] | (bytes[i + 1] << 8));
    };
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        char32_t character = unitAt(i);
        if (isLowSurrogate(character))
            return std::nullopt;
        if (isHighSurrogate(character)) {
            i += 2;
            if (i >= bytes.size() || !isLowSurrogate(unitAt(i)))
                return std::nullopt;
            character = 0x10000 + ((character - 0xD800) << 10) + (unitAt(i) - 0xDC00);
        }
        appendUTF8(character, text);
    }
    return text;
}

} // namespace

std::string_view description(StringEncoding encoding) {
    switch (encoding) {
    case StringEncoding::utf8:
        return "Unicode (UTF-8)";
    case StringEncoding::ascii:
        return "Western (ASCII)";
    case StringEncoding::utf16LittleEndian:
        return "Unicode (UTF-16LE)";
    }
    return "Unknown";
}

std::optional<std::vector<std::uint8_t>> bytesFromString(std::string_view text, StringEncoding encoding) {
    const std::vector<std::uint8_t> bytes(text.begin(), text.end());
    switch (encoding) {
    case StringEncoding::utf8:
        return isWellFormedUTF8(bytes) ? std::optional(bytes) : std::nullopt;
    case StringEncoding::ascii:
        return isASCII(bytes) ? std::optional(bytes) : std::nullopt;
    case StringEncoding::utf16LittleEndian:
        return utf16FromUTF8(bytes);
    }
    return std::nullopt;
}

std::optional<std::string> stringFromBytes(Bytes bytes, StringEncoding encoding) {
    const auto text = [bytes] { return std::string(bytes.begin(), bytes.end()); };
    switch (encoding) {
    case StringEncoding::utf8:
        return isWellFormedUTF8(bytes) ? std::optional(text()) : std::nullopt;
    case StringEncoding::ascii:
        return isASCII(bytes) ? std::optional(text()) : std::nullopt;
    case StringEncoding::utf16LittleEndian:
        return utf8FromUTF16(bytes);
    }
    return std::nullopt;
}

} // namespace tarn
