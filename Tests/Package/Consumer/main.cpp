#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <cstdio>

int main() {
    const auto document = std::make_shared<tarn::TarnNoteEntryStorage>();
    const auto note = document->newNoteEntry();
    note->setPitch(tarn::KELPPitch::pitchWithNote(tarn::KELPNote::noteWithValue(0), 4));
    document->addNoteEntry(note);
    std::printf("%s is key %d\n", "C4", document->noteEntries().front()->pitch()->midiNote());
    return 0;
}
