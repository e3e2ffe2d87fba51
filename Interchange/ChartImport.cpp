#include "Interchange/FormatError.h"
#include "Interchange/GridPlaces.h"
#include "Interchange/SongChart.h"
#include "KELPMusic/HarteChord.h"
#include "Platform/PlainText.h"
#include "Song/ChartHarmony.h"

#include <algorithm>
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
        ++mLine;
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
        std::string report = replaceChordsOnGrid(mSong, mSheet.places(), mChords);
        if (!mSections.empty())
            report += "; " + replaceSectionsAt(mSong, mSections);
        if (mExcess > 0)
            report += "; " + std::to_string(mExcess) + " bars that the song does not have were left out";
        return report;
    }

private:
    /// A row begins with the first bar's number and time; one without a number lies outside the bars.
    void readRow(const std::vector<std::string>& margin, const std::string& cells) {
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

    void readBar(const SheetBar& bar, const std::vector<std::string>& beats) {
        const auto& locations = mSheet.places().grid().locations();
        for (std::size_t i = 0; i < mHeadings.size() && i < bar.beatCount; ++i)
            mSections.emplace_back(locations[bar.firstBeat + i], mHeadings[i]);
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
        const auto chord = chordWithLabelOrName(name);
        if (!chord)
            throw FormatError("'" + name + "' is not a valid chord", mLine);
        const auto inBeat = static_cast<std::int64_t>(GridPlaces::kTicksPerBeat * index / (2 * count));
        const std::int64_t tick =
            mSheet.ticks(bar).lower + static_cast<std::int64_t>(beat) * GridPlaces::kTicksPerBeat + inBeat;
        if (mChords.empty() || mChords.back().tick < tick)
            mChords.push_back({tick, mHarmony.sounding(chord)});
    }

    Song& mSong;
    Sheet mSheet;
    ChartHarmony mHarmony;
    std::size_t mLine = 0;
    std::vector<std::string> mHeadings; ///< of the next bar
    std::string mSounding;              ///< as it is written
    std::vector<PlacedChord> mChords;
    std::vector<std::pair<std::int64_t, std::string>> mSections;
    std::size_t mExcess = 0;
    bool mHasRows = false;
};

} // namespace

std::string replaceByChart(Song& document, std::string_view chart, bool isAtConcertPitch) {
    ChartReader reader(document, isAtConcertPitch);
    while (!chart.empty()) {
        const std::size_t end = std::min(chart.find('\n'), chart.size());
        std::string line(chart.substr(0, end));
        if (line.ends_with('\r'))
            line.pop_back();
        reader.readLine(line);
        chart.remove_prefix(std::min(end + 1, chart.size()));
    }
    return reader.replaceAll();
}

} // namespace tarn
