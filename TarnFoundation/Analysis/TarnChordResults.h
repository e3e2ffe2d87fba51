#pragma once

#include "BinaryCodable/BinaryDecoder.h"
#include "BinaryCodable/BinaryEncoder.h"
#include "KELPMusicInformationRetrieval/ChordDetectionOperation.h"
#include "Platform/Export.h"

#include <cstdint>
#include <vector>

namespace TARN_PUBLIC tarn {

/// The ranked chord candidates of a song, as they are kept in its cache file: the bytes "ChRE", the header,
/// and the frames back to back, all numbers little-endian, without padding or checksum.
///
/// The version is a text without length or terminator, and reading such a text takes all bytes that are left.
/// So reading refuses every file that holds more than magic and version, those written here included: the
/// files serve other readers, and chord detection runs again. Both sides stay as they are for those readers'
/// sake.
struct TarnChordResults {
    /// What the label codes mean.
    enum class LabelingId : std::uint8_t { mcFeeQualityChordLabeling };

    struct Header {
        enum class Version { version1 };

        Version version = Version::version1;
        LabelingId labelingId = LabelingId::mcFeeQualityChordLabeling;
        std::uint32_t frameCount = 0;

        void encode(BinaryEncoder& encoder) const;
        static Header decode(BinaryDecoder& decoder);
        friend bool operator==(const Header&, const Header&) = default;
    };

    struct Frame {
        std::uint64_t location = 0;
        std::vector<std::uint8_t> labels; ///< the best candidate first
        std::vector<float> scores;        ///< one for each label; their count is not written

        /// More than 255 labels abort.
        void encode(BinaryEncoder& encoder) const;
        static Frame decode(BinaryDecoder& decoder);
        friend bool operator==(const Frame&, const Frame&) = default;
    };

    LabelingId labelingId = LabelingId::mcFeeQualityChordLabeling;
    std::vector<Frame> frames;

    /// A negative location and a label outside 0 to 255 abort.
    static TarnChordResults fromTopKResults(const std::vector<DetectChordsOperation::Frame>& results);
    /// A location that a signed number cannot hold aborts. Labels or scores without a counterpart
    /// are left out.
    [[nodiscard]] std::vector<DetectChordsOperation::Frame> topKResults() const;

    void encode(BinaryEncoder& encoder) const;
    /// Besides the failures of its fields, "Missing chord results header" and "Mismatched results count".
    static TarnChordResults decode(BinaryDecoder& decoder);
    friend bool operator==(const TarnChordResults&, const TarnChordResults&) = default;
};

template <>
struct RawRepresentable<TarnChordResults::LabelingId> {
    using RawValue = std::uint8_t;
    static constexpr std::string_view typeName = "LabelingId";
    static constexpr std::pair<TarnChordResults::LabelingId, RawValue> cases[] = {
        {TarnChordResults::LabelingId::mcFeeQualityChordLabeling, 1}};
};

template <>
struct RawRepresentable<TarnChordResults::Header::Version> {
    using RawValue = std::string_view;
    static constexpr std::string_view typeName = "Version";
    static constexpr std::pair<TarnChordResults::Header::Version, RawValue> cases[] = {
        {TarnChordResults::Header::Version::version1, "100a"}};
};

} // namespace tarn
