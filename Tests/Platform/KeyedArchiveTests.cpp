#include "Platform/KeyedArchive.h"

#include "Platform/BinaryPropertyList.h"
#include "Tests/Platform/ArchivedSong.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <random>

namespace tarn {
namespace {

using namespace archived;
using testing::AllOf;
using testing::HasSubstr;
using Code = KeyedArchiveErrorCode;
using Reference = BinaryPropertyListWriter::Reference;

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
    song->tempo = 99.5f;
    song->frequency = 440.1;
    song->channel = 255;
    return song;
}

template <typename T>
std::shared_ptr<T> expectFailure(const Data& archive, Code code, const std::string& part) {
    Error error;
    auto object = KeyedUnarchiver::unarchivedObject<T>(archive, &error);
    EXPECT_EQ(object, nullptr) << part;
    EXPECT_EQ(error.domain, "TarnKeyedArchiveErrorDomain");
    EXPECT_EQ(error.code, static_cast<long>(code)) << error.localizedDescription();
    EXPECT_THAT(error.localizedDescription(), HasSubstr(part));
    return object;
}

// Builds archives that the archiver would not write.
struct Forge {
    BinaryPropertyListWriter list;
    std::vector<Reference> objects{list.addString("$null")};

    Reference uid(std::size_t entry) { return list.addUID(static_cast<std::uint32_t>(entry)); }
    std::size_t add(Reference object) {
        objects.push_back(object);
        return objects.size() - 1;
    }
    Reference dictionary(const std::vector<std::pair<std::string, Reference>>& members) {
        std::vector<Reference> pairs;
        for (const auto& [key, value] : members)
            pairs.insert(pairs.end(), {list.addString(key), value});
        return list.addDictionary(pairs);
    }
    std::size_t addClass(const std::string& name) {
        const auto text = list.addString(name);
        return add(dictionary({{"$classname", text}, {"$classes", list.addArray(std::vector{text})}}));
    }
    Data finish(std::size_t root) { return finish(dictionary({{"root", uid(root)}})); }
    Data finish(Reference top) {
        const auto objectsArray = list.addArray(objects);
        return list.finish(dictionary({{"$archiver", list.addString("NSKeyedArchiver")},
                                       {"$version", list.addInteger(100000)},
                                       {"$top", top},
                                       {"$objects", objectsArray}}));
    }
};

TEST_F(KeyedArchiveTests, ValuesOfEveryTypeSurviveAtTheirExtremes) {
    const std::vector<std::int64_t> integers{0,
                                             1,
                                             -1,
                                             255,
                                             256,
                                             65535,
                                             65536,
                                             0xFFFFFFFF,
                                             0x100000000,
                                             -128,
                                             std::numeric_limits<std::int64_t>::min(),
                                             std::numeric_limits<std::int64_t>::max()};
    const std::vector<std::uint64_t> unsignedIntegers{0, 0x7FFFFFFFFFFFFFFF, 0x8000000000000000,
                                                      0xFFFFFFFFFFFFFFFF};
    const std::vector<double> doubles{0.0,
                                      -0.0,
                                      440.1,
                                      std::numeric_limits<double>::denorm_min(),
                                      -std::numeric_limits<double>::max(),
                                      std::numeric_limits<double>::infinity()};
    const std::vector<float> floats{0.1f, -0.0f, std::numeric_limits<float>::max(),
                                    -std::numeric_limits<float>::infinity()};
    const std::vector<std::string> texts{
        "",  "fourteen chars",       "fifteen chars..",  std::string(300, 'x'),
        "Ü", std::string("a\0b", 3), "\uFFFF\U0010FFFF", std::string(70000, 'y') + "ü"};
    KeyedArchiver archiver;
    const auto key = [](char kind, std::size_t i) { return kind + std::to_string(i); };
    for (std::size_t i = 0; i < integers.size(); ++i)
        archiver.encodeInt(key('i', i), integers[i]);
    for (std::size_t i = 0; i < unsignedIntegers.size(); ++i)
        archiver.encodeUnsigned(key('u', i), unsignedIntegers[i]);
    for (std::size_t i = 0; i < doubles.size(); ++i)
        archiver.encodeDouble(key('d', i), doubles[i]);
    for (std::size_t i = 0; i < floats.size(); ++i)
        archiver.encodeFloat(key('f', i), floats[i]);
    for (std::size_t i = 0; i < texts.size(); ++i)
        archiver.encodeString(key('t', i), texts[i]);
    archiver.encodeDouble("nan", std::nan(""));
    archiver.encodeBool("true", true);
    archiver.encodeBool("false", false);
    archiver.encodeString("nothing", std::nullopt);
    archiver.encodeObject("noObject", nullptr);
    archiver.encodeData("noBytes", {});
    archiver.encodeObjects("noMarks", std::vector<std::shared_ptr<Mark>>{});
    const Data bytes = archiver.finishEncoding();

    KeyedUnarchiver coder(bytes);
    for (std::size_t i = 0; i < integers.size(); ++i)
        EXPECT_EQ(coder.decodeInt(key('i', i)), integers[i]);
    for (std::size_t i = 0; i < unsignedIntegers.size(); ++i)
        EXPECT_EQ(coder.decodeUnsigned(key('u', i)), unsignedIntegers[i]);
    for (std::size_t i = 0; i < doubles.size(); ++i) {
        EXPECT_EQ(coder.decodeDouble(key('d', i)), doubles[i]);
        EXPECT_EQ(std::signbit(coder.decodeDouble(key('d', i)).value_or(1)), std::signbit(doubles[i]));
    }
    for (std::size_t i = 0; i < floats.size(); ++i)
        EXPECT_EQ(coder.decodeFloat(key('f', i)), floats[i]);
    for (std::size_t i = 0; i < texts.size(); ++i)
        EXPECT_EQ(coder.decodeString(key('t', i)), texts[i]);
    EXPECT_TRUE(std::isnan(coder.decodeDouble("nan").value_or(0)));
    EXPECT_EQ(coder.decodeBool("true"), true);
    EXPECT_EQ(coder.decodeBool("false"), false);
    EXPECT_EQ(coder.decodeBool("i1"), true);
    EXPECT_EQ(coder.decodeDouble("i2"), -1.0);
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
        {"\xE2\x82z", "\uFFFDz"},
    };
    for (const auto& [given, expected] : cases) {
        KeyedArchiver archiver;
        archiver.encodeString("text", given);
        const Data bytes = archiver.finishEncoding();
        EXPECT_EQ(KeyedUnarchiver(bytes).decodeString("text"), expected);
    }
}

