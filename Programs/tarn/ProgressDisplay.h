#pragma once

#include <chrono>
#include <string>

namespace tarn::program {

/// Shows how far the work is: on a terminal that can redraw a line (its TERM is set and not "dumb") as a bar
/// on standard error with what is being done, which goes when the work ends; otherwise as lines on standard
/// output, one for each thing that is done, or not at all when standard output is kept for results.
class ProgressDisplay {
public:
    explicit ProgressDisplay(bool keepsStandardOutput);
    ~ProgressDisplay() { clear(); }
    ProgressDisplay(const ProgressDisplay&) = delete;
    ProgressDisplay& operator=(const ProgressDisplay&) = delete;

    /// `fraction` is 0 to 1.
    void show(double fraction, const std::string& activity);
    void clear();

private:
    const bool mDrawsBar;
    const bool mKeepsStandardOutput;
    std::string mShown; ///< the bar, or the last line
    std::chrono::steady_clock::time_point mLastDrawn;
};

} // namespace tarn::program
