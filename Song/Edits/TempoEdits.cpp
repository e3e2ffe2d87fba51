#include "Song/CountedBeats.h"
#include "Song/Edits/EditVerbs.h"
#include "Song/GridReplacement.h"

#include <algorithm>
#include <cmath>

namespace tarn::edits {
namespace {

using Beats = std::vector<GridBeat>;

/// The counted beats; refuses where there are fewer than two.
BeatGrid gridOf(const Song& song) {
    auto grid = countedBeats(song);
    if (grid.size() < 2)
        refuse("the song has no beats yet; tempo=120 from 0:01.2 makes a grid");
    return grid;
}

std::string barsReport(const Song& song) {
    const auto tempi = song.notes->tempoEntries();
    return decimalText(tempi.empty() ? 0 : tempi.front()->tempo(), 1) + " BPM, " +
           counted(SongPositions(song).barCount(), "bar");
}

/// Every second beat, counted from the first bar line and again from every second one: two bars become one.
Beats everySecondBeat(const BeatGrid& grid) {
    const BarLines& lines = grid.barLines();
    const auto& frames = grid.locations();
    Beats halved;
    const std::size_t pickup = sizeOf(lines.pickup());
    for (std::size_t i = lines.barCount() == 0 ? 0 : pickup % 2; i < pickup; i += 2)
        halved.push_back({frames[i], false});
    for (std::size_t bar = 0; bar < lines.barCount(); bar += 2) {
        const auto first = lines.bar(bar);
        const std::size_t end = bar + 1 < lines.barCount() ? lines.bar(bar + 1).upper : first.upper;
        for (std::size_t i = first.lower; i < end; i += 2)
            halved.push_back({frames[i], i == first.lower});
    }
    return halved;
}

/// A beat halfway between each two, and a bar line in the middle of each bar.
Beats twiceTheBeats(const BeatGrid& grid, std::int64_t frameCount) {
    const auto& frames = grid.locations();
    Beats doubled;
    std::size_t beatOfBar = 0;
    std::size_t barLength = 0;
    for (std::size_t i = 0; i < grid.size(); ++i) {
        if (grid.barLines().isDownbeat(i)) {
            const std::size_t length = sizeOf(grid.barLines().stretchFrom(i));
            const bool isLast = i + length == grid.size(); // it may break off
            barLength = isLast ? std::max(length, barLength) : length;
            beatOfBar = 0;
        }
        const std::int64_t gap = i + 1 < grid.size() ? frames[i + 1] - frames[i] : frames[i] - frames[i - 1];
        const auto opensBar = [&](std::size_t place) {
            return barLength > 0 && (place == 0 || place == barLength);
        };
        doubled.push_back({frames[i], opensBar(2 * beatOfBar)});
        if (i + 1 < grid.size() || frames[i] + gap / 2 <= frameCount)
            doubled.push_back({frames[i] + gap / 2, opensBar(2 * beatOfBar + 1)});
        ++beatOfBar;
    }
    return doubled;
}

/// Where the beat at the place lies among the counted ones; refuses a place between beats.
std::size_t beatAt(const Song& song, const BeatGrid& grid, const Position& at) {
    const std::int64_t frame = SongPositions(song).frame(at);
    const std::size_t beat = grid.firstAtOrAfter(frame);
    if (beat == grid.size() || grid.locations()[beat] != frame)
        refuse("there is no beat at " + at.text);
    return beat;
}

void replaceBeats(Song& song, const Beats& beats) {
    if (beats.size() < 2)
        refuse("two beats must stay");
    replaceGrid(song, beats, std::nullopt);
}

Action halveTempo(EditWords& /*words*/) {
    return [](Song& song) {
        const auto beats = everySecondBeat(gridOf(song));
        if (beats.size() < 2)
            refuse("the song has too few beats");
        replaceBeats(song, beats);
        setTempoFromBeats(song);
        return "half tempo: " + barsReport(song);
    };
}

Action doubleTempo(EditWords& /*words*/) {
    return [](Song& song) {
        const auto grid = gridOf(song);
        const auto& frames = grid.locations();
        for (std::size_t i = 0; i + 1 < frames.size(); ++i) {
            if (frames[i + 1] - frames[i] < 4)
                refuse("the beats lie too close together");
        }
        replaceBeats(song, twiceTheBeats(grid, song.recording.frameCount));
        setTempoFromBeats(song);
        return "double tempo: " + barsReport(song);
    };
}

Action setTempoAndStart(EditWords& words) {
    const std::string text = words.word("a tempo");
    const auto tempo = numberWithText(text);
    constexpr double kSlowest = 10;
    constexpr double kFastest = 1000;
    if (!tempo || !(*tempo >= kSlowest) || !(*tempo <= kFastest))
        throw EditWordError("'" + text + "' is not a valid tempo (10 to 1000 beats per minute)");
    std::optional<Position> from;
    if (words.takeIf("from"))
        from = words.position();
    return [=](Song& song) {
        auto& notes = *song.notes;
        const bool hasMetre = !notes.timeSignatureEntries().empty();
        const TimeSignature metre = hasMetre ? notes.timeSignature() : TimeSignature{4, 4};
        const auto former = countedBeats(song);
        const auto downbeats = former.downbeatLocations();
        const std::int64_t start = from                ? SongPositions(song).frame(*from)
                                   : downbeats.empty() ? 0
                                                       : downbeats.front();
        const double step = song.recording.sampleRate * 60 / *tempo / countedBeatsPerTempoBeat(metre);
        if (step < 4)
            refuse("the beats would lie too close together");
        const auto before = static_cast<std::int64_t>(static_cast<double>(start) / step);
        const auto after =
            static_cast<std::int64_t>(static_cast<double>(song.recording.frameCount - start) / step);
        if (before + after < 1)
            refuse("the recording is too short for two beats");
        Beats beats;
        for (std::int64_t i = -before; i <= after; ++i)
            beats.push_back(
                {start + std::llround(static_cast<double>(i) * step), i >= 0 && i % metre.numerator == 0});
        replaceGrid(song, beats, metre);
        setTempo(song, *tempo);
        return "tempo " + text + ", bar 1 at @" + std::to_string(start) + ", " +
               counted(SongPositions(song).barCount(), "bar");
    };
}

Action addBeat(EditWords& words) {
    words.expect("at");
    const Position at = words.position();
    return [=](Song& song) {
        const auto grid = gridOf(song);
        const std::int64_t frame = SongPositions(song).frame(at);
        const std::size_t next = grid.firstAtOrAfter(frame);
        if (next < grid.size() && grid.locations()[next] == frame)
            refuse("there is a beat at " + at.text + " already");
        auto beats = grid.beats();
        beats.insert(beats.begin() + static_cast<std::ptrdiff_t>(next), {frame, false});
        replaceBeats(song, beats);
        return "beat added at " + SongPositions(song).name(frame);
    };
}

Action removeBeat(EditWords& words) {
    words.expect("at");
    const Position at = words.position();
    return [=](Song& song) {
        const auto grid = gridOf(song);
        const std::size_t beat = beatAt(song, grid, at);
        auto beats = grid.beats();
        // The bar goes on to begin with its next beat.
        if (beats[beat].isDownbeat && beat + 1 < beats.size())
            beats[beat + 1].isDownbeat = true;
        beats.erase(beats.begin() + static_cast<std::ptrdiff_t>(beat));
        replaceBeats(song, beats);
        return "beat at " + at.text + " removed, " + counted(SongPositions(song).barCount(), "bar");
    };
}

Action moveBeat(EditWords& words) {
    const Position from = words.position();
    words.expect("to");
    const Position to = words.position();
    return [=](Song& song) {
        const auto grid = gridOf(song);
        const SongPositions positions(song);
        const std::size_t beat = beatAt(song, grid, from);
        const std::int64_t target = positions.frame(to);
        const auto& frames = grid.locations();
        const std::int64_t least = beat > 0 ? frames[beat - 1] + 1 : 0;
        const std::int64_t greatest =
            beat + 1 < frames.size() ? frames[beat + 1] - 1 : song.recording.frameCount;
        if (target < least || target > greatest)
            refuse("the beat must stay between its neighbours, from " + positions.timeText(least) + " to " +
                   positions.timeText(greatest));
        auto beats = grid.beats();
        beats[beat].location = target;
        replaceBeats(song, beats);
        return "beat " + from.text + " is at @" + std::to_string(target) + " (was @" +
               std::to_string(frames[beat]) + ")";
    };
}

Action tapDownbeats(EditWords& words) {
    std::vector<Position> taps;
    while (!words.isAtEnd())
        taps.push_back(words.position());
    if (taps.size() < 2)
        throw EditWordError("at least two taps are needed");
    return [=](Song& song) {
        const SongPositions positions(song);
        const TimeSignature metre =
            song.notes->timeSignatureEntries().empty() ? TimeSignature{4, 4} : song.notes->timeSignature();
        const std::int64_t quartersOfBeats = 4L * metre.numerator; // in a bar
        std::vector<std::int64_t> frames;
        for (const Position& tap : taps) {
            const std::int64_t frame = positions.frame(tap);
            if (!frames.empty() && frame - frames.back() < quartersOfBeats)
                refuse("the taps must follow one another, with room for the beats of a bar");
            frames.push_back(frame);
        }
        // Beats within a quarter of a beat of the first or the last tap are those taps.
        const auto quarterOfBeat = [&](std::size_t bar) {
            return (frames[bar + 1] - frames[bar]) / quartersOfBeats;
        };
        Beats beats;
        const auto former = countedBeats(song).beats();
        for (const GridBeat& beat : former) {
            if (beat.location + quarterOfBeat(0) < frames.front())
                beats.push_back(beat);
        }
        for (std::size_t bar = 0; bar + 1 < frames.size(); ++bar) {
            for (int i = 0; i < metre.numerator; ++i)
                beats.push_back(
                    {frames[bar] + (frames[bar + 1] - frames[bar]) * i / metre.numerator, i == 0});
        }
        beats.push_back({frames.back(), true});
        for (const GridBeat& beat : former) {
            if (beat.location - quarterOfBeat(frames.size() - 2) > frames.back())
                beats.push_back(beat);
        }
        replaceGrid(song, beats, metre);
        setTempoFromBeats(song);
        return counted(taps.size() - 1, "bar") + " between " + taps.front().text + " and " +
               taps.back().text + "; " + barsReport(song);
    };
}

} // namespace

std::span<const Verb> tempoVerbs() {
    static constexpr Verb kVerbs[] = {
        {"tempo", "= BPM [from POSITION]", "tempo=128 from 0:01.2", setTempoAndStart},
        {"half-tempo", "", "half-tempo", halveTempo},
        {"double-tempo", "", "double-tempo", doubleTempo},
        {"tap-downbeats", "POSITION POSITION [POSITION ...]", "tap-downbeats 0:10.1 0:12.0 0:13.9",
         tapDownbeats},
        {"add-beat", "at POSITION", "add-beat at 0:12.4", addBeat},
        {"remove-beat", "at POSITION", "remove-beat at 3:2", removeBeat},
        {"move-beat", "POSITION to POSITION", "move-beat 3:2 to 0:05.1", moveBeat},
    };
    return kVerbs;
}

} // namespace tarn::edits
