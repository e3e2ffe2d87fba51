#include "Interchange/Formats/Formats.h"
#include "Interchange/Formats/XMLText.h"
#include "Interchange/GridPlaces.h"
#include "KELPMusic/KELPChordTable.h"
#include "Platform/PlainText.h"
#include "Song/ChartHarmony.h"
#include "Song/GridReplacement.h"
#include "TarnFoundation/BeatSpacing.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <ostream>
#include <pugixml.hpp>
#include <set>
#include <utility>

/// Lead sheets in MusicXML 4.0 (W3C Music Notation Community Group, 2021): bars, metre, key, chord symbols
/// and rehearsal marks, without a melody.
namespace tarn::formats_detail {
namespace {

using Intervals = std::set<int>; ///< semitones above the root, without the root

/// The kinds of chords that MusicXML names, the plainer ones first. Thirteenths have no eleventh where there
/// is a major third, as musicians play them.
struct XMLKind {
    const char* name;
    Intervals intervals;
};

const std::vector<XMLKind>& xmlKinds() {
    static const std::vector<XMLKind> kinds{
        {"major", {4, 7}},
        {"minor", {3, 7}},
        {"augmented", {4, 8}},
        {"diminished", {3, 6}},
        {"dominant", {4, 7, 10}},
        {"major-seventh", {4, 7, 11}},
        {"minor-seventh", {3, 7, 10}},
        {"diminished-seventh", {3, 6, 9}},
        {"augmented-seventh", {4, 8, 10}},
        {"half-diminished", {3, 6, 10}},
        {"major-minor", {3, 7, 11}},
        {"major-sixth", {4, 7, 9}},
        {"minor-sixth", {3, 7, 9}},
        {"dominant-ninth", {4, 7, 10, 14}},
        {"major-ninth", {4, 7, 11, 14}},
        {"minor-ninth", {3, 7, 10, 14}},
        {"dominant-11th", {4, 7, 10, 14, 17}},
        {"major-11th", {4, 7, 11, 14, 17}},
        {"minor-11th", {3, 7, 10, 14, 17}},
        {"dominant-13th", {4, 7, 10, 14, 21}},
        {"major-13th", {4, 7, 11, 14, 21}},
        {"minor-13th", {3, 7, 10, 14, 17, 21}},
        {"suspended-second", {2, 7}},
        {"suspended-fourth", {5, 7}},
        {"power", {7}},
        {"pedal", {}},
    };
    return kinds;
}

/// A degree of a chord, 1 the root, and by how much it is raised against a dominant chord's.
struct Degree {
    int value = 1;
    int alteration = 0;
};

constexpr std::array<int, 7> kDominantScale{0, 2, 4, 5, 7, 9, 10};

int semitonesOf(const Degree& degree) {
    return kDominantScale[static_cast<std::size_t>((degree.value - 1) % 7)] + 12 * ((degree.value - 1) / 7) +
           degree.alteration;
}

Degree degreeOf(int semitones) {
    static constexpr std::array<Degree, 12> kWithinOctave{
        {{1, 0}, {2, -1}, {2, 0}, {3, -1}, {3, 0}, {4, 0}, {5, -1}, {5, 0}, {5, 1}, {6, 0}, {7, 0}, {7, 1}}};
    static constexpr std::array<Degree, 12> kBeyond{
        {{1, 0}, {2, -1}, {2, 0}, {2, 1}, {3, 0}, {4, 0}, {4, 1}, {5, 0}, {6, -1}, {6, 0}, {7, 0}, {7, 1}}};
    Degree degree = (semitones < 12 ? kWithinOctave : kBeyond)[static_cast<std::size_t>(semitones % 12)];
    degree.value += 7 * (semitones / 12);
    return degree;
}

struct DegreeChange {
    Degree degree;
    const char* type; ///< "add", "alter" or "subtract"
};

/// What has to be done to a kind to get the intervals.
std::vector<DegreeChange> changesFrom(const Intervals& kind, const Intervals& wanted) {
    std::vector<DegreeChange> changes;
    Intervals added;
    std::set_difference(wanted.begin(), wanted.end(), kind.begin(), kind.end(),
                        std::inserter(added, added.end()));
    for (const int interval : kind) {
        if (wanted.contains(interval))
            continue;
        const int value = degreeOf(interval).value;
        const auto other =
            std::find_if(added.begin(), added.end(), [&](int i) { return degreeOf(i).value == value; });
        if (other == added.end()) {
            changes.push_back({{value, 0}, "subtract"});
        } else {
            changes.push_back({{value, *other - interval}, "alter"});
            added.erase(other);
        }
    }
    for (const int interval : added)
        changes.push_back({degreeOf(interval), "add"});
    return changes;
}

Intervals intervalsOf(const KELPChord& chord) {
    Intervals intervals;
    for (const std::int32_t interval : chord.chordIntervals())
        if (interval != 0)
            intervals.insert(interval);
    return intervals;
}

void appendNote(pugi::xml_node parent, const char* prefix, const KELPNote& note, const char* text = nullptr) {
    constexpr std::string_view kLetters = "CDEFGAB";
    auto step = parent.append_child((std::string(prefix) + "-step").c_str());
    if (text)
        step.append_attribute("text") = text;
    const std::string letter(1, kLetters[static_cast<std::size_t>(note.letter())]);
    step.text() = letter.c_str();
    if (note.accidental() != 0)
        parent.append_child((std::string(prefix) + "-alter").c_str()).text() = note.accidental();
}

void appendHarmony(pugi::xml_node measure, const KELPChordRef& chord, std::int64_t offset) {
    auto harmony = measure.append_child("harmony");
    if (!chord || chord->isNoChord()) {
        appendNote(harmony.append_child("root"), "root", KELPNote(), "");
        auto kind = harmony.append_child("kind");
        kind.append_attribute("text") = "N.C.";
        kind.text() = "none";
    } else {
        const Intervals intervals = intervalsOf(*chord);
        const auto cost = [&](const XMLKind& kind) { return changesFrom(kind.intervals, intervals).size(); };
        const auto& best =
            *std::min_element(xmlKinds().begin(), xmlKinds().end(),
                              [&](const XMLKind& a, const XMLKind& b) { return cost(a) < cost(b); });
        appendNote(harmony.append_child("root"), "root", chord->root());
        auto kind = harmony.append_child("kind");
        kind.append_attribute("text") = chord->chordWithNewRoot(chord->root(), {})
                                            ->string()
                                            .substr(chord->root().string().size())
                                            .c_str();
        kind.text() = best.name;
        if (chord->addedBass())
            appendNote(harmony.append_child("bass"), "bass", *chord->addedBass());
        for (const auto& [degree, type] : changesFrom(best.intervals, intervals)) {
            auto element = harmony.append_child("degree");
            element.append_child("degree-value").text() = degree.value;
            element.append_child("degree-alter").text() = degree.alteration;
            element.append_child("degree-type").text() = type;
        }
    }
    if (offset != 0)
        harmony.append_child("offset").text() = static_cast<long long>(offset);
}

/// The note value that a counted beat is.
int beatTypeOf(const Song& song) {
    const int denominator = song.notes->timeSignature().denominator;
    return std::has_single_bit(static_cast<unsigned>(denominator)) && denominator <= 64 ? denominator : 4;
}

/// Chords stand on twelfths of beats, which hold sixteenths and triplets.
constexpr std::int64_t kTicksBetweenChords = GridPlaces::kTicksPerBeat / 12;

/// The key under the name whose signature has at most seven accidentals: Ab major for G# major.
KELPKeyRef keyWithSignature(const KELPKeyRef& key) {
    const auto& tonic = key->tonicChord();
    const int fifths = tonic->midiKeyValue() + (key->isMinor() ? 3 : 0);
    return KELPKey::makeWithTonicChord(tonic->chordWithNewRoot(KELPNote::noteWithFifths(fifths), {}));
}

class LeadSheetWriter {
public:
    LeadSheetWriter(const Song& song, bool isAtConcertPitch)
        : mSong(song), mSheet(song), mHarmony(song, isAtConcertPitch), mBeatType(beatTypeOf(song)) {
        if (!mHarmony.key())
            return;
        mKey = keyWithSignature(mHarmony.key());
        mIsRespelled = mKey->tonicChord()->root() != mHarmony.key()->tonicChord()->root();
    }

