#pragma once

#include "Platform/Export.h"

#include <cstdint>
#include <filesystem>
#include <optional>

namespace TARN_PUBLIC tarn {

/// Which file lies at a path, and in which state: what changes when it is replaced or written.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t number = 0; ///< of the file on its device
    std::uint64_t size = 0;
    std::int64_t modified = 0; ///< nanoseconds
    std::int64_t changed = 0;  ///< the same for its description

    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;

    /// Nothing where there is no file.
    [[nodiscard]] static std::optional<FileIdentity> of(const std::filesystem::path& file);
};

} // namespace tarn
