#include "TarnFoundation/MIDIExport/MIDIExport.h"

#include "Platform/Bundle.h"
#include "Platform/CheckedArithmetic.h"
#include "Platform/Prefetch.h"
#include "Platform/ProcessInfo.h"
#include "TarnFoundation/MIDIExport/MIDIExportTimeline.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <span>
#include <tuple>

namespace tarn {

namespace {

constexpr const char* kNoSampleRate = "Could not determine the sample rate of the song.";
constexpr const char* kNoSequence = "Could not create music sequence object.";
constexpr const char* kNoTempoTrack = "Could not get tempo track.";
constexpr const char* kNoTrack = "Could not create music sequence track.";
constexpr const char* kNoFile = "Could not create music sequence output file.";

constexpr std::uint8_t kTrackNameMetaEvent = 0x03;
constexpr std::uint8_t kTimeSignatureMetaEvent = 0x58;
constexpr std::uint8_t kKeySignatureMetaEvent = 0x59;
constexpr std::uint8_t kProgramChange = 0xC0;
constexpr std::uint8_t kClocksPerClick = 24;
constexpr std::uint8_t kThirtySecondsPerQuarterNote = 8;
constexpr std::uint8_t kNotesChannel = 0;
constexpr std::uint8_t kChordsChannel = 1;
constexpr std::uint8_t kVelocity = 127;
constexpr int kChordOctave = 4;
constexpr std::int16_t kTicksPerQuarterNote = 480;
constexpr double kTick = 1.0 / kTicksPerQuarterNote;
constexpr double kQuarterNotesOfDefaultBar = 4;

[[noreturn]] void fail(const char* description) {
    throw Error(TarnMIDIFileExporterDomain, -1,
                Bundle::framework().localizedString(description, description));
}

/// Ends the export when a sequence operation was refused.
void check(MusicStatus status, const char* description) {
    if (status != kMusicSuccess)
        fail(description);
}

bool boolOption(const UserInfo& options, const char* key) {
    const auto found = options.find(key);
    const auto* value = found == options.end() ? nullptr : std::any_cast<bool>(&found->second);
    return value && *value;
}

/// An option of any integer type; an unsigned value beyond the signed range counts as the greatest.
std::int64_t integerOption(const UserInfo& options, const char* key) {
    const auto found = options.find(key);
    if (found == options.end())
        return 0;
    std::int64_t result = 0;
    const auto take = [&]<typename T>(T) {
        const auto* value = std::any_cast<T>(&found->second);
        if (value)
            result = std::cmp_greater(*value, std::numeric_limits<std::int64_t>::max())
                         ? std::numeric_limits<std::int64_t>::max()
                         : static_cast<std::int64_t>(*value);
        return value != nullptr;
    };
    // One of the types at most matches.
    (void)(take(int()) || take(long()) || take(0LL) || take(short()) || take(std::int8_t()) ||
           take(unsigned()) || take(0UL) || take(0ULL) || take(static_cast<unsigned short>(0)) ||
           take(std::uint8_t()));
    return result;
}

/// The timing as a number or as its enumeration.
std::int64_t timingOption(const UserInfo& options) {
    const auto found = options.find(TarnNoteEntryStorageMIDITimingOptionKey);
    if (found != options.end()) {
        if (const auto* timing = std::any_cast<MIDIExportTiming>(&found->second))
            return static_cast<std::int64_t>(*timing);
    }
    return integerOption(options, TarnNoteEntryStorageMIDITimingOptionKey);
}

/// log2 of the denominator, truncated to a byte.
Checked<std::uint8_t> denominatorPower(std::uint8_t denominator) {
    const double power = std::log2(static_cast<double>(denominator));
    if (!std::isfinite(power) || power <= -1 || power >= 256)
        return Checked<std::uint8_t>::failure("The denominator of a time signature has no power of two");
    return static_cast<std::uint8_t>(power);
}

Checked<std::int64_t> endOf(const TarnNoteEntry& note) {
    return tryCast<std::int64_t>(note.length()).then([&](std::int64_t length) {
        return tryAdd(note.location(), length);
    });
}

struct ExportOptions {
    bool exportsNotes;
    bool exportsChords;
    std::int8_t transpose;
    std::int64_t timing;

    explicit ExportOptions(const UserInfo& options)
        : exportsNotes(boolOption(options, TarnNoteEntryStorageMIDIExportNotesOptionKey)),
          exportsChords(boolOption(options, TarnNoteEntryStorageMIDIExportChordsOptionKey)),
          transpose(static_cast<std::int8_t>(std::clamp<std::int64_t>(
              integerOption(options, TarnNoteEntryStorageMIDITransposeAmountOptionKey), -128, 127))),
          timing(timingOption(options)) {}
};

/// One export, from the document to the file.
class Export {
public:
    Export(const TarnNoteEntryStorage& storage, const ExportOptions& options, MIDIExportTimeline timeline)
        : mStorage(storage), mOptions(options), mTimeline(std::move(timeline)) {
        if (mOptions.exportsNotes)
            mNotes = storage.noteEntries();
    }

