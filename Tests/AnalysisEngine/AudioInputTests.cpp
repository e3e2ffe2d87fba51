#include "AnalysisEngine/AnalysisEngine.h"
#include "AnalysisEngine/AudioReader.h"
#include "Signals.h"
#include "Song/SongAnalysis.h"
#include "Tests/Platform/TemporaryFolder.h"

#include <atomic>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>

namespace tarn {

namespace {

/// 20 seconds of chords on beats, at 44.1 kHz in stereo.
Samples music() {
    Samples mono;
    const Synthesizer piano;
    const std::vector<int> chords[] = {
        {48, 60, 64, 67}, {53, 60, 65, 69}, {55, 59, 62, 67}, {48, 60, 64, 67}};
    for (int beat = 0; beat < 40; ++beat)
        piano.play(mono, 0.5 * beat, 0.5, chords[beat / 4 % 4], beat % 4 == 0 ? 0.15 : 0.08);
    Samples stereo;
    for (const float sample : mono)
        stereo.insert(stereo.end(), {sample, sample, sample, sample}); // each twice, on both channels
    return stereo;
}

class AudioInputTests : public ::testing::Test {
protected:
    AudioInputTests() {
        writeAudio(mWave, mMusic, kRate, 2);
        registerAnalysisEngine();
    }

    /// The recording as another file, made by ffmpeg.
    std::filesystem::path encoded(const std::string& name, const std::string& options = "") {
        const auto file = mFolder.path() / name;
        const std::string command =
            "ffmpeg -nostdin -v error -y -i '" + mWave.string() + "' " + options + " '" + file.string() + "'";
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        return file;
    }
    static Samples read(AudioReader& reader, std::size_t count) {
        Samples samples;
        for (auto block = reader.nextBlock(); !block.empty() && samples.size() < count;
             block = reader.nextBlock())
            samples.insert(samples.end(), block.begin(), block.end());
        samples.resize(std::min(samples.size(), count));
        return samples;
    }

    [[nodiscard]] Samples leftChannel() const {
        Samples left;
        for (std::size_t i = 0; i < mMusic.size(); i += 2)
            left.push_back(mMusic[i]);
        return left;
    }
    /// The power of the difference over that of the expected sound, where one of them may be late by some
    /// frames.
    static double differenceAtBestDelay(const Samples& expected, const Samples& heard, std::ptrdiff_t most) {
        double least = std::numeric_limits<double>::infinity();
        for (std::ptrdiff_t delay = -most; delay <= most; ++delay) {
            double power = 0, error = 0;
            for (std::ptrdiff_t i = most; i < most + kRate / 4; ++i) {
                const float wanted = expected.at(static_cast<std::size_t>(i));
                const float got = heard.at(static_cast<std::size_t>(i + delay));
                power += wanted * wanted;
                error += (got - wanted) * (got - wanted);
            }
            least = std::min(least, error / power);
        }
        return least;
    }

