#include "PracticePage/SpliceStretch.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tarn {
namespace {

// Seconds.
constexpr double kFade = 0.006;
constexpr double kFarthest = 0.02; ///< from where the sound should be; a period of the lowest notes
constexpr double kCompared = 0.01; ///< what splices are chosen by
constexpr double kAttack = 0.012;  ///< after an onset, never played again
constexpr double kGuard = 0.002;   ///< before an onset
constexpr double kApproach = 0.045;
constexpr double kStep = 0.0025;

} // namespace

SpliceStretch::SpliceStretch(int sampleRate, int channelCount, double speed)
    : mSampleRate(sampleRate), mChannels(static_cast<std::size_t>(channelCount)), mSpeed(speed),
      mOnsets(sampleRate) {}

std::int64_t SpliceStretch::frames(double seconds) const {
    return static_cast<std::int64_t>(seconds * mSampleRate);
}

std::int64_t SpliceStretch::inputEnd() const {
    return mInputStart + static_cast<std::int64_t>(mMixed.size());
}

void SpliceStretch::put(std::span<const float> block) {
    mInput.insert(mInput.end(), block.begin(), block.end());
    const std::size_t first = mMixed.size();
    for (std::size_t i = 0; i + mChannels <= block.size(); i += mChannels) {
        float sum = 0;
        for (std::size_t channel = 0; channel < mChannels; ++channel)
            sum += block[i + channel];
        mMixed.push_back(sum / static_cast<float>(mChannels));
    }
    mOnsets.put(std::span(mMixed).subspan(first));
}

/// Whether all is known that decides on the next step.
bool SpliceStretch::hasEnough() const {
    const double ahead = 0.1 + kApproach * std::max(1.0, mSpeed) + kFarthest;
    return mHasEnded || mOnsets.lookedUpTo() > inputAt(mOutput, mOffset) + frames(ahead);
}

std::optional<SpliceStretch::Goal> SpliceStretch::goal() const {
    // An onset that is due too soon after the one before cannot be met.
    const std::int64_t earliest = mOutput + frames(kFade + kGuard);
    auto onset = mOnsets.firstAfter(inputAt(mOutput, mOffset) + frames(kGuard));
    while (onset) {
        const auto due = static_cast<std::int64_t>(std::llround(static_cast<double>(*onset) / mSpeed));
        if (due >= earliest || *onset - due == mOffset)
            return Goal{*onset, due};
        onset = mOnsets.firstAfter(*onset);
    }
    return std::nullopt;
}

double SpliceStretch::likeness(std::int64_t a, std::int64_t b) const {
    double product = 0;
    double energyA = 1e-9;
    double energyB = 1e-9;
    const std::int64_t length = std::min(frames(kCompared), inputEnd() - std::max(a, b));
    if (std::min(a, b) < mInputStart || length <= 0)
        return -1;
    const float* const soundA = mMixed.data() + (a - mInputStart);
    const float* const soundB = mMixed.data() + (b - mInputStart);
    for (std::int64_t i = 0; i < length; ++i) {
        product += static_cast<double>(soundA[i]) * soundB[i];
        energyA += static_cast<double>(soundA[i]) * soundA[i];
        energyB += static_cast<double>(soundB[i]) * soundB[i];
    }
    return product / std::sqrt(energyA * energyB);
}

void SpliceStretch::startSplice(std::int64_t offset) {
    if (offset == mOffset)
        return;
    mFormerOffset = mOffset;
    mOffset = offset;
    mFadeLeft = frames(kFade);
    mSpliceAt.reset();
}

/// The last splice before an onset leads exactly to it; when it is made is free within limits.
bool SpliceStretch::approach(const Goal& goal) {
    if (mOffset == goal.offset())
        return true;
    const std::int64_t left = goal.output - mOutput;
    const auto former = mOnsets.lastUpTo(inputAt(mOutput, mOffset));
    const bool leadsBehindAttack = !former || inputAt(mOutput, goal.offset()) >= *former + frames(kAttack);
    if (left > frames(kApproach) || !leadsBehindAttack)
        return false;
    if (!mSpliceAt) {
        const std::int64_t fade = frames(kFade + kGuard);
        const std::int64_t latest =
            std::max(mOutput, std::min(goal.output, goal.input - mOffset) - fade - frames(kStep));
        double best = -2;
        for (std::int64_t at = mOutput; at <= latest; at += std::max<std::int64_t>(1, frames(0.0002))) {
            const double found = likeness(inputAt(at, mOffset), inputAt(at, goal.offset()));
            if (found > best) {
                best = found;
                mSpliceAt = at;
            }
        }
    }
    return true;
}

