#include "Song/SongState.h"

#include "Platform/BinaryPropertyList.h"
#include "Song/Song.h"
#include "Song/SongArchive.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace tarn {
namespace {

using Direction = SongDifference::Direction;
using EntryRef = std::shared_ptr<TarnUserEntry>;

/// The entries of one of two states of a kind that are not in the other, with their indices there.
struct Stretch {
    std::vector<EntryRef> entries;
    std::vector<std::uint32_t> indices; ///< ascending
    std::uint64_t size = 0;             ///< of the whole list in that state
};

Data bytesOf(const std::vector<std::uint32_t>& indices) {
    Data bytes;
    bytes.reserve(4 * indices.size());
    for (const std::uint32_t index : indices) {
        for (int shift = 24; shift >= 0; shift -= 8)
            bytes.push_back(static_cast<std::byte>(index >> shift));
    }
    return bytes;
}

std::vector<std::uint32_t> indicesOf(const Data& bytes) {
    std::vector<std::uint32_t> indices(bytes.size() / 4);
    for (std::size_t i = 0; i < 4 * indices.size(); ++i)
        indices[i / 4] = indices[i / 4] << 8 | std::to_integer<std::uint32_t>(bytes[i]);
    return indices;
}

/// The change of one kind.
class KindChange : public SecureCoding {
public:
    std::string kind; ///< its name
    Stretch before;
    Stretch after;

    static const ClassDescription& classDescription() {
        static const ClassDescription description{"TarnSongKindChange", nullptr, &make};
        return description;
    }
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
    void encodeWithCoder(KeyedArchiver& coder) const override {
        coder.encodeString("kind", kind);
        encode(coder, before, {"before", "beforeIndices", "beforeSize"});
        encode(coder, after, {"after", "afterIndices", "afterSize"});
    }

private:
    struct Keys {
        const char* entries;
        const char* indices;
        const char* size;
    };
    static void encode(KeyedArchiver& coder, const Stretch& stretch, const Keys& keys) {
        coder.encodeObjects(keys.entries, stretch.entries);
        coder.encodeData(keys.indices, bytesOf(stretch.indices));
        coder.encodeUnsigned(keys.size, stretch.size);
    }
    static bool decode(KeyedUnarchiver& coder, Stretch& stretch, const Keys& keys) {
        auto entries = coder.decodeObjects<TarnUserEntry>(keys.entries);
        const auto indices = coder.decodeData(keys.indices);
        const auto size = coder.decodeUnsigned(keys.size);
        if (!entries || !indices || !size)
            return false;
        stretch = {*std::move(entries), indicesOf(*indices), *size};
        const auto isNotAscending = [](std::uint32_t a, std::uint32_t b) { return a >= b; };
        return stretch.entries.size() == stretch.indices.size() &&
               std::ranges::adjacent_find(stretch.indices, isNotAscending) == stretch.indices.end() &&
               (stretch.indices.empty() || stretch.indices.back() < stretch.size);
    }
    static std::shared_ptr<SecureCoding> make(KeyedUnarchiver& coder) {
        auto change = std::make_shared<KindChange>();
        const auto kind = coder.decodeString("kind");
        if (!kind || !decode(coder, change->before, {"before", "beforeIndices", "beforeSize"}) ||
            !decode(coder, change->after, {"after", "afterIndices", "afterSize"}) ||
            change->before.size - change->before.entries.size() !=
                change->after.size - change->after.entries.size())
            return nullptr;
        change->kind = *kind;
        return change;
    }
};

/// All of a step.
class Change : public SecureCoding {
public:
    std::vector<std::shared_ptr<KindChange>> kinds;
    /// Where they changed: before and after.
    std::optional<std::pair<SongProperties, SongProperties>> properties;
    std::optional<std::pair<AnalysisFacts, AnalysisFacts>> facts;

