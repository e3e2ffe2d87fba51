#include "Programs/tarn/ProgressDisplay.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <unistd.h>

namespace tarn::program {

namespace {

constexpr auto kRedrawInterval = std::chrono::milliseconds(100);
constexpr int kBarWidth = 30; ///< characters

/// A line is redrawn with control sequences, which a terminal without a known type may print.
bool understandsControlSequences() {
    const char* const type = std::getenv("TERM");
    return type && *type && std::string_view(type) != "dumb";
}

} // namespace

ProgressDisplay::ProgressDisplay(bool keepsStandardOutput)
    : mDrawsBar(isatty(STDERR_FILENO) != 0 && understandsControlSequences()),
      mKeepsStandardOutput(keepsStandardOutput) {}

void ProgressDisplay::show(double fraction, const std::string& activity) {
    if (!mDrawsBar) {
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
    std::clog << "\r" << mShown << "\x1b[K" << std::flush;
}

void ProgressDisplay::clear() {
    if (mDrawsBar && !mShown.empty())
        std::clog << "\r\x1b[K" << std::flush;
    mShown.clear();
}

} // namespace tarn::program
