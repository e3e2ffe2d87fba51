#include "AnalysisEngine/AudioReader.h"

#include "AnalysisEngine/FFmpegStream.h"
#include "AnalysisEngine/SoundFileStream.h"
#include "Platform/FatalError.h"
#include "Platform/FileManager.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <soxr.h>
#include <string>
#include <utility>

namespace tarn {

namespace {

constexpr int kMinimumRate = 4000;
constexpr int kMaximumRate = 768000;
constexpr int kMaximumChannels = 64;
constexpr float kMaximumMagnitude = 65536;
constexpr const char* kNoAudio = "no audio can be decoded from it";
constexpr const char* kNotOrdinary = "it is not an ordinary file";

/// Frames in the longest recording of that rate.
std::int64_t longestAt(int sampleRate) {
    return std::int64_t{AudioReader::kMaximumHours} * 3600 * sampleRate;
}

float harmless(float sample) {
    return std::isfinite(sample) ? std::clamp(sample, -kMaximumMagnitude, kMaximumMagnitude) : 0.0f;
}

/// Null with a reason where nothing can be read. `why` is never null.
std::unique_ptr<AudioStream> streamOf(const std::filesystem::path& path, std::string* why) {
    *why = kNoAudio;
    if (const auto source = AudioSourcePath::sourceAt(path))
        return source->open();
    // Opening a pipe would wait for a writer, and a device may have no end; both cannot be read again.
    if (Error error; !FileManager::isReadableFile(path, &error)) {
        if (error.code == ENOTSUP)
            *why = kNotOrdinary;
        return nullptr;
    }
    auto stream = openSoundFile(path);
    return stream || !isForFFmpeg(path) ? std::move(stream) : openWithFFmpeg(path, why);
}

} // namespace

std::unique_ptr<AudioReader> AudioReader::open(const std::filesystem::path& path, std::string* refusal,
                                               AudioChannels channels) {
    const auto refuse = [refusal](std::string reason) {
        if (refusal)
            *refusal = std::move(reason);
        return nullptr;
    };
    std::string why;
    auto stream = streamOf(path, &why);
    if (!stream)
        return refuse(why);
    if (stream->sampleRate() < kMinimumRate || stream->sampleRate() > kMaximumRate)
        return refuse("a rate of " + std::to_string(stream->sampleRate()) +
                      " frames per second is not supported");
    if (stream->channelCount() < 1 || stream->channelCount() > kMaximumChannels)
        return refuse(std::to_string(stream->channelCount()) + " channels are not supported");
    if (stream->frameCount().value_or(0) > longestAt(stream->sampleRate()))
        return refuse("it is longer than " + std::to_string(kMaximumHours) + " hours");
    std::unique_ptr<AudioReader> reader(new AudioReader(std::move(stream), channels));
    if (reader->mAhead.empty())
        return refuse(kNoAudio);
    return reader;
}

AudioReader::AudioReader(std::unique_ptr<AudioStream> stream, AudioChannels channels)
    : mStream(std::move(stream)), mSampleRate(mStream->sampleRate()), mChannelCount(mStream->channelCount()),
      mOutputChannelCount(channels == AudioChannels::mean ? 1 : std::min(mChannelCount, 2)),
      mDeclaresLength(mStream->frameCount().has_value()),
      mFrameCount(std::max<std::int64_t>(mStream->frameCount().value_or(longestAt(mSampleRate)), 1)),
      mInterleaved(kBlockLength * static_cast<std::size_t>(mChannelCount)) {
    decodeBlock();
}

AudioReader::~AudioReader() = default;

void AudioReader::decodeBlock() {
    const std::int64_t left = longestAt(mSampleRate) - mFramesRead;
    const auto wanted = std::clamp<std::int64_t>(left, 0, kBlockLength);
    const auto channels = static_cast<std::size_t>(mChannelCount);
    const auto room = static_cast<std::size_t>(wanted);
    const auto frames = std::min(mStream->read(std::span(mInterleaved).first(room * channels)), room);
    const auto outputs = static_cast<std::size_t>(mOutputChannelCount);
    mAhead.resize(frames * outputs);
    if (outputs == channels) {
        std::transform(mInterleaved.begin(),
                       mInterleaved.begin() + static_cast<std::ptrdiff_t>(mAhead.size()), mAhead.begin(),
                       harmless);
        return;
    }
    const float share = 1.0f / static_cast<float>(channels);
    for (std::size_t frame = 0; frame < frames; ++frame) {
        float sum = 0;
        for (std::size_t channel = 0; channel < channels; ++channel)
            sum += harmless(mInterleaved[frame * channels + channel]);
        std::fill_n(mAhead.begin() + static_cast<std::ptrdiff_t>(frame * outputs), outputs, sum * share);
    }
}

bool AudioReader::seek(std::int64_t frame) {
    mAhead.clear();
    mFramesRead = frame;
    if (frame < 0 || frame > mFrameCount || !mStream->seek(frame))
        return false;
    decodeBlock();
    return true;
}

std::span<const float> AudioReader::nextBlock() {
    mCurrent.swap(mAhead);
    mFramesRead += static_cast<std::int64_t>(mCurrent.size()) / mOutputChannelCount;
    if (mCurrent.empty())
        mAhead.clear();
    else
        decodeBlock();
    return mCurrent;
}

double AudioReader::fractionRead() const {
    return std::min(1.0, static_cast<double>(mFramesRead) / static_cast<double>(mFrameCount));
}

struct AnalysisResampler::Converter {
    soxr_t state;

    explicit Converter(int inputRate) {
        const soxr_io_spec_t floats = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
        const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_MQ, 0);
        soxr_error_t error = nullptr;
        state = soxr_create(inputRate, kAnalysisRate, 1, &error, &floats, &quality, nullptr);
        if (!state || error)
            fatalError("The resampler could not be created.");
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    ~Converter() { soxr_delete(state); }
};

AnalysisResampler::AnalysisResampler(int inputRate) {
    precondition(inputRate > 0, "The input rate is not positive.");
    if (inputRate != kAnalysisRate)
        mConverter = std::make_unique<Converter>(inputRate);
}

AnalysisResampler::~AnalysisResampler() = default;

std::span<const float> AnalysisResampler::process(std::span<const float> block, bool last) {
    if (!mConverter) {
        mOutput.assign(block.begin(), block.end());
        return mOutput;
    }
    mOutput.clear();
    const auto convert = [this](const float* input, std::size_t length) {
        constexpr std::size_t room = AudioReader::kBlockLength;
        const std::size_t filled = mOutput.size();
        mOutput.resize(filled + room);
        std::size_t consumed = 0;
        std::size_t produced = 0;
        if (soxr_process(mConverter->state, input, length, &consumed, mOutput.data() + filled, room,
                         &produced))
            fatalError("The resampler failed.");
        mOutput.resize(filled + produced);
        return std::pair(consumed, produced);
    };
    for (std::size_t done = 0; done < block.size();) {
        const auto [consumed, produced] = convert(block.data() + done, block.size() - done);
        if (consumed == 0 && produced == 0)
            fatalError("The resampler stalled.");
        done += consumed;
    }
    while (last && convert(nullptr, 0).second > 0) {
    }
    return mOutput;
}

} // namespace tarn
