#pragma once

#include "Platform/Export.h"
#include "PracticePage/EventStream.h"

#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

namespace TARN_PUBLIC tarn {

/// The streams of all pages that are open. Thread-safe.
class EventHub {
public:
    ~EventHub() { close(); }

    /// A stream of what is pushed from now on; null where too many pages are open.
    [[nodiscard]] std::shared_ptr<EventStream> newStream();
    /// To all pages; `data` is one line.
    void push(std::string_view event, std::string_view data);
    void pushKeepAlive();
    [[nodiscard]] std::size_t pageCount() const;
    void close();

private:
    static constexpr std::size_t kMostStreams = 64;

    [[nodiscard]] std::vector<std::shared_ptr<EventStream>> open() const;

    mutable std::mutex mMutex;
    mutable std::vector<std::shared_ptr<EventStream>> mStreams;
};

} // namespace tarn