void SpliceStretch::spliceWhereNeeded(const std::optional<Goal>& goal) {
    const std::int64_t here = inputAt(mOutput, mOffset);
    const auto due = static_cast<std::int64_t>(static_cast<double>(mOutput) * mSpeed);
    const std::int64_t farthest = frames(kFarthest);
    const std::int64_t before = goal ? goal->input - frames(kFade + kGuard + kStep) : inputEnd();
    const bool meetsGoal = goal && here >= before - frames(kStep);
    if (std::abs(here - due) <= farthest && !meetsGoal)
        return;
    const auto former = mOnsets.lastUpTo(here);
    const std::int64_t afterAttack = former ? *former + frames(kAttack) : mInputStart;
    if (here < afterAttack && !meetsGoal)
        return;
    const std::int64_t first = std::max(mSpeed < 1 ? due - farthest : due, afterAttack);
    const std::int64_t last = std::min(mSpeed < 1 ? due : due + farthest, before - frames(kStep));
    if (first > last && !meetsGoal)
        return;
    std::int64_t best = std::clamp(first, std::min(afterAttack, before), std::max(afterAttack, before));
    double found = -2;
    for (std::int64_t candidate = first; candidate <= last; ++candidate) {
        const double likely = likeness(here, candidate);
        if (likely > found) {
            found = likely;
            best = candidate;
        }
    }
    startSplice(best - mOutput);
}

float SpliceStretch::sample(std::int64_t frame, std::size_t channel) const {
    if (frame < mInputStart || frame >= inputEnd())
        return 0;
    return mInput[static_cast<std::size_t>(frame - mInputStart) * mChannels + channel];
}

void SpliceStretch::play(std::vector<float>& output, std::int64_t count) {
    const auto fade = static_cast<double>(frames(kFade));
    for (std::int64_t i = 0; i < count; ++i, ++mOutput) {
        const double passed = mFadeLeft > 0 ? 1 - static_cast<double>(mFadeLeft) / fade : 1;
        const auto share = static_cast<float>(0.5 - 0.5 * std::cos(std::numbers::pi * passed));
        for (std::size_t channel = 0; channel < mChannels; ++channel) {
            float value = sample(inputAt(mOutput, mOffset), channel);
            if (mFadeLeft > 0)
                value = share * value + (1 - share) * sample(inputAt(mOutput, mFormerOffset), channel);
            output.push_back(value);
        }
        mFadeLeft = std::max<std::int64_t>(0, mFadeLeft - 1);
    }
}

void SpliceStretch::forgetWhatIsPast() {
    const std::int64_t needed = inputAt(mOutput, std::min(mOffset, mFormerOffset)) - mSampleRate / 2;
    const std::int64_t past = needed - mInputStart;
    if (past < mSampleRate)
        return;
    mMixed.erase(mMixed.begin(), mMixed.begin() + past);
    mInput.erase(mInput.begin(), mInput.begin() + past * static_cast<std::int64_t>(mChannels));
    mInputStart += past;
    mOnsets.forgetBefore(needed);
}

void SpliceStretch::takeInto(std::vector<float>& output) {
    const auto end = [this] { return static_cast<std::int64_t>(static_cast<double>(inputEnd()) / mSpeed); };
    while (hasEnough() && (!mHasEnded || mOutput < end())) {
        std::int64_t step = frames(kStep);
        if (mFadeLeft == 0) {
            const auto next = goal();
            if (!next || !approach(*next)) {
                mSpliceAt.reset();
                spliceWhereNeeded(next);
            } else if (mSpliceAt && *mSpliceAt <= mOutput) {
                startSplice(next->offset());
            } else if (mSpliceAt) {
                step = std::min(step, *mSpliceAt - mOutput);
            }
        }
        if (mFadeLeft > 0)
            step = std::min(step, mFadeLeft);
        if (mHasEnded)
            step = std::min(step, end() - mOutput);
        play(output, step);
        forgetWhatIsPast();
    }
}

} // namespace tarn
