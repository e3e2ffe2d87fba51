#pragma once

#include "Platform/NotificationCenter.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <functional>
#include <memory>
#include <string>

/// Typed observation: descriptors say which notification to observe and how to make a typed payload of its
/// user information.
namespace tarn {

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

    /// Stops the process when the user information holds no changeset of this kind: a descriptor is only used
    /// with the storage's own notifications, which always carry it.
    explicit ChangesetPayload(const UserInfo& userInfo) {
        const auto found = userInfo.find(TarnNoteEntryStorageChangesetKey);
        precondition(found != userInfo.end(), "The notification carries no changeset");
        const auto* value = std::any_cast<EntryChangesetRef<Entry>>(&found->second);
        precondition(value && *value,
                     "The notification carries something else in the place of its changeset");
        changeset = *value;
    }
};

/// Descriptors of a document's notifications; the other kinds are observed by name.
[[nodiscard]] const NotificationDescriptor<ChangesetPayload<TarnBeatEntry>>& beatsDidChangeNotification();
[[nodiscard]] const NotificationDescriptor<ChangesetPayload<TarnMarkerEntry>>& markersDidChangeNotification();
[[nodiscard]] const NotificationDescriptor<ChangesetPayload<TarnRegionEntry>>& regionsDidChangeNotification();

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
