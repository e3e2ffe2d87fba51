#include "Platform/KeyedArchive.h"

#include "Platform/BinaryPropertyList.h"
#include "Tests/Platform/ArchivedSong.h"
#include "Tests/Platform/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <random>

namespace tarn {
namespace {

using namespace archived;
using testing::AllOf;
using testing::HasSubstr;
using Code = KeyedArchiveErrorCode;
using enum KeyedArchiveErrorCode;
using Reference = BinaryPropertyListWriter::Reference;
using Members = std::vector<std::pair<std::string, Reference>>;

class KeyedArchiveTests : public testing::Test {
protected:
    static void SetUpTestSuite() { registerClasses(); }
};

std::shared_ptr<Song> makeSong() {
    auto song = std::make_shared<Song>();
    for (int i = 0; i < 40; ++i) {
        auto beat = makeMark<Beat>(static_cast<std::uint64_t>(i), i * 22050);
        beat->downbeat = i % 4 == 0;
        song->marks.push_back(beat);
    }
    for (const char* text : {"Verse", "Überleitung", "𝄞", "Verse", ""}) {
        auto name = makeMark<Name>(std::numeric_limits<std::uint64_t>::max(), -1);
        name->text = text;
        name->next = song->marks[3];
        song->marks.push_back(name);
    }
    song->selected = song->marks[3];
    song->data = Data{std::byte{0}, std::byte{0xFF}};
    song->channel = 255;
    return song;
}

template <typename T>
void expectFailure(const Data& archive, Code code, const std::string& part) {
    Error error;
    EXPECT_EQ(KeyedUnarchiver::unarchivedObject<T>(archive, &error), nullptr) << part;
    EXPECT_EQ(error.domain, "TarnKeyedArchiveErrorDomain");
    EXPECT_EQ(error.code, static_cast<long>(code)) << error.localizedDescription();
    EXPECT_THAT(error.localizedDescription(), HasSubstr(part));
}

// Builds archives that the archiver would not write.
struct Forge {
    BinaryPropertyListWriter list;
    std::vector<Reference> objects{list.addString("$null")};
    std::map<std::string, Reference> classes;

