#include "Platform/NotificationCenter.h"

#include "Platform/FatalError.h"
#include "Platform/OperationQueue.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <iterator>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace tarn {

namespace {

using WeakObject = std::weak_ptr<const void>;

bool isSameObject(const WeakObject& a, const std::shared_ptr<const void>& b) {
    return !a.owner_before(b) && !b.owner_before(a);
}

} // namespace

struct NotificationCenter::Entry {
    std::string name;
    WeakObject sender;
    bool acceptsAnySender = true;
    WeakObject target;
    bool hasTarget = false;
    std::shared_ptr<OperationQueue> queue;
    Handler handler;
    std::uint64_t order = 0;
    std::atomic<bool> isActive = true;

    [[nodiscard]] bool accepts(const std::shared_ptr<const void>& object) const {
        return acceptsAnySender || (object != nullptr && isSameObject(sender, object));
    }

    /// Whether it can never be called again because its sender or its target has gone.
    [[nodiscard]] bool isDead() const {
        return (!acceptsAnySender && sender.expired()) || (hasTarget && target.expired());
    }

    void call(const Notification& notification) const {
        if (isActive.load(std::memory_order_acquire))
            handler(notification);
    }
};

/// The registrations by name, each list in the order of registration. A list that is being delivered is never
/// changed: a change meanwhile replaces it by a copy.
struct NotificationCenter::State {
    using Entries = std::vector<std::shared_ptr<Entry>>;

    struct List {
        Entries entries;
        /// How many posts are walking `entries`; rises only under the mutex.
        std::atomic<int> deliveries = 0;
        /// When the list reaches this size, dead entries are looked for.
        std::size_t cleanUpSize = 16;
    };

    /// Keeps a list as it is while a post walks it.
    class Snapshot {
    public:
        Snapshot() = default;
        explicit Snapshot(std::shared_ptr<List> list) : mList(std::move(list)) {
            mList->deliveries.fetch_add(1, std::memory_order_relaxed);
        }
        Snapshot(Snapshot&& other) noexcept = default;
        Snapshot& operator=(Snapshot other) noexcept {
            mList.swap(other.mList);
            return *this;
        }
        ~Snapshot() {
            if (mList)
                mList->deliveries.fetch_sub(1, std::memory_order_release);
        }

        [[nodiscard]] const std::shared_ptr<Entry>* begin() const {
            return mList ? mList->entries.data() : nullptr;
        }
        [[nodiscard]] const std::shared_ptr<Entry>* end() const {
            return mList ? mList->entries.data() + mList->entries.size() : nullptr;
        }

    private:
        std::shared_ptr<List> mList;
    };

    std::mutex mutex;
    std::unordered_map<std::string, std::shared_ptr<List>> lists;
    std::uint64_t nextOrder = 0;

    Snapshot snapshot(const std::string& name) {
        const auto found = lists.find(name);
        return found == lists.end() ? Snapshot() : Snapshot(found->second);
    }

    static List& editable(std::shared_ptr<List>& list) {
        if (list->deliveries.load(std::memory_order_acquire) > 0) {
            auto copy = std::make_shared<List>();
            copy->entries = list->entries;
            copy->cleanUpSize = list->cleanUpSize;
            list = std::move(copy);
        }
        return *list;
    }

    /// Moves the entries of a list for which `isUnwanted` holds to `removed`, which the caller destroys after
    /// unlocking: what they captured may call back.
    template <typename Predicate>
    static void remove(std::shared_ptr<List>& list, Predicate isUnwanted, Entries& removed) {
        if (std::none_of(list->entries.begin(), list->entries.end(), isUnwanted))
            return;
        auto& entries = editable(list).entries;
        const auto first = std::stable_partition(entries.begin(), entries.end(),
                                                 [&](const auto& entry) { return !isUnwanted(entry); });
        std::for_each(first, entries.end(), [](const auto& entry) { entry->isActive.store(false); });
        removed.insert(removed.end(), std::make_move_iterator(first), std::make_move_iterator(entries.end()));
        entries.erase(first, entries.end());
    }

    template <typename Predicate>
    void removeFromList(const std::string& name, Predicate isUnwanted) {
        Entries removed;
        const std::lock_guard lock(mutex);
        const auto found = lists.find(name);
        if (found == lists.end())
            return;
        remove(found->second, isUnwanted, removed);
        if (found->second->entries.empty())
            lists.erase(found);
    }
};

NotificationCenter::NotificationCenter() : mState(std::make_shared<State>()) {}

NotificationCenter::~NotificationCenter() = default;

