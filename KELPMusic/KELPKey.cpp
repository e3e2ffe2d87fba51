#include "KELPMusic/KELPKey.h"

#include <optional>

namespace tarn {
namespace {

// The position on the line of fifths out of first … first + 11 that has the pitch class.
int fifthsWithValue(int value, int first) {
    int fifths = first;
    while ((fifths * 7 % 12 + 12) % 12 != value)
        ++fifths;
    return fifths;
}

std::optional<KELPNote> scaleNoteWithValue(int value, int tonic, bool minor) {
    // The seven notes of a major scale are neighbours on the line of fifths, one below the tonic to five
    // above it; those of natural minor four below to two above. Its raised sixth and seventh degrees lie
    // three and five above.
    const int fifths = fifthsWithValue(value, tonic - (minor ? 4 : 1));
    const int above = fifths - tonic;
    const bool inScale = minor ? above <= 3 || above == 5 : above <= 5;
    return inScale ? std::optional(KELPNote::noteWithFifths(fifths)) : std::nullopt;
}

KELPNote chromaticNoteWithValue(int value, int tonic, bool minor) {
    const int signature = minor ? tonic - 3 : tonic;
    if (signature == 0)
        return KELPNote::noteWithFifths(fifthsWithValue(value, tonic - 5));
    return KELPNote::noteWithValue(value, signature < 0);
}

} // namespace

struct KELPKey::Token {};

KELPKeyRef KELPKey::makeWithTonicChord(KELPChordRef tonicChord) {
    if (!tonicChord || tonicChord->isNoChord())
        return nullptr;
    return std::make_shared<KELPKey>(Token{}, std::move(tonicChord));
}

std::string KELPKey::description() const {
    return mTonicChord->root().string() + (isMinor() ? " minor" : " major");
}

KELPChordRef KELPKey::scaleNormalizedChord(const KELPChordRef& chord) const {
    if (!chord || chord->isNoChord())
        return chord;
    const int tonic = mTonicChord->root().fifths();
    const bool minor = isMinor();
    const int rootValue = chord->root().value();
    const KELPNote root =
        scaleNoteWithValue(rootValue, tonic, minor).value_or(chromaticNoteWithValue(rootValue, tonic, minor));
    if (!chord->addedBass())
        return chord->chordWithNewRoot(root, std::nullopt);

    const int bassValue = chord->addedBass()->value();
    std::optional<KELPNote> bass = scaleNoteWithValue(bassValue, tonic, minor);
    if (!bass) {
        const auto tone = chord->chordWithNewRoot(root, std::nullopt)->toneWithValue(bassValue);
        if (tone && *tone == tone->withoutDoubleAccidental())
            bass = tone;
    }
    return chord->chordWithNewRoot(root, bass.value_or(chromaticNoteWithValue(bassValue, tonic, minor)));
}

const ClassDescription& KELPKey::classDescription() {
    static constexpr ClassDescription description{
        "KELPKey", nullptr, [](KeyedUnarchiver& coder) -> std::shared_ptr<SecureCoding> {
            const KELPChordRef tonicChord = coder.decodeObject<KELPChord>("tonicChord");
            if (!tonicChord || tonicChord->isNoChord())
                return nullptr;
            return std::make_shared<KELPKey>(Token{}, tonicChord);
        }};
    return description;
}

void KELPKey::encodeWithCoder(KeyedArchiver& coder) const {
    coder.encodeObject("tonicChord", mTonicChord);
}

} // namespace tarn
