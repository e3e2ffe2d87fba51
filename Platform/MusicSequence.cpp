#include "Platform/MusicSequence.h"

#include "Platform/FileManager.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <vector>

namespace tarn {

namespace {

constexpr std::int64_t kLargestDelta = 0x0FFFFFFF; // four bytes of seven bits
constexpr std::size_t kLargestChunk = 0xFFFFFFFF;
constexpr std::size_t kLargestTrackCount = 0xFFFF;
constexpr std::int16_t kDefaultResolution = 480;
constexpr std::uint8_t kMetaTempo = 0x51;
constexpr std::uint8_t kMetaEndOfTrack = 0x2F;

std::atomic<MusicSequenceFault> gFault = nullptr;
std::atomic<std::size_t> gLiveSequences = 0;

MusicStatus injectedFault(const char* operation) {
    const MusicSequenceFault fault = gFault;
    return fault ? fault(operation) : kMusicSuccess;
}

MusicStatus statusOf(bool fits) {
    return fits ? kMusicSuccess : kMusicTooLarge;
}

bool isPosition(double quarterNotes) {
    return std::isfinite(quarterNotes) && quarterNotes >= 0;
}

/// Messages of one tick in the order in which they are written: a key is released before it is struck again,
/// and a program change is in force for the notes of its tick.
enum class Rank : std::uint8_t { noteOff, other, noteOn };

struct Event {
    double position = 0;               ///< quarter notes
    std::optional<float> noteDuration; ///< quarter notes; notes only
    std::uint32_t firstByte = 0; ///< its message among the track's bytes; of a note: note-on, then note-off
    std::uint32_t byteCount = 0;
};

/// A message at its tick, its bytes among the track's.
struct TimedMessage {
    TimedMessage(std::int64_t tick, Rank rank, std::uint32_t first, std::uint32_t count)
        : order(tick << kRankBits | static_cast<std::int64_t>(rank)), firstByte(first), byteCount(count) {}

    [[nodiscard]] std::int64_t tick() const { return order >> kRankBits; }
    /// Bytes are stored in the order in which the events were added.
    friend bool operator<(const TimedMessage& a, const TimedMessage& b) {
        return a.order != b.order ? a.order < b.order : a.firstByte < b.firstByte;
    }

    static constexpr int kRankBits = 2;
    std::int64_t order; ///< the tick, below it the rank
    std::uint32_t firstByte;
    std::uint32_t byteCount;
};

constexpr std::uint32_t kNoteMessageSize = 3;

void appendBigEndian(std::vector<std::uint8_t>& bytes, std::uint64_t value, int count) {
    while (count-- > 0)
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * count)));
}

void appendVariableLength(std::vector<std::uint8_t>& bytes, std::uint64_t value) {
    int shift = 0;
    while (value >> (shift + 7))
        shift += 7;
    for (; shift > 0; shift -= 7)
        bytes.push_back(static_cast<std::uint8_t>(0x80 | (value >> shift & 0x7F)));
    bytes.push_back(static_cast<std::uint8_t>(value & 0x7F));
}

/// The nearest tick, halves upwards; nothing when floating point no longer tells neighbouring ticks apart.
std::optional<std::int64_t> tickAt(double quarterNotes, int resolution) {
    constexpr double kLargestExactInteger = 9007199254740992.0; // 2^53
    const double ticks = std::round(quarterNotes * resolution);
    if (!(ticks < kLargestExactInteger))
        return std::nullopt;
    return static_cast<std::int64_t>(ticks);
}

} // namespace

class MusicTrackObject {
public:
    explicit MusicTrackObject(bool isTempoTrack) : mIsTempoTrack(isTempoTrack) {}

    [[nodiscard]] bool isTempoTrack() const { return mIsTempoTrack; }

    /// The adders return false when the track has become too large for the file format.
    bool addMeta(double position, std::uint8_t type, std::span<const std::uint8_t> data) {
        const std::size_t first = mBytes.size();
        mBytes.push_back(0xFF);
        mBytes.push_back(type);
        appendVariableLength(mBytes, data.size());
        mBytes.insert(mBytes.end(), data.begin(), data.end());
        return addEvent(position, std::nullopt, first);
    }

    bool addMessage(double position, std::initializer_list<std::uint8_t> message) {
        const std::size_t first = mBytes.size();
        mBytes.insert(mBytes.end(), message);
        return addEvent(position, std::nullopt, first);
    }

    bool addNote(double position, const MIDINoteMessage& note) {
        const std::size_t first = mBytes.size();
        const auto noteOn = static_cast<std::uint8_t>(0x90 | note.channel);
        const auto noteOff = static_cast<std::uint8_t>(0x80 | note.channel);
        mBytes.insert(mBytes.end(),
                      {noteOn, note.note, note.velocity, noteOff, note.note, note.releaseVelocity});
        return addEvent(position, note.duration, first);
    }