NotificationCenter& NotificationCenter::defaultCenter() {
    // Never destroyed: static objects may post and remove observers at any time before the process ends.
    static auto* const center = new NotificationCenter;
    return *center;
}

Subscription NotificationCenter::subscribe(const std::string& name, const std::shared_ptr<const void>& object,
                                           Handler handler, const std::shared_ptr<OperationQueue>& queue) {
    auto token = addObserver(name, object, queue, std::move(handler));
    return Subscription([token = std::move(token)] { token->remove(); });
}

NotificationCenter::Token NotificationCenter::addObserver(const std::string& name,
                                                          const std::shared_ptr<const void>& object,
                                                          const std::shared_ptr<OperationQueue>& queue,
                                                          Handler handler) {
    auto entry = std::make_shared<Entry>();
    entry->name = name;
    entry->sender = object;
    entry->acceptsAnySender = object == nullptr;
    entry->queue = queue;
    entry->handler = std::move(handler);
    return add(std::move(entry));
}

NotificationCenter::Token NotificationCenter::addWeakObserver(const std::weak_ptr<const void>& target,
                                                              const std::string& name,
                                                              const std::shared_ptr<const void>& object,
                                                              Handler handler) {
    auto entry = std::make_shared<Entry>();
    entry->name = name;
    entry->sender = object;
    entry->acceptsAnySender = object == nullptr;
    entry->target = target;
    entry->hasTarget = true;
    entry->handler = std::move(handler);
    return add(std::move(entry));
}

NotificationCenter::Token NotificationCenter::add(std::shared_ptr<Entry> entry) {
    precondition(entry->acceptsAnySender || !entry->sender.expired(),
                 "A sender of notifications must be owned by a shared pointer");
    auto token = std::make_shared<Observation>(Observation::Private(), mState, entry);
    State::Entries removed;
    const std::lock_guard lock(mState->mutex);
    auto& list = mState->lists[entry->name];
    if (!list)
        list = std::make_shared<State::List>();
    if (list->entries.size() >= list->cleanUpSize) {
        State::remove(
            list, [](const auto& other) { return other->isDead(); }, removed);
        list->cleanUpSize = std::max<std::size_t>(16, 2 * list->entries.size());
    }
    entry->order = mState->nextOrder++;
    State::editable(list).entries.push_back(std::move(entry));
    return token;
}

void NotificationCenter::Observation::remove() {
    const auto entry = mEntry.lock();
    if (!entry)
        return;
    entry->isActive.store(false, std::memory_order_release);
    if (const auto state = mState.lock())
        state->removeFromList(entry->name, [&](const auto& other) { return other == entry; });
}

void NotificationCenter::removeObserver(const Token& token) {
    if (token)
        token->remove();
}

void NotificationCenter::removeObserver(const std::shared_ptr<const void>& target) {
    State::Entries removed;
    const std::lock_guard lock(mState->mutex);
    for (auto list = mState->lists.begin(); list != mState->lists.end();) {
        State::remove(
            list->second,
            [&](const auto& entry) { return entry->hasTarget && isSameObject(entry->target, target); },
            removed);
        list = list->second->entries.empty() ? mState->lists.erase(list) : std::next(list);
    }
}

void NotificationCenter::post(const std::string& name, const std::shared_ptr<const void>& object,
                              UserInfo userInfo) {
    post({name, object, std::move(userInfo)});
}

void NotificationCenter::post(const Notification& notification) {
    const auto state = mState; // an observer may drop the center
    State::Snapshot named;
    State::Snapshot unnamed;
    {
        const std::lock_guard lock(state->mutex);
        named = state->snapshot(notification.name);
        if (!notification.name.empty())
            unnamed = state->snapshot({});
    }

    bool hasDead = false;
    const auto* next = named.begin();
    const auto* nextUnnamed = unnamed.begin();
    while (next != named.end() || nextUnnamed != unnamed.end()) {
        const bool takeNamed =
            nextUnnamed == unnamed.end() || (next != named.end() && (*next)->order < (*nextUnnamed)->order);
        const auto& entry = takeNamed ? *next++ : *nextUnnamed++;
        if (entry->isDead()) {
            hasDead = true;
        } else if (!entry->accepts(notification.object)) {
            continue;
        } else if (!entry->queue) {
            entry->call(notification);
        } else if (entry->isActive.load(std::memory_order_acquire)) {
            entry->queue->addOperation([entry, notification] { entry->call(notification); });
        }
    }
    if (!hasDead)
        return;
    for (const std::string& name : {notification.name, std::string()})
        state->removeFromList(name, [](const auto& entry) { return entry->isDead(); });
}

} // namespace tarn
