#include "Platform/UserDefaults.h"

#include "Platform/CheckedArithmetic.h"
#include "Platform/FileManager.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>

namespace tarn {

namespace {

using Values = std::map<std::string, std::string>;

constexpr std::string_view kBlanks = " \t\r";

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// The text in a form that survives trimming and splitting into lines and at the equals sign.
std::string escaped(std::string_view text, bool isKey) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool isAtEdge = i == 0 || i + 1 == text.size();
        if (c == '\n')
            result += "\\n";
        else if (c == '\r')
            result += "\\r";
        else if (c == '\t')
            result += "\\t";
        else if (c == ' ' && isAtEdge)
            result += "\\s";
        else if (c == '\\' || (c == '=' && isKey))
            (result += '\\') += c;
        else
            result += c;
    }
    return result;
}

std::string unescaped(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            result += text[i];
            continue;
        }
        const char c = text[++i];
        result += c == 'n' ? '\n' : c == 'r' ? '\r' : c == 't' ? '\t' : c == 's' ? ' ' : c;
    }
    return result;
}

std::size_t findSeparator(std::string_view line) {
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '=')
            return i;
        if (line[i] == '\\')
            ++i;
    }
    return std::string_view::npos;
}

Values parse(const Data& bytes) {
    Values values;
    std::string_view rest(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        const std::string_view line = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (const std::size_t separator = findSeparator(line); separator != std::string_view::npos)
            values[unescaped(trimmed(line.substr(0, separator)))] =
                unescaped(trimmed(line.substr(separator + 1)));
    }
    return values;
}

/// The file's values (none when there is no file), or nothing when it is there and cannot be read.
std::optional<Values> load(const std::filesystem::path& file) {
    Error error;
    if (const auto bytes = FileManager::contentsOf(file, &error))
        return parse(*bytes);
    if (error.code == ENOENT)
        return Values{};
    return std::nullopt;
}

bool save(const Values& values, const std::filesystem::path& file) {
    std::string text;
    for (const auto& [key, value] : values)
        text += escaped(key, true) + " = " + escaped(value, false) + '\n';
    std::error_code ignored; // A folder that is still missing makes the write fail.
    std::filesystem::create_directories(file.parent_path(), ignored);
    return FileManager::writeAtomically(std::as_bytes(std::span(text)), file);
}

/// The number that the whole text says, blanks around it aside.
template <typename Number>
std::optional<Number> readNumber(std::string_view text) {
    text = trimmed(text);
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    Number number{};
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (code != std::errc{} || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

std::optional<std::int64_t> readInteger(std::string_view text) {
    if (const auto integer = readNumber<std::int64_t>(text))
        return integer;
    if (const auto number = readNumber<double>(text); number && truncationFits<std::int64_t>(*number))
        return static_cast<std::int64_t>(*number);
    return std::nullopt;
}

std::optional<bool> readBool(std::string_view text) {
    std::string lower(trimmed(text));
    for (char& c : lower)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (lower == "yes" || lower == "true")
        return true;
    if (lower == "no" || lower == "false")
        return false;
    if (const auto number = readInteger(lower))
        return *number != 0;
    return std::nullopt;
}

} // namespace

UserDefaults::UserDefaults(std::filesystem::path file)
    : mFile(std::move(file)), mStored(load(mFile).value_or(Values{})) {}

UserDefaults& UserDefaults::standard() {
    static UserDefaults& store =
        *new UserDefaults(FileManager::configurationDirectory() / "Tarn" / "UserDefaults.txt");
    return store;
}

template <typename Read>
auto UserDefaults::firstReadable(const std::string& key, Read read) const -> decltype(read(key)) {
    const std::lock_guard lock(mMutex);
    for (const Values* values : {&mVolatile, &mStored, &mRegistered}) {
        if (const auto found = values->find(key); found != values->end()) {
            if (auto value = read(found->second))
                return value;
        }
    }
    return std::nullopt;
}

std::optional<std::string> UserDefaults::string(const std::string& key) const {
    return firstReadable(key, [](const std::string& text) { return std::optional(text); });
}

bool UserDefaults::boolForKey(const std::string& key) const {
    return firstReadable(key, readBool).value_or(false);
}

std::int64_t UserDefaults::integerForKey(const std::string& key) const {
    return firstReadable(key, readInteger).value_or(0);
}

double UserDefaults::doubleForKey(const std::string& key) const {
    return firstReadable(key, readNumber<double>).value_or(0);
}

bool UserDefaults::setString(const std::string& key, const std::string& value) {
    return change(key, value);
}

bool UserDefaults::setBool(const std::string& key, bool value) {
    return change(key, value ? "YES" : "NO");
}

bool UserDefaults::setInteger(const std::string& key, std::int64_t value) {
    return change(key, std::to_string(value));
}

bool UserDefaults::setDouble(const std::string& key, double value) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return change(key, std::string(buffer, result.ptr));
}

bool UserDefaults::removeValue(const std::string& key) {
    return change(key, std::nullopt);
}

void UserDefaults::setVolatileValue(const std::string& key, std::optional<std::string> value) {
    const std::lock_guard lock(mMutex);
    if (value)
        mVolatile[key] = std::move(*value);
    else
        mVolatile.erase(key);
}

void UserDefaults::registerDefaults(const std::map<std::string, std::string>& defaults) {
    const std::lock_guard lock(mMutex);
    for (const auto& [key, value] : defaults)
        mRegistered[key] = value;
}

bool UserDefaults::change(const std::string& key, std::optional<std::string> value) {
    const std::lock_guard lock(mMutex);
    mUnsaved[key] = std::move(value);
    // Another process of this user may have changed other values since this one read the file.
    auto current = load(mFile);
    const bool isReadable = current.has_value();
    if (isReadable)
        mStored = std::move(*current);
    for (const auto& [changedKey, changedValue] : mUnsaved) {
        if (changedValue)
            mStored[changedKey] = *changedValue;
        else
            mStored.erase(changedKey);
    }
    if (!isReadable || !save(mStored, mFile))
        return false;
    mUnsaved.clear();
    return true;
}

} // namespace tarn
