#include "KELPMusic/KELPChordDetectionResult.h"
#include "KELPMusic/KELPChordTable.h"
#include "KELPMusic/KELPKey.h"
#include "KELPMusic/KELPStringedInstrumentDescription.h"
#include "Tests/Platform/Forgery.h"

#include <gtest/gtest.h>

namespace tarn {
namespace {

template <typename T>
void expectRoundTrip(const std::shared_ptr<const T>& value) {
    Error error;
    const Data bytes = KeyedArchiver::archivedData(value);
    const auto read = KeyedUnarchiver::unarchivedObject<T>(bytes, &error);
    ASSERT_TRUE(read) << value->description() << ": " << error.localizedDescription();
    EXPECT_EQ(*read, *value);
    EXPECT_EQ(read->description(), value->description());
}

TEST(KELPMusicArchivesTests, ValuesComeBackEqual) {
    for (int fifths = -15; fifths <= 19; ++fifths) {
        const auto note = KELPNote::noteWithFifths(fifths);
        expectRoundTrip(std::make_shared<const KELPNote>(note));
        for (int octave : {INT32_MIN, -1, 4, INT32_MAX})
            expectRoundTrip(KELPPitch::pitchWithNote(note, octave));
    }
    for (const auto& row : gChords) {
        expectRoundTrip(KELPChord::chordWithRoot(KELPNote::noteWithValue(3, true), row.intervals));
        expectRoundTrip(KELPChord::chordWithRoot(KELPNote::noteWithFifths(13), row.intervals, KELPNote()));
    }
    expectRoundTrip(KELPChord::chordWithRoot(KELPNote(), {0, 1, 2, 3, 4, 5, 127}));
    expectRoundTrip(KELPChord::chordWithRoot(KELPNote(), {}));
    expectRoundTrip(KELPChord::noChord());
    expectRoundTrip(KELPKey::makeWithTonicChord(KELPChord::chordWithString("F#m")));
    const KELPChordDetectionResultRef results[] = {
        KELPChordDetectionResult::resultForChord(KELPChord::chordWithString("F#m"), 0.5F, -1),
        KELPChordDetectionResult::resultForChord(KELPChord::chordWithString("Gbm"), 0.5F, -1),
        KELPChordDetectionResult::resultForChord(KELPChord::chordWithString("F#m"), 0.25F, -1),
        KELPChordDetectionResult::resultForChord(KELPChord::chordWithString("F#m"), 0.5F, 0),
        KELPChordDetectionResult::resultForChord(nullptr, 0.5F, -1)};
    for (const auto& result : results) {
        expectRoundTrip(result);
        EXPECT_EQ(*result == *results[0], result == results[0]) << result->description();
    }
    for (const auto& preset : KELPStringedInstrumentDescription::presets())
        expectRoundTrip(preset);
    expectRoundTrip(
        std::make_shared<const KELPStringedInstrumentDescription>("", std::vector<KELPPitchRef>(), 0));
}

TEST(KELPMusicArchivesTests, ImpossibleValuesAreRefused) {
    const auto data = [](std::initializer_list<int> bytes) {
        Data result;
        for (int byte : bytes)
            result.push_back(static_cast<std::byte>(byte));
        return result;
    };
    EXPECT_FALSE(reads<KELPNote>([](auto& coder) { coder.encodeString("name", "H"); }));
    EXPECT_FALSE(reads<KELPPitch>([](auto& coder) { coder.encodeString("note", "C"); }));
    EXPECT_FALSE(reads<KELPPitch>([](auto& coder) {
        coder.encodeString("note", "C");
        coder.encodeInt("octave", std::int64_t{1} << 40);
    }));
    const auto readsChord = [](const char* root, const Data& intervals, const char* bass) {
        return reads<KELPChord>([&](auto& coder) {
            coder.encodeString("root", root);
            coder.encodeData("intervals", intervals);
            coder.encodeString("bass", bass);
        });
    };
    EXPECT_TRUE(readsChord("C", data({4, 7, 10, 14, 17, 21}), "G"));
    EXPECT_FALSE(readsChord("C", data({4, 7, 10, 14, 17, 21, 22}), "G"));
    EXPECT_FALSE(readsChord("C", data({4, 0, 10}), "G"));
    EXPECT_FALSE(readsChord("C", data({4, 128}), "G"));
    EXPECT_FALSE(readsChord("", data({4, 7}), "G"));
    EXPECT_FALSE(readsChord("C", data({4, 7}), "m"));
    EXPECT_FALSE(reads<KELPKey>([](auto& coder) { coder.encodeObject("tonicChord", KELPChord::noChord()); }));
    EXPECT_FALSE(reads<KELPKey>(
        [](auto& coder) { coder.encodeObject("tonicChord", KELPPitch::pitchWithNote(KELPNote(), 4)); }));
    EXPECT_FALSE(reads<KELPChordDetectionResult>([](auto& coder) { coder.encodeInt("location", 0); }));
    const auto readsInstrument = [](const std::vector<KELPPitchRef>& tuning, std::int64_t frets) {
        return reads<KELPStringedInstrumentDescription>([&](auto& coder) {
            coder.encodeString("name", "Lyre");
            coder.encodeObjects("tuning", tuning);
            coder.encodeInt("numberOfFrets", frets);
        });
    };
    const auto middleC = KELPPitch::pitchWithNote(KELPNote(), 4);
    EXPECT_TRUE(readsInstrument({middleC, middleC}, 127));
    EXPECT_FALSE(readsInstrument({middleC}, 128));
    EXPECT_FALSE(readsInstrument({middleC}, -1));
}

} // namespace
} // namespace tarn
