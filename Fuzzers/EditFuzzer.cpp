#include "Platform/FatalError.h"
#include "Song/Edits/Edits.h"
#include "Song/SongFile.h"
#include "Song/SongPositions.h"
#include "Tests/Song/SongTexts.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

using namespace tarn;

// The first byte chooses the song, the rest are the arguments of `tarn edit`, one a line. They are refused,
// which leaves the document as it was, or they give a document that can be saved and opened.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size == 0)
        return 0;
    std::vector<std::string> arguments{""};
    for (std::size_t i = 1; i < size; ++i) {
        if (bytes[i] == '\n')
            arguments.emplace_back();
        else
            arguments.back() += static_cast<char>(bytes[i]);
    }
    const auto song = test::sampleSong(bytes[0] % 2 == 0 ? 4 : 3);
    if (bytes[0] % 4 >= 2)
        song->notes->removeBeatEntriesInArray(song->notes->beatEntries());
    if (bytes[0] % 8 >= 4)
        (void)applyEdits(*song,
                         parseEdits(std::vector<std::string>{
                             "add-region verse 1s to 4s", "add-region chorus 4s to 5s", "add-section A at 3s",
                             "add-chord D#m at 2s", "add-note E4 at 2s for 1s", "add-marker M at 2s"}));
    const Data before = archivedSong(song);
    try {
        (void)applyEdits(*song, parseEdits(arguments));
    } catch (const EditSyntaxError&) {
        return 0;
    } catch (const EditRefused&) {
        // The counters of identifiers move on; the entries are the same.
        const auto old = songFromBytes(before, "song.tarn");
        precondition(test::beatsOf(*song) == test::beatsOf(*old) &&
                         test::chordsOf(*song) == test::chordsOf(*old) &&
                         test::sectionsOf(*song) == test::sectionsOf(*old) &&
                         song->notes->noteEntries().size() == old->notes->noteEntries().size() &&
                         song->notes->regionEntries().size() == old->notes->regionEntries().size() &&
                         song->notes->markerEntries().size() == old->notes->markerEntries().size(),
                     "A refused edit changed the document");
        return 0;
    }
    const auto opened = songFromBytes(archivedSong(song), "song.tarn");
    const std::string after = test::contentsOf(*opened);
    while (opened->history.newest())
        opened->undo();
    while (opened->history.next())
        opened->redo();
    precondition(test::contentsOf(*opened) == after, "What was undone and redone is not as it was");
    return 0;
}
