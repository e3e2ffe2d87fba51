#include "PracticePage/EventStream.h"

#include <algorithm>
#include <utility>

namespace tarn {

void EventStream::append(std::string_view text) {
    if (mIsClosed)
        return;
    if (mUnread.size() + text.size() > kMostUnread)
        mIsClosed = true;
    else
        mUnread += text;
    if (const auto wake = std::exchange(mWake, nullptr))
        wake();
}

void EventStream::push(std::string_view event, std::string_view data) {
    std::string text = "event: ";
    text.append(event).append("\ndata: ").append(data).append("\n\n");
    const std::lock_guard guard(mMutex);
    append(text);
}

void EventStream::pushKeepAlive() {
    const std::lock_guard guard(mMutex);
    append(":\n\n");
}

void EventStream::close() {
    const std::lock_guard guard(mMutex);
    mIsClosed = true;
    if (const auto wake = std::exchange(mWake, nullptr))
        wake();
}

bool EventStream::isClosed() const {
    const std::lock_guard guard(mMutex);
    return mIsClosed;
}

EventStream::Read EventStream::read(char* buffer, std::size_t room,
                                    const std::function<std::function<void()>()>& wait) {
    const std::lock_guard guard(mMutex);
    if (mUnread.empty()) {
        if (mIsClosed)
            return {State::end};
        mWake = wait();
        return {State::none};
    }
    const std::size_t length = std::min(room, mUnread.size());
    mUnread.copy(buffer, length);
    mUnread.erase(0, length);
    return {State::some, length};
}

} // namespace tarn
