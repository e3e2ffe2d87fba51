#pragma once

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

    /// The observation ends when the last reference to the answer goes.
    [[nodiscard]] std::shared_ptr<void> add(Handler handler) const {
        auto entry = std::make_shared<Entry>(std::move(handler));
        auto token = std::make_shared<Token>(mState, entry);
        const std::lock_guard lock(mState->mutex);
        auto changed = mState->entries ? *mState->entries : Entries();
        changed.push_back(std::move(entry));
        mState->replace(std::move(changed));
        return token;
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

        /// Answers the list before, to be destroyed after the lock.
        std::shared_ptr<const Entries> replace(Entries changed) {
            isEmpty.store(changed.empty(), std::memory_order_release);
            return std::exchange(entries, std::make_shared<Entries>(std::move(changed)));
        }
    };

    struct Token {
        Token(const std::shared_ptr<State>& list, const std::shared_ptr<Entry>& observation)
            : state(list), entry(observation) {}
        Token(const Token&) = delete;
        Token& operator=(const Token&) = delete;
        ~Token() {
            const auto observation = entry.lock();
            if (!observation)
                return;
            observation->isActive.store(false, std::memory_order_release);
            const auto list = state.lock();
            if (!list)
                return;
            std::shared_ptr<const Entries> before;
            const std::lock_guard lock(list->mutex);
            auto changed = *list->entries;
            changed.erase(std::remove(changed.begin(), changed.end(), observation), changed.end());
            before = list->replace(std::move(changed));
        }
        std::weak_ptr<State> state;
        std::weak_ptr<Entry> entry;
    };

    std::shared_ptr<State> mState = std::make_shared<State>();
};

} // namespace tarn
