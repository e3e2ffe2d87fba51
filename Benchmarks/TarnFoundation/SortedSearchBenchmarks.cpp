#include "TarnFoundation/SortedSearch.h"
#include "TarnFoundation/UserEntries/EntryList.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <functional>
#include <random>

/// Searches in a list of 1,000,000 beats for samples drawn at random, against the standard library's upper
/// bound with a projection over the same list and samples. The tempo wanders and each beat is a little early
/// or late, as in a recording: evenly spaced beats would flatter a search that guesses.
namespace tarn {
namespace {

constexpr std::int64_t kBeats = 1'000'000;
constexpr std::int64_t kSpacing = 11025;

const EntryList<TarnBeatEntry>& beats() {
    static const EntryList<TarnBeatEntry> list = [] {
        std::vector<std::shared_ptr<TarnBeatEntry>> entries;
        std::mt19937_64 random(2);
        std::normal_distribution<double> wander(0, 0.01);
        std::uniform_real_distribution<double> jitter(-0.1, 0.1);
        double tempo = 1;
        double location = 0;
        for (std::int64_t i = 0; i < kBeats; ++i) {
            entries.push_back(std::make_shared<TarnBeatEntry>(static_cast<std::uint64_t>(i)));
            entries.back()->setLocation(static_cast<std::int64_t>(location + jitter(random) * kSpacing));
            tempo = std::clamp(tempo + wander(random), 0.5, 2.0);
            location += kSpacing / tempo;
            entries.back()->setDownbeat(i % 8 == 0);
        }
        return entries;
    }();
    return list;
}

const std::vector<std::int64_t>& samples() {
    static const std::vector<std::int64_t> drawn = [] {
        std::mt19937_64 random(1);
        std::uniform_int_distribution<std::int64_t> sample(0, beats().back()->location());
        std::vector<std::int64_t> values(1 << 16);
        std::generate(values.begin(), values.end(), [&] { return sample(random); });
        return values;
    }();
    return drawn;
}

template <typename Search>
void searchInMillionBeats(benchmark::State& state, Search search) {
    const auto& list = beats();
    const auto& wanted = samples();
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(search(list, wanted[i]));
        i = (i + 1) % wanted.size();
    }
}

BENCHMARK_CAPTURE(searchInMillionBeats, baseline_upper_bound, [](const auto& list, std::int64_t sample) {
    return std::ranges::upper_bound(list, sample, {}, [](const auto& beat) { return beat->location(); });
});
BENCHMARK_CAPTURE(searchInMillionBeats, indexForSample,
                  [](const auto& list, std::int64_t sample) { return indexForSample(list, sample); });
BENCHMARK_CAPTURE(searchInMillionBeats, indexOfElementPast,
                  [](const auto& list, std::int64_t sample) { return indexOfElementPast(list, sample); });
BENCHMARK_CAPTURE(searchInMillionBeats, indexOfElementBefore,
                  [](const auto& list, std::int64_t sample) { return indexOfElementBefore(list, sample); });
BENCHMARK_CAPTURE(searchInMillionBeats, indexOfClosestEntry,
                  [](const auto& list, std::int64_t sample) { return indexOfClosestEntry(list, sample); });
BENCHMARK_CAPTURE(searchInMillionBeats, indexOfDownbeatEntryBefore,
                  [](const auto& list, std::int64_t sample) {
                      return indexOfDownbeatEntryBefore(list, sample);
                  });
BENCHMARK_CAPTURE(searchInMillionBeats, rangeForEntry, [](const auto& list, std::int64_t sample) {
    return rangeForEntry(list, *list.begin()[sample % kBeats]);
});

} // namespace
} // namespace tarn
