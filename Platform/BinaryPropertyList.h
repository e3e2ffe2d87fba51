#pragma once

#include "Platform/Export.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Binary property lists (format "bplist00") object by object. The writer stores equal numbers and equal
/// strings once and chooses the narrowest reference and offset widths; the reader works on the bytes in
/// place, builds nothing, and checks every offset, width, count and reference before it uses it.
namespace TARN_PUBLIC tarn {

/// The 64-bit word whose bytes in memory are those of `word` from the most significant one, and back.
[[nodiscard]] constexpr std::uint64_t bigEndianWord(std::uint64_t word) {
    if constexpr (std::endian::native == std::endian::little) { // compilers make one instruction of it
        word = (word & 0x00FF00FF00FF00FF) << 8 | (word >> 8 & 0x00FF00FF00FF00FF);
        word = (word & 0x0000FFFF0000FFFF) << 16 | (word >> 16 & 0x0000FFFF0000FFFF);
        word = word << 32 | word >> 32;
    }
    return word;
}

/// Bytes that grow at the end. Large ones grow by moving pages, where a vector would copy to fresh memory.
class GrowingBytes {
public:
    [[nodiscard]] std::size_t size() const { return mSize; }
    [[nodiscard]] const std::byte* at(std::size_t position) const { return mBytes.get() + position; }
    void truncate(std::size_t size) { mSize = size; }
    /// Where `count` bytes, and up to seven more of no consequence, may be written before `advance` makes
    /// them count.
    [[nodiscard]] std::byte* space(std::size_t count) {
        if (mCapacity - mSize < count + 7)
            grow(count);
        return mBytes.get() + mSize;
    }
    void advance(std::size_t count) { mSize += count; }

private:
    struct Free {
        void operator()(std::byte* bytes) const { std::free(bytes); }
    };
    void grow(std::size_t count);

    std::unique_ptr<std::byte[], Free> mBytes;
    std::size_t mSize = 0;
    std::size_t mCapacity = 0;
};

/// Collects the objects of a property list, then lays them out. References are indices into the object table.
class BinaryPropertyListWriter {
public:
    using Reference = std::uint32_t;

    BinaryPropertyListWriter();

    Reference addBool(bool value);
    Reference addInteger(std::int64_t value);
    Reference addUnsigned(std::uint64_t value); ///< above the signed range: a 16-byte integer
    Reference addFloat(float value); ///< equal bits are stored once, so -0 and NaN payloads survive
    Reference addDouble(double value);
    Reference addDate(double seconds); ///< since the beginning of 2001, UTC; stored each time
    /// UTF-8 text; ill-formed sequences are stored as U+FFFD. ASCII takes a byte per character, other text
    /// UTF-16.
    Reference addString(std::string_view text) { return addText(text, true); }
    /// The same, stored again even when an equal text is there.
    Reference addStringCopy(std::string_view text) { return addText(text, false); }
    Reference addData(std::span<const std::byte> bytes); ///< stored each time
    Reference addUID(std::uint32_t value);               ///< stored each time
    Reference addArray(std::span<const Reference> elements);
    /// `pairs` holds key, value, key, value, …; keys are strings.
    Reference addDictionary(std::span<const Reference> pairs);

    /// The bytes held so far, before layout: at most four times what they take in the finished list.
    [[nodiscard]] std::size_t size() const { return mBytes.size(); }

    /// The finished property list. The writer holds nothing afterwards.
    std::vector<std::byte> finish(Reference top);

private:
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t referencePlusOne = 0;
    };

    void append(std::uint8_t marker, std::uint64_t value, unsigned width);
    void append(std::span<const std::byte> bytes);
    void appendReferences(std::span<const Reference> references, std::size_t first, std::size_t step);
    void appendHeader(std::uint8_t type, std::size_t count);
    Reference addText(std::string_view text, bool unique);
    Reference addScalar(unsigned marker, std::uint64_t value, unsigned width);
    Reference addLast(std::size_t start);
    Reference uniqueLast(std::size_t start, std::uint32_t hash);
    void growSlots();

