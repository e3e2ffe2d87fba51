#include "Platform/KeyedArchive.h"
#include "Tests/Platform/ArchivedSong.h"

#include <benchmark/benchmark.h>

#ifdef TARN_HAS_LIBPLIST
#include <plist/plist.h>
#endif

namespace tarn {
namespace {

using namespace archived;

std::shared_ptr<Song> songOfBeats(std::int64_t count) {
    registerClasses();
    auto song = std::make_shared<Song>();
    for (std::int64_t i = 0; i < count; ++i) {
        auto beat = makeMark<Beat>(static_cast<std::uint64_t>(i), i * 22050);
        beat->downbeat = i % 4 == 0;
        song->marks.push_back(std::move(beat));
    }
    return song;
}

void encodeBeats(benchmark::State& state) {
    const auto song = songOfBeats(state.range(0));
    std::size_t size = 0;
    for (auto _ : state) {
        const Data bytes = KeyedArchiver::archivedData(song);
        size = bytes.size();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["bytes per beat"] = static_cast<double>(size) / static_cast<double>(state.range(0));
}
BENCHMARK(encodeBeats)->Arg(2'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

void decodeBeats(benchmark::State& state) {
    const Data bytes = KeyedArchiver::archivedData(songOfBeats(state.range(0)));
    for (auto _ : state) {
        const auto song = KeyedUnarchiver::unarchivedObject<Song>(bytes);
        if (!song)
            state.SkipWithError("the archive does not decode");
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(decodeBeats)->Arg(2'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

#ifdef TARN_HAS_LIBPLIST
// What a general property-list library needs to parse the same bytes, before any object is made.
void parseBeatsWithLibplist(benchmark::State& state) {
    const Data bytes = KeyedArchiver::archivedData(songOfBeats(state.range(0)));
    for (auto _ : state) {
        plist_t list = nullptr;
        plist_from_bin(reinterpret_cast<const char*>(bytes.data()), static_cast<std::uint32_t>(bytes.size()),
                       &list);
        if (!list)
            state.SkipWithError("the archive does not parse");
        plist_free(list);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(parseBeatsWithLibplist)->Arg(2'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
#endif

} // namespace
} // namespace tarn