    /// Whether writeFile would not abort.
    [[nodiscard]] bool isExpressible() const {
        const auto& signatures = mTimeline.timeSignatureEvents;
        return std::all_of(signatures.begin(), signatures.end(),
                           [](const auto& event) {
                               return denominatorPower(event.timeSignature.denominator).value().has_value();
                           }) &&
               std::all_of(mNotes.begin(), mNotes.end(),
                           [](const auto& note) { return !note->pitch() || endOf(*note).value(); });
    }

    void writeFile(const std::filesystem::path& file) {
        addTempoEvents();
        addTimeSignatures();
        const auto keys = mStorage.keyEntries();
        if (!keys.empty() && keys.front()->tonicChord())
            mKeyChord = keys.front()->tonicChord()->chordWithOffset(mOptions.transpose);
        if (mOptions.exportsNotes)
            addNoteTrack();
        if (mOptions.exportsChords)
            addChordTrack();
        const SuddenTerminationGuard guard;
        check(MusicSequenceFileCreate(mSequence.sequence(), file, MusicSequenceFileType::midi,
                                      kMusicSequenceFileFlagsEraseFile, kTicksPerQuarterNote),
              kNoFile);
    }

private:
    [[nodiscard]] MusicTrack tempoTrack() const {
        MusicTrack track = nullptr;
        check(MusicSequenceGetTempoTrack(mSequence.sequence(), &track), kNoTempoTrack);
        return track;
    }

    void addTempoEvents() {
        const MusicTrack track = tempoTrack();
        for (const auto& event : mTimeline.tempoEvents)
            check(MusicTrackNewExtendedTempoEvent(track, event.position, event.beatsPerMinute),
                  kNoTempoTrack);
    }

    void addTimeSignatures() {
        for (const auto& event : mTimeline.timeSignatureEvents) {
            const std::uint8_t data[] = {event.timeSignature.numerator,
                                         denominatorPower(event.timeSignature.denominator).orAbort(),
                                         kClocksPerClick, kThirtySecondsPerQuarterNote};
            addMetaEvent(tempoTrack(), event.position, kTimeSignatureMetaEvent, data);
        }
    }

    static void addMetaEvent(MusicTrack track, double position, std::uint8_t type,
                             std::span<const std::uint8_t> data) {
        const MIDIMetaEvent event{type, data};
        check(MusicTrackNewMetaEvent(track, position, &event), kNoTrack);
    }

    [[nodiscard]] MusicTrack makeTrack(const std::string& name, std::uint8_t channel) const {
        MusicTrack track = nullptr;
        check(MusicSequenceNewTrack(mSequence.sequence(), &track), kNoTrack);
        addMetaEvent(track, 0, kTrackNameMetaEvent,
                     {reinterpret_cast<const std::uint8_t*>(name.data()), name.size()});
        if (mKeyChord) {
            const std::uint8_t data[] = {static_cast<std::uint8_t>(mKeyChord->midiKeyValue()),
                                         static_cast<std::uint8_t>(mKeyChord->isMinor() ? 1 : 0)};
            addMetaEvent(track, 0, kKeySignatureMetaEvent, data);
        }
        const MIDIChannelMessage program{static_cast<std::uint8_t>(kProgramChange + channel), 0, 0};
        check(MusicTrackNewMIDIChannelEvent(track, 0, &program), kNoTrack);
        return track;
    }

    static void addNotes(MusicTrack track, std::uint8_t channel, std::vector<MIDIExportNote> notes) {
        for (const auto& note : cleanedMIDIExportNotes(std::move(notes))) {
            const MIDINoteMessage message{channel, note.pitch, kVelocity, 0,
                                          static_cast<float>(note.duration)};
            check(MusicTrackNewMIDINoteEvent(track, note.position, &message), kNoTrack);
        }
    }

    /// Never negative.
    [[nodiscard]] double position(std::int64_t frame) const {
        return std::max(0.0, mTimeline.mapping(static_cast<double>(frame)));
    }

    void addNoteTrack() {
        const MusicTrack track =
            makeTrack(Bundle::framework().localizedString("Notes", "Notes"), kNotesChannel);
        std::vector<MIDIExportNote> notes;
        notes.reserve(mNotes.size());
        for (std::size_t i = 0; i < mNotes.size(); ++i) {
            // Notes that were not entered in order lie anywhere in memory, and so do their pitches.
            constexpr std::size_t kAhead = 8;
            if (i + 2 * kAhead < mNotes.size()) {
                prefetch(mNotes[i + 2 * kAhead].get());
                prefetch(mNotes[i + kAhead]->pitch().get());
            }
            const auto& entry = mNotes[i];
            if (!entry->pitch())
                continue; // nothing to play
            const double start = position(entry->location());
            const double end = position(endOf(*entry).orAbort());
            // The transposed pitch itself may lie beyond the last octave.
            const auto pitch =
                std::clamp<std::int64_t>(entry->pitch()->semitones() + mOptions.transpose, 0, 127);
            notes.push_back({static_cast<std::uint8_t>(pitch), start, end - start});
        }
        addNotes(track, kNotesChannel, std::move(notes));
    }

