#pragma once

#include "Platform/Export.h"

#include <span>
#include <string_view>

namespace TARN_PUBLIC tarn {

struct PageFile {
    std::string_view name; ///< "index.html"
    std::string_view content;
};

/// The files of Page/, as the build embeds them, by their names.
extern const std::span<const PageFile> kPageFiles;

} // namespace tarn