    void write(std::ostream& out) {
        pugi::xml_document document;
        auto declaration = document.append_child(pugi::node_declaration);
        declaration.append_attribute("version") = "1.0";
        declaration.append_attribute("encoding") = "UTF-8";
        document.append_child(pugi::node_doctype)
            .set_value("score-partwise PUBLIC \"-//Recordare//DTD MusicXML 4.0 Partwise//EN\" "
                       "\"http://www.musicxml.org/dtds/partwise.dtd\"");
        auto score = document.append_child("score-partwise");
        score.append_attribute("version") = "4.0";
        addHead(score);
        auto part = score.append_child("part");
        part.append_attribute("id") = "P1";
        addMeasures(part);
        writeXML(out, document);
    }

private:
    void addHead(pugi::xml_node score) const {
        const auto& properties = mSong.properties;
        if (!properties.title.empty())
            score.append_child("work").append_child("work-title").text() = xmlText(properties.title).c_str();
        auto identification = score.append_child("identification");
        if (!properties.artist.empty()) {
            auto creator = identification.append_child("creator");
            creator.append_attribute("type") = "artist";
            creator.text() = xmlText(properties.artist).c_str();
        }
        identification.append_child("encoding").append_child("software").text() =
            "TarnFoundation " TARN_VERSION;
        auto part = score.append_child("part-list").append_child("score-part");
        part.append_attribute("id") = "P1";
        part.append_child("part-name").text() = "Chords";
    }

