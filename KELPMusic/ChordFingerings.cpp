#include "KELPMusic/ChordFingerings.h"

#include <algorithm>
#include <bitset>
#include <set>

namespace tarn {
namespace {

constexpr int kHighestBase = 12;
constexpr int kReach = 4; // frets
constexpr int kMostFingers = 4;
constexpr std::int8_t kMuted = -1;

using Frets = std::vector<std::int8_t>;

/// All fingerings of a chord within reach of a fret.
class FingeringSearch {
public:
    FingeringSearch(const KELPChord& chord, const KELPStringedInstrumentDescription& instrument)
        : mInstrument(instrument), mTones(chord.pitchClasses()),
          mBass(chord.addedBass().value_or(chord.root()).value()), mNeeded(mTones),
          mPlayable(instrument.tuning().size()) {
        leaveOutWhatHasNoRoom(chord);
        for (int tone = 0; tone < 12; ++tone) {
            for (std::int32_t octave = 0; mTones[static_cast<std::size_t>(tone)] && octave < 9; ++octave) {
                const KELPPitch pitch(KELPNote::noteWithValue(tone), octave);
                const auto frets = pitch.possibleFretsWithTuning(instrument);
                for (std::size_t string = 0; string < frets.size(); ++string) {
                    if (frets[string] >= 0)
                        mPlayable[string].insert(frets[string]);
                }
            }
        }
    }

    struct Found {
        Frets frets;
        int base;
        int cost;
    };
    [[nodiscard]] std::vector<Found> find() {
        for (int base = 1; base <= kHighestBase; ++base) {
            Frets frets;
            extend(frets, base);
        }
        std::ranges::stable_sort(mFound, {}, &Found::cost);
        return std::move(mFound);
    }

private:
    /// The fifth is what listeners miss least.
    void leaveOutWhatHasNoRoom(const KELPChord& chord) {
        const auto fifth = static_cast<std::size_t>((chord.root().value() + 7) % 12);
        if (mNeeded.count() > mPlayable.size() || (mNeeded.count() >= 4 && mNeeded[fifth]))
            mNeeded.reset(fifth);
    }

    [[nodiscard]] bool ascends() const {
        const auto& tuning = mInstrument.tuning();
        return std::ranges::is_sorted(tuning, {}, [](const auto& pitch) { return pitch->semitones(); });
    }

    void extend(Frets& frets, int base) {
        if (frets.size() == mPlayable.size()) {
            consider(frets, base);
            return;
        }
        const auto choose = [&](std::int8_t fret) {
            frets.push_back(fret);
            extend(frets, base);
            frets.pop_back();
        };
        choose(kMuted);
        for (const std::int8_t fret : mPlayable[frets.size()]) {
            if (fret == 0 || (fret >= base && fret < base + kReach))
                choose(fret);
        }
    }

    void consider(const Frets& frets, int base) {
        const auto isPlayed = [](std::int8_t fret) { return fret != kMuted; };
        const auto first = std::ranges::find_if(frets, isPlayed);
        const auto last = std::find_if(frets.rbegin(), frets.rend(), isPlayed).base();
        const auto played = std::count_if(frets.begin(), frets.end(), isPlayed);
        if (played < 2 || last - first != played)
            return;
        std::vector<std::int8_t> stopped;
        std::ranges::copy_if(frets, std::back_inserter(stopped), [](std::int8_t fret) { return fret > 0; });
        const int lowest = stopped.empty() ? 1 : *std::ranges::min_element(stopped);
        if (lowest != base) // found from another base
            return;
        const auto onLowest = std::ranges::count(stopped, static_cast<std::int8_t>(lowest));
        const bool hasOpen = std::ranges::count(frets, std::int8_t{0}) > 0;
        const auto fingers = static_cast<std::ptrdiff_t>(stopped.size()) -
                             (hasOpen ? 0 : std::max<std::ptrdiff_t>(0, onLowest - 1));
        if (fingers > kMostFingers)
            return;
        std::bitset<12> sounding;
        for (std::size_t string = 0; string < frets.size(); ++string) {
            if (frets[string] != kMuted)
                sounding.set(static_cast<std::size_t>(pitchClass(string, frets[string])));
        }
        if ((sounding & mNeeded) != mNeeded)
            return;
        const auto lowestString = static_cast<std::size_t>(first - frets.begin());
        if (ascends() && pitchClass(lowestString, *first) != mBass)
            return;
        const int highest = stopped.empty() ? 1 : *std::ranges::max_element(stopped);
        const auto muted = static_cast<int>(frets.size()) - static_cast<int>(played);
        const auto missing = static_cast<int>((mTones & ~sounding).count());
        mFound.push_back({frets, lowest,
                          3 * (lowest - 1) + 2 * static_cast<int>(fingers) + 4 * (highest - lowest) +
                              9 * muted + 6 * missing});
    }

    [[nodiscard]] int pitchClass(std::size_t string, std::int8_t fret) const {
        return static_cast<int>((mInstrument.tuning()[string]->semitones() + fret) % 12);
    }

    const KELPStringedInstrumentDescription& mInstrument;
    const std::bitset<12> mTones;
    const int mBass;
    std::bitset<12> mNeeded;
    std::vector<std::set<std::int8_t>> mPlayable; ///< frets of each string
    std::vector<Found> mFound;
};

} // namespace

std::vector<ChordFingering> chordFingerings(const KELPChord& chord,
                                            const KELPStringedInstrumentDescription& instrument,
                                            std::size_t most) {
    constexpr std::size_t kMostStrings = 8;
    if (chord.isNoChord() || instrument.tuning().empty() || instrument.tuning().size() > kMostStrings)
        return {};
    std::vector<ChordFingering> result;
    for (auto& found : FingeringSearch(chord, instrument).find()) {
        if (result.size() == most)
            break;
        // One for each place on the neck.
        if (std::ranges::none_of(result, [&](const auto& known) { return known.baseFret == found.base; }))
            result.push_back({std::move(found.frets), found.base});
    }
    return result;
}

} // namespace tarn
