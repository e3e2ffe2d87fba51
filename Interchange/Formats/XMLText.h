#pragma once

#include "Platform/Export.h"

#include <cstddef>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>

namespace pugi {
class xml_document;
}

/// XML of formats, read from anywhere: no document types, no entities but the five of XML itself.
namespace TARN_PUBLIC tarn {
namespace formats_detail {

/// Throws FormatError for what is not well-formed and for more than two million tags.
void parseUntrustedXML(pugi::xml_document& document, std::span<const std::byte> bytes);

/// Writes it in UTF-8, with line feeds and two blanks for each level.
void writeXML(std::ostream& out, const pugi::xml_document& document);

/// The text on one line, in characters that XML has.
[[nodiscard]] std::string xmlText(std::string_view text);

} // namespace formats_detail
} // namespace tarn
