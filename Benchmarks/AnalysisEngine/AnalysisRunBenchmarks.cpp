// Whole runs of the controller with the built-in engine: how long they take, how much memory, and how soon
// they end when they are cancelled.
#include "Platform/FileManager.h"
#include "Tests/AnalysisEngine/AnalyzedSong.h"
#include "Tests/AnalysisEngine/Signals.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <sys/resource.h>
#include <unistd.h>

namespace tarn {
namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// A recording of this many minutes with a click on each beat, and a folder for its caches.
class Recording {
public:
    explicit Recording(std::int64_t minutes)
        : mFolder(std::filesystem::temp_directory_path() / ("tarn-benchmark-" + std::to_string(getpid()))) {
        std::filesystem::create_directories(mFolder);
        FileManager::setCachesDirectory(mFolder);
        Samples round;
        constexpr double kBar = 2;
        const std::vector<std::vector<int>> chords{
            {36, 60, 64, 67}, {33, 60, 64, 69}, {41, 60, 65, 69}, {43, 59, 62, 67}};
        for (int bar = 0; bar < 16; ++bar)
            Synthesizer{}.play(round, bar * kBar, kBar, chords[static_cast<std::size_t>(bar) % 4]);
        for (std::size_t i = 0; i < round.size(); ++i)
            round[i] += i % (kAnalysisRate / 2) < 200 ? (i % 20 < 10 ? 0.4f : -0.4f) : 0.0f;
        SF_INFO info{0, kAnalysisRate, 1, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 0, 0};
        SNDFILE* const file = sf_open(audio().string().c_str(), SFM_WRITE, &info);
        precondition(file != nullptr, "The recording could not be created.");
        for (std::int64_t left = minutes * 60 * kAnalysisRate; left > 0;
             left -= static_cast<std::int64_t>(round.size()))
            sf_writef_float(file, round.data(), std::min<sf_count_t>(left, std::ssize(round)));
        sf_close(file);
    }
    ~Recording() {
        FileManager::setCachesDirectory({});
        std::filesystem::remove_all(mFolder);
    }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    [[nodiscard]] std::filesystem::path audio() const { return mFolder / "song.wav"; }
    void removeCaches() const { std::filesystem::remove_all(mFolder / "Tarn"); }

private:
    std::filesystem::path mFolder;
};

void analyze(benchmark::State& state) {
    const Recording recording(state.range(0));
    for (auto _ : state) {
        recording.removeCaches();
        AnalyzedSong song(recording.audio());
        if (!song.begin())
            state.SkipWithError("the recording is refused");
        song.finish();
        if (song.storage->chordEntries().empty())
            state.SkipWithError("no chords are found");
    }
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const double hours = static_cast<double>(state.range(0)) / 60;
    state.counters["seconds per hour"] =
        benchmark::Counter(hours * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    // Of the process so far: to be read where the longest recording is the only one.
    state.counters["peak MiB"] = static_cast<double>(usage.ru_maxrss) / 1024;
}
BENCHMARK(analyze)
    ->ArgName("minutes")
    ->Arg(5)
    ->Arg(600)
    ->Unit(benchmark::kSecond)
    ->UseRealTime()
    ->Iterations(1);

/// One stage at a time: the seconds during which the progress names each.
void stages(benchmark::State& state) {
    const Recording recording(state.range(0));
    for (auto _ : state) {
        recording.removeCaches();
        AnalyzedSong song(recording.audio());
        song.begin(1);
        auto last = Clock::now();
        MainQueue::runUntil([&] {
            state.counters[song.controller->progress()->localizedDescription()] += secondsSince(last);
            last = Clock::now();
            return !song.isRunning();
        });
        song.finish();
    }
}
BENCHMARK(stages)->ArgName("minutes")->Arg(4)->Unit(benchmark::kSecond)->UseRealTime()->Iterations(1);

/// Each iteration cancels a run a little later than the one before, from its beginning to its end.
void cancel(benchmark::State& state) {
    const Recording recording(state.range(0));
    const auto start = Clock::now();
    {
        AnalyzedSong song(recording.audio());
        song.begin();
        song.finish();
    }
    const double whole = secondsSince(start);
    double worst = 0, worstAt = 0;
    std::string worstDuring;
    std::int64_t point = 0;
    for (auto _ : state) {
        recording.removeCaches();
        AnalyzedSong song(recording.audio());
        const auto begun = Clock::now();
        const double at = whole * static_cast<double>(point++) / static_cast<double>(state.max_iterations);
        song.begin();
        MainQueue::runUntil([&] { return secondsSince(begun) >= at; });
        const std::string during = song.controller->progress()->localizedDescription();
        const auto cancelled = Clock::now();
        song.controller->cancelProcessing();
        song.finish();
        const double latency = secondsSince(cancelled);
        state.SetIterationTime(latency);
        if (latency > worst) {
            worst = latency;
            worstAt = at / whole;
            worstDuring = during;
        }
    }
    state.counters["worst ms"] = 1000 * worst;
    state.counters["worst at"] = worstAt;
    state.SetLabel(worstDuring);
}
BENCHMARK(cancel)
    ->ArgName("minutes")
    ->Arg(10)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(100);
} // namespace
} // namespace tarn
