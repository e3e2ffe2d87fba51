#include "Platform/KeyValueObserving.h"

namespace tarn {

KeyValueObservable::Token KeyValueObservable::observeKey(std::string key, Handler handler) {
    return mObservers.add([key = std::move(key), handler = std::move(handler)](std::string_view changed,
                                                                               KeyValueChange change) {
        if (changed == key)
            handler(key, change);
    });
}

} // namespace tarn
