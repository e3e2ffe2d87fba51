#pragma once

#include "TarnFoundation/Grid/RegionSpan.h"
#include "TarnFoundation/UserEntries/TarnUserEntry.h"

#include <optional>

namespace tarn {

/// A stretch of the song from its location (included) to location + length (excluded).
class TarnRegionEntry : public EntryClass<TarnRegionEntry, TarnUserEntry> {
public:
    static constexpr std::string_view kClassName = "TarnRegionEntry";
    using EntryClass::EntryClass;

    [[nodiscard]] const std::optional<std::string>& name() const { return mName; }
    void setName(std::optional<std::string> name) { mName = std::move(name); }
    [[nodiscard]] std::uint64_t length() const { return mLength; } ///< frames
    void setLength(std::uint64_t length) { mLength = length; }

    /// Where a region begins and how long it is, in frames.
    using Span = RegionSpan;
    [[nodiscard]] Span range() const { return {location(), mLength}; }
    void setRange(Span range) {
        setLocation(range.location);
        setLength(range.length);
    }

    /// location + length. An end that 64 bits cannot hold, or a length that is negative as a signed number,
    /// aborts; tryEnd then returns nothing.
    [[nodiscard]] std::int64_t end() const;
    [[nodiscard]] std::optional<std::int64_t> tryEnd() const;

    /// False when the length is 0 or negative when read as a signed number.
    [[nodiscard]] bool isValid() const override;
    /// Whether the region has begun at `x` (a signed comparison) and not yet ended (an unsigned one).
    [[nodiscard]] bool containsLocation(std::int64_t x) const;

    void copyAttributesToEntry(TarnUserEntry& target) override;
    [[nodiscard]] std::string description() const override;
    void encodeWithCoder(KeyedArchiver& coder) const override;

protected:
    TarnRegionEntry(std::uint64_t eventId, std::optional<std::string> name)
        : EntryClass(eventId), mName(std::move(name)) {}
    bool decodeAttributes(KeyedUnarchiver& coder) override;

private:
    std::optional<std::string> mName;
    std::uint64_t mLength = 0;
};

/// Regions of the usual forms; they differ in their class and in the localized name that they begin with.
class TarnVerseRegionEntry : public EntryClass<TarnVerseRegionEntry, TarnRegionEntry> {
public:
    static constexpr std::string_view kClassName = "TarnVerseRegionEntry";
    explicit TarnVerseRegionEntry(std::uint64_t eventId);
};

class TarnChorusRegionEntry : public EntryClass<TarnChorusRegionEntry, TarnRegionEntry> {
public:
    static constexpr std::string_view kClassName = "TarnChorusRegionEntry";
    explicit TarnChorusRegionEntry(std::uint64_t eventId);
};

class TarnBridgeRegionEntry : public EntryClass<TarnBridgeRegionEntry, TarnRegionEntry> {
public:
    static constexpr std::string_view kClassName = "TarnBridgeRegionEntry";
    explicit TarnBridgeRegionEntry(std::uint64_t eventId);
};

class TarnMarkerRegionEntry : public EntryClass<TarnMarkerRegionEntry, TarnRegionEntry> {
public:
    static constexpr std::string_view kClassName = "TarnMarkerRegionEntry";
    explicit TarnMarkerRegionEntry(std::uint64_t eventId);
};

} // namespace tarn
