#include "TarnFoundation/UserEntries/TarnBeatEntry.h"

#include "TarnFoundation/UserEntries/EntryClassImplementation.h"
#include "TarnFoundation/UserEntries/EntryDescriptions.h"

namespace tarn {

template class EntryClass<TarnBeatEntry, TarnUserEntry>;
template class EntryClass<TarnTimeSignatureEntry, TarnUserEntry>;
template class EntryClass<TarnTempoEntry, TarnUserEntry>;

void TarnBeatEntry::copyAttributesToEntry(TarnUserEntry& target) {
    TarnUserEntry::copyAttributesToEntry(target);
    if (auto* beat = dynamic_cast<TarnBeatEntry*>(&target))
        beat->mDownbeat = mDownbeat;
}

std::string TarnBeatEntry::description() const {
    return classPrefix() + descriptionPrefix() + ",}" + (mDownbeat ? " isDownbeat" : "") + ">";
}

void TarnBeatEntry::encodeWithCoder(KeyedArchiver& coder) const {
    TarnUserEntry::encodeWithCoder(coder);
    coder.encodeBool("downbeat", mDownbeat);
}

bool TarnBeatEntry::decodeAttributes(KeyedUnarchiver& coder) {
    if (const auto downbeat = coder.decodeBool("downbeat"))
        mDownbeat = *downbeat;
    return true;
}

void TarnTimeSignatureEntry::copyAttributesToEntry(TarnUserEntry& target) {
    TarnUserEntry::copyAttributesToEntry(target);
    if (const auto* signature = dynamic_cast<TarnTimeSignatureEntry*>(&target)) {
        mNumerator = signature->mNumerator;
        mDenominator = signature->mDenominator;
    }
}

std::string TarnTimeSignatureEntry::description() const {
    return classPrefix() + descriptionPrefix() + ",} time signature=" + std::to_string(mNumerator) + "/" +
           std::to_string(mDenominator) + ">";
}

void TarnTimeSignatureEntry::encodeWithCoder(KeyedArchiver& coder) const {
    TarnUserEntry::encodeWithCoder(coder);
    coder.encodeUnsigned("numerator", mNumerator);
    coder.encodeUnsigned("denominator", mDenominator);
}

bool TarnTimeSignatureEntry::decodeAttributes(KeyedUnarchiver& coder) {
    if (const auto numerator = coder.decodeUInt8("numerator"))
        mNumerator = *numerator;
    if (const auto denominator = coder.decodeUInt8("denominator"))
        mDenominator = *denominator;
    return true;
}

void TarnTempoEntry::copyAttributesToEntry(TarnUserEntry& target) {
    TarnUserEntry::copyAttributesToEntry(target);
    if (auto* entry = dynamic_cast<TarnTempoEntry*>(&target))
        entry->mTempo = mTempo;
}

std::string TarnTempoEntry::description() const {
    return classPrefix() + descriptionPrefix() + ",} tempo=" + describe(mTempo, 6) + ">";
}

void TarnTempoEntry::encodeWithCoder(KeyedArchiver& coder) const {
    TarnUserEntry::encodeWithCoder(coder);
    coder.encodeFloat("tempo", mTempo);
}

bool TarnTempoEntry::decodeAttributes(KeyedUnarchiver& coder) {
    if (const auto tempo = coder.decodeFloat("tempo"))
        mTempo = *tempo;
    return true;
}

} // namespace tarn
