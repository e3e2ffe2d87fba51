#include "Programs/demo/DemoSong.h"

#include "KELPMusic/KELPChord.h"
#include "Platform/FatalError.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <random>
#include <sndfile.h>

namespace tarn::demo {

namespace {

constexpr double kTwoPi = 2 * std::numbers::pi;

/// Adds voices to the song's samples, from a frame on and as far as the samples reach.
class Band {
public:
    explicit Band(const Song& song)
        : mRate(song.sampleRate), mSamples(static_cast<std::size_t>(song.frameCount())) {}

    /// A plucked tone of eight partials, the higher ones fading sooner; damped at the end of its length.
    void pluck(std::int64_t start, double seconds, double frequency, double level) {
        for (int partial = 1; partial <= 8 && partial * frequency < 0.45 * mRate; ++partial) {
            const double step = kTwoPi * partial * frequency / mRate;
            const double fade = 0.8 + 0.5 * partial;
            add(start, seconds, [&](double time, double frame) {
                const double release = std::min(1.0, (seconds - time) / 0.03);
                return level / partial * release * std::exp(-fade * time) * std::sin(step * frame);
            });
        }
    }
    /// A sine that falls from 150 to 50 Hz.
    void kick(std::int64_t start) {
        add(start, 0.25, [](double time, double) {
            const double turns = 50 * time + 100 * 0.03 * (1 - std::exp(-time / 0.03));
            return 0.6 * std::exp(-14 * time) * std::sin(kTwoPi * turns);
        });
    }
    void snare(std::int64_t start) {
        add(start, 0.2, [&](double time, double) {
            return std::exp(-22 * time) * (0.2 * noise() + 0.15 * std::sin(kTwoPi * 190 * time));
        });
    }
    /// Noise without its low frequencies.
    void hiHat(std::int64_t start) {
        double before = 0;
        add(start, 0.06, [&](double time, double) {
            const double now = noise();
            const double difference = now - before;
            before = now;
            return 0.06 * std::exp(-60 * time) * difference;
        });
    }

    /// The samples, scaled to a peak of 0.8.
    std::vector<float> finish() && {
        float peak = 0;
        for (const float sample : mSamples)
            peak = std::max(peak, std::abs(sample));
        for (float& sample : mSamples)
            sample *= peak > 0 ? 0.8f / peak : 0;
        return std::move(mSamples);
    }

private:
    template <typename Voice>
    void add(std::int64_t start, double seconds, const Voice& voice) {
        const auto first = static_cast<std::size_t>(start);
        const auto length = static_cast<std::size_t>(seconds * mRate);
        for (std::size_t i = 0; i < length && first + i < mSamples.size(); ++i) {
            const auto frame = static_cast<double>(i);
            const double attack = std::min(1.0, frame / (0.003 * mRate));
            mSamples[first + i] += static_cast<float>(attack * voice(frame / mRate, frame));
        }
    }
    /// From -1 to 1.
    double noise() { return static_cast<double>(mGenerator()) / 2147483647.5 - 1; }

    double mRate;
    std::vector<float> mSamples;
    std::mt19937 mGenerator{1};
};

} // namespace

std::int64_t Song::frameOfBeat(std::int64_t beat) const {
    return std::llround((leadIn + static_cast<double>(beat) * 60 / tempo) * sampleRate);
}

std::int64_t Song::frameCount() const {
    return frameOfBeat(static_cast<std::int64_t>(chords.size()) * beatsPerBar) +
           std::llround(leadIn * sampleRate);
}

std::vector<float> render(const Song& song) {
    Band band(song);
    const double beatSeconds = 60 / song.tempo;
    std::int64_t beat = 0;
    for (const std::string& name : song.chords) {
        const KELPChordRef chord = KELPChord::chordWithString(name);
        precondition(chord != nullptr, "The song has a chord that cannot be read");
        const int bass = chord->addedBass().value_or(chord->root()).value();
        for (int inBar = 0; inBar < song.beatsPerBar; ++inBar, ++beat) {
            const std::int64_t start = song.frameOfBeat(beat);
            // The bass plays the chord's lowest note where the bar begins and in its middle.
            if (inBar == 0 || (song.beatsPerBar == 4 && inBar == 2)) {
                const double length = beatSeconds * (song.beatsPerBar == 4 ? 2 : song.beatsPerBar);
                band.pluck(start, length, frequencyOfMIDINote(28 + (bass + 8) % 12, song.standardPitch), 0.5);
            }
            // Close to middle C, so that chords move little.
            for (int value = 0; value < 12; ++value) {
                if (chord->pitchClasses()[static_cast<std::size_t>(value)])
                    band.pluck(start, beatSeconds,
                               frequencyOfMIDINote(55 + (value + 5) % 12, song.standardPitch),
                               inBar == 0 ? 0.22 : 0.16);
            }
            if (inBar % 2 == 0 && (inBar == 0 || song.beatsPerBar == 4))
                band.kick(start);
            else
                band.snare(start);
            for (int part = 0; part < song.partsPerBeat; ++part)
                band.hiHat(start + (song.frameOfBeat(beat + 1) - start) * part / song.partsPerBeat);
        }
    }
    return std::move(band).finish();
}

bool writeRecording(const std::filesystem::path& file, std::span<const float> samples, int sampleRate,
                    int channels) {
    static const std::map<std::string, int> formats{
        {".wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16},   {".aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16},
        {".flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16}, {".ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS},
        {".opus", SF_FORMAT_OGG | SF_FORMAT_OPUS},    {".mp3", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III}};
    const auto format = formats.find(file.extension().string());
    if (format == formats.end())
        return false;
    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = channels;
    info.format = format->second;
    SNDFILE* const output = sf_open(file.string().c_str(), SFM_WRITE, &info);
    if (!output)
        return false;
    constexpr std::size_t blockLength = 4096;
    std::vector<float> interleaved;
    bool written = true;
    for (std::size_t first = 0; first < samples.size() && written; first += blockLength) {
        const auto block = samples.subspan(first, std::min(blockLength, samples.size() - first));
        interleaved.clear();
        for (const float sample : block)
            interleaved.insert(interleaved.end(), static_cast<std::size_t>(channels), sample);
        const auto frames = static_cast<sf_count_t>(block.size());
        written = sf_writef_float(output, interleaved.data(), frames) == frames;
    }
    return sf_close(output) == 0 && written;
}

} // namespace tarn::demo
