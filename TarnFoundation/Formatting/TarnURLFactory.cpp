#include "TarnFoundation/Formatting/TarnURLFactory.h"

#include "Platform/FatalError.h"

#include <utility>

namespace tarn {

namespace {

/// Everything but the unreserved characters as "%" and two hexadecimal digits (RFC 3986, sections 2.1
/// and 2.3).
std::string percentEncoded(std::string_view text) {
    static constexpr std::string_view unreserved =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    static constexpr std::string_view digits = "0123456789ABCDEF";
    std::string encoded;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (unreserved.find(character) != std::string_view::npos)
            encoded += character;
        else
            encoded += {'%', digits[byte >> 4], digits[byte & 0xF]};
    }
    return encoded;
}

} // namespace

TarnURLFactory::TarnURLFactory(std::string baseAddress) : mBaseAddress(std::move(baseAddress)) {
    while (mBaseAddress.ends_with('/'))
        mBaseAddress.pop_back();
    const auto scheme = mBaseAddress.find("://");
    precondition(scheme != std::string::npos && scheme > 0 && scheme + 3 < mBaseAddress.size() &&
                     mBaseAddress[scheme + 3] != '/' && mBaseAddress.find_first_of("?#") == std::string::npos,
                 "A base address must have a scheme and a host, and neither query nor fragment");
}

std::string TarnURLFactory::helpURL(std::string_view topic, std::string_view section) const {
    const auto page = mBaseAddress + "/help/" + percentEncoded(topic);
    return section.empty() ? page : page + "#" + percentEncoded(section);
}

std::string TarnURLFactory::updateFeedURL(std::string_view version) const {
    return mBaseAddress + "/updates.xml?version=" + percentEncoded(version);
}

} // namespace tarn