    // Objects as they appear in the file, one after another, except that references inside containers take
    // four bytes.
    GrowingBytes mBytes;
    std::vector<std::size_t> mStarts;
    std::size_t mReferenceCount = 0;
    std::array<std::optional<Reference>, 2> mBooleans;
    std::array<Reference, 256> mBytesPlusOne{}; // of the integers that take one byte; 0 until they occur
    // Open addressing over all other unique scalars; equal scalars are those with equal bytes.
    std::vector<Slot> mSlots;
    std::size_t mUsedSlots = 0;
};

/// Reads a property list in place. Nothing is trusted: an object that is not wholly inside the object area
/// reads as nothing.
class BinaryPropertyListReader {
public:
    enum class Type { null, boolean, integer, real, date, data, ascii, utf16, uid, array, dictionary };

    /// An object whose extent has been checked. `count` is bytes for integers, reals, data, and UIDs, UTF-16
    /// units or ASCII characters for text, elements or pairs for containers, and the value itself for
    /// Booleans.
    struct Value {
        Type type = Type::null;
        std::size_t position = 0; ///< of the payload
        std::size_t count = 0;
    };

    struct Integer {
        std::uint64_t bits = 0; ///< two's complement
        bool isNegative = false;
    };

    /// Checks header, trailer and the extent of the offset table; `isValid` tells the outcome. The bytes must
    /// outlive the reader.
    explicit BinaryPropertyListReader(std::span<const std::byte> bytes);

    [[nodiscard]] bool isValid() const { return mObjectCount > 0; }
    [[nodiscard]] std::size_t size() const { return mBytes.size(); }
    [[nodiscard]] std::size_t objectCount() const { return mObjectCount; }
    [[nodiscard]] std::size_t topReference() const { return mTop; }

    /// The object of a reference; nothing when it is out of range, of an unknown kind or reaches beyond
    /// the objects.
    [[nodiscard]] std::optional<Value> value(std::size_t reference) const;

    /// The reference at an index of an array, or of a dictionary's keys (values follow at `count` + index).
    /// Unchecked against the object table: `value` does that. The index must be inside.
    [[nodiscard]] std::size_t reference(const Value& container, std::size_t index) const {
        return static_cast<std::size_t>(
            bigEndian(container.position + index * mReferenceWidth, mReferenceWidth));
    }
    /// The bytes that the references of a container take.
    [[nodiscard]] std::size_t extent(const Value& container) const {
        return container.count * mReferenceWidth * (container.type == Type::dictionary ? 2 : 1);
    }

    /// Nothing for a 16-byte integer outside [-2^63, 2^64).
    [[nodiscard]] std::optional<Integer> integer(const Value& integer) const;
    [[nodiscard]] double real(const Value& real) const;
    [[nodiscard]] std::uint64_t uid(const Value& uid) const {
        return bigEndian(uid.position, static_cast<unsigned>(uid.count));
    }
    [[nodiscard]] std::span<const std::byte> data(const Value& data) const {
        return mBytes.subspan(data.position, data.count);
    }

    /// Whether the object is this ASCII text.
    [[nodiscard]] bool equals(const Value& value, std::string_view ascii) const;
    /// The length of a text in UTF-8; nothing when it is not well-formed (bytes above ASCII, unpaired
    /// surrogates).
    [[nodiscard]] std::optional<std::size_t> textLength(const Value& text) const;
    /// The text as UTF-8; `length` is what `textLength` returned.
    [[nodiscard]] std::string text(const Value& text, std::size_t length) const;

private:
    // Every payload is followed by the 32-byte trailer at least, so eight bytes can always be loaded.
    [[nodiscard]] std::uint64_t bigEndian(std::size_t position, unsigned width) const {
        std::uint64_t word;
        std::memcpy(&word, mBytes.data() + position, sizeof word);
        return bigEndianWord(word) >> (64 - 8 * width);
    }
    [[nodiscard]] char32_t nextCharacter(const Value& utf16, std::size_t& unit) const;

    std::span<const std::byte> mBytes;
    std::size_t mObjectCount = 0; // 0: not a property list
    std::size_t mTop = 0;
    std::size_t mOffsetTable = 0; // where the object area ends
    unsigned mOffsetWidth = 0;
    unsigned mReferenceWidth = 0;
};

} // namespace tarn
