#pragma once

#include "Platform/Export.h"
#include "Song/Song.h"
#include "TarnFoundation/Grid/BeatGrid.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// A song's time as sheet music tells it: places counted in beats instead of frames.
namespace TARN_PUBLIC tarn {

/// The counted beats of a song from the start of the recording on, those at one frame being one, and what
/// lies between them. Places are ticks, so many to a beat, from the first counted beat on; before it they are
/// negative. Outside the beats the first and the last interval go on.
class GridPlaces {
public:
    /// A fraction of a beat that is fine enough for whatever sheet music divides it into.
    static constexpr int kTicksPerBeat = 480;

    /// Throws FormatRefused for a song with fewer than two counted beats.
    explicit GridPlaces(const Song& song);

    [[nodiscard]] std::size_t beatCount() const { return mGrid.size(); }
    [[nodiscard]] const BeatGrid& grid() const { return mGrid; }
    /// The place of a frame in beats, not rounded.
    [[nodiscard]] double beats(double frame) const;
    /// The nearest tick.
    [[nodiscard]] std::int64_t tick(std::int64_t frame) const;
    /// The frame nearest to a tick.
    [[nodiscard]] std::int64_t frame(double beats) const;
    [[nodiscard]] std::int64_t frameOfTick(std::int64_t tick) const {
        return frame(static_cast<double>(tick) / kTicksPerBeat);
    }

private:
    BeatGrid mGrid; ///< strictly ascending
};

/// A chord on a tick of the song's beats.
struct PlacedChord {
    std::int64_t tick = 0;
    KELPChordRef chord; ///< as it sounds; null and no chord where nothing does
    std::uint64_t identifier = 0;
};

/// The song's bars as sheet music has them: the pickup as bar 0 where there is one, then bar 1, 2, ….
struct SheetBar {
    std::int64_t number = 1;
    std::size_t firstBeat = 0; ///< position among the counted beats
    std::size_t beatCount = 0;
};

/// The song laid out in bars.
class Sheet {
public:
    /// Throws FormatRefused for a song without bars.
    explicit Sheet(const Song& song);

    [[nodiscard]] const GridPlaces& places() const { return mPlaces; }
    [[nodiscard]] const std::vector<SheetBar>& bars() const { return mBars; }
    /// The bar that holds a tick; before the first bar the first, after the last one the last.
    [[nodiscard]] std::size_t barAt(std::int64_t tick) const;
    /// The bar of a number; nothing where there is none.
    [[nodiscard]] const SheetBar* barNumbered(std::int64_t number) const;
    /// The first tick of the bar and the tick after it.
    [[nodiscard]] Range<std::int64_t> ticks(const SheetBar& bar) const;

    /// The chords, each on the nearest multiple of `ticksBetween` ticks; of several on one tick, the last.
    /// What sounds where the bars begin stands there; what lies after them is left out.
    [[nodiscard]] std::vector<PlacedChord> chords(std::int64_t ticksBetween) const;
    /// The names of the sections by the bar, an index, that begins nearest to them; of several the last.
    [[nodiscard]] std::map<std::size_t, std::string> sections() const;

private:
    const Song& mSong;
    GridPlaces mPlaces;
    std::vector<SheetBar> mBars;
};

/// Replaces the song's chords, in one change, and says so. Ticks ascend. Those that fall outside the
/// recording, or on the frame of the one before, are left out. Chords `beside` the grid come with them.
std::string replaceChordsOnGrid(Song& song, const GridPlaces& places, const std::vector<PlacedChord>& chords,
                                std::vector<std::shared_ptr<TarnChordEntry>> beside = {});

/// Replaces the song's sections, in one change, and says so. `beginnings` are frames that ascend.
std::string replaceSectionsAt(Song& song,
                              const std::vector<std::pair<std::int64_t, std::string>>& beginnings);

} // namespace tarn
