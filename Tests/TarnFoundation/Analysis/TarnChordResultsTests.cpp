#include "TarnFoundation/Analysis/TarnChordResults.h"

#include "Tests/TarnFoundation/Analysis/ScriptedAnalysis.h"

namespace tarn {
namespace {

using namespace std::string_literals;
using scripted::Lines;
using Controller = TarnMusicInformationRetrievalController;
using Frame = TarnChordResults::Frame;
using TopK = std::vector<DetectChordsOperation::Frame>;
using DetectChords = scripted::Chords<DetectChordsOperation>;
using LegacyChords = scripted::Chords<LegacyChordDetectionOperation>;

/// An operation, a file, and what is logged.
struct TarnChordResultsCacheTests : testing::Test {
    TarnChordResultsCacheTests() {
        setLogSink([this](const LogMessage& message) {
            EXPECT_EQ(message.subsystem + message.category, "");
            EXPECT_EQ(message.level, LogLevel::error);
            logged.push_back(message.text(true));
            EXPECT_EQ(message.arguments.at(0).text, file.string());
            EXPECT_TRUE(message.arguments.at(0).isPrivate);
            EXPECT_FALSE(message.arguments.at(1).isPrivate);
        });
    }
    ~TarnChordResultsCacheTests() override { setLogSink({}); }

