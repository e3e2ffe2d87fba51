#pragma once

#include "Platform/KeyedArchive.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace tarn {

/// The base of all annotations: a point on the audio timeline with an identity that is unique in its
/// document. Entries are made by a storage, which hands out the identifiers, and are never changed once they
/// are stored: an edit makes a new entry or a copy, changes that, and replaces the old one by it.
class TarnUserEntry : public SecureCoding {
public:
    /// A new entry at location 0. Only storages choose identifiers.
    explicit TarnUserEntry(std::uint64_t eventId) : mEventId(eventId) {}
    TarnUserEntry(const TarnUserEntry&) = delete;
    TarnUserEntry& operator=(const TarnUserEntry&) = delete;

    [[nodiscard]] std::uint64_t eventId() const { return mEventId; }

    /// Position in sample frames from the start of the audio; negative only for count-in beats.
    [[nodiscard]] std::int64_t location() const { return mLocation; }
    void setLocation(std::int64_t location) {
        mLocation = location;
        if (mIsStored.load(std::memory_order_relaxed))
            storedLocationEpoch().fetch_add(1, std::memory_order_release);
    }

    [[nodiscard]] virtual bool isValid() const { return true; }

    /// Entries are equal when their identifiers are, whatever their kinds and attributes.
    [[nodiscard]] bool isEqual(const TarnUserEntry& other) const { return mEventId == other.mEventId; }
    [[nodiscard]] std::uint64_t hash() const { return mEventId; }

    /// Copies everything except the identifier to `target`; the attributes of a kind only to an entry of that
    /// kind. Not const: a time signature takes its own attributes from the target instead.
    virtual void copyAttributesToEntry(TarnUserEntry& target) { target.setLocation(mLocation); }

    /// A new entry of this entry's own class with its defaults.
    [[nodiscard]] virtual std::shared_ptr<TarnUserEntry> newEntryOfSameClass(std::uint64_t eventId) const;

    [[nodiscard]] virtual std::string description() const;

    static const ClassDescription& classDescription();
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
    void encodeWithCoder(KeyedArchiver& coder) const override;

    /// Marks the entry as held by a storage, so that a change of its location is noticed (see
    /// storedLocationEpoch).
    void markAsStored() const { mIsStored.store(true, std::memory_order_relaxed); }
    /// Moves on whenever the location of a stored entry changes in place; storages use it to tell whether an
    /// order by location that they remember still holds.
    static std::atomic<std::uint64_t>& storedLocationEpoch();

protected:
    /// Sets the attributes of the kind from the archive; false when a required one is missing.
    virtual bool decodeAttributes(KeyedUnarchiver&) { return true; }
    /// "EventID: <id>, {<location>", the identifier shown as a signed number.
    [[nodiscard]] std::string descriptionPrefix() const;
    /// "<ClassName: ".
    [[nodiscard]] std::string classPrefix() const;

    /// Makes an entry from the archive; nothing when a required value is missing.
    template <typename Entry>
    static std::shared_ptr<SecureCoding> makeFromCoder(KeyedUnarchiver& coder);

private:
    std::uint64_t mEventId;
    std::int64_t mLocation = 0;
    mutable std::atomic<bool> mIsStored = false;
};

/// Gives an entry class what depends on nothing but the class itself: its description for archives (named
/// `Self::kClassName`) and how to make another of its kind. Defined in EntryClassImplementation.h; the source
/// of the entry class instantiates it.
template <typename Self, typename Base>
class EntryClass : public Base {
public:
    using Base::Base;

    static const ClassDescription& classDescription();
    [[nodiscard]] const ClassDescription& dynamicClass() const override;
    [[nodiscard]] std::shared_ptr<TarnUserEntry> newEntryOfSameClass(std::uint64_t eventId) const override;
};

/// Makes every entry class known to archives, so that subclasses are admitted where their base is.
void registerUserEntryClasses();

} // namespace tarn