    void addMeasures(pugi::xml_node part) {
        const auto sections = mSheet.sections();
        const auto chords = mSheet.chords(kTicksBetweenChords);
        auto chord = chords.begin();
        for (std::size_t i = 0; i < mSheet.bars().size(); ++i) {
            const SheetBar& bar = mSheet.bars()[i];
            const auto ticks = mSheet.ticks(bar);
            auto measure = part.append_child("measure");
            measure.append_attribute("number") = static_cast<long long>(bar.number);
            if (bar.number == 0)
                measure.append_attribute("implicit") = "yes";
            addAttributes(measure, i);
            if (i == 0)
                addTempo(measure);
            if (const auto section = sections.find(i); section != sections.end()) {
                auto direction = measure.append_child("direction");
                direction.append_attribute("placement") = "above";
                direction.append_child("direction-type").append_child("rehearsal").text() =
                    xmlText(section->second).c_str();
            }
            for (; chord != chords.end() && chord->tick < ticks.upper; ++chord)
                appendHarmony(measure, written(chord->chord), chord->tick - ticks.lower);
            auto note = measure.append_child("note");
            note.append_child("rest").append_attribute("measure") = "yes";
            note.append_child("duration").text() = static_cast<long long>(ticks.upper - ticks.lower);
            note.append_child("voice").text() = 1;
        }
    }

    [[nodiscard]] KELPChordRef written(const KELPChordRef& sounding) const {
        const auto chord = mHarmony.chord(sounding);
        return mIsRespelled ? mKey->scaleNormalizedChord(chord) : chord;
    }

    /// Divisions are such that a beat has as many as ticks.
    void addAttributes(pugi::xml_node measure, std::size_t index) {
        const SheetBar& bar = mSheet.bars()[index];
        // A pickup is part of a bar like the next one.
        const bool isPickup = bar.number == 0 && index + 1 < mSheet.bars().size();
        const std::size_t beats = isPickup ? mSheet.bars()[index + 1].beatCount : bar.beatCount;
        if (index > 0 && beats == mBeats)
            return;
        mBeats = beats;
        auto attributes = measure.append_child("attributes");
        if (index == 0) {
            attributes.append_child("divisions").text() =
                std::max(GridPlaces::kTicksPerBeat * mBeatType / 4, 1);
            if (mKey) {
                auto key = attributes.append_child("key");
                key.append_child("fifths").text() = mKey->tonicChord()->midiKeyValue();
                key.append_child("mode").text() = mKey->isMinor() ? "minor" : "major";
            }
        }
        auto time = attributes.append_child("time");
        time.append_child("beats").text() = static_cast<long long>(beats);
        time.append_child("beat-type").text() = mBeatType;
        if (index > 0)
            return;
        auto clef = attributes.append_child("clef");
        clef.append_child("sign").text() = "G";
        clef.append_child("line").text() = 2;
        addTransposition(attributes);
        auto slash = attributes.append_child("measure-style").append_child("slash");
        slash.append_attribute("type") = "start";
        slash.append_attribute("use-stems") = "no";
    }

