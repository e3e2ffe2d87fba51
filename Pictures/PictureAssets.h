#pragma once

#include "Platform/Export.h"

#include <string_view>

/// The files of Assets/, as the build embeds them.
namespace TARN_PUBLIC tarn {

extern const std::string_view kPictureStyle; ///< of rows, alone and in a page
extern const std::string_view kPageMarkup;   ///< with {{names}} of what comes there
extern const std::string_view kPlayerMarkup; ///< likewise; a part of pages that play
extern const std::string_view kPageStyle;
extern const std::string_view kPageScript;

} // namespace tarn
