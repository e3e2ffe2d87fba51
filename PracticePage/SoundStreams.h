#pragma once

#include "Platform/Export.h"
#include "PracticePage/SoundStream.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace TARN_PUBLIC tarn {

/// The streams that pages play. There are only a few: the one that was used longest ago goes when there are
/// too many, as does one that nobody uses. Thread-safe.
class SoundStreams {
public:
    static constexpr std::size_t kMostStreams = 16;
    static constexpr std::chrono::minutes kPatience{10};

    /// Its name, which nobody can guess.
    [[nodiscard]] std::string add(std::unique_ptr<SoundStream> stream);
    /// Calls the function with the stream. False where there is none.
    bool use(std::string_view name, const std::function<void(SoundStream&)>& function);
    void remove(std::string_view name);
    void clear();

private:
    struct Entry {
        std::string name;
        std::unique_ptr<SoundStream> stream;
        std::chrono::steady_clock::time_point lastUse;
        std::mutex use;
    };

    std::mutex mMutex;
    std::vector<std::shared_ptr<Entry>> mEntries;
};

} // namespace tarn
