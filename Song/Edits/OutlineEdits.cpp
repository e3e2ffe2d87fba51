#include "Song/Edits/EditVerbs.h"

#include "TarnFoundation/NoteEntryStorageError.h"

namespace tarn::edits {
namespace {

std::shared_ptr<TarnSectionEntry> findSection(const Song& document, const EntryReference& reference) {
    return find(
        document, document.structure->sectionEntries(), reference, "section",
        [](const TarnSectionEntry& section, std::int64_t frame) { return section.location() <= frame; });
}

std::shared_ptr<TarnMarkerEntry> findMarker(const Song& document, const EntryReference& reference) {
    return find(document, document.notes->markerEntries(), reference, "marker",
                [](const TarnMarkerEntry& marker, std::int64_t frame) { return marker.location() == frame; });
}

Action addSection(EditWords& words) {
    const std::string name = words.word("a name");
    words.expect("at");
    const Position at = words.position();
    const std::string color =
        words.takeIf("color") || words.takeIf("colour") ? words.word("a colour") : "other";
    return [=](Song& document) {
        auto& structure = *document.structure;
        const std::int64_t frame = SongPositions(document).frame(at);
        for (const auto& section : structure.sectionEntries()) {
            if (section->location() == frame)
                refuse("the section " + quoted(section->name().value_or("")) + " begins there already");
        }
        structure.updateSection(structure.createNewSection(frame), name, color);
        return "section " + quoted(name) + " (" + color + ") added at " + at.text;
    };
}

Action renameSection(EditWords& words) {
    const auto reference = words.reference();
    words.expect("to");
    const std::string name = words.word("a name");
    return [=](Song& document) {
        const auto section = findSection(document, reference);
        document.structure->renameSection(section->eventId(), name);
        return "section " + quoted(section->name().value_or("")) + " is called " + quoted(name);
    };
}

Action colorSection(EditWords& words) {
    const auto reference = words.reference();
    const std::string color = words.word("a colour");
    return [=](Song& document) {
        const auto section = findSection(document, reference);
        document.structure->setColorForSection(section->eventId(), color);
        return "section " + quoted(section->name().value_or("")) + " has the colour " + color;
    };
}

Action removeSection(EditWords& words) {
    const auto reference = words.reference();
    return [=](Song& document) {
        const auto section = findSection(document, reference);
        document.structure->removeSectionEntry(section);
        return "section " + quoted(section->name().value_or("")) + " removed";
    };
}

Action addMarker(EditWords& words) {
    const auto name = words.nameBefore({"at"});
    words.expect("at");
    const Position at = words.position();
    return [=](Song& document) {
        auto& notes = *document.notes;
        const std::int64_t frame = SongPositions(document).frame(at);
        try {
            const auto marker = notes.insertMarkerEntry(frame);
            if (name) {
                const auto named = notes.copyOfMarkerEntry(marker);
                named->setName(*name);
                notes.replaceMarkerEntry(marker, named);
            }
        } catch (const NoteEntryStorageError&) {
            refuse("there is a marker at " + at.text + " already");
        }
        return "marker " + (name ? quoted(*name) + " " : std::string()) + "added at " + at.text;
    };
}

Action removeMarker(EditWords& words) {
    const auto reference = words.reference();
    return [=](Song& document) {
        const auto marker = findMarker(document, reference);
        document.notes->removeMarkerEntry(marker);
        return "marker at " + SongPositions(document).name(marker->location()) + " removed";
    };
}

} // namespace

std::span<const Verb> outlineVerbs() {
    static constexpr Verb kVerbs[] = {
        {"add-section", "NAME at POSITION [color COLOR]", "add-section \"Verse 2\" at 17:1 color verse",
         addSection},
        {"rename-section", "(NAME | at POSITION) to NAME", "rename-section Intro to Opening", renameSection},
        {"color-section", "(NAME | at POSITION) COLOR", "color-section at 17:1 chorus", colorSection},
        {"remove-section", "NAME | at POSITION", "remove-section Intro", removeSection},
        {"add-marker", "[NAME] at POSITION", "add-marker Solo at 25:1", addMarker},
        {"remove-marker", "NAME | at POSITION", "remove-marker Solo", removeMarker},
    };
    return kVerbs;
}

} // namespace tarn::edits
