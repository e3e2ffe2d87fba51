#pragma once

#include "Platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace TARN_PUBLIC tarn {

/// Sound as it is read, from its beginning on: frames of as many samples as there are channels, which stand
/// side by side. Nominally samples lie between -1 and 1.
class AudioStream {
public:
    virtual ~AudioStream() = default;

    [[nodiscard]] virtual int sampleRate() const = 0; ///< frames per second
    [[nodiscard]] virtual int channelCount() const = 0;
    /// How many frames there are from beginning to end; nothing where that is known only at the end.
    [[nodiscard]] virtual std::optional<std::int64_t> frameCount() const = 0;

    /// Reads as many frames as fit into `samples`, whose size is a multiple of the channels, and returns
    /// their number; fewer only at the end, or where no more can be read.
    virtual std::size_t read(std::span<float> samples) = 0;
    /// Goes on at that frame, which is not negative: exactly, or as near as the container says where its
    /// frames are. Returns false where that cannot be done.
    virtual bool seek(std::int64_t frame) = 0;
};

/// Sound that an application has, in memory or by any other way than a file. It is read more than once, and
/// by several threads, each with a stream of its own; what they read must be the same.
class AudioSource {
public:
    virtual ~AudioSource() = default;
    /// A stream at the beginning; nothing where it cannot be read. Thread-safe.
    [[nodiscard]] virtual std::unique_ptr<AudioStream> open() = 0;
};

/// Samples as they lie in memory: frames of `channelCount` samples, at that many frames a second (both
/// positive; samples that make no whole frame are left out).
[[nodiscard]] std::shared_ptr<AudioSource> audioInMemory(std::vector<float> samples, int sampleRate,
                                                         int channelCount);

/// Gives an application's sound a path, by which analysis operations can be asked for it as for a file's. No
/// file is there. The path leads to the source as long as this object lives. Thread-safe.
class AudioSourcePath {
public:
    explicit AudioSourcePath(std::shared_ptr<AudioSource> source);
    ~AudioSourcePath();
    AudioSourcePath(const AudioSourcePath&) = delete;
    AudioSourcePath& operator=(const AudioSourcePath&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return mPath; }
    /// What a path leads to; null for paths of files.
    [[nodiscard]] static std::shared_ptr<AudioSource> sourceAt(const std::filesystem::path& path);

private:
    std::filesystem::path mPath;
};

} // namespace tarn