    Reference uid(std::size_t entry) { return list.addUID(static_cast<std::uint32_t>(entry)); }
    Reference add(Reference object) {
        objects.push_back(object);
        return uid(objects.size() - 1);
    }
    Reference dictionary(const Members& members) {
        std::vector<Reference> pairs;
        for (const auto& [key, value] : members)
            pairs.insert(pairs.end(), {list.addString(key), value});
        return list.addDictionary(pairs);
    }
    Reference classNamed(const std::string& name) {
        if (!classes.contains(name)) {
            const auto text = list.addString(name);
            classes[name] =
                add(dictionary({{"$classname", text}, {"$classes", list.addArray(std::vector{text})}}));
        }
        return classes[name];
    }
    Members membersOf(const std::string& className, Members members) {
        members.emplace(members.begin(), "$class", classNamed(className));
        return members;
    }
    Members membersOfMark(const std::string& className, std::int64_t id = 1) {
        return membersOf(className, {{"identifier", list.addInteger(id)}, {"location", list.addInteger(1)}});
    }
    Reference object(const Members& members) { return add(dictionary(members)); }
    Reference array(const std::vector<Reference>& elements) {
        return object(membersOf("NSArray", {{"NS.objects", list.addArray(elements)}}));
    }
    Reference song(Reference marks) { return object(membersOf("TestSong", {{"marks", marks}})); }
    Data finish(const Members& top) {
        const auto objectsArray = list.addArray(objects);
        return list.finish(dictionary({{"$archiver", list.addString("NSKeyedArchiver")},
                                       {"$version", list.addInteger(100000)},
                                       {"$top", dictionary(top)},
                                       {"$objects", objectsArray}}));
    }
    Data finish(Reference root) { return finish(Members{{"root", root}}); }
};

TEST_F(KeyedArchiveTests, ValuesOfEveryTypeSurviveAtTheirExtremes) {
    KeyedArchiver archiver;
    std::vector<std::function<void(KeyedUnarchiver&)>> checks;
    const auto add = [&]<typename T>(auto encode, auto decode, const std::vector<T>& values) {
        for (const T& value : values) {
            const auto key = std::to_string(checks.size());
            (archiver.*encode)(key, value);
            checks.push_back([=](KeyedUnarchiver& coder) {
                const std::optional<T> read = (coder.*decode)(key);
                ASSERT_TRUE(read) << key;
                if constexpr (std::is_floating_point_v<T>) // zeroes differ and NaN is itself
                    EXPECT_EQ(std::memcmp(&*read, &value, sizeof value), 0) << key << " is " << *read;
                else
                    EXPECT_EQ(*read, value) << key;
            });
        }
    };
    using Int = std::numeric_limits<std::int64_t>;
    using Real = std::numeric_limits<double>;
    using Float = std::numeric_limits<float>;
    add(&KeyedArchiver::encodeInt, &KeyedUnarchiver::decodeInt,
        std::vector<std::int64_t>{0, 1, -1, 255, 256, 65535, 65536, 0xFFFFFFFF, 0x100000000, -128, Int::min(),
                                  Int::max()});
    add(&KeyedArchiver::encodeUnsigned, &KeyedUnarchiver::decodeUnsigned,
        std::vector<std::uint64_t>{0, 0x7FFFFFFFFFFFFFFF, 0x8000000000000000, 0xFFFFFFFFFFFFFFFF});
    add(&KeyedArchiver::encodeDouble, &KeyedUnarchiver::decodeDouble,
        std::vector{0.0, -0.0, 440.1, Real::denorm_min(), -Real::max(), Real::infinity(), std::nan("")});
    add(&KeyedArchiver::encodeFloat, &KeyedUnarchiver::decodeFloat,
        std::vector{0.1f, -0.0f, Float::max(), -Float::infinity()});
    add(&KeyedArchiver::encodeString, &KeyedUnarchiver::decodeString,
        std::vector<std::string>{"", "fourteen chars", "fifteen chars..", std::string(300, 'x'), "Ü",
                                 std::string("a\0b", 3), "\uFFFF\U0010FFFF", std::string(70000, 'y') + "ü"});
    add(&KeyedArchiver::encodeBool, &KeyedUnarchiver::decodeBool, std::vector<bool>{true, false});
    archiver.encodeInt("minusOne", -1);
    archiver.encodeInt("one", 1);
    archiver.encodeString("nothing", std::nullopt);
    archiver.encodeObject("noObject", nullptr);
    archiver.encodeData("noBytes", {});
    archiver.encodeObjects("noMarks", std::vector<std::shared_ptr<Mark>>{});
    const Data bytes = archiver.finishEncoding();

    KeyedUnarchiver coder(bytes);
    for (const auto& check : checks)
        check(coder);
    EXPECT_EQ(coder.decodeBool("one"), true);
    EXPECT_EQ(coder.decodeDouble("minusOne"), -1.0);
    EXPECT_EQ(coder.decodeString("nothing"), std::nullopt);
    EXPECT_EQ(coder.decodeObject<Mark>("noObject"), nullptr);
    EXPECT_EQ(coder.decodeData("noBytes"), Data{});
    EXPECT_EQ(coder.decodeObjects<Mark>("noMarks")->size(), 0u);
    EXPECT_EQ(coder.decodeObjects<Mark>("missing"), std::nullopt);
    EXPECT_EQ(coder.decodeInt("missing"), std::nullopt);
    EXPECT_TRUE(coder.containsValue("nothing"));
    EXPECT_FALSE(coder.containsValue("missing"));
    EXPECT_FALSE(coder.failed()) << coder.error().localizedDescription();
}

TEST_F(KeyedArchiveTests, IllFormedTextIsMendedOnEncoding) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"a\xFF", "a\uFFFD"},
        {"\xC3", "\uFFFD"},                               // cut off
        {"\xC0\xAF", "\uFFFD\uFFFD"},                     // overlong
        {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},           // a surrogate
        {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"}, // beyond Unicode
        {"\xE2\x82z", "\uFFFDz"}};
    for (const auto& [given, expected] : cases) {
        KeyedArchiver archiver;
        archiver.encodeString("text", given);
        const Data bytes = archiver.finishEncoding();
        EXPECT_EQ(KeyedUnarchiver(bytes).decodeString("text"), expected);
    }
}

