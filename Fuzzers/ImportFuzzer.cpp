#include "Interchange/AnnotationText.h"
#include "Interchange/NoteImport.h"
#include "Platform/FatalError.h"
#include "Song/SongFile.h"
#include "Tests/Song/SampleSong.h"

#include <cstddef>
#include <cstdint>
#include <string>

using namespace tarn;

namespace {

/// Writes what was imported as text, reads that and writes it again: it must be the same text.
void expectTextStays(const std::shared_ptr<Song>& song, AnnotationKind kind, AnnotationFormat format) {
    const std::string written = annotationText(*song, kind, format);
    try {
        (void)replaceAnnotations(*song, kind,
                                 format == AnnotationFormat::lab ? parseLab(written) : parseCSV(written));
    } catch (const TextTableError&) {
        return; // Nothing was left to write: all chords and sections lay at the recording's very end.
    }
    precondition(annotationText(*song, kind, format) == written, "What was exported reads differently");
}

} // namespace

// The first byte chooses the format and what is read from it. Any bytes are refused, which leaves the
// document as it was, or give a document that can be saved and opened.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size == 0)
        return 0;
    const std::uint8_t choice = bytes[0];
    const auto song = tarn::test::sampleSong();
    if (choice & 0x40)
        song->notes->setTimeSignature(6, 8);
    const auto content = std::as_bytes(std::span(bytes + 1, size - 1));
    const std::string_view text(reinterpret_cast<const char*>(bytes + 1), size - 1);
    try {
        if (choice & 0x80) {
            const bool followsBeats = (choice & 1) != 0;
            (void)replaceNotes(*song, MIDIFile(content),
                               {followsBeats, choice & 2 ? Position::make("4:2") : std::nullopt,
                                choice & 4 ? std::optional(10) : std::nullopt});
        } else {
            constexpr AnnotationKind kKinds[] = {AnnotationKind::beats, AnnotationKind::chords,
                                                 AnnotationKind::sections};
            const AnnotationKind kind = kKinds[choice % 3];
            (void)replaceAnnotations(*song, kind,
                                     choice & 0x20   ? parseLab(text)
                                     : choice & 0x10 ? parseNumbers(text)
                                                     : parseCSV(text));
            expectTextStays(song, kind, choice & 8 ? AnnotationFormat::lab : AnnotationFormat::csv);
        }
    } catch (const MIDIFileError&) {
        return 0;
    } catch (const EditRefused&) {
        return 0;
    } catch (const TextTableError&) {
        return 0;
    }
    precondition(songFromBytes(archivedSong(song), "song.tarn") != nullptr,
                 "A document cannot be opened after an import");
    return 0;
}
