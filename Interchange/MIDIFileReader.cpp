#include "Interchange/MIDIFileReader.h"

#include "Interchange/MIDIMeta.h"
#include "Platform/FatalError.h"

#include <algorithm>
#include <array>
#include <deque>
#include <map>
#include <string_view>
#include <tuple>

namespace tarn {
namespace {

constexpr std::uint8_t kSystemExclusive = 0xF0;
constexpr std::uint8_t kSystemExclusiveContinued = 0xF7;
constexpr std::uint8_t kMeta = 0xFF;
constexpr std::uint32_t kDefaultMicrosecondsPerQuarterNote = 500'000;

/// Takes numbers and stretches from the beginning of bytes; what is not there throws.
class ByteReader {
public:
    explicit ByteReader(std::span<const std::byte> bytes) : mBytes(bytes) {}

    [[nodiscard]] bool isAtEnd() const { return mBytes.empty(); }
    [[nodiscard]] std::uint8_t peek() const {
        if (mBytes.empty())
            throw MIDIFileError("it breaks off");
        return std::to_integer<std::uint8_t>(mBytes.front());
    }
    std::uint8_t byte() {
        const std::uint8_t value = peek();
        mBytes = mBytes.subspan(1);
        return value;
    }
    std::uint32_t bigEndian(int count) {
        std::uint32_t value = 0;
        for (int i = 0; i < count; ++i)
            value = value << 8 | byte();
        return value;
    }
    /// Seven bits a byte, at most four bytes.
    std::uint32_t variableLength() {
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i) {
            const std::uint8_t next = byte();
            value = value << 7 | (next & 0x7Fu);
            if (next < 0x80)
                return value;
        }
        throw MIDIFileError("it holds a number of more than four bytes");
    }
    std::uint8_t dataByte() {
        const std::uint8_t value = byte();
        if (value >= 0x80)
            throw MIDIFileError("it holds a status byte where a value belongs");
        return value;
    }
    std::span<const std::byte> take(std::size_t count) {
        if (count > mBytes.size())
            throw MIDIFileError("it breaks off");
        const auto taken = mBytes.first(count);
        mBytes = mBytes.subspan(count);
        return taken;
    }
    bool takeTag(std::string_view tag) {
        const auto name = take(tag.size());
        return std::equal(name.begin(), name.end(), tag.begin(),
                          [](std::byte b, char c) { return std::to_integer<char>(b) == c; });
    }

private:
    std::span<const std::byte> mBytes;
};

/// How many values follow a channel message's status.
int dataByteCount(std::uint8_t status) {
    const int kind = status >> 4;
    return kind == 0xC || kind == 0xD ? 1 : 2;
}

/// Pairs the beginnings and ends of one track's notes.
class NotePairing {
public:
    NotePairing(std::vector<MIDIFileNote>& notes, std::size_t track) : mNotes(notes), mTrack(track) {}

    void begin(std::uint64_t tick, std::uint8_t channel, std::uint8_t note) {
        mSounding[{channel, note}].push_back(mNotes.size());
        mNotes.push_back({tick, tick, channel, note, mTrack});
    }
    /// An end without a beginning is passed over.
    void end(std::uint64_t tick, std::uint8_t channel, std::uint8_t note) {
        const auto found = mSounding.find({channel, note});
        if (found == mSounding.end() || found->second.empty())
            return;
        mNotes[found->second.front()].end = tick;
        found->second.pop_front();
    }
    void endAll(std::uint64_t tick) {
        for (auto& [key, indices] : mSounding) {
            for (const std::size_t index : indices)
                mNotes[index].end = tick;
        }
    }

private:
    std::vector<MIDIFileNote>& mNotes;
    std::size_t mTrack;
    std::map<std::pair<std::uint8_t, std::uint8_t>, std::deque<std::size_t>> mSounding;
};

/// Ticks per second of a division by time code: minus the frames per second in the high byte, ticks per frame
/// in the low one. 29 stands for 30 frames with some left out, 29.97 a second.
double ticksPerSecond(std::uint16_t division) {
    const int framesPerSecond = 256 - (division >> 8);
    const int ticksPerFrame = division & 0xFF;
    if ((framesPerSecond != 24 && framesPerSecond != 25 && framesPerSecond != 29 && framesPerSecond != 30) ||
        ticksPerFrame == 0)
        throw MIDIFileError("its time division is not valid");
    constexpr double kDropFrameRate = 30'000.0 / 1'001.0;
    return (framesPerSecond == 29 ? kDropFrameRate : framesPerSecond) * ticksPerFrame;
}

} // namespace

