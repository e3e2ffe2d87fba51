#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <sstream>
#include <string>

namespace tarn {

/// A folder of its own that vanishes with the object.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::random_device random;
        do
            mPath = std::filesystem::path(testing::TempDir()) / ("tarn-test-" + std::to_string(random()));
        while (!std::filesystem::create_directory(mPath));
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

} // namespace tarn
