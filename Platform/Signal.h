#pragma once

#include "Platform/NotificationCenter.h"

#include <functional>
#include <memory>
#include <utility>

namespace tarn {

/// Ends a subscription when disposed of or destroyed. Movable, not copyable; disposing twice is harmless.
class Disposable {
public:
    Disposable() = default;
    explicit Disposable(std::function<void()> action) : mAction(std::move(action)) {}
    Disposable(Disposable&& other) noexcept : mAction(std::exchange(other.mAction, nullptr)) {}
    Disposable& operator=(Disposable&& other) noexcept {
        if (this != &other) {
            dispose();
            mAction = std::exchange(other.mAction, nullptr);
        }
        return *this;
    }
    ~Disposable() { dispose(); }

    void dispose() {
        if (const auto action = std::exchange(mAction, nullptr))
            action();
    }

private:
    std::function<void()> mAction;
};

/// A stream of values that starts with the subscription: each subscriber gets every value that comes after it
/// subscribed, on the thread that sends the value, until its Disposable is disposed of.
template <typename Value>
class Signal {
public:
    using Subscriber = std::function<void(const Value&)>;
    /// Connects a subscriber to the source and answers what ends the connection.
    using Connect = std::function<Disposable(Subscriber)>;

    explicit Signal(Connect connect) : mConnect(std::move(connect)) {}
    [[nodiscard]] Disposable subscribe(Subscriber subscriber) const {
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
            return Disposable();
        auto token = center.addObserver(name, sender, nullptr, std::move(subscriber));
        return Disposable([token] { token->remove(); });
    });
}

} // namespace tarn
