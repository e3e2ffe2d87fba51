#pragma once

#include "Platform/Export.h"
#include "Platform/KeyedArchive.h"
#include "Song/AnalysisFacts.h"
#include "Song/SongProperties.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"
#include "TarnFoundation/UserEntries/TarnSongStructureStorage.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

namespace TARN_PUBLIC tarn {

class Song;

/// "time signature" for the kind timeSignature.
[[nodiscard]] std::string entryKindInWords(std::string_view kind);

/// All that steps of a history change, at one moment: the entries of every kind in the order in which they
/// are stored, properties and analysis facts. Entries are shared, not copied.
class SongState {
public:
    SongState() = default;
    explicit SongState(const Song& song);

    [[nodiscard]] bool operator==(const SongState& other) const;
    /// Gives the song what it held at this moment; the entries are the same objects.
    void restoreIn(Song& song) const;
    /// This state with entries of a former one in place of those that were only made again: that came where
    /// one went which said the same.
    [[nodiscard]] SongState keepingEntriesOf(const SongState& former) const;
    /// Whether both hold the same entries of the kind.
    template <typename Kind>
    [[nodiscard]] bool hasSameEntriesAs(const SongState& other) const {
        const auto& entries = std::get<EntryList<typename Kind::Entry>>(mNotes);
        const auto& others = std::get<EntryList<typename Kind::Entry>>(other.mNotes);
        return entries.isSameListAs(others) || std::ranges::equal(entries, others);
    }
    [[nodiscard]] const AnalysisFacts& facts() const { return mFacts; }
    /// In the order in which they are stored.
    template <typename Kind>
    [[nodiscard]] const EntryList<typename Kind::Entry>& entries() const {
        return std::get<EntryList<typename Kind::Entry>>(mNotes);
    }

private:
    friend class SongDifference;

    template <typename KindList>
    struct Lists;
    template <typename... Kinds>
    struct Lists<EntryKindList<Kinds...>> {
        using Type = std::tuple<EntryList<typename Kinds::Entry>...>;
    };

    Lists<NoteEntryKinds>::Type mNotes;
    Lists<SongStructureKinds>::Type mStructure;
    SongProperties mProperties;
    AnalysisFacts mFacts;
};

/// Gives the song back the entries that were only made again since: they keep their identifiers and facts,
/// and a change that leaves everything as it was makes no step.
void keepEntriesMadeAgain(Song& song, const SongState& before);

/// What leads from one state of a song to another and back, in bytes that can be kept: of each kind the
/// entries that are only in one of the two states, with their places.
class SongDifference {
public:
    enum class Direction { back, forth };

    /// The bytes of the difference; nothing where the states are equal.
    [[nodiscard]] static std::optional<Data> between(const SongState& before, const SongState& after);

    /// Why the difference cannot be undone (`back`) or made again (`forth`) in the song as it is: what it
    /// changed is not as it left it there, or the bytes are not a difference that is known here. Nothing
    /// where it can.
    [[nodiscard]] static std::optional<std::string> obstacle(const Song& song, const Data& difference,
                                                             Direction direction);
    /// Changes the song; there has to be no obstacle. Entries get back their identifiers and their order.
    static void apply(Song& song, const Data& difference, Direction direction);
};

} // namespace tarn
