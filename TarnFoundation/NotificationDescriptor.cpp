#include "TarnFoundation/NotificationDescriptor.h"

namespace tarn {

namespace {

template <typename Kind>
NotificationDescriptor<ChangesetPayload<typename Kind::Entry>> changesetDescriptor() {
    return {Kind::kDidChangeNotification,
            [](const UserInfo& userInfo) { return ChangesetPayload<typename Kind::Entry>(userInfo); }};
}

} // namespace

const NotificationDescriptor<ChangesetPayload<TarnBeatEntry>>& beatsDidChangeNotification() {
    static const auto descriptor = changesetDescriptor<BeatKind>();
    return descriptor;
}

const NotificationDescriptor<ChangesetPayload<TarnMarkerEntry>>& markersDidChangeNotification() {
    static const auto descriptor = changesetDescriptor<MarkerKind>();
    return descriptor;
}

const NotificationDescriptor<ChangesetPayload<TarnRegionEntry>>& regionsDidChangeNotification() {
    static const auto descriptor = changesetDescriptor<RegionKind>();
    return descriptor;
}

} // namespace tarn
