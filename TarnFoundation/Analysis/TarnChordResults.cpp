#include "TarnFoundation/Analysis/TarnChordResults.h"

#include "Platform/CheckedArithmetic.h"

#include <algorithm>

namespace tarn {

namespace {

constexpr std::string_view kMagic = "ChRE";

/// A number of the file. Its bytes are asked for by their length, so that a file that ends inside it fails
/// like one that ends inside the labels.
template <typename Number>
Number decodeField(BinaryDecodingContainer& container) {
    constexpr std::size_t length = std::is_enum_v<Number> ? 1 : sizeof(Number);
    return BinaryDataDecoder().decode<Number>(container.decode(length));
}

} // namespace

void TarnChordResults::Header::encode(BinaryEncoder& encoder) const {
    auto container = encoder.container();
    container.encode(version);
    container.encode(labelingId);
    container.encode(frameCount);
}

TarnChordResults::Header TarnChordResults::Header::decode(BinaryDecoder& decoder) {
    auto container = decoder.container();
    Header header;
    header.version = container.decode<Version>(); // takes every byte that is left
    header.labelingId = decodeField<LabelingId>(container);
    header.frameCount = decodeField<std::uint32_t>(container);
    return header;
}

void TarnChordResults::Frame::encode(BinaryEncoder& encoder) const {
    auto container = encoder.container();
    container.encode(location);
    container.encode(checkedCast<std::uint8_t>(labels.size()));
    container.encode(labels);
    container.encode(scores);
}

TarnChordResults::Frame TarnChordResults::Frame::decode(BinaryDecoder& decoder) {
    auto container = decoder.container();
    Frame frame;
    frame.location = decodeField<std::uint64_t>(container);
    const std::size_t count = decodeField<std::uint8_t>(container);
    frame.labels = container.decode(count);
    frame.scores = BinaryDataDecoder().decode<std::vector<float>>(container.decode(count * sizeof(float)));
    return frame;
}

TarnChordResults TarnChordResults::fromTopKResults(const std::vector<DetectChordsOperation::Frame>& results) {
    TarnChordResults converted;
    converted.frames.reserve(results.size());
    for (const auto& result : results) {
        Frame& frame = converted.frames.emplace_back();
        frame.location = checkedCast<std::uint64_t>(result.location);
        for (const auto& candidate : result.candidates) {
            frame.labels.push_back(checkedCast<std::uint8_t>(candidate.label));
            frame.scores.push_back(candidate.score);
        }
    }
    return converted;
}

std::vector<DetectChordsOperation::Frame> TarnChordResults::topKResults() const {
    std::vector<DetectChordsOperation::Frame> results;
    results.reserve(frames.size());
    for (const Frame& frame : frames) {
        auto& result = results.emplace_back();
        result.location = checkedCast<std::int64_t>(frame.location);
        for (std::size_t i = 0; i < std::min(frame.labels.size(), frame.scores.size()); ++i)
            result.candidates.push_back({frame.labels[i], frame.scores[i]});
    }
    return results;
}

void TarnChordResults::encode(BinaryEncoder& encoder) const {
    auto container = encoder.container();
    container.encode(kMagic, StringEncoding::utf8);
    container.encode(
        Header{Header::Version::version1, labelingId, checkedCast<std::uint32_t>(frames.size())});
    container.encode(frames);
}

TarnChordResults TarnChordResults::decode(BinaryDecoder& decoder) {
    auto container = decoder.container();
    const auto magic = container.peek(kMagic.size());
    if (!std::equal(magic.begin(), magic.end(), kMagic.begin(), kMagic.end()))
        throw BinaryDecodingError::dataCorrupted({"Missing chord results header"});
    static_cast<void>(container.decode(kMagic.size()));
    const auto header = container.decode<Header>();
    TarnChordResults results{header.labelingId, container.decode<std::vector<Frame>>()};
    if (results.frames.size() != header.frameCount)
        throw BinaryDecodingError::dataCorrupted({"Mismatched results count"});
    return results;
}

} // namespace tarn
