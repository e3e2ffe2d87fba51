#pragma once

#include "KELPMusicInformationRetrieval/Waveform.h"
#include "Platform/Export.h"
#include "Song/Song.h"

#include <filesystem>
#include <iosfwd>
#include <memory>
#include <string>

/// The song on wrapped rows, to read and to play from.
namespace TARN_PUBLIC tarn {

/// How a picture of a song is laid out.
struct PictureOptions {
    double pageWidth = 1000;   ///< points
    double secondsPerRow = 16; ///< about how much music a row shows: a row holds whole bars where there are
                               ///< bars, and more where the song would not fit
};

/// The song as an SVG document: waveform (when there is one), bar lines and beats with numbers, chords,
/// sections, regions, markers, key and tempo. Equal documents give equal pictures.
///
/// It is written row by row. Whatever the document holds, the picture stays small: about 10,000 rows at
/// most (a longer song is drawn at a greater scale), a few lanes of regions, and one item of a kind in half a
/// point. A row says what it leaves out ("+ 37 more").
void writeSongPictureSVG(std::ostream& out, const Song& document, const std::shared_ptr<Waveform>& waveform,
                         const PictureOptions& options);

/// The same as an HTML page that stands alone; it plays `audioFile` (a path as seen from the page, in UTF-8)
/// with a moving cursor when the browser can.
void writeSongPictureHTML(std::ostream& out, const Song& document, const std::shared_ptr<Waveform>& waveform,
                          const PictureOptions& options, const std::string& audioFile);

} // namespace tarn
