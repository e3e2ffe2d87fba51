#pragma once

#include "KELPMusic/KELPNote.h"
#include "Platform/Export.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace TARN_PUBLIC tarn {

class KELPPitch;
class KELPStringedInstrumentDescription;

using KELPPitchRef = std::shared_ptr<const KELPPitch>;

/// A note in an octave. Octaves are counted from C and follow the letter: C4 is middle C, Cb4 sounds as B3
/// and B#3 as C4. Immutable; pitches are equal when note (spelling included) and octave are equal.
class KELPPitch final : public SecureCoding {
public:
    KELPPitch(const KELPNote& note, std::int32_t octave) : mNote(note), mOctave(octave) {}

    [[nodiscard]] static KELPPitchRef pitchWithNote(const KELPNote& note, std::int32_t octave);
    /// The pitch spelled as `note` that sounds at the given number of semitones (as `semitones()` counts
    /// them); the note must have that pitch class.
    [[nodiscard]] static KELPPitchRef pitchWithNoteAtSemitones(const KELPNote& note, std::int64_t semitones);

    [[nodiscard]] const KELPNote& note() const { return mNote; }
    [[nodiscard]] std::int32_t octave() const { return mOctave; }
    /// MIDI note number, C4 = 60. A pitch beyond MIDI's range gives the nearest end of it, 0 or 127.
    [[nodiscard]] std::uint8_t midiNote() const;
    /// Semitones counted like MIDI note numbers, C4 = 60, without their limits.
    [[nodiscard]] std::int64_t semitones() const;
    /// "C#4", "Bb-1".
    [[nodiscard]] std::string description() const;

    /// The pitch `semitones` above this one (negative: below), spelled as KELPNote::noteWithOffset does but
    /// with at most one accidental. An octave that 32 bits cannot hold aborts; tryPitchAtOffset then returns
    /// null.
    [[nodiscard]] KELPPitchRef pitchAtOffset(int semitones) const;
    [[nodiscard]] KELPPitchRef tryPitchAtOffset(int semitones) const;
    /// For each string in the order of the tuning the fret (0 = open) that sounds this pitch, or -1 where the
    /// string cannot play it.
    [[nodiscard]] std::vector<std::int8_t>
    possibleFretsWithTuning(const KELPStringedInstrumentDescription& tuning) const;

    [[nodiscard]] bool operator==(const KELPPitch& other) const {
        return mNote == other.mNote && mOctave == other.mOctave;
    }

    static const ClassDescription& classDescription();
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
    /// Archive keys: "note" (string, the note's name), "octave" (number).
    void encodeWithCoder(KeyedArchiver& coder) const override;

private:
    /// The spelling of the pitch `semitones` above this one.
    [[nodiscard]] KELPNote noteAtOffset(int semitones) const;

    KELPNote mNote;
    std::int32_t mOctave;
};

} // namespace tarn

template <>
struct std::hash<tarn::KELPPitch> {
    std::size_t operator()(const tarn::KELPPitch& pitch) const noexcept {
        return std::hash<std::int64_t>{}(pitch.octave() * std::int64_t{64} + pitch.note().fifths());
    }
};
