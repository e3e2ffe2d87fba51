#pragma once

#include <functional>
#include <thread>
#include <vector>

namespace tarn {

/// Does the work in `count` threads at once, each with its number from 0 on, and waits for all.
inline void inThreads(int count, const std::function<void(int)>& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back(work, i);
    for (auto& thread : threads)
        thread.join();
}

} // namespace tarn
