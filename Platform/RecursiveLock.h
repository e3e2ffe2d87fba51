#pragma once

#include <memory>

namespace tarn {

/// Guards the state of a storage; the thread that holds it may take it again. (A std::recursive_mutex that
/// does not bring its header into everything that includes a storage.)
class RecursiveLock {
public:
    RecursiveLock();
    ~RecursiveLock();
    RecursiveLock(const RecursiveLock&) = delete;
    RecursiveLock& operator=(const RecursiveLock&) = delete;

    void lock();
    void unlock();

private:
    struct State;
    const std::unique_ptr<State> mState;
};

/// Holds the lock from its construction to its destruction.
class LockGuard {
public:
    explicit LockGuard(RecursiveLock& lock) : mLock(lock) { mLock.lock(); }
    ~LockGuard() { mLock.unlock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

private:
    RecursiveLock& mLock;
};

} // namespace tarn
