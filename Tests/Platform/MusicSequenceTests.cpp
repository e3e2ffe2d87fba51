#include "Platform/MusicSequence.h"

#include "Tests/Platform/TemporaryFolder.h"

#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <random>
#include <sstream>

namespace tarn {

namespace {

using Bytes = std::vector<int>;
constexpr unsigned kErase = kMusicSequenceFileFlagsEraseFile;

struct MusicSequenceTests : testing::Test {
    MusicSequenceTests() {
        EXPECT_EQ(NewMusicSequence(&sequence), kMusicSuccess);
        EXPECT_EQ(MusicSequenceGetTempoTrack(sequence, &tempoTrack), kMusicSuccess);
    }
    ~MusicSequenceTests() override {
        EXPECT_EQ(DisposeMusicSequence(sequence), kMusicSuccess);
        EXPECT_EQ(liveMusicSequenceCount(), 0U);
    }

    MusicTrack newTrack() {
        MusicTrack track = nullptr;
        EXPECT_EQ(MusicSequenceNewTrack(sequence, &track), kMusicSuccess);
        return track;
    }
    static MusicStatus addNote(MusicTrack track, double position, int note, float duration) {
        const MIDINoteMessage message{1, static_cast<std::uint8_t>(note), 127, 64, duration};
        return MusicTrackNewMIDINoteEvent(track, position, &message);
    }
    static MusicStatus addProgram(MusicTrack track, double position, std::uint8_t program) {
        const MIDIChannelMessage message{0xC1, program, 0};
        return MusicTrackNewMIDIChannelEvent(track, position, &message);
    }
    static MusicStatus addMeta(MusicTrack track, double position, std::uint8_t type,
                               const std::vector<std::uint8_t>& data) {
        const MIDIMetaEvent event{type, data};
        return MusicTrackNewMetaEvent(track, position, &event);
    }
    MusicStatus writeFile(std::int16_t resolution = 480) {
        return MusicSequenceFileCreate(sequence, file, MusicSequenceFileType::midi, kErase, resolution);
    }
    Bytes written(std::int16_t resolution = 480) {
        EXPECT_EQ(writeFile(resolution), kMusicSuccess);
        Bytes bytes;
        for (const char c : textOf(file))
            bytes.push_back(static_cast<unsigned char>(c));
        return bytes;
    }
    /// The events of the last track: without its chunk header and end.
    Bytes lastTrack(std::int16_t resolution = 480) {
        const Bytes bytes = written(resolution);
        std::size_t start = 14;
        for (;;) {
            const auto size = static_cast<std::size_t>(bytes[start + 6] * 256 + bytes[start + 7]);
            if (start + 8 + size == bytes.size())
                return {bytes.begin() + static_cast<std::ptrdiff_t>(start) + 8, bytes.end() - 4};
            start += 8 + size;
        }
    }

    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "out.mid";
    MusicSequence sequence = nullptr;
    MusicTrack tempoTrack = nullptr;
};

} // namespace

TEST_F(MusicSequenceTests, WritesASmallFileByteForByte) {
    const MusicTrack track = newTrack();
    EXPECT_EQ(addMeta(track, 0, 0x03, {'N', 'o'}), kMusicSuccess);
    EXPECT_EQ(addProgram(track, 0, 5), kMusicSuccess);
    EXPECT_EQ(addNote(track, 0.5, 60, 1), kMusicSuccess);
    EXPECT_EQ(MusicTrackNewExtendedTempoEvent(tempoTrack, 0, 120), kMusicSuccess);
    EXPECT_EQ(addMeta(tempoTrack, 4, 0x58, {6, 3, 24, 8}), kMusicSuccess);
    // clang-format off
    EXPECT_EQ(written(0), (Bytes{
        'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 1, 0, 2, 0x01, 0xE0,
        'M', 'T', 'r', 'k', 0, 0, 0, 20,
        0, 0xFF, 0x51, 3, 0x07, 0xA1, 0x20,
        0x8F, 0x00, 0xFF, 0x58, 4, 6, 3, 24, 8,
        0, 0xFF, 0x2F, 0,
        'M', 'T', 'r', 'k', 0, 0, 0, 23,
        0, 0xFF, 0x03, 2, 'N', 'o',
        0, 0xC1, 5,
        0x81, 0x70, 0x91, 60, 127,
        0x83, 0x60, 0x81, 60, 64,
        0, 0xFF, 0x2F, 0}));
    // clang-format on
}

TEST_F(MusicSequenceTests, OrdersTheEventsOfOneTick) {
    const MusicTrack track = newTrack();
    addNote(track, 1, 72, 1);      // begins where the others end
    addNote(track, 0, 60, 1);      // ends at tick 1
    addNote(track, 1, 50, 0);      // no duration: released at once, after its own onset
    addNote(track, 0.9, 64, 0.1F); // ends there as well, after note 60
    addProgram(track, 1, 9);
    addMeta(track, 1, 0x01, {'b'});
    addMeta(track, 1, 0x01, {'a'});
    // clang-format off
    EXPECT_EQ(lastTrack(10), (Bytes{
        0, 0x91, 60, 127,
        9, 0x91, 64, 127,
        1, 0x81, 60, 64,   0, 0x81, 64, 64,
        0, 0xC1, 9,        0, 0xFF, 1, 1, 'b',   0, 0xFF, 1, 1, 'a',
        0, 0x91, 72, 127,  0, 0x91, 50, 127,     0, 0x81, 50, 64,
        10, 0x81, 72, 64}));
    // clang-format on
}

TEST_F(MusicSequenceTests, RoundsPositionsAndEndsToTheNearestTick) {
    const std::tuple<double, float, int, int> cases[] = {
        {0.125, 0.25F, 13, 25},   // halves upwards: 12.5 and 37.5
        {0.124, 0.002F, 12, 1},   // 12.4 to 12.6
        {0.1254, 0.0198F, 13, 2}, // 12.54 to 14.52: the end is rounded, not the duration
        {0.25, 1e-30F, 25, 1},    // any duration lasts a tick
        {0.9999, 0, 100, 0}};
    for (const auto& [position, duration, start, length] : cases) {
        const MusicTrack track = newTrack();
        addNote(track, position, 60, duration);
        EXPECT_EQ(lastTrack(100), (Bytes{start, 0x91, 60, 127, length, 0x81, 60, 64})) << position;
    }
}

TEST_F(MusicSequenceTests, WritesDeltaTimesInTheirShortestForm) {
    const std::pair<int, Bytes> cases[] = {{0x7F, {0x7F, 0xC1, 0}},
                                           {0x80, {0x81, 0x00, 0xC1, 0}},
                                           {0x3FFF, {0xFF, 0x7F, 0xC1, 0}},
                                           {0x4000, {0x81, 0x80, 0x00, 0xC1, 0}},
                                           {0x1FFFFF, {0xFF, 0xFF, 0x7F, 0xC1, 0}},
                                           {0x200000, {0x81, 0x80, 0x80, 0x00, 0xC1, 0}},
                                           {0x0FFFFFFF, {0xFF, 0xFF, 0xFF, 0x7F, 0xC1, 0}}};
    for (const auto& [ticks, bytes] : cases) {
        addProgram(newTrack(), ticks, 0);
        EXPECT_EQ(lastTrack(1), bytes) << ticks;
    }
    const MusicTrack track = newTrack();
    addProgram(track, 0x0FFFFFFF, 0);
    addProgram(track, 0x1FFFFFFE, 0); // only the distance counts
    EXPECT_EQ(writeFile(1), kMusicSuccess);
}

TEST_F(MusicSequenceTests, RefusesWhatTheFormatCannotHoldAndKeepsTheEarlierFile) {
    writeText(file, "earlier");
    for (const double position : {double{0x10000000}, 9.1e15, 1e300}) {
        MusicSequence other = nullptr;
        MusicTrack track = nullptr;
        NewMusicSequence(&other);
        MusicSequenceGetTempoTrack(other, &track);
        EXPECT_EQ(MusicTrackNewExtendedTempoEvent(track, position, 120), kMusicSuccess);
        EXPECT_EQ(MusicSequenceFileCreate(other, file, MusicSequenceFileType::midi, kErase, 1),
                  kMusicTooLarge);
        EXPECT_EQ(DisposeMusicSequence(other), kMusicSuccess);
    }
    EXPECT_EQ(textOf(file), "earlier");

    MusicTrack track = nullptr;
    for (int count = 1; count < 0xFFFF; ++count)
        ASSERT_EQ(MusicSequenceNewTrack(sequence, &track), kMusicSuccess);
    EXPECT_EQ(MusicSequenceNewTrack(sequence, &track), kMusicTooLarge);
}

TEST_F(MusicSequenceTests, RefusesBadArgumentsAndStaysAsItWas) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
    const MusicTrack track = newTrack();
    const Bytes before = written();

