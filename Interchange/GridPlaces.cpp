#include "Interchange/GridPlaces.h"

#include "Interchange/AnnotationText.h"
#include "Interchange/ChordReplacement.h"
#include "Song/CountedBeats.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace tarn {
namespace {

BeatGrid distinctBeats(const Song& song) {
    std::vector<GridBeat> beats;
    for (const GridBeat& beat : countedBeats(song).beats()) {
        if (beats.empty() || beats.back().location < beat.location)
            beats.push_back(beat);
        else
            beats.back().isDownbeat |= beat.isDownbeat;
    }
    return BeatGrid(beats);
}

} // namespace

GridPlaces::GridPlaces(const Song& song) : mGrid(distinctBeats(song)) {
    if (mGrid.size() < 2)
        throw FormatRefused("the song has no beats yet");
}

double GridPlaces::beats(double frame) const {
    const auto& locations = mGrid.locations();
    const auto past = std::upper_bound(locations.begin(), locations.end(), frame,
                                       [](double f, std::int64_t l) { return f < static_cast<double>(l); });
    const auto interval = std::clamp<std::ptrdiff_t>(past - locations.begin() - 1, 0,
                                                     static_cast<std::ptrdiff_t>(locations.size()) - 2);
    const auto index = static_cast<std::size_t>(interval);
    const auto begin = static_cast<double>(locations[index]);
    return static_cast<double>(interval) +
           (frame - begin) / (static_cast<double>(locations[index + 1]) - begin);
}

std::int64_t GridPlaces::tick(std::int64_t frame) const {
    constexpr double kFarthest = 1e15; // what a double holds exactly, and far from what overflows
    return static_cast<std::int64_t>(
        std::round(std::clamp(beats(static_cast<double>(frame)) * kTicksPerBeat, -kFarthest, kFarthest)));
}

std::int64_t GridPlaces::frame(double beats) const {
    const auto& locations = mGrid.locations();
    const auto index = static_cast<std::size_t>(
        std::clamp(std::floor(beats), 0.0, static_cast<double>(locations.size() - 2)));
    const auto begin = static_cast<double>(locations[index]);
    const double frame =
        begin + (beats - static_cast<double>(index)) * (static_cast<double>(locations[index + 1]) - begin);
    constexpr double kFarthest = 9e15;
    return static_cast<std::int64_t>(std::round(std::clamp(frame, -kFarthest, kFarthest)));
}

Sheet::Sheet(const Song& song) : mSong(song), mPlaces(song) {
    const BarLines& lines = mPlaces.grid().barLines();
    if (lines.barCount() == 0)
        throw FormatRefused("the song has no bars yet");
    const auto add = [&](std::size_t number, Range<std::size_t> beats) {
        if (!beats.isEmpty())
            mBars.push_back({static_cast<std::int64_t>(number), beats.lower, sizeOf(beats)});
    };
    add(0, lines.pickup());
    for (std::size_t i = 0; i < lines.barCount(); ++i)
        add(i + 1, lines.bar(i));
}

std::size_t Sheet::barAt(std::int64_t tick) const {
    const auto past =
        std::upper_bound(mBars.begin(), mBars.end(), tick,
                         [&](std::int64_t place, const SheetBar& bar) { return place < ticks(bar).lower; });
    return past == mBars.begin() ? 0 : static_cast<std::size_t>(past - mBars.begin() - 1);
}

const SheetBar* Sheet::barNumbered(std::int64_t number) const {
    const auto found = std::lower_bound(mBars.begin(), mBars.end(), number,
                                        [](const SheetBar& bar, std::int64_t n) { return bar.number < n; });
    return found != mBars.end() && found->number == number ? &*found : nullptr;
}

Range<std::int64_t> Sheet::ticks(const SheetBar& bar) const {
    const auto place = [](std::size_t beat) {
        return static_cast<std::int64_t>(beat) * GridPlaces::kTicksPerBeat;
    };
    return {place(bar.firstBeat), place(bar.firstBeat + bar.beatCount)};
}

std::vector<PlacedChord> Sheet::chords(std::int64_t ticksBetween) const {
    std::vector<PlacedChord> placed;
    const std::int64_t end = ticks(mBars.back()).upper;
    for (const auto& entry : mSong.notes->chordEntries()) {
        const std::int64_t exact = std::max<std::int64_t>(mPlaces.tick(entry->location()), 0);
        const std::int64_t tick = (exact + ticksBetween / 2) / ticksBetween * ticksBetween;
        if (tick >= end)
            break;
        if (!placed.empty() && placed.back().tick == tick)
            placed.pop_back();
        placed.push_back({tick, entry->chord(), entry->eventId()});
    }
    return placed;
}

std::map<std::size_t, std::string> Sheet::sections() const {
    std::map<std::size_t, std::string> names;
    for (const auto& section : mSong.structure->sectionEntries()) {
        const std::int64_t tick = std::max<std::int64_t>(mPlaces.tick(section->location()), 0);
        const std::size_t bar = barAt(tick);
        const auto [begin, end] = ticks(mBars[bar]);
        const bool isNearerToNext = tick - begin > end - tick;
        if (isNearerToNext && bar + 1 == mBars.size())
            continue; // nothing of the song is left for it
        names[isNearerToNext ? bar + 1 : bar] = section->name().value_or("");
    }
    return names;
}

std::string replaceChordsOnGrid(Song& song, const GridPlaces& places, const std::vector<PlacedChord>& chords,
                                std::vector<std::shared_ptr<TarnChordEntry>> beside) {
    auto& storage = *song.notes;
    std::vector<std::shared_ptr<TarnChordEntry>> entries;
    std::size_t outside = 0, doubled = 0;
    for (const PlacedChord& placed : chords) {
        const std::int64_t frame = places.frameOfTick(placed.tick);
        if (frame < 0 || frame > song.recording.frameCount) {
            ++outside;
            continue;
        }
        if (!entries.empty() && entries.back()->location() >= frame) {
            ++doubled;
            continue;
        }
        entries.push_back(storage.newChordEntry());
        entries.back()->setLocation(frame);
        entries.back()->setChord(placed.chord);
    }
    entries.insert(entries.end(), std::make_move_iterator(beside.begin()),
                   std::make_move_iterator(beside.end()));
    std::stable_sort(entries.begin(), entries.end(),
                     [](const auto& a, const auto& b) { return a->location() < b->location(); });
    std::string report = replaceChordsOf(song, std::move(entries));
    if (outside > 0)
        report += "; " + std::to_string(outside) + " outside the recording were left out";
    if (doubled > 0)
        report += "; " + std::to_string(doubled) + " at the place of another were left out";
    return report;
}

std::string replaceSectionsAt(Song& song,
                              const std::vector<std::pair<std::int64_t, std::string>>& beginnings) {
    auto& structure = *song.structure;
    std::vector<std::shared_ptr<TarnSectionEntry>> entries;
    for (const auto& [frame, name] : beginnings) {
        if (frame < 0 || frame > song.recording.frameCount)
            continue;
        const auto entry = structure.newSectionEntry()->mutableCopy();
        entry->setLocation(frame);
        entry->setName(name);
        entry->setSectionColor(sectionColorOfName(name));
        entries.push_back(entry);
    }
    const auto previous = structure.sectionEntries();
    const std::size_t count = entries.size();
    structure.replaceSectionEntriesInArrayWithSectionEntriesInArray(previous, std::move(entries));
    return std::to_string(count) + " sections replace " + std::to_string(previous.size());
}

} // namespace tarn
