#include "Interchange/Formats/Formats.h"
#include "Interchange/GridPlaces.h"
#include "KELPMusic/HarteChord.h"
#include "Platform/PlainText.h"
#include "Song/ChartHarmony.h"

#include <algorithm>
#include <map>
#include <optional>
#include <ostream>

/// ChordPro (the file format as chordpro.org describes it), songs in grids: bars with a cell for each
/// beat, or for each half or quarter of one where chords change between beats.
namespace tarn::formats_detail {
namespace {

constexpr std::int64_t kFinestCell = GridPlaces::kTicksPerBeat / 4;
constexpr std::size_t kBarsInRow = 4;
/// Tells the number of the first bar where it is the pickup; other programs pass it over.
constexpr std::string_view kFirstBarDirective = "x_first_bar";

/// What may stand in a directive.
std::string directiveText(std::string_view text) {
    std::string line = onOneLine(text);
    for (char& c : line)
        c = c == '{' ? '(' : c == '}' ? ')' : c == '"' ? '\'' : c;
    return line;
}

class GridWriter {
public:
    GridWriter(const Song& song, bool isAtConcertPitch)
        : mSong(song), mSheet(song), mHarmony(song, isAtConcertPitch), mIsAtConcertPitch(isAtConcertPitch) {}

    void write(std::ostream& out) const {
        writeHead(out);
        const auto sections = mSheet.sections();
        const auto cells = cellsOfBars();
        std::size_t inRow = 0;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const auto section = sections.find(i);
            if (i == 0 || section != sections.end()) {
                if (i > 0)
                    out << (inRow > 0 ? "\n" : "") << "{end_of_grid}\n\n";
                out << "{start_of_grid";
                if (section != sections.end())
                    out << ": label=\"" << directiveText(section->second) << '"';
                out << "}\n";
                inRow = 0;
            }
            out << (inRow == 0 ? "| " : " ") << cells[i] << " |";
            if (++inRow == kBarsInRow) {
                out << "\n";
                inRow = 0;
            }
        }
        out << (inRow > 0 ? "\n" : "") << "{end_of_grid}\n";
    }

private:
    void writeHead(std::ostream& out) const {
        const auto directive = [&](std::string_view name, const std::string& value) {
            if (!value.empty())
                out << '{' << name << ": " << value << "}\n";
        };
        directive("title", directiveText(mSong.properties.title));
        directive("artist", directiveText(mSong.properties.artist));
        if (mHarmony.key())
            directive("key", mHarmony.key()->tonicChord()->string());
        if (!mIsAtConcertPitch && mSong.properties.capo > 0)
            directive("capo", std::to_string(mSong.properties.capo));
        const auto tempi = mSong.notes->tempoEntries();
        if (!tempi.empty())
            directive("tempo", decimalText(static_cast<double>(tempi.front()->tempo()), 1));
        const TimeSignature signature = mSong.notes->timeSignature();
        directive("time", std::to_string(signature.numerator) + "/" + std::to_string(signature.denominator));
        if (mSheet.bars().front().number == 0)
            directive(kFirstBarDirective, "0");
        out << "\n";
    }

    [[nodiscard]] std::string nameOf(const PlacedChord& placed) const {
        return chartLabel(mHarmony.chord(placed.chord));
    }

    /// A chord's name in the cell where it begins and in the first one of a bar, "." where it goes on.
    [[nodiscard]] std::vector<std::string> cellsOfBars() const {
        std::vector<std::string> bars;
        const auto chords = mSheet.chords(kFinestCell);
        auto chord = chords.begin();
        std::string sounding;
        for (const SheetBar& bar : mSheet.bars()) {
            const auto ticks = mSheet.ticks(bar);
            std::map<std::int64_t, std::string> names{{0, sounding.empty() ? "." : sounding}};
            std::int64_t step = GridPlaces::kTicksPerBeat;
            for (; chord != chords.end() && chord->tick < ticks.upper; ++chord) {
                const std::string name = nameOf(*chord);
                if (name == sounding)
                    continue;
                sounding = name;
                names[chord->tick - ticks.lower] = name;
                while ((chord->tick - ticks.lower) % step != 0)
                    step /= 2;
            }
            std::string cells;
            for (std::int64_t tick = 0; tick < ticks.upper - ticks.lower; tick += step) {
                const auto name = names.find(tick);
                cells += (cells.empty() ? "" : " ") + (name == names.end() ? "." : name->second);
            }
            bars.push_back(cells);
        }
        return bars;
    }

