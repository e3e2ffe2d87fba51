#include "Song/Edits/EditVerbs.h"

#include "Song/CountedBeats.h"
#include "Song/GridReplacement.h"
#include "TarnFoundation/SortedSearch.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace tarn::edits {
namespace {

/// How many stored beats a counted beat takes up.
std::int64_t positionsPerBeat(const TarnNoteEntryStorage& notes) {
    return notes.useQuarterNoteSpacing() ? 2 : 1;
}

/// Where the last bar ends: one beat distance after the last beat, but not after the recording.
std::int64_t endOfGrid(const Song& document, const BeatGrid& grid) {
    const std::int64_t last = grid.locations().back();
    const std::int64_t frameCount = document.recording.frameCount;
    const std::int64_t natural =
        grid.size() > 1 ? last + (last - grid.locations()[grid.size() - 2]) : frameCount;
    return frameCount > last ? std::min(natural, frameCount) : std::max(natural, last + 1);
}

/// A bar as it is stored, and the one before it.
struct StoredBar {
    std::uint64_t identifier = 0;
    std::int64_t start = 0;
    std::int64_t end = 0;
    std::int64_t size = 0;
    std::int64_t previousStart = 0; ///< of the bar, or of the pickup's stretch, before it
    std::int64_t previousSize = 0;
};

StoredBar storedBar(const Song& document, std::int64_t number) {
    const std::int64_t start = SongPositions(document).startOfBar(number);
    const auto beats = document.notes->beatEntries();
    const BeatGrid grid = beatGridOf(beats);
    // Counted bars are the stored ones from the start of the recording on.
    const auto downbeats = grid.downbeatLocations();
    const auto countedIn = std::lower_bound(downbeats.begin(), downbeats.end(), 0) - downbeats.begin();
    const auto downbeat = grid.barLines().downbeats()[static_cast<std::size_t>(countedIn + number - 1)];
    const std::uint64_t identifier = beats[downbeat]->eventId();
    // The document knows the bar by its identifier: the first beat that has it.
    const std::size_t first = *firstIndexOfEntryWithId(beats, identifier);
    const auto bar = grid.barLines().stretchFrom(first);
    const auto previous = grid.barLines().stretchBefore(first);
    const bool followsBar = !previous.isEmpty() && grid.barLines().isDownbeat(previous.lower);
    return {identifier,
            start,
            grid.endOf(bar, endOfGrid(document, grid)),
            static_cast<std::int64_t>(sizeOf(bar)),
            followsBar ? grid.locations()[previous.lower] : 0,
            static_cast<std::int64_t>(sizeOf(previous))};
}

/// The counted beats of a song that is counted in n/4 when it is counted in 3n/8, or back: the beats that one
/// taps to stay, and have three eighths instead of two. Nothing for any other change of metre.
std::optional<std::vector<GridBeat>> compoundBeats(const Song& song, TimeSignature metre) {
    const TimeSignature present = song.notes->timeSignature();
    const BeatGrid grid = countedBeats(song);
    if (song.notes->timeSignatureEntries().empty() || grid.size() < 2)
        return std::nullopt;
    const auto& frames = grid.locations();
    const auto& lines = grid.barLines();
    std::vector<GridBeat> beats;
    if (present.denominator == 4 && metre.denominator == 8 && metre.numerator == 3 * present.numerator) {
        for (std::size_t i = 0; i < grid.size(); ++i) {
            const std::int64_t gap =
                i + 1 < grid.size() ? frames[i + 1] - frames[i] : frames[i] - frames[i - 1];
            for (int third = 0; third < 3; ++third) {
                const std::int64_t place = frames[i] + gap * third / 3;
                if (third == 0 || place <= song.recording.frameCount)
                    beats.push_back({place, third == 0 && lines.isDownbeat(i)});
            }
        }
        return beats;
    }
    if (present.denominator == 8 && metre.denominator == 4 && present.numerator == 3 * metre.numerator) {
        const std::size_t pickup = sizeOf(lines.pickup());
        for (std::size_t i = lines.barCount() == 0 ? 0 : pickup % 3; i < pickup; i += 3)
            beats.push_back({frames[i], false});
        for (std::size_t bar = 0; bar < lines.barCount(); ++bar) {
            for (std::size_t i = lines.bar(bar).lower; i < lines.bar(bar).upper; i += 3)
                beats.push_back({frames[i], lines.isDownbeat(i)});
        }
        return beats.size() < 2 ? std::nullopt : std::optional(beats);
    }
    return std::nullopt;
}

/// How long a beat of the tempo is; of a song without a metre a quarter.
double eighthsPerTempoBeat(const Song& song) {
    const TimeSignature metre =
        song.notes->timeSignatureEntries().empty() ? TimeSignature{4, 4} : song.notes->timeSignature();
    return countedBeatsPerTempoBeat(metre) * 8.0 / metre.denominator;
}

std::string metreOf(const TarnNoteEntryStorage& notes) {
    if (notes.timeSignatureEntries().empty())
        return "unknown";
    const TimeSignature metre = notes.timeSignature();
    return std::to_string(metre.numerator) + "/" + std::to_string(metre.denominator);
}

Action setMetre(EditWords& words) {
    const std::string text = words.word("a metre");
    const std::size_t slash = text.find('/');
    int numerator = 0;
    if (slash != std::string::npos)
        std::from_chars(text.data(), text.data() + slash, numerator);
    const std::string denominator = slash == std::string::npos ? "" : text.substr(slash + 1);
    constexpr int kLargestNumerator = 32;
    if (numerator < 1 || numerator > kLargestNumerator || (denominator != "4" && denominator != "8") ||
        text != std::to_string(numerator) + "/" + denominator)
        throw EditWordError(
            "'" + text + "' is not a valid metre of quarters or eighths (3/4, 6/8; 2/2 is counted as 4/4)");
    const auto top = static_cast<std::uint8_t>(numerator);
    const auto bottom = static_cast<std::uint8_t>(denominator == "4" ? 4 : 8);
    return [=](Song& document) {
        auto& notes = *document.notes;
        const std::string before = metreOf(notes);
        if (const auto beats = compoundBeats(document, {top, bottom})) {
            replaceGrid(document, *beats, TimeSignature{top, bottom});
            return "metre " + text + " (was " + before + "), " +
                   (bottom == 8 ? "each beat dotted, of three eighths" : "each beat of two eighths");
        }
        const double former = eighthsPerTempoBeat(document);
        notes.setTimeSignature(top, bottom);
        notes.applyTimeSignatureToBeatEntries(*notes.timeSignatureEntries().front());
        std::string report =
            "metre " + text + " (was " + before + "), " + counted(SongPositions(document).barCount(), "bar");
        const auto tempi = notes.tempoEntries();
        if (const double present = eighthsPerTempoBeat(document); present != former && !tempi.empty()) {
            const double tempo = static_cast<double>(tempi.front()->tempo()) * former / present;
            setTempo(document, tempo);
            report += ", " + decimalText(tempo, 1) + " BPM";
        }
        return report;
    };
}

Action moveBar(EditWords& words) {
    const std::int64_t number = words.wholeNumber("the number of a bar");
    words.expect("to");
    const Position to = words.position();
    return [=](Song& document) {
        const SongPositions positions(document);
        const StoredBar bar = storedBar(document, number);
        const std::int64_t target = positions.frame(to);
        const bool hasPrevious = bar.previousSize > 0;
        if ((hasPrevious && target <= bar.previousStart) || target >= bar.end)
            refuse("bar " + std::to_string(number) + " must begin between " +
                   positions.name(hasPrevious ? bar.previousStart : 0) + " and " + positions.name(bar.end) +
                   ", where its neighbours begin and end");
        if ((hasPrevious && target - bar.previousStart < bar.previousSize) || bar.end - target < bar.size)
            refuse("there is no room left for the beats of a bar");
        document.notes->setLocationOfBarEntry(bar.identifier, target, bar.end);
        return "bar " + std::to_string(number) + " begins at @" + std::to_string(target) + " (was @" +
               std::to_string(bar.start) + ")";
    };
}

Action setBarBeats(EditWords& words) {
    const std::int64_t number = words.wholeNumber("the number of a bar");
    words.takeIf("=");
    const std::int64_t count = words.wholeNumber("a number of beats");
    return [=](Song& document) {
        constexpr std::int64_t kMostBeats = 64;
        if (count < 1 || count > kMostBeats)
            refuse("a bar has 1 to " + std::to_string(kMostBeats) + " beats");
        auto& notes = *document.notes;
        const StoredBar bar = storedBar(document, number);
        if (bar.end - bar.start < count * positionsPerBeat(notes))
            refuse("bar " + std::to_string(number) + " is too short for so many beats");
        const std::int64_t before = notes.getNumberOfBeats(bar.identifier);
        notes.setNumberOfBeats(count, bar.identifier, bar.end);
        return "bar " + std::to_string(number) + " has " + counted(static_cast<std::size_t>(count), "beat") +
               " (was " + std::to_string(before) + ")";
    };
}

Action shiftDownbeats(EditWords& words) {
    const std::int64_t amount = words.wholeNumber("a number of beats");
    bool inPositions = false;
    if (!words.isAtEnd())
        inPositions = words.oneOf({"beat", "beats", "eighth", "eighths"}) >= 2;
    return [=](Song& document) {
        auto& notes = *document.notes;
        const auto count = static_cast<std::int64_t>(notes.beatEntries().size());
        if (SongPositions(document).barCount() == 0)
            refuse("the song has no downbeats yet");
        const std::int64_t unit = inPositions ? 1 : positionsPerBeat(notes);
        if (amount < -count / unit || amount > count / unit)
            refuse("the song has only " + counted(static_cast<std::size_t>(count / unit), "beat"));
        notes.shiftDownbeatsByOffset(amount * unit);
        const SongPositions positions(document);
        return "downbeats moved; " + counted(positions.barCount(), "bar") +
               (positions.barCount() > 0 ? ", the first at @" + std::to_string(positions.startOfBar(1)) : "");
    };
}

Action offsetDownbeats(EditWords& words) {
    const std::int64_t amount = words.wholeNumber("a number of beats");
    if (!words.takeIf("beats"))
        words.takeIf("beat");
    words.expect("from");
    const Position from = words.position();
    words.expect("to");
    const Position to = words.position();
    return [=](Song& document) {
        auto& notes = *document.notes;
        const SongPositions positions(document);
        const std::int64_t start = positions.frame(from);
        const std::int64_t end = positions.frame(to);
        const auto beats = notes.beatEntries();
        const BeatGrid grid = beatGridOf(beats);
        const std::size_t first = grid.firstAtOrAfter(start);
        const std::size_t past = grid.firstAtOrAfter(end);
        if (past < first + 2)
            refuse("there are no two beats between " + from.text + " and " + to.text);
        const auto length = static_cast<std::int64_t>(past - first);
        const std::int64_t unit = positionsPerBeat(notes);
        if (amount < -length / unit || amount > length / unit)
            refuse("there are only " + counted(static_cast<std::size_t>(length / unit), "beat") +
                   " between " + from.text + " and " + to.text);
        const auto lines = barLinesOf(BeatEntries(beats).subspan(first, past - first));
        const auto moves = lines.moves(amount * unit);
        for (const auto& move : moves) {
            if (lines.isDownbeat(move.to))
                refuse("a downbeat would fall on another one");
        }
        if (moves.empty())
            refuse("no bar begins between " + from.text + " and " + to.text);
        notes.offsetDownbeatEntries(amount * unit, beats[first]->eventId(), beats[past - 1]->eventId());
        return counted(moves.size(), "downbeat") + " moved between " + from.text + " and " + to.text;
    };
}

} // namespace

std::span<const Verb> gridVerbs() {
    static constexpr Verb kVerbs[] = {
        {"metre", "= (N/4 | N/8)", "metre=3/4", setMetre},
        {"meter", "= (N/4 | N/8)", "meter=6/8", setMetre},
        {"move-bar", "BAR to POSITION", "move-bar 5 to 1:05.2", moveBar},
        {"bar-beats", "BAR = COUNT", "bar-beats 7 = 5", setBarBeats},
        {"shift-downbeats", "COUNT [beats | eighths]", "shift-downbeats -1", shiftDownbeats},
        {"offset-downbeats", "COUNT [beats] from POSITION to POSITION", "offset-downbeats 1 from 3:1 to 9:1",
         offsetDownbeats},
    };
    return kVerbs;
}

} // namespace tarn::edits
