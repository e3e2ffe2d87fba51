#include "Interchange/MIDIFileWriter.h"

#include <algorithm>
#include <ostream>

namespace tarn {
namespace {

constexpr std::int64_t kLongestDelta = 0x0FFFFFFF; ///< four bytes of seven bits

void appendBigEndian(std::vector<std::uint8_t>& bytes, std::uint32_t value, int count) {
    for (int shift = 8 * (count - 1); shift >= 0; shift -= 8)
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

/// Seven bits a byte, the highest first; all but the last have the top bit set.
void appendVariableLength(std::vector<std::uint8_t>& bytes, std::uint32_t value) {
    int shift = 21;
    while (shift > 0 && value >> shift == 0)
        shift -= 7;
    for (; shift > 0; shift -= 7)
        bytes.push_back(static_cast<std::uint8_t>(0x80 | (value >> shift & 0x7F)));
    bytes.push_back(static_cast<std::uint8_t>(value & 0x7F));
}

std::vector<std::uint8_t> metaEvent(std::uint8_t type, const std::vector<std::uint8_t>& data) {
    std::vector<std::uint8_t> bytes{0xFF, type};
    appendVariableLength(bytes, static_cast<std::uint32_t>(data.size()));
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

/// A time longer than a delta can say is bridged by empty texts.
void appendDelta(std::vector<std::uint8_t>& bytes, std::int64_t delta) {
    for (; delta > kLongestDelta; delta -= kLongestDelta) {
        appendVariableLength(bytes, kLongestDelta);
        bytes.insert(bytes.end(), {0xFF, MIDIMeta::kText, 0});
    }
    appendVariableLength(bytes, static_cast<std::uint32_t>(delta));
}

void writeBytes(std::ostream& out, const std::vector<std::uint8_t>& bytes) {
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

constexpr int kFacts = 0, kNoteEnds = 1, kNoteBeginnings = 2; // ranks at one tick

} // namespace

void MIDITrack::addText(std::int64_t tick, std::uint8_t type, std::string_view text) {
    constexpr std::size_t kLongestText = 1 << 16; // bytes; names of people's songs do not come near it
    const std::string_view kept = text.substr(0, kLongestText);
    addMeta(tick, type, {kept.begin(), kept.end()});
}

void MIDITrack::addMeta(std::int64_t tick, std::uint8_t type, const std::vector<std::uint8_t>& data) {
    mEvents.push_back({tick, kFacts, metaEvent(type, data)});
}

void MIDITrack::addProgram(std::int64_t tick, std::uint8_t channel, std::uint8_t program) {
    mEvents.push_back({tick, kFacts, {static_cast<std::uint8_t>(0xC0 | channel), program}});
}

void MIDITrack::addNote(std::int64_t start, std::int64_t end, std::uint8_t channel, std::uint8_t note,
                        std::uint8_t velocity) {
    constexpr std::uint8_t kReleaseVelocity = 64; // the standard's value for none
    mEvents.push_back({start, kNoteBeginnings, {static_cast<std::uint8_t>(0x90 | channel), note, velocity}});
    mEvents.push_back({end, kNoteEnds, {static_cast<std::uint8_t>(0x80 | channel), note, kReleaseVelocity}});
}

void MIDITrack::endAt(std::int64_t tick) {
    mEnd = tick;
}

std::vector<std::uint8_t> MIDITrack::chunk() const {
    std::vector<const Event*> inOrder;
    inOrder.reserve(mEvents.size());
    for (const Event& event : mEvents)
        inOrder.push_back(&event);
    std::stable_sort(inOrder.begin(), inOrder.end(), [](const Event* a, const Event* b) {
        return a->tick != b->tick ? a->tick < b->tick : a->rank < b->rank;
    });
    std::vector<std::uint8_t> events;
    std::int64_t now = 0;
    for (const Event* event : inOrder) {
        appendDelta(events, event->tick - now);
        events.insert(events.end(), event->bytes.begin(), event->bytes.end());
        now = event->tick;
    }
    appendDelta(events, std::max<std::int64_t>(mEnd - now, 0));
    const auto end = metaEvent(MIDIMeta::kEndOfTrack, {});
    events.insert(events.end(), end.begin(), end.end());

    std::vector<std::uint8_t> chunk{'M', 'T', 'r', 'k'};
    appendBigEndian(chunk, static_cast<std::uint32_t>(events.size()), 4);
    chunk.insert(chunk.end(), events.begin(), events.end());
    return chunk;
}

void writeMIDIFile(std::ostream& out, const std::vector<MIDITrack>& tracks,
                   std::uint16_t ticksPerQuarterNote) {
    std::vector<std::uint8_t> header{'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 1};
    appendBigEndian(header, static_cast<std::uint32_t>(tracks.size()), 2);
    appendBigEndian(header, ticksPerQuarterNote, 2);
    writeBytes(out, header);
    for (const MIDITrack& track : tracks)
        writeBytes(out, track.chunk());
}

} // namespace tarn
