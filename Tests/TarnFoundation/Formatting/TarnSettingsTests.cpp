#include "TarnFoundation/Formatting/TarnSettings.h"

#include <gmock/gmock.h>

#include <set>
#include <string>

namespace tarn {
namespace {

/// All raw values in order; checks that each leads back to its choice.
template <typename Setting>
std::string rawValues() {
    std::string all;
    for (const auto& choice : choices<Setting>()) {
        EXPECT_EQ(settingFromRawValue<Setting>(rawValue(choice.value)), choice.value);
        all += std::string(rawValue(choice.value)) + " ";
    }
    for (const char* unknown : {"", "Names", "small "})
        EXPECT_EQ(settingFromRawValue<Setting>(unknown), std::nullopt);
    return all;
}

TEST(TarnSettingsTests, RawValuesAreThoseInTheUsersSettings) {
    EXPECT_EQ(rawValues<TarnChordsDisplay>(), "names diagrams namesAndDiagrams hidden ");
    EXPECT_EQ(rawValues<TarnChordsSize>(), "medium small large ");
    EXPECT_EQ(rawValues<TarnNotationDisplay>(), "letters german solfege romanNumerals nashville ");
    EXPECT_EQ(rawValues<TarnMetronomeInstrument>(), "woodblock agogo bongo cowbell triangle drumKit ");
}

TEST(TarnSettingsTests, MetronomeSoundsAreDistinctPercussionNotes) {
    std::set<int> notes;
    for (const auto& choice : choices<TarnMetronomeInstrument>()) {
        const auto [downbeat, beat] = metronomeNotes(choice.value);
        for (const int note : {downbeat, beat}) {
            EXPECT_TRUE(note >= 35 && note <= 81) << note; // the notes that General MIDI defines
            EXPECT_TRUE(notes.insert(note).second) << note;
        }
    }
    EXPECT_EQ(metronomeNotes(TarnMetronomeInstrument::woodblock), (MetronomeNotes{76, 77}));
}

} // namespace
} // namespace tarn
