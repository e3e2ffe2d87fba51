#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <sstream>
#include <string>

namespace tarn {

/// A folder of its own that vanishes with the object.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = testing::TempDir() + "tarn-test-XXXXXX";
        mPath = ::mkdtemp(name.data());
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return mPath; }
    [[nodiscard]] std::set<std::string> fileNames() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(mPath))
            names.insert(entry.path().filename().string());
        return names;
    }

private:
    std::filesystem::path mPath;
};

/// Empty when the file is missing or a folder.
inline std::string textOf(const std::filesystem::path& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

inline void writeText(const std::filesystem::path& file, const std::string& text) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
}

/// Sets an environment variable, or removes it where the value is null, and restores it at the end of its
/// life.
class EnvironmentVariable {
public:
    EnvironmentVariable(const char* name, const char* value) : mName(name) {
        if (const char* before = std::getenv(name))
            mBefore = before;
        set(value);
    }
    ~EnvironmentVariable() { set(mBefore ? mBefore->c_str() : nullptr); }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    void set(const char* value) { value ? ::setenv(mName, value, 1) : ::unsetenv(mName); }

    const char* mName;
    std::optional<std::string> mBefore;
};

} // namespace tarn