TEST_F(KeyedArchiveTests, OnlyAdmittedClassesAreMade) {
    const Data beat = KeyedArchiver::archivedData(makeMark<Beat>(1, 2));
    EXPECT_NE(KeyedUnarchiver::unarchivedObject<Beat>(beat), nullptr);
    EXPECT_EQ(KeyedUnarchiver::unarchivedObject<Mark>(beat)->className(), "TestBeat");
    expectFailure<Name>(beat, classNotAdmitted, "\"root\" of the archive is a TestBeat where only TestName");
    expectFailure<Beat>(KeyedArchiver::archivedData(makeMark<Mark>(1, 2)), classNotAdmitted, "is a TestMark");

    Forge unknown;
    expectFailure<Mark>(unknown.finish(unknown.object(unknown.membersOf("NSTask", {}))), classNotAdmitted,
                        "is a NSTask");

    // The same object asked for under two classes: the second may not have it.
    Forge twice;
    const auto mark = twice.object(twice.membersOfMark("TestMark"));
    const Data bytes = twice.finish(Members{{"a", mark}, {"b", mark}});
    KeyedUnarchiver coder(bytes);
    EXPECT_NE(coder.decodeObject<Mark>("a"), nullptr);
    EXPECT_EQ(coder.decodeObject<Beat>("b"), nullptr);
    EXPECT_TRUE(coder.failed());
    EXPECT_EQ(coder.decodeObject<Mark>("a"), nullptr) << "a failed archive gives nothing more";
}

TEST_F(KeyedArchiveTests, ReasonsNameTheValueAndItsClass) {
    using Change = std::function<void(Forge&, Members&)>;
    const auto nameWith = [](const Change& change) {
        Forge forge;
        Members members = forge.membersOfMark("TestName");
        change(forge, members);
        return forge.finish(forge.object(members));
    };
    const std::tuple<Change, Code, const char*> cases[] = {
        {[](auto&, auto& m) { m.pop_back(); }, missingObject, "TestName"},
        {[](auto& f, auto& m) { m[1].second = f.list.addInteger(-1); }, outOfRange,
         "\"identifier\" of TestName"},
        {[](auto& f, auto& m) { m[2].second = f.list.addUnsigned(1ull << 63); }, outOfRange, "\"location\""},
        {[](auto& f, auto& m) { m[2].second = f.list.addBool(true); }, wrongType,
         "\"location\" of TestName is not an integer"},
        {[](auto& f, auto& m) { m[2].second = f.list.addDouble(2); }, wrongType, "not an integer"},
        {[](auto& f, auto& m) { m[2].second = f.uid(77); }, damagedValue, "not in the archive"},
        {[](auto& f, auto& m) { m[0].second = f.uid(77); }, damagedValue, "not in the archive"},
        {[](auto&, auto& m) { m.erase(m.begin()); }, damagedValue, "without a class"},
        {[](auto& f, auto& m) { m.emplace_back("text", f.list.addInteger(1)); }, wrongType,
         "\"text\" of TestName is not a text"},
        {[](auto& f, auto& m) { m.emplace_back("next", f.list.addString("x")); }, wrongType,
         "\"next\" of TestName is not an object"}};
    for (const auto& [change, code, part] : cases)
        expectFailure<Mark>(nameWith(change), code, part);
    expectFailure<Mark>(KeyedArchiver::archivedData(nullptr), missingObject, "no root object");
    expectFailure<Mark>({}, malformedPropertyList, "not a binary property list");
    BinaryPropertyListWriter plain;
    expectFailure<Mark>(plain.finish(plain.addDictionary({})), notAKeyedArchive, "not a keyed archive");

    Data text = nameWith([](auto& f, auto& m) { m.emplace_back("text", f.list.addString("\uABCD\u1234")); });
    const Data units{std::byte{0xAB}, std::byte{0xCD}, std::byte{0x12}, std::byte{0x34}};
    const auto found = std::search(text.begin(), text.end(), units.begin(), units.end());
    ASSERT_NE(found, text.end());
    *found = std::byte{0xD8};
    expectFailure<Mark>(text, damagedValue, "not a well-formed text");
}

