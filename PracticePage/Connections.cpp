#include "PracticePage/Connections.h"

#include <algorithm>
#include <sys/socket.h>

namespace tarn {

using Clock = std::chrono::steady_clock;

Connections::Connections(std::chrono::milliseconds patience)
    : mPatience(patience), mThread([this] { closeLate(); }) {}

Connections::~Connections() {
    {
        const std::lock_guard guard(mMutex);
        mIsEnding = true;
    }
    mEnd.notify_all();
    mThread.join();
}

Connections::Connection* Connections::add(int socket, std::uint32_t address) {
    const std::lock_guard guard(mMutex);
    mAll.push_back({socket, address, Clock::now()});
    ++mCounts[address];
    return &mAll.back();
}

void Connections::remove(Connection* connection) {
    const std::lock_guard guard(mMutex);
    if (const auto count = mCounts.find(connection->address); --count->second == 0)
        mCounts.erase(count);
    mAll.remove_if([connection](const Connection& other) { return &other == connection; });
}

void Connections::noteAnswer(Connection* connection) {
    const std::lock_guard guard(mMutex);
    connection->lastAnswer = Clock::now();
    connection->isStream = false;
}

void Connections::noteStream(Connection* connection) {
    const std::lock_guard guard(mMutex);
    connection->isStream = true;
}

std::size_t Connections::countFrom(std::uint32_t address) const {
    const std::lock_guard guard(mMutex);
    const auto count = mCounts.find(address);
    return count == mCounts.end() ? 0 : count->second;
}

void Connections::closeLate() {
    std::unique_lock lock(mMutex);
    while (!mEnd.wait_for(lock, mPatience / 8, [this] { return mIsEnding; })) {
        const auto now = Clock::now();
        for (const Connection& connection : mAll) {
            if (!connection.isStream && now - connection.lastAnswer > mPatience)
                ::shutdown(connection.socket, SHUT_RDWR); // the server's thread notices and removes it
        }
    }
}

} // namespace tarn
