#include "TarnFoundation/NotificationDescriptor.h"

namespace tarn {

const NotificationDescriptor<ChangesetPayload<TarnBeatEntry>>& beatsDidChangeNotification() {
    return entriesDidChangeNotification<BeatKind>();
}

const NotificationDescriptor<ChangesetPayload<TarnMarkerEntry>>& markersDidChangeNotification() {
    return entriesDidChangeNotification<MarkerKind>();
}

const NotificationDescriptor<ChangesetPayload<TarnRegionEntry>>& regionsDidChangeNotification() {
    return entriesDidChangeNotification<RegionKind>();
}

} // namespace tarn