TEST_F(KeyedArchiveTests, AnObjectGraphComesBackWithItsClassesAndSharedObjects) {
    const auto song = makeSong();
    const Data bytes = KeyedArchiver::archivedData(song);
    Error error;
    const auto copy = KeyedUnarchiver::unarchivedObject<Song>(bytes, &error);
    ASSERT_NE(copy, nullptr) << error.localizedDescription();
    ASSERT_EQ(copy->marks.size(), song->marks.size());
    EXPECT_EQ(copy->selected, copy->marks[3]);
    for (std::size_t i = 0; i < song->marks.size(); ++i) {
        EXPECT_EQ(copy->marks[i]->className(), song->marks[i]->className());
        EXPECT_EQ(copy->marks[i]->identifier, song->marks[i]->identifier);
        EXPECT_EQ(copy->marks[i]->location, song->marks[i]->location);
        if (const auto* name = dynamic_cast<const Name*>(copy->marks[i].get())) {
            EXPECT_EQ(name->text, dynamic_cast<const Name&>(*song->marks[i]).text);
            EXPECT_EQ(name->next, copy->selected);
        }
    }
    EXPECT_EQ(copy->tempo, song->tempo);
    EXPECT_EQ(copy->frequency, song->frequency);
    EXPECT_EQ(copy->channel, song->channel);
    EXPECT_EQ(KeyedArchiver::archivedData(copy), bytes);
}

