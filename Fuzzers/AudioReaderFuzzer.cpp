// Whatever bytes an audio file holds: it is refused, or it yields bounded samples that the feature extraction
// digests.
#include "AnalysisEngine/AudioFeatures.h"
#include "Platform/FatalError.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>

using namespace tarn;

namespace {

/// Ends the reading after this many blocks: small files of long silence must not take the fuzzer's time.
StageMonitor limited(int& blocks) {
    return {[&blocks] { return ++blocks > 64; }, nullptr};
}

/// A file that goes when the process ends.
struct TemporaryFile {
    std::string name = "/tmp/tarn-audio-fuzzer-XXXXXX";

    TemporaryFile() {
        const int file = mkstemp(name.data());
        precondition(file >= 0, "The temporary file could not be created.");
        close(file);
    }
    ~TemporaryFile() { unlink(name.c_str()); }
};

} // namespace

/// libsndfile 1.2 forgets libvorbis's state when a damaged Ogg stream can't be opened.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libvorbis";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const TemporaryFile file;
    const std::string& path = file.name;
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(size));
    const auto reader = AudioReader::open(path);
    if (!reader)
        return 0;
    precondition(reader->frameCount() >= 1, "A file without frames was opened.");
    int blocks = 0;
    try {
        const AudioFeatures features = extractAudioFeatures(*reader, limited(blocks));
        for (std::size_t frame = 0; frame < features.spectral.frameCount(); ++frame) {
            for (const float magnitude : features.spectral.frame(frame))
                precondition(std::isfinite(magnitude), "A magnitude is not finite.");
        }
    } catch (const AnalysisCancelled&) {
    }
    return 0;
}
