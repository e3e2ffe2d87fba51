#pragma once

#include "Platform/Export.h"

#include <string>
#include <string_view>

/// Texts and numbers of a picture. Sizes and widths are in points.
namespace TARN_PUBLIC tarn {

/// A number with two digits after the point at most, whatever the locale.
[[nodiscard]] std::string pictureNumber(double value);

/// A name from a document for one line: well-formed, without controls, and with an ellipsis after its first
/// 300 characters, so that no name makes a picture large.
[[nodiscard]] std::string boundedName(std::string_view name);

/// Text for XML and HTML, content and attributes: escaped, well-formed, without what XML does not allow.
[[nodiscard]] std::string escapedMarkup(std::string_view text);

/// A path as a relative URL: also one that looks like a scheme or a query.
[[nodiscard]] std::string percentEncoded(std::string_view path);

/// A chord's name as it is set in print: "Bbm7b5/Db" as "B♭m7♭5/D♭".
[[nodiscard]] std::string typesetChord(std::string_view chord);

struct PictureFont {
    double size = 0;
    bool isBold = false;
};

/// About how wide a text is in the sans-serif font that a viewer has, erring on the wide side.
[[nodiscard]] double textWidth(std::string_view text, PictureFont font);

/// As much of the text as has room, with an ellipsis where it is cut; empty when nothing fits.
[[nodiscard]] std::string fittedText(std::string_view text, double room, PictureFont font);

} // namespace tarn
