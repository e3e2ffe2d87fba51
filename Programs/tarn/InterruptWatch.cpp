#include "Programs/tarn/InterruptWatch.h"

namespace tarn::program {

namespace {

/// Set by the handler.
volatile std::sig_atomic_t gIsInterrupted = 0;

} // namespace

InterruptWatch::InterruptWatch(std::initializer_list<int> signals) {
    gIsInterrupted = 0;
    struct sigaction action {};
    action.sa_handler = [](int) { gIsInterrupted = 1; };
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : signals) {
        struct sigaction earlier {};
        sigaction(signal, &action, &earlier);
        mEarlier.emplace_back(signal, earlier);
    }
}

InterruptWatch::~InterruptWatch() {
    for (const auto& [signal, earlier] : mEarlier)
        sigaction(signal, &earlier, nullptr);
}

bool InterruptWatch::isInterrupted() {
    return gIsInterrupted != 0;
}

} // namespace tarn::program
