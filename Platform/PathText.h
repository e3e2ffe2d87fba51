#pragma once

#include <string>
#include <utility>

namespace tarn {

/// A path as an operation takes it, from a std::filesystem::path or from text, without including <filesystem> where
/// the operation is declared. UTF-8; on POSIX systems the path's bytes as they are.
class PathText {
public:
    PathText(const char* text) : mText(text) {}
    PathText(std::string text) : mText(std::move(text)) {}
    template <typename Path>
    requires requires(const Path& path) { path.u8string(); }
    PathText(const Path& path) {
        const auto text = path.u8string();
        mText.assign(text.begin(), text.end());
    }

    /// The path again; `Path` is std::filesystem::path.
    template <typename Path>
    [[nodiscard]] Path as() const {
        return Path(std::u8string(mText.begin(), mText.end()));
    }

private:
    std::string mText;
};

} // namespace tarn
