#pragma once

#include "Platform/Export.h"
#include "Song/CountedBeats.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

/// Places in a song as musicians type them, and what frame they mean in a document.
namespace TARN_PUBLIC tarn {

/// A place that is typed: `3:1` (bar and beat, counted from 1), `3:2+` or `3:2+1/4` (that part of the way to
/// the next beat, half of it when nothing is said), `0:24`, `1:05`, `1:02:03`, `1:05.2`, `1:05s` or `65.2s`
/// (time), `@132300` (frame), `start` and `end` of the recording.
///
/// Two whole numbers are a bar and a beat unless one of them begins with a zero: bars and beats are counted
/// from 1 and written without leading zeros, minutes and seconds are not. So `12:10` is a beat, and `12:09`
/// and `0:12` are times. What has hours, a decimal point or an s is a time too.
struct Position {
    /// For messages: what can be typed.
    static constexpr const char* kForms =
        "bar and beat 3:1, time 0:24, 1:05.2 or 65.2s, frame @132300, start, end";

    struct BarBeat {
        std::int64_t bar = 1;
        std::int64_t beat = 1;
        double fraction = 0; ///< of the way to the next beat, below 1
        /// Where the text reads as minutes and seconds as well: that time, for songs that have no such beat.
        std::optional<double> seconds = {};
    };
    struct Time {
        double seconds = 0;
    };
    struct Frame {
        std::int64_t frame = 0;
    };
    enum class Boundary { start, end };

    std::variant<BarBeat, Time, Frame, Boundary> place;
    std::string text; ///< as typed

    [[nodiscard]] static std::optional<Position> make(std::string_view text);
};

enum class DistanceUnit { beats, bars, seconds, frames };

/// A stretch of the song: whole or fractional numbers of beats, bars, seconds (s, sec; ms for thousandths) or
/// frames.
struct Distance {
    double amount = 0;
    DistanceUnit unit = DistanceUnit::beats;

    /// Empty for any other unit and for amounts beyond a million beats, bars or seconds, or 2^53 frames.
    [[nodiscard]] static std::optional<Distance> make(std::string_view amount, std::string_view unit);
    [[nodiscard]] bool isWhole() const;
};

/// An edit that the document refuses, with the reason for the user.
class EditRefused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The places of a document as it stands. Bars and beats are those that a musician counts (the time
/// signature's view). Every operation throws EditRefused for what the document does not have.
class SongPositions {
public:
    explicit SongPositions(const Song& document);

    /// A frame of the recording, 0 and the frame count included.
    [[nodiscard]] std::int64_t frame(const Position& position) const;
    /// The frame at which the bar, counted from 1, begins.
    [[nodiscard]] std::int64_t startOfBar(std::int64_t number) const;
    [[nodiscard]] std::size_t barCount() const { return mGrid.barLines().barCount(); }
    /// Where one arrives from a frame after a distance, along the beats or bars where it is given in them.
    /// Throws EditRefused beyond 2^53 frames.
    [[nodiscard]] std::int64_t frameAfter(std::int64_t frame, const Distance& distance) const;
    /// `3:1` for a frame on a beat of a bar, else the time `1:05.200`.
    [[nodiscard]] std::string name(std::int64_t frame) const;
    /// `1:05.200`, or `@-441` for a frame before the recording.
    [[nodiscard]] std::string timeText(std::int64_t frame) const;

private:
    [[nodiscard]] bool hasBeat(const Position::BarBeat& place) const;
    [[nodiscard]] std::int64_t barBeatFrame(const Position::BarBeat& place) const;
    /// The counted beats of a bar, counted from 1.
    [[nodiscard]] Range<std::size_t> beatsOfBar(std::int64_t number) const;

    const Song& mDocument;
    BeatGrid mGrid; ///< the counted beats
};

} // namespace tarn
