#pragma once

#include "Platform/Export.h"

#include <filesystem>
#include <optional>
#include <string>
#include <utility>

namespace TARN_PUBLIC tarn {

/// Opens an address with a secret in the user's browser. What programs are started with, every user of the
/// machine can read; so the browser is given a file that only this user can, and that leads there.
class BrowserStart {
public:
    /// Nothing where no browser can be started, as without a desktop. Waits a moment at most: what starts the
    /// browser may stay as long as it does.
    [[nodiscard]] static std::optional<BrowserStart> open(const std::string& address);
    /// Removes the file: the browser has read it.
    ~BrowserStart();
    BrowserStart(BrowserStart&& other) noexcept : mFile(std::exchange(other.mFile, {})) {}
    BrowserStart& operator=(BrowserStart&&) = delete;

private:
    explicit BrowserStart(std::filesystem::path file) : mFile(std::move(file)) {}

    std::filesystem::path mFile;
};

} // namespace tarn
