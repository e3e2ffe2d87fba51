#include "Platform/KeyValueObserving.h"

#include "Platform/ObserverList.h"

namespace tarn {

struct KeyValueObservable::Observers : ObserverList<std::string_view, KeyValueChange> {};

KeyValueObservable::KeyValueObservable() : mObservers(std::make_unique<Observers>()) {}
KeyValueObservable::~KeyValueObservable() = default;

Subscription KeyValueObservable::observeKey(std::string key, Handler handler) {
    return mObservers->add([key = std::move(key), handler = std::move(handler)](std::string_view changed,
                                                                                KeyValueChange change) {
        if (changed == key)
            handler(key, change);
    });
}

void KeyValueObservable::willChangeValueForKey(std::string_view key) const {
    mObservers->notify(key, KeyValueChange::willChange);
}

void KeyValueObservable::didChangeValueForKey(std::string_view key) const {
    mObservers->notify(key, KeyValueChange::didChange);
}

} // namespace tarn
