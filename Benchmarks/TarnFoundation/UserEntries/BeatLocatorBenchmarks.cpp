#include "TarnFoundation/UserEntries/TarnBeatLocator.h"

#include <benchmark/benchmark.h>

/// Updating a beat locator from a document of 100,000 beats, against one copy of the list of beats.
namespace tarn {
namespace {

constexpr std::int64_t kBeats = 100'000;

std::shared_ptr<TarnNoteEntryStorage> documentOfBeats(std::uint8_t denominator) {
    auto storage = std::make_shared<TarnNoteEntryStorage>();
    std::vector<std::shared_ptr<TarnBeatEntry>> beats;
    for (std::int64_t i = 0; i < kBeats; ++i) {
        beats.push_back(storage->newBeatEntry());
        beats.back()->setLocation(i * 11025);
        beats.back()->setDownbeat(i % 8 == 0);
    }
    storage->setTimeSignature(4, denominator);
    storage->addBeatEntriesFromArray(beats);
    return storage;
}

void baselineCopyOfTheList(benchmark::State& state) {
    const auto beats = documentOfBeats(8)->beatEntries();
    for (auto _ : state)
        benchmark::DoNotOptimize(beats.copy());
}
BENCHMARK(baselineCopyOfTheList)->Unit(benchmark::kMicrosecond);

void updateBeatLocator(benchmark::State& state) {
    const auto storage = documentOfBeats(static_cast<std::uint8_t>(state.range(0)));
    TarnBeatLocator locator;
    for (auto _ : state)
        locator.updateWithNoteEntryStorage(*storage);
}
BENCHMARK(updateBeatLocator)->ArgName("denominator")->Arg(8)->Arg(4)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace tarn