MIDIFile::MIDIFile(std::span<const std::byte> bytes) {
    ByteReader reader(bytes);
    if (bytes.size() < 4 || !reader.takeTag("MThd"))
        throw MIDIFileError("it is not a Standard MIDI File");
    ByteReader header(reader.take(reader.bigEndian(4)));
    const std::uint32_t format = header.bigEndian(2);
    std::uint32_t remainingTracks = header.bigEndian(2);
    const auto division = static_cast<std::uint16_t>(header.bigEndian(2));
    if (format > 1)
        throw MIDIFileError("its tracks are songs of their own (format " + std::to_string(format) +
                            "); save it as format 0 or 1");
    if (division >= 0x8000)
        mTicksPerSecond = ticksPerSecond(division);
    else if (division == 0)
        throw MIDIFileError("its time division is not valid");
    else
        mTicksPerQuarterNote = division;

    std::vector<TempoChange> tempoChanges;
    while (remainingTracks > 0 && !reader.isAtEnd()) {
        const bool isTrack = reader.takeTag("MTrk");
        const auto chunk = reader.take(reader.bigEndian(4));
        if (!isTrack)
            continue;
        readTrack(chunk, tempoChanges);
        --remainingTracks;
    }
    if (remainingTracks > 0)
        throw MIDIFileError("it breaks off");
    makeTempoMap(std::move(tempoChanges));
    sortMetres();
    std::stable_sort(mNotes.begin(), mNotes.end(), [](const MIDIFileNote& a, const MIDIFileNote& b) {
        return std::tie(a.start, a.note, a.channel) < std::tie(b.start, b.note, b.channel);
    });
}

void MIDIFile::readTrack(std::span<const std::byte> track, std::vector<TempoChange>& tempoChanges) {
    ByteReader reader(track);
    NotePairing pairing(mNotes, mTrackNames.size());
    std::string name;
    std::uint64_t tick = 0;         // fewer than 2^28 for each event: no overflow
    std::uint8_t runningStatus = 0; // none
    while (!reader.isAtEnd()) {
        tick += reader.variableLength();
        const bool hasStatus = reader.peek() >= 0x80;
        const std::uint8_t status = hasStatus ? reader.byte() : runningStatus;
        if (status == kMeta) {
            const std::uint8_t type = reader.byte();
            const auto content = reader.take(reader.variableLength());
            ByteReader data(content);
            if (type == MIDIMeta::kEndOfTrack)
                break;
            const std::string_view text(reinterpret_cast<const char*>(content.data()), content.size());
            if (type == MIDIMeta::kTrackName && name.empty())
                name = text;
            if (type == MIDIMeta::kText && text.starts_with(MIDIMark::kPrefix)) {
                const auto mark = mMarks.emplace(text, tick).first;
                mark->second = std::min(mark->second, tick);
            }
            if (type == MIDIMeta::kTempo) {
                // A tempo of nothing would stop the time.
                if (const std::uint32_t microseconds = data.bigEndian(3))
                    tempoChanges.push_back({tick, microseconds});
            }
            if (type == MIDIMeta::kTimeSignature) {
                const int numerator = data.byte();
                const int power = data.byte();
                // A metre without beats, or of notes shorter than any, says nothing.
                if (numerator > 0 && power <= 6)
                    mMetres.push_back({tick, numerator, 1 << power});
            }
            runningStatus = 0;
        } else if (status == kSystemExclusive || status == kSystemExclusiveContinued) {
            (void)reader.take(reader.variableLength());
            runningStatus = 0;
        } else if (status >= 0x80 && status < kSystemExclusive) {
            std::array<std::uint8_t, 2> values{};
            for (int i = 0; i < dataByteCount(status); ++i)
                values[static_cast<std::size_t>(i)] = reader.dataByte();
            runningStatus = status;
            const std::uint8_t channel = status & 0x0F;
            const bool begins = status >> 4 == 0x9 && values[1] > 0;
            const bool ends = status >> 4 == 0x8 || (status >> 4 == 0x9 && values[1] == 0);
            if (begins)
                pairing.begin(tick, channel, values[0]);
            else if (ends)
                pairing.end(tick, channel, values[0]);
        } else {
            throw MIDIFileError("it holds a message that does not belong in a file");
        }
    }
    pairing.endAll(tick);
    mTrackNames.push_back(std::move(name));
    mEnd = std::max(mEnd, tick);
}