TEST_F(KeyedArchiveTests, ElementsOfArraysAreCheckedOneByOne) {
    auto song = std::make_shared<Song>();
    song->marks = {makeMark<Mark>(1, 1), makeMark<Beat>(2, 2)};
    const Data bytes = KeyedArchiver::archivedData(song);
    KeyedUnarchiver coder(bytes);
    EXPECT_EQ(coder.decodeObjects<Mark>("root"), std::nullopt) << "a song is not an array";
    EXPECT_TRUE(coder.failed());

    Forge forge;
    const auto marks = forge.array({forge.object(forge.membersOfMark("TestMark")), forge.uid(0)});
    expectFailure<Song>(forge.finish(forge.song(marks)), wrongType,
                        "Element 1 of \"marks\" of TestSong is empty");
}

TEST_F(KeyedArchiveTests, NestingIsBoundedOnBothSides) {
    const auto chain = [](std::size_t length) {
        std::shared_ptr<Name> outermost;
        for (std::size_t i = 0; i < length; ++i) {
            auto name = makeMark<Name>(i, 0);
            name->next = outermost;
            outermost = name;
        }
        return outermost;
    };
    const Data deepest = KeyedArchiver::archivedData(chain(kKeyedArchiveMaximumDepth));
    EXPECT_NE(KeyedUnarchiver::unarchivedObject<Name>(deepest), nullptr);
    EXPECT_DEATH(KeyedArchiver::archivedData(chain(kKeyedArchiveMaximumDepth + 1)), "nested too deep");
}

TEST_F(KeyedArchiveTests, ContentsReferredToAgainAndAgainDoNotMultiply) {
    // 3,000 songs hold the same array of 3,000 references.
    Forge arrays;
    const auto mark = arrays.object(arrays.membersOfMark("TestMark"));
    const auto marks = arrays.array(std::vector(3000, mark));
    std::vector<Reference> songs;
    for (int i = 0; i < 3000; ++i)
        songs.push_back(arrays.song(marks));
    const Data arrayBytes = arrays.finish(Members{{"songs", arrays.array(songs)}});
    KeyedUnarchiver arrayCoder(arrayBytes);
    EXPECT_EQ(arrayCoder.decodeObjects<Song>("songs"), std::nullopt);
    EXPECT_EQ(arrayCoder.error().code, static_cast<long>(tooLarge));

    // 2,000 names hold the same text of 64 KiB: a forgery of it fails, the archiver's own bytes do not.
    const std::string text(1 << 16, 'x');
    Forge texts;
    const auto textUID = texts.add(texts.list.addString(text));
    Members members;
    KeyedArchiver archiver;
    for (int i = 0; i < 2000; ++i) {
        members.push_back({std::to_string(i), textUID});
        archiver.encodeString(std::to_string(i), text);
    }
    const Data forged = texts.finish(members);
    const Data honest = archiver.finishEncoding();
    EXPECT_LT(honest.size(), 2000 * text.size() / 16) << "copies are the exception";
    KeyedUnarchiver forgedCoder(forged);
    KeyedUnarchiver honestCoder(honest);
    for (int i = 0; i < 2000; ++i) {
        static_cast<void>(forgedCoder.decodeString(std::to_string(i)));
        EXPECT_EQ(honestCoder.decodeString(std::to_string(i)), text);
    }
    EXPECT_EQ(forgedCoder.error().code, static_cast<long>(tooLarge));
}