    /// Appends the track's chunk to `file`.
    MusicStatus appendChunk(std::vector<std::uint8_t>& file, int resolution) const {
        std::vector<TimedMessage> messages;
        if (!collectMessages(messages, resolution))
            return kMusicTooLarge;

        constexpr std::size_t kUsualDeltaSize = 2;
        file.reserve(file.size() + mBytes.size() + messages.size() * kUsualDeltaSize);
        file.insert(file.end(), {'M', 'T', 'r', 'k', 0, 0, 0, 0});
        const std::size_t start = file.size();
        std::int64_t tick = 0;
        for (const TimedMessage& message : messages) {
            const std::int64_t delta = message.tick() - tick;
            if (delta > kLargestDelta)
                return kMusicTooLarge;
            appendVariableLength(file, static_cast<std::uint64_t>(delta));
            const auto bytes = std::span(mBytes).subspan(message.firstByte, message.byteCount);
            file.insert(file.end(), bytes.begin(), bytes.end());
            tick += delta;
        }
        file.insert(file.end(), {0, 0xFF, kMetaEndOfTrack, 0});
        const std::size_t size = file.size() - start;
        if (size > kLargestChunk)
            return kMusicTooLarge;
        for (std::size_t i = 0; i < 4; ++i)
            file[start - 4 + i] = static_cast<std::uint8_t>(size >> (8 * (3 - i)));
        return kMusicSuccess;
    }

private:
    /// Adds the event whose bytes are the last ones from `first` on.
    bool addEvent(double position, std::optional<float> noteDuration, std::size_t first) {
        if (mBytes.size() > kLargestChunk) {
            mBytes.resize(first);
            return false;
        }
        mEvents.push_back({position, noteDuration, static_cast<std::uint32_t>(first),
                           static_cast<std::uint32_t>(mBytes.size() - first)});
        return true;
    }

    /// All messages in the order of the file; false when a position is too large.
    bool collectMessages(std::vector<TimedMessage>& messages, int resolution) const {
        messages.reserve(mEvents.size() * 2);
        for (const Event& event : mEvents) {
            const auto tick = tickAt(event.position, resolution);
            if (!tick)
                return false;
            if (!event.noteDuration) {
                messages.emplace_back(*tick, Rank::other, event.firstByte, event.byteCount);
                continue;
            }
            const auto end = tickAt(event.position + double{*event.noteDuration}, resolution);
            if (!end)
                return false;
            const bool isLasting = *event.noteDuration > 0;
            messages.emplace_back(*tick, Rank::noteOn, event.firstByte, kNoteMessageSize);
            // The release of a note without duration follows its own onset.
            messages.emplace_back(isLasting ? std::max(*end, *tick + 1) : *tick,
                                  isLasting ? Rank::noteOff : Rank::noteOn,
                                  event.firstByte + kNoteMessageSize, kNoteMessageSize);
        }
        std::sort(messages.begin(), messages.end());
        return true;
    }

    bool mIsTempoTrack;
    std::vector<Event> mEvents; ///< in the order in which they were added
    std::vector<std::uint8_t> mBytes;
};

class MusicSequenceObject {
public:
    MusicSequenceObject() {
        mTracks.push_back(std::make_unique<MusicTrackObject>(true));
        ++gLiveSequences;
    }
    ~MusicSequenceObject() { --gLiveSequences; }
    MusicSequenceObject(const MusicSequenceObject&) = delete;
    MusicSequenceObject& operator=(const MusicSequenceObject&) = delete;

    [[nodiscard]] MusicTrack tempoTrack() const { return mTracks.front().get(); }
    /// The tempo track counts as one.
    [[nodiscard]] std::size_t trackCount() const { return mTracks.size(); }
    MusicTrack addTrack() { return mTracks.emplace_back(std::make_unique<MusicTrackObject>(false)).get(); }

    MusicStatus appendFile(std::vector<std::uint8_t>& file, int resolution) const {
        file.insert(file.end(), {'M', 'T', 'h', 'd'});
        appendBigEndian(file, 6, 4);
        appendBigEndian(file, 1, 2); // format 1: simultaneous tracks
        appendBigEndian(file, mTracks.size(), 2);
        appendBigEndian(file, static_cast<std::uint64_t>(resolution), 2);
        for (const auto& track : mTracks) {
            if (const MusicStatus status = track->appendChunk(file, resolution))
                return status;
        }
        return kMusicSuccess;
    }

private:
    std::vector<std::unique_ptr<MusicTrackObject>> mTracks; ///< the tempo track first
};

MusicStatus NewMusicSequence(MusicSequence* sequence) {
    if (const MusicStatus status = injectedFault("NewMusicSequence"))
        return status;
    if (!sequence)
        return kMusicInvalidArgument;
    *sequence = new MusicSequenceObject;
    return kMusicSuccess;
}

