#pragma once

#include "BinaryCodable/BinaryCodable.h"
#include "BinaryCodable/BinaryCodingError.h"
#include "BinaryCodable/StringEncoding.h"
#include "Platform/Export.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <ranges>
#include <string_view>
#include <utility>
#include <vector>

/// Writing values as flat bytes: `BinaryDataEncoder` makes the bytes of one value, which writes its fields
/// one after another through the container of the encoder that it is handed.
namespace TARN_PUBLIC tarn {

/// Appends to the byte buffer that all values of one encoding share. Copies append to the same buffer.
class BinaryEncodingContainer {
public:
    /// Appends the value's bytes.
    template <BinaryEncodable T>
    void encode(const T& value);
    /// Appends the text's bytes in `encoding`, and then `terminator` when there is one. Throws
    /// BinaryEncodingError::incompatibleStringEncoding, with nothing appended, when the text cannot be
    /// converted without loss. A terminator is one byte and is not kept out of the text: readers stop at its
    /// first occurrence.
    void encode(std::string_view text, StringEncoding encoding,
                std::optional<std::uint8_t> terminator = std::nullopt);
    /// Appends each element, without count or separator.
    template <std::ranges::input_range Elements>
    requires BinaryEncodable<std::ranges::range_value_t<Elements>>
    void encodeSequence(Elements&& elements) {
        for (const auto& element : elements)
            encode<std::ranges::range_value_t<Elements>>(element);
    }

private:
    friend class BinaryDataEncoder;
    BinaryEncodingContainer() = default;

    std::shared_ptr<std::vector<std::uint8_t>> mData = std::make_shared<std::vector<std::uint8_t>>();
};

/// What a value that encodes itself is handed.
class BinaryEncoder {
public:
    [[nodiscard]] BinaryEncodingContainer container() const { return mContainer; }

private:
    friend class BinaryEncodingContainer;
    explicit BinaryEncoder(BinaryEncodingContainer container) : mContainer(std::move(container)) {}

    BinaryEncodingContainer mContainer;
};

/// Makes the bytes of a value.
class BinaryDataEncoder {
public:
    /// Passes on what the value's own encoding throws.
    template <BinaryEncodable T>
    [[nodiscard]] std::vector<std::uint8_t> encode(const T& value) const {
        BinaryEncodingContainer container;
        container.encode(value);
        return std::move(*container.mData);
    }
};

namespace binarycoding {

/// Aborts: an enumeration holds a value that its table of raw values does not list.
[[noreturn]] void failForUnlistedCase(std::string_view typeName);

template <RawValueEnumeration E>
typename RawRepresentable<E>::RawValue rawValue(E value) {
    for (const auto& [listed, raw] : RawRepresentable<E>::cases) {
        if (listed == value)
            return raw;
    }
    failForUnlistedCase(RawRepresentable<E>::typeName);
}

} // namespace binarycoding

template <BinaryEncodable T>
void BinaryEncodingContainer::encode(const T& value) {
    if constexpr (FixedSizeNumber<T>) {
        const auto bits = std::bit_cast<binarycoding::Bits<T>>(value);
        for (std::size_t i = 0; i < sizeof(T); ++i)
            mData->push_back(static_cast<std::uint8_t>(bits >> (8 * i)));
    } else if constexpr (RawValueEnumeration<T>) {
        const auto raw = binarycoding::rawValue(value);
        if constexpr (std::same_as<decltype(raw), const std::string_view>)
            encode(raw, StringEncoding::utf8);
        else
            encode(raw);
    } else if constexpr (binarycoding::isVector<T>) {
        encodeSequence(value);
    } else {
        BinaryEncoder encoder(*this);
        value.encode(encoder);
    }
}

} // namespace tarn
