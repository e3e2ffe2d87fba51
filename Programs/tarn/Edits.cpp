#include "Programs/tarn/Edits.h"

#include "KELPMusic/KELPKey.h"
#include "Programs/tarn/EditWords.h"
#include "Programs/tarn/TextTable.h"
#include "TarnFoundation/BeatGridReading.h"
#include "TarnFoundation/NoteEntryStorageError.h"
#include "TarnFoundation/RegionEditing.h"
#include "TarnFoundation/SortedSearch.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorageUndoRecorder.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <utility>

namespace tarn::program {
namespace {

using Action = std::function<std::string(Song&)>;
using RegionRef = std::shared_ptr<TarnRegionEntry>;

[[noreturn]] void refuse(const std::string& reason) {
    throw EditRefused(reason);
}

std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

std::string counted(std::size_t count, const std::string& singular) {
    return std::to_string(count) + " " + singular + (count == 1 ? "" : "s");
}

// Beat grid

/// How many stored beats a counted beat takes up.
std::int64_t positionsPerBeat(const TarnNoteEntryStorage& notes) {
    return notes.useQuarterNoteSpacing() ? 2 : 1;
}

/// Where the last bar ends: one beat distance after the last beat, but not after the recording.
std::int64_t endOfGrid(const Song& document, const BeatGrid& grid) {
    const std::int64_t last = grid.locations().back();
    const std::int64_t frameCount = document.recording.frameCount;
    const std::int64_t natural =
        grid.size() > 1 ? last + (last - grid.locations()[grid.size() - 2]) : frameCount;
    return frameCount > last ? std::min(natural, frameCount) : std::max(natural, last + 1);
}

/// A bar as it is stored, and the one before it.
struct StoredBar {
    std::uint64_t identifier = 0;
    std::int64_t start = 0;
    std::int64_t end = 0;
    std::int64_t size = 0;
    std::int64_t previousStart = 0; ///< of the bar, or of the pickup's stretch, before it
    std::int64_t previousSize = 0;
};

StoredBar storedBar(const Song& document, std::int64_t number) {
    const std::int64_t start = SongPositions(document).startOfBar(number);
    const auto beats = document.notes->beatEntries();
    const BeatGrid grid = beatGridOf(beats);
    // Counted bars are the stored ones from the start of the recording on.
    const auto downbeats = grid.downbeatLocations();
    const auto countedIn = std::lower_bound(downbeats.begin(), downbeats.end(), 0) - downbeats.begin();
    const auto downbeat = grid.barLines().downbeats()[static_cast<std::size_t>(countedIn + number - 1)];
    const std::uint64_t identifier = beats[downbeat]->eventId();
    // The document knows the bar by its identifier: the first beat that has it.
    const std::size_t first = *firstIndexOfEntryWithId(beats, identifier);
    const auto bar = grid.barLines().stretchFrom(first);
    const auto previous = grid.barLines().stretchBefore(first);
    const bool followsBar = !previous.isEmpty() && grid.barLines().isDownbeat(previous.lower);
    return {identifier,
            start,
            grid.endOf(bar, endOfGrid(document, grid)),
            static_cast<std::int64_t>(sizeOf(bar)),
            followsBar ? grid.locations()[previous.lower] : 0,
            static_cast<std::int64_t>(sizeOf(previous))};
}

std::string metreOf(const TarnNoteEntryStorage& notes) {
    if (notes.timeSignatureEntries().empty())
        return "unknown";
    const TimeSignature metre = notes.timeSignature();
    return std::to_string(metre.numerator) + "/" + std::to_string(metre.denominator);
}

Action setMetre(EditWords& words) {
    const std::string text = words.word("a metre");
    const std::size_t slash = text.find('/');
    int numerator = 0;
    if (slash != std::string::npos)
        std::from_chars(text.data(), text.data() + slash, numerator);
    const std::string denominator = slash == std::string::npos ? "" : text.substr(slash + 1);
    constexpr int kLargestNumerator = 32;
    if (numerator < 1 || numerator > kLargestNumerator || (denominator != "4" && denominator != "8") ||
        text != std::to_string(numerator) + "/" + denominator)
        throw EditWordError(
            "'" + text + "' is not a valid metre of quarters or eighths (3/4, 6/8; 2/2 is counted as 4/4)");
    const auto top = static_cast<std::uint8_t>(numerator);
    const auto bottom = static_cast<std::uint8_t>(denominator == "4" ? 4 : 8);
    return [=](Song& document) {
        auto& notes = *document.notes;
        const std::string before = metreOf(notes);
        notes.setTimeSignature(top, bottom);
        notes.applyTimeSignatureToBeatEntries(*notes.timeSignatureEntries().front());
        return "metre " + text + " (was " + before + "), " +
               counted(SongPositions(document).barCount(), "bar");
    };
}

Action moveBar(EditWords& words) {
    const std::int64_t number = words.wholeNumber("the number of a bar");
    words.expect("to");
    const Position to = words.position();
    return [=](Song& document) {
        const SongPositions positions(document);
        const StoredBar bar = storedBar(document, number);
        const std::int64_t target = positions.frame(to);
        const bool hasPrevious = bar.previousSize > 0;
        if ((hasPrevious && target <= bar.previousStart) || target >= bar.end)
            refuse("bar " + std::to_string(number) + " must begin between " +
                   positions.name(hasPrevious ? bar.previousStart : 0) + " and " + positions.name(bar.end) +
                   ", where its neighbours begin and end");
        if ((hasPrevious && target - bar.previousStart < bar.previousSize) || bar.end - target < bar.size)
            refuse("there is no room left for the beats of a bar");
        document.notes->setLocationOfBarEntry(bar.identifier, target, bar.end);
        return "bar " + std::to_string(number) + " begins at @" + std::to_string(target) + " (was @" +
               std::to_string(bar.start) + ")";
    };
}

Action setBarBeats(EditWords& words) {
    const std::int64_t number = words.wholeNumber("the number of a bar");
    words.takeIf("=");
    const std::int64_t count = words.wholeNumber("a number of beats");
    return [=](Song& document) {
        constexpr std::int64_t kMostBeats = 64;
        if (count < 1 || count > kMostBeats)
            refuse("a bar has 1 to " + std::to_string(kMostBeats) + " beats");
        auto& notes = *document.notes;
        const StoredBar bar = storedBar(document, number);
        if (bar.end - bar.start < count * positionsPerBeat(notes))
            refuse("bar " + std::to_string(number) + " is too short for so many beats");
        const std::int64_t before = notes.getNumberOfBeats(bar.identifier);
        notes.setNumberOfBeats(count, bar.identifier, bar.end);
        return "bar " + std::to_string(number) + " has " + counted(static_cast<std::size_t>(count), "beat") +
               " (was " + std::to_string(before) + ")";
    };
}

Action shiftDownbeats(EditWords& words) {
    const std::int64_t amount = words.wholeNumber("a number of beats");
    bool inPositions = false;
    if (!words.isAtEnd())
        inPositions = words.oneOf({"beat", "beats", "eighth", "eighths"}) >= 2;
    return [=](Song& document) {
        auto& notes = *document.notes;
        const auto count = static_cast<std::int64_t>(notes.beatEntries().size());
        if (SongPositions(document).barCount() == 0)
            refuse("the song has no downbeats yet");
        const std::int64_t unit = inPositions ? 1 : positionsPerBeat(notes);
        if (amount < -count / unit || amount > count / unit)
            refuse("the song has only " + counted(static_cast<std::size_t>(count / unit), "beat"));
        notes.shiftDownbeatsByOffset(amount * unit);
        const SongPositions positions(document);
        return "downbeats moved; " + counted(positions.barCount(), "bar") +
               (positions.barCount() > 0 ? ", the first at @" + std::to_string(positions.startOfBar(1)) : "");
    };
}

Action offsetDownbeats(EditWords& words) {
    const std::int64_t amount = words.wholeNumber("a number of beats");
    if (!words.takeIf("beats"))
        words.takeIf("beat");
    words.expect("from");
    const Position from = words.position();
    words.expect("to");
    const Position to = words.position();
    return [=](Song& document) {
        auto& notes = *document.notes;
        const SongPositions positions(document);
        const std::int64_t start = positions.frame(from);
        const std::int64_t end = positions.frame(to);
        const auto beats = notes.beatEntries();
        const BeatGrid grid = beatGridOf(beats);
        const std::size_t first = grid.firstAtOrAfter(start);
        const std::size_t past = grid.firstAtOrAfter(end);
        if (past < first + 2)
            refuse("there are no two beats between " + from.text + " and " + to.text);
        const auto length = static_cast<std::int64_t>(past - first);
        const std::int64_t unit = positionsPerBeat(notes);
        if (amount < -length / unit || amount > length / unit)
            refuse("there are only " + counted(static_cast<std::size_t>(length / unit), "beat") +
                   " between " + from.text + " and " + to.text);
        const auto lines = barLinesOf(BeatEntries(beats).subspan(first, past - first));
        const auto moves = lines.moves(amount * unit);
        for (const auto& move : moves) {
            if (lines.isDownbeat(move.to))
                refuse("a downbeat would fall on another one");
        }
        if (moves.empty())
            refuse("no bar begins between " + from.text + " and " + to.text);
        notes.offsetDownbeatEntries(amount * unit, beats[first]->eventId(), beats[past - 1]->eventId());
        return counted(moves.size(), "downbeat") + " moved between " + from.text + " and " + to.text;
    };
}

// Key

Action setKey(EditWords& words) {
    const std::string text = words.word("a key");
    auto tonic = KELPChord::chordWithString(text);
    if (!words.isAtEnd() && tonic) {
        const bool isMinor = words.oneOf({"major", "minor"}) == 1;
        tonic = KELPChord::chordWithString(text + (isMinor ? "m" : ""));
    }
    if (!tonic || tonic->isNoChord() || tonic->addedBass() ||
        (tonic->chordIntervals() != *KELPChordIntervalsWithID(1) &&
         tonic->chordIntervals() != *KELPChordIntervalsWithID(2)))
        throw EditWordError("'" + text + "' is not a valid key (C, Ebm, F# minor)");
    return [=](Song& document) {
        auto& notes = *document.notes;
        const auto before = notes.globalKey();
        const auto chordsBefore = notes.chordEntries();
        const auto key = KELPKey::makeWithTonicChord(tonic);
        notes.overrideGlobalKey(key);
        const auto chords = notes.chordEntries();
        std::size_t respelled = 0;
        for (std::size_t i = 0; i < chords.size(); ++i) {
            const auto& chord = chords[i]->chord();
            respelled += chord && !(*chord == *chordsBefore[i]->chord());
        }
        return "key " + key->description() + " (was " + (before ? before->description() : "none") + "), " +
               counted(respelled, "chord") + " respelled";
    };
}

// Finding entries by name or place

/// The entry that a reference names among the kind's entries, in the order of time. `holds` says whether an
/// entry is the one at a frame.
template <typename Entry, typename Holds>
std::shared_ptr<Entry> find(const Song& document, const EntryList<Entry>& entries,
                            const EntryReference& reference, const std::string& kind, Holds holds) {
    const SongPositions positions(document);
    if (reference.at) {
        const std::int64_t frame = positions.frame(*reference.at);
        std::shared_ptr<Entry> found;
        for (const auto& entry : entries) {
            if (holds(*entry, frame))
                found = entry;
        }
        if (!found)
            refuse("there is no " + kind + " at " + reference.at->text);
        return found;
    }
    const auto named = [&](std::string_view name) {
        std::vector<std::shared_ptr<Entry>> matches;
        for (const auto& entry : entries) {
            if (lowerCased(entry->name().value_or("")) == lowerCased(name))
                matches.push_back(entry);
        }
        return matches;
    };
    auto matches = named(reference.name);
    if (matches.size() == 1)
        return matches.front();
    if (matches.empty()) {
        const std::size_t sign = reference.name.rfind('#');
        std::size_t ordinal = 0;
        if (sign != std::string::npos)
            std::from_chars(reference.name.data() + sign + 1, reference.name.data() + reference.name.size(),
                            ordinal);
        matches = named(std::string_view(reference.name).substr(0, sign));
        if (ordinal >= 1 && ordinal <= matches.size())
            return matches[ordinal - 1];
        refuse("there is no " + kind + " " + quoted(reference.name));
    }
    std::string places;
    for (const auto& match : matches)
        places += (places.empty() ? "" : ", ") + positions.name(match->location());
    refuse("there are " + std::to_string(matches.size()) + " called " + quoted(reference.name) + " (at " +
           places + "); write " + reference.name + "#2 for the second, or at and a place in it");
}

RegionRef findRegion(const Song& document, const EntryReference& reference) {
    return find(
        document, document.notes->regionEntries(), reference, "region",
        [](const TarnRegionEntry& region, std::int64_t frame) { return region.containsLocation(frame); });
}

std::shared_ptr<TarnSectionEntry> findSection(const Song& document, const EntryReference& reference) {
    return find(
        document, document.structure->sectionEntries(), reference, "section",
        [](const TarnSectionEntry& section, std::int64_t frame) { return section.location() <= frame; });
}

std::shared_ptr<TarnMarkerEntry> findMarker(const Song& document, const EntryReference& reference) {
    return find(document, document.notes->markerEntries(), reference, "marker",
                [](const TarnMarkerEntry& marker, std::int64_t frame) { return marker.location() == frame; });
}

// Regions

std::string described(const Song& document, const TarnRegionEntry& region) {
    const SongPositions positions(document);
    return quoted(region.name().value_or("")) + " from " + positions.name(region.location()) + " to " +
           positions.name(region.end());
}

RegionRef newRegion(TarnNoteEntryStorage& notes, std::size_t kind) {
    switch (kind) {
    case 0:
        return notes.newVerseRegionEntry();
    case 1:
        return notes.newChorusRegionEntry();
    case 2:
        return notes.newBridgeRegionEntry();
    default:
        return notes.newMarkerRegionEntry();
    }
}

void addRegionBetween(Song& document, const RegionRef& region, std::int64_t start, std::int64_t end) {
    if (start >= end)
        refuse("a region must end after its start");
    for (const auto& other : document.notes->regionEntries()) {
        if (other->location() < end && start < other->end())
            refuse("the region " + described(document, *other) + " is in the way");
    }
    region->setRange({start, static_cast<std::uint64_t>(end - start)});
    document.notes->addRegionEntry(region);
}

/// Lets the region fill the bar at the frame, as far as other regions leave it free.
void addRegionInBar(Song& document, const RegionRef& region, std::int64_t frame) {
    auto& notes = *document.notes;
    const auto beats = notes.beatEntries();
    if (beats.empty())
        refuse("the song has no bars yet; write where the region starts and ends");
    auto holding = notes.regionEntryContaining(frame);
    // A region's end still belongs to it when another one is dropped there: aim right after it.
    if (!holding && notes.regionEntryForLocation(frame))
        holding = notes.regionEntryForLocation(++frame);
    if (holding)
        refuse("the region " + described(document, *holding) + " is there already");
    if (frame >= document.recording.frameCount && !indexOfDownbeatEntryAfter(beats, frame))
        refuse("the recording ends there");
    notes.addRegionEntryExpandedToFitBarSurrounding(region, frame, document.recording.frameCount);
}

Action addRegion(EditWords& words) {
    const std::size_t kind = words.oneOf({"verse", "chorus", "bridge", "region"});
    const auto name = words.nameBefore({"at", "from"});
    const bool fitsBar = words.takeIf("at");
    if (!fitsBar)
        words.takeIf("from");
    const Position from = words.position();
    std::optional<Position> to;
    if (!fitsBar) {
        words.expect("to");
        to = words.position();
    }
    return [=](Song& document) {
        const SongPositions positions(document);
        const auto region = newRegion(*document.notes, kind);
        if (name)
            region->setName(*name);
        if (to)
            addRegionBetween(document, region, positions.frame(from), positions.frame(*to));
        else
            addRegionInBar(document, region, positions.frame(from));
        return "region " + described(document, *region) + " added";
    };
}

Action removeRegion(EditWords& words) {
    const auto reference = words.reference();
    return [=](Song& document) {
        const auto region = findRegion(document, reference);
        document.notes->removeRegionEntry(region);
        return "region " + described(document, *region) + " removed";
    };
}

Action renameRegion(EditWords& words) {
    const auto reference = words.reference();
    words.expect("to");
    const std::string name = words.word("a name");
    return [=](Song& document) {
        const auto region = findRegion(document, reference);
        const auto renamed = document.notes->copyOfRegionEntry(region);
        renamed->setName(name);
        document.notes->replaceRegionEntry(region, renamed);
        return "region " + quoted(region->name().value_or("")) + " is called " + quoted(name);
    };
}

/// How a region, or one end of it, moves: by a distance or to a place, and what happens to neighbours.
struct Movement {
    std::optional<Distance> by;
    std::optional<Position> to;
    RegionNeighborCollisionRule rule = RegionNeighborCollisionRule::doNotMove;
};

Movement movement(EditWords& words) {
    Movement result;
    if (words.oneOf({"by", "to"}) == 0) {
        result.by = words.distance();
        const bool isSnapped =
            result.by->unit == DistanceUnit::beats || result.by->unit == DistanceUnit::bars;
        if (isSnapped && !result.by->isWhole())
            throw EditWordError("regions move by whole beats and bars");
    } else {
        result.to = words.position();
    }
    if (words.takeIf("clip"))
        result.rule = RegionNeighborCollisionRule::clipToNeighbor;
    else if (words.takeIf("delete"))
        result.rule = RegionNeighborCollisionRule::deleteNeighbor;
    else
        words.takeIf("stop");
    return result;
}

/// The grid, and the steps over it or the distance in frames, that take a boundary at `frame` where the
/// movement leads it.
std::pair<RegionSnapGrid, std::int64_t> stepsOf(const Song& document, const Movement& movement,
                                                std::int64_t frame) {
    const SongPositions positions(document);
    if (movement.to)
        return {RegionSnapGrid::none, positions.frame(*movement.to) - frame};
    const Distance& by = *movement.by;
    if (by.unit == DistanceUnit::seconds || by.unit == DistanceUnit::frames) {
        const std::int64_t target = positions.frameAfter(frame, by);
        if (target < 0 || target > document.recording.frameCount)
            refuse("this leads out of the recording");
        return {RegionSnapGrid::none, target - frame};
    }
    if (positions.barCount() == 0)
        refuse("the song has no bars yet; move by s or frames");
    return {by.unit == DistanceUnit::beats ? RegionSnapGrid::beat : RegionSnapGrid::bar,
            static_cast<std::int64_t>(by.amount)};
}

/// Calls an operation that moves a region; its errors say what can be done about them.
template <typename Move>
RegionRef movedRegion(Move move) {
    try {
        return move();
    } catch (const AdjustRegionEntryError& error) {
        refuse(std::string(error.what()) + "; add clip to end there, or delete to remove it");
    } catch (const ShiftRegionError& error) {
        refuse(std::string(error.what()) + "; add clip to end there, or delete to remove it");
    } catch (const RegionClippingError& error) {
        refuse(error.what());
    } catch (const SnappedAdjustmentError& error) {
        refuse(error.what());
    } catch (const SnappedShiftError& error) {
        refuse(error.what());
    }
}

/// `former` are the document's regions before the movement.
std::string movementReport(const Song& document, const EntryList<TarnRegionEntry>& former,
                           const TarnRegionEntry& before, const TarnRegionEntry& after) {
    if (before.range() == after.range())
        return "region " + described(document, after) + " stays as it is";
    const SongPositions positions(document);
    std::string report = "region " + described(document, after) + " (was " +
                         positions.name(before.location()) + " to " + positions.name(before.end()) + ")";
    for (const auto& region : former) {
        if (!region->isEqual(before) && !document.notes->containsRegionEntry(region))
            report += "; region " + quoted(region->name().value_or("")) + " removed";
    }
    return report;
}

Action adjustRegion(EditWords& words) {
    const auto reference = words.reference();
    const auto boundary = words.oneOf({"start", "end"}) == 0 ? RegionBoundary::start : RegionBoundary::end;
    Movement how = movement(words);
    std::optional<Distance> threshold;
    if (words.takeIf("threshold"))
        threshold = words.distance();
    return [=](Song& document) {
        const auto region = findRegion(document, reference);
        const std::int64_t frame = boundary == RegionBoundary::start ? region->location() : region->end();
        const auto [grid, steps] = stepsOf(document, how, frame);
        const std::int64_t least =
            threshold
                ? SongPositions(document).frameAfter(region->location(), *threshold) - region->location()
                : 0;
        const auto former = document.notes->regionEntries();
        const auto moved = movedRegion([&, grid = grid, steps = steps] {
            return document.notes->adjustRegionEntry(region, boundary, steps, grid, how.rule, least);
        });
        return movementReport(document, former, *region, *moved);
    };
}

Action shiftRegion(EditWords& words) {
    const auto reference = words.reference();
    const Movement how = movement(words);
    return [=](Song& document) {
        const auto region = findRegion(document, reference);
        const auto [grid, steps] = stepsOf(document, how, region->location());
        if (grid == RegionSnapGrid::none) {
            // A free shift beyond the region's own end would turn start and end around.
            if (steps > 0 && static_cast<std::uint64_t>(steps) > region->length())
                refuse("this is farther than the region is long; shift it by beats or bars, or in shorter "
                       "steps");
            if (region->end() + steps > document.recording.frameCount)
                refuse("this leads out of the recording");
        }
        const auto former = document.notes->regionEntries();
        const auto moved = movedRegion([&, grid = grid, steps = steps] {
            return document.notes->shiftRegionEntry(region, steps, grid, how.rule);
        });
        if (moved->length() == 0)
            refuse("the region would have no length");
        return movementReport(document, former, *region, *moved);
    };
}

// Sections

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

// Markers

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

// Chords

/// The chord that sounds at the place: the last one that begins at or before it.
std::shared_ptr<TarnChordEntry> chordSoundingAt(const Song& document, const Position& at) {
    const auto chords = document.notes->chordEntries();
    const auto index = indexForSample(chords, SongPositions(document).frame(at));
    if (!index)
        refuse("no chord sounds at " + at.text);
    return chords[*index];
}

std::string described(const Song& document, const TarnChordEntry& entry) {
    return (entry.chord() ? entry.chord()->string() : "the chord") + " at " +
           SongPositions(document).name(entry.location());
}

Action addChord(EditWords& words) {
    const auto chord = words.chord();
    words.expect("at");
    const Position at = words.position();
    return [=](Song& document) {
        auto& notes = *document.notes;
        const auto entry = notes.newChordEntry();
        entry->setLocation(SongPositions(document).frame(at));
        entry->setChord(chord);
        for (const auto& other : notes.chordEntries()) {
            if (other->location() == entry->location())
                refuse(described(document, *other) + " is there already; change-chord changes it");
        }
        notes.addChordEntry(entry);
        return "chord " + described(document, *entry) + " added";
    };
}

Action changeChord(EditWords& words) {
    words.expect("at");
    const Position at = words.position();
    words.expect("to");
    const auto chord = words.chord();
    return [=](Song& document) {
        const auto entry = chordSoundingAt(document, at);
        const auto changed = document.notes->copyOfChordEntry(entry);
        changed->setChord(chord);
        document.notes->replaceChordEntry(entry, changed);
        return "chord " + described(document, *changed) + " (was " +
               (entry->chord() ? entry->chord()->string() : "none") + ")";
    };
}

Action removeChord(EditWords& words) {
    words.expect("at");
    const Position at = words.position();
    return [=](Song& document) {
        const auto entry = chordSoundingAt(document, at);
        document.notes->removeChordEntry(entry);
        return "chord " + described(document, *entry) + " removed";
    };
}

// Notes

std::string described(const Song& document, const TarnNoteEntry& note) {
    return (note.pitch() ? note.pitch()->description() : "a note") + " at " +
           SongPositions(document).name(note.location());
}

/// The note of this sound that the place falls on; when none does, the nearest one is named.
std::shared_ptr<TarnNoteEntry> noteAt(const Song& document, const KELPPitchRef& pitch, const Position& at) {
    const std::int64_t frame = SongPositions(document).frame(at);
    std::shared_ptr<TarnNoteEntry> found;
    std::shared_ptr<TarnNoteEntry> nearest;
    for (const auto& note : document.notes->noteEntries()) {
        if (!note->pitch() || note->pitch()->semitones() != pitch->semitones())
            continue;
        const std::int64_t distance = frame - note->location();
        if (distance == 0 || (distance > 0 && static_cast<std::uint64_t>(distance) < note->length()))
            found = note;
        if (!nearest || std::abs(distance) < std::abs(frame - nearest->location()))
            nearest = note;
    }
    if (!found)
        refuse("no " + pitch->description() + " sounds at " + at.text +
               (nearest ? "; the nearest begins at @" + std::to_string(nearest->location()) : ""));
    return found;
}

Action addNote(EditWords& words) {
    const auto pitch = words.pitch();
    words.expect("at");
    const Position at = words.position();
    words.expect("for");
    const Distance length = words.distance();
    return [=](Song& document) {
        auto& notes = *document.notes;
        const SongPositions positions(document);
        const std::int64_t start = positions.frame(at);
        const std::int64_t end = positions.frameAfter(start, length);
        if (end <= start)
            refuse("a note must last for some time");
        if (end > document.recording.frameCount)
            refuse("the note would end after the recording");
        for (const auto& other : notes.noteEntries()) {
            if (other->location() == start && other->pitch() &&
                other->pitch()->semitones() == pitch->semitones())
                refuse(described(document, *other) + " is there already");
        }
        const auto note = notes.newNoteEntry();
        note->setPitch(pitch);
        note->setLocation(start);
        note->setLength(static_cast<std::uint64_t>(end - start));
        notes.addNoteEntry(note);
        return "note " + described(document, *note) + " added";
    };
}

Action changeNote(EditWords& words) {
    const auto pitch = words.pitch();
    words.expect("at");
    const Position at = words.position();
    words.expect("to");
    const auto newPitch = words.pitch();
    return [=](Song& document) {
        const auto note = noteAt(document, pitch, at);
        const auto changed = document.notes->copyOfNoteEntry(note);
        changed->setPitch(newPitch);
        document.notes->replaceNoteEntry(note, changed);
        return "note " + described(document, *changed) + " (was " + pitch->description() + ")";
    };
}

Action removeNote(EditWords& words) {
    const auto pitch = words.pitch();
    words.expect("at");
    const Position at = words.position();
    return [=](Song& document) {
        const auto note = noteAt(document, pitch, at);
        document.notes->removeNoteEntry(note);
        return "note " + described(document, *note) + " removed";
    };
}

// Sentences

struct Verb {
    std::string_view name;
    std::string_view operands;
    std::string_view example;
    Action (*parse)(EditWords&);
};

constexpr Verb kVerbs[] = {
    {"metre", "= (N/4 | N/8)", "metre=3/4", setMetre},
    {"meter", "= (N/4 | N/8)", "meter=6/8", setMetre},
    {"move-bar", "BAR to POSITION", "move-bar 5 to 1:05.2", moveBar},
    {"bar-beats", "BAR = COUNT", "bar-beats 7 = 5", setBarBeats},
    {"shift-downbeats", "COUNT [beats | eighths]", "shift-downbeats -1", shiftDownbeats},
    {"offset-downbeats", "COUNT [beats] from POSITION to POSITION", "offset-downbeats 1 from 3:1 to 9:1",
     offsetDownbeats},
    {"key", "= (CHORD | NOTE major | NOTE minor)", "key=Ebm", setKey},
    {"add-region", "(verse | chorus | bridge | region) [NAME] (POSITION to POSITION | at POSITION)",
     "add-region verse 3:1 to 11:1", addRegion},
    {"adjust-region",
     "(NAME | at POSITION) (start | end) (by LENGTH | to POSITION) [stop | clip | delete] "
     "[threshold LENGTH]",
     "adjust-region Chorus end by 1 bar", adjustRegion},
    {"shift-region", "(NAME | at POSITION) (by LENGTH | to POSITION) [stop | clip | delete]",
     "shift-region Chorus#2 by -1 beat clip", shiftRegion},
    {"rename-region", "(NAME | at POSITION) to NAME", "rename-region at 12:1 to \"Last chorus\"",
     renameRegion},
    {"remove-region", "NAME | at POSITION", "remove-region at 12:1", removeRegion},
    {"add-section", "NAME at POSITION [color COLOR]", "add-section \"Verse 2\" at 17:1 color verse",
     addSection},
    {"rename-section", "(NAME | at POSITION) to NAME", "rename-section Intro to Opening", renameSection},
    {"color-section", "(NAME | at POSITION) COLOR", "color-section at 17:1 chorus", colorSection},
    {"remove-section", "NAME | at POSITION", "remove-section Intro", removeSection},
    {"add-marker", "[NAME] at POSITION", "add-marker Solo at 25:1", addMarker},
    {"remove-marker", "NAME | at POSITION", "remove-marker Solo", removeMarker},
    {"add-chord", "CHORD at POSITION", "add-chord F#m7 at 3:1", addChord},
    {"change-chord", "at POSITION to CHORD", "change-chord at 12:3 to Bb/D", changeChord},
    {"remove-chord", "at POSITION", "remove-chord at 12:3", removeChord},
    {"add-note", "NOTE at POSITION for LENGTH", "add-note E4 at 3:2+ for 1/2 beat", addNote},
    {"change-note", "NOTE at POSITION to NOTE", "change-note E4 at 3:1 to F4", changeNote},
    {"remove-note", "NOTE at POSITION", "remove-note E4 at 3:1", removeNote},
};

/// The verb with which the text begins, alone or before a blank or an equals sign.
const Verb* verbOf(std::string_view text) {
    const std::string_view word = text.substr(0, text.find_first_of(" \t\r\n="));
    const auto* const found = std::find_if(std::begin(kVerbs), std::end(kVerbs),
                                           [&](const Verb& verb) { return verb.name == word; });
    return found == std::end(kVerbs) ? nullptr : found;
}

struct Sentence {
    const Verb* verb;
    std::vector<EditWord> words;

