#pragma once

#include "Platform/Export.h"

#include <optional>
#include <string>
#include <string_view>

/// Text in small: what people type and what is shown to them. Names in documents and of files come from
/// anywhere; none of them may steer a terminal or turn a line around.
namespace TARN_PUBLIC tarn {

/// The text with the letters A to Z in lower case.
[[nodiscard]] std::string lowerCased(std::string_view text);
/// Without blanks, tabs and line ends at its ends.
[[nodiscard]] std::string_view stripped(std::string_view text);

/// A decimal number without anything else; empty for numbers that are not finite.
[[nodiscard]] std::optional<double> numberWithText(std::string_view text);
/// The number with this many digits after its point.
[[nodiscard]] std::string decimalText(double number, int decimals);

/// Whether a character does something other than being shown: controls (C0 and C1), the separators of lines
/// and paragraphs, and what sets the direction of the text around it. A line feed counts as one.
[[nodiscard]] bool isControl(char32_t character);
/// The text in well-formed UTF-8 with a blank for each control but line feeds, and U+FFFD for what is not
/// UTF-8.
[[nodiscard]] std::string printable(std::string_view text);
/// The same with blanks for line feeds too.
[[nodiscard]] std::string onOneLine(std::string_view text);
/// For messages: the text on one line, cut after 80 characters, and the same in single quotes.
[[nodiscard]] std::string shortened(std::string_view text);
[[nodiscard]] std::string inQuotes(std::string_view text);

} // namespace tarn
