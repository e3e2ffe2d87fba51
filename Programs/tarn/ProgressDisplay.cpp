#include "Programs/tarn/ProgressDisplay.h"

#include <algorithm>
#include <iostream>
#include <unistd.h>

namespace tarn::program {

namespace {

constexpr auto kRedrawInterval = std::chrono::milliseconds(100);
constexpr int kBarWidth = 30; ///< characters

} // namespace

ProgressDisplay::ProgressDisplay(bool keepsStandardOutput)
    : mIsTerminal(isatty(STDERR_FILENO) != 0), mKeepsStandardOutput(keepsStandardOutput) {}

void ProgressDisplay::show(double fraction, const std::string& activity) {
    if (!mIsTerminal) {
        if (!mKeepsStandardOutput && activity != mShown)
            std::cout << activity << "\n" << std::flush;
        mShown = activity;
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now - mLastDrawn < kRedrawInterval)
        return;
    mLastDrawn = now;
    const int percent = static_cast<int>(std::clamp(fraction, 0.0, 1.0) * 100);
    const auto filled = static_cast<std::size_t>(percent * kBarWidth / 100);
    std::string bar = "[" + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "] " +
                      (percent < 10    ? "  "
                       : percent < 100 ? " "
                                       : "") +
                      std::to_string(percent) + " %  " + activity;
    if (bar == mShown)
        return;
    mShown = std::move(bar);
    std::cerr << "\r" << mShown << "\x1b[K" << std::flush;
}

void ProgressDisplay::clear() {
    if (mIsTerminal && !mShown.empty())
        std::cerr << "\r\x1b[K" << std::flush;
    mShown.clear();
}

} // namespace tarn::program