    TemporaryFolder folder;
    std::filesystem::path file = folder.path() / "song.chordScores";
    DetectChords operation{std::make_shared<scripted::Script>(), "chords"};
    Lines logged;
};

TEST_F(TarnChordResultsCacheTests, IsWrittenByteForByte) {
    const std::pair<TopK, std::string> cases[] = {
        {{}, "ChRE100a\x01\0\0\0\0"s},
        {{{44100, {{3, 0.5F}, {17, 0.25F}}}},
         "ChRE100a\x01\x01\0\0\0\x44\xAC\0\0\0\0\0\0\x02\x03\x11\0\0\0\x3F\0\0\x80\x3E"s},
        {{{0, {}}, {std::numeric_limits<std::int64_t>::max(), {{255, -2}}}},
         "ChRE100a\x01\x02\0\0\0\0\0\0\0\0\0\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F\x01\xFF\0\0\0\xC0"s},
    };
    writeText(file, "a longer file that was there before, which must not shine through at the end of it");
    for (const auto& [results, bytes] : cases) {
        operation.setTopKResults(results);
        Controller::writeCacheForChordDetectionOperation(operation, file);
        EXPECT_EQ(textOf(file), bytes);
        EXPECT_EQ(logged, Lines());

        operation.setTopKResults({});
        Controller::readCacheForChordDetectionOperation(operation, file);
        EXPECT_EQ(std::exchange(logged, {}).size(), 1U) << "no written file reads back";
        EXPECT_TRUE(operation.topKResults().empty());
    }
}

TEST_F(TarnChordResultsCacheTests, ReadingFailsWithAReasonAndChangesNothing) {
    const std::string failed = "Failed to read scored chord results cache from ";
    const std::string missing = "Missing chord results header";
    const std::string notText = "Unable to create string from data with ";
    const std::string notVersion = "Cannot initialize Version from invalid String value ";
    const std::pair<std::string, std::string> cases[] = {
        {"", missing},
        {"ChR", missing},
        {"chRE100a", missing},
        {"ChRE", notVersion},
        {"ChRE100", notVersion + "100"},
        {"ChRE100b", notVersion + "100b"},
        {"ChRE\xFF", notText},
        {"ChRE100a\x01\0\0\0\0"s, notVersion + "100a\x01\0\0\0\0"s},
        {"ChRE100a\x01\x01\0\0\0\x44\xAC\0\0\0\0\0\0\0"s, notText},
        {"ChRE100a", "Not enough bytes available to decode. Requested 1, but received 0."},
    };
    const TopK before{{7, {{1, 1}}}};
    operation.setTopKResults(before);
    for (const auto& [bytes, reason] : cases) {
        writeText(file, bytes);
        Controller::readCacheForChordDetectionOperation(operation, file);
        EXPECT_THAT(std::exchange(logged, {}),
                    testing::ElementsAre(testing::StartsWith(failed + file.string() + "\nError: " + reason)));
    }
    file = folder.path() / "missing";
    Controller::readCacheForChordDetectionOperation(operation, file);
    EXPECT_EQ(logged,
              Lines{failed + file.string() + "\nError: No such file or directory"}); // once: it is private
    EXPECT_EQ(operation.topKResults(), before);
}

TEST_F(TarnChordResultsCacheTests, AFailureToWriteIsLogged) {
    file = folder.path() / "no folder" / "song.chordScores";
    Controller::writeCacheForChordDetectionOperation(operation, file);
    EXPECT_THAT(logged, testing::ElementsAre(testing::StartsWith(
                            "Failed to write scored chord results cache to " + file.string() + "\nError: ")));
}

TEST_F(TarnChordResultsCacheTests, LegacyDetectionHasNone) {
    LegacyChords legacy{std::make_shared<scripted::Script>(), "legacy chords"};
    Controller::writeCacheForChordDetectionOperation(legacy, file);
    Controller::readCacheForChordDetectionOperation(legacy, file);
    EXPECT_TRUE(folder.fileNames().empty());
    EXPECT_EQ(logged, Lines());
    EXPECT_TRUE(Controller::hasCachedResults(legacy));
    EXPECT_FALSE(Controller::hasCachedResults(operation));
    operation.setTopKResults({{}});
    EXPECT_TRUE(Controller::hasCachedResults(operation));
}

TEST(TarnChordResultsTests, FramesReadBackAndFailWhereTheBytesEnd) {
    const Frame frame{44100, {3, 17}, {0.5F, 0.25F}};
    const auto bytes = BinaryDataEncoder().encode(frame);
    EXPECT_EQ(BinaryDataDecoder().decode<Frame>(bytes), frame);
    const auto twice = BinaryDataEncoder().encode(std::vector{frame, frame});
    EXPECT_EQ(BinaryDataDecoder().decode<std::vector<Frame>>(twice), (std::vector{frame, frame}));
    const std::pair<std::size_t, const char*> cases[] = {{3, "Requested 8, but received 3."},
                                                         {8, "Requested 1, but received 0."},
                                                         {10, "Requested 2, but received 1."},
                                                         {18, "Requested 8, but received 7."}};
    for (const auto& [length, reason] : cases) {
        const std::vector<std::uint8_t> cut(bytes.begin(), bytes.begin() + std::ptrdiff_t(length));
        EXPECT_THAT([&] { (void)BinaryDataDecoder().decode<Frame>(cut); },
                    testing::Throws<BinaryDecodingError>(testing::Property(
                        &BinaryDecodingError::context,
                        testing::Field(&BinaryDecodingError::Context::debugDescription,
                                       std::string("Not enough bytes available to decode. ") + reason))));
    }
    using Labeling = TarnChordResults::LabelingId;
    EXPECT_THROW((void)BinaryDataDecoder().decode<Labeling>(std::vector<std::uint8_t>{2}),
                 BinaryDecodingError);
}

TEST(TarnChordResultsTests, ConvertsFromAndToTheOperationsList) {
    const TopK results{{5, {{0, 1}, {255, 0.5F}}}, {3, {}}};
    EXPECT_EQ(TarnChordResults::fromTopKResults(results).topKResults(), results);
    TarnChordResults uneven;
    uneven.frames = {{1, {7, 8, 9}, {1, 2}}, {2, {7}, {1, 2}}};
    EXPECT_EQ(uneven.topKResults(), (TopK{{1, {{7, 1}, {8, 2}}}, {2, {{7, 1}}}}));
}

TEST(TarnChordResultsDeathTest, ValuesOutOfRangeAbort) {
    const char* const outOfRange = "Integer value out of range of its target type";
    for (const TopK& results : {TopK{{-1, {}}}, TopK{{0, {{256, 0}}}}, TopK{{0, {{-1, 0}}}}})
        EXPECT_DEATH((void)TarnChordResults::fromTopKResults(results), outOfRange);
    TarnChordResults late;
    late.frames = {{std::uint64_t{1} << 63, {}, {}}};
    EXPECT_DEATH((void)late.topKResults(), outOfRange);
    Frame most{0, std::vector<std::uint8_t>(255), std::vector<float>(255)};
    EXPECT_EQ(BinaryDataEncoder().encode(most).size(), 9U + 5 * 255);
    most.labels.push_back(0);
    EXPECT_DEATH((void)BinaryDataEncoder().encode(most), outOfRange);
}

} // namespace
} // namespace tarn
