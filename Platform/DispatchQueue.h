#pragma once

#include "Platform/Export.h"

#include <chrono>
#include <cstddef>
#include <functional>

/// Where work runs besides operation queues: the main queue, which the application's main thread drains, and
/// a global pool of background threads. A block that throws aborts.
namespace TARN_PUBLIC tarn {

using Block = std::function<void()>;

/// The queue of the main thread. The main thread is the one that first calls becomeMainThread or drains the
/// queue; until then, the thread that initialised the library's static objects.
namespace MainQueue {

/// Makes the calling thread the main thread (for tests and for applications that start on another thread).
void becomeMainThread();
[[nodiscard]] bool isMainThread();

/// Runs the block on the main thread: at once when called there, else queued and waited for.
void sync(const Block& block);
/// Queues the block for the main thread and returns.
void async(Block block);

/// Runs what is queued now, on the main thread. Returns how many blocks ran.
std::size_t runPending();
/// Runs blocks as they arrive until `condition` holds (looked at after each block and at least every few
/// milliseconds) or `timeout` has passed. Returns whether the condition holds.
bool runUntil(const std::function<bool()>& condition,
              std::chrono::milliseconds timeout = std::chrono::milliseconds::max());

/// Aborts unless called on the main thread.
void assertOnMainThread();

} // namespace MainQueue

/// Background threads for short independent work, of default priority.
namespace GlobalQueue {

void async(Block block);

} // namespace GlobalQueue

} // namespace tarn
