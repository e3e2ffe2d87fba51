#include "KELPMusic/KELPChord.h"

#include "KELPMusic/ChordNameText.h"
#include "KELPMusic/KELPChordTable.h"
#include "Platform/CheckedArithmetic.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <unordered_map>
#include <utility>

namespace tarn {
namespace {

constexpr std::int32_t kHighestInterval = 127;
constexpr std::int32_t kHighestNamedInterval = 23; // those above are named like the ones from 12 on
constexpr std::string_view kNoChordName = "N.C.";

// The intervals after the root, without the closing zeros.
std::span<const std::int32_t> intervalsAboveRoot(const KELPChordIntervals& intervals) {
    const auto end = std::find(intervals.begin() + 1, intervals.end(), 0);
    return {intervals.begin() + 1, end};
}

bool containsInterval(const KELPChordIntervals& intervals, std::int32_t interval) {
    const auto above = intervalsAboveRoot(intervals);
    return std::find(above.begin(), above.end(), interval) != above.end();
}

// Whether the name holds an m or M whose case alone tells minor from major: one that neither ends a word
// (dim, dom) nor begins one (maj, min, mi, ma7).
bool dependsOnCaseOfM(std::string_view lowerCased) {
    const auto isLetter = [](char c) { return c >= 'a' && c <= 'z'; };
    for (std::size_t i = 0; i < lowerCased.size(); ++i) {
        if (lowerCased[i] != 'm' || (i > 0 && isLetter(lowerCased[i - 1]) && lowerCased[i - 1] != 'm'))
            continue;
        const std::string_view rest = lowerCased.substr(i + 1);
        const bool isWord = rest.starts_with("aj") || rest.starts_with('i') ||
                            (rest.size() >= 2 && rest[0] == 'a' && !isLetter(rest[1]));
        if (!isWord)
            return true;
    }
    return false;
}

// Every suffix of the chord table, as stored and (where case carries no meaning) in lower case.
class SuffixTable {
public:
    SuffixTable() {
        for (const KELPChordDefinition& definition : gChords) {
            add(definition.name, definition);
            for (const std::string_view name : definition.typedNames())
                add(name, definition);
        }
    }

    [[nodiscard]] const KELPChordDefinition* find(std::string_view suffix) const {
        if (const auto found = mExact.find(suffix); found != mExact.end())
            return found->second;
        const auto found = mAnyCase.find(lowerCasedChordText(suffix));
        return found != mAnyCase.end() ? found->second : nullptr;
    }

private:
    void add(std::string_view name, const KELPChordDefinition& definition) {
        mExact.emplace(name, &definition);
        std::string lowerCased = lowerCasedChordText(name);
        if (!dependsOnCaseOfM(lowerCased))
            mAnyCase.emplace(std::move(lowerCased), &definition);
    }

