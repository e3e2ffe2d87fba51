#include "Platform/RecursiveLock.h"

#include <mutex>

namespace tarn {

struct RecursiveLock::State {
    std::recursive_mutex mutex;
};

RecursiveLock::RecursiveLock() : mState(std::make_unique<State>()) {}
RecursiveLock::~RecursiveLock() = default;

void RecursiveLock::lock() {
    mState->mutex.lock();
}

void RecursiveLock::unlock() {
    mState->mutex.unlock();
}

} // namespace tarn
