#pragma once

#include "KELPMusic/KELPChord.h"
#include "KELPMusic/KELPKey.h"
#include "Platform/Export.h"
#include "Song/Song.h"

namespace TARN_PUBLIC tarn {

/// Key and chords as a chart of the song writes them: moved by the properties' chartShift() and then spelled
/// to suit the moved key; as they sound where nothing is moved, or at concert pitch.
class ChartHarmony {
public:
    explicit ChartHarmony(const Song& song, bool isAtConcertPitch = false);
    /// Of a song in that key (null where it has none) whose chords are written so many semitones higher.
    ChartHarmony(KELPKeyRef soundingKey, int shift);

    /// Null where the song has none.
    [[nodiscard]] const KELPKeyRef& key() const { return mKey; }
    /// No chord and null stay what they are.
    [[nodiscard]] KELPChordRef chord(const KELPChordRef& sounding) const;
    /// The other way: the chord that sounds where a chart writes this one.
    [[nodiscard]] KELPChordRef sounding(const KELPChordRef& written) const;
    /// Semitones by which everything is moved.
    [[nodiscard]] int shift() const { return mShift; }

private:
    int mShift;
    KELPKeyRef mSoundingKey;
    KELPKeyRef mKey; ///< as it is written
};

} // namespace tarn