    /// What has to be added to what is written to get what sounds.
    void addTransposition(pugi::xml_node attributes) const {
        constexpr std::array<int, 12> kSteps{0, 1, 1, 2, 2, 3, 3, 4, 5, 5, 6, 6}; ///< of intervals
        const int semitones = -mHarmony.shift();
        if (semitones == 0)
            return;
        const int sign = semitones < 0 ? -1 : 1;
        auto transpose = attributes.append_child("transpose");
        transpose.append_child("diatonic").text() =
            sign * kSteps[static_cast<std::size_t>(std::abs(semitones) % 12)];
        transpose.append_child("chromatic").text() = sign * (std::abs(semitones) % 12);
        if (std::abs(semitones) >= 12)
            transpose.append_child("octave-change").text() = sign * (std::abs(semitones) / 12);
    }

    void addTempo(pugi::xml_node measure) const {
        const auto tempi = mSong.notes->tempoEntries();
        const double beatsPerMinute = tempi.empty() ? 0 : static_cast<double>(tempi.front()->tempo());
        constexpr double kFastest = 1000;
        if (!(beatsPerMinute > 0 && beatsPerMinute <= kFastest))
            return;
        const auto& notes = *mSong.notes;
        const int countedPerBeat =
            notes.timeSignatureEntries().empty() ? 1 : countedBeatsPerTempoBeat(notes.timeSignature());
        const bool isDotted = countedPerBeat == 3;
        const double quartersPerMinute = beatsPerMinute * countedPerBeat * 4 / mBeatType;
        auto direction = measure.append_child("direction");
        direction.append_attribute("placement") = "above";
        auto metronome = direction.append_child("direction-type").append_child("metronome");
        metronome.append_child("beat-unit").text() = "quarter";
        if (isDotted)
            metronome.append_child("beat-unit-dot");
        metronome.append_child("per-minute").text() =
            decimalText(isDotted ? beatsPerMinute : quartersPerMinute, 2).c_str();
        direction.append_child("sound").append_attribute("tempo") = decimalText(quartersPerMinute, 2).c_str();
    }

