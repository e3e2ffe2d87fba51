#include "BinaryCodable/BinaryEncoder.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace tarn {

void BinaryEncodingContainer::encode(std::string_view text, StringEncoding encoding,
                                     std::optional<std::uint8_t> terminator) {
    const auto bytes = bytesFromString(text, encoding);
    if (!bytes) {
        throw BinaryEncodingError::incompatibleStringEncoding(
            {"The string " + std::string(text) + " could not be encoded as data using the encoding " +
             std::string(description(encoding)) + "."});
    }
    mData->insert(mData->end(), bytes->begin(), bytes->end());
    if (terminator)
        mData->push_back(*terminator);
}

void binarycoding::failForUnlistedCase(std::string_view typeName) {
    const std::string message = "A value of " + std::string(typeName) + " has no raw value\n";
    std::fputs(message.c_str(), stderr);
    std::abort();
}

} // namespace tarn
