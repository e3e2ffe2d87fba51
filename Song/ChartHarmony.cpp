#include "Song/ChartHarmony.h"

#include <utility>

namespace tarn {

ChartHarmony::ChartHarmony(const Song& song, bool isAtConcertPitch)
    : ChartHarmony(song.notes->globalKey(), isAtConcertPitch ? 0 : song.properties.chartShift()) {}

ChartHarmony::ChartHarmony(KELPKeyRef soundingKey, int shift)
    : mShift(shift), mSoundingKey(std::move(soundingKey)), mKey(mSoundingKey) {
    if (mKey && mShift != 0)
        mKey = KELPKey::makeWithTonicChord(mKey->tonicChord()->chordWithOffset(mShift));
}

KELPChordRef ChartHarmony::chord(const KELPChordRef& sounding) const {
    if (!sounding || mShift == 0)
        return sounding;
    const auto moved = sounding->chordWithOffset(mShift);
    return mKey ? mKey->scaleNormalizedChord(moved) : moved;
}

KELPChordRef ChartHarmony::sounding(const KELPChordRef& written) const {
    if (!written || mShift == 0)
        return written;
    const auto moved = written->chordWithOffset(-mShift);
    return mSoundingKey ? mSoundingKey->scaleNormalizedChord(moved) : moved;
}

} // namespace tarn
