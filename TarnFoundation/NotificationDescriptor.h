#pragma once

#include "Platform/Export.h"
#include "Platform/NotificationCenter.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <functional>
#include <memory>
#include <string>

/// Typed observation: descriptors say which notification to observe and how to make a typed payload of its
/// user information.
namespace TARN_PUBLIC tarn {

/// The name of a notification and how its payload is made from the user information. An ordinary value.
template <typename Payload>
struct NotificationDescriptor {
    std::string name;
    std::function<Payload(const UserInfo&)> make;
};

/// What a change notification of the entry kind `Entry` carries.
template <typename Entry>
struct ChangesetPayload {
    EntryChangesetRef<Entry> changeset;

    /// Aborts when the user information holds no changeset of this kind: a descriptor is only used with the
    /// storage's own notifications, which always carry it.
    explicit ChangesetPayload(const UserInfo& userInfo,
                              const char* changesetKey = TarnNoteEntryStorageChangesetKey) {
        const auto found = userInfo.find(changesetKey);
        precondition(found != userInfo.end(), "The notification carries no changeset");
        const auto* value = std::any_cast<EntryChangesetRef<Entry>>(&found->second);
        precondition(value && *value,
                     "The notification carries something else in the place of its changeset");
        changeset = *value;
    }
};

/// The descriptor of the changes of a kind, of a document or of a song structure.
template <typename Kind>
[[nodiscard]] const NotificationDescriptor<ChangesetPayload<typename Kind::Entry>>&
entriesDidChangeNotification() {
    using Payload = ChangesetPayload<typename Kind::Entry>;
    static const NotificationDescriptor<Payload> descriptor{
        Kind::kDidChangeNotification,
        [](const UserInfo& userInfo) { return Payload(userInfo, Kind::Storage::userInfoKeys().changeset); }};
    return descriptor;
}

// Three of them under their own names.
[[nodiscard]] const NotificationDescriptor<ChangesetPayload<TarnBeatEntry>>& beatsDidChangeNotification();
[[nodiscard]] const NotificationDescriptor<ChangesetPayload<TarnMarkerEntry>>& markersDidChangeNotification();
[[nodiscard]] const NotificationDescriptor<ChangesetPayload<TarnRegionEntry>>& regionsDidChangeNotification();

/// Calls `handler` with the payload of every change of the kind in the storage, on the changing thread, until
/// the subscription ends.
template <typename Kind, typename Handler>
[[nodiscard]] Subscription observeEntries(const std::shared_ptr<typename Kind::Storage>& storage,
                                          Handler handler) {
    const auto& descriptor = entriesDidChangeNotification<Kind>();
    return NotificationCenter::defaultCenter().subscribe(
        descriptor.name, storage,
        [&descriptor, handler = std::move(handler)](const Notification& notification) {
            handler(descriptor.make(notification.userInfo));
        });
}

/// The same for every kind of the storage: calls `handler(kind, payload)`, where `kind` is a value of the
/// kind's type (BeatKind, …), whose `kName` names it. When several kinds change together, the handler is
/// called for each.
template <typename Storage, typename Handler>
[[nodiscard]] Subscription observeAllEntries(const std::shared_ptr<Storage>& storage, Handler handler) {
    Subscription all;
    const auto shared = std::make_shared<Handler>(std::move(handler));
    Storage::forEachKind([&]<typename Kind>(Kind kind) {
        all.add(
            observeEntries<Kind>(storage, [shared, kind](const auto& payload) { (*shared)(kind, payload); }));
    });
    return all;
}

/// Calls `handler` with the payload of every notification that the descriptor names, from `object` (none =
/// any sender), on `queue` or, without one, on the posting thread. The token removes the observer.
template <typename Payload, typename Handler>
NotificationCenter::Token addObserver(NotificationCenter& center,
                                      const NotificationDescriptor<Payload>& descriptor,
                                      const std::shared_ptr<const void>& object,
                                      const std::shared_ptr<OperationQueue>& queue, Handler handler) {
    return center.addObserver(descriptor.name, object, queue,
                              [make = descriptor.make, use = std::move(handler)](
                                  const Notification& notification) { use(make(notification.userInfo)); });
}

template <typename Payload, typename Function>
NotificationCenter::Token TarnNoteEntryStorage::addObserver(const NotificationDescriptor<Payload>& descriptor,
                                                            Function handler) {
    return tarn::addObserver(NotificationCenter::defaultCenter(), descriptor, sharedSelf(), nullptr,
                             std::move(handler));
}

} // namespace tarn
