#include "Interchange/FileText.h"

#include "Interchange/FormatError.h"

#include <algorithm>

namespace tarn {

std::string_view fileText(std::string_view bytes) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF"))
        throw FormatError("it is text in UTF-16; save it in UTF-8", 1);
    if (const std::size_t zero = bytes.find('\0'); zero != std::string_view::npos)
        throw FormatError("there is a zero byte; save the file as text in UTF-8",
                          1 + static_cast<std::size_t>(
                                  std::count(bytes.begin(), bytes.begin() + std::ptrdiff_t(zero), '\n')));
    if (bytes.starts_with(kByteOrderMark))
        bytes.remove_prefix(kByteOrderMark.size());
    return bytes;
}

std::string_view takeLine(std::string_view& text) {
    const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end);
    text.remove_prefix(text.starts_with("\r\n") ? 2 : std::min<std::size_t>(text.size(), 1));
    return line;
}

} // namespace tarn