    static const ClassDescription& classDescription() {
        static const ClassDescription description{"TarnSongChange", nullptr, &make};
        return description;
    }
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
    void encodeWithCoder(KeyedArchiver& coder) const override {
        coder.encodeObjects("kinds", kinds);
        if (properties) {
            coder.encodeObject("propertiesBefore", archive::coded(properties->first));
            coder.encodeObject("propertiesAfter", archive::coded(properties->second));
        }
        if (facts) {
            coder.encodeObject("factsBefore", archive::coded(facts->first));
            coder.encodeObject("factsAfter", archive::coded(facts->second));
        }
    }

    static std::shared_ptr<Change> of(const Data& bytes) {
        registerUserEntryClasses();
        return KeyedUnarchiver::unarchivedObject<Change>(bytes);
    }

private:
    static std::shared_ptr<SecureCoding> make(KeyedUnarchiver& coder) {
        auto change = std::make_shared<Change>();
        auto kinds = coder.decodeObjects<KindChange>("kinds");
        if (!kinds)
            return nullptr;
        change->kinds = *std::move(kinds);
        for (std::size_t i = 0; i < change->kinds.size(); ++i) { // there are eleven, each once
            if (i >= NoteEntryKinds::kCount + SongStructureKinds::kCount)
                return nullptr;
            for (std::size_t k = 0; k < i; ++k) {
                if (change->kinds[k]->kind == change->kinds[i]->kind)
                    return nullptr;
            }
        }
        const auto propertiesBefore = archive::decodeProperties(coder, "propertiesBefore");
        const auto propertiesAfter = archive::decodeProperties(coder, "propertiesAfter");
        if (propertiesBefore && propertiesAfter)
            change->properties.emplace(*propertiesBefore, *propertiesAfter);
        const auto factsBefore = archive::decodeFacts(coder, "factsBefore");
        const auto factsAfter = archive::decodeFacts(coder, "factsAfter");
        if (factsBefore && factsAfter)
            change->facts.emplace(*factsBefore, *factsAfter);
        return change;
    }
};

/// The entries of `all` that `other` lacks, given which the two share.
template <typename Entry>
Stretch stretchOf(const EntryList<Entry>& all, const std::vector<bool>& isShared) {
    Stretch stretch;
    stretch.size = all.size();
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (isShared[i])
            continue;
        stretch.entries.push_back(all.uncheckedAt(i));
        stretch.indices.push_back(static_cast<std::uint32_t>(i));
    }
    return stretch;
}

/// The change from one list to another; null where they are the same. Entries that both hold keep their order
/// or count as changed.
template <typename Kind, typename Entry>
std::shared_ptr<KindChange> changeOf(const EntryList<Entry>& before, const EntryList<Entry>& after) {
    if (before.isSameListAs(after) || std::ranges::equal(before, after))
        return nullptr;
    std::unordered_map<const Entry*, std::size_t> places;
    places.reserve(before.size());
    for (std::size_t i = 0; i < before.size(); ++i)
        places.emplace(before.uncheckedAt(i).get(), i);
    std::vector<bool> sharedBefore(before.size());
    std::vector<bool> sharedAfter(after.size());
    std::size_t next = 0; // the first place that may come next in the old order
    for (std::size_t i = 0; i < after.size(); ++i) {
        const auto place = places.find(after.uncheckedAt(i).get());
        if (place == places.end() || place->second < next)
            continue;
        sharedBefore[place->second] = true;
        sharedAfter[i] = true;
        next = place->second + 1;
    }
    auto change = std::make_shared<KindChange>();
    change->kind = Kind::kName;
    change->before = stretchOf(before, sharedBefore);
    change->after = stretchOf(after, sharedAfter);
    return change;
}

bool haveEqualContents(const EntryRef& a, const EntryRef& b) {
    return a == b || (a->isEqual(*b) && a->location() == b->location() &&
                      KeyedArchiver::archivedData(a) == KeyedArchiver::archivedData(b));
}

/// Whether the list holds what the state that ends in `stretch` holds, as far as a difference knows.
template <typename Entry>
bool holds(const EntryList<Entry>& entries, const Stretch& stretch) {
    if (entries.size() != stretch.size)
        return false;
    for (std::size_t i = 0; i < stretch.entries.size(); ++i) {
        if (!haveEqualContents(entries[stretch.indices[i]], stretch.entries[i]))
            return false;
    }
    return true;
}

