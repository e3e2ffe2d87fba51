#pragma once

#include "Platform/Export.h"
#include "Platform/MusicSequence.h"

#include <cstdint>
#include <vector>

/// The options of a MIDI export and the notes that it writes.
namespace TARN_PUBLIC tarn {

/// Keys of the options dictionary. A value of another type than the one named counts as absent.
inline constexpr const char* TarnNoteEntryStorageMIDIExportNotesOptionKey = "exportNotes";   ///< bool, false
inline constexpr const char* TarnNoteEntryStorageMIDIExportChordsOptionKey = "exportChords"; ///< bool, false
/// Any integer type: semitones, clamped to -128 to 127; 0.
inline constexpr const char* TarnNoteEntryStorageMIDITransposeAmountOptionKey = "transposeAmount";
/// A MIDIExportTiming or its number in any integer type; 0.
inline constexpr const char* TarnNoteEntryStorageMIDITimingOptionKey = "timing";

/// The domain of every error of an export; the code is -1.
inline constexpr const char* TarnMIDIFileExporterDomain = "TarnMIDIFileExporterDomain";

/// A note of the file.
struct MIDIExportNote {
    std::uint8_t pitch = 0; ///< MIDI note number
    double position = 0;    ///< quarter notes
    double duration = 0;    ///< quarter notes
    friend bool operator==(const MIDIExportNote&, const MIDIExportNote&) = default;
};

/// The notes as they are written to one track, by position and pitch: without those of no duration and
/// without repeated onsets of a pitch, each note ending before the next one of its pitch begins.
[[nodiscard]] std::vector<MIDIExportNote> cleanedMIDIExportNotes(std::vector<MIDIExportNote> notes);

/// Owns one music sequence and disposes of it.
class MIDIExportSequence {
public:
    /// Throws Error when the sequence cannot be created.
    MIDIExportSequence();
    ~MIDIExportSequence() { DisposeMusicSequence(mSequence); }
    MIDIExportSequence(const MIDIExportSequence&) = delete;
    MIDIExportSequence& operator=(const MIDIExportSequence&) = delete;

    [[nodiscard]] MusicSequence sequence() const { return mSequence; }

private:
    MusicSequence mSequence = nullptr;
};

} // namespace tarn
