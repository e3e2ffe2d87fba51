#pragma once

#include "Platform/Export.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Conversions between texts (UTF-8 in memory) and their bytes in a file. Nothing is lost or replaced: a
/// conversion either keeps every character or returns std::nullopt.
namespace TARN_PUBLIC tarn {

enum class StringEncoding { utf8, ascii, utf16LittleEndian };

/// The encoding's name for messages, for example "Unicode (UTF-8)".
[[nodiscard]] std::string_view description(StringEncoding encoding);

/// The text's bytes, without a byte order mark; empty when `text` is not well-formed UTF-8 or has a
/// character that the encoding lacks.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> bytesFromString(std::string_view text,
                                                                       StringEncoding encoding);

/// The text that the bytes spell; empty when they are malformed: overlong forms, surrogates and values
/// above U+10FFFF in UTF-8, bytes above 127 in ASCII, an odd length or an unpaired surrogate in UTF-16. A
/// byte order mark is kept as a character.
[[nodiscard]] std::optional<std::string> stringFromBytes(std::span<const std::uint8_t> bytes,
                                                         StringEncoding encoding);

} // namespace tarn