/// The list with what stands at the places of `from` taken out and the entries of `to` put in. Nothing where
/// one of those is not of the kind.
template <typename Entry>
std::optional<EntryList<Entry>> moved(const EntryList<Entry>& entries, const Stretch& from,
                                      const Stretch& to) {
    std::vector<std::shared_ptr<Entry>> result;
    result.reserve(to.size);
    auto removed = from.indices.begin();
    auto added = to.indices.begin();
    const auto takeAdded = [&] {
        for (; added != to.indices.end() && *added == result.size(); ++added) {
            auto entry = std::dynamic_pointer_cast<Entry>(
                to.entries[static_cast<std::size_t>(added - to.indices.begin())]);
            if (!entry)
                return false;
            result.push_back(std::move(entry));
        }
        return true;
    };
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (!takeAdded())
            return std::nullopt;
        if (removed != from.indices.end() && *removed == i)
            ++removed;
        else
            result.push_back(entries.uncheckedAt(i));
    }
    if (!takeAdded() || result.size() != to.size)
        return std::nullopt;
    return EntryList<Entry>(std::move(result));
}

std::pair<const Stretch&, const Stretch&> inDirection(const KindChange& change, Direction direction) {
    const bool isBack = direction == Direction::back;
    return {isBack ? change.after : change.before, isBack ? change.before : change.after};
}

/// Calls the visitor with the storage and the kind of that name; returns whether there is one.
template <typename Visitor>
bool visitKind(const Song& song, const std::string& name, Visitor&& visitor) {
    bool isKnown = false;
    const auto visitIn = [&](const auto& storage) {
        storage->forEachKind([&]<typename Kind>(Kind kind) {
            if (name == Kind::kName) {
                isKnown = true;
                visitor(*storage, kind);
            }
        });
    };
    visitIn(song.notes);
    visitIn(song.structure);
    return isKnown;
}

/// Gives the storage other lists of entries, each as it stands: no rule changes what was consistent before.
/// `entriesOf` returns that of a kind.
template <typename Storage, typename EntriesOf>
void fill(Storage& storage, void (Storage::*populate)(const Storage&), const EntriesOf& entriesOf) {
    const auto filled = std::make_shared<Storage>();
    ((*filled).*populate)(storage); // its counter, above all
    Storage::forEachKind(
        [&]<typename Kind>(Kind) { filled->template remove<Kind>(filled->template entries<Kind>()); });
    Storage::KindList::forEachBy(&KindPlaces::unarchived, [&]<typename Kind>(Kind kind) {
        filled->template add<Kind>(entriesOf(kind));
    });
    (storage.*populate)(*filled);
}

void fillNotes(Song& song, const auto& entriesOf) {
    fill(*song.notes, &TarnNoteEntryStorage::populateWithNoteEntryStorageEntries, entriesOf);
}

void fillStructure(Song& song, const auto& entriesOf) {
    fill(*song.structure, &TarnSongStructureStorage::populateWithSongStructureStorageEntries, entriesOf);
}

/// Whether two entries of one kind and place say the same, whatever their identifiers.
bool sayTheSame(const std::shared_ptr<TarnBeatEntry>& some, const std::shared_ptr<TarnBeatEntry>& other) {
    return some->isDownbeat() == other->isDownbeat();
}
bool sayTheSame(const std::shared_ptr<TarnTimeSignatureEntry>& some,
                const std::shared_ptr<TarnTimeSignatureEntry>& other) {
    return some->numerator() == other->numerator() && some->denominator() == other->denominator();
}
template <typename Entry>
bool sayTheSame(const std::shared_ptr<Entry>& some, const std::shared_ptr<Entry>& other) {
    if (&some->dynamicClass() != &other->dynamicClass())
        return false;
    const auto renamed = some->newEntryOfSameClass(other->eventId());
    some->copyAttributesToEntry(*renamed);
    return KeyedArchiver::archivedData(renamed) == KeyedArchiver::archivedData(other);
}

