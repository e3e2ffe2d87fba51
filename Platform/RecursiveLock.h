#pragma once

#include "Platform/Export.h"

#include <mutex>

namespace TARN_PUBLIC tarn {

/// Guards the state of a storage; the thread that holds it may take it again. A class of its own so that what
/// includes a storage need not include <mutex>.
class RecursiveLock : public std::recursive_mutex {};

/// Holds the lock from its construction to its destruction.
using LockGuard = std::lock_guard<RecursiveLock>;

} // namespace tarn
