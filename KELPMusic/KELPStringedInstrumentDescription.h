#pragma once

#include "KELPMusic/KELPPitch.h"
#include "Platform/Export.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace TARN_PUBLIC tarn {

class KELPStringedInstrumentDescription;

using KELPInstrumentRef = std::shared_ptr<const KELPStringedInstrumentDescription>;

/// A stringed instrument as tablature sees it: the open strings in the order in which tunings are written,
/// from the player's uppermost string downwards (a guitar reads E2 A2 D3 G3 B3 E4), and how far up each can
/// be stopped. Immutable; equal when name, tuning and number of frets are equal.
class KELPStringedInstrumentDescription final : public SecureCoding {
public:
    static constexpr int kHighestNumberOfFrets = 127;

    /// No open string may be absent and the number of frets lies in 0 … kHighestNumberOfFrets; anything
    /// else aborts.
    KELPStringedInstrumentDescription(std::string name, std::vector<KELPPitchRef> tuning, int numberOfFrets);

    /// A six-string guitar in standard tuning with 24 frets; always the same object.
    [[nodiscard]] static KELPInstrumentRef stringedInstrumentDescription();
    /// The instruments and tunings that an application offers, the default first.
    [[nodiscard]] static const std::vector<KELPInstrumentRef>& presets();
    /// The preset of that name; null when there is none.
    [[nodiscard]] static KELPInstrumentRef presetNamed(std::string_view name);

    [[nodiscard]] const std::string& name() const { return mName; }
    [[nodiscard]] const std::vector<KELPPitchRef>& tuning() const { return mTuning; }
    /// The highest fret; on fretless instruments the highest stopped semitone.
    [[nodiscard]] int numberOfFrets() const { return mNumberOfFrets; }
    /// "Guitar (E2 A2 D3 G3 B3 E4, 24 frets)".
    [[nodiscard]] std::string description() const;

    [[nodiscard]] KELPInstrumentRef copy() const;
    [[nodiscard]] bool isEqualToDescription(const KELPStringedInstrumentDescription& other) const;
    [[nodiscard]] bool operator==(const KELPStringedInstrumentDescription& other) const {
        return isEqualToDescription(other);
    }

    static const ClassDescription& classDescription();
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
    /// Archive keys: "name" (string), "tuning" (array of KELPPitch), "numberOfFrets" (number).
    void encodeWithCoder(KeyedArchiver& coder) const override;

private:
    std::string mName;
    std::vector<KELPPitchRef> mTuning;
    int mNumberOfFrets;
};

} // namespace tarn

template <>
struct std::hash<tarn::KELPStringedInstrumentDescription> {
    std::size_t operator()(const tarn::KELPStringedInstrumentDescription& instrument) const noexcept;
};
