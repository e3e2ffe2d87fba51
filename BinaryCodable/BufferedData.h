#pragma once

#include "Platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <vector>

/// Reading bytes from a source that delivers them in pieces of any size. A read joins as many pieces as it
/// needs, so a value that spans several pieces reads like one that does not.
namespace TARN_PUBLIC tarn {

/// A stream of bytes given by two functions.
class AnyBufferedDataSource {
public:
    /// Returns up to `maxLength` further bytes (`maxLength` is at least 1); none at the end.
    using ReadCallback = std::function<std::optional<std::vector<std::uint8_t>>(std::size_t maxLength)>;
    using IsAtEndCallback = std::function<bool()>;

    AnyBufferedDataSource(ReadCallback readCallback, IsAtEndCallback isAtEndCallback);

    [[nodiscard]] std::optional<std::vector<std::uint8_t>> read(std::size_t length) { return mRead(length); }
    [[nodiscard]] bool isAtEnd() const { return mIsAtEnd(); }

private:
    ReadCallback mRead;
    IsAtEndCallback mIsAtEnd;
};

/// A source that delivers `data` from its first byte on.
struct ByteBufferSource {
    std::vector<std::uint8_t> data;

    /// Copies of one erased source share their position.
    [[nodiscard]] AnyBufferedDataSource eraseToAnySource() &&;
};

/// A growable buffer in front of a source. Passed by shared pointer: whoever reads moves the position for
/// all.
class BufferedData {
public:
    struct DelimitedRead {
        std::vector<std::uint8_t> data;
        bool didFindDelimiter = false;
    };
    static constexpr std::size_t defaultCapacity = std::size_t{16} * 1024;
    static constexpr std::size_t noLimit = std::numeric_limits<std::size_t>::max();

    /// `initialCapacity` is the number of bytes that the source is asked for at a time (at least 1).
    explicit BufferedData(AnyBufferedDataSource reader, std::size_t initialCapacity = defaultCapacity);
    BufferedData(const BufferedData&) = delete;
    BufferedData& operator=(const BufferedData&) = delete;

    /// The bytes before the first `delimiter`, which is consumed and not returned. When the source (or
    /// `maxBytes`, which counts the delimiter) ends first: all bytes up to there, without a delimiter found.
    DelimitedRead readUntil(std::uint8_t delimiter, std::size_t maxBytes = noLimit);
    /// Up to `maxBytes` bytes; fewer only when the source ends.
    std::vector<std::uint8_t> read(std::size_t maxBytes);
    /// Fills `destination` from its beginning; returns how many bytes there were, fewer only when the source
    /// ends.
    std::size_t readInto(std::span<std::uint8_t> destination);
    /// Up to `maxLength` bytes, which stay to be read; fewer only when the source ends.
    std::vector<std::uint8_t> peek(std::size_t maxLength);
    /// Whether nothing is buffered and the source is at its end. Asks the source for more when nothing is
    /// buffered, since a source may learn of its end only by reading.
    [[nodiscard]] bool isAtEnd();
    /// How many bytes have been read so far.
    [[nodiscard]] std::uint64_t position() const { return mPosition; }

private:
    [[nodiscard]] std::span<const std::uint8_t> buffered() const {
        return std::span(mBuffer).subspan(mConsumed);
    }
    std::size_t load(std::size_t length);
    bool loadMore();
    void consume(std::size_t length);
    std::vector<std::uint8_t> take(std::size_t length);

    AnyBufferedDataSource mSource;
    std::size_t mChunkLength;
    std::vector<std::uint8_t> mBuffer;
    std::size_t mConsumed = 0; ///< bytes at the front of mBuffer that have been read
    std::uint64_t mPosition = 0;
    bool mSourceEnded = false;
};

/// A BufferedData over a plain byte buffer.
[[nodiscard]] std::shared_ptr<BufferedData> bufferedData(std::vector<std::uint8_t> data);

} // namespace tarn
