#include "Interchange/FileText.h"
#include "Interchange/Formats/Formats.h"
#include "Interchange/GridPlaces.h"
#include "Interchange/KeyImport.h"
#include "KELPMusic/HarteChord.h"
#include "Platform/PlainText.h"
#include "Song/ChartHarmony.h"

#include <algorithm>
#include <array>
#include <cmath>
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
        if (const auto& key = mHarmony.key())
            directive("key", key->tonicChord()->root().string() + (key->isMinor() ? "m" : ""));
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

/// Brackets hold blanks together.
std::vector<std::string_view> wordsIn(std::string_view text) {
    std::vector<std::string_view> words;
    const std::size_t lastBracket = text.rfind(']');
    std::size_t begin = 0;
    while ((begin = text.find_first_not_of(" \t", begin)) != std::string_view::npos) {
        std::size_t end = std::min(text.find_first_of(" \t", begin), text.size());
        if (text[begin] == '[' && lastBracket != std::string_view::npos && begin < lastBracket)
            end = std::max(end, text.find(']', begin) + 1);
        words.push_back(text.substr(begin, end - begin));
        begin = end;
    }
    return words;
}

/// A bar line, with the signs that it may carry: repeats, the end, the number of an ending, strokes.
bool isBarLine(std::string_view word) {
    constexpr std::size_t kLongest = 8; // characters
    return word.size() <= kLongest && word.find('|') != std::string_view::npos &&
           (word.front() == '|' || word.front() == ':') &&
           (word == "|s" || word == "|S" ||
            word.find_first_not_of("|:.>0123456789") == std::string_view::npos);
}

bool isAnnotation(std::string_view word) {
    return word.starts_with('*') || word.starts_with("[*");
}

/// The words of a row of a grid; bar lines that touch a chord are words of their own.
std::vector<std::string_view> wordsOfRow(std::string_view text) {
    std::vector<std::string_view> words;
    for (std::string_view word : wordsIn(text)) {
        while (!isAnnotation(word) && !isBarLine(word) && word.find('|') != std::string_view::npos) {
            const std::size_t first = word.find_first_not_of("|:");
            const std::size_t end = first > 0 ? first : word.find('|');
            if (end >= word.size())
                break;
            words.push_back(word.substr(0, end));
            word.remove_prefix(end);
        }
        words.push_back(word);
    }
    return words;
}

/// A bar as it is read: each cell's chords.
using ReadBar = std::vector<std::vector<KELPChordRef>>;

/// A cell in which nothing begins. An annotation is shown there, but is not a chord.
bool isPlaceholder(std::string_view cell) {
    return cell == "." || cell == "/" || cell == "-" || cell == "x" || isAnnotation(cell);
}

/// Whether the bar is a sign for the ones before it, whatever placeholders stand beside it.
bool isRepeat(const std::vector<std::string_view>& cells, std::string_view sign) {
    return std::count(cells.begin(), cells.end(), sign) == 1 &&
           std::all_of(cells.begin(), cells.end(),
                       [&](std::string_view cell) { return cell == sign || isPlaceholder(cell); });
}

