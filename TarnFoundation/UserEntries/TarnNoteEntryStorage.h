#pragma once

#include "KELPMusic/KELPKey.h"
#include "KELPMusic/KELPStringedInstrumentDescription.h"
#include "Platform/Export.h"
#include "Platform/PathText.h"
#include "Platform/Range.h"
#include "Platform/Signal.h"
#include "TarnFoundation/UserEntries/EntryStorage.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorageForwards.h"
#include "TarnFoundation/UserEntries/TimeSignature.h"

#include <atomic>
#include <optional>

namespace TARN_PUBLIC tarn {

class Log;
class UndoManager;
class TarnNoteEntryStorage;
template <typename Payload>
struct NotificationDescriptor;
enum class RegionBoundary;
enum class RegionSnapGrid;
enum class RegionNeighborCollisionRule;

inline constexpr const char* TarnNoteEntryStorageChangesetKey = "TarnNoteEntryStorageChangesetKey";
inline constexpr const char* TarnNoteEntryStorageAddedEntriesKey = "TarnNoteEntryStorageAddedEntriesKey";
inline constexpr const char* TarnNoteEntryStorageRemovedEntriesKey = "TarnNoteEntryStorageRemovedEntriesKey";
inline constexpr const char* TarnNoteEntryStorageChangedEntriesKey = "TarnNoteEntryStorageChangedEntriesKey";
inline constexpr const char* TarnNoteEntryStorageDidChangeInstrumentDescriptionNotification =
    "TarnNoteEntryStorageDidChangeInstrumentDescriptionNotification";

/// Draws a document; told which stretch of the timeline to redraw. Called on the changing thread.
class TarnNoteEntryStorageDisplay {
public:
    virtual ~TarnNoteEntryStorageDisplay() = default;
    /// `range` is (location of the first, location of the last) of the entries concerned, both included; (0,
    /// 0) for none.
    virtual void noteStorageInvalidateDisplayInRange(TarnNoteEntryStorage& storage,
                                                     std::pair<std::int64_t, std::int64_t> range) = 0;
    virtual void noteStorageDidChangeInstrumentDescription(TarnNoteEntryStorage& storage) = 0;
};

/// Told about changes of the document that no notification of a kind carries.
class TarnNoteEntryStorageDelegate {
public:
    virtual ~TarnNoteEntryStorageDelegate() = default;
    virtual void noteStorageDidChangeInstrumentDescription(TarnNoteEntryStorage&,
                                                           const KELPInstrumentRef& /*from*/,
                                                           const KELPInstrumentRef& /*to*/) {}
};

/// The annotation document of one song: the entries of nine kinds, the instrument that the notes are played
/// on, and the counter of identifiers. Every edit goes through the operations of a kind, which keep the beat
/// grid consistent, tell the display what to redraw, and post one notification with a changeset.
///
/// All operations are thread-safe and may be called from any thread; a changeset between changes of several
/// threads may hold more than its own. `delegate`, `display` and `undoManager` are set before that. Notices,
/// delegate, display and notifications are called on the changing thread without the lock (populate posts
/// while holding it), and may call back.
class TarnNoteEntryStorage : public EntryStorage<TarnNoteEntryStorage>,
                             public TarnNoteEntryStorageForwards,
                             public SecureCoding {
public:
    TarnNoteEntryStorage();

    /// The user-information keys of the notifications of kinds.
    [[nodiscard]] static const StorageUserInfoKeys& userInfoKeys();

    // The operations of each kind: EntriesOfKind.h, and under their names TarnNoteEntryStorageForwards.h.

    [[nodiscard]] std::shared_ptr<TarnMarkerRegionEntry> newMarkerRegionEntry();
    [[nodiscard]] std::shared_ptr<TarnVerseRegionEntry> newVerseRegionEntry();
    [[nodiscard]] std::shared_ptr<TarnChorusRegionEntry> newChorusRegionEntry();
    [[nodiscard]] std::shared_ptr<TarnBridgeRegionEntry> newBridgeRegionEntry();

    [[nodiscard]] KELPInstrumentRef instrumentDescription() const;
    /// Nothing happens when the description equals the current one.
    void setInstrumentDescription(KELPInstrumentRef description);

    /// Set in a new storage; while it is, needsTimeSignatureMigration returns false. Not archived.
    [[nodiscard]] bool useLegacyBeatFiltering() const { return mUseLegacyBeatFiltering; }
    void setUseLegacyBeatFiltering(bool use) { mUseLegacyBeatFiltering = use; }

    std::weak_ptr<TarnNoteEntryStorageDelegate> delegate;
    std::weak_ptr<TarnNoteEntryStorageDisplay> display;
    /// Used by compound edits, which group and suspend registration; the storage itself registers nothing
    /// (TarnNoteEntryStorageUndoRecorder does). May be none.
    std::shared_ptr<UndoManager> undoManager;

    /// Signals of every change of the kind in this storage, delivered on the changing thread.
    [[nodiscard]] Signal<Notification> didChangeNoteEntriesSignal();
    [[nodiscard]] Signal<Notification> didChangeBeatEntriesSignal();
    [[nodiscard]] Signal<Notification> didChangeTempoEntriesSignal();
    [[nodiscard]] Signal<Notification> didChangeTimeSignatureEntriesSignal();
    [[nodiscard]] Signal<Notification> didChangeRegionEntriesSignal();
    [[nodiscard]] Signal<Notification> didChangeKeyEntriesSignal();
    [[nodiscard]] Signal<Notification> changeSignalForNotification(const std::string& name);

    /// Observes one kind's changes of this storage with typed payloads
    /// (TarnFoundation/NotificationDescriptor.h).
    template <typename Payload, typename Function>
    NotificationCenter::Token addObserver(const NotificationDescriptor<Payload>& descriptor,
                                          Function handler);

    /// A new storage with the source's instrument, its key, chord, beat, standard-pitch, tempo and
    /// time-signature entries (the same objects, added with the ordinary operations) and its counter. Notes,
    /// regions and markers are left out.
    [[nodiscard]] static std::shared_ptr<TarnNoteEntryStorage>
    newCheckpointFromStorage(const TarnNoteEntryStorage& source);

    /// Replaces all contents by those of `source` as they stand. Posts nine notifications of kinds and one of
    /// the instrument while holding the lock. The source's lock is not taken.
    void populateWithNoteEntryStorageEntries(const TarnNoteEntryStorage& source);

    // Clean-up and consistency (TarnNoteEntryStorage+Consistency.cpp)

    void eliminateBogusEntries();
    void eliminateBogusRegionEntries(); ///< those that are not valid
    void eliminateBogusBeatEntries();   ///< those before the start of the audio
    /// Whether there is a time signature and a tempo.
    [[nodiscard]] bool containsBaselineContent() const;
    /// A copy with a fresh identifier for each entry, in the given order.
    template <typename Entry>
    [[nodiscard]] std::vector<std::shared_ptr<Entry>>
    mutableCopiesOfUserEntriesInArray(const EntryList<Entry>& entries) {
        std::vector<std::shared_ptr<Entry>> copies;
        copies.reserve(entries.size());
        for (const auto& entry : entries)
            copies.push_back(copyOfUserEntry(entry));
        return copies;
    }

    // Time signatures and quarter-note spacing (TarnNoteEntryStorage+TimeSignature.cpp)

    /// The earliest time signature; 4/4 when there is none.
    [[nodiscard]] TimeSignature timeSignature() const;
    /// Replaces all time signatures by one at location 0.
    void setTimeSignature(std::uint8_t numerator, std::uint8_t denominator);
    /// Whether the earliest time signature exists and has denominator 4: the grid then holds eighth-note
    /// positions.
    [[nodiscard]] bool useQuarterNoteSpacing() const;
    /// Infers the numerator from the most frequent bar length (of equally frequent ones the smaller) among 2
    /// to 20. Only the denominators 8 and 4 have an effect.
    void setTimeSignatureByDenominator(std::int64_t denominator);
    /// The quarter-note view of the grid for 4; all beats for every other denominator.
    [[nodiscard]] EntryList<TarnBeatEntry>
    beatEntriesFilteredByTimeSignatureDenominator(std::int64_t denominator) const;
    /// The view for 4 in quarter-note spacing, else all beats.
    [[nodiscard]] EntryList<TarnBeatEntry> beatEntriesFilteredByTimeSignature() const;
    /// Marks the downbeats again by the entry's numerator, from the first downbeat on; one change.
    void applyTimeSignatureToBeatEntries(const TarnTimeSignatureEntry& signature);
    /// The re-marked copies; the beats themselves when the signature has a zero; nothing when no beat is a
    /// downbeat.
    [[nodiscard]] std::optional<EntryList<TarnBeatEntry>>
    _beatEntriesWithTimeSignature(const TarnTimeSignatureEntry& signature,
                                  const EntryList<TarnBeatEntry>& beats);
    [[nodiscard]] bool needsTimeSignatureMigration() const;
    /// Converts a grid of one entry per beat into eighth-note positions and the signature to denominator 4,
    /// outside undo registration. False, and nothing happens, when the denominator is 4 already.
    bool performTimeSignatureMigration();

    // Beat grid (TarnNoteEntryStorage+Beats.cpp)

    /// Moves every downbeat mark by `offset` (not below minus the number of beats) positions, around the
    /// whole grid.
    void shiftDownbeatsByOffset(std::int64_t offset);
    /// The beats strictly between two beats given in grid order; none when either is missing or they are not
    /// in order.
    [[nodiscard]] EntryList<TarnBeatEntry> beatEntriesBetween(std::uint64_t entryWithId,
                                                              std::uint64_t andEntryWithId) const;
    /// The same with both ends.
    [[nodiscard]] EntryList<TarnBeatEntry> beatEntriesBetweenInclusive(std::uint64_t entryWithId,
                                                                       std::uint64_t andEntryWithId) const;
    /// Moves the downbeat marks of a closed span by `by` positions, at most the span's length either way,
    /// around the span. Returns the beats of the span after the change; none, and nothing happens, when the
    /// span is not found.
    EntryList<TarnBeatEntry> offsetDownbeatEntries(std::int64_t by, std::uint64_t betweenEntryWithId,
                                                   std::uint64_t andEntryWithId);
    /// Mean distance in frames of the beats of the time signature's view; nothing without beats, not-a-number
    /// for one beat. A distance that 64 bits cannot hold aborts; the `try…` form then returns nothing.
    [[nodiscard]] std::optional<double> averageBeatEntrySpacing() const;
    [[nodiscard]] std::optional<double> tryAverageBeatEntrySpacing() const;
    /// Beats per minute from that spacing; 0 without beats.
    [[nodiscard]] double tempoFromBeatEntries(double sampleRate) const;
    [[nodiscard]] std::optional<double> tryTempoFromBeatEntries(double sampleRate) const;
    [[nodiscard]] double tempoFromBeatEntriesWithSampleRate(double sampleRate) const {
        return tempoFromBeatEntries(sampleRate);
    }
    /// Rebuilds the grid of a range from its downbeats. Returns the identifiers of the new beats; none, and
    /// nothing happens, without downbeats. Aborts when downbeats do not ascend or lie outside the range, when
    /// a bar would have no beat, and when the grid is not in quarter-note spacing.
    std::vector<std::uint64_t> replaceBeatEntries(Range<std::int64_t> in,
                                                  const std::vector<std::int64_t>& withDownbeatsAt,
                                                  std::int64_t beatsPerBar);
    /// Moves a bar line; the two bars that meet there keep their numbers of beats and are spaced evenly. The
    /// last bar ends at `limitedBy`. Returns the identifier of the bar's new downbeat. An unknown identifier
    /// aborts, and so does a location outside the two bars.
    std::uint64_t setLocationOfBarEntry(std::uint64_t identifiedBy, std::int64_t to, std::int64_t limitedBy);
    /// Counted beats of the bar that the beat opens. An unknown identifier aborts.
    [[nodiscard]] std::int64_t getNumberOfBeats(std::uint64_t inBarIdentifiedBy) const;
    /// Fills the bar with `count` counted beats (at least 1), evenly spaced; the last bar ends at
    /// `limitedBy`. Returns the identifier of its new downbeat. An unknown identifier aborts, and so does a
    /// last bar that would end before it starts.
    std::uint64_t setNumberOfBeats(std::int64_t count, std::uint64_t inBarIdentifiedBy,
                                   std::int64_t limitedBy);

    // Regions (TarnNoteEntryStorage+Regions.cpp)

    /// The first region in stored order with location <= x <= location + length, all unsigned: the end
    /// belongs to it.
    [[nodiscard]] std::shared_ptr<TarnRegionEntry> regionEntryForLocation(std::int64_t x) const;
    /// The first region by location that contains the frame; the end does not belong to it.
    [[nodiscard]] std::shared_ptr<TarnRegionEntry> regionEntryContaining(std::int64_t frame) const;
    /// The neighbours by location of a stored region; nothing at the ends, for a region that is not stored,
    /// or for none.
    [[nodiscard]] std::shared_ptr<TarnRegionEntry>
    regionEntryOccurringAfter(const std::shared_ptr<TarnRegionEntry>& entry) const;
    [[nodiscard]] std::shared_ptr<TarnRegionEntry>
    regionEntryOccurringBefore(const std::shared_ptr<TarnRegionEntry>& entry) const;
    /// Stretches a new region over the free space of the bar around `frame` (not negative) and adds it.
    /// `boundedBy` is the song's number of frames. Nothing happens without beats, or when a region holds the
    /// frame already. A bar without free space aborts, and so does, in the last bar, a frame after
    /// `boundedBy`.
    void addRegionEntryExpandedToFitBarSurrounding(const std::shared_ptr<TarnRegionEntry>& entry,
                                                   std::int64_t frame, std::int64_t boundedBy);
    void addRegionEntryExpandedToFitBarSurroundingFrame(const std::shared_ptr<TarnRegionEntry>& entry,
                                                        std::int64_t frame,
                                                        std::int64_t boundedByFrameCount) {
        addRegionEntryExpandedToFitBarSurrounding(entry, frame, boundedByFrameCount);
    }
    /// Moves one boundary of a stored region by snap steps of the grid, or by frames without snap points;
    /// `threshold` is the least length. Returns the new entry. Throws SnappedAdjustmentError,
    /// RegionClippingError or AdjustRegionEntryError, the document being unchanged.
    std::shared_ptr<TarnRegionEntry> adjustRegionEntry(const std::shared_ptr<TarnRegionEntry>& entry,
                                                       RegionBoundary at, std::int64_t by, RegionSnapGrid on,
                                                       RegionNeighborCollisionRule rule,
                                                       std::int64_t threshold);
    /// Moves a whole region likewise. Throws SnappedShiftError, RegionClippingError or ShiftRegionError.
    std::shared_ptr<TarnRegionEntry> shiftRegionEntry(const std::shared_ptr<TarnRegionEntry>& entry,
                                                      std::int64_t by, RegionSnapGrid on,
                                                      RegionNeighborCollisionRule rule);

    // Markers (TarnNoteEntryStorage+Markers.cpp)

    /// Adds a marker. Throws NoteEntryStorageError when there is one at the frame.
    std::shared_ptr<TarnMarkerEntry> insertMarkerEntry(std::int64_t at);

    // Key (TarnNoteEntryStorage+Key.cpp)

    /// The key of the earliest key entry, or nothing.
    [[nodiscard]] KELPKeyRef globalKey() const;
    /// Replaces all key entries by one, and spells every chord to suit the key: one undo group.
    void overrideGlobalKey(const KELPKeyRef& with);
    void overrideGlobalKeyWithKey(const KELPKeyRef& key) { overrideGlobalKey(key); }

    // MIDI export (MIDIExport/MIDIExport.cpp)

    /// Writes notes and chords as asked for in `options` (TarnFoundation/MIDIExport) to a Standard MIDI File.
    /// Throws Error. Aborts over contents that a file cannot express: a note whose end 64 bits cannot hold, a
    /// tempo that is not finite or too slow to be compared, a time signature with the denominator 0.
    void exportToMIDIFile(const PathText& at, double sampleRate, const UserInfo& options) const;
    /// The same, but false, and no file, over such contents.
    [[nodiscard]] bool tryExportToMIDIFile(const PathText& at, double sampleRate,
                                           const UserInfo& options) const;
    bool exportToMIDIFileAtURL(const PathText& url, double sampleRate, const UserInfo& options,
                               Error* error) const;

    // Archive. Platform/KeyedArchiveFile.h saves and opens it as a file.

    void encodeWithCoder(KeyedArchiver& coder) const override;
    static const ClassDescription& classDescription();
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }

private:
    template <typename Storage>
    friend class EntryStorage;
    template <typename Storage, typename Kind>
    friend class EntriesOfKind;
    friend class TarnNoteEntryStorageUndoRecorder;