    const Song& mSong;
    Sheet mSheet;
    ChartHarmony mHarmony;
    int mBeatType;
    KELPKeyRef mKey;           ///< as it is written; null where the song has none
    bool mIsRespelled = false; ///< with another name than the song's
    std::size_t mBeats = 0;    ///< of the metre that was written last
};

void writeLeadSheet(std::ostream& out, const Song& song, const WriteRequest& request) {
    LeadSheetWriter(song, request.options.has("concert")).write(out);
}

// Reading

[[noreturn]] void refuseValue(const pugi::xml_node& node) {
    throw FormatError(inQuotes(node.child_value()) + " is not a valid <" + node.name() + ">");
}

int wholeNumberIn(const pugi::xml_node& node, int least, int greatest) {
    const auto number = numberWithText(stripped(node.child_value()));
    if (!number || *number != std::floor(*number) || *number < least || *number > greatest)
        refuseValue(node);
    return static_cast<int>(*number);
}

/// The sum of "3+2", or of a single number.
int beatsIn(const pugi::xml_node& node) {
    constexpr int kMostBeats = 1'000'000;
    double sum = 0;
    for (std::string_view rest = node.child_value();;) {
        const std::size_t plus = rest.find('+');
        const auto number = numberWithText(stripped(rest.substr(0, plus)));
        if (!number || *number != std::floor(*number) || *number < 1 || sum + *number > kMostBeats)
            refuseValue(node);
        sum += *number;
        if (plus == std::string_view::npos)
            return static_cast<int>(sum);
        rest.remove_prefix(plus + 1);
    }
}

std::optional<KELPNote> noteIn(const pugi::xml_node& parent, const char* prefix) {
    const auto step = parent.child((std::string(prefix) + "-step").c_str());
    const auto alter = parent.child((std::string(prefix) + "-alter").c_str());
    const int alteration = alter ? wholeNumberIn(alter, -2, 2) : 0;
    const std::string accidentals(static_cast<std::size_t>(std::abs(alteration)), alteration < 0 ? 'b' : '#');
    return KELPNote::noteWithString(std::string(stripped(step.child_value())) + accidentals);
}

KELPChordIntervals recordOfIntervals(const Intervals& intervals) {
    const auto setOf = [](const KELPChordDefinition& row) {
        Intervals set;
        for (const std::int32_t interval : row.intervals)
            if (interval != 0)
                set.insert(interval);
        return set;
    };
    const auto row = std::find_if(gChords.begin(), gChords.end(),
                                  [&](const KELPChordDefinition& r) { return setOf(r) == intervals; });
    if (row != gChords.end())
        return row->intervals;
    KELPChordIntervals record{};
    if (intervals.size() >= record.size())
        throw FormatError("it has too many degrees");
    std::copy(intervals.begin(), intervals.end(), record.begin() + 1);
    return record;
}

/// The parts of a <harmony>, of several chords in it those of the first.
struct Harmony {
    explicit Harmony(const pugi::xml_node& element) {
        for (const auto& child : element.children()) {
            const std::string_view name = child.name();
            chordCount += name == "root" || name == "numeral" || name == "function";
            if (chordCount > 1)
                return;
            if (name == "root")
                root = child;
            else if (name == "kind")
                kind = child;
            else if (name == "bass")
                bass = child;
            else if (name == "degree")
                degrees.push_back(child);
        }
    }

    int chordCount = 0;
    pugi::xml_node root;
    pugi::xml_node kind;
    pugi::xml_node bass;
    std::vector<pugi::xml_node> degrees;
};

void applyDegrees(const std::vector<pugi::xml_node>& degrees, Intervals& intervals) {
    constexpr int kHighestDegree = 21;
    std::vector<int> added;
    for (const auto& element : degrees) {
        const auto alter = element.child("degree-alter");
        const Degree degree{wholeNumberIn(element.child("degree-value"), 1, kHighestDegree),
                            alter ? wholeNumberIn(alter, -12, 12) : 0};
        const std::string_view type = stripped(element.child("degree-type").child_value());
        if (type == "add") {
            added.push_back(semitonesOf(degree));
            continue;
        }
        const auto old = std::find_if(intervals.begin(), intervals.end(),
                                      [&](int i) { return degreeOf(i).value == degree.value; });
        const int semitones = old == intervals.end() ? semitonesOf({degree.value, 0}) : *old;
        if (old != intervals.end())
            intervals.erase(old);
        if (type == "alter")
            added.push_back(semitones + degree.alteration);
    }
    for (const int semitones : added)
        if (semitones > 0)
            intervals.insert(semitones);
}

/// Throws FormatError for a chord that cannot be read.
KELPChordRef chordIn(const Harmony& harmony) {
    const std::string_view kindName = stripped(harmony.kind.child_value());
    if (kindName == "none")
        return KELPChord::noChord();
    const auto root = noteIn(harmony.root, "root");
    if (!root)
        throw FormatError("it has no valid root");
    std::optional<KELPNote> bass;
    if (harmony.bass && !(bass = noteIn(harmony.bass, "bass")))
        throw FormatError("it has no valid bass");
    const auto kind = std::find_if(xmlKinds().begin(), xmlKinds().end(),
                                   [&](const XMLKind& k) { return k.name == kindName; });
    const bool isKnown = kind != xmlKinds().end();
    const bool isListed = kindName == "other" && !harmony.degrees.empty(); // degree by degree
    if (!isKnown && !isListed) { // what is shown may be the name of a chord
        const std::string_view shown = stripped(harmony.kind.attribute("text").value());
        const auto named =
            shown.empty() ? nullptr : KELPChord::chordWithString(root->string() + std::string(shown));
        if (!named)
            throw FormatError(inQuotes(kindName) + " is not a kind of chord that can be read");
        return named->chordWithNewRoot(*root, bass);
    }
    Intervals intervals = isKnown ? kind->intervals : Intervals();
    applyDegrees(harmony.degrees, intervals);
    return KELPChord::chordWithRoot(*root, recordOfIntervals(intervals), bass);
}

/// A measure of the file, in quarter notes.
struct ReadMeasure {
    std::string place; ///< "measure 5"
    double length = 0;
    bool isPickup = false;
    std::vector<std::pair<double, KELPChordRef>> chords; ///< as they sound, by their places in the measure
};

class MeasureReader {
public:
    /// Chords are spelled to suit the key where the file transposes them; `isAsWritten` passes that over.
    MeasureReader(KELPKeyRef key, bool isAsWritten)
        : mKey(std::move(key)), mIsAsWritten(isAsWritten), mHarmony(mKey, 0) {}

