#include "KELPMusic/ConcertPitch.h"

#include <cmath>

namespace tarn {

double frequencyOfMIDINote(double note, double concertPitch) {
    constexpr double kA4 = 69;
    return concertPitch * std::exp2((note - kA4) / 12);
}

} // namespace tarn
