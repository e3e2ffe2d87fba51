#pragma once

#include "Platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

/// The names of the keyed archiver's layout, and how often an archive may refer to the same contents. Shared
/// by archiver and unarchiver.
namespace TARN_PUBLIC tarn {
namespace layout {

inline constexpr std::string_view kArchiver = "$archiver";
inline constexpr std::string_view kArchiverName = "NSKeyedArchiver";
inline constexpr std::string_view kVersion = "$version";
inline constexpr std::int64_t kVersionNumber = 100000;
inline constexpr std::string_view kTop = "$top";
inline constexpr std::string_view kObjects = "$objects";
inline constexpr std::string_view kNull = "$null";
inline constexpr std::string_view kRoot = "root";

inline constexpr std::string_view kClass = "$class";
inline constexpr std::string_view kClassName = "$classname";
inline constexpr std::string_view kClasses = "$classes";
inline constexpr std::string_view kBaseClass = "NSObject";

inline constexpr std::string_view kArrayClass = "NSArray";
inline constexpr std::string_view kArrayElements = "NS.objects";
inline constexpr std::string_view kMutableArrayClass = "NSMutableArray";
inline constexpr std::string_view kStringClass = "NSString";
inline constexpr std::string_view kMutableStringClass = "NSMutableString";
inline constexpr std::string_view kStringContent = "NS.string";
inline constexpr std::string_view kDataClass = "NSData";
inline constexpr std::string_view kMutableDataClass = "NSMutableData";
inline constexpr std::string_view kDataContent = "NS.data";

/// The bytes of text and data that a reader copies out of an archive of a given size. A text is stored once
/// however often it occurs, so copies may exceed the archive; beyond this they are taken for an attack.
constexpr std::size_t readableCopies(std::size_t archiveSize) {
    return (std::size_t{16} << 20) + 64 * archiveSize;
}

/// The same for a writer whose archive takes `bufferSize` bytes before layout, at most four times its final
/// size: whatever it writes can be read.
constexpr std::size_t writableCopies(std::size_t bufferSize) {
    return readableCopies(bufferSize / 4);
}

} // namespace layout
} // namespace tarn
