#pragma once

#include "Platform/ObserverList.h"

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
    /// Ends the observation when the last reference goes.
    using Token = std::shared_ptr<void>;

    KeyValueObservable() = default;
    KeyValueObservable(const KeyValueObservable&) = delete;
    KeyValueObservable& operator=(const KeyValueObservable&) = delete;

    [[nodiscard]] Token observeKey(std::string key, Handler handler);

    void willChangeValueForKey(std::string_view key) const {
        mObservers.notify(key, KeyValueChange::willChange);
    }
    void didChangeValueForKey(std::string_view key) const {
        mObservers.notify(key, KeyValueChange::didChange);
    }

protected:
    ~KeyValueObservable() = default;

private:
    ObserverList<std::string_view, KeyValueChange> mObservers;
};

} // namespace tarn
