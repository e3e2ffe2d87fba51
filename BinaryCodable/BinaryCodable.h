#pragma once

#include "Platform/Export.h"

#include <bit>
#include <concepts>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/// Which types can be written to and read from flat bytes. A type adopts the coding with
///
///     void encode(BinaryEncoder& encoder) const;
///     static T decode(BinaryDecoder& decoder);
///
/// Fixed-width integers, float and double, vectors of codable elements and enumerations with raw values need
/// nothing or one trait. Nothing but the values' bytes is written: no names, tags, counts or padding.
namespace TARN_PUBLIC tarn {

class BinaryEncoder;
class BinaryDecoder;

/// Integers of 8, 16, 32 or 64 bits; written least significant byte first, in two's complement.
template <typename T>
concept FixedWidthInteger = std::integral<T> && std::same_as<T, std::remove_cv_t<T>> && sizeof(T) <= 8 &&
                            !std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, wchar_t> &&
                            !std::same_as<T, char8_t> && !std::same_as<T, char16_t> &&
                            !std::same_as<T, char32_t>;

/// IEEE 754 binary32 and binary64; written least significant byte first.
template <typename T>
concept BinaryFloatingPoint = std::same_as<T, float> || std::same_as<T, double>;
static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559);

template <typename T>
concept FixedSizeNumber = FixedWidthInteger<T> || BinaryFloatingPoint<T>;

/// Specialised for an enumeration with raw values, after the enumeration and before its first use here:
///
///     template <> struct RawRepresentable<Version> {
///         using RawValue = std::string_view; // or a fixed-width integer, float or double
///         static constexpr std::string_view typeName = "Version";
///         static constexpr std::pair<Version, RawValue> cases[] = {{Version::version1, "100a"}};
///     };
///
/// A number is written as such. A text is written as its UTF-8 bytes without length or terminator, and is
/// therefore read from everything that is left in the container.
template <typename E>
struct RawRepresentable {};

template <typename E>
concept RawValueEnumeration = std::is_enum_v<E> && requires {
    typename RawRepresentable<E>::RawValue;
    { RawRepresentable<E>::typeName } -> std::convertible_to<std::string_view>;
    RawRepresentable<E>::cases;
} &&(FixedSizeNumber<typename RawRepresentable<E>::RawValue> ||
     std::same_as<typename RawRepresentable<E>::RawValue, std::string_view>);

template <typename T>
inline constexpr bool isBinaryEncodable = FixedSizeNumber<T> || RawValueEnumeration<T> ||
                                          requires(const T& value, BinaryEncoder& encoder) {
    value.encode(encoder);
};
template <typename Element>
inline constexpr bool isBinaryEncodable<std::vector<Element>> = isBinaryEncodable<Element>;

template <typename T>
inline constexpr bool isBinaryDecodable = FixedSizeNumber<T> || RawValueEnumeration<T> ||
                                          requires(BinaryDecoder& decoder) {
    { T::decode(decoder) } -> std::same_as<T>;
};
template <typename Element>
inline constexpr bool isBinaryDecodable<std::vector<Element>> = isBinaryDecodable<Element>;

template <typename T>
concept BinaryEncodable = isBinaryEncodable<T>;
template <typename T>
concept BinaryDecodable = isBinaryDecodable<T>;
template <typename T>
concept BinaryCodable = BinaryEncodable<T> && BinaryDecodable<T>;

namespace binarycoding {

template <typename T>
inline constexpr bool isVector = false;
template <typename Element>
inline constexpr bool isVector<std::vector<Element>> = true;

/// The unsigned integer that has the number's bits.
template <FixedSizeNumber T>
using Bits =
    std::conditional_t<sizeof(T) == 1, std::uint8_t,
                       std::conditional_t<sizeof(T) == 2, std::uint16_t,
                                          std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>>;

/// The type's name in messages, for example "UInt32", "Float" or "String".
template <typename T>
std::string typeName() {
    if constexpr (std::same_as<T, std::string_view>)
        return "String";
    else if constexpr (std::same_as<T, float>)
        return "Float";
    else if constexpr (std::same_as<T, double>)
        return "Double";
    else
        return (std::is_signed_v<T> ? "Int" : "UInt") + std::to_string(8 * sizeof(T));
}

} // namespace binarycoding

} // namespace tarn
