#include "KELPMusicInformationRetrieval/AnalysisOperationFactory.h"

#include "Platform/Bundle.h"

#include <mutex>
#include <utility>

namespace tarn {

namespace {

/// Has no beats to align, so it never finds a downbeat.
class NoBeatAlignment : public BeatAlignmentOperation {
protected:
    std::optional<Result> process(const Input&) override { return std::nullopt; }
};

/// Makes nothing that needs a file.
class RefusingFactory : public AnalysisOperationFactory {
public:
    std::shared_ptr<BeatAlignmentOperation> makeBeatAlignmentOperation() override {
        return std::make_shared<NoBeatAlignment>();
    }
    std::shared_ptr<const Error> refusal(const File&) override {
        return analysisRefusal(AnalysisRefusal::noEngine);
    }
};

const char* textOf(AnalysisRefusal reason) {
    switch (reason) {
    case AnalysisRefusal::noEngine:
        return "No analysis engine is registered.";
    case AnalysisRefusal::missingFile:
        return "The audio file does not exist.";
    case AnalysisRefusal::unreadableFile:
        return "The audio file cannot be read.";
    case AnalysisRefusal::undecodableAudio:
        return "The file holds no audio that can be analyzed.";
    }
    return "";
}

struct SharedFactory {
    std::mutex mutex;
    std::shared_ptr<AnalysisOperationFactory> factory = std::make_shared<RefusingFactory>();
};

SharedFactory& sharedFactory() {
    static SharedFactory shared;
    return shared;
}

} // namespace

std::shared_ptr<const Error> analysisRefusal(AnalysisRefusal reason,
                                             std::shared_ptr<const Error> underlying) {
    const auto error = std::make_shared<Error>(kAnalysisRefusalDomain, static_cast<long>(reason),
                                               Bundle::framework().localizedString(textOf(reason)));
    error->underlying = std::move(underlying);
    return error;
}

std::optional<RecordingFacts>
AnalysisOperationFactory::readRecording(const File&, const CancellationQuestion&, std::string* refusal) {
    if (refusal)
        *refusal = "no analysis engine reads recordings here";
    return std::nullopt;
}

std::optional<RecordingFacts>
AnalysisOperationFactory::identifyRecording(const File& audio, const CancellationQuestion& isCancelled,
                                            std::string* refusal) {
    return readRecording(audio, isCancelled, refusal);
}

bool AnalysisOperationFactory::hearRecording(const File& /*audio*/, RecordingFacts& /*facts*/,
                                             const CancellationQuestion& /*isCancelled*/) {
    return true; // complete already
}

std::shared_ptr<AnalysisOperationFactory> AnalysisOperationFactory::shared() {
    const std::lock_guard guard(sharedFactory().mutex);
    return sharedFactory().factory;
}

void AnalysisOperationFactory::setShared(std::shared_ptr<AnalysisOperationFactory> factory) {
    if (!factory)
        factory = std::make_shared<RefusingFactory>();
    // The former factory goes with the argument, after the lock: its end may ask for the shared one.
    const std::lock_guard guard(sharedFactory().mutex);
    sharedFactory().factory.swap(factory);
}

} // namespace tarn