TEST_F(KeyedArchiveTests, OnlyAdmittedClassesAreMade) {
    const Data beat = KeyedArchiver::archivedData(makeMark<Beat>(1, 2));
    EXPECT_NE(KeyedUnarchiver::unarchivedObject<Beat>(beat), nullptr);
    EXPECT_EQ(KeyedUnarchiver::unarchivedObject<Mark>(beat)->className(), "TestBeat");
    expectFailure<Name>(beat, Code::classNotAdmitted,
                        "\"root\" of the archive is a TestBeat where only TestName");
    expectFailure<Beat>(KeyedArchiver::archivedData(makeMark<Mark>(1, 2)), Code::classNotAdmitted,
                        "is a TestMark");

    Forge unknown;
    const auto type = unknown.addClass("NSTask");
    expectFailure<Mark>(unknown.finish(unknown.add(unknown.dictionary({{"$class", unknown.uid(type)}}))),
                        Code::classNotAdmitted, "is a NSTask");

    // The same object asked for under two classes: the second may not have it.
    Forge twice;
    const auto mark = twice.add(twice.dictionary({{"$class", twice.uid(twice.addClass("TestMark"))},
                                                  {"identifier", twice.list.addInteger(1)},
                                                  {"location", twice.list.addInteger(1)}}));
    const Data bytes = twice.finish(twice.dictionary({{"a", twice.uid(mark)}, {"b", twice.uid(mark)}}));
    KeyedUnarchiver coder(bytes);
    EXPECT_NE(coder.decodeObject<Mark>("a"), nullptr);
    EXPECT_EQ(coder.decodeObject<Beat>("b"), nullptr);
    EXPECT_TRUE(coder.failed());
    EXPECT_EQ(coder.decodeObject<Mark>("a"), nullptr) << "a failed archive gives nothing any more";
}

TEST_F(KeyedArchiveTests, ReasonsNameTheValueAndItsClass) {
    const auto markWith =
        [](const std::function<void(Forge&, std::vector<std::pair<std::string, Reference>>&)>& change) {
            Forge forge;
            const auto mark = forge.addClass("TestName");
            std::vector<std::pair<std::string, Reference>> members{{"$class", forge.uid(mark)},
                                                                   {"identifier", forge.list.addInteger(1)},
                                                                   {"location", forge.list.addInteger(2)}};
            change(forge, members);
            return forge.finish(forge.add(forge.dictionary(members)));
        };
    using Members = std::vector<std::pair<std::string, Reference>>;
    expectFailure<Mark>(markWith([](Forge&, Members& m) { m.pop_back(); }), Code::missingObject, "TestName");
    expectFailure<Mark>(markWith([](Forge& f, Members& m) { m[1].second = f.list.addInteger(-1); }),
                        Code::outOfRange, "\"identifier\" of TestName");
    expectFailure<Mark>(markWith([](Forge& f, Members& m) { m[2].second = f.list.addUnsigned(1ull << 63); }),
                        Code::outOfRange, "\"location\"");
    expectFailure<Mark>(markWith([](Forge& f, Members& m) { m[2].second = f.list.addBool(true); }),
                        Code::wrongType, "\"location\" of TestName is not an integer");
    expectFailure<Mark>(markWith([](Forge& f, Members& m) { m[2].second = f.list.addDouble(2); }),
                        Code::wrongType, "not an integer");
    expectFailure<Mark>(markWith([](Forge& f, Members& m) { m[2].second = f.uid(77); }), Code::damagedValue,
                        "not in the archive");
    expectFailure<Mark>(markWith([](Forge& f, Members& m) { m[0].second = f.uid(77); }), Code::damagedValue,
                        "not in the archive");
    expectFailure<Mark>(markWith([](Forge&, Members& m) { m.erase(m.begin()); }), Code::damagedValue,
                        "without a class");
    expectFailure<Mark>(markWith([](Forge& f, Members& m) {
                            m.push_back({"text", f.list.addInteger(1)});
                        }),
                        Code::wrongType, "\"text\" of TestName is not a text");
    expectFailure<Mark>(markWith([](Forge& f, Members& m) {
                            m.push_back({"next", f.list.addString("x")});
                        }),
                        Code::wrongType, "\"next\" of TestName is not an object");
    expectFailure<Mark>(KeyedArchiver::archivedData(nullptr), Code::missingObject, "no root object");
    expectFailure<Mark>({}, Code::malformedPropertyList, "not a binary property list");
    BinaryPropertyListWriter plain;
    expectFailure<Mark>(plain.finish(plain.addDictionary({})), Code::notAKeyedArchive, "not a keyed archive");

    Data surrogate = markWith([](Forge& f, Members& m) {
        m.push_back({"text", f.list.addString("\uABCD\u1234")});
    });
    const std::array units{std::byte{0xAB}, std::byte{0xCD}, std::byte{0x12}, std::byte{0x34}};
    const auto found = std::search(surrogate.begin(), surrogate.end(), units.begin(), units.end());
    ASSERT_NE(found, surrogate.end());
    *found = std::byte{0xD8};
    expectFailure<Mark>(surrogate, Code::damagedValue, "not a well-formed text");

    KeyedUnarchiver coder(surrogate);
    coder.fail("the chord has no root");
    coder.fail("later");
    EXPECT_EQ(coder.error().localizedDescription(), "the chord has no root");
}

