#pragma once

#include "Platform/Export.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace TARN_PUBLIC tarn {

/// The user's settings: values under text keys. A value is looked up first among those set for this process
/// only (`setVolatileValue`), then among those kept in the file, then among the registered defaults.
/// Reading is typed and lenient: text that spells a number reads as that number (as an integer: truncated),
/// yes, true and integers other than 0 as true, in upper or lower case; what cannot be read as the type asked
/// for counts as absent, so that the next place is tried. Thread-safe.
class UserDefaults {
public:
    /// Values are kept as text in a file of `key = value` lines, where \n, \r, \t, \s (blank), \= and
    /// \\ stand for what would break a line; a file that is missing or unreadable is empty.
    explicit UserDefaults(std::filesystem::path file);

    /// The store of this user and application, in the configuration folder.
    static UserDefaults& standard();

    [[nodiscard]] std::optional<std::string> string(const std::string& key) const;
    [[nodiscard]] bool boolForKey(const std::string& key) const;            ///< false when absent
    [[nodiscard]] std::int64_t integerForKey(const std::string& key) const; ///< 0 when absent
    [[nodiscard]] double doubleForKey(const std::string& key) const;        ///< 0 when absent

    /// Keeps the value in the file (written crash-safely at once, values that other processes wrote meanwhile
    /// stay); returns whether it could be written. If not, the value holds in this process and is
    /// written with the next one.
    bool setString(const std::string& key, const std::string& value);
    bool setBool(const std::string& key, bool value);
    bool setInteger(const std::string& key, std::int64_t value);
    bool setDouble(const std::string& key, double value);
    bool removeValue(const std::string& key);

    /// Sets a value for this process only; an empty optional removes it.
    void setVolatileValue(const std::string& key, std::optional<std::string> value);
    /// Fallback values; later registrations win over earlier ones of the same key.
    void registerDefaults(const std::map<std::string, std::string>& defaults);

private:
    using Values = std::map<std::string, std::string>;
    bool change(const std::string& key, std::optional<std::string> value);
    template <typename Read>
    auto firstReadable(const std::string& key, Read read) const -> decltype(read(key));

    mutable std::mutex mMutex;
    std::filesystem::path mFile;
    Values mVolatile;
    Values mStored; ///< the file's values with the unsaved changes
    std::map<std::string, std::optional<std::string>> mUnsaved;
    Values mRegistered;
};

} // namespace tarn