/// The indices of the entries that `others` lacks.
template <typename Entry>
std::vector<std::size_t> missingIn(const EntryList<Entry>& others, const EntryList<Entry>& all) {
    const std::unordered_set<std::shared_ptr<Entry>> present(others.begin(), others.end());
    std::vector<std::size_t> missing;
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (!present.contains(all[i]))
            missing.push_back(i);
    }
    return missing;
}

/// `present` with former entries in place of those that were only made again; in the former order where that
/// is all.
template <typename Entry>
EntryList<Entry> kept(const EntryList<Entry>& former, const EntryList<Entry>& present) {
    if (former.isSameListAs(present))
        return present;
    std::unordered_multimap<std::int64_t, std::shared_ptr<Entry>> gone; // by their places
    for (const std::size_t index : missingIn(present, former))
        gone.emplace(former[index]->location(), former[index]);
    std::vector<std::shared_ptr<Entry>> entries = present.copy();
    bool isAll = former.size() == present.size();
    for (const std::size_t index : missingIn(former, present)) {
        auto& entry = entries[index];
        const auto [first, end] = gone.equal_range(entry->location());
        const auto same = std::find_if(
            first, end, [&](const auto& candidate) { return sayTheSame(candidate.second, entry); });
        if (same != end) {
            entry = same->second;
            gone.erase(same);
        } else {
            isAll = false;
        }
    }
    return isAll && gone.empty() ? former : EntryList<Entry>(std::move(entries));
}

} // namespace

SongState::SongState(const Song& song) : mProperties(song.properties), mFacts(song.facts) {
    song.notes->forEachKind([&]<typename Kind>(Kind) {
        std::get<EntryList<typename Kind::Entry>>(mNotes) = song.notes->storedEntries<Kind>();
    });
    song.structure->forEachKind([&]<typename Kind>(Kind) {
        std::get<EntryList<typename Kind::Entry>>(mStructure) = song.structure->storedEntries<Kind>();
    });
}

namespace {

/// Whether both hold the same entries of each kind of the list.
template <typename Lists, typename... Kinds>
bool areEqual(const Lists& some, const Lists& others, EntryKindList<Kinds...>) {
    const auto areOfKindEqual = [](const auto& entries, const auto& otherEntries) {
        return entries.isSameListAs(otherEntries) || std::ranges::equal(entries, otherEntries);
    };
    return (areOfKindEqual(std::get<EntryList<typename Kinds::Entry>>(some),
                           std::get<EntryList<typename Kinds::Entry>>(others)) &&
            ...);
}

} // namespace

bool SongState::operator==(const SongState& other) const {
    return mProperties == other.mProperties && mFacts == other.mFacts &&
           areEqual(mNotes, other.mNotes, NoteEntryKinds()) &&
           areEqual(mStructure, other.mStructure, SongStructureKinds());
}

void SongState::restoreIn(Song& song) const {
    const SongState present(song);
    if (!areEqual(present.mNotes, mNotes, NoteEntryKinds()))
        fillNotes(song,
                  [&]<typename Kind>(Kind) { return std::get<EntryList<typename Kind::Entry>>(mNotes); });
    if (!areEqual(present.mStructure, mStructure, SongStructureKinds()))
        fillStructure(
            song, [&]<typename Kind>(Kind) { return std::get<EntryList<typename Kind::Entry>>(mStructure); });
    song.properties = mProperties;
    song.facts = mFacts;
}

SongState SongState::keepingEntriesOf(const SongState& former) const {
    SongState result = *this;
    const auto keep = [](auto& lists, const auto& formerLists, auto kinds) {
        kinds.forEach([&]<typename Kind>(Kind) {
            auto& list = std::get<EntryList<typename Kind::Entry>>(lists);
            list = kept(std::get<EntryList<typename Kind::Entry>>(formerLists), list);
        });
    };
    keep(result.mNotes, former.mNotes, NoteEntryKinds());
    keep(result.mStructure, former.mStructure, SongStructureKinds());
    return result;
}