    const Song& mSong;
    Sheet mSheet;
    ChartHarmony mHarmony;
    bool mIsAtConcertPitch;
};

void writeChordPro(std::ostream& out, const Song& song, const WriteRequest& request) {
    GridWriter(song, request.options.has("concert")).write(out);
}

// Reading

std::vector<std::string> wordsIn(std::string_view text) {
    std::vector<std::string> words;
    std::size_t begin = 0;
    while ((begin = text.find_first_not_of(" \t", begin)) != std::string_view::npos) {
        const std::size_t end = std::min(text.find_first_of(" \t", begin), text.size());
        words.emplace_back(text.substr(begin, end - begin));
        begin = end;
    }
    return words;
}

/// A bar line, with the signs that it may carry: repeats, the end, the number of an ending, strokes.
bool isBarLine(const std::string& word) {
    return word.find('|') != std::string::npos && (word.front() == '|' || word.front() == ':') &&
           (word == "|s" || word == "|S" || word.find_first_not_of("|:.>0123456789") == std::string::npos);
}

/// The words of a row of a grid; bar lines that touch a chord are words of their own.
std::vector<std::string> wordsOfRow(std::string_view text) {
    std::vector<std::string> words;
    for (std::string word : wordsIn(text)) {
        while (!isBarLine(word) && word.find('|') != std::string::npos) {
            const std::size_t first = word.find_first_not_of("|:");
            const std::size_t end = first > 0 ? first : word.find('|');
            if (end >= word.size())
                break;
            words.push_back(word.substr(0, end));
            word.erase(0, end);
        }
        words.push_back(std::move(word));
    }
    return words;
}

/// A bar as it is read: each cell's chords.
using ReadBar = std::vector<std::vector<KELPChordRef>>;

class GridReader {
public:
    void read(std::string_view text) {
        constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
        if (text.starts_with(kByteOrderMark))
            text.remove_prefix(kByteOrderMark.size());
        while (!text.empty()) {
            ++mLine;
            const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
            readLine(text.substr(0, end));
            text.remove_prefix(end);
            if (!text.empty())
                text.remove_prefix(text.starts_with("\r\n") ? 2 : 1);
        }
        if (bars.empty())
            throw FormatError(mHasChordsOverWords
                                  ? "its chords stand over words, which do not say where bars begin; write "
                                    "them in a grid ({start_of_grid})"
                                  : "it holds no grid of chords ({start_of_grid})",
                              1);
    }

    std::vector<ReadBar> bars;
    std::vector<std::pair<std::size_t, std::string>> sections; ///< by the index of their first bar
    std::int64_t firstBar = 1;
    bool hasRepeats = false;

private:
    void readLine(std::string_view line) {
        const auto words = wordsOfRow(line);
        if (words.empty() || words.front().front() == '#')
            return;
        if (words.front().front() == '{')
            readDirective(line);
        else if (mIsInGrid)
            readRow(words);
        else
            mHasChordsOverWords = mHasChordsOverWords || line.find('[') != std::string_view::npos;
    }

    void readDirective(std::string_view line) {
        const std::size_t open = line.find('{');
        const std::size_t close = line.rfind('}');
        if (close == std::string_view::npos)
            throw FormatError("a directive does not end", mLine);
        const std::string_view content = line.substr(open + 1, close - open - 1);
        const std::size_t nameEnd = std::min(content.find_first_of(": \t"), content.size());
        const std::string name = lowerCased(content.substr(0, nameEnd));
        std::string_view value = content.substr(nameEnd);
        value.remove_prefix(std::min(value.find_first_not_of(": \t"), value.size()));
        if (name == "start_of_grid" || name == "sog") {
            mIsInGrid = true;
            openSection(value, "");
        } else if (name == "end_of_grid" || name == "eog") {
            mIsInGrid = false;
        } else if (name == "start_of_verse" || name == "sov") {
            openSection(value, "Verse");
        } else if (name == "start_of_chorus" || name == "soc") {
            openSection(value, "Chorus");
        } else if (name == "start_of_bridge" || name == "sob") {
            openSection(value, "Bridge");
        } else if (name == kFirstBarDirective) {
            firstBar = value == "0" ? 0 : 1;
        }
    }

    /// A label as an attribute, or all of the value, which before labels had names was the shape of a grid.
    void openSection(std::string_view value, const std::string& otherwise) {
        constexpr std::string_view kLabel = "label=\"";
        std::optional<std::string> name;
        if (const std::size_t label = value.find(kLabel); label != std::string_view::npos) {
            const std::string_view rest = value.substr(label + kLabel.size());
            name = std::string(rest.substr(0, rest.find('"')));
        } else if (value.find_first_not_of("0123456789+x \t") != std::string_view::npos &&
                   value.find('=') == std::string_view::npos) {
            name = std::string(value.substr(0, value.find_last_not_of(" \t") + 1));
        } else if (!otherwise.empty()) {
            name = otherwise;
        }
        if (!name)
            return;
        if (!sections.empty() && sections.back().first == bars.size())
            sections.pop_back();
        sections.emplace_back(bars.size(), *name);
    }

