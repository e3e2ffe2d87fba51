#pragma once

#include "Platform/Export.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <mutex>
#include <thread>

namespace TARN_PUBLIC tarn {

/// The open connections of a server. Those on which no request has been answered for too long are closed, no
/// matter how busy they are: a request that arrives byte by byte holds a connection no longer than silence.
class Connections {
public:
    struct Connection {
        int socket = -1;
        std::uint32_t address = 0; ///< IPv4, in the network's order
        std::chrono::steady_clock::time_point lastAnswer;
        bool isStream = false; ///< on which events are sent, and which may take as long as it likes
    };

    explicit Connections(std::chrono::milliseconds patience);
    ~Connections();
    Connections(const Connections&) = delete;
    Connections& operator=(const Connections&) = delete;

    /// Valid until it is removed.
    Connection* add(int socket, std::uint32_t address);
    /// Before its socket is closed.
    void remove(Connection* connection);
    void noteAnswer(Connection* connection);
    void noteStream(Connection* connection);
    /// How many come from that address.
    [[nodiscard]] std::size_t countFrom(std::uint32_t address) const;

private:
    void closeLate();

    const std::chrono::milliseconds mPatience;
    mutable std::mutex mMutex;
    std::condition_variable mEnd;
    bool mIsEnding = false;
    std::list<Connection> mAll;
    std::map<std::uint32_t, std::size_t> mCounts; ///< by address
    std::thread mThread;
};

} // namespace tarn
