#include "TarnFoundation/UserEntries/TarnNoteEntry.h"

#include "KELPMusic/KELPStringedInstrumentDescription.h"
#include "TarnFoundation/UserEntries/EntryClassImplementation.h"
#include "TarnFoundation/UserEntries/EntryDescriptions.h"

#include <algorithm>

namespace tarn {

template class EntryClass<TarnNoteEntry, TarnUserEntry>;

std::uint8_t TarnNoteEntry::playablePositions(const KELPStringedInstrumentDescription& tuning) const {
    if (!mPitch)
        return 0;
    const auto frets = mPitch->possibleFretsWithTuning(tuning);
    return static_cast<std::uint8_t>(
        std::count_if(frets.begin(), frets.end(), [](std::int8_t f) { return f >= 0; }));
}

void TarnNoteEntry::increaseFretSelectionWithTuning(const KELPStringedInstrumentDescription& tuning) {
    if (const unsigned count = playablePositions(tuning))
        mFretSelection = static_cast<std::uint8_t>((mFretSelection + 1u) % count);
}

void TarnNoteEntry::decreaseFretSelectionWithTuning(const KELPStringedInstrumentDescription& tuning) {
    // Signed remainder, kept to its low eight bits: -1 becomes 255, from where stepping goes on like any
    // other value.
    if (const int count = playablePositions(tuning))
        mFretSelection = static_cast<std::uint8_t>((static_cast<int>(mFretSelection) - 1) % count);
}

void TarnNoteEntry::copyAttributesToEntry(TarnUserEntry& target) {
    TarnUserEntry::copyAttributesToEntry(target);
    if (auto* note = dynamic_cast<TarnNoteEntry*>(&target)) {
        note->mPitch = mPitch;
        note->mLength = mLength;
        note->mFretSelection = mFretSelection;
        note->mChannel = mChannel;
    }
}

std::string TarnNoteEntry::description() const {
    return "Note " + descriptionPrefix() + "," + std::to_string(static_cast<std::int64_t>(mLength)) + "}, " +
           describe(mPitch);
}

void TarnNoteEntry::encodeWithCoder(KeyedArchiver& coder) const {
    TarnUserEntry::encodeWithCoder(coder);
    coder.encodeObject("pitch", mPitch);
    coder.encodeUnsigned("length", mLength);
    coder.encodeUnsigned("fretSelection", mFretSelection);
    coder.encodeUnsigned("channel", mChannel);
}

bool TarnNoteEntry::decodeAttributes(KeyedUnarchiver& coder) {
    mPitch = coder.decodeObject<KELPPitch>("pitch");
    mLength = coder.decodeUnsigned("length").value_or(0);
    if (const auto selection = coder.decodeUInt8("fretSelection"))
        mFretSelection = *selection;
    if (const auto channel = coder.decodeUInt8("channel"))
        mChannel = *channel;
    return true;
}

} // namespace tarn
