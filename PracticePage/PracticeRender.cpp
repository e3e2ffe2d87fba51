#include "PracticePage/PracticeRender.h"

#include "PracticePage/CountIn.h"
#include "PracticePage/SoundFormat.h"
#include "PracticePage/SoundStream.h"
#include "Song/CountedBeats.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace tarn {
namespace {

/// A click, and the frame of the output at which it begins.
struct Click {
    std::int64_t frame = 0;
    bool isAccented = false;
};

constexpr double kClickSeconds = 0.03;

std::vector<Click> clicksOf(const Song& song, const PracticeRender& render, int rate) {
    std::vector<Click> clicks;
    const double framesPerSongFrame = rate / song.recording.sampleRate / render.change.speed;
    const auto countIn = render.countInBars > 0 ? countInBefore(song, render.from, render.countInBars)
                                                : std::vector<CountInBeat>();
    clicks.reserve(countIn.size());
    const double lead = countIn.empty() ? 0 : countIn.front().before / render.change.speed;
    for (const CountInBeat& beat : countIn)
        clicks.push_back({std::llround((lead - beat.before / render.change.speed) * rate), beat.isDownbeat});
    if (!render.hasClick)
        return clicks;
    const BeatGrid grid = countedBeats(song);
    for (std::size_t i = grid.firstAtOrAfter(render.from); i < grid.size() && grid.locations()[i] < render.to;
         ++i) {
        const auto place = grid.barBeat(i);
        clicks.push_back({std::llround(lead * rate + static_cast<double>(grid.locations()[i] - render.from) *
                                                         framesPerSongFrame),
                          place && place->beat == 1});
    }
    return clicks;
}

/// Writes samples with the clicks that fall onto them.
class ClickedWriter {
public:
    ClickedWriter(std::ostream& out, int rate, int channelCount, std::vector<Click> clicks)
        : mOut(out), mRate(rate), mChannels(static_cast<std::size_t>(channelCount)),
          mClicks(std::move(clicks)) {}

    void write(std::vector<std::int16_t> samples) {
        const auto frames = static_cast<std::int64_t>(samples.size() / mChannels);
        const auto length = static_cast<std::int64_t>(kClickSeconds * mRate);
        for (const Click& click : mClicks) {
            for (std::int64_t i = std::max(click.frame, mFrame);
                 i < std::min(click.frame + length, mFrame + frames); ++i)
                add(samples, static_cast<std::size_t>(i - mFrame), clickSample(click, i - click.frame));
        }
        mFrame += frames;
        std::string bytes;
        bytes.reserve(2 * samples.size());
        for (const std::int16_t sample : samples) {
            const auto bits = static_cast<std::uint16_t>(sample);
            bytes += {static_cast<char>(bits & 0xFF), static_cast<char>(bits >> 8)};
        }
        mOut.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

private:
    void add(std::vector<std::int16_t>& samples, std::size_t frame, double value) const {
        for (std::size_t channel = 0; channel < mChannels; ++channel) {
            auto& sample = samples[frame * mChannels + channel];
            sample = static_cast<std::int16_t>(std::clamp(sample + value * 32767, -32768.0, 32767.0));
        }
    }
    [[nodiscard]] double clickSample(const Click& click, std::int64_t at) const {
        const double seconds = static_cast<double>(at) / mRate;
        return 0.6 * std::exp(-seconds / 0.006) *
               std::cos(2 * std::numbers::pi * (click.isAccented ? 1760 : 1175) * seconds);
    }

    std::ostream& mOut;
    const int mRate;
    const std::size_t mChannels;
    const std::vector<Click> mClicks;
    std::int64_t mFrame = 0;
};

void writeNumber(std::string& header, std::uint64_t number, int bytes) {
    for (int i = 0; i < bytes; ++i)
        header += static_cast<char>(number >> (8 * i) & 0xFF);
}

std::string wavHeader(std::uint64_t frames, int rate, int channels) {
    constexpr std::uint64_t kHeaderSize = 36;
    const std::uint64_t dataSize = frames * 2 * static_cast<std::uint64_t>(channels);
    if (dataSize > 0xFFFFFFFFu - kHeaderSize)
        throw std::runtime_error("the sound would be longer than a WAV file can hold; name fewer bars");
    std::string header = "RIFF";
    writeNumber(header, kHeaderSize + dataSize, 4);
    header += "WAVEfmt ";
    writeNumber(header, 16, 4);
    writeNumber(header, 1, 2); // PCM
    writeNumber(header, static_cast<std::uint64_t>(channels), 2);
    writeNumber(header, static_cast<std::uint64_t>(rate), 4);
    writeNumber(header, static_cast<std::uint64_t>(rate) * 2 * static_cast<std::uint64_t>(channels), 4);
    writeNumber(header, 2 * static_cast<std::uint64_t>(channels), 2);
    writeNumber(header, 16, 2); // bits
    header += "data";
    writeNumber(header, dataSize, 4);
    return header;
}

} // namespace

std::int64_t writePracticeSound(std::ostream& out, const Song& song, std::unique_ptr<AudioReader> reader,
                                const PracticeRender& render) {
    const int rate = soundRateFor(song.recording.sampleRate);
    const int channels = reader->outputChannelCount();
    const auto clicks = clicksOf(song, render, rate);
    const double countInSeconds =
        render.countInBars > 0 ? countInBefore(song, render.from, render.countInBars).front().before : 0;
    const auto lead = std::llround(countInSeconds / render.change.speed * rate);
    const auto length = std::llround(song.seconds(render.to - render.from) / render.change.speed * rate);
    const std::int64_t total = lead + length;
    const auto header = wavHeader(static_cast<std::uint64_t>(total), rate, channels);
    out.write(header.data(), static_cast<std::streamsize>(header.size()));
    ClickedWriter writer(out, rate, channels, clicks);
    writer.write(std::vector<std::int16_t>(static_cast<std::size_t>(lead * channels)));
    SoundStream stream(std::move(reader), {render.from, {}, render.to}, render.change, rate);
    std::int64_t left = length;
    for (std::int64_t number = 0; left > 0; ++number) {
        const SoundBlock* const block = stream.block(number);
        auto samples = block->samples;
        // The file is as long as its header says, whatever the recording holds.
        const auto frames =
            block->isLast ? left
                          : std::min<std::int64_t>(left, static_cast<std::int64_t>(stream.blockFrames()));
        samples.resize(static_cast<std::size_t>(frames * channels));
        writer.write(std::move(samples));
        left -= frames;
    }
    return total;
}

} // namespace tarn
