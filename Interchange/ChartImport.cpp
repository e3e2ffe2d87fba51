#include "Interchange/FileText.h"
#include "Interchange/FormatError.h"
#include "Interchange/GridPlaces.h"
#include "Interchange/SongChart.h"
#include "KELPMusic/HarteChord.h"
#include "Platform/PlainText.h"
#include "Song/ChartHarmony.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace tarn {
namespace {

/// The parts of a text between separators that do not stand in parentheses.
std::vector<std::string> partsOutsideParentheses(std::string_view text, char separator) {
    std::vector<std::string> parts{""};
    int depth = 0;
    for (const char c : text) {
        depth += c == '(' ? 1 : c == ')' ? -1 : 0;
        if (c == separator && depth <= 0)
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

std::vector<std::string> chartWords(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

class ChartReader {
public:
    ChartReader(Song& song, bool isAtConcertPitch)
        : mSong(song), mSheet(song), mHarmony(song, isAtConcertPitch) {}

    void readLine(const std::string& line) {
        constexpr std::size_t kLongestLine = 1 << 20; // bytes
        constexpr std::size_t kMostEntries = 1'000'000;
        ++mLine;
        if (line.size() > kLongestLine)
            throw FormatError("the line is too long", mLine);
        if (mChords.size() + mOutside.size() + mSections.size() > kMostEntries)
            throw FormatError("it is too long for a chart", mLine);
        mIsAfterRows = mIsAfterRows || line == "Regions" || line == "Markers";
        if (mIsAfterRows)
            return; // names there may look like anything
        if (line.starts_with('[') && line.find(']') != std::string::npos) {
            mHeadings.clear();
            for (std::size_t begin = 0; begin < line.size();) {
                const std::size_t end = std::min(line.find("] [", begin), line.rfind(']'));
                if (end <= begin)
                    break;
                mHeadings.push_back(line.substr(begin + 1, end - begin - 1));
                begin = end + 2;
            }
            return;
        }
        const std::size_t bar = line.find(" |");
        if (bar != std::string::npos)
            readRow(chartWords(line.substr(0, bar)), line.substr(bar + 2));
    }

    std::string replaceAll() {
        if (!mHasRows)
            throw FormatError("it holds no rows of bars", 1);
        std::vector<std::shared_ptr<TarnChordEntry>> outside;
        for (const auto& [frame, chord] : mOutside) {
            outside.push_back(mSong.notes->newChordEntry());
            outside.back()->setLocation(frame);
            outside.back()->setChord(chord);
        }
        std::string report = replaceChordsOnGrid(mSong, mSheet.places(), mChords, std::move(outside));
        if (!mOutside.empty())
            report += ", " + std::to_string(mOutside.size()) + " of them outside the bars";
        if (!mSections.empty())
            report += "; " + replaceSectionsAt(mSong, mSections);
        if (mExcess > 0)
            report += "; " + std::to_string(mExcess) + " bars that the song does not have were left out";
        return report;
    }

private:
    /// A row begins with the first bar's number and time; one with a time alone lies outside the bars.
    void readRow(const std::vector<std::string>& margin, const std::string& cells) {
        if (margin.size() == 1)
            readOutside(margin.front(), cells);
        const auto first = margin.size() == 2 ? numberWithText(margin[0]) : std::nullopt;
        if (!first || !(*first >= 0 && *first < 1e6))
            return;
        auto number = static_cast<std::int64_t>(*first);
        mHasRows = true;
        for (const std::string& cell : partsOutsideParentheses(cells, '|')) {
            const auto beats = chartWords(cell);
            if (beats.empty())
                continue; // after the last bar line
            const SheetBar* const bar = mSheet.barNumbered(number++);
            if (bar)
                readBar(*bar, beats);
            else
                ++mExcess;
        }
    }

    /// Spreads the chords from the time, which is that of the first one in whole seconds, to where they would
    /// stand on a beat, or to the recording's end.
    void readOutside(const std::string& time, const std::string& cells) {
        const auto seconds = secondsOf(time);
        const auto names = chartWords(cells.substr(0, cells.rfind('|')));
        if (!seconds || names.empty())
            return;
        const auto& beats = mSheet.places().grid().locations();
        const auto margin = static_cast<std::int64_t>(mSong.notes->averageBeatEntrySpacing().value_or(0) / 2);
        const auto exact = static_cast<std::int64_t>(std::round(*seconds * mSong.recording.sampleRate));
        const bool isBefore = !mHasRows;
        const std::int64_t end = isBefore ? beats.front() - margin : mSong.recording.frameCount + 1;
        const std::int64_t begin =
            isBefore ? std::min(exact, end - 1) : std::max(exact, beats.back() + 2 * margin + 1);
        const auto count = static_cast<std::int64_t>(names.size());
        for (std::int64_t i = 0; i < count && begin < end; ++i)
            mOutside.push_back(
                {begin + (end - begin) * i / count, chordNamed(names[static_cast<std::size_t>(i)])});
    }

    /// Of "0:07", "1:02:09" and "-0:01".
    static std::optional<double> secondsOf(const std::string& time) {
        double seconds = 0;
        const bool isNegative = time.starts_with('-');
        for (const std::string& part : partsOutsideParentheses(time.substr(isNegative ? 1 : 0), ':')) {
            const auto number = numberWithText(part);
            if (!number || !(*number >= 0 && *number < 1e6))
                return std::nullopt;
            seconds = seconds * 60 + *number;
        }
        return isNegative ? -seconds : seconds;
    }

    void readBar(const SheetBar& bar, const std::vector<std::string>& beats) {
        // Several sections stand on beats one after another, more than there are close enough to count.
        const std::size_t count = mHeadings.size();
        for (std::size_t i = 0; i < count; ++i) {
            const double beat = count <= bar.beatCount
                                    ? static_cast<double>(i)
                                    : (static_cast<double>(bar.beatCount) - 0.6) * static_cast<double>(i) /
                                          static_cast<double>(count);
            mSections.emplace_back(mSheet.places().frame(static_cast<double>(bar.firstBeat) + beat),
                                   mHeadings[i]);
        }
        mHeadings.clear();
        for (std::size_t beat = 0; beat < beats.size() && beat < bar.beatCount; ++beat) {
            if (beats[beat] == "/")
                continue;
            const auto names = partsOutsideParentheses(beats[beat], ',');
            // The first beat shows again what goes on.
            if (beat == 0 && names.size() == 1 && names.front() == mSounding)
                continue;
            for (std::size_t i = 0; i < names.size(); ++i)
                addChord(bar, beat, names[i], i, names.size());
            mSounding = names.back();
        }
    }

    /// Several chords on a beat begin one after another in its first half, so that they stay nearest to it.
    void addChord(const SheetBar& bar, std::size_t beat, const std::string& name, std::size_t index,
                  std::size_t count) {
        const auto inBeat = static_cast<std::int64_t>(GridPlaces::kTicksPerBeat * index / (2 * count));
        const std::int64_t tick =
            mSheet.ticks(bar).lower + static_cast<std::int64_t>(beat) * GridPlaces::kTicksPerBeat + inBeat;
        if (mChords.empty() || mChords.back().tick < tick)
            mChords.push_back({tick, chordNamed(name)});
    }

    [[nodiscard]] KELPChordRef chordNamed(const std::string& name) const {
        const auto chord = chordWithLabelOrName(name);
        if (!chord)
            throw FormatError(inQuotes(name) + " is not a valid chord", mLine);
        return mHarmony.sounding(chord);
    }

    Song& mSong;
    Sheet mSheet;
    ChartHarmony mHarmony;
    std::size_t mLine = 0;
    std::vector<std::string> mHeadings; ///< of the next bar
    std::string mSounding;              ///< as it is written
    std::vector<PlacedChord> mChords;
    std::vector<std::pair<std::int64_t, KELPChordRef>> mOutside; ///< by their frames
    std::vector<std::pair<std::int64_t, std::string>> mSections;
    std::size_t mExcess = 0;
    bool mHasRows = false;
    bool mIsAfterRows = false;
};

} // namespace

std::string replaceByChart(Song& document, std::string_view chart, bool isAtConcertPitch) {
    ChartReader reader(document, isAtConcertPitch);
    while (!chart.empty())
        reader.readLine(std::string(takeLine(chart)));
    return reader.replaceAll();
}

} // namespace tarn
