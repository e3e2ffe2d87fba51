#pragma once

#include "KELPMusicInformationRetrieval/AnalysisOperation.h"
#include "KELPMusicInformationRetrieval/DetectedMetre.h"
#include "Platform/Export.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace TARN_PUBLIC tarn {

class BeatAlignmentOperation;

class BeatAlignmentOperationDelegate {
public:
    virtual ~BeatAlignmentOperationDelegate() = default;
    virtual bool requiresBeatAlignment(BeatAlignmentOperation& operation) = 0;
    virtual std::vector<std::int64_t> beatLocations(BeatAlignmentOperation& operation) = 0;
    virtual std::int64_t numberOfTatumsPerBar(BeatAlignmentOperation& operation) = 0;
    virtual std::vector<std::int64_t> chordChangeLocations(BeatAlignmentOperation& operation) = 0;
    virtual void beatAlignmentOperationDidBegin(BeatAlignmentOperation&) {}
    virtual void beatAlignmentOperationDidEnd(BeatAlignmentOperation&) {}
    virtual void beatAlignmentOperationDidBeginProcessing(BeatAlignmentOperation&) {}
    /// `downbeatLocation` is one of the beat locations; a bar has `tatumCount` tatums.
    virtual void beatAlignmentOperationDidFindDownbeatLocation(BeatAlignmentOperation&,
                                                               std::int64_t /*downbeatLocation*/,
                                                               std::int64_t /*tatumCount*/) {}
};

/// Finds the first downbeat and the length of the bars from the beats and the chord changes.
class BeatAlignmentOperation : public AnalysisOperation<BeatAlignmentOperationDelegate> {
public:
    struct Input {
        std::vector<std::int64_t> beatLocations;
        std::int64_t tatumsPerBar = 0; ///< what to assume where the music does not tell
        std::vector<std::int64_t> chordChangeLocations;
    };
    struct Result {
        std::int64_t downbeatLocation = 0;
        std::int64_t tatumCount = 0;
    };

    /// All that is known of the bars of these beats, from when the downbeat is reported on; nothing from an
    /// engine that knows no more than it reports. Thread-safe.
    [[nodiscard]] std::shared_ptr<const DetectedMetre> metre() const {
        const std::lock_guard guard(mMutex);
        return mMetre;
    }

protected:
    void main() override {
        using Delegate = BeatAlignmentOperationDelegate;
        tell(&Delegate::beatAlignmentOperationDidBegin, *this);
        if (ask(&Delegate::requiresBeatAlignment, *this)) {
            tell(&Delegate::beatAlignmentOperationDidBeginProcessing, *this);
            const Input input{ask(&Delegate::beatLocations, *this),
                              ask(&Delegate::numberOfTatumsPerBar, *this),
                              ask(&Delegate::chordChangeLocations, *this)};
            const auto result = hasDelegate() ? process(input) : std::nullopt;
            if (result && !isCancelled())
                tell(&Delegate::beatAlignmentOperationDidFindDownbeatLocation, *this,
                     result->downbeatLocation, result->tatumCount);
        }
        tell(&Delegate::beatAlignmentOperationDidEnd, *this);
    }

    void setMetre(std::shared_ptr<const DetectedMetre> metre) {
        const std::lock_guard guard(mMutex);
        mMetre = std::move(metre);
    }
    /// Nothing when cancelled. Without beats the downbeat location is -1, which no beat has.
    virtual std::optional<Result> process(const Input& input) = 0;

private:
    mutable std::mutex mMutex;
    std::shared_ptr<const DetectedMetre> mMetre;
};

} // namespace tarn
