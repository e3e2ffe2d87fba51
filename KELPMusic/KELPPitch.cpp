#include "KELPMusic/KELPPitch.h"

#include "KELPMusic/KELPStringedInstrumentDescription.h"
#include "Platform/CheckedArithmetic.h"

#include <algorithm>

namespace tarn {

KELPPitchRef KELPPitch::pitchWithNote(const KELPNote& note, std::int32_t octave) {
    return std::make_shared<KELPPitch>(note, octave);
}

KELPPitchRef KELPPitch::pitchWithNoteAtSemitones(const KELPNote& note, std::int64_t semitones) {
    const std::int64_t octaves = checkedSubtract<std::int64_t>(semitones, note.semitonesAboveC());
    precondition(octaves % 12 == 0, "The note does not sound at this pitch!");
    return pitchWithNote(note, checkedCast<std::int32_t>(octaves / 12 - 1));
}

std::int64_t KELPPitch::semitones() const {
    return 12 * (std::int64_t{mOctave} + 1) + mNote.semitonesAboveC();
}

std::uint8_t KELPPitch::midiNote() const {
    return static_cast<std::uint8_t>(std::clamp<std::int64_t>(semitones(), 0, 127));
}

std::string KELPPitch::description() const {
    return mNote.string() + std::to_string(mOctave);
}

KELPPitchRef KELPPitch::pitchAtOffset(int offset) const {
    // Twelve or less suffices for the spelling and fits the note's offset.
    const KELPNote note = mNote.noteWithOffset(static_cast<std::int8_t>(offset % 12));
    return pitchWithNoteAtSemitones(offset % 12 == 0 ? mNote : note.withoutDoubleAccidental(),
                                    semitones() + offset);
}

std::vector<std::int8_t>
KELPPitch::possibleFretsWithTuning(const KELPStringedInstrumentDescription& tuning) const {
    std::vector<std::int8_t> frets;
    frets.reserve(tuning.tuning().size());
    for (const KELPPitchRef& openString : tuning.tuning()) {
        const std::int64_t fret = semitones() - openString->semitones();
        const bool playable = fret >= 0 && fret <= tuning.numberOfFrets();
        frets.push_back(playable ? static_cast<std::int8_t>(fret) : std::int8_t{-1});
    }
    return frets;
}

const ClassDescription& KELPPitch::classDescription() {
    static constexpr ClassDescription description{
        "KELPPitch", nullptr, [](KeyedUnarchiver& coder) -> std::shared_ptr<SecureCoding> {
            const auto name = coder.decodeString("note");
            const auto octave = coder.decodeInt("octave");
            const auto note = name ? KELPNote::noteWithString(*name) : std::nullopt;
            if (!note || !octave || !std::in_range<std::int32_t>(*octave))
                return nullptr;
            return std::make_shared<KELPPitch>(*note, static_cast<std::int32_t>(*octave));
        }};
    return description;
}

void KELPPitch::encodeWithCoder(KeyedArchiver& coder) const {
    coder.encodeString("note", mNote.string());
    coder.encodeInt("octave", mOctave);
}

} // namespace tarn