    void addChordTrack() {
        const MusicTrack track =
            makeTrack(Bundle::framework().localizedString("Chords", "Chords"), kChordsChannel);
        const auto chords = mStorage.chordEntries();
        std::vector<MIDIExportNote> notes;
        for (std::size_t i = 0; i < chords.size(); ++i) {
            const double start = position(chords[i]->location());
            const double end =
                i + 1 < chords.size() ? position(chords[i + 1]->location()) : endOfLastChord(start);
            if (!chords[i]->chord())
                continue;
            for (const auto& pitch :
                 chords[i]->chord()->chordWithOffset(mOptions.transpose)->pitchesAtOctave(kChordOctave))
                notes.push_back({pitch->midiNote(), start, end - start});
        }
        addNotes(track, kChordsChannel, std::move(notes));
    }

    /// The last beat, if it comes after the chord's start; else one bar from the start.
    [[nodiscard]] double endOfLastChord(double start) const {
        const auto beats = mStorage.beatEntries();
        if (!beats.empty()) {
            const double songEnd = position(beats.back()->location());
            if (start < songEnd)
                return songEnd;
        }
        if (mTimeline.timeSignatureEvents.empty())
            return start + kQuarterNotesOfDefaultBar;
        const auto& signature = mTimeline.timeSignatureEvents.back().timeSignature;
        return start + signature.numerator * 4.0 / signature.denominator;
    }

    const TarnNoteEntryStorage& mStorage;
    const ExportOptions mOptions;
    EntryList<TarnNoteEntry> mNotes; ///< those to export
    MIDIExportTimeline mTimeline;
    MIDIExportSequence mSequence;
    KELPChordRef mKeyChord;
};

} // namespace

MIDIExportSequence::MIDIExportSequence() {
    check(NewMusicSequence(&mSequence), kNoSequence);
}

std::vector<MIDIExportNote> cleanedMIDIExportNotes(std::vector<MIDIExportNote> notes) {
    const auto isEmpty = [](const auto& note) { return !(note.duration > 0); };
    std::erase_if(notes, isEmpty);
    std::sort(notes.begin(), notes.end(), [](const auto& a, const auto& b) {
        return std::tie(a.position, a.pitch, b.duration) < std::tie(b.position, b.pitch, a.duration);
    });
    std::vector<MIDIExportNote> kept;
    kept.reserve(notes.size());
    std::array<std::size_t, 256> countWithPrevious{}; // by pitch: how many were kept up to its last one
    for (const auto& note : notes) {
        auto& count = countWithPrevious[note.pitch];
        if (count > 0) {
            auto& previous = kept[count - 1];
            if (note.position - previous.position <= kTick)
                continue; // a repeated onset
            if (note.position - kTick < previous.position + previous.duration)
                previous.duration = note.position - kTick - previous.position;
        }
        kept.push_back(note);
        count = kept.size();
    }
    std::erase_if(kept, isEmpty);
    return kept;
}

void TarnNoteEntryStorage::exportToMIDIFile(const PathText& at, double sampleRate,
                                            const UserInfo& options) const {
    if (!(sampleRate > 0))
        fail(kNoSampleRate);
    const ExportOptions wanted(options);
    const MIDIExportTimeline timeline(wanted.timing, wanted.exportsNotes, wanted.exportsChords, sampleRate,
                                      *this);
    Export(*this, wanted, timeline).writeFile(at.as<std::filesystem::path>());
}

bool TarnNoteEntryStorage::tryExportToMIDIFile(const PathText& at, double sampleRate,
                                               const UserInfo& options) const {
    if (!(sampleRate > 0))
        fail(kNoSampleRate);
    const ExportOptions wanted(options);
    const auto timeline = MIDIExportTimeline::tryMake(wanted.timing, wanted.exportsNotes,
                                                      wanted.exportsChords, sampleRate, *this);
    if (!timeline)
        return false;
    Export entire(*this, wanted, *timeline);
    if (!entire.isExpressible())
        return false;
    entire.writeFile(at.as<std::filesystem::path>());
    return true;
}

bool TarnNoteEntryStorage::exportToMIDIFileAtURL(const PathText& url, double sampleRate,
                                                 const UserInfo& options, Error* error) const {
    try {
        exportToMIDIFile(url, sampleRate, options);
        return true;
    } catch (const Error& failure) {
        if (error)
            *error = failure;
        return false;
    }
}

} // namespace tarn