TEST_F(KeyedArchiveTests, ElementsOfArraysAreCheckedOneByOne) {
    auto song = std::make_shared<Song>();
    song->marks = {makeMark<Mark>(1, 1), makeMark<Beat>(2, 2)};
    const Data bytes = KeyedArchiver::archivedData(song);
    KeyedUnarchiver coder(bytes);
    EXPECT_EQ(coder.decodeObjects<Mark>("root"), std::nullopt) << "a song is not an array";
    EXPECT_TRUE(coder.failed());

    Forge forge;
    const auto array = forge.addClass("NSArray");
    const auto type = forge.addClass("TestMark");
    const auto mark = forge.add(forge.dictionary({{"$class", forge.uid(type)},
                                                  {"identifier", forge.list.addInteger(1)},
                                                  {"location", forge.list.addInteger(1)}}));
    const auto elements = forge.list.addArray(std::vector{forge.uid(mark), forge.uid(0)});
    const auto list = forge.add(forge.dictionary({{"$class", forge.uid(array)}, {"NS.objects", elements}}));
    const auto songType = forge.addClass("TestSong");
    expectFailure<Song>(forge.finish(forge.add(
                            forge.dictionary({{"$class", forge.uid(songType)}, {"marks", forge.uid(list)}}))),
                        Code::wrongType, "Element 1 of \"marks\" of TestSong is empty");
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
    const auto mark = arrays.add(arrays.dictionary({{"$class", arrays.uid(arrays.addClass("TestMark"))},
                                                    {"identifier", arrays.list.addInteger(1)},
                                                    {"location", arrays.list.addInteger(1)}}));
    const std::vector<Reference> manyMarks(3000, arrays.uid(mark));
    const auto arrayType = arrays.uid(arrays.addClass("NSArray"));
    const auto songType = arrays.uid(arrays.addClass("TestSong"));
    const auto marks = arrays.uid(arrays.add(
        arrays.dictionary({{"$class", arrayType}, {"NS.objects", arrays.list.addArray(manyMarks)}})));
    std::vector<Reference> songs;
    for (int i = 0; i < 3000; ++i)
        songs.push_back(arrays.uid(arrays.add(arrays.dictionary({{"$class", songType}, {"marks", marks}}))));
    const auto all =
        arrays.add(arrays.dictionary({{"$class", arrayType}, {"NS.objects", arrays.list.addArray(songs)}}));
    const Data arrayBytes = arrays.finish(arrays.dictionary({{"songs", arrays.uid(all)}}));
    KeyedUnarchiver arrayCoder(arrayBytes);
    EXPECT_EQ(arrayCoder.decodeObjects<Song>("songs"), std::nullopt);
    EXPECT_EQ(arrayCoder.error().code, static_cast<long>(Code::tooLarge));

    // 2,000 names hold the same text of 64 KiB: forged it fails, and the archiver writes it so that it does
    // not.
    const std::string text(1 << 16, 'x');
    Forge texts;
    const auto textUID = texts.uid(texts.add(texts.list.addString(text)));
    std::vector<std::pair<std::string, Reference>> members;
    KeyedArchiver archiver;
    for (int i = 0; i < 2000; ++i) {
        members.push_back({std::to_string(i), textUID});
        archiver.encodeString(std::to_string(i), text);
    }
    const Data forged = texts.finish(texts.dictionary(members));
    const Data honest = archiver.finishEncoding();
    EXPECT_LT(honest.size(), 2000 * text.size() / 16) << "copies are the exception";
    KeyedUnarchiver forgedCoder(forged);
    KeyedUnarchiver honestCoder(honest);
    for (int i = 0; i < 2000; ++i) {
        static_cast<void>(forgedCoder.decodeString(std::to_string(i)));
        EXPECT_EQ(honestCoder.decodeString(std::to_string(i)), text);
    }
    EXPECT_EQ(forgedCoder.error().code, static_cast<long>(Code::tooLarge));
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

TEST_F(KeyedArchiveTests, MisuseStopsTheProcess) {
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
    const auto path =
        std::filesystem::temp_directory_path() / ("tarn-archive-" + std::to_string(getpid()) + ".plist");
    const auto run = [&](const std::string& command) {
        const std::string line =
            "python3 '" TARN_TEST_DATA "/KeyedArchive.py' " + command + " '" + path.string() + "'";
        std::string output;
        FILE* pipe = popen(line.c_str(), "r");
        std::array<char, 4096> buffer;
        while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe))
            output.append(buffer.data(), count);
        EXPECT_EQ(pclose(pipe), 0);
        return output;
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
    const Data bytes = KeyedArchiver::archivedData(std::make_shared<Song>(song));
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    const std::string beatText = R"({"class": "TestBeat/TestMark/NSObject", "downbeat": false, )"
                                 R"("identifier": 18446744073709551615, "location": -9223372036854775808})";
    const std::string nameText =
        R"({"class": "TestName/TestMark/NSObject", "identifier": 1, "location": 300, )"
        R"("next": null, "text": "Stra\u00dfe \ud834\udd1e"})";
    EXPECT_EQ(run("read"),
              R"({"channel": 0, "class": "TestSong/NSObject", "data": "00ff", "frequency": 440.25, )"
              R"("marks": [)" +
                  beatText + ", " + nameText + ", " + beatText + R"(], "selected": )" + nameText +
                  R"(, "tempo": 0.5})");

    run("write");
    std::ifstream file(path, std::ios::binary);
    const std::string written{std::istreambuf_iterator<char>(file), {}};
    std::filesystem::remove(path);
    Error error;
    const auto read = KeyedUnarchiver::unarchivedObject<Song>(std::as_bytes(std::span(written)), &error);
    ASSERT_NE(read, nullptr) << error.localizedDescription();
    ASSERT_EQ(read->marks.size(), 2u);
    EXPECT_EQ(read->selected, read->marks[0]);
    EXPECT_TRUE(dynamic_cast<const Beat&>(*read->marks[0]).downbeat);
    EXPECT_EQ(read->marks[0]->identifier, 7u);
    EXPECT_EQ(read->marks[0]->location, -9);
    EXPECT_EQ(read->marks[1]->identifier, std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(dynamic_cast<const Name&>(*read->marks[1]).text, "Straße 𝄞");
    EXPECT_EQ(read->data, song.data);
    EXPECT_EQ(read->tempo, 120.0f);
    EXPECT_EQ(read->frequency, 432.5);
    EXPECT_EQ(read->channel, 15);
}

// Nodes that refer to each other at random, and whether no cycle and no unknown node can be reached from the
// first.
Data randomGraph(std::mt19937& random, bool& isSound) {
    const auto count = 1 + random() % 12;
    std::vector<std::size_t> next(count);
    Forge forge;
    const auto type = forge.addClass("TestName");
    for (std::size_t i = 0; i < count; ++i) {
        next[i] = random() % 4 == 0 ? 0 : random() % (count + (random() % 32 == 0 ? 2 : 1)); // 0: $null
        const auto target = next[i] == 0 ? 0 : next[i] + 1; // after $null and the class
        forge.add(forge.dictionary({{"$class", forge.uid(type)},
                                    {"identifier", forge.list.addInteger(static_cast<std::int64_t>(i))},
                                    {"location", forge.list.addInteger(0)},
                                    {"next", forge.uid(target)}}));
    }
    std::size_t node = 1;
    std::size_t steps = 0;
    while (node != 0 && node <= count && steps++ <= count)
        node = next[node - 1];
    isSound = node == 0;
    return forge.finish(std::size_t{2});
}

TEST_F(KeyedArchiveTests, DamagedArchivesGiveAnObjectOrAReason) {
    const Data valid = KeyedArchiver::archivedData(makeSong());
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
                const auto position =
                    random() % 2 ? random() % bytes.size() : bytes.size() - 1 - random() % 400;
                bytes[position] ^= static_cast<std::byte>(1u << random() % 8);
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