    static constexpr int kRate = 2 * kAnalysisRate;
    TemporaryFolder mFolder;
    std::filesystem::path mWave = mFolder.path() / "song.wav";
    Samples mMusic = music();
};

/// Counts the frames that are read of it.
class CountingSource : public AudioSource {
public:
    explicit CountingSource(std::shared_ptr<AudioSource> source) : mSource(std::move(source)) {}
    std::unique_ptr<AudioStream> open() override { return std::make_unique<Stream>(mSource->open(), frames); }
    std::atomic<std::int64_t> frames = 0;

private:
    struct Stream : AudioStream {
        Stream(std::unique_ptr<AudioStream> opened, std::atomic<std::int64_t>& count)
            : stream(std::move(opened)), frames(count) {}
        int sampleRate() const override { return stream->sampleRate(); }
        int channelCount() const override { return stream->channelCount(); }
        std::optional<std::int64_t> frameCount() const override { return stream->frameCount(); }
        std::size_t read(std::span<float> samples) override {
            const std::size_t count = stream->read(samples);
            frames += static_cast<std::int64_t>(count);
            return count;
        }
        bool seek(std::int64_t frame) override { return stream->seek(frame); }
        std::unique_ptr<AudioStream> stream;
        std::atomic<std::int64_t>& frames;
    };
    std::shared_ptr<AudioSource> mSource;
};

} // namespace

TEST_F(AudioInputTests, HearsFilmsAndWhatLibsndfileDoesNotRead) {
    const auto frames = static_cast<std::int64_t>(mMusic.size() / 2);
    for (const auto& [name, options] : {std::pair("song.m4a", "-c:a aac -b:a 128k"),
                                        {"film.mp4", "-f lavfi -i testsrc=d=2:s=64x64 -c:a aac -c:v mpeg4"},
                                        {"song.wma", "-c:a wmav2"},
                                        {"film.mkv", "-c:a flac"},
                                        {"film.avi", "-c:a pcm_s16le"}}) {
        SCOPED_TRACE(name);
        std::string refusal;
        const auto reader = AudioReader::open(encoded(name, options), &refusal);
        ASSERT_TRUE(reader) << refusal;
        EXPECT_EQ(reader->sampleRate(), kRate);
        EXPECT_EQ(reader->channelCount(), 2);
        EXPECT_FALSE(reader->declaresLength());
        const Samples heard = read(*reader, mMusic.size());
        EXPECT_NEAR(static_cast<double>(heard.size()), static_cast<double>(frames), 0.12 * kRate);
        // The left channel's; Windows Media begins with what its decoder needs to settle.
        const std::ptrdiff_t longestDelay = std::string_view(name) == "song.wma" ? 2048 : 0;
        EXPECT_LT(differenceAtBestDelay(leftChannel(), heard, longestDelay), 0.02)
            << "the sound, at its place";
    }
}

TEST_F(AudioInputTests, GoesOnAtTheFrameThatItSeeks) {
    for (const auto& file : {mWave, encoded("film.mkv", "-c:a flac"), encoded("song.m4a", "-c:a aac")}) {
        SCOPED_TRACE(file.string());
        const auto reader = AudioReader::open(file);
        ASSERT_TRUE(reader);
        const Samples all = read(*reader, 20 * kRate);
        for (const std::int64_t frame : {123'457, 10, 0, 14 * kRate + 1}) {
            ASSERT_TRUE(reader->seek(frame));
            EXPECT_EQ(reader->framesRead(), frame);
            const Samples rest = read(*reader, 4 * kRate);
            ASSERT_EQ(rest.size(), 4u * kRate);
            // Matroska counts milliseconds.
            const Samples there(all.begin() + frame, all.begin() + frame + 4 * kRate);
            EXPECT_LT(differenceAtBestDelay(there, rest, file.extension() == ".mkv" ? kRate / 1000 : 0), 0.03)
                << frame;
        }
    }
}

TEST_F(AudioInputTests, SaysWhyThereIsNoSound) {
    const auto refusalOf = [](const std::filesystem::path& file) {
        std::string refusal;
        EXPECT_FALSE(AudioReader::open(file, &refusal));
        return refusal;
    };
    const auto film = encoded("film.mkv");
    const auto mute = encoded("mute.mp4", "-f lavfi -i testsrc=d=1:s=64x64 -map 1:v -c:v mpeg4");
    EXPECT_EQ(refusalOf(mute), "ffmpeg finds no sound in it");
    // A list of files is no container, whatever it is called; nothing of it is opened.
    writeText(mFolder.path() / "list.mp4", "ffconcat version 1.0\nfile '" + mWave.string() + "'\n");
    EXPECT_EQ(refusalOf(mFolder.path() / "list.mp4"), "no audio can be decoded from it");
    writeText(mFolder.path() / "garbage.mkv", "\x1A\x45\xDF\xA3 and no more");
    EXPECT_EQ(refusalOf(mFolder.path() / "garbage.mkv"), "ffmpeg finds no sound in it");
    const std::string path = std::getenv("PATH");
    ::setenv("PATH", mFolder.path().c_str(), 1);
    EXPECT_EQ(refusalOf(film), "such files are read by the program ffmpeg, which is not installed");
    ::setenv("PATH", path.c_str(), 1);
}

TEST_F(AudioInputTests, TakesTitleAndArtistFromTheTags) {
    const std::string tags = "-metadata title=' Für\nElise ' -metadata artist='L. v. B.' ";
    for (const auto* name : {"song.mp3", "song.m4a", "song.flac", "song.ogg"}) {
        SCOPED_TRACE(name);
        const auto song = newSong(encoded(name, tags));
        EXPECT_EQ(song->properties.title, "Für Elise");
        EXPECT_EQ(song->properties.artist, "L. v. B.");
    }
    EXPECT_EQ(newSong(mWave)->properties.title, "");
}

TEST_F(AudioInputTests, AnalysesAnApplicationsSoundLikeAFileInOnePass) {
    const auto source = std::make_shared<CountingSource>(audioInMemory(mMusic, kRate, 2));
    const auto ofMemory = analyzeRecording(source);
    const auto ofFile = analyzeRecording(mWave);
    const auto frames = static_cast<std::int64_t>(mMusic.size() / 2);
    EXPECT_LT(source->frames, 2 * frames + 10 * std::int64_t{AudioReader::kBlockLength})
        << "once for the digest and once for the analysis";
    EXPECT_FALSE(ofMemory->hasRecording());
    EXPECT_EQ(ofMemory->recording.sampleRate, kRate);
    EXPECT_EQ(ofMemory->recording.frameCount, frames);
    EXPECT_EQ(ofMemory->recording.digest.size(), 64u);
    EXPECT_EQ(ofMemory->recording.envelope, ofFile->recording.envelope);
    EXPECT_EQ(ofFile->recording.frameCount, frames);
    ASSERT_GT(ofFile->notes->beatEntries().size(), 30u);
    ASSERT_EQ(ofMemory->notes->beatEntries().size(), ofFile->notes->beatEntries().size());
    for (std::size_t i = 0; i < ofFile->notes->beatEntries().size(); ++i)
        EXPECT_EQ(ofMemory->notes->beatEntries()[i]->location(), ofFile->notes->beatEntries()[i]->location());
    const auto document = mFolder.path() / "song.tarn";
    Song::save(ofMemory, document);
    EXPECT_EQ(Song::open(document)->recording.frameCount, frames);
}

TEST_F(AudioInputTests, TellsHowSureItIsOfWhatItFound) {
    const auto song = analyzeRecording(mWave);
    EXPECT_GT(song->facts.overall.at("beat"), 0.5);
    EXPECT_GT(song->facts.overall.at("timeSignature"), 0.5);
    const auto chords = song->notes->chordEntries();
    ASSERT_FALSE(chords.empty());
    for (const auto& chord : chords) {
        EXPECT_GT(song->facts.chords.at(chord->eventId()), 0.2) << chord->location();
        EXPECT_LE(song->facts.chords.at(chord->eventId()), 1.0) << chord->location();
    }
    // What the user has entered is no finding of the analysis.
    const auto document = mFolder.path() / "song.tarn";
    song->notes->removeChordEntriesInArray(song->notes->chordEntries());
    song->facts = {};
    Song::save(song, document);
    const auto completed = analyzeIntoDocument(mWave, document).song;
    EXPECT_FALSE(completed->facts.overall.contains("beat"));
    EXPECT_EQ(completed->facts.chords.size(), completed->notes->chordEntries().size());
}

} // namespace tarn
