#pragma once

#include "Platform/Export.h"
#include "Platform/KeyedArchive.h"
#include "Song/AnalysisFacts.h"
#include "Song/SongProperties.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace TARN_PUBLIC tarn {

class Song;
class TarnNoteEntryStorage;

/// How the values of a song stand in keyed archives. For the sources of Song alone.
namespace archive {

[[nodiscard]] std::shared_ptr<const SecureCoding> coded(const SongProperties& properties);
[[nodiscard]] std::shared_ptr<const SecureCoding> coded(const AnalysisFacts& facts);
/// Nothing where the key is missing; what lies outside its range is taken for its default.
[[nodiscard]] std::optional<SongProperties> decodeProperties(KeyedUnarchiver& coder, std::string_view key);
[[nodiscard]] std::optional<AnalysisFacts> decodeFacts(KeyedUnarchiver& coder, std::string_view key);

/// The frame at which the last entry ends; 0 without entries. What lies beyond every song does not count.
[[nodiscard]] std::int64_t endOf(const TarnNoteEntryStorage& notes);

/// The root object of a song's file.
class SongDocument : public SecureCoding {
public:
    /// The edition of the layout that this program writes. Songs of a newer one are read as far as they are
    /// known here, and the rest of their root object is written back as it was.
    static constexpr std::int64_t kSchemaVersion = 2;
    /// From this edition on a file has a checksum.
    static constexpr std::int64_t kFirstWithChecksum = 2;
    using Checksum = std::array<std::byte, 8>; ///< from the most significant byte

    /// To be written; `field` stands where the checksum will.
    SongDocument(std::shared_ptr<const Song> written, const Checksum& field);

    std::shared_ptr<Song> song; ///< that was read
    /// That was read; nothing in files without one.
    std::optional<Checksum> checksum;
    std::int64_t schemaVersion = 1; ///< that was read

    static const ClassDescription& classDescription();
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
    void encodeWithCoder(KeyedArchiver& coder) const override;

private:
    SongDocument() = default;
    static std::shared_ptr<SecureCoding> make(KeyedUnarchiver& coder);

    std::shared_ptr<const Song> mWritten;
};

} // namespace archive
} // namespace tarn