void keepEntriesMadeAgain(Song& song, const SongState& before) {
    SongState(song).keepingEntriesOf(before).restoreIn(song);
}

std::optional<Data> SongDifference::between(const SongState& before, const SongState& after) {
    const auto change = std::make_shared<Change>();
    const auto compare = [&]<typename Kind>(Kind, const auto& some, const auto& others) {
        using Entries = EntryList<typename Kind::Entry>;
        if (auto kind = changeOf<Kind>(std::get<Entries>(some), std::get<Entries>(others)))
            change->kinds.push_back(std::move(kind));
    };
    NoteEntryKinds::forEach([&](auto kind) { compare(kind, before.mNotes, after.mNotes); });
    SongStructureKinds::forEach([&](auto kind) { compare(kind, before.mStructure, after.mStructure); });
    if (before.mProperties != after.mProperties)
        change->properties.emplace(before.mProperties, after.mProperties);
    if (before.mFacts != after.mFacts)
        change->facts.emplace(before.mFacts, after.mFacts);
    if (change->kinds.empty() && !change->properties && !change->facts)
        return std::nullopt;
    return KeyedArchiver::archivedData(change);
}

std::string entryKindInWords(std::string_view kind) {
    std::string words;
    for (const char c : kind) {
        const bool isCapital = c >= 'A' && c <= 'Z';
        words += isCapital ? std::string(" ") + static_cast<char>(c - 'A' + 'a') : std::string(1, c);
    }
    return words;
}

std::optional<std::string> SongDifference::obstacle(const Song& song, const Data& difference,
                                                    Direction direction) {
    const auto change = Change::of(difference);
    if (!change)
        return "it was made by a newer edition, or is damaged";
    for (const auto& kindChange : change->kinds) {
        bool fits = false;
        const bool isKnown = visitKind(song, kindChange->kind, [&]<typename Kind>(const auto& storage, Kind) {
            const auto entries = storage.template storedEntries<Kind>();
            const auto [from, to] = inDirection(*kindChange, direction);
            fits = holds(entries, from) && moved(entries, from, to).has_value();
        });
        if (!isKnown)
            return "it was made by a newer edition, which knows " + kindChange->kind + " entries";
        if (!fits)
            return "the " + entryKindInWords(kindChange->kind) +
                   " entries have been changed since by a program that keeps no history";
    }
    const bool isBack = direction == Direction::back;
    if (change->properties &&
        song.properties != (isBack ? change->properties->second : change->properties->first))
        return "title, artist, capo or transposition have been changed since by a program that keeps no "
               "history";
    return std::nullopt;
}

void SongDifference::apply(Song& song, const Data& difference, Direction direction) {
    const auto change = Change::of(difference);
    precondition(change != nullptr, "This is not the difference of a step");
    const auto changeOfKind = [&](const char* name) {
        const auto found =
            std::ranges::find(change->kinds, name, [](const auto& kind) { return kind->kind; });
        return found == change->kinds.end() ? nullptr : found->get();
    };
    const auto changes = [&](auto kinds) {
        bool any = false;
        kinds.forEach([&]<typename Kind>(Kind) { any = any || changeOfKind(Kind::kName) != nullptr; });
        return any;
    };
    const auto entriesIn = [&](const auto* storage) {
        return [&, storage]<typename Kind>(Kind) {
            auto entries = storage->template storedEntries<Kind>();
            const KindChange* const ofKind = changeOfKind(Kind::kName);
            if (!ofKind)
                return entries;
            const auto [from, to] = inDirection(*ofKind, direction);
            return *moved(entries, from, to);
        };
    };
    if (changes(NoteEntryKinds()))
        fillNotes(song, entriesIn(song.notes.get()));
    if (changes(SongStructureKinds()))
        fillStructure(song, entriesIn(song.structure.get()));
    const bool isBack = direction == Direction::back;
    if (change->properties)
        song.properties = isBack ? change->properties->first : change->properties->second;
    if (change->facts)
        song.facts = isBack ? change->facts->first : change->facts->second;
}

} // namespace tarn