    std::vector<ReadMeasure> read(const pugi::xml_node& part) {
        std::vector<ReadMeasure> measures;
        for (const auto& element : part.children("measure")) {
            const std::string_view number = stripped(element.attribute("number").value());
            const std::string place =
                "measure " + (number.empty() ? std::to_string(measures.size() + 1) : shortened(number));
            try {
                measures.push_back(readMeasure(element, place));
            } catch (const FormatError& error) {
                throw FormatError(place + ": " + error.what());
            }
            hasRepeats = hasRepeats || element.find_node([](const pugi::xml_node& node) {
                return std::strcmp(node.name(), "repeat") == 0;
            });
            measures.back().isPickup = measures.size() == 1 && (isImplicit(element) || number == "0");
        }
        return measures;
    }

    bool hasRepeats = false;
    std::size_t unreadChords = 0;
    std::string firstFault;        ///< of a chord that could not be read
    std::size_t furtherChords = 0; ///< beside the first of a <harmony>

private:
    static bool isImplicit(const pugi::xml_node& measure) {
        return std::strcmp(measure.attribute("implicit").value(), "yes") == 0;
    }

    [[nodiscard]] double quarters(const pugi::xml_node& duration) const {
        const auto number = numberWithText(stripped(duration.child_value()));
        constexpr double kMost = 1e9;
        if (!number || !(std::abs(*number) <= kMost))
            refuseValue(duration);
        return *number / mDivisions;
    }

    ReadMeasure readMeasure(const pugi::xml_node& element, const std::string& place) {
        ReadMeasure measure;
        measure.place = place;
        double now = 0;
        double filled = 0;
        for (const auto& child : element.children()) {
            const std::string_view name = child.name();
            if (name == "attributes") {
                readAttributes(child);
            } else if (name == "forward" ||
                       (name == "note" && !child.child("chord") && child.child("duration"))) {
                now += quarters(child.child("duration"));
            } else if (name == "backup") {
                now -= quarters(child.child("duration"));
            } else if (name == "harmony") {
                readHarmony(child, now, measure);
            }
            filled = std::max(filled, now);
        }
        measure.length = isImplicit(element) || mBarLength == 0 ? filled : mBarLength;
        return measure;
    }

    /// A chord that cannot be read is counted; the one before goes on.
    void readHarmony(const pugi::xml_node& element, double now, ReadMeasure& measure) {
        const Harmony harmony(element);
        furtherChords += harmony.chordCount > 1;
        try {
            const auto offset = element.child("offset");
            const double place = now + (offset ? quarters(offset) : 0);
            measure.chords.emplace_back(place, mHarmony.sounding(chordIn(harmony)));
        } catch (const FormatError& error) {
            if (unreadChords++ == 0)
                firstFault = measure.place + ": " + error.what();
        }
    }

    void readAttributes(const pugi::xml_node& attributes) {
        constexpr int kMostDivisions = 1'000'000;
        constexpr int kMostSemitones = 127;
        if (const auto divisions = attributes.child("divisions"))
            mDivisions = wholeNumberIn(divisions, 1, kMostDivisions);
        if (const auto chromatic = attributes.child("transpose").child("chromatic");
            chromatic && !mIsAsWritten)
            mHarmony = ChartHarmony(mKey, -wholeNumberIn(chromatic, -kMostSemitones, kMostSemitones));
        if (const auto time = attributes.child("time"))
            readTime(time);
    }

