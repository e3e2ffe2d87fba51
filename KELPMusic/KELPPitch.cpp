#include "KELPMusic/KELPPitch.h"

#include "KELPMusic/KELPStringedInstrumentDescription.h"
#include "Platform/CheckedArithmetic.h"

#include <algorithm>

namespace tarn {

namespace {

/// The octave of the pitch spelled as `note` that sounds at the number of semitones.
Checked<std::int32_t> octaveOf(const KELPNote& note, std::int64_t semitones) {
    return trySubtract<std::int64_t>(semitones, note.semitonesAboveC()).then([](std::int64_t octaves) {
        precondition(octaves % 12 == 0, "The note does not sound at this pitch!");
        return tryCast<std::int32_t>(octaves / 12 - 1);
    });
}

} // namespace

KELPPitchRef KELPPitch::pitchWithNote(const KELPNote& note, std::int32_t octave) {
    return std::make_shared<KELPPitch>(note, octave);
}

KELPPitchRef KELPPitch::pitchWithNoteAtSemitones(const KELPNote& note, std::int64_t semitones) {
    return pitchWithNote(note, octaveOf(note, semitones).orAbort());
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

KELPNote KELPPitch::noteAtOffset(int offset) const {
    // Twelve or less suffices for the spelling and fits the note's offset.
    const KELPNote note = mNote.noteWithOffset(static_cast<std::int8_t>(offset % 12));
    return offset % 12 == 0 ? mNote : note.withoutDoubleAccidental();
}

KELPPitchRef KELPPitch::pitchAtOffset(int offset) const {
    return pitchWithNoteAtSemitones(noteAtOffset(offset), semitones() + offset);
}
KELPPitchRef KELPPitch::tryPitchAtOffset(int offset) const {
    const KELPNote note = noteAtOffset(offset);
    const auto octave = octaveOf(note, semitones() + offset).value();
    return octave ? pitchWithNote(note, *octave) : nullptr;
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
