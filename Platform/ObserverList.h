#pragma once

#include "Platform/Subscription.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace tarn {

/// The observers of one object, called in the order in which they were added. All operations may be called
/// from any thread and from inside a call: one removed meanwhile is not called any more, one added meanwhile
/// is first called next time. No lock is held while observers are called or their closures are destroyed, and
/// a call in progress survives the list. An observer that another thread is just calling when it is removed
/// finishes that call.
template <typename... Arguments>
class ObserverList {
public:
    using Handler = std::function<void(Arguments...)>;

    [[nodiscard]] Subscription add(Handler handler) const {
        auto entry = std::make_shared<Entry>(std::move(handler));
        Subscription subscription(
            [state = std::weak_ptr<State>(mState), observation = std::weak_ptr<Entry>(entry)] {
                remove(observation.lock(), state.lock());
            });
        const std::lock_guard lock(mState->mutex);
        auto changed = mState->entries ? *mState->entries : Entries();
        changed.push_back(std::move(entry));
        mState->replace(std::move(changed));
        return subscription;
    }

    [[nodiscard]] bool isEmpty() const { return mState->isEmpty.load(std::memory_order_acquire); }

    void notify(Arguments... arguments) const {
        if (isEmpty())
            return;
        std::shared_ptr<const Entries> entries;
        {
            const std::lock_guard lock(mState->mutex);
            entries = mState->entries;
        }
        for (const auto& entry : *entries) {
            if (entry->isActive.load(std::memory_order_acquire))
                entry->handler(arguments...);
        }
    }

private:
    struct Entry {
        explicit Entry(Handler function) : handler(std::move(function)) {}
        Handler handler;
        std::atomic<bool> isActive = true;
    };
    using Entries = std::vector<std::shared_ptr<Entry>>;

    /// `entries` is never changed, only replaced, so that calls in progress keep theirs.
    struct State {
        std::mutex mutex;
        std::shared_ptr<const Entries> entries; ///< none until the first observer
        std::atomic<bool> isEmpty = true;

        /// Returns the list before, to be destroyed after the lock.
        std::shared_ptr<const Entries> replace(Entries changed) {
            isEmpty.store(changed.empty(), std::memory_order_release);
            return std::exchange(entries, std::make_shared<Entries>(std::move(changed)));
        }
    };

    static void remove(const std::shared_ptr<Entry>& observation, const std::shared_ptr<State>& state) {
        if (!observation)
            return;
        observation->isActive.store(false, std::memory_order_release);
        if (!state)
            return;
        std::shared_ptr<const Entries> before;
        const std::lock_guard lock(state->mutex);
        auto changed = *state->entries;
        changed.erase(std::remove(changed.begin(), changed.end(), observation), changed.end());
        before = state->replace(std::move(changed));
    }

    std::shared_ptr<State> mState = std::make_shared<State>();
};

} // namespace tarn
