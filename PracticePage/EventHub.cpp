#include "PracticePage/EventHub.h"

namespace tarn {

std::vector<std::shared_ptr<EventStream>> EventHub::open() const {
    const std::lock_guard guard(mMutex);
    std::erase_if(mStreams, [](const auto& stream) { return stream->isClosed(); });
    return mStreams;
}

std::shared_ptr<EventStream> EventHub::newStream() {
    if (open().size() >= kMostStreams)
        return nullptr;
    const std::lock_guard guard(mMutex);
    return mStreams.emplace_back(std::make_shared<EventStream>());
}

void EventHub::push(std::string_view event, std::string_view data) {
    for (const auto& stream : open())
        stream->push(event, data);
}

void EventHub::pushKeepAlive() {
    for (const auto& stream : open())
        stream->pushKeepAlive();
}

std::size_t EventHub::pageCount() const {
    return open().size();
}

void EventHub::close() {
    for (const auto& stream : open())
        stream->close();
}

} // namespace tarn
