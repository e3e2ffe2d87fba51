#include "Platform/WorkerPool.h"

#include "Platform/FatalError.h"

#include <chrono>
#include <exception>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace tarn {

namespace {

constexpr std::chrono::seconds kIdleTime{1};

} // namespace

void runUnattended(const std::function<void()>& block) {
    try {
        block();
    } catch (const std::exception& exception) {
        fatalError(std::string("An exception left background work: ") + exception.what());
    } catch (...) {
        fatalError("An exception left background work");
    }
}

void WorkerPool::run(std::function<void()> block) {
    const std::lock_guard lock(mMutex);
    mBlocks.push_back(std::move(block));
    if (mIdleCount >= mBlocks.size()) {
        mArrival.notify_one();
        return;
    }
    if (mThreadCount >= mThreadLimit)
        return;
    try {
        std::thread([this] { work(); }).detach();
        ++mThreadCount;
    } catch (const std::system_error&) {
        // The system has no more threads to give: those that there are will come to the block.
        precondition(mThreadCount > 0, "No background thread can be started");
    }
}

void WorkerPool::work() {
    std::unique_lock lock(mMutex);
    for (;;) {
        ++mIdleCount;
        const bool hasWork = mArrival.wait_for(lock, kIdleTime, [this] { return !mBlocks.empty(); });
        --mIdleCount;
        if (!hasWork)
            break;
        auto block = std::move(mBlocks.front());
        mBlocks.pop_front();
        lock.unlock();
        runUnattended(block);
        block = nullptr; // what it captured is released without the lock
        lock.lock();
    }
    --mThreadCount;
}

} // namespace tarn
