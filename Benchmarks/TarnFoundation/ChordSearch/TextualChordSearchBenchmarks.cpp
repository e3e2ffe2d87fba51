#include "TarnFoundation/ChordSearch/TextualChordSearch.h"

#include <benchmark/benchmark.h>

namespace tarn {
namespace {

// What any search that offers the whole table has to do: make 45 chords and wrap them.
void makeResults(benchmark::State& state) {
    const KELPChordIntervals& majorTriad = *KELPChordIntervalsWithID(1);
    for (auto _ : state) {
        ChordDetectionResultArray results;
        for (int i = 0; i < 45; ++i)
            results.push_back(KELPChordDetectionResult::resultForChord(
                KELPChord::chordWithRoot(KELPNote(), majorTriad), ChordDetectionResults::kScoreOfTypedChord));
        benchmark::DoNotOptimize(results);
    }
}
BENCHMARK(makeResults)->Unit(benchmark::kMicrosecond);

void searchTypedText(benchmark::State& state, const char* text) {
    for (auto _ : state)
        benchmark::DoNotOptimize(ChordDetectionResults::_arrayWithChordsMatchingSearchString(text));
}
BENCHMARK_CAPTURE(searchTypedText, root, "C")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(searchTypedText, quality, "F#m7")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(searchTypedText, noQuality, "Cfoo")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(searchTypedText, inversions, "G7/")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(searchTypedText, qualityAndBass, "Bbm/f")->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace tarn
