#include "AnalysisEngine/FFmpegStream.h"

#include "Platform/PlainText.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <spawn.h>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tarn {

namespace {

constexpr int kPatience = 20'000; // ms
constexpr const char* kContainers = "mov,mp4,asf,matroska,avi";

/// What ffmpeg writes: an AU stream of 32-bit floating-point numbers, whose header tells rate and channels.
/// All numbers are big-endian.
struct AUHeader {
    static constexpr std::size_t kSize = 24; ///< bytes; notes may follow
    static constexpr std::uint32_t kMagic = 0x2e736e64, kFloatEncoding = 6, kLargestDataOffset = 4096;
    std::uint32_t magic, dataOffset, dataSize, encoding, sampleRate, channelCount;
};

std::uint32_t bigEndian(const std::byte* bytes) {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i)
        value = value << 8 | std::to_integer<std::uint32_t>(bytes[i]);
    return value;
}

/// A running ffmpeg and the end of the pipe that it writes to.
class FFmpegProcess {
public:
    FFmpegProcess() = default;
    FFmpegProcess(const FFmpegProcess&) = delete;
    FFmpegProcess& operator=(const FFmpegProcess&) = delete;
    ~FFmpegProcess() { end(); }

    /// Returns 0, or what the system says when no process can be started.
    int start(const std::filesystem::path& file, double second) {
        end();
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
            return errno;
        mOutput = ends[0];
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
        std::vector<std::string> words{"ffmpeg", "-nostdin", "-v", "quiet"};
        if (second > 0)
            words.insert(words.end(), {"-ss", decimalText(second, 6)});
        words.insert(words.end(), {"-protocol_whitelist", "file", "-format_whitelist", kContainers, "-i",
                                   "file:" + std::filesystem::absolute(file).string(), "-map", "0:a:0",
                                   "-c:a", "pcm_f32be", "-f", "au", "pipe:1"});
        std::vector<char*> arguments;
        for (std::string& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        const int failure =
            posix_spawnp(&mProcess, arguments.front(), &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        ::close(ends[1]);
        if (failure != 0)
            mProcess = 0;
        return failure;
    }

    /// Fills the bytes and returns how many there were; fewer only at the end, or when none came in time.
    std::size_t read(std::span<std::byte> bytes) {
        std::size_t filled = 0;
        while (filled < bytes.size()) {
            pollfd ready{mOutput, POLLIN, 0};
            const int count = ::poll(&ready, 1, kPatience);
            if (count < 0 && errno == EINTR)
                continue;
            if (count <= 0)
                break;
            const auto got = ::read(mOutput, bytes.data() + filled, bytes.size() - filled);
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                break;
            filled += static_cast<std::size_t>(got);
        }
        return filled;
    }

private:
    void end() {
        if (mOutput >= 0)
            ::close(std::exchange(mOutput, -1));
        if (mProcess > 0) {
            ::kill(mProcess, SIGKILL);
            while (::waitpid(mProcess, nullptr, 0) < 0 && errno == EINTR) {
            }
            mProcess = 0;
        }
    }

    pid_t mProcess = 0;
    int mOutput = -1;
};

class FFmpegStream : public AudioStream {
public:
    explicit FFmpegStream(std::filesystem::path file) : mFile(std::move(file)) {}

    /// Returns 0, what the system says when ffmpeg cannot be started, or EINVAL when it decodes nothing.
    int start(double second) {
        if (const int failure = mProcess.start(mFile, second))
            return failure;
        std::array<std::byte, AUHeader::kSize> bytes{};
        if (mProcess.read(bytes) != bytes.size())
            return EINVAL;
        AUHeader header{};
        std::uint32_t* const fields[] = {&header.magic,    &header.dataOffset, &header.dataSize,
                                         &header.encoding, &header.sampleRate, &header.channelCount};
        for (std::size_t i = 0; i < std::size(fields); ++i)
            *fields[i] = bigEndian(bytes.data() + 4 * i);
        constexpr std::uint32_t kMost = 1'000'000; // of either; what is supported is checked elsewhere
        if (header.magic != AUHeader::kMagic || header.encoding != AUHeader::kFloatEncoding ||
            header.dataOffset < AUHeader::kSize || header.dataOffset > AUHeader::kLargestDataOffset ||
            header.sampleRate > kMost || header.channelCount == 0 || header.channelCount > kMost)
            return EINVAL;
        mSampleRate = static_cast<int>(header.sampleRate);
        mChannelCount = static_cast<int>(header.channelCount);
        std::vector<std::byte> notes(header.dataOffset - AUHeader::kSize);
        return mProcess.read(notes) == notes.size() ? 0 : EINVAL;
    }

    [[nodiscard]] int sampleRate() const override { return mSampleRate; }
    [[nodiscard]] int channelCount() const override { return mChannelCount; }
    [[nodiscard]] std::optional<std::int64_t> frameCount() const override { return std::nullopt; }

    std::size_t read(std::span<float> samples) override {
        mBytes.resize(samples.size() * sizeof(float));
        const auto channels = static_cast<std::size_t>(mChannelCount);
        const std::size_t frames = mProcess.read(mBytes) / (channels * sizeof(float));
        for (std::size_t i = 0; i < frames * channels; ++i)
            samples[i] = std::bit_cast<float>(bigEndian(mBytes.data() + i * sizeof(float)));
        return frames;
    }

    bool seek(std::int64_t frame) override {
        const int rate = mSampleRate, channels = mChannelCount;
        const int failure = start(static_cast<double>(frame) / rate);
        return failure == 0 && mSampleRate == rate && mChannelCount == channels;
    }

private:
    std::filesystem::path mFile;
    FFmpegProcess mProcess;
    int mSampleRate = 0;
    int mChannelCount = 0;
    std::vector<std::byte> mBytes;
};

} // namespace

bool isForFFmpeg(const std::filesystem::path& file) {
    std::array<char, 12> beginning{};
    std::ifstream(file, std::ios::binary).read(beginning.data(), beginning.size());
    const std::string_view bytes(beginning.data(), beginning.size());
    const auto has = [&](std::size_t offset, std::string_view tag) {
        return bytes.substr(offset, tag.size()) == tag;
    };
    constexpr std::string_view kQuickTimeAtoms[] = {"ftyp", "moov", "mdat", "wide", "free", "skip"};
    return std::any_of(std::begin(kQuickTimeAtoms), std::end(kQuickTimeAtoms),
                       [&](std::string_view atom) { return has(4, atom); }) ||
           has(0, "\x30\x26\xB2\x75") || has(0, "\x1A\x45\xDF\xA3") || (has(0, "RIFF") && has(8, "AVI "));
}

std::unique_ptr<AudioStream> openWithFFmpeg(const std::filesystem::path& file, std::string* refusal) {
    auto stream = std::make_unique<FFmpegStream>(file);
    const int failure = stream->start(0);
    if (failure == 0)
        return stream;
    if (refusal && failure == ENOENT)
        *refusal = "such files are read by the program ffmpeg, which is not installed";
    else if (refusal)
        *refusal = "ffmpeg finds no sound in it";
    return nullptr;
}

} // namespace tarn