    for (const double position : {-1e-9, kInfinity, -kInfinity, kNotANumber}) {
        EXPECT_NE(addNote(track, position, 60, 1), kMusicSuccess);
        EXPECT_NE(addNote(track, 0, 60, static_cast<float>(position)), kMusicSuccess);
        EXPECT_NE(addProgram(track, position, 0), kMusicSuccess);
        EXPECT_NE(addMeta(track, position, 1, {}), kMusicSuccess);
        EXPECT_NE(MusicTrackNewExtendedTempoEvent(tempoTrack, position, 120), kMusicSuccess);
    }
    for (const double tempo : {0.0, -120.0, kInfinity, kNotANumber, 3.576, 1.3e8})
        EXPECT_NE(MusicTrackNewExtendedTempoEvent(tempoTrack, 0, tempo), kMusicSuccess) << tempo;
    const MIDINoteMessage notes[] = {
        {16, 60, 1, 1, 1}, {0, 128, 1, 1, 1}, {0, 60, 128, 1, 1}, {0, 60, 1, 128, 1}};
    for (const auto& note : notes)
        EXPECT_NE(MusicTrackNewMIDINoteEvent(track, 0, &note), kMusicSuccess);
    const MIDIChannelMessage messages[] = {{0x7F, 0, 0}, {0xF0, 0, 0}, {0xC0, 128, 0}, {0xB0, 0, 128}};
    for (const auto& message : messages)
        EXPECT_NE(MusicTrackNewMIDIChannelEvent(track, 0, &message), kMusicSuccess);
    EXPECT_NE(MusicTrackNewExtendedTempoEvent(track, 0, 120), kMusicSuccess); // not the tempo track
    EXPECT_NE(addMeta(track, 0, 0x2F, {}), kMusicSuccess);                    // would cut the track short
    for (const MusicStatus status :
         {addMeta(track, 0, 0x80, {}), NewMusicSequence(nullptr), DisposeMusicSequence(nullptr),
          MusicSequenceGetTempoTrack(sequence, nullptr), MusicSequenceNewTrack(nullptr, nullptr),
          MusicTrackNewMetaEvent(track, 0, nullptr), MusicTrackNewMIDIChannelEvent(track, 0, nullptr),
          addNote(nullptr, 0, 60, 1), writeFile(-1)})
        EXPECT_NE(status, kMusicSuccess);
    EXPECT_EQ(written(), before);
}

