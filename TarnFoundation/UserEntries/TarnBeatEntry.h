#pragma once

#include "Platform/Export.h"
#include "TarnFoundation/UserEntries/TarnUserEntry.h"

namespace TARN_PUBLIC tarn {

/// A position of the beat grid; a downbeat opens a bar.
class TarnBeatEntry : public EntryClass<TarnBeatEntry, TarnUserEntry> {
public:
    static constexpr std::string_view kClassName = "TarnBeatEntry";
    using EntryClass::EntryClass;

    [[nodiscard]] bool isDownbeat() const { return mDownbeat; }
    void setDownbeat(bool downbeat) { mDownbeat = downbeat; }

    void copyAttributesToEntry(TarnUserEntry& target) override;
    [[nodiscard]] std::string description() const override;
    void encodeWithCoder(KeyedArchiver& coder) const override;

protected:
    bool decodeAttributes(KeyedUnarchiver& coder) override;

private:
    bool mDownbeat = false;
};

/// The song's time signature.
class TarnTimeSignatureEntry : public EntryClass<TarnTimeSignatureEntry, TarnUserEntry> {
public:
    static constexpr std::string_view kClassName = "TarnTimeSignatureEntry";
    using EntryClass::EntryClass;

    [[nodiscard]] std::uint8_t numerator() const { return mNumerator; }
    void setNumerator(std::uint8_t numerator) { mNumerator = numerator; }
    [[nodiscard]] std::uint8_t denominator() const { return mDenominator; }
    void setDenominator(std::uint8_t denominator) { mDenominator = denominator; }

    /// The location goes to the target as for every kind, but numerator and denominator come FROM the target:
    /// a copy made by a storage keeps its own 4/4, and the entry copied from is overwritten with it.
    void copyAttributesToEntry(TarnUserEntry& target) override;
    [[nodiscard]] std::string description() const override;
    void encodeWithCoder(KeyedArchiver& coder) const override;

protected:
    bool decodeAttributes(KeyedUnarchiver& coder) override;

private:
    std::uint8_t mNumerator = 4;
    std::uint8_t mDenominator = 4;
};

/// The tempo in counted beats per minute.
class TarnTempoEntry : public EntryClass<TarnTempoEntry, TarnUserEntry> {
public:
    static constexpr std::string_view kClassName = "TarnTempoEntry";
    using EntryClass::EntryClass;

    [[nodiscard]] float tempo() const { return mTempo; }
    void setTempo(float tempo) { mTempo = tempo; }

    void copyAttributesToEntry(TarnUserEntry& target) override;
    [[nodiscard]] std::string description() const override;
    void encodeWithCoder(KeyedArchiver& coder) const override;

protected:
    bool decodeAttributes(KeyedUnarchiver& coder) override;

private:
    float mTempo = 0;
};

} // namespace tarn