    using BeatDraft = EntryArray<TarnBeatEntry>::Draft;
    /// Beats are sorted and, in quarter-note spacing, pruned; nothing is done to other kinds.
    void enforceConsistencyOfUserEntriesInArray(BeatDraft& beats) {
        enforceConsistencyOfBeatEntriesInArray(beats);
    }
    template <typename Draft>
    void enforceConsistencyOfUserEntriesInArray(Draft&) {}
    void enforceConsistencyOfBeatEntriesInArray(BeatDraft& beats);
    void
    enforceQuarterNoteSpacingOfBeatEntriesInArray(std::vector<std::shared_ptr<TarnBeatEntry>>& beats) const;
    /// Whether the first stored (the earliest added) time signature exists and has denominator 4.
    [[nodiscard]] bool _useQuarterNoteSpacing() const;
    [[nodiscard]] Checked<std::optional<double>> checkedAverageBeatEntrySpacing() const;

    template <typename Entry>
    void invalidateDisplayOfEntries(const EntryList<Entry>& removed, const EntryList<Entry>& added);

    static std::shared_ptr<SecureCoding> makeFromCoder(KeyedUnarchiver& coder);

    const Log& mLog;
    KELPInstrumentRef mInstrumentDescription;
    std::atomic<bool> mUseLegacyBeatFiltering = true;
};

} // namespace tarn