TEST_F(KeyedArchiveTests, EqualValuesAreStoredOnceAndABeatTakesAtMostEightyBytes) {
    const auto sizeWith = [](const std::string& second, double number) {
        KeyedArchiver archiver;
        archiver.encodeString("a", std::string(1000, 'x'));
        archiver.encodeString("b", second);
        archiver.encodeDouble("c", 0.1);
        archiver.encodeDouble("d", number);
        return archiver.finishEncoding().size();
    };
    EXPECT_EQ(sizeWith(std::string(999, 'x') + "y", 0.1),
              sizeWith(std::string(1000, 'x'), 0.1) + 1003 + 3 + 2 + 3)
        << "text with header, its offset, its UID with offset, its reference";
    EXPECT_EQ(sizeWith(std::string(1000, 'x'), 0.2), sizeWith(std::string(1000, 'x'), 0.1) + 9 + 2);

    Song song;
    constexpr std::size_t kCount = 100'000;
    for (std::size_t i = 0; i < kCount; ++i)
        song.marks.push_back(makeMark<Beat>(i, static_cast<std::int64_t>(i) * 22050));
    const Data bytes = KeyedArchiver::archivedData(std::make_shared<Song>(song));
    EXPECT_LE(bytes.size(), 80 * kCount);
}

TEST_F(KeyedArchiveTests, MisuseAborts) {
    EXPECT_DEATH(
        {
            KeyedArchiver archiver;
            archiver.encodeInt("key", 1);
            archiver.encodeInt("key", 1);
        },
        "\"key\" is encoded twice");
    EXPECT_DEATH(KeyedArchiver().encodeInt("$class", 1), "begins with \\$");
    EXPECT_DEATH(KeyedArchiver().encodeInt("ü", 1), "not ASCII");
    EXPECT_DEATH(KeyedArchiver().encodeObjects("marks", std::vector<std::shared_ptr<Mark>>{nullptr}),
                 "empty element");
    EXPECT_DEATH(
        {
            auto name = makeMark<Name>(1, 1);
            name->next = name;
            KeyedArchiver::archivedData(name);
        },
        "contains itself");
    static const ClassDescription impostor{"TestBeat"};
    EXPECT_DEATH(registerClass(impostor), "Two classes are registered under the name TestBeat");
}

