#include "Song/SongWaveform.h"

#include "KELPMusicInformationRetrieval/AnalysisOperationFactory.h"
#include "TarnFoundation/Analysis/AnalysisCaches.h"

namespace tarn {
namespace {

class AlwaysRequired : public KELPWaveformOperationDelegate {
    bool waveformOperationRequiresProcessing(KELPWaveformOperation& /*operation*/) override { return true; }
};

} // namespace

std::shared_ptr<Waveform> waveformOfRecording(const std::filesystem::path& recording,
                                              const std::string& cacheName) {
    const auto operation = AnalysisOperationFactory::shared()->makeWaveformOperation(
        recording, analysis::cacheFile(analysis::kWaveformCaches, cacheName));
    if (!operation)
        return nullptr;
    if (!operation->waveform()->isProcessingComplete()) {
        const auto delegate = std::make_shared<AlwaysRequired>();
        operation->delegate = delegate;
        const auto queue = std::make_shared<OperationQueue>();
        queue->addOperation(operation);
        operation->waitUntilFinished();
    }
    auto waveform = operation->waveform();
    return waveform->isProcessingComplete() ? waveform : nullptr;
}

} // namespace tarn
