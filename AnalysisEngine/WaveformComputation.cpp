#include "AnalysisEngine/WaveformComputation.h"

#include "Platform/KeyedArchiveFile.h"

#include <algorithm>
#include <cmath>
#include <system_error>

namespace tarn {

namespace {

std::int8_t toPoint(float value) {
    return static_cast<std::int8_t>(std::lround(std::clamp(value, -1.0f, 1.0f) * 127));
}

/// The stretch of samples that one point spans, as far as it is known.
struct Stretch {
    float minimum = 0;
    float maximum = 0;
    double power = 0;
    std::size_t count = 0;

    void add(float sample) {
        minimum = count == 0 ? sample : std::min(minimum, sample);
        maximum = count == 0 ? sample : std::max(maximum, sample);
        power += static_cast<double>(sample) * static_cast<double>(sample);
        ++count;
    }
    Waveform::Point point() const {
        const double rms = std::sqrt(power / static_cast<double>(count));
        return {toPoint(minimum), toPoint(maximum), toPoint(static_cast<float>(rms))};
    }
};

} // namespace

void computeWaveform(AudioReader& reader, Waveform& waveform, const StageMonitor& monitor) {
    Stretch stretch;
    for (;;) {
        monitor.report(reader.fractionRead());
        const std::span<const float> block = reader.nextBlock();
        if (block.empty())
            break;
        for (const float sample : block) {
            stretch.add(sample);
            if (stretch.count == Waveform::kFinestFramesPerPoint) {
                waveform.appendPoint(stretch.point());
                stretch = {};
            }
        }
    }
    if (stretch.count > 0)
        waveform.appendPoint(stretch.point());
    waveform.finish();
}

std::shared_ptr<Waveform> readWaveformCache(const std::filesystem::path& cache,
                                            const std::filesystem::path& audioFile,
                                            const AudioReader& reader) {
    std::error_code error;
    const auto cached = std::filesystem::last_write_time(cache, error);
    if (error)
        return nullptr;
    const auto changed = std::filesystem::last_write_time(audioFile, error);
    if (error || changed > cached)
        return nullptr;
    const std::optional<Data> bytes = FileManager::contentsOf(cache);
    if (!bytes)
        return nullptr;
    std::shared_ptr<Waveform> waveform = KeyedUnarchiver::unarchivedObject<Waveform>(*bytes);
    const bool fits = waveform && waveform->frameCount() == reader.frameCount() &&
                      waveform->sampleRate() == static_cast<double>(reader.sampleRate());
    return fits ? waveform : nullptr;
}

bool writeWaveformCache(const std::shared_ptr<const Waveform>& waveform, const std::filesystem::path& cache) {
    return writeArchive(waveform, cache);
}

} // namespace tarn
