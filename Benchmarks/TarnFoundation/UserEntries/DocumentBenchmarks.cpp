// Editing a document, held against copying its lists of references: what any immutable snapshot costs.
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <benchmark/benchmark.h>

using namespace tarn;

namespace {

using Beats = std::vector<std::shared_ptr<TarnBeatEntry>>;

constexpr std::int64_t kSpacing = 11025;
constexpr std::size_t kBarLength = 8;

Beats makeBeats(TarnNoteEntryStorage& document, std::size_t first, std::size_t count) {
    Beats beats;
    beats.reserve(count);
    for (std::size_t i = first; i < first + count; ++i) {
        beats.push_back(document.newBeatEntry());
        beats.back()->setLocation(std::int64_t(i) * kSpacing);
        beats.back()->setDownbeat(i % kBarLength == 0);
    }
    return beats;
}

/// A song in quarter-note spacing with one observer of its beats.
struct Song {
    std::shared_ptr<TarnNoteEntryStorage> document = std::make_shared<TarnNoteEntryStorage>();
    std::size_t observed = 0;
    NotificationCenter::Token token;

    explicit Song(std::size_t count) {
        document->setTimeSignature(4, 4);
        document->addBeatEntriesFromArray(makeBeats(*document, 0, count));
        token = NotificationCenter::defaultCenter().addObserver(
            BeatKind::kDidChangeNotification, document, nullptr, [this](const Notification& notification) {
                observed +=
                    notification.value<EntryList<TarnBeatEntry>>(TarnNoteEntryStorageAddedEntriesKey)->size();
            });
    }
    ~Song() { NotificationCenter::defaultCenter().removeObserver(token); }
};

void replaceOneBar(benchmark::State& state) {
    Song song(static_cast<std::size_t>(state.range(0)));
    const std::size_t bar = static_cast<std::size_t>(state.range(0)) / 2 / kBarLength * kBarLength;
    Beats current(song.document->beatEntries().begin() + bar,
                  song.document->beatEntries().begin() + bar + kBarLength);
    for (auto _ : state) {
        Beats replacement = makeBeats(*song.document, bar, kBarLength);
        song.document->replaceBeatEntriesInArrayWithBeatEntriesInArray(current, replacement);
        current = std::move(replacement);
    }
    if (song.document->beatEntries().size() != static_cast<std::size_t>(state.range(0)))
        state.SkipWithError("the grid changed its size");
    benchmark::DoNotOptimize(song.observed);
}
BENCHMARK(replaceOneBar)->Arg(2'000)->Arg(100'000);

void copyTheListTwice(benchmark::State& state) {
    const Song song(static_cast<std::size_t>(state.range(0)));
    const auto beats = song.document->beatEntries();
    for (auto _ : state) {
        const Beats first(beats.begin(), beats.end());
        const Beats second(beats.begin(), beats.end());
        benchmark::DoNotOptimize(first.data());
        benchmark::DoNotOptimize(second.data());
    }
}
BENCHMARK(copyTheListTwice)->Arg(2'000)->Arg(100'000)->Arg(1'000'000);

/// The least that an operation can do which looks at each entry: how far it grows from 100,000 to 1,000,000
/// is the machine's share of the growth of the operations below.
void readEveryLocation(benchmark::State& state) {
    const Song song(static_cast<std::size_t>(state.range(0)));
    const auto beats = song.document->beatEntries();
    for (auto _ : state) {
        std::int64_t sum = 0;
        for (const auto& beat : beats)
            sum += beat->location();
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(readEveryLocation)->Arg(100'000)->Arg(1'000'000);

void buildADocumentInOneAdd(benchmark::State& state) {
    for (auto _ : state) {
        const auto document = std::make_shared<TarnNoteEntryStorage>();
        document->addBeatEntriesFromArray(makeBeats(*document, 0, static_cast<std::size_t>(state.range(0))));
        benchmark::DoNotOptimize(document.get());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(buildADocumentInOneAdd)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

void addInOneCall(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto document = std::make_shared<TarnNoteEntryStorage>();
        const Beats beats = makeBeats(*document, 0, static_cast<std::size_t>(state.range(0)));
        state.ResumeTiming();
        document->addBeatEntriesFromArray(beats);
        state.PauseTiming();
        document = nullptr;
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(addInOneCall)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

void removeEverySecondBeat(benchmark::State& state) {
    const auto document = std::make_shared<TarnNoteEntryStorage>();
    const Beats beats = makeBeats(*document, 0, static_cast<std::size_t>(state.range(0)));
    Beats second;
    for (std::size_t i = 1; i < beats.size(); i += 2)
        second.push_back(beats[i]);
    for (auto _ : state) {
        state.PauseTiming();
        document->replaceBeatEntriesInArrayWithBeatEntriesInArray(document->beatEntries(), beats);
        state.ResumeTiming();
        document->removeBeatEntriesInArray(second);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(removeEverySecondBeat)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

void readUnchangedBeats(benchmark::State& state) {
    const Song song(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(song.document->beatEntries().size());
}
BENCHMARK(readUnchangedBeats)->Arg(2'000)->Arg(100'000);

/// Entries of mixed kinds, as a whole document holds them.
std::shared_ptr<TarnNoteEntryStorage> mixedDocument(std::size_t count) {
    const auto document = std::make_shared<TarnNoteEntryStorage>();
    std::vector<std::shared_ptr<TarnNoteEntry>> notes;
    std::vector<std::shared_ptr<TarnChordEntry>> chords;
    std::vector<std::shared_ptr<TarnMarkerEntry>> markers;
    const auto chord = KELPChord::chordWithString("F#m7");
    for (std::size_t i = 0; i < count / 4; ++i) {
        const auto location = std::int64_t(i) * kSpacing;
        notes.push_back(document->newNoteEntry());
        notes.back()->setLocation(location);
        notes.back()->setLength(kSpacing);
        notes.back()->setPitch(
            KELPPitch::pitchWithNote(KELPNote::noteWithValue(int(i % 12)), int(i % 5) + 2));
        chords.push_back(document->newChordEntry());
        chords.back()->setLocation(location);
        chords.back()->setChord(chord);
        markers.push_back(document->newMarkerEntry());
        markers.back()->setLocation(location);
        markers.back()->setName("Marker " + std::to_string(i));
    }
    document->addNoteEntriesFromArray(notes);
    document->addChordEntriesFromArray(chords);
    document->addMarkerEntriesFromArray(markers);
    document->addBeatEntriesFromArray(makeBeats(*document, 0, count - 3 * (count / 4)));
    return document;
}

std::shared_ptr<TarnNoteEntryStorage> beatDocument(std::size_t count) {
    const auto document = std::make_shared<TarnNoteEntryStorage>();
    document->addBeatEntriesFromArray(makeBeats(*document, 0, count));
    return document;
}

template <auto makeDocument>
void encodeDocument(benchmark::State& state) {
    const auto document = makeDocument(static_cast<std::size_t>(state.range(0)));
    std::size_t size = 0;
    for (auto _ : state)
        size = KeyedArchiver::archivedData(document).size();
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["bytesPerEntry"] = static_cast<double>(size) / static_cast<double>(state.range(0));
}
BENCHMARK(encodeDocument<beatDocument>)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(encodeDocument<mixedDocument>)->Arg(100'000)->Unit(benchmark::kMillisecond);

template <auto makeDocument>
void decodeDocument(benchmark::State& state) {
    const auto bytes = KeyedArchiver::archivedData(makeDocument(static_cast<std::size_t>(state.range(0))));
    for (auto _ : state) {
        const auto document = KeyedUnarchiver::unarchivedObject<TarnNoteEntryStorage>(bytes);
        if (!document)
            state.SkipWithError("the archive does not decode");
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(decodeDocument<beatDocument>)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(decodeDocument<mixedDocument>)->Arg(100'000)->Unit(benchmark::kMillisecond);

} // namespace
