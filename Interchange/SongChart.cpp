#include "Interchange/SongChart.h"

#include "Interchange/GridPlaces.h"
#include "KELPMusic/ConcertPitch.h"
#include "KELPMusic/HarteChord.h"
#include "Platform/PlainText.h"
#include "Song/ChartHarmony.h"
#include "Song/CountedBeats.h"
#include "TarnFoundation/Formatting/TarnFormatting.h"
#include "TarnFoundation/Grid/SortedValues.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <sstream>

namespace tarn {

namespace {

constexpr std::size_t kPageWidth = 80; ///< characters

std::string withOneDecimal(double number) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << number;
    return text.str();
}

std::string tuningText(double frequency) {
    std::string text = "A4 = " + withOneDecimal(frequency) + " Hz";
    const double cents = frequency > 0 ? 1200 * std::log2(frequency / kConcertPitch) : 0;
    if (std::abs(cents) >= 0.05)
        text += std::string(" (") + (cents > 0 ? "+" : "") + withOneDecimal(cents) + " cents)";
    return text;
}

bool hasHarmony(const TarnChordEntry& entry) {
    return entry.chord() && !entry.chord()->isNoChord();
}

/// How many characters UTF-8 text has.
std::size_t lengthOf(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string padded(std::string text, std::size_t width, bool right = false) {
    if (const std::size_t length = lengthOf(text); length < width)
        text.insert(right ? 0 : text.size(), width - length, ' ');
    return text;
}

std::string shown(const std::optional<std::string>& name) {
    return onOneLine(name.value_or(""));
}

/// A section's name as it stands in brackets: what would read as the end of one name and the beginning of
/// another does not.
std::string headingText(const std::optional<std::string>& name) {
    constexpr std::string_view kBetween = "] [";
    std::string text = shown(name);
    for (std::size_t i = 0; (i = text.find(kBetween, i)) != std::string::npos; ++i)
        text.replace(i, kBetween.size(), ") (");
    return text;
}

/// A bar of the chart, or, without a number, the chords outside the beat grid.
struct Bar {
    std::string number;
    std::int64_t location = 0;
    std::vector<std::string> beats; ///< what stands on each beat
    std::string heading;            ///< the sections that begin here
};

class Chart {
public:
    Chart(const Song& document, bool isAtConcertPitch)
        : mDocument(document), mHarmony(document, isAtConcertPitch), mGrid(countedBeats(document)) {
        makeBars();
        placeChords();
        placeSections();
    }

    [[nodiscard]] std::string text() const {
        std::ostringstream out;
        if (mGrid.barLines().barCount() > 0)
            writeRows(out);
        else
            writeLists(out);
        writeRegions(out);
        writeMarkers(out);
        return out.str();
    }

private:
    void makeBars() {
        const auto& lines = mGrid.barLines();
        if (lines.barCount() == 0)
            return;
        const auto open = [&](const std::string& number, const Range<std::size_t>& beats) {
            if (beats.isEmpty())
                return;
            mBars.push_back({number, mGrid.locations()[beats.lower], {}, {}});
            mBars.back().beats.assign(sizeOf(beats), "/");
            for (std::size_t i = beats.lower; i < beats.upper; ++i)
                mPlaces.push_back({mBars.size() - 1, i - beats.lower});
        };
        open("0", lines.pickup());
        for (std::size_t i = 0; i < lines.barCount(); ++i)
            open(std::to_string(i + 1), lines.bar(i));
    }

    /// The beat that is nearest to the location, the later of two; there has to be one.
    [[nodiscard]] std::size_t nearestBeat(std::int64_t location) const {
        return *indexOfClosestElement(mGrid.locations(), location);
    }

    /// How far a chord may lie outside the grid and still stand on its first or last beat, in frames.
    [[nodiscard]] std::int64_t reach() const {
        return static_cast<std::int64_t>(mDocument.notes->averageBeatEntrySpacing().value_or(0) / 2);
    }

    [[nodiscard]] std::string chordName(const TarnChordEntry& entry) const {
        return chartLabel(mHarmony.chord(entry.chord()));
    }

    void placeChords() {
        if (mBars.empty())
            return;
        const auto& beats = mGrid.locations();
        const std::int64_t margin = beats.size() > 1 ? reach() : 0;
        std::vector<std::string> names(beats.size()); // of all chords on a beat
        std::vector<std::string> last(beats.size());  // of the one that goes on
        Bar before{"", 0, {}, {}}, after{"", 0, {}, {}};
        for (const auto& entry : mDocument.notes->chordEntries()) {
            const bool isBefore = entry->location() + margin < beats.front();
            const bool isAfter = entry->location() - 2 * margin > beats.back();
            if (isBefore || isAfter) {
                Bar& bar = isBefore ? before : after;
                if (bar.beats.empty())
                    bar.location = entry->location();
                if (hasHarmony(*entry))
                    bar.beats.push_back(chordName(*entry));
                continue;
            }
            const std::size_t beat = nearestBeat(entry->location());
            last[beat] = chordName(*entry);
            names[beat] += (names[beat].empty() ? "" : ",") + last[beat];
        }
        // A chord that goes on into the first bar is shown there.
        std::string sounding;
        if (names.front().empty() && !before.beats.empty()) {
            sounding = before.beats.back();
            before.beats.pop_back();
        }
        for (std::size_t i = 0; i < names.size(); ++i) {
            const auto [bar, beat] = mPlaces[i];
            if (!names[i].empty())
                sounding = last[i];
            if (!names[i].empty() || (beat == 0 && !sounding.empty()))
                mBars[bar].beats[beat] = names[i].empty() ? sounding : names[i];
        }
        if (!after.beats.empty())
            mBars.push_back(after);
        if (!before.beats.empty()) {
            mBars.insert(mBars.begin(), before);
            for (Place& place : mPlaces)
                ++place.bar;
        }
    }

    void placeSections() {
        if (mBars.empty())
            return;
        for (const auto& section : mDocument.structure->sectionEntries())
            mBars[mPlaces[nearestBeat(section->location())].bar].heading +=
                "[" + headingText(section->name()) + "] ";
    }

    void writeRows(std::ostringstream& out) const {
        constexpr std::size_t margin = 14; // characters before the first bar of a row
        std::vector<std::string> cells;
        std::size_t width = 0;
        for (const Bar& bar : mBars) {
            cells.emplace_back();
            for (const std::string& beat : bar.beats)
                cells.back() += (cells.back().empty() ? "" : " ") + beat;
            width = std::max(width, cells.back().size());
        }
        width = std::min(width, kPageWidth); // one endless bar does not widen all others
        const std::size_t fitting = (kPageWidth - margin) / (width + 3);
        const std::size_t perRow = fitting >= 4 ? 4 : fitting >= 2 ? 2 : 1;
        out << "\n";
        std::size_t inRow = 0;
        for (std::size_t i = 0; i < mBars.size(); ++i) {
            const Bar& bar = mBars[i];
            const bool isOutside = bar.number.empty() || (i > 0 && mBars[i - 1].number.empty());
            if (inRow == perRow || (inRow > 0 && (isOutside || !bar.heading.empty()))) {
                out << "\n";
                inRow = 0;
            }
            if (!bar.heading.empty())
                out << (i == 0 ? "" : "\n") << bar.heading.substr(0, bar.heading.size() - 1) << "\n";
            if (inRow == 0)
                out << padded(bar.number, 4, true) << "  " << padded(time(bar.location), 6, true) << " |";
            out << " " << padded(cells[i], width) << " |";
            ++inRow;
        }
        out << "\n";
    }

    void writeLists(std::ostringstream& out) const {
        const auto sections = mDocument.structure->sectionEntries();
        if (!sections.empty())
            out << "\nSections\n";
        for (const auto& section : sections)
            out << "  " << padded(preciseTime(section->location()), 9, true) << "  " << shown(section->name())
                << "\n";
        const auto chords = mDocument.notes->chordEntries();
        if (!chords.empty())
            out << "\nChords\n";
        for (const auto& chord : chords)
            out << "  " << padded(preciseTime(chord->location()), 9, true) << "  " << chordName(*chord)
                << "\n";
    }

    void writeRegions(std::ostringstream& out) const {
        const auto regions = mDocument.notes->regionEntries();
        if (!regions.empty())
            out << "\nRegions\n";
        for (const auto& region : regions) {
            if (!region->isValid())
                continue;
            out << "  " << padded(shown(region->name()), 16) << "  " << place(region->location()) << " to "
                << place(region->end()) << "\n";
        }
    }

    void writeMarkers(std::ostringstream& out) const {
        const auto markers = mDocument.notes->markerEntries();
        if (!markers.empty())
            out << "\nMarkers\n";
        for (const auto& marker : markers)
            out << "  " << padded(shown(marker->name()), 16) << "  " << place(marker->location()) << "\n";
    }

    [[nodiscard]] std::string time(std::int64_t location) const {
        return formattedDuration(mDocument.seconds(location));
    }
    [[nodiscard]] std::string preciseTime(std::int64_t location) const {
        return formattedDuration(mDocument.seconds(location), DurationPrecision::tenths);
    }
    /// "bar 5 beat 3 (0:09.5)", or the time alone outside the bars.
    [[nodiscard]] std::string place(std::int64_t location) const {
        const auto place = mGrid.position(location);
        if (!place)
            return preciseTime(location);
        return "bar " + std::to_string(place->bar) + " beat " + std::to_string(place->beat) + " (" +
               preciseTime(location) + ")";
    }

    /// Where a counted beat stands in the chart.
    struct Place {
        std::size_t bar;
        std::size_t beat;
    };

    const Song& mDocument;
    ChartHarmony mHarmony;
    BeatGrid mGrid;             ///< the counted beats
    std::vector<Bar> mBars;     ///< those of the chart, including what lies outside the grid
    std::vector<Place> mPlaces; ///< one for each counted beat
};

/// The mean over the time that chords last.
double meanChordConfidence(const Song& song) {
    const auto chords = song.notes->chordEntries();
    double sum = 0, time = 0;
    for (std::size_t i = 0; i < chords.size(); ++i) {
        const auto found = song.facts.chords.find(chords[i]->eventId());
        if (found == song.facts.chords.end())
            continue;
        const auto end = i + 1 < chords.size() ? chords[i + 1]->location() : song.recording.frameCount;
        const auto length = static_cast<double>(std::max<std::int64_t>(end - chords[i]->location(), 0));
        sum += length * found->second;
        time += length;
    }
    return time > 0 ? sum / time : 0;
}

/// "beats 97 %, metre 95 %, chords 81 %"; empty where no analysis says how sure it is.
std::string confidenceText(const Song& song) {
    std::string text;
    const auto add = [&](const char* what, double confidence) {
        text +=
            (text.empty() ? "" : ", ") + std::string(what) + " " + decimalText(100 * confidence, 0) + " %";
    };
    for (const auto& [kind, name] :
         {std::pair(BeatKind::kName, "beats"), std::pair(TimeSignatureKind::kName, "metre"),
          std::pair(KeyKind::kName, "key")})
        if (const auto found = song.facts.overall.find(kind); found != song.facts.overall.end())
            add(name, found->second);
    if (!song.facts.chords.empty())
        add("chords", meanChordConfidence(song));
    return text;
}

/// As the chart has it, and as it sounds where that is something else.
std::string keyText(const Song& document, bool isAtConcertPitch) {
    const KELPKeyRef sounding = document.notes->globalKey();
    if (!sounding)
        return "unknown";
    const ChartHarmony harmony(document, isAtConcertPitch);
    return harmony.key()->description() +
           (harmony.shift() == 0 ? "" : ", recorded in " + sounding->description());
}

} // namespace

std::string songFacts(const Song& document, bool isAtConcertPitch) {
    const TarnNoteEntryStorage& notes = *document.notes;
    const auto tempi = notes.tempoEntries();
    const auto pitches = notes.standardPitchEntries();
    const TimeSignature signature = notes.timeSignature();
    const std::size_t barCount = countedBeats(document).barLines().barCount();
    const std::string unknown = "unknown";

    std::ostringstream out;
    const auto& properties = document.properties;
    if (!properties.title.empty())
        out << "Title      " << onOneLine(properties.title) << "\n";
    if (!properties.artist.empty())
        out << "Artist     " << onOneLine(properties.artist) << "\n";
    out << "Recording  " << (document.hasRecording() ? onOneLine(document.recording.fileName) : "none")
        << ", " << formattedDuration(document.seconds(document.recording.frameCount)) << ", "
        << document.recording.sampleRate << " Hz\n";
    out << "Tempo      " << (tempi.empty() ? unknown : withOneDecimal(tempi.front()->tempo()) + " BPM")
        << "\n";
    out << "Metre      "
        << (notes.timeSignatureEntries().empty()
                ? unknown
                : std::to_string(signature.numerator) + "/" + std::to_string(signature.denominator))
        << "\n";
    out << "Key        " << keyText(document, isAtConcertPitch) << "\n";
    out << "Tuning     " << (pitches.empty() ? unknown : tuningText(pitches.front()->frequency())) << "\n";
    out << "Bars       " << (barCount > 0 ? std::to_string(barCount) : unknown) << "\n";
    if (!isAtConcertPitch && properties.capo != 0)
        out << "Capo       " << properties.capo << "\n";
    if (!isAtConcertPitch && properties.transposition != 0)
        out << "Transposed " << (properties.transposition > 0 ? "+" : "") << properties.transposition << "\n";
    if (const auto confidence = confidenceText(document); !confidence.empty())
        out << "Confidence " << confidence << "\n";
    return out.str();
}

std::string firstChords(const Song& document, std::size_t count) {
    const ChartHarmony harmony(document);
    std::string names;
    std::size_t listed = 0;
    for (const auto& entry : document.notes->chordEntries()) {
        if (!hasHarmony(*entry))
            continue;
        if (listed == count)
            return names + " …";
        names += (names.empty() ? "" : " ") + chartLabel(harmony.chord(entry->chord()));
        ++listed;
    }
    return names.empty() ? "unknown" : names;
}

std::string songChart(const Song& document, bool isAtConcertPitch) {
    return Chart(document, isAtConcertPitch).text();
}

} // namespace tarn
