#include "Song/SongHistory.h"

#include "Platform/FatalError.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace tarn {
namespace {

constexpr std::uint64_t kGreatestIdentifier = std::uint64_t{1} << 62; // after which more can follow

std::size_t sizeOf(const SongStep& step) {
    return step.message.size() + step.difference.size();
}

} // namespace

SongHistory::SongHistory(std::vector<SongStep> steps, std::size_t doneCount) {
    for (SongStep& step : steps) {
        const std::uint64_t least = mSteps.empty() ? 1 : mSteps.back().identifier + 1;
        if (step.identifier >= least && step.identifier <= kGreatestIdentifier)
            mSteps.push_back(std::move(step));
        else if (mSteps.size() < doneCount)
            --doneCount;
    }
    mDoneCount = std::min(doneCount, mSteps.size());
    forgetOldest();
}

const SongStep* SongHistory::newest() const {
    return mDoneCount == 0 ? nullptr : &mSteps[mDoneCount - 1];
}

const SongStep* SongHistory::next() const {
    return mDoneCount == mSteps.size() ? nullptr : &mSteps[mDoneCount];
}

void SongHistory::add(std::string message, Data difference) {
    using namespace std::chrono;
    const std::uint64_t identifier = mSteps.empty() ? 1 : mSteps.back().identifier + 1;
    mSteps.resize(mDoneCount);
    const auto now = duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
    mSteps.push_back({identifier, now, std::move(message), std::move(difference)});
    mDoneCount = mSteps.size();
    forgetOldest();
}

void SongHistory::takeBack() {
    precondition(mDoneCount > 0, "There is no step to take back");
    --mDoneCount;
}

void SongHistory::makeAgain() {
    precondition(mDoneCount < mSteps.size(), "There is no step to make again");
    ++mDoneCount;
}

void SongHistory::forgetOldest() {
    std::size_t kept = 0;
    std::size_t bytes = 0;
    while (kept < mSteps.size() && kept < kMostSteps) {
        bytes += sizeOf(mSteps[mSteps.size() - 1 - kept]);
        if (bytes > kMostBytes && kept > 0)
            break;
        ++kept;
    }
    const std::size_t forgotten = mSteps.size() - kept;
    mSteps.erase(mSteps.begin(), mSteps.begin() + static_cast<std::ptrdiff_t>(forgotten));
    mDoneCount -= std::min(mDoneCount, forgotten);
}

} // namespace tarn
