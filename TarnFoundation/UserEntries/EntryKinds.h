#pragma once

#include "Platform/Export.h"
#include "TarnFoundation/UserEntries/TarnBeatEntry.h"
#include "TarnFoundation/UserEntries/TarnChordEntry.h"
#include "TarnFoundation/UserEntries/TarnMarkerEntry.h"
#include "TarnFoundation/UserEntries/TarnNoteEntry.h"
#include "TarnFoundation/UserEntries/TarnRegionEntry.h"
#include "TarnFoundation/UserEntries/TarnSectionEntry.h"
#include "TarnFoundation/UserEntries/TarnStandardPitchEntry.h"

#include <cstddef>

/// The kinds of entries that documents hold. Everything that exists for every kind (storage, archive, class
/// registration, checkpoints, undo, notifications) is made from these lists.
namespace TARN_PUBLIC tarn {

class TarnNoteEntryStorage;
class TarnSongStructureStorage;

/// The places of a kind in the sequences in which a document's kinds are gone through, from 1; 0 in
/// checkpoints for a kind that is left out.
struct KindPlaces {
    std::size_t archived = 0;
    std::size_t unarchived = 0;
    std::size_t checkpointed = 0;
};

/// A list of kinds, known when the program is compiled.
template <typename... Kinds>
struct EntryKindList {
    static constexpr std::size_t kCount = sizeof...(Kinds);

    /// Calls the visitor with a value of each kind, in the order of the list.
    template <typename Visitor>
    static constexpr void forEach(Visitor&& visitor) {
        (visitor(Kinds()), ...);
    }

    /// The same in the order of one of their places; kinds at place 0 are left out.
    template <typename Visitor>
    static constexpr void forEachBy(std::size_t KindPlaces::*place, Visitor&& visitor) {
        for (std::size_t next = 1; next <= kCount; ++next)
            forEach([&](auto kind) {
                if (kind.kPlaces.*place == next)
                    visitor(kind);
            });
    }

    /// How many kinds have a place in the sequence.
    static constexpr std::size_t placedCount(std::size_t KindPlaces::*place) {
        std::size_t placed = 0;
        forEach([&](auto kind) { placed += kind.kPlaces.*place != 0; });
        return placed;
    }
    /// Whether each place from 1 on up to the number of kinds that have one is taken by exactly one.
    static constexpr bool areConsecutivePlaces(std::size_t KindPlaces::*place) {
        bool areConsecutive = true;
        for (std::size_t next = 1; next <= placedCount(place); ++next) {
            std::size_t here = 0;
            forEach([&](auto kind) { here += kind.kPlaces.*place == next; });
            areConsecutive = areConsecutive && here == 1;
        }
        return areConsecutive;
    }
    /// Whether every kind is written to archives and read from them, and each sequence holds each place once.
    static constexpr bool haveSoundPlaces() {
        return placedCount(&KindPlaces::archived) == kCount && areConsecutivePlaces(&KindPlaces::archived) &&
               placedCount(&KindPlaces::unarchived) == kCount &&
               areConsecutivePlaces(&KindPlaces::unarchived) &&
               areConsecutivePlaces(&KindPlaces::checkpointed);
    }
};

// clang-format off
/// The kinds of a TarnNoteEntryStorage, in the order in which populate takes them over. A new kind is a row here
/// and its entry class. Columns: stem in upper and lower case; place in an archive; place when an archive is read
/// (beats before the time signature, whose spacing rule would prune them); place in a checkpoint.
#define TARN_NOTE_ENTRY_STORAGE_KINDS(X)         \
    X(Note,          note,          1, 1, 0)     \
    X(Chord,         chord,         2, 2, 2)     \
    X(Beat,          beat,          3, 3, 3)     \
    X(Tempo,         tempo,         5, 5, 5)     \
    X(TimeSignature, timeSignature, 4, 4, 6)     \
    X(Region,        region,        6, 6, 0)     \
    X(Marker,        marker,        7, 7, 0)     \
    X(StandardPitch, standardPitch, 8, 9, 4)     \
    X(Key,           key,           9, 8, 1)

/// The kinds of a TarnSongStructureStorage, likewise.
#define TARN_SONG_STRUCTURE_STORAGE_KINDS(X)     \
    X(Bounds,        bounds,        1, 1, 0)     \
    X(Section,       section,       2, 2, 0)
// clang-format on

#define TARN_DEFINE_KIND(Owner, Stem, stem, archivePlace, unarchivePlace, checkpointPlace)                   \
    inline constexpr const char* Owner##DidChange##Stem##EntriesNotification =                               \
        #Owner "DidChange" #Stem "EntriesNotification";                                                      \
    struct Stem##Kind {                                                                                      \
        using Storage = Owner;                                                                               \
        using Entry = Tarn##Stem##Entry;                                                                     \
        static constexpr const char* kName = #stem;                                                          \
        static constexpr const char* kObservableKey = #stem "Entries";                                       \
        static constexpr const char* kArchiveKey = #stem "EntryArray";                                       \
        static constexpr const char* kDidChangeNotification = Owner##DidChange##Stem##EntriesNotification;   \
        static constexpr KindPlaces kPlaces{archivePlace, unarchivePlace, checkpointPlace};                  \
    };
#define TARN_DEFINE_NOTE_KIND(...) TARN_DEFINE_KIND(TarnNoteEntryStorage, __VA_ARGS__)
#define TARN_DEFINE_STRUCTURE_KIND(...) TARN_DEFINE_KIND(TarnSongStructureStorage, __VA_ARGS__)
TARN_NOTE_ENTRY_STORAGE_KINDS(TARN_DEFINE_NOTE_KIND)
TARN_SONG_STRUCTURE_STORAGE_KINDS(TARN_DEFINE_STRUCTURE_KIND)
#undef TARN_DEFINE_NOTE_KIND
#undef TARN_DEFINE_STRUCTURE_KIND
#undef TARN_DEFINE_KIND

namespace detail {
/// A list of the kinds without the type that only takes up the first place of the macro's output.
template <typename, typename... Kinds>
using KindListOf = EntryKindList<Kinds...>;
} // namespace detail

#define TARN_NAME_KIND(Stem, ...) , Stem##Kind
using NoteEntryKinds = detail::KindListOf<void TARN_NOTE_ENTRY_STORAGE_KINDS(TARN_NAME_KIND)>;
using SongStructureKinds = detail::KindListOf<void TARN_SONG_STRUCTURE_STORAGE_KINDS(TARN_NAME_KIND)>;
#undef TARN_NAME_KIND

static_assert(NoteEntryKinds::haveSoundPlaces() && SongStructureKinds::haveSoundPlaces(),
              "A kind is not archived or not read, or a place is taken twice or left free");

} // namespace tarn
