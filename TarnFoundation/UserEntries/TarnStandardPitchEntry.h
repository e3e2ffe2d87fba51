#pragma once

#include "KELPMusic/ConcertPitch.h"
#include "KELPMusic/KELPPitch.h"
#include "Platform/Export.h"
#include "TarnFoundation/UserEntries/TarnUserEntry.h"

namespace TARN_PUBLIC tarn {

/// What the recording is tuned to: the frequency at which a pitch sounds; at first A4 at concert pitch.
class TarnStandardPitchEntry : public EntryClass<TarnStandardPitchEntry, TarnUserEntry> {
public:
    static constexpr std::string_view kClassName = "TarnStandardPitchEntry";
    explicit TarnStandardPitchEntry(std::uint64_t eventId);

    [[nodiscard]] const KELPPitchRef& pitch() const { return mPitch; }
    void setPitch(KELPPitchRef pitch) { mPitch = std::move(pitch); }
    [[nodiscard]] double frequency() const { return mFrequency; } ///< Hz
    void setFrequency(double frequency) { mFrequency = frequency; }

    void copyAttributesToEntry(TarnUserEntry& target) override;
    [[nodiscard]] std::string description() const override;
    void encodeWithCoder(KeyedArchiver& coder) const override;

protected:
    bool decodeAttributes(KeyedUnarchiver& coder) override;

private:
    KELPPitchRef mPitch;
    double mFrequency = kConcertPitch;
};

} // namespace tarn
