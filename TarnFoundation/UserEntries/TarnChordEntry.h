#pragma once

#include "KELPMusic/KELPChord.h"
#include "Platform/Export.h"
#include "TarnFoundation/UserEntries/TarnUserEntry.h"

namespace TARN_PUBLIC tarn {

/// A chord that sounds from its location to that of the next chord.
class TarnChordEntry : public EntryClass<TarnChordEntry, TarnUserEntry> {
public:
    static constexpr std::string_view kClassName = "TarnChordEntry";
    using EntryClass::EntryClass;

    [[nodiscard]] const KELPChordRef& chord() const { return mChord; } ///< none until it is set
    void setChord(KELPChordRef chord) { mChord = std::move(chord); }

    void copyAttributesToEntry(TarnUserEntry& target) override;
    [[nodiscard]] std::string description() const override;
    void encodeWithCoder(KeyedArchiver& coder) const override;

protected:
    bool decodeAttributes(KeyedUnarchiver& coder) override;

private:
    KELPChordRef mChord;
};

/// The song's key, held as the chord on its tonic.
class TarnKeyEntry : public EntryClass<TarnKeyEntry, TarnUserEntry> {
public:
    static constexpr std::string_view kClassName = "TarnKeyEntry";
    using EntryClass::EntryClass;

    [[nodiscard]] const KELPChordRef& tonicChord() const { return mTonicChord; } ///< none until it is set
    void setTonicChord(KELPChordRef chord) { mTonicChord = std::move(chord); }

    void copyAttributesToEntry(TarnUserEntry& target) override;
    [[nodiscard]] std::string description() const override;
    void encodeWithCoder(KeyedArchiver& coder) const override;

protected:
    bool decodeAttributes(KeyedUnarchiver& coder) override;

private:
    KELPChordRef mTonicChord;
};

} // namespace tarn
