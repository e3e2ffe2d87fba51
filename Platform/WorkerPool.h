#pragma once

#include "Platform/Export.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <limits>
#include <mutex>

namespace TARN_PUBLIC tarn {

/// Background threads, started when a block finds none idle and ended when they have been idle for a while. A
/// pool is never destroyed (make it with `new` and keep it in a static): its threads are detached and may be
/// inside a block or waiting while the process ends. A block that throws aborts.
class WorkerPool {
public:
    static constexpr std::size_t kNoThreadLimit = std::numeric_limits<std::size_t>::max();

    explicit WorkerPool(std::size_t threadLimit) : mThreadLimit(threadLimit) {}
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    /// Starts blocks in the order of the calls.
    void run(std::function<void()> block);

private:
    ~WorkerPool() = default;
    void work();

    const std::size_t mThreadLimit;
    std::mutex mMutex;
    std::condition_variable mArrival;
    std::deque<std::function<void()>> mBlocks;
    std::size_t mThreadCount = 0;
    std::size_t mIdleCount = 0;
};

/// Runs a block of background work; an exception that leaves it aborts with a message.
void runUnattended(const std::function<void()>& block);

} // namespace tarn
