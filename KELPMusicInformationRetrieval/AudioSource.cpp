#include "KELPMusicInformationRetrieval/AudioSource.h"

#include "Platform/FatalError.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace tarn {

namespace {

struct Samples {
    std::vector<float> values;
    int sampleRate;
    int channelCount;

    [[nodiscard]] std::size_t frameCount() const {
        return values.size() / static_cast<std::size_t>(channelCount);
    }
};

class MemoryStream : public AudioStream {
public:
    explicit MemoryStream(std::shared_ptr<const Samples> samples) : mSamples(std::move(samples)) {}

    [[nodiscard]] int sampleRate() const override { return mSamples->sampleRate; }
    [[nodiscard]] int channelCount() const override { return mSamples->channelCount; }
    [[nodiscard]] std::optional<std::int64_t> frameCount() const override {
        return static_cast<std::int64_t>(mSamples->frameCount());
    }
    std::size_t read(std::span<float> samples) override {
        const auto channels = static_cast<std::size_t>(mSamples->channelCount);
        const std::size_t count = std::min(samples.size() / channels, mSamples->frameCount() - mNext);
        const auto* first = mSamples->values.data() + mNext * channels;
        std::copy(first, first + count * channels, samples.begin());
        mNext += count;
        return count;
    }
    bool seek(std::int64_t frame) override {
        if (std::cmp_greater(frame, mSamples->frameCount()))
            return false;
        mNext = static_cast<std::size_t>(frame);
        return true;
    }

private:
    std::shared_ptr<const Samples> mSamples;
    std::size_t mNext = 0; ///< frame
};

class MemorySource : public AudioSource {
public:
    explicit MemorySource(Samples samples) : mSamples(std::make_shared<Samples>(std::move(samples))) {}
    [[nodiscard]] std::unique_ptr<AudioStream> open() override {
        return std::make_unique<MemoryStream>(mSamples);
    }

private:
    std::shared_ptr<const Samples> mSamples;
};

struct Sources {
    std::mutex mutex;
    std::map<std::filesystem::path, std::shared_ptr<AudioSource>> byPath;
    std::uint64_t count = 0;
};

Sources& sources() {
    static Sources all;
    return all;
}

} // namespace

std::shared_ptr<AudioSource> audioInMemory(std::vector<float> samples, int sampleRate, int channelCount) {
    precondition(sampleRate > 0 && channelCount > 0, "Audio has a rate and channels");
    return std::make_shared<MemorySource>(Samples{std::move(samples), sampleRate, channelCount});
}

AudioSourcePath::AudioSourcePath(std::shared_ptr<AudioSource> source) {
    precondition(source != nullptr, "A path leads to a source");
    const std::lock_guard guard(sources().mutex);
    // Below a name that no folder can have, so that it is never a file's.
    mPath = "/dev/null/tarn-audio-" + std::to_string(++sources().count);
    sources().byPath.emplace(mPath, std::move(source));
}

AudioSourcePath::~AudioSourcePath() {
    std::shared_ptr<AudioSource> source; // goes after the lock
    const std::lock_guard guard(sources().mutex);
    source = std::move(sources().byPath.extract(mPath).mapped());
}

std::shared_ptr<AudioSource> AudioSourcePath::sourceAt(const std::filesystem::path& path) {
    const std::lock_guard guard(sources().mutex);
    const auto found = sources().byPath.find(path);
    return found == sources().byPath.end() ? nullptr : found->second;
}

} // namespace tarn
