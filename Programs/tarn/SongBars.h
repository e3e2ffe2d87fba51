#pragma once

#include "Platform/Range.h"
#include "Song/Song.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tarn::program {

/// The bars that a musician counts: the beats of the time signature's view from the start of the recording
/// on, cut at the downbeats. Bars and beats are known by their places alone, so that it does not matter
/// whether entries of a damaged document share an identifier.
class SongBars {
public:
    explicit SongBars(const Song& document);

    /// The counted beats by location.
    [[nodiscard]] const EntryList<TarnBeatEntry>& beats() const { return mBeats; }
    /// How many bars there are.
    [[nodiscard]] std::size_t count() const { return mStarts.size(); }
    /// The beats before the first bar: all of them where there is no bar.
    [[nodiscard]] Range<std::size_t> pickup() const {
        return {0, mStarts.empty() ? mBeats.size() : mStarts.front()};
    }
    /// The beats of a bar, counted from 0; never none.
    [[nodiscard]] Range<std::size_t> bar(std::size_t index) const {
        return {mStarts[index], index + 1 < mStarts.size() ? mStarts[index + 1] : mBeats.size()};
    }

    /// Both counted from 0.
    struct Place {
        std::size_t bar = 0;
        std::size_t beat = 0;
    };
    /// Where the beat at the index stands; nothing for a beat of the pickup.
    [[nodiscard]] std::optional<Place> placeOfBeat(std::size_t index) const;
    /// Where the last beat at or before the frame stands; nothing before the first bar.
    [[nodiscard]] std::optional<Place> placeOfFrame(std::int64_t frame) const;

private:
    EntryList<TarnBeatEntry> mBeats;
    std::vector<std::size_t> mStarts; ///< the downbeats
};

} // namespace tarn::program