class GridReader {
public:
    void read(std::string_view text) {
        while (!text.empty()) {
            ++mLine;
            std::string line(takeLine(text));
            std::size_t continued = 0;
            for (; line.ends_with('\\') && !text.empty(); ++continued) {
                line.pop_back();
                line += stripped(takeLine(text));
            }
            readLine(line);
            mLine += continued;
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
    std::optional<int> capo;
    std::string key;       ///< as it is written; empty where nothing is said
    int transposition = 0; ///< by which chords from here on are written too low

private:
    void readLine(std::string_view line) {
        constexpr std::size_t kLongestLine = 4 << 20; // bytes; a row of a grid does not come near it
        if (line.size() > kLongestLine)
            throw FormatError("the line is too long", mLine);
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
        readDirectiveContent(line.substr(open + 1, close - open - 1));
    }

    void readDirectiveContent(std::string_view content) {
        content = stripped(content);
        const std::size_t nameEnd = std::min(content.find_first_of(": \t"), content.size());
        std::string name = lowerCased(content.substr(0, nameEnd));
        std::string_view value = content.substr(nameEnd);
        value.remove_prefix(std::min(value.find_first_not_of(": \t"), value.size()));
        if (name == "meta" && !value.empty()) {
            readDirectiveContent(value);
            return;
        }
        name.resize(std::min(name.find('-'), name.size())); // for whom it holds, such as an instrument
        if (name == "start_of_grid" || name == "sog") {
            mIsInGrid = true;
            openSection(withoutShape(value), "");
        } else if (name == "end_of_grid" || name == "eog") {
            mIsInGrid = false;
        } else if (const std::string section = sectionBegunBy(name); !section.empty()) {
            openSection(value, section);
        } else if (name == "chorus") {
            hasRepeats = true;
        } else if (name == kFirstBarDirective) {
            firstBar = value == "0" ? 0 : 1;
        } else if (name == "capo") {
            capo = numberIn(name, value, 0, SongProperties::kHighestCapo);
        } else if (name == "transpose") {
            transposition = numberIn(name, value.substr(value.starts_with('+') ? 1 : 0), -127, 127);
        } else if (name == "key") {
            key = unquoted(value);
        }
    }

    static std::string unquoted(std::string_view value) {
        value = stripped(value);
        const bool isQuoted = value.size() > 1 && (value.front() == '"' || value.front() == '\'') &&
                              value.back() == value.front();
        return std::string(isQuoted ? value.substr(1, value.size() - 2) : value);
    }

    [[nodiscard]] int numberIn(const std::string& name, std::string_view value, int least,
                               int greatest) const {
        const std::string text = unquoted(value);
        const auto number = text.empty() ? 0 : numberWithText(text);
        if (!number || *number != std::floor(*number) || *number < least || *number > greatest)
            throw FormatError(inQuotes(text) + " is not a valid {" + name + "}", mLine);
        return static_cast<int>(*number);
    }

    /// "Verse" for start_of_verse and sov; empty for what begins no section of the song.
    static std::string sectionBegunBy(const std::string& name) {
        constexpr std::string_view kStart = "start_of_";
        constexpr std::array<std::string_view, 6> kNoSections{"tab", "abc", "ly", "svg", "textblock", "grid"};
        if (name == "sov" || name == "soc" || name == "sob")
            return name == "sov" ? "Verse" : name == "soc" ? "Chorus" : "Bridge";
        std::string section = name.starts_with(kStart) ? name.substr(kStart.size()) : "";
        if (section.empty() ||
            std::find(kNoSections.begin(), kNoSections.end(), section) != kNoSections.end())
            return "";
        if (section.front() >= 'a' && section.front() <= 'z')
            section.front() = static_cast<char>(section.front() - 'a' + 'A');
        return section;
    }

    /// Without "1+4x2+4", which says how many cells a grid has.
    static std::string_view withoutShape(std::string_view value) {
        const std::size_t end = std::min(value.find_first_of(" \t"), value.size());
        const bool isShape = value.substr(0, end).find_first_not_of("0123456789+x") == std::string_view::npos;
        return isShape ? stripped(value.substr(end)) : value;
    }

    /// A label as an attribute, or all of the value, as it was before labels had names.
    void openSection(std::string_view value, const std::string& otherwise) {
        constexpr std::string_view kLabel = "label=";
        std::optional<std::string> name;
        value = stripped(value);
        if (const std::size_t label = value.find(kLabel); label != std::string_view::npos) {
            std::string_view rest = value.substr(label + kLabel.size());
            const char quote = rest.starts_with('"') || rest.starts_with('\'') ? rest.front() : ' ';
            rest.remove_prefix(quote == ' ' ? 0 : 1);
            name = std::string(rest.substr(0, rest.find(quote)));
        } else if (!value.empty() && value.find('=') == std::string_view::npos) {
            name = unquoted(value);
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
    void readRow(const std::vector<std::string_view>& words) {
        const auto first = std::find_if(words.begin(), words.end(), isBarLine);
        if (first == words.end())
            return;
        std::vector<std::string_view> cells;
        for (auto word = first; word != words.end(); ++word) {
            if (!isBarLine(*word)) {
                cells.push_back(*word);
                continue;
            }
            if (word == first && (*word == "|s" || *word == "|S"))
                return; // strokes, not chords
            hasRepeats = hasRepeats || word->find(':') != std::string_view::npos;
            if (!cells.empty())
                addBar(cells);
            cells.clear();
        }
    }

    void addBar(const std::vector<std::string_view>& cells) {
        const bool repeatsTwo = isRepeat(cells, "%%");
        const bool isEmpty = std::all_of(cells.begin(), cells.end(), isPlaceholder);
        // A sign for two bars may take up the room of two.
        const bool belongsToSign = mHasTwoBarSign && isEmpty;
        mHasTwoBarSign = repeatsTwo;
        if (belongsToSign)
            return;
        if (repeatsTwo || isRepeat(cells, "%")) {
            const std::size_t back = repeatsTwo ? 2 : 1;
            if (bars.size() < back)
                throw FormatError("there is no bar to repeat", mLine);
            for (std::size_t i = 0; i < back; ++i)
                append(ReadBar(bars[bars.size() - back]));
            return;
        }
        constexpr std::size_t kMostCells = 100'000;
        if (cells.size() > kMostCells)
            throw FormatError("a bar has too many cells", mLine);
        ReadBar bar;
        for (const std::string_view cell : cells)
            bar.push_back(chordsIn(cell));
        append(std::move(bar));
    }

    void append(ReadBar bar) {
        constexpr std::size_t kMostBars = 100'000;
        constexpr std::size_t kMostCells = 2'000'000;
        mCellCount += bar.size();
        if (bars.size() == kMostBars || mCellCount > kMostCells)
            throw FormatError("it has too many bars", mLine);
        bars.push_back(std::move(bar));
    }

    [[nodiscard]] std::vector<KELPChordRef> chordsIn(std::string_view cell) const {
        std::vector<KELPChordRef> chords;
        if (isPlaceholder(cell) || cell == "%" || cell == "%%")
            return chords;
        std::string_view rest = cell;
        while (!rest.empty()) {
            const std::size_t end = std::min(rest.find('~'), rest.size());
            std::string_view name = rest.substr(0, end);
            rest.remove_prefix(std::min(end + 1, rest.size()));
            for (const std::string_view brackets : {"[]", "()"})
                if (name.size() > 2 && name.front() == brackets.front() && name.back() == brackets.back())
                    name = name.substr(1, name.size() - 2);
            const auto chord = chordWithLabelOrName(name);
            if (!chord)
                throw FormatError(inQuotes(name) + " is not a valid chord", mLine);
            chords.push_back(transposition == 0 ? chord : chord->chordWithOffset(transposition));
        }
        return chords;
    }

    std::size_t mLine = 0;
    std::size_t mCellCount = 0; ///< of all bars
    bool mIsInGrid = false;
    bool mHasTwoBarSign = false; ///< in the bar before
    bool mHasChordsOverWords = false;
};

/// The file's chords and sections, each at its place on the song's beats.
struct PlacedGrid {
    std::vector<PlacedChord> chords;
    std::vector<std::pair<std::int64_t, std::string>> sections; ///< by their frames
    std::size_t excess = 0;                                     ///< bars that the song does not have
};

PlacedGrid placedOn(const Sheet& sheet, const GridReader& file, const ChartHarmony& harmony) {
    PlacedGrid placed;
    auto section = file.sections.begin();
    for (std::size_t i = 0; i < file.bars.size(); ++i) {
        const SheetBar* const bar = sheet.barNumbered(file.firstBar + static_cast<std::int64_t>(i));
        if (section != file.sections.end() && section->first == i) {
            if (bar)
                placed.sections.emplace_back(sheet.places().grid().locations()[bar->firstBeat],
                                             section->second);
            ++section;
        }
        if (!bar) {
            placed.excess += file.firstBar + static_cast<std::int64_t>(i) > 0;
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
                if (placed.chords.empty() || !(*placed.chords.back().chord == *chord))
                    placed.chords.push_back({tick, chord});
            }
        }
    }
    return placed;
}

/// Takes over the key that the file is written in, so many semitones above the one that sounds, and says so.
std::string takeKey(Song& song, const GridReader& file, int shift) {
    if (file.key.empty())
        return "";
    KELPKeyRef key = keyWithName(file.key);
    if (!key)
        return "; the key " + inQuotes(file.key) + " is not a valid one and was passed over";
    const int moved = file.transposition - shift;
    const auto present = song.notes->globalKey();
    if (moved != 0)
        key = KELPKey::makeWithTonicChord(key->tonicChord()->chordWithOffset(moved));
    // What was moved has lost its spelling.
    const bool isPresent =
        present && present->isMinor() == key->isMinor() &&
        (moved == 0 ? present->tonicChord()->root() == key->tonicChord()->root()
                    : present->tonicChord()->root().value() == key->tonicChord()->root().value());
    if (isPresent)
        return "";
    replaceKey(song, key);
    return "; key " + key->description();
}

std::string readChordPro(Song& song, std::span<const std::byte> bytes, const ReadRequest& request) {
    GridReader file;
    file.read(fileText(bytes));
    const Sheet sheet(song);
    // The file says itself where its capo sits; without one it has none, whatever the song's is.
    const bool isAsItSounds = request.options.has("concert");
    const int shift = isAsItSounds ? 0 : song.properties.transposition - file.capo.value_or(0);
    std::string facts;
    if (!isAsItSounds && file.capo && *file.capo != song.properties.capo) {
        song.properties.capo = *file.capo;
        facts += "; capo " + std::to_string(*file.capo);
    }
    facts += takeKey(song, file, shift);
    const PlacedGrid placed = placedOn(sheet, file, ChartHarmony(song.notes->globalKey(), shift));
    std::string report = replaceChordsOnGrid(song, sheet.places(), placed.chords);
    if (!placed.sections.empty())
        report += "; " + replaceSectionsAt(song, placed.sections);
    report += facts;
    if (placed.excess > 0)
        report += "; " + std::to_string(placed.excess) + " bars after the song's end were left out";
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
    format.reads = "chords and sections of its grids, put on the song's bars; key and capo";
    format.writeOptions = {concertOption()};
    format.readOptions = {concertOption()};
    format.write = writeChordPro;
    format.read = readChordPro;
    return format;
}

} // namespace tarn::formats_detail
