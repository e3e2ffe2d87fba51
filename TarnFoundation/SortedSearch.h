#pragma once

#include "Platform/CheckedArithmetic.h"
#include "Platform/Export.h"
#include "Platform/Prefetch.h"
#include "Platform/Range.h"
#include "TarnFoundation/Grid/SortedValues.h"
#include "TarnFoundation/UserEntries/TarnBeatEntry.h"

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <ranges>
#include <type_traits>
#include <utility>
#include <vector>

/// Where in a sorted list something lies: searches over any random-access range of comparable values, of
/// entries (by location), and of beats. Every result is an index of the range, or nothing. Which comparisons
/// are strict and which way a tie falls is part of each operation. Searches take O(log n) unless they say
/// otherwise. Those that compute with locations abort on an overflow; the `try…` form of each then returns
/// nothing.
namespace TARN_PUBLIC tarn {

template <typename Item>
inline constexpr bool kIsEntryReference = false;
template <std::derived_from<TarnUserEntry> Entry>
inline constexpr bool kIsEntryReference<std::shared_ptr<Entry>> = true;

/// A random-access range of references to entries, sorted by location; equal locations may occur.
template <typename Entries>
concept EntryRange = SearchableRange<Entries> && kIsEntryReference<std::ranges::range_value_t<const Entries>>;

template <typename Beats>
concept BeatEntryRange = EntryRange<Beats> &&
    std::derived_from<typename std::ranges::range_value_t<const Beats>::element_type, TarnBeatEntry>;

namespace detail {

/// A list of entries keeps the processor waiting for memory at each step, so that entries are asked for
/// ahead.
inline constexpr auto kPrefetchEntry = [](const auto& entry) { prefetch(entry.get()); };
inline constexpr auto kLocationOfEntry = [](const auto& entry) { return entry->location(); };

} // namespace detail

/// As for values (Grid/SortedValues.h), with an eye on memory.
template <EntryRange Entries, typename Value, typename Predicate>
[[nodiscard]] std::size_t lowerBound(const Entries& entries, const Value& value, Predicate predicate) {
    return detail::partitionPoint(
        entries, [&](const auto& entry) { return predicate(entry, value); }, detail::kPrefetchEntry);
}
template <EntryRange Entries, typename Value, typename Predicate>
[[nodiscard]] std::size_t upperBound(const Entries& entries, const Value& value, Predicate predicate) {
    return detail::partitionPoint(
        entries, [&](const auto& entry) { return !predicate(value, entry); }, detail::kPrefetchEntry);
}

/// The last entry at or before the sample (inclusive).
template <EntryRange Entries>
[[nodiscard]] std::optional<std::size_t> indexForSample(const Entries& entries, std::int64_t sample) {
    const std::size_t past = lowerBound(
        entries, sample, [](const auto& entry, std::int64_t value) { return entry->location() <= value; });
    return past == 0 ? std::nullopt : std::optional(past - 1);
}

/// The identifier of the last entry at or before the sample.
template <EntryRange Entries>
[[nodiscard]] std::optional<std::uint64_t> identifierForSample(const Entries& entries, std::int64_t sample) {
    const auto index = indexForSample(entries, sample);
    return index ? std::optional(detail::itemAt(entries, *index)->eventId()) : std::nullopt;
}

/// The first entry strictly after the sample.
template <EntryRange Entries>
[[nodiscard]] std::optional<std::size_t> indexOfElementPast(const Entries& entries,
                                                            std::int64_t sampleLocation) {
    return detail::indexPast(entries, sampleLocation, detail::kLocationOfEntry, detail::kPrefetchEntry);
}

/// The last entry strictly before the sample.
template <EntryRange Entries>
[[nodiscard]] std::optional<std::size_t> indexOfElementBefore(const Entries& entries,
                                                              std::int64_t sampleLocation) {
    return detail::indexBefore(entries, sampleLocation, detail::kLocationOfEntry, detail::kPrefetchEntry);
}

namespace detail {

template <EntryRange Entries>
[[nodiscard]] FoundIndex closestEntry(const Entries& entries, std::int64_t to) {
    const auto found = indexForSample(entries, to);
    if (!found)
        return found;
    constexpr auto kNone = std::numeric_limits<std::int64_t>::max();
    const std::size_t i = *found;
    const bool isLast = i + 1 == countOf(entries);
    const auto distance = [&](std::size_t index) {
        return tryDistance(itemAt(entries, index)->location(), to);
    };
    const auto own = distance(i);
    const auto previous = i > 0 ? distance(i - 1) : kNone;
    const auto next = isLast ? kNone : distance(i + 1);
    for (const auto& each : {own, previous, next}) {
        if (!each.value())
            return FoundIndex::failure(each.reason());
    }
    if (isLast)
        return {*previous.value() != kNone && *previous.value() < *own.value() ? i - 1 : i};
    if (*previous.value() < *next.value() && *previous.value() < *own.value())
        return {i - 1};
    return {*next.value() < *previous.value() && *next.value() < *own.value() ? i + 1 : i};
}

} // namespace detail

/// The nearest of the entry at or before the sample and its two neighbours; a tie stays with the one at or
/// before. Nothing for a sample before the first entry. A distance beyond 64 bits aborts.
template <EntryRange Entries>
[[nodiscard]] std::optional<std::size_t> indexOfClosestEntry(const Entries& entries, std::int64_t to) {
    return detail::closestEntry(entries, to).orAbort();
}
template <EntryRange Entries>
[[nodiscard]] std::optional<std::size_t> tryIndexOfClosestEntry(const Entries& entries, std::int64_t to) {
    return detail::closestEntry(entries, to).value().value_or(std::nullopt);
}

/// The first entry with this identifier. O(n).
template <EntryRange Entries>
[[nodiscard]] std::optional<std::size_t> firstIndexOfEntryWithId(const Entries& entries,
                                                                 std::uint64_t eventId) {
    const std::size_t count = detail::countOf(entries);
    for (std::size_t i = 0; i < count; ++i) {
        if (detail::itemAt(entries, i)->eventId() == eventId)
            return i;
    }
    return std::nullopt;
}

/// The index after the entry with the given entry's identifier; nothing when it is absent or the last. O(n).
template <EntryRange Entries>
[[nodiscard]] std::optional<std::size_t> indexOfEntryAfter(const Entries& entries,
                                                           const TarnUserEntry& after) {
    const auto index = firstIndexOfEntryWithId(entries, after.eventId());
    return index && *index + 1 < detail::countOf(entries) ? std::optional(*index + 1) : std::nullopt;
}

/// The index before the entry with the given entry's identifier; nothing when it is absent or the first.
/// O(n).
template <EntryRange Entries>
[[nodiscard]] std::optional<std::size_t> indexOfEntryBefore(const Entries& entries,
                                                            const TarnUserEntry& before) {
    const auto index = firstIndexOfEntryWithId(entries, before.eventId());
    return index && *index > 0 ? std::optional(*index - 1) : std::nullopt;
}

/// The samples that an entry governs: from its location up to the next location after it, without an end
/// (the largest sample) when there is none. The neighbour is found by location, so entries at one location
/// govern the same samples. Nothing when no entry lies at or before the given one.
template <EntryRange Entries>
[[nodiscard]] std::optional<Range<std::int64_t>> rangeForEntry(const Entries& entries,
                                                               const TarnUserEntry& entry) {
    const auto index = indexForSample(entries, entry.location());
    if (!index)
        return std::nullopt;
    const std::int64_t end = *index + 1 < detail::countOf(entries)
                                 ? detail::itemAt(entries, *index + 1)->location()
                                 : std::numeric_limits<std::int64_t>::max();
    return Range<std::int64_t>(entry.location(), end);
}

namespace detail {

template <typename Key>
using Ends = std::pair<Key, Key>;

/// From where (included) to where (excluded) a range expression reaches when its open ends take the given
/// limits. The ends may come out reversed: 500... above an upper limit of 201.
template <std::integral Key>
[[nodiscard]] Checked<Ends<Key>> reach(const Range<Key>& expression, Key, Key) {
    return Ends<Key>(expression.lower, expression.upper);
}
template <std::integral Key>
[[nodiscard]] Checked<Ends<Key>> reach(const ClosedRange<Key>& expression, Key, Key) {
    return tryAdd(expression.upper, Key{1}).then([&](Key end) {
        return Checked(Ends<Key>(expression.lower, end));
    });
}
template <std::integral Key>
[[nodiscard]] Checked<Ends<Key>> reach(const PartialRangeFrom<Key>& expression, Key, Key upperLimit) {
    return Ends<Key>(expression.lower, upperLimit);
}
template <std::integral Key>
[[nodiscard]] Checked<Ends<Key>> reach(const PartialRangeThrough<Key>& expression, Key lowerLimit, Key) {
    return tryAdd(expression.upper, Key{1}).then([&](Key end) {
        return Checked(Ends<Key>(lowerLimit, end));
    });
}
template <std::integral Key>
[[nodiscard]] Checked<Ends<Key>> reach(const PartialRangeUpTo<Key>& expression, Key lowerLimit, Key) {
    return Ends<Key>(lowerLimit, expression.upper);
}

/// See `entriesIn`.
template <std::ranges::random_access_range Items, typename Expression, typename Key>
[[nodiscard]] auto itemsIn(const Items& items, const Expression& expression, Key key) {
    using Found = std::vector<std::ranges::range_value_t<const Items>>;
    using KeyValue =
        std::remove_cvref_t<std::invoke_result_t<Key&, std::ranges::range_reference_t<const Items>>>;
    static_assert(std::integral<KeyValue>);
    const std::size_t count = countOf(items);
    const auto limit = [&](std::size_t index) {
        return tryAdd<KeyValue>(count > 0 ? std::invoke(key, itemAt(items, index)) : KeyValue{0}, 1);
    };
    const auto ends = limit(0).then([&](KeyValue lowerLimit) {
        return limit(count - 1).then([&](KeyValue upperLimit) { // of no items, the index is not looked at
            precondition(lowerLimit <= upperLimit,
                         "Entries must be sorted by the key that they are searched by");
            return reach(expression, lowerLimit, upperLimit);
        });
    });
    return ends.then([&](const Ends<KeyValue>& reached) {
        const auto firstAtOrPast = [&](KeyValue bound) {
            return lowerBound(items, bound, [&](const auto& item, KeyValue value) {
                return std::invoke(key, item) < value;
            });
        };
        const std::size_t start = firstAtOrPast(reached.first);
        const std::size_t end = firstAtOrPast(reached.second);
        precondition(start <= end, "A range of entries must not end before it starts");
        const auto first = std::ranges::begin(items);
        using Offset = std::ranges::range_difference_t<const Items>;
        return Checked(Found(first + static_cast<Offset>(start), first + static_cast<Offset>(end)));
    });
}

} // namespace detail

/// The items whose integer key lies in a range expression of that integer type (Range, ClosedRange,
/// PartialRange…); the items are sorted by the key. A range that is open at the bottom starts after the first
/// item's key: it never gives the first item. A range that ends before it starts among the items aborts, in
/// both forms. The greatest integer, as a key or as an end that is included, is an overflow.
template <std::ranges::random_access_range Items, typename Expression, typename Key>
[[nodiscard]] auto entriesIn(const Items& items, const Expression& expression, Key key)
    -> std::vector<std::ranges::range_value_t<const Items>> {
    return detail::itemsIn(items, expression, key).orAbort();
}
template <std::ranges::random_access_range Items, typename Expression, typename Key>
[[nodiscard]] auto tryEntriesIn(const Items& items, const Expression& expression, Key key)
    -> std::optional<std::vector<std::ranges::range_value_t<const Items>>> {
    return detail::itemsIn(items, expression, key).value();
}

/// The entries whose location lies in a range expression of samples.
template <EntryRange Entries, typename Expression>
[[nodiscard]] auto entriesIn(const Entries& entries, const Expression& expression) {
    return entriesIn(entries, expression, detail::kLocationOfEntry);
}
template <EntryRange Entries, typename Expression>
[[nodiscard]] auto tryEntriesIn(const Entries& entries, const Expression& expression) {
    return tryEntriesIn(entries, expression, detail::kLocationOfEntry);
}

/// The last downbeat at or before the sample (inclusive). O(log n + length of a bar).
template <BeatEntryRange Beats>
[[nodiscard]] std::optional<std::size_t> indexOfDownbeatEntryBefore(const Beats& beats, std::int64_t before) {
    const auto found = indexForSample(beats, before);
    for (std::size_t end = found ? *found + 1 : 0; end > 0; --end) {
        if (detail::itemAt(beats, end - 1)->isDownbeat())
            return end - 1;
    }
    return std::nullopt;
}

/// The first downbeat strictly after the sample. O(log n + length of a bar).
template <BeatEntryRange Beats>
[[nodiscard]] std::optional<std::size_t> indexOfDownbeatEntryAfter(const Beats& beats, std::int64_t after) {
    const auto found = indexForSample(beats, after);
    const std::size_t count = detail::countOf(beats);
    for (std::size_t i = found ? *found + 1 : 0; i < count; ++i) {
        if (detail::itemAt(beats, i)->isDownbeat())
            return i;
    }
    return std::nullopt;
}

// Quarter-note beats are a downbeat and every second beat after it, counted from the last downbeat at or
// before the sample, or from the first beat when there is none; the next downbeat does not restart the count.

/// The last quarter-note beat at or before the sample; the first beat for a sample before all beats. O(log n
/// + distance from the downbeat).
template <BeatEntryRange Beats>
[[nodiscard]] std::optional<std::size_t> indexOfQuarterNoteEntryBefore(const Beats& beats,
                                                                       std::int64_t before) {
    const std::size_t count = detail::countOf(beats);
    if (count == 0)
        return std::nullopt;
    std::size_t i = indexOfDownbeatEntryBefore(beats, before).value_or(0);
    while (i + 2 < count && detail::itemAt(beats, i + 2)->location() <= before)
        i += 2;
    return i;
}

/// The first quarter-note beat strictly after the sample. Aborts without beats. O(log n + distance from the
/// downbeat).
template <BeatEntryRange Beats>
[[nodiscard]] std::optional<std::size_t> indexOfQuarterNoteEntryAfter(const Beats& beats,
                                                                      std::int64_t after) {
    const std::size_t count = detail::countOf(beats);
    precondition(count > 0, "A quarter-note beat can only be searched among beats");
    for (std::size_t i = indexOfDownbeatEntryBefore(beats, after).value_or(0); i < count; i += 2) {
        if (detail::itemAt(beats, i)->location() > after)
            return i;
    }
    return std::nullopt;
}

} // namespace tarn
