#include "Interchange/TextTable.h"

#include "Interchange/FileText.h"
#include "Platform/PlainText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

namespace tarn {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::size_t kMostRows = 1'000'000; ///< more than a day of music has beats
constexpr std::size_t kMostFields = 1'000;
constexpr std::string_view kZeroByte("\0", 1);
constexpr std::string_view kEndsOfLabel("\n\r\0", 3);

void add(TextTable& table, TextRow row) {
    if (table.rows.size() == kMostRows)
        throw TextTableError(row.line, "there are too many rows for annotations");
    table.rows.push_back(std::move(row));
}

bool isBlank(const TextRow& row) {
    return std::all_of(row.fields.begin(), row.fields.end(), [](const auto& field) { return field.empty(); });
}

/// Whether a comment begins after blanks.
bool isComment(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(kBlanks), text.size())).starts_with('#');
}

std::string withBlanksFor(std::string_view characters, std::string text) {
    std::replace_if(
        text.begin(), text.end(), [&](char c) { return characters.find(c) != std::string_view::npos; }, ' ');
    return text;
}

/// The first line that is not empty or a comment.
std::string_view firstLineOf(std::string_view text) {
    while (!text.empty()) {
        const std::string_view line = stripped(takeLine(text));
        if (!line.empty() && !isComment(line))
            return line;
    }
    return text;
}

/// "0,5": a number as some countries write it.
bool hasDecimalComma(std::string_view word) {
    const std::size_t comma = word.find(',');
    const bool isBetween = comma != std::string_view::npos && comma + 1 < word.size();
    return isBetween && numberWithText(word.substr(0, comma)) &&
           numberWithText("0." + std::string(word.substr(comma + 1)));
}

/// Whether the word is meant as a number, although it may not be one that is read.
bool isLikeNumber(std::string_view word) {
    const std::string text = lowerCased(word.substr(std::min(word.find_first_not_of("+-"), word.size())));
    const auto isDigitAt = [&](std::size_t i) { return i < text.size() && text[i] >= '0' && text[i] <= '9'; };
    return isDigitAt(0) || (text.starts_with('.') && isDigitAt(1)) || text == "nan" || text == "inf" ||
           text == "infinity";
}

std::string_view wordBefore(std::string_view separators, std::string_view line) {
    return line.substr(0, std::min(line.find_first_of(separators), line.size()));
}

char separatorOf(std::string_view firstLine) {
    for (const char separator : {';', '\t'}) { // where commas stand in numbers they separate nothing
        if (firstLine.find(separator) != std::string_view::npos &&
            hasDecimalComma(stripped(wordBefore({&separator, 1}, firstLine))))
            return separator;
    }
    for (const char separator : {',', ';', '\t'}) {
        if (firstLine.find(separator) != std::string_view::npos)
            return separator;
    }
    return ',';
}

/// One field from the beginning of the text, up to a separator or line end. Counts the lines that a quoted
/// field runs over.
std::string takeField(std::string_view& text, char separator, std::size_t& line) {
    const std::array<char, 3> ends{separator, '\r', '\n'};
    const auto endOfField = [&](std::size_t from) {
        return std::min(text.find_first_of(std::string_view(ends.data(), ends.size()), from), text.size());
    };
    const std::string_view withoutBlanks = text.substr(std::min(text.find_first_not_of(' '), text.size()));
    if (!withoutBlanks.starts_with('"')) {
        const std::size_t end = endOfField(0);
        std::string field(stripped(text.substr(0, end)));
        text.remove_prefix(end);
        return field;
    }
    text = withoutBlanks;
    const std::size_t openedInLine = line;
    std::string field;
    std::size_t i = 1;
    while (true) {
        if (i >= text.size())
            throw TextTableError(openedInLine, "a quote that begins here does not end");
        if (text[i] == '"') {
            if (!text.substr(i + 1).starts_with('"'))
                break;
            ++i;
        }
        line += text[i] == '\n';
        field += text[i++];
    }
    text.remove_prefix(endOfField(i + 1)); // what stands between the quote and the separator is dropped
    return field;
}

} // namespace

