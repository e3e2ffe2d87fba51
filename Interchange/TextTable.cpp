#include "Interchange/TextTable.h"

#include "Platform/PlainText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace tarn {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kZeroByte("\0", 1);
constexpr std::string_view kEndsOfLabel("\n\r\0", 3);

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string_view withoutByteOrderMark(std::string_view text) {
    return text.starts_with(kByteOrderMark) ? text.substr(kByteOrderMark.size()) : text;
}

/// Refuses what no text editor would show, such as UTF-16: messages could not quote it either.
void requireText(std::string_view text) {
    const std::size_t zero = text.find('\0');
    if (zero != std::string_view::npos)
        throw TextTableError(
            1 + static_cast<std::size_t>(std::count(text.begin(), text.begin() + zero, '\n')),
            "there is a zero byte; save the file as text in UTF-8");
}

/// Removes the line end at the beginning of the text.
void skipLineEnd(std::string_view& text) {
    text.remove_prefix(text.starts_with("\r\n") ? 2 : 1);
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
        const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
        const std::string_view line = trimmed(text.substr(0, end));
        if (!line.empty() && !isComment(line))
            return line;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return text;
}

char separatorOf(std::string_view firstLine) {
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
        std::string field(trimmed(text.substr(0, end)));
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
    requireText(text);
    text = withoutByteOrderMark(text);
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
            row.fields.push_back(takeField(text, separator, line));
        }
        if (!text.empty())
            skipLineEnd(text);
        ++line;
        if (!isBlank(row))
            table.rows.push_back(std::move(row));
    }
    if (!table.rows.empty() && !numberWithText(table.rows.front().fields.front())) {
        for (const std::string& name : table.rows.front().fields)
            table.header.push_back(lowerCased(name));
        table.rows.erase(table.rows.begin());
    }
    return table;
}

TextTable parseLab(std::string_view text) {
    requireText(text);
    text = withoutByteOrderMark(text);
    TextTable table;
    for (std::size_t line = 1; !text.empty(); ++line) {
        const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
        std::string_view rest = trimmed(text.substr(0, end));
        text.remove_prefix(end);
        if (!text.empty())
            skipLineEnd(text);
        table.hasComment = table.hasComment || isComment(rest);
        if (rest.empty() || isComment(rest))
            continue;
        TextRow row{line, {}};
        while (!rest.empty()) {
            const std::size_t wordEnd = std::min(rest.find_first_of(kBlanks), rest.size());
            const bool isLabel = row.fields.size() == 2 || !numberWithText(rest.substr(0, wordEnd));
            const std::size_t fieldEnd = isLabel ? rest.size() : wordEnd;
            row.fields.emplace_back(rest.substr(0, fieldEnd));
            rest = trimmed(rest.substr(fieldEnd));
        }
        table.rows.push_back(std::move(row));
    }
    return table;
}

TextTable parseNumbers(std::string_view text) {
    const std::string_view line = firstLineOf(withoutByteOrderMark(text));
    const auto firstWord = line.substr(0, line.find_first_of(" \t,;"));
    const bool hasBlanks = line.find_first_of(",;") == std::string_view::npos && numberWithText(firstWord);
    return hasBlanks ? parseLab(text) : parseCSV(text);
}

std::string csvLine(const std::vector<std::string>& fields) {
    std::string line;
    for (const std::string& given : fields) {
        if (&given != &fields.front())
            line += ',';
        const std::string field = withBlanksFor(kZeroByte, given);
        const bool needsQuotes =
            field.find_first_of(",;\t\"\r\n") != std::string::npos || field != trimmed(field);
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
        line += trimmed(withBlanksFor(kEndsOfLabel, field));
    }
    return line + "\n";
}

} // namespace tarn
