#include "Interchange/AnnotationText.h"
#include "Interchange/Format.h"
#include "Platform/FatalError.h"
#include "Song/SongFile.h"
#include "Song/SongPositions.h"
#include "Tests/Song/SampleSong.h"

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

using namespace tarn;

namespace {

std::vector<const Format*> readFormats() {
    std::vector<const Format*> found;
    for (const Format& format : formats())
        if (format.read)
            found.push_back(&format);
    return found;
}

/// The kinds that the format's `--what` takes; one empty name where it has none.
std::vector<std::string_view> kindsOf(const Format& format) {
    for (const FormatOption& option : format.readOptions)
        if (option.name == "what")
            return option.allowed;
    return {""};
}

/// Writes what was imported, reads that and writes it again: it must be the same bytes.
void expectTextStays(Song& song, const Format& format, const FormatOptions& options) {
    std::ostringstream written;
    writeSong(written, song, format, {options, {}, {}});
    try {
        const std::string bytes = written.str();
        (void)readIntoSong(song, std::as_bytes(std::span(bytes)), format, {options});
    } catch (const FormatError&) {
        return; // Nothing was left to write: all chords and sections lay at the recording's very end.
    }
    std::ostringstream again;
    writeSong(again, song, format, {options, {}, {}});
    precondition(again.str() == written.str(), "What was exported reads differently");
}

} // namespace

// The first byte chooses the format, the second what is read from it. Any bytes are refused, which leaves the
// document as it was, or give a document that can be saved and opened.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size < 2)
        return 0;
    static const auto all = readFormats();
    const Format& format = *all[bytes[0] % all.size()];
    const auto kinds = kindsOf(format);
    const auto song = tarn::test::sampleSong();
    if (bytes[0] & 0x40)
        song->notes->setTimeSignature(6, 8);
    FormatOptions options;
    if (!kinds.front().empty())
        options.set("what", std::string(kinds[bytes[1] % kinds.size()]));
    const bool isMIDI = format.name == "midi";
    if (isMIDI && bytes[1] & 0x10)
        options.set("at", "4:2");
    if (isMIDI && options.text("what") == "notes" && bytes[1] & 0x20)
        options.set("by", "grid");
    try {
        (void)readIntoSong(*song, std::as_bytes(std::span(bytes + 2, size - 2)), format, {options});
    } catch (const FormatError&) {
        return 0;
    } catch (const FormatRefused&) {
        return 0;
    } catch (const FormatOptionError&) {
        return 0;
    } catch (const EditRefused&) {
        return 0;
    }
    const bool isTable = format.name == "lab" || format.name == "csv" || format.name == "labels";
    if (isTable)
        expectTextStays(*song, format, options);
    precondition(songFromBytes(archivedSong(song), "song.tarn") != nullptr,
                 "A document cannot be opened after an import");
    return 0;
}
