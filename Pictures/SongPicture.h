#pragma once

#include "KELPMusicInformationRetrieval/Waveform.h"
#include "Platform/Export.h"
#include "Song/Song.h"

#include <iosfwd>
#include <memory>
#include <string>

/// The song on rows of bars, to read and to play from.
namespace TARN_PUBLIC tarn {

/// How a picture of a song is laid out.
struct PictureOptions {
    double pageWidth = 1000;   ///< points
    double secondsPerRow = 16; ///< about how much music a row shows: a row holds one, two, four, eight … bars
                               ///< where there are bars, and more where the song would not fit
    bool isAtConcertPitch = false; ///< key and chords as they sound, without regard to capo and transposition
    bool asTriads = false;         ///< chords reduced to their triads
};

/// The song as an SVG document: waveform (when there is one; the song's loudest peak fills its lane), bar
/// lines and beats with numbers, chords, sections, regions, markers, key and tempo. It is light or dark as
/// its reader's screen is. Equal documents give equal pictures.
///
/// It is written row by row. Whatever the document holds, the picture stays small: about 10,000 rows at
/// most (a longer song is drawn at a greater scale), a few lanes of regions, and one item of a kind in half a
/// point. A row says what it leaves out ("+ 37 more"). Names are cut where their room ends; a tip then shows
/// them whole, up to 300 characters.
void writeSongPictureSVG(std::ostream& out, const Song& song, const std::shared_ptr<Waveform>& waveform,
                         const PictureOptions& options);

/// The same as an HTML page that stands alone, for window, phone and paper: where the width of the options
/// is too much, rows hold less music. It plays `audioFile` (a path as seen from the page, in UTF-8) with a
/// moving cursor, or tells why the browser cannot; without one it has no player.
void writeSongPictureHTML(std::ostream& out, const Song& song, const std::shared_ptr<Waveform>& waveform,
                          const PictureOptions& options, const std::string& audioFile);

} // namespace tarn