    /// A metre may be several, one after the other; without beats it is free.
    void readTime(const pugi::xml_node& time) {
        mBarLength = 0;
        for (const auto& beats : time.children("beats")) {
            const auto type = beats.next_sibling("beat-type");
            mBarLength += 4.0 * beatsIn(beats) / wholeNumberIn(type, 1, 128);
        }
    }

    KELPKeyRef mKey;
    bool mIsAsWritten;
    ChartHarmony mHarmony; ///< by the transposition that holds
    double mDivisions = 1;
    double mBarLength = 0; ///< quarter notes; 0 without a metre
};

/// Adds beats before the first one, evenly, as many as are wanted and have room in the recording. Returns how
/// many.
std::size_t addBeatsBefore(Song& song, std::size_t wanted) {
    auto& storage = *song.notes;
    const GridPlaces places(song);
    const std::int64_t first = places.grid().locations()[0];
    const std::int64_t spacing = places.grid().locations()[1] - first;
    const std::size_t count = std::min(wanted, static_cast<std::size_t>(first / spacing));
    std::vector<std::int64_t> locations;
    for (std::size_t i = count; i > 0; --i) {
        const std::int64_t location = first - static_cast<std::int64_t>(i) * spacing;
        locations.push_back(location);
        if (storage.useQuarterNoteSpacing())
            locations.push_back(location + spacing / 2);
    }
    storage.addBeatEntriesFromArray(newBeatEntriesAtLocations(storage, locations));
    return count;
}

/// A number of beats that may have been summed up from parts of them; empty where it is not whole.
std::optional<std::size_t> wholeBeats(double beats) {
    constexpr double kRounding = 1e-6;
    const double nearest = std::round(beats);
    return nearest >= 1 && std::abs(beats - nearest) < kRounding
               ? std::optional(static_cast<std::size_t>(nearest))
               : std::nullopt;
}

/// Marks these counted beats, given by their frames, as downbeats within a stretch of frames, and no others.
/// Does nothing where they are that already.
bool replaceDownbeats(Song& song, const std::set<std::int64_t>& downbeats, Range<std::int64_t> within) {
    auto& storage = *song.notes;
    const auto old = storage.beatEntries();
    auto copies = storage.mutableCopiesOfUserEntriesInArray(old);
    bool hasChanged = false;
    std::optional<std::int64_t> previous; // of beats at one frame the first is the downbeat
    for (const auto& beat : copies) {
        const std::int64_t location = beat->location();
        if (location >= within.lower && location < within.upper) {
            const bool isDownbeat = downbeats.contains(location) && previous != location;
            hasChanged = hasChanged || beat->isDownbeat() != isDownbeat;
            beat->setDownbeat(isDownbeat);
        }
        previous = location;
    }
    if (!hasChanged)
        return false;
    const std::uint8_t denominator = storage.timeSignature().denominator;
    storage.replaceBeatEntriesInArrayWithBeatEntriesInArray(old, copies);
    storage.setTimeSignatureByDenominator(denominator);
    return true;
}

/// The first part with chord symbols, which may stand in any; without one the first part.
pugi::xml_node partToRead(const pugi::xml_document& document) {
    const auto score = document.child("score-partwise");
    for (const auto part : score.children("part")) {
        for (const auto measure : part.children("measure")) {
            if (measure.child("harmony"))
                return part;
        }
    }
    return score.child("part");
}

std::size_t beatsBeforeFirstBar(const Sheet& sheet) {
    const auto& bars = sheet.bars();
    return bars.front().number == 0 && bars.size() > 1 ? bars[1].firstBeat : bars.front().firstBeat;
}

std::string readLeadSheet(Song& song, std::span<const std::byte> bytes, const ReadRequest& request) {
    pugi::xml_document document;
    parseUntrustedXML(document, bytes);
    const auto part = partToRead(document);
    if (!part)
        throw FormatError(document.child("score-timewise") ? "its parts are sorted by time; save it by parts"
                                                           : "it is not a score in MusicXML");
    MeasureReader reader(song.notes->globalKey(), request.options.has("concert"));
    const auto measures = reader.read(part);
    const double beatsPerQuarter = beatTypeOf(song) / 4.0;
    std::vector<std::size_t> lengths; // of the measures, in the song's beats
    for (const ReadMeasure& measure : measures) {
        const auto length = wholeBeats(measure.length * beatsPerQuarter);
        if (!length)
            throw FormatError(measure.place + " does not last a whole number of the song's beats");
        lengths.push_back(*length);
    }
    const std::size_t pickup = !measures.empty() && measures.front().isPickup ? lengths.front() : 0;
    const std::size_t present = beatsBeforeFirstBar(Sheet(song));
    const std::size_t added = pickup > present ? addBeatsBefore(song, pickup - present) : 0;

    const Sheet sheet(song);
    const auto& locations = sheet.places().grid().locations();
    const std::size_t firstBar = beatsBeforeFirstBar(sheet);
    std::vector<PlacedChord> chords;
    std::set<std::int64_t> downbeats; // frames
    std::size_t now = firstBar;       // beats
    std::size_t bars = 0;
    std::size_t excess = 0;
    std::size_t lateChords = 0;
    for (std::size_t i = 0; i < measures.size(); ++i) {
        const ReadMeasure& measure = measures[i];
        const double begin = static_cast<double>(now) - static_cast<double>(measure.isPickup ? pickup : 0);
        if (!measure.isPickup) {
            if (now < locations.size()) {
                downbeats.insert(locations[now]);
                ++bars;
            } else {
                ++excess;
            }
            now += lengths[i];
        }
        for (const auto& [place, chord] : measure.chords) {
            const double beat = begin + place * beatsPerQuarter;
            const auto tick = static_cast<std::int64_t>(std::round(beat * GridPlaces::kTicksPerBeat));
            if (beat < static_cast<double>(locations.size()))
                chords.push_back({tick, chord});
            else
                ++lateChords;
        }
    }
    if (bars == 0)
        throw FormatRefused("the file has no measures");
    std::stable_sort(chords.begin(), chords.end(),
                     [](const PlacedChord& a, const PlacedChord& b) { return a.tick < b.tick; });
    // A file without chord symbols says nothing about the song's chords.
    std::string report = chords.empty() ? "no chord symbols were read; the chords stay"
                                        : replaceChordsOnGrid(song, sheet.places(), chords);
    const bool endsWithin = now < locations.size();
    const std::int64_t end = endsWithin ? locations[now] : locations.back();
    if (endsWithin) // the last measure ends, whatever follows it
        downbeats.insert(end);
    if (replaceDownbeats(song, downbeats, {locations[firstBar], end + 1}))
        report += "; " + std::to_string(bars) + " bars follow the file's measures";
    if (lateChords > 0)
        report += "; " + std::to_string(lateChords) + " chords after the song's end were left out";
    if (excess > 0)
        report += "; " + std::to_string(excess) + " measures after the song's end were left out";
    if (added > 0)
        report += "; " + std::to_string(added) + " beats were added before bar 1 for the pickup";
    if (reader.unreadChords > 0)
        report += "; " + std::to_string(reader.unreadChords) + " chords that cannot be read were left out (" +
                  reader.firstFault + ")";
    if (reader.furtherChords > 0)
        report += "; of several chords in one place the first was taken, " +
                  std::to_string(reader.furtherChords) + " times";
    if (reader.hasRepeats)
        report += "; repeats are not played out";
    return report;
}

} // namespace

Format musicXML() {
    Format format;
    format.name = "musicxml";
    format.endings = {".musicxml", ".xml"};
    format.help = "A lead sheet in MusicXML for notation programs";
    format.writes = "bars, metre, key, chords, sections as rehearsal marks";
    format.reads = "chords and bars, put on the song's beats";
    format.writeOptions = {concertOption()};
    format.readOptions = {concertOption()};
    format.write = writeLeadSheet;
    format.read = readLeadSheet;
    return format;
}

} // namespace tarn::formats_detail
