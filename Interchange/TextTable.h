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

/// Comma-separated values (RFC 4180); of a first line without commas its semicolons or tabs separate. A first
/// row whose first field is not a number names the columns. Throws TextTableError for a quote that does not
/// end.
[[nodiscard]] TextTable parseCSV(std::string_view text);
/// Rows of numbers, separated by spaces or tabs, and a label that reaches to the end of the line.
[[nodiscard]] TextTable parseLab(std::string_view text);
/// Rows of numbers with commas, semicolons, tabs or spaces between them, below column names or without.
/// Throws as parseCSV.
[[nodiscard]] TextTable parseNumbers(std::string_view text);

/// The line of a CSV file with these fields, quoted where needed, with its line feed. Zero bytes become
/// blanks.
[[nodiscard]] std::string csvLine(const std::vector<std::string>& fields);
/// The line of a .lab file with tabs between the fields. What would end the label, or would not be read back
/// as a part of it, goes: zero bytes and line ends become blanks, blanks at the ends are dropped.
[[nodiscard]] std::string labLine(const std::vector<std::string>& fields);

} // namespace tarn
