#include "BinaryCodable/BufferedData.h"

#include <algorithm>
#include <utility>

namespace tarn {

namespace {

/// A source that is not at its end may have nothing to give for a moment and is asked again; after this many
/// empty pieces in a row it counts as ended, so that no source can keep a reader forever.
constexpr int kMaximumEmptyPieces = 64;

} // namespace

AnyBufferedDataSource::AnyBufferedDataSource(ReadCallback readCallback, IsAtEndCallback isAtEndCallback)
    : mRead(std::move(readCallback)), mIsAtEnd(std::move(isAtEndCallback)) {}

AnyBufferedDataSource ByteBufferSource::eraseToAnySource() && {
    struct State {
        std::vector<std::uint8_t> data;
        std::size_t position = 0;
    };
    auto state = std::make_shared<State>(State{std::move(data)});
    return {[state](std::size_t maxLength) -> std::optional<std::vector<std::uint8_t>> {
                const auto rest = std::span(state->data).subspan(state->position);
                if (rest.empty())
                    return std::nullopt;
                const auto chunk = rest.first(std::min(maxLength, rest.size()));
                state->position += chunk.size();
                return std::vector<std::uint8_t>(chunk.begin(), chunk.end());
            },
            [state] { return state->position == state->data.size(); }};
}

BufferedData::BufferedData(AnyBufferedDataSource reader, std::size_t initialCapacity)
    : mSource(std::move(reader)), mChunkLength(std::max<std::size_t>(initialCapacity, 1)) {}

bool BufferedData::loadMore() {
    for (int emptyPieces = 0; !mSourceEnded && emptyPieces < kMaximumEmptyPieces; ++emptyPieces) {
        if (mSource.isAtEnd())
            break;
        const auto chunk = mSource.read(mChunkLength);
        if (!chunk)
            break;
        if (chunk->empty())
            continue;
        if (mConsumed >= mBuffer.size() - mConsumed) {
            mBuffer.erase(mBuffer.begin(), mBuffer.begin() + static_cast<std::ptrdiff_t>(mConsumed));
            mConsumed = 0;
        }
        mBuffer.insert(mBuffer.end(), chunk->begin(), chunk->end());
        return true;
    }
    mSourceEnded = true;
    return false;
}

/// Loads until `length` bytes are buffered or the source ends; returns how many of them there are.
std::size_t BufferedData::load(std::size_t length) {
    while (buffered().size() < length && loadMore()) {
    }
    return std::min(length, buffered().size());
}

void BufferedData::consume(std::size_t length) {
    mConsumed += length;
    mPosition += length;
}

std::vector<std::uint8_t> BufferedData::take(std::size_t length) {
    const auto bytes = buffered().first(length);
    std::vector<std::uint8_t> result(bytes.begin(), bytes.end());
    consume(length);
    return result;
}

BufferedData::DelimitedRead BufferedData::readUntil(std::uint8_t delimiter, std::size_t maxBytes) {
    std::size_t searched = 0;
    for (;;) {
        const auto window = buffered().first(std::min(maxBytes, buffered().size()));
        const auto found =
            std::find(window.begin() + static_cast<std::ptrdiff_t>(searched), window.end(), delimiter);
        if (found != window.end()) {
            DelimitedRead result{take(static_cast<std::size_t>(found - window.begin())), true};
            consume(1);
            return result;
        }
        searched = window.size();
        if (searched == maxBytes || !loadMore())
            return {take(searched), false};
    }
}

std::vector<std::uint8_t> BufferedData::read(std::size_t maxBytes) {
    return take(load(maxBytes));
}

std::size_t BufferedData::readInto(std::span<std::uint8_t> destination) {
    const auto length = load(destination.size());
    std::copy_n(buffered().begin(), length, destination.begin());
    consume(length);
    return length;
}

std::vector<std::uint8_t> BufferedData::peek(std::size_t maxLength) {
    const auto length = load(maxLength);
    const auto bytes = buffered().first(length);
    return {bytes.begin(), bytes.end()};
}

bool BufferedData::isAtEnd() {
    return load(1) == 0;
}

std::shared_ptr<BufferedData> bufferedData(std::vector<std::uint8_t> data) {
    return std::make_shared<BufferedData>(ByteBufferSource{std::move(data)}.eraseToAnySource());
}

} // namespace tarn
