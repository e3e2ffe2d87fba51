#include "plugin.h"

#include "KELPMusic/KELPPitch.h"
#include "Platform/NotificationCenter.h"
#include "Song/Song.h"

void postAndFail() {
    const auto pitch = tarn::KELPPitch::pitchWithNote(tarn::KELPNote::noteWithValue(0), 4);
    tarn::NotificationCenter::defaultCenter().post("Pitch", nullptr, {{"pitch", pitch}});
    tarn::Song::open("missing");
}
