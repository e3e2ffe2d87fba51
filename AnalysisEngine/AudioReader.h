// Recordings as streams of samples, in blocks: at the file's own rate (AudioReader) and at the one rate at
// which the analysis listens (AnalysisResampler). Whatever bytes the file holds, the samples are finite and
// of bounded magnitude, memory is bounded, and a file that breaks off in the middle yields what comes before
// the break.
#pragma once

#include "KELPMusicInformationRetrieval/AudioSource.h"
#include "Platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace TARN_PUBLIC tarn {

/// Rate in Hz of the signal that the analysis stages share. Its 11 kHz of bandwidth hold all that chords and
/// tuning need and enough of cymbals for onsets.
inline constexpr int kAnalysisRate = 22050;

/// What becomes of a file's channels: their mean, or two of them, left and right by turns, where there are
/// more than two their mean twice.
enum class AudioChannels { mean, stereo };

/// Reads any file that libsndfile reads, the sound of films and of other formats with the program ffmpeg, and
/// the source that an AudioSourcePath leads to.
class AudioReader {
public:
    /// Frames in the longest block that nextBlock() returns.
    static constexpr std::size_t kBlockLength = 8192;

    /// The longest recording: longer ones are refused, and a stream that does not declare its length is read
    /// up to there. It bounds the time and the memory that a small file of days of silence can cost: an
    /// analysis takes about 350 MB for each hour, hardly more at higher rates or with more channels.
    static constexpr int kMaximumHours = 12;

    /// Empty when the file can't be opened, is not an ordinary one, has a rate outside 4 to 768 kHz or more
    /// than 64 channels, when not a single frame of it can be decoded, or when it declares to be longer than
    /// kMaximumHours. `refusal` is then given the reason, to be read after the file's name.
    static std::unique_ptr<AudioReader> open(const std::filesystem::path& path,
                                             std::string* refusal = nullptr,
                                             AudioChannels channels = AudioChannels::mean);

    AudioReader(const AudioReader&) = delete;
    AudioReader& operator=(const AudioReader&) = delete;
    ~AudioReader();

    /// Frames per second.
    int sampleRate() const { return mSampleRate; }
    /// Of the file.
    int channelCount() const { return mChannelCount; }
    /// Of the blocks: one, or with AudioChannels::stereo as many as the file has, two at most.
    int outputChannelCount() const { return mOutputChannelCount; }

    /// Whether the file says how long it is; streams and what was written to a pipe may not.
    bool declaresLength() const { return mDeclaresLength; }
    /// What the file declares, at least 1; kMaximumHours of them when it does not. Decoding may yield fewer
    /// or, where the header is wrong, more; only framesRead() after the last block is reliable.
    std::int64_t frameCount() const { return mFrameCount; }

    /// The next samples, of magnitude up to 65536 (nominally 1; what isn't finite becomes 0). Empty at the
    /// end, at the first place that can't be decoded, or after kMaximumHours. Valid until the next call.
    std::span<const float> nextBlock();

    /// The frame at which the next block begins: how many nextBlock() has returned so far, from where seek()
    /// went.
    std::int64_t framesRead() const { return mFramesRead; }

    /// Goes on at that frame, 0 to frameCount(). False where the file does not allow it; there is no next
    /// block then.
    bool seek(std::int64_t frame);

    /// Share of the file that has been read, 0 to 1.
    double fractionRead() const;

private:
    AudioReader(std::unique_ptr<AudioStream> stream, AudioChannels channels);
    void decodeBlock();

    std::unique_ptr<AudioStream> mStream;
    int mSampleRate;
    int mChannelCount;
    int mOutputChannelCount;
    bool mDeclaresLength;
    std::int64_t mFrameCount;
    std::int64_t mFramesRead = 0;
    std::vector<float> mInterleaved;
    std::vector<float>
        mAhead; ///< The block that the next call returns, so that opening can tell whether any decodes.
    std::vector<float> mCurrent;
};

/// Brings a mono stream of any rate to `kAnalysisRate`, block by block. Output sample n sounds at n /
/// kAnalysisRate seconds of the input; the output ends where the input ends.
class AnalysisResampler {
public:
    explicit AnalysisResampler(int inputRate);
    AnalysisResampler(const AnalysisResampler&) = delete;
    AnalysisResampler& operator=(const AnalysisResampler&) = delete;
    ~AnalysisResampler();

    /// The samples that become available with this input; may be empty. `last` tells that no more input
    /// follows (the block itself may be empty); nothing may be processed after it. Valid until the next call.
    std::span<const float> process(std::span<const float> block, bool last);

private:
    struct Converter;
    std::unique_ptr<Converter> mConverter; ///< Empty when the input has the analysis rate already.
    std::vector<float> mOutput;
};

} // namespace tarn
