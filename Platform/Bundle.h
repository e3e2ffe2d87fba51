#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tarn {

/// The library's identifier, under which it logs and finds its texts.
inline constexpr const char* kFrameworkBundleIdentifier = "org.tarnfoundation.TarnFoundation";
/// The identifier under which the analysis logs; its texts are in the library's own bundle.
inline constexpr const char* kAnalysisBundleIdentifier = "org.tarnfoundation.KELPMusicInformationRetrieval";

/// Localized texts by table and key, read from `<folder>/<language>.lproj/<table>.strings` files (lines of
/// `"key" = "value";`, comments, and the usual escapes; UTF-8). Thread-safe.
class Bundle {
public:
    /// The bundle with this identifier; every identifier has one, without texts until a folder is set.
    static Bundle& withIdentifier(const std::string& identifier);
    /// The library's own bundle.
    static Bundle& framework() { return withIdentifier(kFrameworkBundleIdentifier); }

    /// Sets the folder that holds the language folders; texts read before are forgotten.
    void setResourceFolder(std::filesystem::path folder);
    /// Languages in order of preference, for example {"de", "en"}; at first those of the environment
    /// (LANGUAGE, LC_ALL, LC_MESSAGES, LANG). A regional language such as "de-AT" or "de_AT.UTF-8" is looked
    /// up as "de-AT", then as "de".
    void setPreferredLanguages(std::vector<std::string> languages);

    /// The text for the key in the first preferred language that has it; else `defaultValue`, or the key
    /// itself when that is empty. An empty table name means the table "Localizable".
    [[nodiscard]] std::string localizedString(const std::string& key, const std::string& defaultValue = "",
                                              const std::string& table = "") const;

    Bundle();
    Bundle(const Bundle&) = delete;
    Bundle& operator=(const Bundle&) = delete;

private:
    using Table = std::map<std::string, std::string>;
    const Table& table(const std::string& language, const std::string& name) const;

    mutable std::mutex mMutex;
    std::filesystem::path mFolder;
    std::vector<std::string> mLanguages;
    mutable std::map<std::pair<std::string, std::string>, Table> mTables;
};

} // namespace tarn
