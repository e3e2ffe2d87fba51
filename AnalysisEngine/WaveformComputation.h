// The waveform of an audio file, and the cache file that saves computing it again.
#pragma once

#include "AnalysisEngine/AudioReader.h"
#include "AnalysisEngine/StageMonitor.h"
#include "KELPMusicInformationRetrieval/GrowingTable.h"
#include "KELPMusicInformationRetrieval/Waveform.h"
#include "Platform/Export.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>

namespace TARN_PUBLIC tarn {

/// Points of the finest resolution, one to a row, readable while they are computed.
using WaveformPoints = GrowingTable<Waveform::Point>;
[[nodiscard]] inline std::shared_ptr<WaveformPoints> makeWaveformPoints() {
    return std::make_shared<WaveformPoints>(1);
}

/// Takes the mono samples of a recording block by block and appends a point for each stretch of them.
class WaveformMeter {
public:
    explicit WaveformMeter(std::shared_ptr<WaveformPoints> points) : mPoints(std::move(points)) {}

    void process(std::span<const float> samples);
    /// Ends the last stretch. Nothing may be processed afterwards.
    void finish();

private:
    void appendPoint();

    std::shared_ptr<WaveformPoints> mPoints;
    float mMinimum = 0;
    float mMaximum = 0;
    double mPower = 0;
    std::size_t mCount = 0; ///< samples of the stretch that has begun
};

/// Appends the points that the waveform does not have yet.
void appendPoints(const WaveformPoints& points, Waveform& waveform);

/// Appends the points of all that is left of the file, of its channels' mean, and finishes the waveform. A
/// waveform of a cancelled computation stays unfinished.
void computeWaveform(AudioReader& reader, Waveform& waveform, const StageMonitor& monitor = {});

/// The finished waveform from the cache file, without decoding any audio; empty unless it is there, sound, of
/// a file with the reader's rate and length, and not older than the audio file.
std::shared_ptr<Waveform> readWaveformCache(const std::filesystem::path& cache,
                                            const std::filesystem::path& audioFile,
                                            const AudioReader& reader);

/// Writes the cache file of a finished waveform as a whole or not at all; returns whether it could.
bool writeWaveformCache(const std::shared_ptr<const Waveform>& waveform, const std::filesystem::path& cache);

} // namespace tarn
