#include "Song/Edits/EditVerbs.h"

#include "TarnFoundation/RegionEditing.h"
#include "TarnFoundation/SortedSearch.h"

#include <utility>

namespace tarn::edits {
namespace {

using RegionRef = std::shared_ptr<TarnRegionEntry>;

RegionRef findRegion(const Song& document, const EntryReference& reference) {
    return find(
        document, document.notes->regionEntries(), reference, "region",
        [](const TarnRegionEntry& region, std::int64_t frame) { return region.containsLocation(frame); });
}

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

} // namespace

std::span<const Verb> regionVerbs() {
    static constexpr Verb kVerbs[] = {
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
    };
    return kVerbs;
}

} // namespace tarn::edits
