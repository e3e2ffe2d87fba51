#include "PracticePage/CountIn.h"

#include "Song/CountedBeats.h"
#include "Song/GridReplacement.h"
#include "TarnFoundation/TarnPrerollController.h"

#include <algorithm>

namespace tarn {
namespace {

/// How many beats are counted in a bar: by the metre, or else as the bar at the start has them.
std::int64_t beatsPerBar(const Song& song, std::int64_t start) {
    if (!song.notes->timeSignatureEntries().empty())
        return song.notes->timeSignature().numerator;
    const auto bar = countedBeats(song).barAt(start, song.recording.frameCount);
    constexpr std::int64_t kUsual = 4;
    return bar ? static_cast<std::int64_t>(sizeOf(bar->positions)) : kUsual;
}

double countedBeatSeconds(const Song& song) {
    constexpr double kUsualTempo = 120;
    const auto tempi = song.notes->tempoEntries();
    const double tempo = tempi.empty() ? 0 : static_cast<double>(tempi.front()->tempo());
    const double perMinute =
        tempo > 0 ? tempo * countedBeatsPerTempoBeat(song.notes->timeSignature()) : kUsualTempo;
    return 60 / perMinute;
}

std::vector<CountInBeat> countInOfTempo(const Song& song, std::int64_t count, std::int64_t perBar) {
    std::vector<CountInBeat> beats;
    const double seconds = countedBeatSeconds(song);
    for (std::int64_t beat = 0; beat < count; ++beat)
        beats.push_back({static_cast<double>(count - beat) * seconds, beat % perBar == 0});
    return beats;
}

/// The counted beats of the song and, where those before the start are too few, artificial ones before them.
BeatGrid gridWithCountIn(const Song& song, std::int64_t start, int bars) {
    const auto checkpoint = TarnNoteEntryStorage::newCheckpointFromStorage(*song.notes);
    TarnPrerollController controller(checkpoint, bars);
    const std::int64_t preroll = controller.prerollFrame(start);
    constexpr std::size_t kLeastBeats = 8;
    if (checkpoint->beatEntries().size() >= kLeastBeats &&
        controller.tryRequiresArtificialBeatEntriesForPrerollFrame(preroll).value_or(false))
        controller.generateArtificialBeatEntriesForPrerollFrame(preroll);
    return countedBeatGridOf(*checkpoint);
}

} // namespace

std::vector<CountInBeat> countInBefore(const Song& song, std::int64_t start, int bars) {
    const std::int64_t perBar = std::max<std::int64_t>(1, beatsPerBar(song, start));
    const std::int64_t count = perBar * bars;
    const BeatGrid grid = gridWithCountIn(song, start, bars);
    // A start that is a little after its beat means the beat.
    constexpr double kLateness = 0.01; // seconds
    const auto late = static_cast<std::int64_t>(kLateness * song.recording.sampleRate);
    const auto next = static_cast<std::int64_t>(grid.firstAtOrAfter(start - late));
    if (next < count)
        return countInOfTempo(song, count, perBar);
    std::vector<CountInBeat> beats;
    for (std::int64_t i = next - count; i < next; ++i) {
        const auto position = static_cast<std::size_t>(i);
        const auto place = grid.barBeat(position);
        beats.push_back({song.seconds(start - grid.locations()[position]), place && place->beat == 1});
    }
    return beats;
}

} // namespace tarn
