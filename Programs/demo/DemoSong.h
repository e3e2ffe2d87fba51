#pragma once

#include "KELPMusic/ConcertPitch.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

/// A small synthesiser of songs whose tempo, chords and tuning are known. The same song gives the same
/// samples.
namespace tarn::demo {

struct Song {
    std::vector<std::string> chords; ///< one for each bar; those that cannot be read abort
    double tempo = 120;              ///< beats per minute
    int beatsPerBar = 4;
    int partsPerBeat = 2;                 ///< strokes of the hi-hat in a beat
    double standardPitch = kConcertPitch; ///< Hz of A4
    double leadIn = 0.5;                  ///< seconds of silence before the first bar
    int sampleRate = 44100;

    /// The frame on which a beat, counted from 0 over the whole song, begins.
    [[nodiscard]] std::int64_t frameOfBeat(std::int64_t beat) const;
    /// Bars, lead-in, and as long again for the last tones to fade.
    [[nodiscard]] std::int64_t frameCount() const;
};

/// The song on plucked strings in chords, a bass on the chords' lowest notes, and drums: kick, snare and
/// hi-hat. Mono, within -1 to 1.
[[nodiscard]] std::vector<float> render(const Song& song);

/// Writes the samples, the same to each channel, in the format that the ending names: wav, aiff, flac, ogg,
/// opus or mp3. False when that fails.
bool writeRecording(const std::filesystem::path& file, std::span<const float> samples, int sampleRate,
                    int channels = 1);

} // namespace tarn::demo
