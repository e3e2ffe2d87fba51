#include "Interchange/Formats/XMLText.h"

#include "Interchange/FormatError.h"
#include "Platform/PlainText.h"
#include "Platform/UTF8.h"

#include <algorithm>
#include <ostream>
#include <pugixml.hpp>

namespace tarn::formats_detail {

void parseUntrustedXML(pugi::xml_document& document, std::span<const std::byte> bytes) {
    constexpr std::ptrdiff_t kMostTags = 2'000'000; // a node takes up to 70 bytes
    if (std::count(bytes.begin(), bytes.end(), std::byte{'<'}) > kMostTags)
        throw FormatError("it has too many elements for an annotation");
    constexpr unsigned kPlain = pugi::parse_cdata | pugi::parse_escapes | pugi::parse_wconv_attribute |
                                pugi::parse_eol; // document types are passed over
    const auto result = document.load_buffer(bytes.data(), bytes.size(), kPlain);
    if (result)
        return;
    const auto end = bytes.begin() + std::clamp<std::ptrdiff_t>(result.offset, 0, std::ssize(bytes));
    const auto line = 1 + std::count(bytes.begin(), end, std::byte{'\n'});
    throw FormatError(std::string("it is not well-formed XML (") + result.description() + ")",
                      static_cast<std::size_t>(line));
}

void writeXML(std::ostream& out, const pugi::xml_document& document) {
    document.save(out, "  ", pugi::format_indent, pugi::encoding_utf8);
}

std::string xmlText(std::string_view text) {
    const std::string line = onOneLine(text);
    std::string result;
    for (std::size_t i = 0; i < line.size();) {
        const char32_t character = nextUTF8(line, i);
        appendUTF8(result, (character & 0xFFFE) == 0xFFFE ? kReplacementCharacter : character);
    }
    return result;
}

} // namespace tarn::formats_detail
