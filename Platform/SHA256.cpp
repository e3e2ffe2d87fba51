#include "Platform/SHA256.h"

#include <algorithm>
#include <bit>
#include <fstream>
#include <type_traits>
#include <utility>
#include <vector>

namespace tarn {

namespace {

using Word = std::uint32_t;
using State = std::array<Word, 8>;

constexpr std::size_t kRounds = 64;
constexpr std::size_t kWindow = 16; ///< words of the message schedule that later ones depend on

constexpr std::array<Word, kRounds> kRoundConstants{
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

inline Word bigEndian(const std::byte* bytes) {
    return std::to_integer<Word>(bytes[0]) << 24 | std::to_integer<Word>(bytes[1]) << 16 |
           std::to_integer<Word>(bytes[2]) << 8 | std::to_integer<Word>(bytes[3]);
}

/// Word `index` of the message schedule, once `words` holds the sixteen before it.
template <std::size_t index>
inline void extendSchedule(std::array<Word, kWindow>& words) {
    const Word early = words[(index - 15) % kWindow];
    const Word late = words[(index - 2) % kWindow];
    words[index % kWindow] += (std::rotr(early, 7) ^ std::rotr(early, 18) ^ early >> 3) +
                              words[(index - 7) % kWindow] +
                              (std::rotr(late, 17) ^ std::rotr(late, 19) ^ late >> 10);
}

/// One round. Instead of moving all eight words along, it changes the two that are new; the next round counts
/// its words from one place earlier. With the index known to the compiler all words stay in registers.
template <std::size_t index>
inline void doRound(State& state, Word input) {
    const auto word = [&state](std::size_t place) -> Word& { return state[(place + kRounds - index) % 8]; };
    const Word a = word(0), b = word(1), c = word(2);
    const Word e = word(4), f = word(5), g = word(6);
    const Word choice = g ^ (e & (f ^ g));
    const Word majority = (a & b) | (c & (a | b));
    Word& h = word(7);
    h += (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) + choice + input;
    word(3) += h;
    h += (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + majority;
}

template <std::size_t... indices>
void doAllRounds(State& state, std::array<Word, kWindow>& words, std::index_sequence<indices...>) {
    const auto step = [&]<std::size_t index>(std::integral_constant<std::size_t, index>) {
        if constexpr (index >= kWindow)
            extendSchedule<index>(words);
        doRound<index>(state, words[index % kWindow] + kRoundConstants[index]);
    };
    (step(std::integral_constant<std::size_t, indices>{}), ...);
}

void processBlock(State& state, const std::byte* block) {
    std::array<Word, kWindow> words;
    for (std::size_t i = 0; i < kWindow; ++i)
        words[i] = bigEndian(block + 4 * i);
    State next = state;
    doAllRounds(next, words, std::make_index_sequence<kRounds>{});
    for (std::size_t i = 0; i < state.size(); ++i)
        state[i] += next[i];
}

} // namespace

void SHA256::update(std::span<const std::byte> bytes) {
    mByteCount += bytes.size();
    if (mBlockLength > 0) {
        const std::size_t taken = std::min(kBlockSize - mBlockLength, bytes.size());
        std::copy_n(bytes.begin(), taken, mBlock.begin() + static_cast<std::ptrdiff_t>(mBlockLength));
        mBlockLength += taken;
        bytes = bytes.subspan(taken);
        if (mBlockLength < kBlockSize)
            return;
        processBlock(mState, mBlock.data());
    }
    for (; bytes.size() >= kBlockSize; bytes = bytes.subspan(kBlockSize))
        processBlock(mState, bytes.data());
    std::copy(bytes.begin(), bytes.end(), mBlock.begin());
    mBlockLength = bytes.size();
}

SHA256::Digest SHA256::digest() const {
    // A one bit, zeros up to the last eight bytes of a block, and the message's length in bits.
    constexpr std::size_t kLengthSize = 8;
    SHA256 padded = *this;
    std::array<std::byte, 2 * kBlockSize> padding{std::byte{0x80}};
    const std::size_t room = mBlockLength < kBlockSize - kLengthSize ? kBlockSize : 2 * kBlockSize;
    const std::size_t length = room - mBlockLength;
    for (std::size_t i = 0; i < kLengthSize; ++i)
        padding[length - 1 - i] = static_cast<std::byte>(mByteCount * 8 >> 8 * i);
    padded.update(std::span(padding).first(length));

    Digest digest;
    for (std::size_t i = 0; i < digest.size(); ++i)
        digest[i] = static_cast<std::byte>(padded.mState[i / 4] >> (24 - 8 * (i % 4)));
    return digest;
}

std::string SHA256::hexDigest() const {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const std::byte byte : digest()) {
        text += kDigits[std::to_integer<unsigned>(byte >> 4)];
        text += kDigits[std::to_integer<unsigned>(byte & std::byte{0xF})];
    }
    return text;
}

std::string SHA256::hexDigestOf(std::span<const std::byte> bytes) {
    SHA256 hash;
    hash.update(bytes);
    return hash.hexDigest();
}

std::optional<std::string> SHA256::hexDigestOfFile(const std::filesystem::path& file,
                                                   const std::function<bool()>& isCancelled) {
    std::ifstream stream(file, std::ios::binary);
    std::vector<char> block(std::size_t{1} << 18);
    SHA256 digest;
    do {
        if (isCancelled && isCancelled())
            return std::nullopt;
        stream.read(block.data(), static_cast<std::streamsize>(block.size()));
        digest.update(std::as_bytes(std::span(block).first(static_cast<std::size_t>(stream.gcount()))));
    } while (stream);
    return stream.eof() ? std::optional(digest.hexDigest()) : std::nullopt;
}

} // namespace tarn
