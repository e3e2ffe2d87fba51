#pragma once

#include "Platform/Subscription.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace tarn {

enum class KeyValueChange { willChange, didChange };

/// An object whose named properties can be watched: around each change of a property its observers hear
/// `willChange` before and `didChange` after, on the changing thread, in the order of registration.
/// Thread-safe; observers may add and remove observers, themselves included, change properties, and drop the
/// last reference to the object.
class KeyValueObservable {
public:
    using Handler = std::function<void(const std::string& key, KeyValueChange change)>;

    KeyValueObservable();
    KeyValueObservable(const KeyValueObservable&) = delete;
    KeyValueObservable& operator=(const KeyValueObservable&) = delete;

    [[nodiscard]] Subscription observeKey(std::string key, Handler handler);

    void willChangeValueForKey(std::string_view key) const;
    void didChangeValueForKey(std::string_view key) const;

protected:
    ~KeyValueObservable();

private:
    struct Observers;
    const std::unique_ptr<Observers> mObservers;
};

} // namespace tarn
