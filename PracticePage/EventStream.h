#pragma once

#include "Platform/Export.h"

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

namespace TARN_PUBLIC tarn {

/// Events on their way to one page, in the format of text/event-stream (WHATWG HTML, server-sent events).
/// Thread-safe. A page that does not read what is pushed loses its stream, and has to load the song again.
class EventStream {
public:
    /// `data` is one line.
    void push(std::string_view event, std::string_view data);
    /// A line that pages skip. It finds out whether the page is still there.
    void pushKeepAlive();
    /// Ends the stream after what was pushed.
    void close();
    [[nodiscard]] bool isClosed() const;

    /// What is read of the stream; `end` where it has ended, `none` where nothing is there yet.
    enum class State { some, none, end };
    struct Read {
        State state = State::none;
        std::size_t length = 0; ///< bytes that were copied to the buffer
    };
    /// Copies what is there. Where nothing is, calls `wait` while nothing can be pushed; `wake`, which it
    /// returns, is called once when something is there.
    Read read(char* buffer, std::size_t room, const std::function<std::function<void()>()>& wait);

private:
    static constexpr std::size_t kMostUnread = 1 << 20; // bytes

    void append(std::string_view text);

    mutable std::mutex mMutex;
    std::string mUnread;
    bool mIsClosed = false;
    std::function<void()> mWake;
};

} // namespace tarn
