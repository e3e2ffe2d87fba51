#include "AnalysisEngine/SoundFileStream.h"

#include <algorithm>
#include <sndfile.h>

namespace tarn {

namespace {

class SoundFileStream : public AudioStream {
public:
    SoundFileStream(SNDFILE* file, const SF_INFO& info) : mFile(file), mInfo(info) {}
    SoundFileStream(const SoundFileStream&) = delete;
    SoundFileStream& operator=(const SoundFileStream&) = delete;
    ~SoundFileStream() override { sf_close(mFile); }

    [[nodiscard]] int sampleRate() const override { return mInfo.samplerate; }
    [[nodiscard]] int channelCount() const override { return mInfo.channels; }
    [[nodiscard]] std::optional<std::int64_t> frameCount() const override {
        constexpr sf_count_t kUnknown = SF_COUNT_MAX; // of streams and what was written to a pipe
        return mInfo.frames == kUnknown ? std::nullopt : std::optional<std::int64_t>(mInfo.frames);
    }
    std::size_t read(std::span<float> samples) override {
        const auto wanted = static_cast<sf_count_t>(samples.size()) / mInfo.channels;
        const auto read = wanted > 0 ? sf_readf_float(mFile, samples.data(), wanted) : 0;
        return static_cast<std::size_t>(std::clamp<sf_count_t>(read, 0, wanted));
    }
    bool seek(std::int64_t frame) override { return sf_seek(mFile, frame, SEEK_SET) == frame; }

private:
    SNDFILE* mFile;
    SF_INFO mInfo;
};

} // namespace

std::unique_ptr<AudioStream> openSoundFile(const std::filesystem::path& path) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.string().c_str(), SFM_READ, &info);
    if (!file)
        return nullptr;
    return std::make_unique<SoundFileStream>(file, info);
}

} // namespace tarn
