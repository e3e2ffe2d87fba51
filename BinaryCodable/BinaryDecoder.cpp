#include "BinaryCodable/BinaryDecoder.h"

#include <algorithm>
#include <charconv>

namespace tarn {

using binarycoding::DecodingBound;

namespace {

/// The shortest text that reads back as the same number; whole numbers keep ".0".
template <BinaryFloatingPoint T>
std::string shortestText(T value) {
    std::array<char, 32> buffer;
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
    std::string text(buffer.data(), end);
    return text.find_first_not_of("-0123456789") == std::string::npos ? text + ".0" : text;
}

} // namespace

std::string binarycoding::rawValueText(std::string_view value) {
    return std::string(value);
}
std::string binarycoding::rawValueText(double value) {
    return shortestText(value);
}
std::string binarycoding::rawValueText(float value) {
    return shortestText(value);
}

std::optional<std::size_t> BinaryDecodingContainer::remainingLength() const {
    if (!mBound)
        return std::nullopt;
    return limited(BufferedData::noLimit);
}

/// The part of `length` that this container and those around it still allow.
std::size_t BinaryDecodingContainer::limited(std::size_t length) const {
    for (const DecodingBound* bound = mBound.get(); bound; bound = bound->surrounding.get())
        length = std::min(length, bound->remainingLength);
    return length;
}

void BinaryDecodingContainer::countRead(std::size_t length) {
    for (DecodingBound* bound = mBound.get(); bound; bound = bound->surrounding.get())
        bound->remainingLength -= length;
}

bool BinaryDecodingContainer::isAtEnd() const {
    return limited(1) == 0 || data().isAtEnd();
}

bool BinaryDecodingContainer::readInto(std::span<std::uint8_t> destination) {
    const auto length = data().readInto(destination.first(limited(destination.size())));
    countRead(length);
    return length == destination.size();
}

std::vector<std::uint8_t> BinaryDecodingContainer::decode(std::size_t length) {
    auto bytes = data().read(limited(length));
    countRead(bytes.size());
    if (bytes.size() < length) {
        throw BinaryDecodingError::dataCorrupted({"Not enough bytes available to decode. Requested " +
                                                  std::to_string(length) + ", but received " +
                                                  std::to_string(bytes.size()) + "."});
    }
    return bytes;
}

std::string BinaryDecodingContainer::decode(StringEncoding encoding, std::optional<std::uint8_t> terminator) {
    std::vector<std::uint8_t> bytes;
    if (terminator) {
        auto read = data().readUntil(*terminator, limited(BufferedData::noLimit));
        countRead(read.data.size() + (read.didFindDelimiter ? 1 : 0));
        if (!read.didFindDelimiter)
            throw BinaryDecodingError::dataCorrupted({"Unable to find delimiter for string."});
        bytes = std::move(read.data);
    } else {
        bytes = data().read(limited(BufferedData::noLimit));
        countRead(bytes.size());
    }
    auto text = stringFromBytes(bytes, encoding);
    if (!text) {
        throw BinaryDecodingError::dataCorrupted(
            {"Unable to create string from data with " + std::string(description(encoding)) + " encoding."});
    }
    return std::move(*text);
}

std::vector<std::uint8_t> BinaryDecodingContainer::peek(std::size_t length) const {
    return data().peek(limited(length));
}

BinaryDecodingContainer BinaryDecodingContainer::nestedContainer(std::optional<std::size_t> maxLength) const {
    if (!maxLength)
        return *this;
    return {mSource, std::make_shared<DecodingBound>(DecodingBound{mBound, *maxLength})};
}

} // namespace tarn
