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

} // namespace

void WaveformMeter::process(std::span<const float> samples) {
    for (const float sample : samples) {
        mMinimum = mCount == 0 ? sample : std::min(mMinimum, sample);
        mMaximum = mCount == 0 ? sample : std::max(mMaximum, sample);
        mPower += static_cast<double>(sample) * static_cast<double>(sample);
        if (++mCount == Waveform::kFinestFramesPerPoint)
            appendPoint();
    }
}

void WaveformMeter::finish() {
    if (mCount > 0)
        appendPoint();
}

void WaveformMeter::appendPoint() {
    const double rms = std::sqrt(mPower / static_cast<double>(mCount));
    mPoints->next().front() = {toPoint(mMinimum), toPoint(mMaximum), toPoint(static_cast<float>(rms))};
    mPoints->append();
    mPower = 0;
    mCount = 0;
}

void appendPoints(const WaveformPoints& points, Waveform& waveform) {
    const std::size_t end = points.size();
    for (std::size_t first = waveform.points(0).size(); first < end;) {
        const auto row = points.rows(first, end);
        for (const Waveform::Point point : row)
            waveform.appendPoint(point);
        first += row.size();
    }
}

void computeWaveform(AudioReader& reader, Waveform& waveform, const StageMonitor& monitor) {
    const auto points = makeWaveformPoints();
    WaveformMeter meter(points);
    for (auto block = reader.nextBlock(); !block.empty(); block = reader.nextBlock()) {
        meter.process(block);
        appendPoints(*points, waveform);
        monitor.report(reader.fractionRead());
    }
    meter.finish();
    appendPoints(*points, waveform);
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
