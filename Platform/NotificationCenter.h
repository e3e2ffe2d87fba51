#pragma once

#include "Platform/Error.h"
#include "Platform/Subscription.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace tarn {

class OperationQueue;

/// What observers receive: a name, the sender (may be none) and values under text keys.
struct Notification {
    std::string name;
    std::shared_ptr<const void> object;
    UserInfo userInfo;

    /// The value under `key`, or nothing when the key is absent or holds another type.
    template <typename T>
    [[nodiscard]] const T* value(const std::string& key) const {
        const auto found = userInfo.find(key);
        return found == userInfo.end() ? nullptr : std::any_cast<T>(&found->second);
    }
};

/// Delivers notifications to observers, synchronously on the posting thread and in the order of registration
/// (observers that named an operation queue get theirs as an operation on it, which the post does not wait
/// for).
///
/// All operations may be called from any thread and from inside a delivery. An observer removed during a
/// delivery is not called any more by it; one added during a delivery is first called by the next post. The
/// center holds no lock while it calls observers or destroys what they captured. An observer that another
/// thread is just calling when it is removed finishes that call.
///
/// Senders are compared by identity, that is by what owns them, and observers never keep them alive: a new
/// object at the address of a dead sender is another sender.
class NotificationCenter {
    struct State;
    struct Entry;

public:
    using Handler = std::function<void(const Notification&)>;

    /// Names one registration made by addObserver. Its owner may forget it: the registration then stays until
    /// its sender or the center goes.
    class Observation {
        struct Private {};

    public:
        Observation(Private, std::weak_ptr<State> state, std::weak_ptr<Entry> entry)
            : mState(std::move(state)), mEntry(std::move(entry)) {}
        /// Ends the registration; harmless when it has ended or the center has gone.
        void remove();

    private:
        friend class NotificationCenter;
        std::weak_ptr<State> mState;
        std::weak_ptr<Entry> mEntry;
    };
    using Token = std::shared_ptr<Observation>;

    NotificationCenter();
    ~NotificationCenter();
    NotificationCenter(const NotificationCenter&) = delete;
    NotificationCenter& operator=(const NotificationCenter&) = delete;

    /// The process-wide center. It outlives every static object that uses it.
    static NotificationCenter& defaultCenter();

    /// Calls `handler` for notifications of `name` (empty = any name) from `object` (none = any sender,
    /// otherwise an object that a shared pointer owns) until the subscription ends. With a queue, which the
    /// registration keeps alive, the handler runs there, else on the posting thread.
    [[nodiscard]] Subscription subscribe(const std::string& name, const std::shared_ptr<const void>& object,
                                         Handler handler,
                                         const std::shared_ptr<OperationQueue>& queue = nullptr);

    // The forms of the desktop platform, for observers that stay registered without keeping anything.

    /// The same until the token is removed.
    Token addObserver(const std::string& name, const std::shared_ptr<const void>& object,
                      const std::shared_ptr<OperationQueue>& queue, Handler handler);

    /// Registers a member function of `target`, which is held weakly: when the target is gone, so is the
    /// observation. The target is kept alive for the time of each call.
    template <typename Target>
    Token addObserver(const std::shared_ptr<Target>& target, void (Target::*method)(const Notification&),
                      const std::string& name, const std::shared_ptr<const void>& object) {
        return addWeakObserver(target, name, object,
                               [weak = std::weak_ptr<Target>(target), method](const Notification& n) {
                                   if (const auto strong = weak.lock())
                                       ((*strong).*method)(n);
                               });
    }

    void removeObserver(const Token& token);
    /// Removes every registration of this weak target.
    void removeObserver(const std::shared_ptr<const void>& target);

    void post(const std::string& name, const std::shared_ptr<const void>& object, UserInfo userInfo = {});
    void post(const Notification& notification);

private:
    Token addWeakObserver(const std::weak_ptr<const void>& target, const std::string& name,
                          const std::shared_ptr<const void>& object, Handler handler);

    Token add(std::shared_ptr<Entry> entry);

    std::shared_ptr<State> mState;
};

} // namespace tarn