TextTable parseCSV(std::string_view text) {
    text = fileText(text);
    const char separator = separatorOf(firstLineOf(text));
    TextTable table;
    std::size_t line = 1;
    while (!text.empty()) {
        table.hasComment = table.hasComment || isComment(text);
        if (isComment(text))
            text.remove_prefix(std::min(text.find_first_of("\r\n"), text.size()));
        TextRow row{line, {takeField(text, separator, line)}};
        while (text.starts_with(separator)) {
            text.remove_prefix(1);
            if (row.fields.size() == kMostFields)
                throw TextTableError(row.line, "there are too many columns for annotations");
            row.fields.push_back(takeField(text, separator, line));
        }
        (void)takeLine(text);
        ++line;
        if (!isBlank(row))
            add(table, std::move(row));
    }
    if (!table.rows.empty() && !isLikeNumber(table.rows.front().fields.front())) {
        for (const std::string& name : table.rows.front().fields)
            table.header.push_back(lowerCased(name));
        table.rows.erase(table.rows.begin());
    }
    return table;
}

TextTable parseLab(std::string_view text) {
    text = fileText(text);
    TextTable table;
    for (std::size_t line = 1; !text.empty(); ++line) {
        std::string_view rest = stripped(takeLine(text));
        table.hasComment = table.hasComment || isComment(rest);
        if (rest.empty() || isComment(rest))
            continue;
        TextRow row{line, {}};
        while (!rest.empty()) {
            const std::size_t wordEnd = std::min(rest.find_first_of(kBlanks), rest.size());
            const bool isLabel = row.fields.size() == 2 || !numberWithText(rest.substr(0, wordEnd));
            const std::size_t fieldEnd = isLabel ? rest.size() : wordEnd;
            row.fields.emplace_back(rest.substr(0, fieldEnd));
            rest = stripped(rest.substr(fieldEnd));
        }
        add(table, std::move(row));
    }
    return table;
}

TextTable parseNumbers(std::string_view text) {
    text = fileText(text);
    const std::string_view line = firstLineOf(text);
    const std::string_view word = wordBefore(kBlanks, line);
    const bool hasBlanks = line.find_first_of(",;") == std::string_view::npos
                               ? numberWithText(word).has_value()
                               : word.size() < line.size() && hasDecimalComma(word);
    return hasBlanks ? parseLab(text) : parseCSV(text);
}

std::string timeFault(std::string_view text) {
    text = stripped(text);
    if (text.empty())
        return "a time is missing";
    const std::string_view word = wordBefore(kBlanks, text);
    return inQuotes(numberWithText(word) ? text : word) + " is not a time in seconds" +
           (hasDecimalComma(word) ? " (write a point, not a comma)" : "");
}

bool beginsWithMisspeltNumber(std::string_view text) {
    text = stripped(text);
    const std::string_view word = wordBefore(kBlanks, text);
    if (!isLikeNumber(word) || numberWithText(word))
        return false;
    const bool isHexadecimal = lowerCased(word).starts_with("0x");
    const bool isWord = word.find_first_of("0123456789") == std::string_view::npos; // "nan", or a name
    return hasDecimalComma(word) || isHexadecimal || (isWord && word.size() < text.size());
}

std::string csvLine(const std::vector<std::string>& fields) {
    std::string line;
    for (const std::string& given : fields) {
        if (&given != &fields.front())
            line += ',';
        const std::string field = withBlanksFor(kZeroByte, given);
        const bool needsQuotes =
            field.find_first_of(",;\t\"\r\n") != std::string::npos || field != stripped(field);
        if (!needsQuotes) {
            line += field;
            continue;
        }
        line += '"';
        for (const char c : field)
            line.append(c == '"' ? 2 : 1, c);
        line += '"';
    }
    return line + "\n";
}

std::string labLine(const std::vector<std::string>& fields) {
    std::string line;
    for (const std::string& field : fields) {
        if (&field != &fields.front())
            line += '\t';
        line += stripped(withBlanksFor(kEndsOfLabel, field));
    }
    return line + "\n";
}

} // namespace tarn
