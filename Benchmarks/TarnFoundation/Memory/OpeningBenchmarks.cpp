// What opening a document takes at its highest beyond the document itself, in file sizes.
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

std::size_t gLive = 0;
std::size_t gPeak = 0;

void* counted(void* memory) {
    if (!memory)
        throw std::bad_alloc();
    gLive += malloc_usable_size(memory);
    gPeak = std::max(gPeak, gLive);
    return memory;
}

void uncounted(void* memory) noexcept {
    gLive -= malloc_usable_size(memory);
    std::free(memory);
}

} // namespace

// Every allocation of this program, which has one thread.
void* operator new(std::size_t size) {
    return counted(std::malloc(size));
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    const auto step = static_cast<std::size_t>(alignment);
    return counted(std::aligned_alloc(step, (size + step - 1) / step * step));
}
void operator delete(void* memory) noexcept {
    uncounted(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    uncounted(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    uncounted(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    uncounted(memory);
}

namespace tarn {
namespace {

void openDocument(benchmark::State& state) {
    const Data bytes = [&] {
        const auto document = std::make_shared<TarnNoteEntryStorage>();
        std::vector<std::shared_ptr<TarnBeatEntry>> beats;
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            beats.push_back(document->newBeatEntry());
            beats.back()->setLocation(i * 11025);
            beats.back()->setDownbeat(i % 8 == 0);
        }
        document->addBeatEntriesFromArray(beats);
        return KeyedArchiver::archivedData(document);
    }();
    const auto file = static_cast<double>(bytes.size());
    for (auto _ : state) {
        const std::size_t before = gLive;
        gPeak = gLive;
        const auto document = KeyedUnarchiver::unarchivedObject<TarnNoteEntryStorage>(bytes);
        if (!document)
            state.SkipWithError("the archive does not decode");
        state.counters["documentInFileSizes"] = static_cast<double>(gLive - before) / file;
        // With the bytes themselves, which are held while they are read.
        state.counters["peakBeyondDocumentInFileSizes"] = 1 + static_cast<double>(gPeak - gLive) / file;
    }
}
BENCHMARK(openDocument)->Arg(2'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace tarn
