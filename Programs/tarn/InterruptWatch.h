#pragma once

#include <csignal>
#include <initializer_list>
#include <utility>
#include <vector>

namespace tarn::program {

/// While it lives, the first interrupt (Ctrl-C, or another of the signals) is only noted; a second one ends
/// the process at once.
class InterruptWatch {
public:
    explicit InterruptWatch(std::initializer_list<int> signals = {SIGINT});
    ~InterruptWatch();
    InterruptWatch(const InterruptWatch&) = delete;
    InterruptWatch& operator=(const InterruptWatch&) = delete;

    [[nodiscard]] static bool isInterrupted();

private:
    std::vector<std::pair<int, struct sigaction>> mEarlier;
};

} // namespace tarn::program
