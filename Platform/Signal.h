#pragma once

#include "Platform/NotificationCenter.h"
#include "Platform/Subscription.h"

#include <functional>
#include <memory>
#include <utility>

namespace tarn {

/// A stream of values that starts with the subscription: each subscriber gets every value that comes after it
/// subscribed, on the thread that sends the value, until its Subscription ends.
template <typename Value>
class Signal {
public:
    using Subscriber = std::function<void(const Value&)>;
    /// Connects a subscriber to the source.
    using Connect = std::function<Subscription(Subscriber)>;

    explicit Signal(Connect connect) : mConnect(std::move(connect)) {}
    [[nodiscard]] Subscription subscribe(Subscriber subscriber) const {
        return mConnect(std::move(subscriber));
    }

private:
    Connect mConnect;
};

/// A signal of the notifications of one name from one sender (none = any sender).
inline Signal<Notification> notificationSignal(NotificationCenter& center, std::string name,
                                               const std::shared_ptr<const void>& object) {
    return Signal<Notification>([&center, name = std::move(name), weak = std::weak_ptr<const void>(object),
                                 anySender = object == nullptr](Signal<Notification>::Subscriber subscriber) {
        const auto sender = weak.lock();
        if (!sender && !anySender)
            return Subscription();
        return center.subscribe(name, sender, std::move(subscriber));
    });
}

} // namespace tarn
