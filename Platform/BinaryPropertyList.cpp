#include "Platform/BinaryPropertyList.h"

#include "Platform/FatalError.h"
#include "Platform/UTF8.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <new>

namespace tarn {

namespace {

constexpr std::string_view kHeader = "bplist00";
constexpr std::size_t kTrailerSize = 32;
constexpr char32_t kIllFormed = 0xFFFFFFFF;

// The high nibble of an object's first byte.
enum Marker : std::uint8_t {
    kSimple = 0x00,
    kInteger = 0x10,
    kReal = 0x20,
    kDate = 0x30,
    kData = 0x40,
    kASCII = 0x50,
    kUTF16 = 0x60,
    kUID = 0x80,
    kArray = 0xA0,
    kDictionary = 0xD0,
};
constexpr std::uint8_t kFalse = 0x08;
constexpr std::uint8_t kTrue = 0x09;
constexpr std::uint8_t kLongCount = 0x0F;

unsigned bytesNeeded(std::uint64_t value) {
    return value == 0 ? 1u : static_cast<unsigned>((std::bit_width(value) + 7) / 8);
}

// Integers and UIDs come in 1, 2, 4 and 8 bytes; the exponent of that width is in an integer's marker.
unsigned powerOfTwoWidth(std::uint64_t value) {
    return std::bit_ceil(bytesNeeded(value));
}
std::uint8_t widthExponent(unsigned width) {
    return static_cast<std::uint8_t>(std::countr_zero(width));
}

// Writes the low `width` bytes of the value (1 to 8), and zeros up to the eighth byte.
void storeBigEndian(std::byte* target, std::uint64_t value, unsigned width) {
    const std::uint64_t word = bigEndianWord(value << (64 - 8 * width));
    std::memcpy(target, &word, sizeof word);
}

// Neighbouring values get neighbouring slots, since songs are full of numbers that grow in small steps;
// blocks of eight, a cache line, are scattered.
std::uint32_t hashOfNumber(std::uint64_t value) {
    std::uint64_t block = value >> 3;
    block ^= block >> 32;
    block *= 0x9E3779B97F4A7C15u; // 2^64 divided by the golden ratio (Knuth, multiplicative hashing)
    return (static_cast<std::uint32_t>(block >> 32) & ~7u) | static_cast<std::uint32_t>(value & 7);
}

bool isASCII(std::span<const std::byte> bytes) {
    std::byte all{0};
    for (const auto b : bytes)
        all |= b;
    return (all & std::byte{0x80}) == std::byte{0};
}

} // namespace

void GrowingBytes::grow(std::size_t count) {
    const std::size_t capacity = std::max<std::size_t>(2 * mCapacity, mSize + count + 4096);
    auto* grown = static_cast<std::byte*>(std::realloc(mBytes.get(), capacity));
    if (!grown)
        throw std::bad_alloc();
    static_cast<void>(mBytes.release()); // realloc has freed it or moved it
    mBytes.reset(grown);
    mCapacity = capacity;
}

BinaryPropertyListWriter::BinaryPropertyListWriter() : mSlots(1024) {}

void BinaryPropertyListWriter::append(std::uint8_t marker, std::uint64_t value, unsigned width) {
    std::byte* const target = mBytes.space(1 + width);
    target[0] = std::byte{marker};
    storeBigEndian(target + 1, value, width);
    mBytes.advance(1 + width);
}

void BinaryPropertyListWriter::append(std::span<const std::byte> bytes) {
    std::ranges::copy(bytes, mBytes.space(bytes.size()));
    mBytes.advance(bytes.size());
}

void BinaryPropertyListWriter::appendHeader(std::uint8_t type, std::size_t count) {
    *mBytes.space(1) = static_cast<std::byte>(type | std::min<std::size_t>(count, kLongCount));
    mBytes.advance(1);
    if (count >= kLongCount) {
        const unsigned width = powerOfTwoWidth(count);
        append(static_cast<std::uint8_t>(kInteger | widthExponent(width)), count, width);
    }
}

// Every `step`th of the references.
void BinaryPropertyListWriter::appendReferences(std::span<const Reference> references, std::size_t first,
                                                std::size_t step) {
    std::byte* target = mBytes.space(references.size() * sizeof(Reference));
    std::size_t count = 0;
    for (std::size_t i = first; i < references.size(); i += step, target += sizeof(Reference), ++count)
        std::memcpy(target, &references[i], sizeof(Reference));
    mBytes.advance(count * sizeof(Reference));
    mReferenceCount += count;
}

// Makes the bytes from `start` to the end an object.
BinaryPropertyListWriter::Reference BinaryPropertyListWriter::addLast(std::size_t start) {
    precondition(mStarts.size() < std::numeric_limits<Reference>::max() - 1,
                 "A property list holds too many objects");
    mStarts.push_back(start);
    return static_cast<Reference>(mStarts.size() - 1);
}

// The same, unless those bytes are an object already: then they are dropped again.
BinaryPropertyListWriter::Reference BinaryPropertyListWriter::uniqueLast(std::size_t start,
                                                                         std::uint32_t hash) {
    const std::size_t mask = mSlots.size() - 1;
    const std::size_t length = mBytes.size() - start;
    std::size_t index = hash & mask;
    for (; mSlots[index].referencePlusOne != 0; index = (index + 1) & mask) {
        if (mSlots[index].hash != hash)
            continue;
        // An object's first bytes tell its length, so no object is the beginning of another.
        const std::size_t other = mStarts[mSlots[index].referencePlusOne - 1];
        if (start - other >= length && std::memcmp(mBytes.at(other), mBytes.at(start), length) == 0) {
            mBytes.truncate(start);
            return mSlots[index].referencePlusOne - 1;
        }
    }
    const Reference reference = addLast(start);
    mSlots[index] = {hash, reference + 1};
    if (++mUsedSlots * 2 > mSlots.size())
        growSlots();
    return reference;
}

void BinaryPropertyListWriter::growSlots() {
    std::vector<Slot> slots(mSlots.size() * 2);
    const std::size_t mask = slots.size() - 1;
    for (const auto& slot : mSlots) {
        if (slot.referencePlusOne == 0)
            continue;
        std::size_t index = slot.hash & mask;
        while (slots[index].referencePlusOne != 0)
            index = (index + 1) & mask;
        slots[index] = slot;
    }
    mSlots = std::move(slots);
}

BinaryPropertyListWriter::Reference BinaryPropertyListWriter::addScalar(unsigned marker, std::uint64_t value,
                                                                        unsigned width) {
    const std::size_t start = mBytes.size();
    append(static_cast<std::uint8_t>(marker), value, width);
    return uniqueLast(start, hashOfNumber(value));
}

BinaryPropertyListWriter::Reference BinaryPropertyListWriter::addBool(bool value) {
    auto& known = mBooleans[value ? 1 : 0];
    if (!known) {
        const std::size_t start = mBytes.size();
        appendHeader(kSimple, value ? kTrue : kFalse);
        known = addLast(start);
    }
    return *known;
}

BinaryPropertyListWriter::Reference BinaryPropertyListWriter::addInteger(std::int64_t value) {
    // One, two and four bytes are unsigned, eight are signed.
    const auto bits = static_cast<std::uint64_t>(value);
    const unsigned width = value < 0 ? 8 : powerOfTwoWidth(bits);
    if (width > 1)
        return addScalar(kInteger | widthExponent(width), bits, width);
    Reference& knownPlusOne = mBytesPlusOne[bits];
    if (knownPlusOne == 0) {
        const std::size_t start = mBytes.size();
        append(kInteger, bits, 1);
        knownPlusOne = addLast(start) + 1;
    }
    return knownPlusOne - 1;
}

BinaryPropertyListWriter::Reference BinaryPropertyListWriter::addUnsigned(std::uint64_t value) {
    if (value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
        return addInteger(static_cast<std::int64_t>(value));
    const std::size_t start = mBytes.size();
    append(kInteger | 4, 0, 8);
    storeBigEndian(mBytes.space(8), value, 8);
    mBytes.advance(8);
    return uniqueLast(start, hashOfNumber(value));
}

BinaryPropertyListWriter::Reference BinaryPropertyListWriter::addFloat(float value) {
    return addScalar(kReal | 2, std::bit_cast<std::uint32_t>(value), 4);
}

BinaryPropertyListWriter::Reference BinaryPropertyListWriter::addDouble(double value) {
    return addScalar(kReal | 3, std::bit_cast<std::uint64_t>(value), 8);
}

BinaryPropertyListWriter::Reference BinaryPropertyListWriter::addDate(double seconds) {
    const std::size_t start = mBytes.size();
    append(kDate | 3, std::bit_cast<std::uint64_t>(seconds), 8);
    return addLast(start);
}

BinaryPropertyListWriter::Reference BinaryPropertyListWriter::addText(std::string_view text, bool unique) {
    const std::size_t start = mBytes.size();
    const auto bytes = std::as_bytes(std::span(text.data(), text.size()));
    if (isASCII(bytes)) {
        appendHeader(kASCII, text.size());
        append(bytes);
    } else {
        std::size_t units = 0;
        for (std::size_t i = 0; i < text.size();)
            units += nextUTF8(text, i) < 0x10000 ? 1 : 2;
        appendHeader(kUTF16, units);
        const auto appendUnit = [&](char32_t unit) {
            storeBigEndian(mBytes.space(2), unit, 2);
            mBytes.advance(2);
        };
        for (std::size_t i = 0; i < text.size();) {
            const char32_t character = nextUTF8(text, i);
            if (character >= 0x10000) {
                appendUnit(0xD800 + ((character - 0x10000) >> 10));
                appendUnit(0xDC00 + ((character - 0x10000) & 0x3FF));
            } else {
                appendUnit(character);
            }
        }
    }
    if (!unique)
        return addLast(start);
    const std::string_view encoded(reinterpret_cast<const char*>(mBytes.at(start)), mBytes.size() - start);
    return uniqueLast(start, static_cast<std::uint32_t>(std::hash<std::string_view>{}(encoded)));
}

BinaryPropertyListWriter::Reference BinaryPropertyListWriter::addData(std::span<const std::byte> bytes) {
    const std::size_t start = mBytes.size();
    appendHeader(kData, bytes.size());
    append(bytes);
    return addLast(start);
}

BinaryPropertyListWriter::Reference BinaryPropertyListWriter::addUID(std::uint32_t value) {
    const std::size_t start = mBytes.size();
    const unsigned width = powerOfTwoWidth(value);
    append(static_cast<std::uint8_t>(kUID | (width - 1)), value, width);
    return addLast(start);
}

BinaryPropertyListWriter::Reference BinaryPropertyListWriter::addArray(std::span<const Reference> elements) {
    const std::size_t start = mBytes.size();
    appendHeader(kArray, elements.size());
    appendReferences(elements, 0, 1);
    return addLast(start);
}

BinaryPropertyListWriter::Reference
BinaryPropertyListWriter::addDictionary(std::span<const Reference> pairs) {
    precondition(pairs.size() % 2 == 0, "A property-list dictionary needs a value for each key");
    const std::size_t start = mBytes.size();
    appendHeader(kDictionary, pairs.size() / 2);
    appendReferences(pairs, 0, 2);
    appendReferences(pairs, 1, 2);
    return addLast(start);
}

std::vector<std::byte> BinaryPropertyListWriter::finish(Reference top) {
    precondition(top < mStarts.size(), "The top object of a property list does not exist");
    const std::size_t objectCount = mStarts.size();
    const unsigned referenceWidth = bytesNeeded(objectCount - 1);
    const std::size_t offsetTable =
        kHeader.size() + mBytes.size() - mReferenceCount * (sizeof(Reference) - referenceWidth);
    const unsigned offsetWidth = bytesNeeded(offsetTable);
    std::vector<std::byte> result(offsetTable + objectCount * offsetWidth + kTrailerSize);

    std::memcpy(result.data(), kHeader.data(), kHeader.size());
    std::byte* target = result.data() + kHeader.size();
    for (std::size_t i = 0; i < objectCount; ++i) {
        const std::byte* source = mBytes.at(mStarts[i]);
        const std::byte* const end = mBytes.at(i + 1 < objectCount ? mStarts[i + 1] : mBytes.size());
        mStarts[i] = static_cast<std::size_t>(target - result.data());
        const auto marker = std::to_integer<std::uint8_t>(*source);
        if ((marker & 0xF0) != kArray && (marker & 0xF0) != kDictionary) {
            target = std::copy(source, end, target);
            continue;
        }
        // The header before the references: one byte, or that and the count as an integer.
        std::size_t header = 1;
        if ((marker & 0x0F) == kLongCount)
            header += 1 + (std::size_t{1} << std::to_integer<unsigned>(source[1] & std::byte{0x0F}));
        target = std::copy(source, source + header, target);
        for (source += header; source != end; source += sizeof(Reference), target += referenceWidth) {
            Reference reference;
            std::memcpy(&reference, source, sizeof reference);
            storeBigEndian(target, reference, referenceWidth);
        }
    }
    // From front to back: what a store writes beyond its width is written over by the next.
    for (std::size_t i = 0; i < objectCount; ++i, target += offsetWidth)
        storeBigEndian(target, mStarts[i], offsetWidth);
    std::byte* const trailer = target;
    std::fill_n(trailer, 6, std::byte{0});
    trailer[6] = static_cast<std::byte>(offsetWidth);
    trailer[7] = static_cast<std::byte>(referenceWidth);
    storeBigEndian(trailer + 8, objectCount, 8);
    storeBigEndian(trailer + 16, top, 8);
    storeBigEndian(trailer + 24, offsetTable, 8);
    *this = BinaryPropertyListWriter();
    return result;
}

BinaryPropertyListReader::BinaryPropertyListReader(std::span<const std::byte> bytes) : mBytes(bytes) {
    if (bytes.size() < kHeader.size() + kTrailerSize ||
        std::memcmp(bytes.data(), kHeader.data(), kHeader.size()) != 0)
        return;
    const std::size_t trailer = bytes.size() - kTrailerSize;
    mOffsetWidth = std::to_integer<unsigned>(bytes[trailer + 6]);
    mReferenceWidth = std::to_integer<unsigned>(bytes[trailer + 7]);
    const std::uint64_t count = bigEndian(trailer + 8, 8);
    const std::uint64_t top = bigEndian(trailer + 16, 8);
    const std::uint64_t table = bigEndian(trailer + 24, 8);
    if (mOffsetWidth < 1 || mOffsetWidth > 8 || mReferenceWidth < 1 || mReferenceWidth > 8)
        return;
    if (table < kHeader.size() || table > trailer || count > (trailer - table) / mOffsetWidth || top >= count)
        return;
    // No two objects share a byte, and each has one at least; this bounds what a reader keeps per object.
    if (count > table - kHeader.size())
        return;
    mTop = static_cast<std::size_t>(top);
    mOffsetTable = static_cast<std::size_t>(table);
    mObjectCount = static_cast<std::size_t>(count);
}

std::optional<BinaryPropertyListReader::Value> BinaryPropertyListReader::value(std::size_t reference) const {
    if (reference >= mObjectCount)
        return std::nullopt;
    const std::uint64_t offset = bigEndian(mOffsetTable + reference * mOffsetWidth, mOffsetWidth);
    if (offset < kHeader.size() || offset >= mOffsetTable)
        return std::nullopt;
    std::size_t position = static_cast<std::size_t>(offset);
    const auto marker = std::to_integer<std::uint8_t>(mBytes[position++]);
    const std::uint8_t type = marker & 0xF0;
    std::uint64_t count = marker & 0x0F;

    const auto checked = [&](Type t, std::uint64_t elements,
                             std::size_t elementSize) -> std::optional<Value> {
        if (elements > (mOffsetTable - position) / elementSize)
            return std::nullopt;
        return Value{t, position, static_cast<std::size_t>(elements)};
    };
    switch (type) {
    case kSimple:
        if (marker == 0x00)
            return Value{Type::null, position, 0};
        if (marker == kFalse || marker == kTrue)
            return Value{Type::boolean, position, marker == kTrue};
        return std::nullopt;
    case kInteger:
        return count <= 4 ? checked(Type::integer, std::uint64_t{1} << count, 1) : std::nullopt;
    case kReal:
        return count == 2 || count == 3 ? checked(Type::real, std::uint64_t{1} << count, 1) : std::nullopt;
    case kDate:
        return count == 3 ? checked(Type::date, 8, 1) : std::nullopt;
    case kUID:
        return count < 8 ? checked(Type::uid, count + 1, 1) : std::nullopt;
    default:
        break;
    }
    if (count == kLongCount) {
        if (position == mOffsetTable)
            return std::nullopt;
        const auto countMarker = std::to_integer<std::uint8_t>(mBytes[position++]);
        if ((countMarker & 0xF0) != kInteger || (countMarker & 0x0F) > 3)
            return std::nullopt;
        const unsigned width = 1u << (countMarker & 0x0F);
        if (width > mOffsetTable - position)
            return std::nullopt;
        count = bigEndian(position, width);
        position += width;
    }
    switch (type) {
    case kData:
        return checked(Type::data, count, 1);
    case kASCII:
        return checked(Type::ascii, count, 1);
    case kUTF16:
        return checked(Type::utf16, count, 2);
    case kArray:
        return checked(Type::array, count, mReferenceWidth);
    case kDictionary:
        return checked(Type::dictionary, count, std::size_t{2} * mReferenceWidth);
    default:
        return std::nullopt;
    }
}

std::optional<BinaryPropertyListReader::Integer>
BinaryPropertyListReader::integer(const Value& integer) const {
    if (integer.count <= 8) {
        const std::uint64_t bits = bigEndian(integer.position, static_cast<unsigned>(integer.count));
        return Integer{bits, integer.count == 8 && bits >> 63 != 0};
    }
    const std::uint64_t high = bigEndian(integer.position, 8);
    const std::uint64_t low = bigEndian(integer.position + 8, 8);
    if (high == 0)
        return Integer{low, false};
    if (high == ~std::uint64_t{0} && low >> 63 != 0)
        return Integer{low, true};
    return std::nullopt;
}

double BinaryPropertyListReader::real(const Value& real) const {
    if (real.count == 4)
        return static_cast<double>(
            std::bit_cast<float>(static_cast<std::uint32_t>(bigEndian(real.position, 4))));
    return std::bit_cast<double>(bigEndian(real.position, 8));
}

bool BinaryPropertyListReader::equals(const Value& value, std::string_view ascii) const {
    return value.type == Type::ascii && value.count == ascii.size() &&
           std::memcmp(mBytes.data() + value.position, ascii.data(), ascii.size()) == 0;
}

// The character that begins at a UTF-16 unit; kIllFormed for an unpaired surrogate.
char32_t BinaryPropertyListReader::nextCharacter(const Value& utf16, std::size_t& unit) const {
    const auto first = static_cast<char32_t>(bigEndian(utf16.position + 2 * unit++, 2));
    if (first < 0xD800 || first > 0xDFFF)
        return first;
    if (first > 0xDBFF || unit == utf16.count)
        return kIllFormed;
    const auto second = static_cast<char32_t>(bigEndian(utf16.position + 2 * unit++, 2));
    if (second < 0xDC00 || second > 0xDFFF)
        return kIllFormed;
    return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
}

std::optional<std::size_t> BinaryPropertyListReader::textLength(const Value& text) const {
    if (text.type == Type::ascii)
        return isASCII(mBytes.subspan(text.position, text.count)) ? std::optional(text.count) : std::nullopt;
    if (text.type != Type::utf16)
        return std::nullopt;
    std::size_t length = 0;
    for (std::size_t unit = 0; unit < text.count;) {
        const char32_t character = nextCharacter(text, unit);
        if (character == kIllFormed)
            return std::nullopt;
        length += utf8Length(character);
    }
    return length;
}

std::string BinaryPropertyListReader::text(const Value& text, std::size_t length) const {
    if (text.type == Type::ascii)
        return {reinterpret_cast<const char*>(mBytes.data() + text.position), text.count};
    std::string result;
    result.reserve(length);
    for (std::size_t unit = 0; unit < text.count;)
        appendUTF8(result, nextCharacter(text, unit));
    return result;
}

} // namespace tarn
