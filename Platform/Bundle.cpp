#include "Platform/Bundle.h"

#include "Platform/FileManager.h"
#include "Platform/ProcessInfo.h"
#include "Platform/UTF8.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <string_view>
#include <utility>

namespace tarn {

namespace {

/// "de_AT.UTF-8@euro" becomes "de-AT". Empty for the C locale and for what cannot be a language's name.
std::string languageOfLocale(std::string_view locale) {
    std::string language(locale.substr(0, locale.find_first_of(".@")));
    if (language == "C" || language == "POSIX")
        return {};
    for (char& c : language) {
        if (c == '_')
            c = '-';
        else if (c != '-' && !std::isalnum(static_cast<unsigned char>(c)))
            return {};
    }
    return language;
}

std::string environment(const char* name) {
    return ProcessInfo::environmentVariable(name).value_or("");
}

/// The order of the message catalogues' convention: the list in LANGUAGE counts only when a locale other than
/// C is set.
std::vector<std::string> languagesOfEnvironment() {
    std::string locale;
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (const auto value = environment(name); !value.empty()) {
            locale = languageOfLocale(value);
            break;
        }
    }
    std::vector<std::string> languages;
    if (locale.empty())
        return languages;
    const std::string preferred = environment("LANGUAGE");
    std::string_view list = preferred;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(':'), list.size());
        if (auto language = languageOfLocale(list.substr(0, end)); !language.empty())
            languages.push_back(std::move(language));
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    languages.push_back(std::move(locale));
    return languages;
}

/// Reads the text of a .strings file from front to back. A malformed entry is skipped up to the end of its
/// line.
class StringsParser {
public:
    explicit StringsParser(std::string_view text) : mRest(text) {
        constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
        if (mRest.starts_with(kByteOrderMark))
            mRest.remove_prefix(kByteOrderMark.size());
    }

    std::map<std::string, std::string> entries() {
        std::map<std::string, std::string> result;
        for (skipBlanks(); !mRest.empty(); skipBlanks()) {
            const auto start = mRest;
            auto key = quotedText();
            auto value = key && take('=') ? quotedText() : std::nullopt;
            if (value && take(';')) {
                result.insert_or_assign(std::move(*key), std::move(*value));
            } else {
                mRest = start;
                mRest.remove_prefix(std::min(mRest.find('\n'), mRest.size()));
            }
        }
        return result;
    }

private:
    /// Blanks and comments; a block comment without an end reaches to the end of the file.
    void skipBlanks() {
        for (;;) {
            mRest.remove_prefix(std::min(mRest.find_first_not_of(" \t\r\n"), mRest.size()));
            if (mRest.starts_with("//"))
                mRest.remove_prefix(std::min(mRest.find('\n'), mRest.size()));
            else if (mRest.starts_with("/*"))
                mRest.remove_prefix(std::min(mRest.find("*/", 2), mRest.size() - 2) + 2);
            else
                return;
        }
    }

    bool take(char c) {
        skipBlanks();
        if (!mRest.starts_with(c))
            return false;
        mRest.remove_prefix(1);
        return true;
    }

    std::optional<std::string> quotedText() {
        if (!take('"'))
            return std::nullopt;
        std::string text;
        while (!mRest.empty()) {
            const char c = mRest.front();
            mRest.remove_prefix(1);
            if (c == '"')
                return text;
            if (c != '\\' || mRest.empty())
                text += c;
            else
                appendEscape(text);
        }
        return std::nullopt;
    }

    void appendEscape(std::string& text) {
        const char c = mRest.front();
        mRest.remove_prefix(1);
        if (c == 'n')
            text += '\n';
        else if (c == 'r')
            text += '\r';
        else if (c == 't')
            text += '\t';
        else if (const auto unit = c == 'U' || c == 'u' ? codeUnit() : std::nullopt)
            appendUTF8(text, completed(*unit));
        else
            text += c;
    }

    /// Four hexadecimal digits, a UTF-16 code unit.
    std::optional<char32_t> codeUnit() {
        char32_t value = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            const int c = i < mRest.size() ? static_cast<unsigned char>(mRest[i]) : 0;
            if (!std::isxdigit(c))
                return std::nullopt;
            value =
                value * 16 + static_cast<char32_t>(std::isdigit(c) ? c - '0' : std::tolower(c) - 'a' + 10);
        }
        mRest.remove_prefix(4);
        return value;
    }

    /// The character that the code unit and, for the first of a surrogate pair, the escape after it stand
    /// for.
    char32_t completed(char32_t unit) {
        if (unit < 0xD800 || unit > 0xDFFF)
            return unit;
        const auto start = mRest;
        if (unit < 0xDC00 && (mRest.starts_with("\\U") || mRest.starts_with("\\u"))) {
            mRest.remove_prefix(2);
            if (const auto low = codeUnit(); low && *low >= 0xDC00 && *low <= 0xDFFF)
                return 0x10000 + ((unit - 0xD800) << 10) + (*low - 0xDC00);
        }
        mRest = start;
        return kReplacementCharacter;
    }

    std::string_view mRest;
};

} // namespace

Bundle::Bundle() : mLanguages(languagesOfEnvironment()) {}

Bundle& Bundle::withIdentifier(const std::string& identifier) {
    static std::mutex mutex;
    static auto& bundles = *new std::map<std::string, Bundle>;
    const std::lock_guard lock(mutex);
    return bundles[identifier];
}

void Bundle::setResourceFolder(std::filesystem::path folder) {
    const std::lock_guard lock(mMutex);
    mFolder = std::move(folder);
    mTables.clear();
}

void Bundle::setPreferredLanguages(std::vector<std::string> languages) {
    const std::lock_guard lock(mMutex);
    mLanguages = std::move(languages);
}

std::string Bundle::localizedString(const std::string& key, const std::string& defaultValue,
                                    const std::string& table) const {
    const std::lock_guard lock(mMutex);
    for (const std::string& preferred : mLanguages) {
        std::string language = languageOfLocale(preferred);
        while (!language.empty() && !mFolder.empty()) {
            const Table& texts = this->table(language, table.empty() ? "Localizable" : table);
            if (const auto found = texts.find(key); found != texts.end())
                return found->second;
            const std::size_t end = language.rfind('-');
            language.resize(end == std::string::npos ? 0 : end);
        }
    }
    return defaultValue.empty() ? key : defaultValue;
}

const Bundle::Table& Bundle::table(const std::string& language, const std::string& name) const {
    const auto [entry, isNew] = mTables.try_emplace({language, name});
    if (isNew) {
        if (const auto bytes = FileManager::contentsOf(mFolder / (language + ".lproj") / (name + ".strings")))
            entry->second =
                StringsParser({reinterpret_cast<const char*>(bytes->data()), bytes->size()}).entries();
    }
    return entry->second;
}

} // namespace tarn
