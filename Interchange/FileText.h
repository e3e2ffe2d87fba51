#pragma once

#include "Platform/Export.h"

#include <cstddef>
#include <span>
#include <string_view>

namespace TARN_PUBLIC tarn {

/// The text that a file's bytes are, without a byte-order mark. Throws FormatError for UTF-16 and, with its
/// line, for a zero byte: no text editor would show what follows, and messages could not quote it.
[[nodiscard]] std::string_view fileText(std::string_view bytes);
[[nodiscard]] inline std::string_view fileText(std::span<const std::byte> bytes) {
    return fileText(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

/// Takes the first line off the text; lines end in a line feed, a carriage return or both.
[[nodiscard]] std::string_view takeLine(std::string_view& text);

} // namespace tarn