void MIDIFile::makeTempoMap(std::vector<TempoChange> changes) {
    if (!hasQuarterNotes()) {
        mTempoMap = {{0, 0, 1 / mTicksPerSecond}};
        return;
    }
    std::stable_sort(changes.begin(), changes.end(),
                     [](const TempoChange& a, const TempoChange& b) { return a.tick < b.tick; });
    const auto secondsPerTick = [&](std::uint32_t microseconds) {
        return microseconds * 1e-6 / mTicksPerQuarterNote;
    };
    mTempoMap = {{0, 0, secondsPerTick(kDefaultMicrosecondsPerQuarterNote)}};
    for (const TempoChange& change : changes)
        mTempoMap.push_back(
            {change.tick, seconds(change.tick), secondsPerTick(change.microsecondsPerQuarterNote)});
}

void MIDIFile::sortMetres() {
    std::stable_sort(mMetres.begin(), mMetres.end(),
                     [](const MIDIFileMetre& a, const MIDIFileMetre& b) { return a.tick < b.tick; });
    std::vector<MIDIFileMetre> distinct(1);
    for (const MIDIFileMetre& metre : mMetres) {
        if (distinct.back().tick == metre.tick)
            distinct.back() = metre;
        else
            distinct.push_back(metre);
    }
    mMetres = std::move(distinct);
}

std::optional<std::uint64_t> MIDIFile::mark(std::string_view text) const {
    const auto found = mMarks.find(text);
    return found == mMarks.end() ? std::nullopt : std::optional(found->second);
}

std::uint64_t MIDIFile::firstBar() const {
    if (const auto marked = mark(MIDIMark::kFirstBar))
        return *marked;
    if (const auto marked = mark(MIDIMark::kFirstBeat)) // without bars
        return *marked;
    if (!hasQuarterNotes() || mMetres.size() < 2)
        return 0;
    const auto ticksPerBar = [&](const MIDIFileMetre& metre) {
        return metre.numerator * ticksPerNote(metre.denominator);
    };
    const bool isPickup = static_cast<double>(mMetres[1].tick) <= ticksPerBar(mMetres[0]) &&
                          static_cast<double>(mMetres[1].tick) < ticksPerBar(mMetres[1]);
    return isPickup ? mMetres[1].tick : 0;
}

double MIDIFile::ticksPerNote(int denominator) const {
    precondition(hasQuarterNotes(), "The file's ticks do not divide quarter notes");
    return mTicksPerQuarterNote * 4.0 / denominator;
}

double MIDIFile::quarterNotes(std::uint64_t tick) const {
    precondition(hasQuarterNotes(), "The file's ticks do not divide quarter notes");
    return static_cast<double>(tick) / mTicksPerQuarterNote;
}

double MIDIFile::seconds(std::uint64_t tick) const {
    const auto past = std::upper_bound(mTempoMap.begin(), mTempoMap.end(), tick,
                                       [](std::uint64_t t, const Tempo& tempo) { return t < tempo.tick; });
    const Tempo& tempo = *(past - 1); // the first one holds from tick 0
    return tempo.seconds + static_cast<double>(tick - tempo.tick) * tempo.secondsPerTick;
}

} // namespace tarn
