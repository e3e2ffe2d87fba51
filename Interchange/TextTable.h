#pragma once

#include "Interchange/FormatError.h"
#include "Platform/Export.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Annotation files as rows of text fields, read and written without knowledge of what the columns mean.
/// Reading takes any bytes: a byte-order mark and all three kinds of line ends are admitted; empty lines and
/// those that begin with # (comments) are skipped.
namespace TARN_PUBLIC tarn {

struct TextRow {
    std::size_t line = 0; ///< where the row begins, counted from 1
    std::vector<std::string> fields;
};

struct TextTable {
    std::vector<std::string> header; ///< column names in lower case; none when the first row holds a number
    std::vector<TextRow> rows;
    bool hasComment = false; ///< outside of rows
};

/// What is wrong with a file of text, and in which line.
class TextTableError : public FormatError {
public:
    TextTableError(std::size_t line, const std::string& text) : FormatError(text, line) {}
};

/// Comma-separated values (RFC 4180); where the first line has no comma, or commas in its numbers, its
/// semicolons or tabs are the separators. A first row whose first field is not meant as a number names the
/// columns. Throws FormatError as fileText and TextTableError for a quote that does not end.
[[nodiscard]] TextTable parseCSV(std::string_view text);
/// Rows of numbers, separated by spaces or tabs, and a label that reaches to the end of the line.
/// Throws FormatError as fileText.
[[nodiscard]] TextTable parseLab(std::string_view text);
/// Rows of numbers with commas, semicolons, tabs or spaces between them, below column names or without.
/// Throws as parseCSV.
[[nodiscard]] TextTable parseNumbers(std::string_view text);

/// For messages: the text's first word, with a reason why it is not a time.
[[nodiscard]] std::string timeFault(std::string_view text);
/// Whether the text begins with what is meant as a number but is not read as one: "1,5", "0x10", "nan C".
[[nodiscard]] bool beginsWithMisspeltNumber(std::string_view text);

/// The line of a CSV file with these fields, quoted where needed, with its line feed. Zero bytes become
/// blanks.
[[nodiscard]] std::string csvLine(const std::vector<std::string>& fields);
/// The line of a .lab file with tabs between the fields. What would end the label, or would not be read back
/// as a part of it, goes: zero bytes and line ends become blanks, blanks at the ends are dropped.
[[nodiscard]] std::string labLine(const std::vector<std::string>& fields);

} // namespace tarn
