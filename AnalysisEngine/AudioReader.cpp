#include "AnalysisEngine/AudioReader.h"

#include "Platform/FatalError.h"
#include "Platform/FileManager.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <sndfile.h>
#include <soxr.h>
#include <string>

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

} // namespace

struct AudioReader::Decoder {
    SNDFILE* file;

    explicit Decoder(SNDFILE* opened) : file(opened) {}
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
    ~Decoder() { sf_close(file); }
};

std::unique_ptr<AudioReader> AudioReader::open(const std::filesystem::path& path, std::string* refusal,
                                               AudioChannels channels) {
    const auto refuse = [refusal](std::string reason) {
        if (refusal)
            *refusal = std::move(reason);
        return nullptr;
    };
    // Opening a pipe would wait for a writer, and a device may have no end; both cannot be read again.
    if (Error error; !FileManager::isReadableFile(path, &error))
        return refuse(error.code == ENOTSUP ? kNotOrdinary : kNoAudio);
    SF_INFO info{};
    SNDFILE* file = sf_open(path.string().c_str(), SFM_READ, &info);
    if (!file)
        return refuse(kNoAudio);
    auto decoder = std::make_unique<Decoder>(file);
    if (info.samplerate < kMinimumRate || info.samplerate > kMaximumRate)
        return refuse("a rate of " + std::to_string(info.samplerate) + " frames per second is not supported");
    if (info.channels < 1 || info.channels > kMaximumChannels)
        return refuse(std::to_string(info.channels) + " channels are not supported");
    constexpr sf_count_t kUnknownLength = SF_COUNT_MAX;
    const std::int64_t longest = longestAt(info.samplerate);
    const bool declaresLength = info.frames != kUnknownLength;
    if (info.frames > longest && declaresLength)
        return refuse("it is longer than " + std::to_string(kMaximumHours) + " hours");
    std::unique_ptr<AudioReader> reader(new AudioReader(std::move(decoder), info.samplerate, info.channels,
                                                        channels, declaresLength,
                                                        std::clamp<std::int64_t>(info.frames, 1, longest)));
    if (reader->mAhead.empty())
        return refuse(kNoAudio);
    return reader;
}

AudioReader::AudioReader(std::unique_ptr<Decoder> decoder, int sampleRate, int channelCount,
                         AudioChannels channels, bool declaresLength, std::int64_t frameCount)
    : mDecoder(std::move(decoder)), mSampleRate(sampleRate), mChannelCount(channelCount),
      mOutputChannelCount(channels == AudioChannels::mean ? 1 : std::min(channelCount, 2)),
      mDeclaresLength(declaresLength), mFrameCount(frameCount),
      mInterleaved(kBlockLength * static_cast<std::size_t>(channelCount)) {
    decodeBlock();
}

AudioReader::~AudioReader() = default;

void AudioReader::decodeBlock() {
    const std::int64_t left = longestAt(mSampleRate) - mFramesRead;
    const auto wanted = std::clamp<std::int64_t>(left, 0, kBlockLength);
    const auto read = wanted > 0 ? sf_readf_float(mDecoder->file, mInterleaved.data(), wanted) : 0;
    const auto frames = static_cast<std::size_t>(std::clamp<std::int64_t>(read, 0, wanted));
    const auto channels = static_cast<std::size_t>(mChannelCount);
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
    if (frame < 0 || frame > mFrameCount || sf_seek(mDecoder->file, frame, SEEK_SET) != frame)
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