TEST_F(MusicSequenceTests, AcceptsTheSlowestAndTheFastestTempo) {
    EXPECT_EQ(MusicTrackNewExtendedTempoEvent(tempoTrack, 0, 60e6 / 0xFFFFFF), kMusicSuccess);
    EXPECT_EQ(MusicTrackNewExtendedTempoEvent(tempoTrack, 1, 60e6), kMusicSuccess);
    EXPECT_EQ(lastTrack(1), (Bytes{0, 0xFF, 0x51, 3, 0xFF, 0xFF, 0xFF, 1, 0xFF, 0x51, 3, 0, 0, 1}));
}

TEST_F(MusicSequenceTests, ReplacesAFileOnlyWhenAskedAndOnlyWhenWhole) {
    const auto create = [&](const std::filesystem::path& path, unsigned flags) {
        return MusicSequenceFileCreate(sequence, path, MusicSequenceFileType::midi, flags, 480);
    };
    EXPECT_EQ(create(file, 0), kMusicSuccess);
    writeText(file, "earlier");
    EXPECT_EQ(create(file, 0), kMusicFileError);
    EXPECT_EQ(textOf(file), "earlier");
    EXPECT_EQ(create(file, kErase), kMusicSuccess);
    EXPECT_EQ(textOf(file).substr(0, 4), "MThd");
    EXPECT_EQ(create(folder.path() / "missing" / "out.mid", kErase), kMusicFileError);
    EXPECT_EQ(folder.fileNames(), std::set<std::string>{"out.mid"});
}

TEST_F(MusicSequenceTests, AnIndependentReaderFindsEveryNote) {
    if (std::system("command -v midicsv >/dev/null") != 0)
        GTEST_SKIP() << "midicsv is not installed";
    using Event = std::pair<std::string, long>;
    std::mt19937 random(6);
    std::map<int, std::vector<Event>> expected, found; // by keys, in order
    const MusicTrack track = newTrack();
    for (int i = 0; i < 3000; ++i) {
        const int key = static_cast<int>(random() % 128);
        auto& events = expected[key];
        const long start = (events.empty() ? 0 : events.back().second) + static_cast<long>(random() % 3000);
        const long length = 1 + static_cast<long>(random() % 2000);
        const double jitter = (static_cast<double>(random() % 9) - 4) / 10; // less than half a tick
        ASSERT_EQ(addNote(track, std::abs(static_cast<double>(start) + jitter) / 480, key,
                          static_cast<float>(length) / 480),
                  kMusicSuccess);
        events.insert(events.end(), {{"Note_on_c", start}, {"Note_off_c", start + length}});
    }
    ASSERT_EQ(writeFile(), kMusicSuccess);

    const auto csv = folder.path() / "out.csv";
    ASSERT_EQ(std::system(("midicsv " + file.string() + " > " + csv.string()).c_str()), 0);
    std::istringstream lines(textOf(csv));
    int header = 0;
    for (std::string line; std::getline(lines, line);) {
        long tick = 0;
        int key = 0;
        char kind[32] = "";
        if (std::sscanf(line.c_str(), "2, %ld, %31[^,], 1, %d", &tick, kind, &key) == 3)
            found[key].emplace_back(kind, tick);
        header += line == "0, 0, Header, 1, 2, 480";
    }
    EXPECT_EQ(header, 1);
    EXPECT_EQ(found, expected);
}

} // namespace tarn
