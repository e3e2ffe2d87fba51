#include "TarnFoundation/MIDIExport/MIDIExport.h"
#include "TarnFoundation/MIDIExport/MIDIExportTimeline.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>

#ifdef TARN_HAS_LIBSMF
#include <smf.h>
#endif

namespace tarn {
namespace {

constexpr double kSampleRate = 44100;

const std::filesystem::path& outputFile() {
    static const std::filesystem::path file =
        std::filesystem::temp_directory_path() / "tarn-midi-export-benchmark.mid";
    return file;
}

/// Four notes per beat, entered in any order, on a grid of slightly uneven beats.
std::shared_ptr<TarnNoteEntryStorage> documentWithNotes(std::int64_t count) {
    std::mt19937 random(1);
    const auto document = std::make_shared<TarnNoteEntryStorage>();
    std::vector<std::shared_ptr<TarnBeatEntry>> beats;
    std::int64_t frame = 11025;
    for (std::int64_t i = 0; i < count / 4 + 1; ++i) {
        beats.push_back(document->newBeatEntry());
        beats.back()->setLocation(frame);
        beats.back()->setDownbeat(i % 8 == 0);
        frame += 11000 + static_cast<std::int64_t>(random() % 50);
    }
    document->addBeatEntriesFromArray(std::move(beats));
    std::vector<std::shared_ptr<TarnNoteEntry>> notes;
    for (std::int64_t i = 0; i < count; ++i) {
        const auto note = document->newNoteEntry();
        note->setLocation(static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(frame)));
        note->setLength(2000 + random() % 20000);
        note->setPitch(KELPPitch::pitchWithNote(KELPNote::noteWithValue(static_cast<int>(random() % 12)),
                                                1 + static_cast<int>(random() % 7)));
        notes.push_back(note);
    }
    document->addNoteEntriesFromArray(std::move(notes));
    return document;
}

/// The whole export: document to file.
void exportNotes(benchmark::State& state) {
    const auto document = documentWithNotes(state.range(0));
    const UserInfo options{{TarnNoteEntryStorageMIDIExportNotesOptionKey, true},
                           {TarnNoteEntryStorageMIDITimingOptionKey, MIDIExportTiming::followSongTempo}};
    for (auto _ : state)
        document->exportToMIDIFile(outputFile(), kSampleRate, options);
    state.SetItemsProcessed(state.iterations() * state.range(0));
    std::filesystem::remove(outputFile());
}
BENCHMARK(exportNotes)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

#ifdef TARN_HAS_LIBSMF
/// What a general MIDI file library needs to write as many notes whose ticks are already known, without a
/// document, a tempo map and note clean-up.
void writeNotesWithLibsmf(benchmark::State& state) {
    struct Message {
        int tick, status, key, velocity;
    };
    std::mt19937 random(1);
    std::vector<Message> messages;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        const int tick = static_cast<int>(random() % static_cast<std::uint64_t>(state.range(0) * 60));
        const int key = static_cast<int>(24 + random() % 84);
        messages.push_back({tick, 0x90, key, 127});
        messages.push_back({tick + 40 + static_cast<int>(random() % 400), 0x80, key, 0});
    }
    const auto byTick = [](const Message& a, const Message& b) { return a.tick < b.tick; };
    for (auto _ : state) {
        auto sorted = messages; // its own sorting is done again for every event
        std::stable_sort(sorted.begin(), sorted.end(), byTick);
        smf_t* file = smf_new();
        if (smf_set_ppqn(file, 480) != 0)
            state.SkipWithError("no resolution");
        smf_track_t* track = smf_track_new();
        smf_add_track(file, track);
        for (const Message& message : sorted)
            smf_track_add_event_pulses(
                track, smf_event_new_from_bytes(message.status, message.key, message.velocity), message.tick);
        if (smf_save(file, outputFile().c_str()) != 0)
            state.SkipWithError("the file cannot be written");
        smf_delete(file);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    std::filesystem::remove(outputFile());
}
BENCHMARK(writeNotesWithLibsmf)->Arg(10'000)->Unit(benchmark::kMillisecond); // takes the square of the count
#endif

} // namespace
} // namespace tarn
