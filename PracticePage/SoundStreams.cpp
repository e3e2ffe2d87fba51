#include "PracticePage/SoundStreams.h"

#include "PracticePage/AccessControl.h"

#include <algorithm>

namespace tarn {

using Clock = std::chrono::steady_clock;

std::string SoundStreams::add(std::unique_ptr<SoundStream> stream) {
    auto entry = std::make_shared<Entry>();
    entry->name = newSecret();
    entry->stream = std::move(stream);
    entry->lastUse = Clock::now();
    const std::lock_guard guard(mMutex);
    std::erase_if(mEntries, [](const auto& old) { return Clock::now() - old->lastUse > kPatience; });
    if (mEntries.size() == kMostStreams)
        mEntries.erase(std::ranges::min_element(mEntries, {}, [](const auto& old) { return old->lastUse; }));
    mEntries.push_back(entry);
    return entry->name;
}

bool SoundStreams::use(std::string_view name, const std::function<void(SoundStream&)>& function) {
    std::shared_ptr<Entry> found;
    {
        const std::lock_guard guard(mMutex);
        const auto entry = std::ranges::find_if(
            mEntries, [name](const auto& known) { return isSameSecret(known->name, name); });
        if (entry == mEntries.end())
            return false;
        found = *entry;
        found->lastUse = Clock::now();
    }
    const std::lock_guard guard(found->use);
    function(*found->stream);
    return true;
}

void SoundStreams::remove(std::string_view name) {
    const std::lock_guard guard(mMutex);
    std::erase_if(mEntries, [name](const auto& known) { return isSameSecret(known->name, name); });
}

void SoundStreams::clear() {
    const std::lock_guard guard(mMutex);
    mEntries.clear();
}

} // namespace tarn
