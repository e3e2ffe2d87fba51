#pragma once

#include "Platform/Export.h"

#include <functional>
#include <utility>
#include <vector>

namespace TARN_PUBLIC tarn {

/// Keeps an observation alive: it ends when the subscription is reset, destroyed or assigned to, and no call
/// begins after that. A call in progress on another thread runs to its end.
/// Harmless when the observed object has gone. Movable, not copyable.
class Subscription {
public:
    Subscription() = default;
    /// Calls `end` once to end it.
    explicit Subscription(std::function<void()> end) { mEnds.push_back(std::move(end)); }
    Subscription(Subscription&& other) noexcept : mEnds(std::exchange(other.mEnds, {})) {}
    Subscription& operator=(Subscription&& other) noexcept {
        if (this != &other) {
            reset();
            mEnds = std::exchange(other.mEnds, {});
        }
        return *this;
    }
    ~Subscription() { reset(); }

    /// Ends it now; a second time nothing happens.
    void reset() {
        for (const auto& end : std::exchange(mEnds, {}))
            end();
    }
    /// Keeps another one as well, until both end together.
    void add(Subscription other) {
        for (auto& end : std::exchange(other.mEnds, {}))
            mEnds.push_back(std::move(end));
    }

private:
    std::vector<std::function<void()>> mEnds;
};

} // namespace tarn