    std::unordered_map<std::string_view, const KELPChordDefinition*> mExact;
    std::unordered_map<std::string, const KELPChordDefinition*> mAnyCase;
};

const KELPChordDefinition* definitionWithSuffix(std::string_view suffix) {
    static const SuffixTable table;
    return table.find(suffix);
}

// The suffix in the table's spelling. The slash of "6/9" belongs to the quality and announces no bass.
std::string tableSpellingOfSuffix(std::string_view text) {
    std::string suffix = plainChordSigns(text);
    if (const std::size_t slash = suffix.find("6/9"); slash != std::string::npos)
        suffix.erase(slash + 1, 1);
    return suffix;
}

// The root's name in transposed chords: what a tonic of that pitch class is called, in major and in minor.
constexpr std::array<std::string_view, 12> kTransposedMajorRoots{"C",  "Db", "D",  "Eb", "E",  "F",
                                                                 "F#", "G",  "Ab", "A",  "Bb", "B"};
constexpr std::array<std::string_view, 12> kTransposedMinorRoots{"C",  "C#", "D",  "Eb", "E",  "F",
                                                                 "F#", "G",  "G#", "A",  "Bb", "B"};

std::string_view degreeName(std::int32_t interval) {
    constexpr std::array<std::string_view, 24> kNames{"8",  "b2", "2",   "b3", "3",   "4",  "b5",  "5",
                                                      "#5", "6",  "b7",  "7",  "8",   "b9", "9",   "#9",
                                                      "10", "11", "#11", "12", "b13", "13", "b14", "14"};
    const std::int32_t index = interval <= kHighestNamedInterval ? interval : 12 + interval % 12;
    return kNames[static_cast<std::size_t>(index)];
}

// "(3,b7)": the degrees of a quality that the chord table lacks, "(1)" where there are none. One of the
// table's suffixes reads like a list, (#5): the list then begins with the root, "(1,#5)".
std::string degreeList(std::span<const std::int32_t> intervals) {
    std::string list;
    for (const std::int32_t interval : intervals)
        list.append(list.empty() ? "" : ",").append(degreeName(interval));
    if (intervals.empty())
        return "(1)";
    return definitionWithSuffix("(" + list + ")") ? "(1," + list + ")" : "(" + list + ")";
}

// The intervals of such a list; null for any other text.
std::optional<KELPChordIntervals> intervalsWithDegreeList(std::string_view text) {
    if (!text.starts_with('(') || !text.ends_with(')'))
        return std::nullopt;
    text = text.substr(1, text.size() - 2);
    KELPChordIntervals intervals{};
    std::size_t count = 1;
    for (bool isFirst = true, isLast = false; !isLast; isFirst = false) {
        const std::size_t comma = text.find(',');
        isLast = comma == std::string_view::npos;
        const std::string_view name = text.substr(0, comma);
        text.remove_prefix(isLast ? text.size() : comma + 1);
        if (isFirst && name == "1")
            continue;
        std::int32_t interval = 1;
        while (interval <= kHighestNamedInterval && degreeName(interval) != name)
            ++interval;
        if (interval > kHighestNamedInterval || count == intervals.size())
            return std::nullopt;
        intervals[count++] = interval;
    }
    return intervals;
}

// The chord tone that far above the root. Above a diminished triad nine semitones are the diminished seventh,
// not the sixth.
KELPNote chordTone(const KELPNote& root, const KELPChordIntervals& intervals, std::int32_t interval) {
    constexpr int kFifthsOfDiminishedSeventh = -9;
    if (interval == 9 && containsInterval(intervals, 3) && containsInterval(intervals, 6))
        return KELPNote::noteWithFifths(root.fifths() + kFifthsOfDiminishedSeventh);
    return root.noteWithOffset(static_cast<std::int8_t>(interval));
}

} // namespace

const KELPChordIntervals* KELPChordIntervalsWithID(int id) {
    if (id < 1 || id > static_cast<int>(gChords.size()))
        return nullptr;
    return &gChords[static_cast<std::size_t>(id) - 1].intervals;
}

struct KELPChord::Token {};

KELPChord::KELPChord(const Token&, const KELPNote& root, const KELPChordIntervals& intervals,
                     const std::optional<KELPNote>& addedBass, bool isNoChord)
    : mRoot(root), mIntervals(intervals), mAddedBass(addedBass), mIsNoChord(isNoChord) {}

KELPChordRef KELPChord::noChord() {
    static const KELPChordRef chord =
        std::make_shared<KELPChord>(Token{}, KELPNote(), KELPChordIntervals{}, std::nullopt, true);
    return chord;
}

KELPChordRef KELPChord::chordWithRoot(const KELPNote& root, const KELPChordIntervals& intervals,
                                      const std::optional<KELPNote>& addedBass) {
    precondition(intervals[0] == 0, "The first interval of a chord is its root!");
    KELPChordIntervals closed{};
    const auto above = intervalsAboveRoot(intervals);
    for (std::size_t i = 0; i < above.size(); ++i) {
        precondition(above[i] > 0 && above[i] <= kHighestInterval, "This is not an interval of a chord!");
        closed[i + 1] = above[i];
    }
    return std::make_shared<KELPChord>(Token{}, root, closed, addedBass, false);
}

KELPChordRef KELPChord::chordWithString(std::string_view text) {
    const auto root = KELPNote::notePrefixOfString(text);
    if (!root) {
        const std::string name = lowerCasedChordText(text);
        return name == "n.c." || name == "nc" ? noChord() : nullptr;
    }
    const std::string suffix = tableSpellingOfSuffix(text.substr(root->second));
    const std::size_t slash = suffix.rfind('/');
    const std::string_view quality = std::string_view(suffix).substr(0, slash);
    const KELPChordDefinition* definition = definitionWithSuffix(quality);
    const auto intervals =
        definition ? std::optional(definition->intervals) : intervalsWithDegreeList(quality);
    if (!intervals)
        return nullptr;
    std::optional<KELPNote> bass;
    if (slash != std::string::npos) {
        bass = KELPNote::noteWithString(std::string_view(suffix).substr(slash + 1));
        if (!bass)
            return nullptr;
    }
    return std::make_shared<KELPChord>(Token{}, root->first, *intervals, bass, false);
}

std::string KELPChord::string() const {
    if (mIsNoChord)
        return std::string(kNoChordName);
    std::string name = mRoot.string();
    const auto definition = std::find_if(gChords.begin(), gChords.end(),
                                         [&](const auto& row) { return row.intervals == mIntervals; });
    name += definition != gChords.end() ? std::string(definition->name)
                                        : degreeList(intervalsAboveRoot(mIntervals));
    if (mAddedBass)
        name.append("/").append(mAddedBass->string());
    return name;
}

bool KELPChord::isMinor() const {
    return containsInterval(mIntervals, 3) && !containsInterval(mIntervals, 4);
}

int KELPChord::midiKeyValue() const {
    if (mIsNoChord)
        return 0;
    int sharps = mRoot.fifths() - (isMinor() ? 3 : 0);
    while (sharps > 7)
        sharps -= 12;
    while (sharps < -7)
        sharps += 12;
    return sharps;
}

std::bitset<12> KELPChord::pitchClasses() const {
    std::bitset<12> classes;
    if (mIsNoChord)
        return classes;
    const int root = mRoot.value();
    classes.set(static_cast<std::size_t>(root));
    for (const std::int32_t interval : intervalsAboveRoot(mIntervals))
        classes.set(static_cast<std::size_t>((root + interval) % 12));
    if (mAddedBass)
        classes.set(static_cast<std::size_t>(mAddedBass->value()));
    return classes;
}

std::vector<KELPPitchRef> KELPChord::pitchesAtOctave(std::int32_t octave) const {
    std::vector<KELPPitchRef> pitches;
    if (mIsNoChord)
        return pitches;
    pitches.reserve(mIntervals.size() + 1);
    const KELPPitchRef root = KELPPitch::pitchWithNote(mRoot, octave);
    if (mAddedBass) {
        const int below = (mRoot.value() - mAddedBass->value() + 12) % 12;
        pitches.push_back(
            KELPPitch::pitchWithNoteAtSemitones(*mAddedBass, root->semitones() - (below == 0 ? 12 : below)));
    }
    pitches.push_back(root);
    for (const std::int32_t interval : intervalsAboveRoot(mIntervals))
        pitches.push_back(KELPPitch::pitchWithNoteAtSemitones(chordTone(mRoot, mIntervals, interval),
                                                              root->semitones() + interval));
    return pitches;
}

std::optional<KELPNote> KELPChord::toneWithValue(int value) const {
    if (mIsNoChord)
        return std::nullopt;
    if (mRoot.value() == value)
        return mRoot;
    for (const std::int32_t interval : intervalsAboveRoot(mIntervals)) {
        if ((mRoot.value() + interval) % 12 == value)
            return chordTone(mRoot, mIntervals, interval);
    }
    return std::nullopt;
}

KELPChordRef KELPChord::chordWithOffset(int semitones) const {
    if (mIsNoChord)
        return noChord();
    if (semitones % 12 == 0)
        return chordWithNewRoot(mRoot, mAddedBass);
    const int value = (mRoot.value() + semitones % 12 + 12) % 12;
    const auto& names = isMinor() ? kTransposedMinorRoots : kTransposedMajorRoots;
    const KELPNote root = *KELPNote::noteWithString(names[static_cast<std::size_t>(value)]);
    std::optional<KELPNote> bass;
    if (mAddedBass)
        bass = KELPNote::noteWithFifths(root.fifths() + mAddedBass->fifths() - mRoot.fifths())
                   .withoutDoubleAccidental();
    return chordWithNewRoot(root, bass);
}

KELPChordRef KELPChord::chordWithNewRoot(const KELPNote& root,
                                         const std::optional<KELPNote>& addedBase) const {
    if (mIsNoChord)
        return noChord();
    return std::make_shared<KELPChord>(Token{}, root, mIntervals, addedBase, false);
}

bool KELPChord::isEqualToChord(const KELPChord& other) const {
    if (mIsNoChord || other.mIsNoChord)
        return mIsNoChord == other.mIsNoChord;
    return mRoot == other.mRoot && mIntervals == other.mIntervals && mAddedBass == other.mAddedBass;
}

const ClassDescription& KELPChord::classDescription() {
    static constexpr ClassDescription description{
        "KELPChord", nullptr, [](KeyedUnarchiver& coder) -> std::shared_ptr<SecureCoding> {
            if (coder.decodeBool("noChord").value_or(false))
                return std::make_shared<KELPChord>(Token{}, KELPNote(), KELPChordIntervals{}, std::nullopt,
                                                   true);
            const auto rootName = coder.decodeString("root");
            const auto bytes = coder.decodeData("intervals");
            const auto root = rootName ? KELPNote::noteWithString(*rootName) : std::nullopt;
            KELPChordIntervals intervals{};
            if (!root || !bytes || bytes->size() >= intervals.size())
                return nullptr;
            for (std::size_t i = 0; i < bytes->size(); ++i) {
                const auto interval = std::to_integer<std::int32_t>((*bytes)[i]);
                if (interval == 0 || interval > kHighestInterval)
                    return nullptr;
                intervals[i + 1] = interval;
            }
            std::optional<KELPNote> bass;
            if (const auto bassName = coder.decodeString("bass")) {
                bass = KELPNote::noteWithString(*bassName);
                if (!bass)
                    return nullptr;
            }
            return std::make_shared<KELPChord>(Token{}, *root, intervals, bass, false);
        }};
    return description;
}

void KELPChord::encodeWithCoder(KeyedArchiver& coder) const {
    if (mIsNoChord) {
        coder.encodeBool("noChord", true);
        return;
    }
    Data intervals;
    for (const std::int32_t interval : intervalsAboveRoot(mIntervals))
        intervals.push_back(static_cast<std::byte>(interval));
    coder.encodeString("root", mRoot.string());
    coder.encodeData("intervals", intervals);
    if (mAddedBass)
        coder.encodeString("bass", mAddedBass->string());
}

} // namespace tarn

std::size_t std::hash<tarn::KELPChord>::operator()(const tarn::KELPChord& chord) const noexcept {
    if (chord.isNoChord())
        return 0;
    std::size_t value = static_cast<std::size_t>(chord.root().fifths()) + 16;
    value = value * 64 + (chord.addedBass() ? static_cast<std::size_t>(chord.addedBass()->fifths()) + 16 : 0);
    for (const std::int32_t interval : chord.chordIntervals())
        value = value * 31 + static_cast<std::size_t>(interval);
    return value;
}
