#include "BinaryCodable/BinaryDecoder.h"
#include "BinaryCodable/BinaryEncoder.h"

#include <gmock/gmock.h>

#include <limits>
#include <list>

namespace tarn {

enum class Kind : std::uint8_t { loud = 7, soft = 200, unlisted = 1 };
enum class Level { half, whole };
enum class Tag { first, accented };

template <>
struct RawRepresentable<Kind> {
    using RawValue = std::int16_t;
    static constexpr std::string_view typeName = "Kind";
    static constexpr std::pair<Kind, RawValue> cases[] = {{Kind::loud, -2}, {Kind::soft, 300}};
};
template <>
struct RawRepresentable<Level> {
    using RawValue = float;
    static constexpr std::string_view typeName = "Level";
    static constexpr std::pair<Level, RawValue> cases[] = {{Level::half, 0.5F}, {Level::whole, 1.F}};
};
template <>
struct RawRepresentable<Tag> {
    using RawValue = std::string_view;
    static constexpr std::string_view typeName = "Tag";
    static constexpr std::pair<Tag, RawValue> cases[] = {{Tag::first, "ab"}, {Tag::accented, "\u00E9"}};
};

namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::ElementsAre;

/// A song's name, a list of peaks within a stated length, and whatever flags follow.
struct Record {
    std::string name;
    std::vector<std::uint16_t> peaks;
    std::vector<std::uint8_t> flags;

