// What must be one and the same for a program, the library and the program's own libraries: the default
// center, the types of values that travel without a type, of errors and of entries, and the classes of
// archives.
#include "plugin.h"

#include "KELPMusic/KELPPitch.h"
#include "Platform/NotificationCenter.h"
#include "Song/Song.h"
#include "Song/SongError.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <cstdio>

int main() {
    const auto token = tarn::NotificationCenter::defaultCenter().addObserver(
        "Pitch", nullptr, nullptr, [](const tarn::Notification& notification) {
            if (const auto* pitch = notification.value<tarn::KELPPitchRef>("pitch"))
                std::printf("C4 is key %d\n", (*pitch)->midiNote());
        });
    try {
        postAndFail();
    } catch (const tarn::SongError& error) {
        std::printf("%s\n", error.what());
    }
    const auto document = std::make_shared<tarn::TarnNoteEntryStorage>();
    const auto added = document->newChordEntry();
    added->setChord(tarn::KELPChord::chordWithString("C"));
    document->addChordEntry(added);
    const auto copy = tarn::KeyedUnarchiver::unarchivedObject<tarn::TarnNoteEntryStorage>(
        tarn::KeyedArchiver::archivedData(document));
    const std::shared_ptr<tarn::TarnUserEntry> entry = copy->chordEntries().front();
    std::printf("a chord: %d\n", std::dynamic_pointer_cast<tarn::TarnChordEntry>(entry) != nullptr);
    return 0;
}
