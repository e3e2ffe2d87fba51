// What the API answers about sound: streams, count-ins and chords.
#include "KELPMusic/ChordFingerings.h"
#include "Pictures/PictureText.h"
#include "Platform/PlainText.h"
#include "PracticePage/CountIn.h"
#include "PracticePage/PageAnswers.h"
#include "PracticePage/PracticeCall.h"
#include "PracticePage/RequestValues.h"
#include "PracticePage/SoundFormat.h"

#include <algorithm>

namespace tarn {
namespace {

/// Throws RequestRefused (400) for what is no passage of the song.
PlayedPassage passageIn(const json& body, const Song& song) {
    PlayedPassage passage;
    const std::int64_t length = song.recording.frameCount;
    passage.from = wholeMember(body, "from", 0, length);
    if (const auto loop = body.find("loop"); loop != body.end() && !loop->is_null()) {
        const json ends = loop->is_array() && loop->size() == 2
                              ? json{{"start", (*loop)[0]}, {"end", (*loop)[1]}}
                              : json::object();
        const auto shortest =
            static_cast<std::int64_t>(LoopedSound::kShortestLoop * song.recording.sampleRate) + 1;
        const auto start = wholeMember(ends, "start", 0, kFarthestFrame);
        const auto end = std::min(wholeMember(ends, "end", start + shortest, kFarthestFrame), length);
        if (end < start + shortest)
            throw RequestRefused(400, "The loop lies after the song's end.");
        passage.loop = Range(start, end);
    }
    if (const auto to = body.find("to"); to != body.end() && !to->is_null())
        passage.to = wholeMember(body, "to", passage.from, kFarthestFrame);
    return passage;
}

std::string bytesOf(const std::vector<std::int16_t>& samples) {
    std::string bytes;
    bytes.reserve(2 * samples.size());
    for (const std::int16_t sample : samples) {
        const auto bits = static_cast<std::uint16_t>(sample);
        bytes += {static_cast<char>(bits & 0xFF), static_cast<char>(bits >> 8)};
    }
    return bytes;
}

constexpr std::size_t kLongestChordName = 64;
constexpr std::size_t kMostFingerings = 4;

json notesOf(const std::vector<KELPPitchRef>& pitches) {
    auto notes = json::array();
    for (const auto& pitch : pitches)
        notes.push_back(pitch->midiNote());
    return notes;
}

/// What sounds, from the lowest note.
json notesOf(const ChordFingering& fingering, const KELPStringedInstrumentDescription& instrument) {
    std::vector<std::int64_t> notes;
    for (std::size_t string = 0; string < fingering.frets.size(); ++string) {
        if (fingering.frets[string] >= 0)
            notes.push_back(instrument.tuning()[string]->semitones() + fingering.frets[string]);
    }
    std::ranges::sort(notes);
    return notes;
}

/// Null for a piano.
KELPInstrumentRef instrumentIn(const HTTPRequest& request) {
    const auto name = request.argument("instrument");
    if (name == "piano")
        return nullptr;
    for (const char* known : {"Guitar", "Ukulele", "Bass"}) {
        if (name == lowerCased(known))
            return KELPStringedInstrumentDescription::presetNamed(known);
    }
    throw RequestRefused(400, "The instrument is guitar, ukulele, bass or piano.");
}

HTTPResponse blockAnswer(const SoundBlock& block) {
    HTTPResponse response{200, "application/octet-stream", bytesOf(block.samples)};
    auto segments = json::array();
    for (const SoundSegment& segment : block.segments)
        segments.push_back({segment.sample, segment.songFrame, segment.framesPerSample});
    response.headers.emplace_back("X-Tarn-Segments", segments.dump());
    if (block.isLast)
        response.headers.emplace_back("X-Tarn-Last", "1");
    return response;
}

} // namespace

HTTPResponse PracticeAPI::newStream(const Call& call) {
    auto& session = call.song();
    const auto body = objectIn(call.request.body);
    const auto view = session.view();
    const auto passage = passageIn(body, *view.song);
    SoundChange change;
    change.speed = numberMember(body, "speed", 0.25, 2, 1);
    change.semitones = numberMember(body, "semitones", -24, 24, 0);
    std::string reason;
    auto reader = session.recording().open(&reason);
    if (!reader)
        return errorAnswer(409, reason);
    auto stream = std::make_unique<SoundStream>(std::move(reader), passage, change,
                                                soundRateFor(view.song->recording.sampleRate));
    json answer{{"sampleRate", stream->sampleRate()},
                {"channels", stream->channelCount()},
                {"blockFrames", stream->blockFrames()}};
    answer["stream"] = mStreams.add(std::move(stream));
    return jsonAnswer(answer);
}

HTTPResponse PracticeAPI::streamBlock(const Call& call) {
    const auto number = wholeNumber(call.places[1], "block", 0, kFarthestFrame);
    HTTPResponse response = errorAnswer(404, "There is no such stream.");
    mStreams.use(call.places[0], [&](SoundStream& stream) {
        const SoundBlock* const block = stream.block(number);
        response = block ? blockAnswer(*block) : errorAnswer(409, "Blocks are given one after another.");
    });
    return response;
}

HTTPResponse PracticeAPI::endStream(const Call& call) {
    mStreams.remove(call.places[0]);
    return jsonAnswer(json::object());
}

HTTPResponse PracticeAPI::countIn(const Call& call) {
    const auto view = call.song().view();
    const auto at = wholeArgument(call.request, "at", 0, kFarthestFrame);
    const auto bars = static_cast<int>(wholeArgument(call.request, "bars", 1, 2));
    auto beats = json::array();
    for (const CountInBeat& beat : countInBefore(*view.song, at, bars))
        beats.push_back({{"before", beat.before}, {"downbeat", beat.isDownbeat}});
    return jsonAnswer({{"beats", std::move(beats)}});
}

HTTPResponse PracticeAPI::chord(const Call& call) {
    const auto name = call.request.argument("name").value_or("");
    const auto chord = name.size() <= kLongestChordName ? KELPChord::chordWithString(name) : nullptr;
    if (!chord)
        throw RequestRefused(404, "There is no such chord.");
    const auto instrument = instrumentIn(call.request);
    json answer{{"name", typesetChord(chord->string())},
                {"fingerings", json::array()},
                {"notes", notesOf(chord->pitchesAtOctave(instrument ? 3 : 4))}};
    if (instrument) {
        const auto fingerings = chordFingerings(*chord, *instrument, kMostFingerings);
        for (const ChordFingering& fingering : fingerings)
            answer["fingerings"].push_back({{"baseFret", fingering.baseFret}, {"frets", fingering.frets}});
        if (!fingerings.empty())
            answer["notes"] = notesOf(fingerings.front(), *instrument);
    }
    return jsonAnswer(answer);
}

} // namespace tarn
