#include "Platform/CheckedArithmetic.h"
#include "Platform/DispatchQueue.h"
#include "TarnFoundation/Analysis/AnalysisInputs.h"
#include "TarnFoundation/Analysis/TarnMusicInformationRetrievalController.h"

#include <algorithm>
#include <limits>

/// What becomes of the results that the operations report.
namespace tarn {

namespace {

constexpr int kPitchClassCount = 12;
constexpr int kMajorTriadID = 1;
constexpr int kMinorTriadID = 2;

// Whether the tonic on a pitch class is spelled with a flat.
constexpr bool kMajorTonicIsFlat[kPitchClassCount] = {false, true,  false, true,  false, false,
                                                      false, false, true,  false, true,  false};
constexpr bool kMinorTonicIsFlat[kPitchClassCount] = {false, false, false, false, false, false,
                                                      false, false, false, false, true,  false};

/// The tonic triad of a key: 0 to 11 the major keys from C, 12 and above the minor keys.
KELPChordRef tonicTriad(int keyIndex) {
    precondition(keyIndex >= 0, "A key index must not be negative");
    const bool isMajor = keyIndex < kPitchClassCount;
    const int pitchClass = keyIndex % kPitchClassCount;
    const auto* intervals = KELPChordIntervalsWithID(isMajor ? kMajorTriadID : kMinorTriadID);
    precondition(intervals != nullptr, "The chord table lacks the triads");
    const bool isFlat = (isMajor ? kMajorTonicIsFlat : kMinorTonicIsFlat)[pitchClass];
    return KELPChord::chordWithRoot(KELPNote::noteWithValue(pitchClass, isFlat), *intervals);
}

} // namespace

void TarnMusicInformationRetrievalController::tuningEstimationOperationDidFinish(
    TuningEstimationOperation& operation) {
    MainQueue::sync([&] {
        const auto entry = mNoteEntryStorage->newStandardPitchEntry();
        entry->setFrequency(operation.tuningEstimate());
        post(TarnTuningEstimationDidFinishProcessingNotification, {{"standardPitch", entry}});
    });
}

void TarnMusicInformationRetrievalController::didFinishKeyDetection(KeyDetectionOperation& operation) {
    const auto key = operation.key();
    if (!key)
        return;
    MainQueue::async([storage = mNoteEntryStorage, keyIndex = *key] {
        MainQueue::assertOnMainThread();
        const auto entry = storage->newKeyEntry();
        entry->setTonicChord(tonicTriad(keyIndex));
        storage->addKeyEntry(entry);
    });
}

void TarnMusicInformationRetrievalController::beatDetectionOperationDidEndProcessing(
    const std::vector<std::int64_t>& beats, double overallTempo, BeatDetectionOperation&) {
    {
        const std::lock_guard guard(mMutex);
        mBeatLocations = beats.empty() ? std::nullopt : std::optional(beats);
    }
    const auto entry = mNoteEntryStorage->newTempoEntry();
    entry->setTempo(static_cast<float>(overallTempo));
    MainQueue::sync([&] { post(TarnBeatDetectionDidFinishProcessingNotification, {{"tempo", entry}}); });
}

void TarnMusicInformationRetrievalController::beatAlignmentOperationDidFindDownbeatLocation(
    BeatAlignmentOperation& operation, std::int64_t downbeatLocation, std::int64_t tatumCount) {
    {
        const std::lock_guard guard(mMutex);
        mDetectedMetre = operation.metre();
    }
    constexpr std::uint8_t kDenominator = 4;
    // Two tatums make a counted beat; -1, halved toward zero, is within range.
    const std::int64_t numerator = tatumCount / 2;
    precondition(numerator >= 0 && numerator <= std::numeric_limits<std::uint8_t>::max(),
                 "The tatum count of a bar is out of range");
    const auto timeSignature = mNoteEntryStorage->newTimeSignatureEntry();
    timeSignature->setNumerator(static_cast<std::uint8_t>(numerator));
    timeSignature->setDenominator(kDenominator);

    std::vector<std::shared_ptr<TarnBeatEntry>> beats;
    for (const std::int64_t location : beatLocations().value_or(std::vector<std::int64_t>())) {
        beats.push_back(mNoteEntryStorage->newBeatEntry());
        beats.back()->setLocation(location);
        beats.back()->setDownbeat(false);
    }
    const auto downbeat = std::find_if(
        beats.begin(), beats.end(), [&](const auto& beat) { return beat->location() == downbeatLocation; });
    if (downbeat == beats.end()) {
        postOnMainQueue(TarnBeatAlignmentDidFinishProcessingNotification);
        return;
    }
    precondition(tatumCount != 0, "A bar without tatums has no next downbeat");
    (*downbeat)->setDownbeat(true);
    // One bar is `tatumCount` stored beats, not as many as the numerator says. No beat comes after by a
    // negative count.
    for (auto rest = beats.end() - downbeat; tatumCount > 0 && rest > tatumCount;) {
        rest -= tatumCount;
        (*(beats.end() - rest))->setDownbeat(true);
    }
    postOnMainQueue(
        TarnBeatAlignmentDidFinishProcessingNotification,
        {{"beatEntries", EntryList<TarnBeatEntry>(std::move(beats))}, {"timeSignature", timeSignature}});
}

void TarnMusicInformationRetrievalController::chordDetectionDidFinishProcessingWithResults(
    const ChordDetectionResultArray& results, ChordDetectionOperation& operation) {
    const auto hasChords = [&] { return !mNoteEntryStorage->chordEntries().empty(); };
    if (!hasChords()) {
        MainQueue::sync([&] {
            if (hasChords()) // the user has added one on the main thread meanwhile
                return;
            mNoteEntryStorage->addChordEntriesFromArray(
                analysis::newChordEntries(*mNoteEntryStorage, results));
            postChordNotification(TarnChordDetectionDidFinishProcessingNotification, operation);
        });
    }
    writeCacheForChordDetectionOperation(operation, cachedChordResultsURL());
}

} // namespace tarn
