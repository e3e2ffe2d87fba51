#pragma once

#include "KELPMusic/KELPNote.h"
#include "KELPMusic/KELPPitch.h"
#include "Platform/Export.h"

#include <array>
#include <bitset>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace TARN_PUBLIC tarn {

class KELPChord;

using KELPChordRef = std::shared_ptr<const KELPChord>;

/// Semitones above the root in the order in which a chord is spelled. Entry 0 is the root, 0; after it a zero
/// ends the list. Ninths, elevenths and thirteenths are counted beyond the octave (14, 17, 21).
using KELPChordIntervals = std::array<std::int32_t, 7>;

/// The intervals of a row of the chord table, counted from 1 (1 major triad, 2 minor triad, …); null when
/// there is no such row.
[[nodiscard]] const KELPChordIntervals* KELPChordIntervalsWithID(int id);

/// A chord symbol: root, quality as an interval record, and a bass note where it is not the root; or the
/// no-chord value for passages without harmony. Immutable; chords are equal when they would be written alike,
/// so C# and Db differ.
class KELPChord final : public SecureCoding {
public:
    /// Root, then a name of the chord table, then "/" and a bass note where wanted: "C", "F#m7", "bb7/ab",
    /// "D♭maj7". Letters of notes may have either case; a suffix is first looked up as it is and then in any
    /// case, as long as that leaves no doubt ("M7" and "m7" differ, "SUS4" is "sus4"). "6/9" is read as "69";
    /// "N.C." and "NC" give noChord(). A list of degrees, as string() writes it for qualities that the table
    /// lacks, may stand for the name. Null for any other text.
    [[nodiscard]] static KELPChordRef chordWithString(std::string_view text);
    /// Entry 0 must be 0 and the others 0 … 127, anything else aborts. What follows the closing zero is
    /// dropped.
    [[nodiscard]] static KELPChordRef chordWithRoot(const KELPNote& root, const KELPChordIntervals& intervals,
                                                    const std::optional<KELPNote>& addedBass = {});
    /// The value for passages without harmony: "N.C.", no pitches; its root and intervals have no meaning.
    [[nodiscard]] static KELPChordRef noChord();

    [[nodiscard]] bool isNoChord() const { return mIsNoChord; }
    [[nodiscard]] const KELPNote& root() const { return mRoot; }
    [[nodiscard]] const std::optional<KELPNote>& addedBass() const { return mAddedBass; }
    [[nodiscard]] const KELPChordIntervals& chordIntervals() const { return mIntervals; }
    /// The name with the suffix that a chart prints: "Cmaj7/E". A quality that the chord table lacks is
    /// written as its degrees: "C(3,b7)".
    [[nodiscard]] std::string string() const;
    [[nodiscard]] std::string stringValue() const { return string(); }
    [[nodiscard]] std::string description() const { return string(); }
    /// A minor third and no major third.
    [[nodiscard]] bool isMinor() const;
    /// The key signature of the chord taken as tonic: sharps positive, flats negative, -7 … 7. A tonic with a
    /// larger signature counts as its enharmonic equivalent (G# major as Ab major, -4); no chord as 0.
    [[nodiscard]] int midiKeyValue() const;
    /// The pitch classes that sound, bass included.
    [[nodiscard]] std::bitset<12> pitchClasses() const;
    /// The chord tone of that pitch class, spelled as a tone of this chord (the added bass aside); empty
    /// when it is not one.
    [[nodiscard]] std::optional<KELPNote> toneWithValue(int value) const;
    /// The chord tones upwards from the root in the given octave at the distances of the interval record,
    /// spelled as chord tones, after the added bass at most an octave below the root.
    [[nodiscard]] std::vector<KELPPitchRef> pitchesAtOctave(std::int32_t octave) const;

    /// Root and bass transposed by `semitones`. The root takes the name under which a tonic of this
    /// quality is known (Db and C#m, Eb and Ebm), the bass keeps its interval to the root. Whole octaves
    /// change nothing.
    [[nodiscard]] KELPChordRef chordWithOffset(int semitones) const;
    [[nodiscard]] KELPChordRef transposedBy(std::int8_t semitones) const {
        return chordWithOffset(semitones);
    }
    /// The same quality on another root, with that bass or none. No chord stays no chord.
    [[nodiscard]] KELPChordRef chordWithNewRoot(const KELPNote& root,
                                                const std::optional<KELPNote>& addedBase) const;

    [[nodiscard]] bool isEqualToChord(const KELPChord& other) const;
    [[nodiscard]] bool operator==(const KELPChord& other) const { return isEqualToChord(other); }

    static const ClassDescription& classDescription();
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
    /// Archive keys: "root" (string), "intervals" (data, one byte for each interval after the root), "bass"
    /// (string, only when there is one). No chord has none of them but "noChord" (true).
    void encodeWithCoder(KeyedArchiver& coder) const override;

    struct Token; ///< keeps construction to the factories above
    KELPChord(const Token&, const KELPNote& root, const KELPChordIntervals& intervals,
              const std::optional<KELPNote>& addedBass, bool isNoChord);

private:
    KELPNote mRoot;
    KELPChordIntervals mIntervals;
    std::optional<KELPNote> mAddedBass;
    bool mIsNoChord;
};

} // namespace tarn

template <>
struct std::hash<tarn::KELPChord> {
    std::size_t operator()(const tarn::KELPChord& chord) const noexcept;
};
