#pragma once

#include <mutex>

namespace tarn {

/// Guards the state of a storage; the thread that holds it may take it again.
using RecursiveLock = std::recursive_mutex;
using LockGuard = std::lock_guard<RecursiveLock>;

} // namespace tarn
