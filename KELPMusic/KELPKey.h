#pragma once

#include "KELPMusic/KELPChord.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace tarn {

class KELPKey;

using KELPKeyRef = std::shared_ptr<const KELPKey>;

/// A major or minor key, named by its tonic chord. Immutable; keys are equal when their tonic chords are
/// equal.
class KELPKey final : public SecureCoding {
public:
    /// The key on the chord's root, minor when the chord is minor. Nothing without a chord or for no chord.
    [[nodiscard]] static KELPKeyRef makeWithTonicChord(KELPChordRef tonicChord);

    [[nodiscard]] const KELPChordRef& tonicChord() const { return mTonicChord; }
    [[nodiscard]] bool isMinor() const { return mTonicChord->isMinor(); }
    /// "Bb major", "F# minor".
    [[nodiscard]] std::string description() const;

    /// The chord with root and bass spelled to suit the key; the sound is unchanged. Notes of the scale (in
    /// minor with the raised sixth and seventh degree too) take the scale's spelling. A bass outside it that
    /// is a tone of its chord is spelled as that tone (A/C# in F major). Any other note is a sharp in keys
    /// with sharps and a flat in keys with flats; without either it takes the name nearest to the tonic on
    /// the circle of fifths (in C major Db, Eb, F#, Ab, Bb). Nothing for no chord object; no chord stays no
    /// chord.
    [[nodiscard]] KELPChordRef scaleNormalizedChord(const KELPChordRef& chord) const;

    [[nodiscard]] bool operator==(const KELPKey& other) const { return *mTonicChord == *other.mTonicChord; }

    static const ClassDescription& classDescription();
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
    /// Archive key: "tonicChord" (KELPChord).
    void encodeWithCoder(KeyedArchiver& coder) const override;

    struct Token; ///< keeps construction to the maker above
    KELPKey(const Token&, KELPChordRef tonicChord) : mTonicChord(std::move(tonicChord)) {}

private:
    KELPChordRef mTonicChord; // never null, never no chord
};

} // namespace tarn

template <>
struct std::hash<tarn::KELPKey> {
    std::size_t operator()(const tarn::KELPKey& key) const noexcept {
        return std::hash<tarn::KELPChord>{}(*key.tonicChord());
    }
};