// What the standard library of another language reads and writes, it reads and writes alike.
TEST_F(KeyedArchiveTests, AnIndependentPropertyListReaderAgrees) {
    if (std::system("python3 -c 'import plistlib'") != 0)
        GTEST_SKIP() << "python3 is not installed";
    const TemporaryFolder folder;
    const auto path = folder.path() / "archive.plist", output = folder.path() / "output";
    const auto run = [&](const std::string& command) {
        const auto line = "python3 '" TARN_TEST_DATA "/KeyedArchive.py' " + command + " '" + path.string() +
                          "' > '" + output.string() + "'";
        EXPECT_EQ(std::system(line.c_str()), 0);
        return textOf(output);
    };
    // What the other reader says of the song's archive.
    const auto description = [&](const Song& song) {
        const Data bytes = KeyedArchiver::archivedData(std::make_shared<Song>(song));
        writeText(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        return run("read");
    };
    Song song;
    auto beat =
        makeMark<Beat>(std::numeric_limits<std::uint64_t>::max(), std::numeric_limits<std::int64_t>::min());
    auto name = makeMark<Name>(1, 300);
    name->text = "Straße 𝄞";
    song.marks = {beat, name, beat};
    song.selected = name;
    song.data = Data{std::byte{0x00}, std::byte{0xFF}};
    song.tempo = 0.5f;
    song.frequency = 440.25;
    const std::string beatText = R"({"class": "TestBeat/TestMark/NSObject", "downbeat": false, )"
                                 R"("identifier": 18446744073709551615, "location": -9223372036854775808})";
    const std::string nameText =
        R"({"class": "TestName/TestMark/NSObject", "identifier": 1, "location": 300, )"
        R"("next": null, "text": "Stra\u00dfe \ud834\udd1e"})";
    EXPECT_EQ(description(song),
              R"({"channel": 0, "class": "TestSong/NSObject", "data": "00ff", "frequency": 440.25, )"
              R"("marks": [)" +
                  beatText + ", " + nameText + ", " + beatText + R"(], "selected": )" + nameText +
                  R"(, "tempo": 0.5})");

    run("write");
    const std::string written = textOf(path);
    Error error;
    const auto read = KeyedUnarchiver::unarchivedObject<Song>(std::as_bytes(std::span(written)), &error);
    ASSERT_NE(read, nullptr) << error.localizedDescription();
    EXPECT_EQ(read->selected, read->marks.at(0));
    const std::string selected = R"({"class": "TestBeat/TestMark/NSObject", "downbeat": true, )"
                                 R"("identifier": 7, "location": -9})";
    EXPECT_EQ(
        description(*read),
        R"({"channel": 15, "class": "TestSong/NSObject", "data": "00ff", "frequency": 432.5, "marks": [)" +
            selected +
            R"(, {"class": "TestName/TestMark/NSObject", "identifier": 18446744073709551615, )"
            R"("location": 1099511627776, "next": null, "text": "Stra\u00dfe \ud834\udd1e"}], "selected": )" +
            selected + R"(, "tempo": 120.0})");
}

// Nodes that refer to each other at random, and whether no cycle and no unknown node can be reached from the
// first.
Data randomGraph(std::mt19937& random, bool& isSound) {
    const auto count = 1 + random() % 12;
    std::vector<std::size_t> next(count);
    Forge forge;
    for (std::size_t i = 0; i < count; ++i) {
        next[i] = random() % 4 == 0 ? 0 : random() % (count + (random() % 32 == 0 ? 2 : 1)); // 0: $null
        Members members = forge.membersOfMark("TestName", static_cast<std::int64_t>(i));
        members.emplace_back("next", forge.uid(next[i] == 0 ? 0 : next[i] + 1)); // after $null and the class
        forge.object(members);
    }
    std::size_t node = 1, steps = 0;
    while (node != 0 && node <= count && steps++ <= count)
        node = next[node - 1];
    isSound = node == 0;
    return forge.finish(forge.uid(2));
}

TEST_F(KeyedArchiveTests, DamagedArchivesGiveAnObjectOrAReason) {
    const Data valid = KeyedArchiver::archivedData(makeSong());
    const auto whole = KeyedUnarchiver::unarchivedObject<Song>(valid);
    ASSERT_NE(whole, nullptr);
    EXPECT_EQ(KeyedArchiver::archivedData(whole), valid) << "the classes and what is shared have come back";
    for (unsigned seed = 0; seed < 10'000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        Data bytes = valid;
        Error error;
        switch (seed % 4) {
        case 0: // always without its trailer
            bytes.resize(random() % valid.size());
            EXPECT_EQ(KeyedUnarchiver::unarchivedObject<Song>(bytes, &error), nullptr);
            break;
        case 1:
        case 2: {
            for (auto flips = 1 + random() % 8; flips > 0; --flips) {
                // Every other flip in the offset table and the trailer, where it does most.
                const auto at = random() % 2 ? random() % bytes.size() : bytes.size() - 1 - random() % 400;
                bytes[at] ^= static_cast<std::byte>(1u << random() % 8);
            }
            if (const auto song = KeyedUnarchiver::unarchivedObject<Song>(bytes, &error)) {
                const Data again = KeyedArchiver::archivedData(song);
                EXPECT_EQ(KeyedArchiver::archivedData(KeyedUnarchiver::unarchivedObject<Song>(again)), again);
                continue;
            }
            break;
        }
        default: {
            bool isSound = false;
            bytes = randomGraph(random, isSound);
            const auto first = KeyedUnarchiver::unarchivedObject<Name>(bytes, &error);
            EXPECT_EQ(first != nullptr, isSound) << error.localizedDescription();
            if (isSound)
                continue;
            break;
        }
        }
        EXPECT_EQ(error.domain, kKeyedArchiveErrorDomain);
        EXPECT_FALSE(error.localizedDescription().empty());
    }
}

} // namespace
} // namespace tarn