    /// What stands before the first bar line and after the last one is a margin.
    void readRow(const std::vector<std::string>& words) {
        const auto first = std::find_if(words.begin(), words.end(), isBarLine);
        if (first == words.end())
            return;
        std::vector<std::string> cells;
        for (auto word = first; word != words.end(); ++word) {
            if (!isBarLine(*word)) {
                cells.push_back(*word);
                continue;
            }
            if (word == first && (*word == "|s" || *word == "|S"))
                return; // strokes, not chords
            hasRepeats = hasRepeats || word->find(':') != std::string::npos;
            if (!cells.empty())
                addBar(cells);
            cells.clear();
        }
    }

    void addBar(const std::vector<std::string>& cells) {
        constexpr std::size_t kMostBars = 100'000;
        const bool repeatsOne = cells.size() == 1 && cells.front() == "%";
        const bool repeatsTwo = cells.size() == 1 && cells.front() == "%%";
        constexpr std::size_t kMostCells = 1000;
        if (bars.size() + 2 > kMostBars)
            throw FormatError("it has too many bars", mLine);
        if (cells.size() > kMostCells)
            throw FormatError("a bar has too many cells", mLine);
        if (repeatsOne || repeatsTwo) {
            const std::size_t back = repeatsOne ? 1 : 2;
            if (bars.size() < back)
                throw FormatError("there is no bar to repeat", mLine);
            for (std::size_t i = 0; i < back; ++i)
                bars.push_back(ReadBar(bars[bars.size() - back]));
            return;
        }
        ReadBar bar;
        for (const std::string& cell : cells)
            bar.push_back(chordsIn(cell));
        bars.push_back(std::move(bar));
    }

    [[nodiscard]] std::vector<KELPChordRef> chordsIn(const std::string& cell) const {
        std::vector<KELPChordRef> chords;
        if (cell == "." || cell == "/" || cell == "-" || cell == "x")
            return chords;
        std::string_view rest = cell;
        while (!rest.empty()) {
            const std::size_t end = std::min(rest.find('~'), rest.size());
            std::string_view name = rest.substr(0, end);
            rest.remove_prefix(std::min(end + 1, rest.size()));
            if (name.size() > 2 && name.starts_with('[') && name.ends_with(']'))
                name = name.substr(1, name.size() - 2);
            const auto chord = chordWithLabelOrName(name);
            if (!chord)
                throw FormatError("'" + std::string(name) + "' is not a valid chord", mLine);
            chords.push_back(chord);
        }
        return chords;
    }

    std::size_t mLine = 0;
    bool mIsInGrid = false;
    bool mHasChordsOverWords = false;
};

std::string readChordPro(Song& song, std::span<const std::byte> bytes, const ReadRequest& request) {
    GridReader file;
    file.read({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    const Sheet sheet(song);
    const ChartHarmony harmony(song, request.options.has("concert"));
    std::vector<PlacedChord> chords;
    std::vector<std::pair<std::int64_t, std::string>> sections;
    std::size_t excess = 0;
    auto section = file.sections.begin();
    for (std::size_t i = 0; i < file.bars.size(); ++i) {
        const SheetBar* const bar = sheet.barNumbered(file.firstBar + static_cast<std::int64_t>(i));
        if (section != file.sections.end() && section->first == i) {
            if (bar)
                sections.emplace_back(sheet.places().grid().locations()[bar->firstBeat], section->second);
            ++section;
        }
        if (!bar) {
            excess += file.firstBar + static_cast<std::int64_t>(i) > 0;
            continue;
        }
        const auto [begin, end] = sheet.ticks(*bar);
        const auto cellCount = static_cast<std::int64_t>(file.bars[i].size());
        for (std::int64_t cell = 0; cell < cellCount; ++cell) {
            const auto& names = file.bars[i][static_cast<std::size_t>(cell)];
            const auto count = static_cast<std::int64_t>(names.size());
            for (std::int64_t j = 0; j < count; ++j) {
                const auto chord = harmony.sounding(names[static_cast<std::size_t>(j)]);
                const std::int64_t tick = begin + (end - begin) * (cell * count + j) / (cellCount * count);
                // A bar shows again what goes on from the one before.
                if (chords.empty() || !(*chords.back().chord == *chord))
                    chords.push_back({tick, chord});
            }
        }
    }
    std::string report = replaceChordsOnGrid(song, sheet.places(), chords);
    if (!sections.empty())
        report += "; " + replaceSectionsAt(song, sections);
    if (excess > 0)
        report += "; " + std::to_string(excess) + " bars after the song's end were left out";
    if (file.hasRepeats)
        report += "; repeats are not played out";
    return report;
}

} // namespace

Format chordPro() {
    Format format;
    format.name = "chordpro";
    format.endings = {".cho", ".chordpro", ".pro"};
    format.help = "A song sheet in ChordPro, its chords in grids of bars";
    format.writes = "title, artist, key, capo, tempo, metre, chords by bars and sections";
    format.reads = "chords and sections of its grids, put on the song's bars";
    format.writeOptions = {concertOption()};
    format.readOptions = {concertOption()};
    format.write = writeChordPro;
    format.read = readChordPro;
    return format;
}

} // namespace tarn::formats_detail
