#pragma once

#include "BinaryCodable/BinaryCodable.h"
#include "BinaryCodable/BinaryCodingError.h"
#include "BinaryCodable/BufferedData.h"
#include "BinaryCodable/StringEncoding.h"
#include "Platform/Export.h"

#include <any>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

/// Reading values from flat bytes: `BinaryDataDecoder` builds one value, which reads its fields in the order
/// in which they were written through the container of the decoder that it is handed. The bytes are not
/// trusted: whatever does not fit is thrown as BinaryDecodingError, and no length that they state is
/// allocated before it has been read.
namespace TARN_PUBLIC tarn {

namespace binarycoding {

/// What all containers of one decoding share.
struct DecodingSource {
    std::shared_ptr<BufferedData> data;
    std::map<std::string, std::any> userInfo;
};

/// The bytes that a bounded container may still read. What it reads counts against the containers around it,
/// too.
struct DecodingBound {
    std::shared_ptr<DecodingBound> surrounding;
    std::size_t remainingLength = 0;
};

std::string rawValueText(std::string_view value);
std::string rawValueText(double value);
std::string rawValueText(float value);
template <FixedWidthInteger T>
std::string rawValueText(T value) {
    return std::to_string(value);
}

} // namespace binarycoding

/// Reads the fields of a value. Copies, and the containers of values read through this one, share its
/// position and bound.
class BinaryDecodingContainer {
public:
    /// The bytes that may still be read; empty when the container is unbounded.
    [[nodiscard]] std::optional<std::size_t> remainingLength() const;
    /// Whether nothing more may be read, or nothing is left.
    [[nodiscard]] bool isAtEnd() const;

    /// Reads a value of type `T`. An array takes elements until the container is at its end; so does the text
    /// of an enumeration with text raw values.
    template <BinaryDecodable T>
    T decode();
    /// Exactly `length` bytes; throws when there are fewer.
    std::vector<std::uint8_t> decode(std::size_t length);
    /// The text before `terminator`, which is consumed and counts against the bound. Without a terminator:
    /// the text that all remaining bytes of the container spell. Throws when the terminator is missing or the
    /// bytes are not a text in `encoding`.
    std::string decode(StringEncoding encoding, std::optional<std::uint8_t> terminator = std::nullopt);
    /// The next `length` bytes, fewer when the container ends before; they stay to be read.
    [[nodiscard]] std::vector<std::uint8_t> peek(std::size_t length) const;
    /// A container over the bytes that follow, at most `maxLength` and never more than this one may read.
    [[nodiscard]] BinaryDecodingContainer
    nestedContainer(std::optional<std::size_t> maxLength = std::nullopt) const;

private:
    friend class BinaryDecoder;
    friend class BinaryDataDecoder;
    BinaryDecodingContainer(std::shared_ptr<binarycoding::DecodingSource> source,
                            std::shared_ptr<binarycoding::DecodingBound> bound)
        : mSource(std::move(source)), mBound(std::move(bound)) {}

    [[nodiscard]] BufferedData& data() const { return *mSource->data; }
    [[nodiscard]] std::size_t limited(std::size_t length) const;
    void countRead(std::size_t length);
    bool readInto(std::span<std::uint8_t> destination);
    template <FixedSizeNumber T>
    T decodeNumber();
    template <RawValueEnumeration E>
    E decodeEnumeration();
    template <typename Element>
    std::vector<Element> decodeArray();

    std::shared_ptr<binarycoding::DecodingSource> mSource;
    std::shared_ptr<binarycoding::DecodingBound> mBound;
};

/// What a type that decodes itself is handed.
class BinaryDecoder {
public:
    [[nodiscard]] BinaryDecodingContainer container() const { return mContainer; }
    /// The user information of the BinaryDataDecoder.
    [[nodiscard]] const std::map<std::string, std::any>& userInfo() const {
        return mContainer.mSource->userInfo;
    }

private:
    friend class BinaryDecodingContainer;
    explicit BinaryDecoder(BinaryDecodingContainer container) : mContainer(std::move(container)) {}

    BinaryDecodingContainer mContainer;
};

/// Builds a value from bytes. Bytes that follow the value are left alone.
class BinaryDataDecoder {
public:
    /// Handed to every type that decodes itself.
    std::map<std::string, std::any> userInfo;

    template <BinaryDecodable T>
    [[nodiscard]] T decode(std::span<const std::byte> data) const {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(data.data());
        return decode<T>(std::vector<std::uint8_t>(bytes, bytes + data.size()));
    }
    template <BinaryDecodable T>
    [[nodiscard]] T decode(std::vector<std::uint8_t> bytes) const {
        return decode<T>(bufferedData(std::move(bytes)));
    }
    /// Reads on from the data's position and leaves it after the value.
    template <BinaryDecodable T>
    [[nodiscard]] T decode(std::shared_ptr<BufferedData> data) const {
        auto source = std::make_shared<binarycoding::DecodingSource>();
        source->data = std::move(data);
        source->userInfo = userInfo;
        return BinaryDecodingContainer(std::move(source), nullptr).decode<T>();
    }
};

template <BinaryDecodable T>
T BinaryDecodingContainer::decode() {
    if constexpr (FixedSizeNumber<T>) {
        return decodeNumber<T>();
    } else if constexpr (RawValueEnumeration<T>) {
        return decodeEnumeration<T>();
    } else if constexpr (binarycoding::isVector<T>) {
        return decodeArray<typename T::value_type>();
    } else {
        BinaryDecoder decoder(*this);
        return T::decode(decoder);
    }
}

template <FixedSizeNumber T>
T BinaryDecodingContainer::decodeNumber() {
    std::array<std::uint8_t, sizeof(T)> bytes;
    if (!readInto(bytes)) {
        throw BinaryDecodingError::dataCorrupted(
            {"Not enough data to create a a type of " + binarycoding::typeName<T>()});
    }
    binarycoding::Bits<T> bits = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i)
        bits = static_cast<binarycoding::Bits<T>>(bits | static_cast<binarycoding::Bits<T>>(bytes[i])
                                                             << (8 * i));
    return std::bit_cast<T>(bits);
}

template <RawValueEnumeration E>
E BinaryDecodingContainer::decodeEnumeration() {
    using RawValue = typename RawRepresentable<E>::RawValue;
    const auto raw = [this] {
        if constexpr (std::same_as<RawValue, std::string_view>)
            return decode(StringEncoding::utf8);
        else
            return decodeNumber<RawValue>();
    }();
    for (const auto& [value, listed] : RawRepresentable<E>::cases) {
        if (listed == raw)
            return value;
    }
    throw BinaryDecodingError::dataCorrupted(
        {"Cannot initialize " + std::string(RawRepresentable<E>::typeName) + " from invalid " +
         binarycoding::typeName<RawValue>() + " value " + binarycoding::rawValueText(raw)});
}

template <typename Element>
std::vector<Element> BinaryDecodingContainer::decodeArray() {
    std::vector<Element> elements;
    while (!isAtEnd()) {
        const auto start = data().position();
        elements.push_back(decode<Element>());
        if (data().position() == start)
            throw BinaryDecodingError::dataCorrupted(
                {"An array element takes no bytes, so the array has no end."});
    }
    return elements;
}

} // namespace tarn
