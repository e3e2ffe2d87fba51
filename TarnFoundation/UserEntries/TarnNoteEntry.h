#pragma once

#include "KELPMusic/KELPPitch.h"
#include "Platform/Export.h"
#include "TarnFoundation/UserEntries/TarnUserEntry.h"

namespace TARN_PUBLIC tarn {

class KELPStringedInstrumentDescription;

/// A transcribed note.
class TarnNoteEntry : public EntryClass<TarnNoteEntry, TarnUserEntry> {
public:
    static constexpr std::string_view kClassName = "TarnNoteEntry";
    using EntryClass::EntryClass;

    [[nodiscard]] const KELPPitchRef& pitch() const { return mPitch; } ///< may be none
    void setPitch(KELPPitchRef pitch) { mPitch = std::move(pitch); }
    [[nodiscard]] std::uint64_t length() const { return mLength; } ///< frames
    void setLength(std::uint64_t length) { mLength = length; }
    /// Which of the positions on the instrument that play the pitch is meant, counted from 0.
    [[nodiscard]] std::uint8_t fretSelection() const { return mFretSelection; }
    void setFretSelection(std::uint8_t selection) { mFretSelection = selection; }
    [[nodiscard]] std::uint8_t channel() const { return mChannel; }
    void setChannel(std::uint8_t channel) { mChannel = channel; }

    /// Steps to the next or the previous playable position; nothing happens when there is none. Stepping back
    /// from 0 gives 255, whatever the number of positions.
    void increaseFretSelectionWithTuning(const KELPStringedInstrumentDescription& tuning);
    void decreaseFretSelectionWithTuning(const KELPStringedInstrumentDescription& tuning);

    void copyAttributesToEntry(TarnUserEntry& target) override;
    [[nodiscard]] std::string description() const override;
    void encodeWithCoder(KeyedArchiver& coder) const override;

protected:
    bool decodeAttributes(KeyedUnarchiver& coder) override;

private:
    [[nodiscard]] std::uint8_t playablePositions(const KELPStringedInstrumentDescription& tuning) const;

    KELPPitchRef mPitch;
    std::uint64_t mLength = 0;
    std::uint8_t mFretSelection = 0;
    std::uint8_t mChannel = 0;
};

} // namespace tarn
