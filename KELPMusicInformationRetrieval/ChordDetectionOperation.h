#pragma once

#include "KELPMusic/KELPChordDetectionResult.h"
#include "KELPMusic/KELPKey.h"
#include "KELPMusicInformationRetrieval/AnalysisOperation.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace tarn {

class ChordDetectionOperation;

class ChordDetectionOperationDelegate {
public:
    virtual ~ChordDetectionOperationDelegate() = default;
    virtual bool requiresChordDetectionIn(ChordDetectionOperation&) { return true; }
    virtual double
    tuningEstimationForChordDetectionOperation(ChordDetectionOperation& operation) = 0; ///< Hz of A4
    virtual KELPKeyRef keyForChordDetectionOperation(ChordDetectionOperation& operation) = 0;
    /// Beat locations in frames, ascending; may be empty.
    virtual std::vector<double>
    beatLocationsForChordDetectionOperation(ChordDetectionOperation& operation) = 0;
    virtual void chordDetectionDidBeginIn(ChordDetectionOperation&) {}
    virtual void chordDetectionDidBeginProcessingIn(ChordDetectionOperation&) {}
    virtual void chordDetectionDidFinishProcessingIn(ChordDetectionOperation&) {}
    /// Each result has a chord and the location at which it begins; ascending.
    virtual void chordDetectionDidFinishProcessingWithResults(const ChordDetectionResultArray&,
                                                              ChordDetectionOperation&) {}
    virtual void chordDetectionDidFinishIn(ChordDetectionOperation&) {}
};

/// Finds the chords. The base of both kinds.
class ChordDetectionOperation : public AnalysisOperation<ChordDetectionOperationDelegate> {
public:
    struct Input {
        double tuningFrequency = 440.0;
        KELPKeyRef key;
        std::vector<double> beatLocations;
    };

protected:
    void main() override;
    /// Nothing when cancelled.
    virtual std::optional<ChordDetectionResultArray> process(const Input& input) = 0;
};

/// The preferred kind, which also ranks the candidates for each of its analysis frames.
class DetectChordsOperation : public ChordDetectionOperation {
public:
    struct Candidate {
        std::int64_t label = 0; ///< a code of the labelling scheme, 0 to 255
        float score = 0;
        friend bool operator==(const Candidate&, const Candidate&) = default;
    };
    struct Frame {
        std::int64_t location = 0;
        std::vector<Candidate> candidates; ///< the best one first
        friend bool operator==(const Frame&, const Frame&) = default;
    };

    /// The ranked candidates: from a cache before the operation runs, else of its own once it has.
    [[nodiscard]] const std::vector<Frame>& topKResults() const { return mTopKResults; }
    void setTopKResults(std::vector<Frame> results) { mTopKResults = std::move(results); }

private:
    std::vector<Frame> mTopKResults;
};

/// The fallback: one chord for each stretch between beats.
class LegacyChordDetectionOperation : public ChordDetectionOperation {};

} // namespace tarn
