#include "PracticePage/SongNews.h"

#include "TarnFoundation/UserEntries/KELPChangeset.h"

#include <algorithm>
#include <string_view>

namespace tarn {
namespace {

template <typename Entry>
bool differ(const EntryList<Entry>& before, const EntryList<Entry>& after) {
    const EntryChangeset<Entry> difference(before, after, [](const auto& present, const auto& former) {
        return present->location() == former->location() && present->description() == former->description();
    });
    return !difference.added().empty() || !difference.removed().empty() || !difference.changed().empty();
}

/// The name by which pages know a kind of entries.
std::string pageName(std::string_view kind) {
    if (kind == "timeSignature")
        return "beats";
    if (kind == "key" || kind == "tempo" || kind == "standardPitch")
        return "properties";
    return std::string(kind) + "s";
}

} // namespace

std::vector<std::string> differingKinds(const Song& before, const Song& after) {
    std::vector<std::string> kinds;
    const auto add = [&kinds](std::string kind) {
        if (std::ranges::find(kinds, kind) == kinds.end())
            kinds.push_back(std::move(kind));
    };
    NoteEntryKinds::forEach([&]<typename Kind>(Kind) {
        if (differ(before.notes->entries<Kind>(), after.notes->entries<Kind>()))
            add(pageName(Kind::kName));
    });
    if (differ(before.structure->sectionEntries(), after.structure->sectionEntries()))
        add("sections");
    if (before.properties != after.properties)
        add("properties");
    if (before.facts.chords != after.facts.chords)
        add("chords");
    if (before.practice != after.practice)
        add("practice");
    return kinds;
}

std::shared_ptr<Song> frozenCopy(const Song& song) {
    auto copy = std::make_shared<Song>(song.recording);
    copy->properties = song.properties;
    copy->facts = song.facts;
    copy->practice = song.practice;
    copy->notes->populateWithNoteEntryStorageEntries(*song.notes);
    copy->structure->populateWithSongStructureStorageEntries(*song.structure);
    return copy;
}

} // namespace tarn