    void encode(BinaryEncoder& encoder) const {
        auto container = encoder.container();
        container.encode(name, StringEncoding::utf8, std::uint8_t{0});
        container.encode(static_cast<std::uint8_t>(2 * peaks.size()));
        container.encodeSequence(std::list<std::uint16_t>(peaks.begin(), peaks.end()));
        container.encode(flags);
    }
    static Record decode(BinaryDecoder& decoder) {
        auto container = decoder.container();
        Record record;
        record.name = container.decode(StringEncoding::utf8, std::uint8_t{0});
        const auto length = container.decode<std::uint8_t>();
        record.peaks = container.nestedContainer(length).decode<std::vector<std::uint16_t>>();
        record.flags = container.decode<std::vector<std::uint8_t>>();
        return record;
    }
    friend bool operator==(const Record&, const Record&) = default;
};

struct Nothing {
    static Nothing decode(BinaryDecoder&) { return {}; }
};

/// Hands the container that a decoding gets to a function, so that a test can read through it.
struct Probe {
    using Function = std::function<void(BinaryDecodingContainer)>;
    static Probe decode(BinaryDecoder& decoder) {
        std::any_cast<Function>(decoder.userInfo().at("probe"))(decoder.container());
        return {};
    }
};

void read(std::shared_ptr<BufferedData> data, Probe::Function function) {
    BinaryDataDecoder decoder;
    decoder.userInfo["probe"] = std::move(function);
    (void)decoder.decode<Probe>(std::move(data));
}
void read(Bytes bytes, Probe::Function function) {
    read(bufferedData(std::move(bytes)), std::move(function));
}

template <typename Function>
std::string failureOf(Bytes bytes, Function function) {
    try {
        read(std::move(bytes), [&](BinaryDecodingContainer container) { function(container); });
    } catch (const BinaryDecodingError& error) {
        EXPECT_EQ(error.errorCase(), BinaryDecodingError::Case::dataCorrupted);
        return error.context().debugDescription;
    }
    return "no failure";
}
template <typename T>
std::string failureOf(Bytes bytes) {
    return failureOf(std::move(bytes), [](auto& container) { (void)container.template decode<T>(); });
}

/// Delivers the pieces one by one, however much is asked for; an empty piece is a read without bytes.
std::shared_ptr<BufferedData> inPieces(const std::vector<Bytes>& pieces) {
    const auto next = [pieces, index = std::size_t{0}](std::size_t) mutable {
        return index < pieces.size() ? std::optional(pieces[index++]) : std::nullopt;
    };
    return std::make_shared<BufferedData>(AnyBufferedDataSource(next, [] { return false; }), 16);
}

template <typename T>
void expectBytes(const T& value, const Bytes& bytes) {
    EXPECT_EQ(BinaryDataEncoder().encode(value), bytes);
    const T decoded = BinaryDataDecoder().decode<T>(bytes);
    EXPECT_EQ(BinaryDataEncoder().encode(decoded), bytes) << "differs after a round trip";
}

TEST(BinaryCodableTests, WritesValuesAsLittleEndianBytesAndReadsThemBack) {
    expectBytes<std::uint32_t>(1, {1, 0, 0, 0});
    expectBytes<std::int16_t>(-2, {0xFE, 0xFF});
    expectBytes<std::int8_t>(-128, {0x80});
    expectBytes<std::uint64_t>(0x0102030405060708, {8, 7, 6, 5, 4, 3, 2, 1});
    expectBytes(std::numeric_limits<std::int64_t>::min(), {0, 0, 0, 0, 0, 0, 0, 0x80});
    expectBytes(0.25F, {0, 0, 0x80, 0x3E});
    expectBytes(-0.0, {0, 0, 0, 0, 0, 0, 0, 0x80});
    expectBytes(std::bit_cast<float>(0x7FA00001U), {1, 0, 0xA0, 0x7F}); // a signalling NaN keeps its payload
    expectBytes(std::vector<std::uint8_t>{3, 2, 1}, {3, 2, 1});
    expectBytes(std::vector<std::int16_t>{}, {});
    expectBytes(Kind::loud, {0xFE, 0xFF});
    expectBytes(Level::whole, {0, 0, 0x80, 0x3F});
    expectBytes(Tag::accented, {0xC3, 0xA9});
    const Record record{"ab", {1, 0x203}, {9, 8}};
    expectBytes(record, {'a', 'b', 0, 4, 1, 0, 3, 2, 9, 8});
    EXPECT_EQ(BinaryDataDecoder().decode<Record>(BinaryDataEncoder().encode(record)), record);
    expectBytes(std::vector<std::vector<Record>>{{record}, {}}, BinaryDataEncoder().encode(record));

    static_assert(!BinaryEncodable<bool> && !BinaryEncodable<char> && !BinaryEncodable<std::vector<bool>>);
    static_assert(!BinaryEncodable<long double> && !BinaryDecodable<std::string> &&
                  !BinaryEncodable<Nothing>);
}

TEST(BinaryCodableTests, AcceptsTheThreeKindsOfInputAndContinuesInBufferedData) {
    const std::vector<std::byte> raw{std::byte{5}, std::byte{1}};
    EXPECT_EQ(BinaryDataDecoder().decode<std::uint16_t>(std::span(raw)), 0x105);
    EXPECT_EQ(BinaryDataDecoder().decode<std::uint8_t>(Bytes{5, 1}), 5); // what follows is left alone
    const auto data = bufferedData({1, 2, 3});
    EXPECT_EQ(BinaryDataDecoder().decode<std::uint8_t>(data), 1);
    EXPECT_EQ(BinaryDataDecoder().decode<std::uint16_t>(data), 0x302);
    EXPECT_TRUE(data->isAtEnd());
}

TEST(BinaryCodableTests, StatesWhatIsWrongWithTheBytes) {
    EXPECT_EQ(failureOf({1, 2, 3}, [](auto& c) { c.decode(4); }),
              "Not enough bytes available to decode. Requested 4, but received 3.");
    EXPECT_EQ(failureOf({1, 2}, [](auto& c) { c.decode(std::numeric_limits<std::size_t>::max()); }),
              "Not enough bytes available to decode. Requested 18446744073709551615, but received 2.");
    EXPECT_EQ(failureOf<std::uint32_t>({1, 2, 3}), "Not enough data to create a a type of UInt32");
    EXPECT_EQ(failureOf<std::int8_t>({}), "Not enough data to create a a type of Int8");
    EXPECT_EQ(failureOf<double>({1}), "Not enough data to create a a type of Double");
    EXPECT_EQ(failureOf<Level>({1}), "Not enough data to create a a type of Float");
    EXPECT_EQ(failureOf<std::vector<std::int16_t>>({1, 2, 3}), "Not enough data to create a a type of Int16");
    EXPECT_EQ(failureOf<Kind>({7, 0}), "Cannot initialize Kind from invalid Int16 value 7");
    EXPECT_EQ(failureOf<Level>({0, 0, 0, 0x40}), "Cannot initialize Level from invalid Float value 2.0");
    EXPECT_EQ(failureOf<Tag>({'a', 'b', 0}),
              std::string("Cannot initialize Tag from invalid String value ab\0", 51));
    EXPECT_EQ(failureOf<Tag>({0xFF}), "Unable to create string from data with Unicode (UTF-8) encoding.");
    EXPECT_NE(failureOf<std::vector<Nothing>>({1}), "no failure"); // an array without end
    EXPECT_EQ(failureOf<std::vector<Nothing>>({}), "no failure");
}

TEST(BinaryCodableTests, TextsEndAtTheirTerminatorOrTakeTheRest) {
    read({'a', 'b', 0, 'c', 0}, [](BinaryDecodingContainer container) {
        EXPECT_EQ(container.decode(StringEncoding::utf8, std::uint8_t{0}), "ab");
        EXPECT_EQ(container.decode(StringEncoding::utf8), std::string("c\0", 2));
        EXPECT_TRUE(container.isAtEnd());
        EXPECT_EQ(container.decode(StringEncoding::utf8), "");
    });
    EXPECT_EQ(failureOf({'a', 'b'}, [](auto& c) { c.decode(StringEncoding::utf8, std::uint8_t{0}); }),
              "Unable to find delimiter for string.");
    struct Ascii {
        void encode(BinaryEncoder& encoder) const {
            encoder.container().encode("caf\u00E9", StringEncoding::ascii, std::uint8_t{0});
        }
    };
    try {
        (void)BinaryDataEncoder().encode(Ascii());
        ADD_FAILURE() << "an accent has no ASCII byte";
    } catch (const BinaryEncodingError& error) {
        EXPECT_EQ(error.errorCase(), BinaryEncodingError::Case::incompatibleStringEncoding);
        EXPECT_EQ(error.context().debugDescription,
                  "The string caf\u00E9 could not be encoded as data using the encoding Western (ASCII).");
    }
}

TEST(BinaryCodableTests, BoundedContainersCountEveryReadInThemselvesAndAroundThem) {
    read({1, 2, 'a', 0, 5, 6, 7, 8}, [](BinaryDecodingContainer outer) {
        EXPECT_EQ(outer.remainingLength(), std::nullopt);
        auto middle = outer.nestedContainer(6);
        EXPECT_THAT(middle.peek(100), ElementsAre(1, 2, 'a', 0, 5, 6));
        EXPECT_EQ(middle.remainingLength(), 6);
        auto inner = middle.nestedContainer(4);
        EXPECT_EQ(inner.decode<std::uint16_t>(), 0x201);
        EXPECT_EQ(middle.remainingLength(), 4);
        EXPECT_EQ(inner.nestedContainer().decode(StringEncoding::utf8, std::uint8_t{0}), "a");
        EXPECT_TRUE(inner.isAtEnd()); // the terminator was its fourth byte
        EXPECT_EQ(middle.remainingLength(), 2);
        EXPECT_EQ(middle.nestedContainer(100).remainingLength(), 2);
        EXPECT_EQ(middle.nestedContainer(100).decode<Bytes>(), (Bytes{5, 6}));
        EXPECT_TRUE(middle.isAtEnd());
        EXPECT_THROW(middle.decode<std::uint8_t>(), BinaryDecodingError);
        EXPECT_FALSE(outer.isAtEnd());
        EXPECT_EQ(outer.decode(2), (Bytes{7, 8}));
    });
    // The terminator lies just outside the bound, or the bytes that the value needs do.
    const auto nested = [](auto read) {
        return [read](auto& container) { read(container.nestedContainer(2)); };
    };
    EXPECT_EQ(
        failureOf({'a', 'b', 0}, nested([](auto c) { c.decode(StringEncoding::utf8, std::uint8_t{0}); })),
        "Unable to find delimiter for string.");
    EXPECT_EQ(failureOf({1, 2, 3}, nested([](auto c) { c.decode(3); })),
              "Not enough bytes available to decode. Requested 3, but received 2.");
    EXPECT_EQ(failureOf({1, 2, 3, 4}, nested([](auto c) { c.template decode<float>(); })),
              "Not enough data to create a a type of Float");
}

TEST(BufferedDataTests, ReadsAcrossPiecesAndAsksAgainAfterShortOnes) {
    const auto data = inPieces({{1}, {}, {2, 3}, {4}, {'x', 'y'}, {'z', 0, 9}, {}});
    EXPECT_THAT(data->peek(3), ElementsAre(1, 2, 3));
    EXPECT_THAT(data->peek(1), ElementsAre(1));
    EXPECT_EQ(BinaryDataDecoder().decode<std::uint32_t>(data), 0x04030201U);
    const auto text = data->readUntil(0);
    EXPECT_TRUE(text.didFindDelimiter);
    EXPECT_THAT(text.data, ElementsAre('x', 'y', 'z'));
    EXPECT_FALSE(data->isAtEnd());
    const auto rest = data->readUntil(0);
    EXPECT_FALSE(rest.didFindDelimiter);
    EXPECT_THAT(rest.data, ElementsAre(9));
    EXPECT_TRUE(data->isAtEnd());
    EXPECT_TRUE(data->read(1).empty() && data->peek(1).empty() && data->readUntil(0).data.empty());

    // The source does not know that it is at its end before it is asked; an array still ends there.
    EXPECT_EQ(BinaryDataDecoder().decode<std::vector<std::uint16_t>>(inPieces({{1, 0, 2}, {0}})),
              (std::vector<std::uint16_t>{1, 2}));
    // A source that never ends and never gives a byte ends the reading.
    const auto silent = std::make_shared<BufferedData>(
        AnyBufferedDataSource([](std::size_t) { return Bytes(); }, [] { return false; }), 0);
    EXPECT_TRUE(silent->isAtEnd());
}

TEST(BufferedDataTests, AsksForNoMoreThanItsCapacityAtATime) {
    std::size_t largest = 0, delivered = 0;
    const auto deliver = [&](std::size_t length) {
        largest = std::max(largest, length);
        delivered += length;
        return Bytes(length, 0xAB);
    };
    BufferedData data(AnyBufferedDataSource(deliver, [&] { return delivered >= 1000; }), 100);
    EXPECT_EQ(data.read(BufferedData::noLimit / 2).size(), 1000U);
    EXPECT_EQ(largest, 100U);
}

TEST(StringEncodingTests, ConvertsStrictlyInBothDirections) {
    const auto utf8 = StringEncoding::utf8;
    const auto utf16 = StringEncoding::utf16LittleEndian;
    const std::tuple<const char*, StringEncoding, std::optional<std::string>, Bytes> cases[] = {
        {"empty", utf8, "", {}},
        {"one or two bytes", utf8, "a\u00E9", {'a', 0xC3, 0xA9}},
        {"three or four", utf8, "\u266D\U0001D11E", {0xE2, 0x99, 0xAD, 0xF0, 0x9D, 0x84, 0x9E}},
        {"byte order mark kept", utf8, "\uFEFFa", {0xEF, 0xBB, 0xBF, 'a'}},
        {"last character", utf8, "\U0010FFFF", {0xF4, 0x8F, 0xBF, 0xBF}},
        {"beyond the last character", utf8, std::nullopt, {0xF4, 0x90, 0x80, 0x80}},
        {"five bytes", utf8, std::nullopt, {0xF8, 0x88, 0x80, 0x80, 0x80}},
        {"overlong, two bytes", utf8, std::nullopt, {0xC0, 0x80}},
        {"overlong, three bytes", utf8, std::nullopt, {0xE0, 0x9F, 0xBF}},
        {"overlong, four bytes", utf8, std::nullopt, {0xF0, 0x8F, 0xBF, 0xBF}},
        {"surrogate", utf8, std::nullopt, {0xED, 0xA0, 0x80}},
        {"lone continuation", utf8, std::nullopt, {0x80}},
        {"cut off", utf8, std::nullopt, {0xE2, 0x99}},
        {"missing continuation", utf8, std::nullopt, {0xE2, 0x99, 'a'}},
        {"ASCII", StringEncoding::ascii, "a\x7F", {'a', 0x7F}},
        {"above ASCII", StringEncoding::ascii, std::nullopt, {0x80}},
        {"UTF-16", utf16, "a\u266D\U0001D11E", {'a', 0, 0x6D, 0x26, 0x34, 0xD8, 0x1E, 0xDD}},
        {"odd length", utf16, std::nullopt, {'a', 0, 'b'}},
        {"lone low surrogate", utf16, std::nullopt, {0x1E, 0xDD}},
        {"high surrogate at the end", utf16, std::nullopt, {0x34, 0xD8}},
        {"high surrogate before a letter", utf16, std::nullopt, {0x34, 0xD8, 'a', 0}}};
    for (const auto& [what, encoding, text, bytes] : cases) {
        EXPECT_EQ(stringFromBytes(bytes, encoding), text) << what;
        if (text) {
            EXPECT_EQ(bytesFromString(*text, encoding), bytes) << what;
        }
    }
    for (const char* malformed : {"\xC0\x80", "\xED\xA0\x80", "a\xFF"}) {
        for (const auto encoding : {utf8, StringEncoding::ascii, utf16})
            EXPECT_EQ(bytesFromString(malformed, encoding), std::nullopt);
    }
}

TEST(BinaryCodableDeathTest, AnEnumerationValueWithoutRawValueIsFatal) {
    EXPECT_DEATH((void)BinaryDataEncoder().encode(Kind::unlisted), "A value of Kind has no raw value");
}

} // namespace

} // namespace tarn
