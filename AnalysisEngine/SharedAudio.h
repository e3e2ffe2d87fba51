// The audio of one file as the operations of a run share it: whichever operation needs something first
// computes it, the others wait for it, and what has been computed never changes. So a file is decoded once
// for all of them, and what they find does not depend on which of them came first.
#pragma once

#include "AnalysisEngine/AudioFeatures.h"
#include "AnalysisEngine/BeatDetection.h"
#include "AnalysisEngine/StageMonitor.h"
#include "Platform/Export.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace TARN_PUBLIC tarn {

/// A value that is computed by the first thread that asks for it. A computation that is cancelled, or fails
/// otherwise, leaves nothing behind: one of those who wait takes over.
template <typename Value>
class ComputedOnce {
public:
    using Compute = std::function<Value(const StageMonitor& monitor)>;

    /// Throws AnalysisCancelled when the monitor says so, also while waiting.
    std::shared_ptr<const Value> get(const StageMonitor& monitor, const Compute& compute) {
        std::unique_lock lock(mMutex);
        while (!mValue) {
            if (!mIsComputing) {
                mIsComputing = true;
                lock.unlock();
                auto value = computeOrResign(monitor, compute);
                lock.lock();
                mIsComputing = false;
                mValue = std::move(value);
                mChanged.notify_all();
                break;
            }
            mChanged.wait_for(lock, kPollInterval);
            const double fraction = mFraction;
            lock.unlock();
            monitor.report(fraction);
            lock.lock();
        }
        return mValue;
    }

    /// Empty as long as nobody has computed it.
    std::shared_ptr<const Value> peek() {
        const std::lock_guard guard(mMutex);
        return mValue;
    }

private:
    /// How soon one who waits learns that it is cancelled.
    static constexpr std::chrono::milliseconds kPollInterval{20};

    std::shared_ptr<const Value> computeOrResign(const StageMonitor& monitor, const Compute& compute) {
        const StageMonitor shared({}, [&](double fraction) {
            monitor.report(fraction);
            const std::lock_guard guard(mMutex);
            mFraction = fraction;
        });
        try {
            return std::make_shared<const Value>(compute(shared));
        } catch (...) {
            const std::lock_guard guard(mMutex);
            mIsComputing = false;
            mChanged.notify_all();
            throw;
        }
    }

    std::mutex mMutex;
    std::condition_variable mChanged;
    std::shared_ptr<const Value> mValue;
    bool mIsComputing = false;
    double mFraction = 0;
};

class SharedAudio {
public:
    explicit SharedAudio(std::filesystem::path file) : mFile(std::move(file)) {}

    [[nodiscard]] const std::filesystem::path& file() const { return mFile; }
    /// Of nothing (no frames) when the file cannot be opened any more.
    [[nodiscard]] std::shared_ptr<const AudioFeatures> features(const StageMonitor& monitor);
    /// The features, if they have been computed already; otherwise empty.
    [[nodiscard]] std::shared_ptr<const AudioFeatures> heardFeatures() { return mFeatures.peek(); }
    /// What the features' pass has computed so far; nothing before the first is asked for. A computation that
    /// takes over from a cancelled one begins with another.
    [[nodiscard]] std::optional<HeardSoFar> heardSoFar() const;
    /// Some operation will ask for the features: others need no pass of their own.
    void expectFeatures() { mExpectsFeatures = true; }
    [[nodiscard]] bool expectsFeatures() const { return mExpectsFeatures; }
    [[nodiscard]] std::shared_ptr<const DetectedBeats> beats(const StageMonitor& monitor);
    /// The beats, with bars and metre, if they have been detected already; otherwise empty.
    [[nodiscard]] std::shared_ptr<const DetectedBeats> detectedBeats() { return mBeats.peek(); }

private:
    std::filesystem::path mFile;
    ComputedOnce<AudioFeatures> mFeatures;
    ComputedOnce<DetectedBeats> mBeats;
    std::atomic<bool> mExpectsFeatures = false;
    mutable std::mutex mMutex; ///< guards the next
    std::optional<HeardSoFar> mSoFar;
};

} // namespace tarn