    [[nodiscard]] std::string text() const {
        std::string result(verb->name);
        for (const EditWord& word : words)
            result += " " + (word.isQuoted ? quoted(word.text) : word.text);
        return result;
    }
};

std::string formOf(const Verb& verb) {
    return std::string(verb.name) + " " + std::string(verb.operands);
}

std::vector<Sentence> sentencesOf(std::span<const std::string> arguments) {
    std::vector<Sentence> sentences;
    for (const std::string& argument : arguments) {
        if (const Verb* const verb = verbOf(argument)) {
            Sentence sentence{verb, {}};
            std::string_view rest = std::string_view(argument).substr(verb->name.size());
            try {
                sentence.words = splitWords(rest.starts_with('=') ? rest.substr(1) : rest);
            } catch (const EditWordError& error) {
                throw EditSyntaxError("'" + argument + "': " + error.what());
            }
            sentences.push_back(std::move(sentence));
        } else if (sentences.empty()) {
            throw EditSyntaxError("'" + argument + "' is not an edit; 'tarn edit --help' lists them");
        } else {
            const bool isName = argument.find_first_of(" \t\r\n") != std::string::npos || argument.empty();
            sentences.back().words.push_back({argument, isName});
        }
    }
    return sentences;
}

Edit editOf(const Sentence& sentence) {
    EditWords words(sentence.words);
    try {
        words.takeIf("=");
        Edit edit{sentence.text(), sentence.verb->parse(words)};
        words.expectEnd();
        return edit;
    } catch (const EditWordError& error) {
        throw EditSyntaxError("'" + sentence.text() + "': " + error.what() + "; write " +
                              formOf(*sentence.verb) + ", as in '" + std::string(sentence.verb->example) +
                              "'");
    }
}

} // namespace

std::vector<Edit> parseEdits(std::span<const std::string> arguments) {
    std::vector<Edit> edits;
    for (const Sentence& sentence : sentencesOf(arguments))
        edits.push_back(editOf(sentence));
    return edits;
}

std::vector<std::string> applyEdits(Song& document, std::span<const Edit> edits) {
    const auto undoManager = std::make_shared<UndoManager>();
    const auto previousManager = std::exchange(document.notes->undoManager, undoManager);
    const TarnNoteEntryStorageUndoRecorder recorder(document.notes, undoManager);
    const auto outline = std::make_shared<TarnSongStructureStorage>();
    outline->populateWithSongStructureStorageEntries(*document.structure);
    std::vector<std::string> changes;
    undoManager->beginUndoGrouping();
    for (const Edit& edit : edits) {
        try {
            changes.push_back(edit.apply(document));
        } catch (const EditRefused& refusal) {
            undoManager->endUndoGrouping();
            undoManager->undo();
            document.structure->populateWithSongStructureStorageEntries(*outline);
            document.notes->undoManager = previousManager;
            throw EditRefused("'" + edit.text + "': " + refusal.what());
        }
    }
    undoManager->endUndoGrouping();
    document.notes->undoManager = previousManager;
    return changes;
}

std::vector<EditForm> editForms() {
    std::vector<EditForm> forms;
    for (const Verb& verb : kVerbs)
        forms.push_back({formOf(verb), verb.example});
    return forms;
}

} // namespace tarn::program