MusicStatus DisposeMusicSequence(MusicSequence sequence) {
    if (const MusicStatus status = injectedFault("DisposeMusicSequence"))
        return status;
    if (!sequence)
        return kMusicInvalidArgument;
    delete sequence;
    return kMusicSuccess;
}

MusicStatus MusicSequenceGetTempoTrack(MusicSequence sequence, MusicTrack* track) {
    if (const MusicStatus status = injectedFault("MusicSequenceGetTempoTrack"))
        return status;
    if (!sequence || !track)
        return kMusicInvalidArgument;
    *track = sequence->tempoTrack();
    return kMusicSuccess;
}

MusicStatus MusicSequenceNewTrack(MusicSequence sequence, MusicTrack* track) {
    if (const MusicStatus status = injectedFault("MusicSequenceNewTrack"))
        return status;
    if (!sequence || !track)
        return kMusicInvalidArgument;
    if (sequence->trackCount() == kLargestTrackCount)
        return kMusicTooLarge;
    *track = sequence->addTrack();
    return kMusicSuccess;
}

MusicStatus MusicTrackNewExtendedTempoEvent(MusicTrack track, double timeStamp, double beatsPerMinute) {
    if (const MusicStatus status = injectedFault("MusicTrackNewExtendedTempoEvent"))
        return status;
    // The comparisons are false for a tempo that is not a number.
    const double microseconds = std::round(60e6 / beatsPerMinute);
    if (!track || !track->isTempoTrack() || !isPosition(timeStamp) ||
        !(microseconds >= 1 && microseconds <= 0xFFFFFF))
        return kMusicInvalidArgument;
    std::vector<std::uint8_t> data;
    appendBigEndian(data, static_cast<std::uint64_t>(microseconds), 3);
    return statusOf(track->addMeta(timeStamp, kMetaTempo, data));
}

MusicStatus MusicTrackNewMetaEvent(MusicTrack track, double timeStamp, const MIDIMetaEvent* event) {
    if (const MusicStatus status = injectedFault("MusicTrackNewMetaEvent"))
        return status;
    if (!track || !isPosition(timeStamp) || !event || event->metaEventType > 127 ||
        event->metaEventType == kMetaEndOfTrack)
        return kMusicInvalidArgument;
    if (event->data.size() > static_cast<std::size_t>(kLargestDelta))
        return kMusicTooLarge;
    return statusOf(track->addMeta(timeStamp, event->metaEventType, event->data));
}

MusicStatus MusicTrackNewMIDIChannelEvent(MusicTrack track, double timeStamp,
                                          const MIDIChannelMessage* message) {
    if (const MusicStatus status = injectedFault("MusicTrackNewMIDIChannelEvent"))
        return status;
    if (!track || !isPosition(timeStamp) || !message || message->status < 0x80 || message->status > 0xEF ||
        message->data1 > 127 || message->data2 > 127)
        return kMusicInvalidArgument;
    const int kind = message->status & 0xF0;
    const bool hasOneDataByte = kind == 0xC0 || kind == 0xD0; // program change, channel pressure
    return statusOf(hasOneDataByte
                        ? track->addMessage(timeStamp, {message->status, message->data1})
                        : track->addMessage(timeStamp, {message->status, message->data1, message->data2}));
}

MusicStatus MusicTrackNewMIDINoteEvent(MusicTrack track, double timeStamp, const MIDINoteMessage* message) {
    if (const MusicStatus status = injectedFault("MusicTrackNewMIDINoteEvent"))
        return status;
    if (!track || !isPosition(timeStamp) || !message || message->channel > 15 || message->note > 127 ||
        message->velocity > 127 || message->releaseVelocity > 127 || !isPosition(message->duration))
        return kMusicInvalidArgument;
    return statusOf(track->addNote(timeStamp, *message));
}

MusicStatus MusicSequenceFileCreate(MusicSequence sequence, const std::filesystem::path& file,
                                    MusicSequenceFileType type, unsigned flags, std::int16_t resolution) {
    if (const MusicStatus status = injectedFault("MusicSequenceFileCreate"))
        return status;
    if (!sequence || type != MusicSequenceFileType::midi || resolution < 0)
        return kMusicInvalidArgument;
    std::error_code ignored; // What cannot be examined cannot be written either.
    if (!(flags & kMusicSequenceFileFlagsEraseFile) && std::filesystem::exists(file, ignored))
        return kMusicFileError;
    std::vector<std::uint8_t> bytes;
    if (const MusicStatus status = sequence->appendFile(bytes, resolution ? resolution : kDefaultResolution))
        return status;
    return FileManager::writeAtomically(std::as_bytes(std::span(bytes)), file) ? kMusicSuccess
                                                                               : kMusicFileError;
}

void setMusicSequenceFault(MusicSequenceFault fault) {
    gFault = fault;
}

std::size_t liveMusicSequenceCount() {
    return gLiveSequences;
}

} // namespace tarn
