#pragma once

#include "AnalysisEngine/AnalysisEngine.h"
#include "Platform/DispatchQueue.h"
#include "Platform/NotificationCenter.h"
#include "TarnFoundation/Analysis/TarnMusicInformationRetrievalController.h"

#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace tarn {

/// The analyses of one recording, and an application that puts all that it is handed into the document. Used
/// on the main thread.
class AnalyzedSong {
public:
    using Controller = TarnMusicInformationRetrievalController;

    explicit AnalyzedSong(std::filesystem::path audio, std::string uuid = "U")
        : mAudio(std::move(audio)), mUUID(std::move(uuid)) {
        MainQueue::becomeMainThread();
        registerAnalysisEngine();
        open();
    }

    std::shared_ptr<TarnNoteEntryStorage> storage = std::make_shared<TarnNoteEntryStorage>();
    std::shared_ptr<Controller> controller;

    /// A new controller for the same document.
    void open() {
        controller = std::make_shared<Controller>(mAudio, mUUID, storage);
        mTokens.clear();
        const auto observe = [this](const char* name, auto receive) {
            mTokens.push_back(
                NotificationCenter::defaultCenter().addObserver(name, controller, nullptr, receive));
        };
        observe(TarnTuningEstimationDidFinishProcessingNotification, [this](const Notification& n) {
            if (storage->standardPitchEntries().empty())
                storage->addStandardPitchEntry(
                    *n.value<std::shared_ptr<TarnStandardPitchEntry>>("standardPitch"));
        });
        observe(TarnBeatDetectionDidFinishProcessingNotification, [this](const Notification& n) {
            if (storage->tempoEntries().empty())
                storage->addTempoEntry(*n.value<std::shared_ptr<TarnTempoEntry>>("tempo"));
        });
        observe(TarnBeatAlignmentDidFinishProcessingNotification, [this](const Notification& n) {
            const auto* beats = n.value<EntryList<TarnBeatEntry>>("beatEntries");
            if (!beats || !storage->beatEntries().empty())
                return;
            storage->addTimeSignatureEntry(
                *n.value<std::shared_ptr<TarnTimeSignatureEntry>>("timeSignature"));
            storage->addBeatEntriesFromArray(*beats);
        });
    }
    bool begin(int threads = 2) {
        if (!controller->beginProcessingError())
            return false;
        mQueue = controller->processingQueue();
        mQueue->setMaxConcurrentOperationCount(threads);
        return true;
    }
    [[nodiscard]] bool isRunning() const { return !mQueue->operations().empty(); }
    void finish() {
        MainQueue::runUntil([this] { return !isRunning(); });
        MainQueue::runPending();
    }
    [[nodiscard]] const std::shared_ptr<OperationQueue>& queue() const { return mQueue; }

    /// All that was found, by kinds.
    [[nodiscard]] std::string found() const {
        std::ostringstream text;
        text.precision(17);
        for (const auto& entry : storage->standardPitchEntries())
            text << "pitch " << entry->frequency() << '\n';
        for (const auto& entry : storage->keyEntries())
            text << "key " << entry->tonicChord()->string() << '\n';
        for (const auto& entry : storage->tempoEntries())
            text << "tempo " << entry->tempo() << '\n';
        for (const auto& entry : storage->timeSignatureEntries())
            text << "signature " << int{entry->numerator()} << '/' << int{entry->denominator()} << '\n';
        for (const auto& entry : storage->beatEntries())
            text << (entry->isDownbeat() ? "bar " : "beat ") << entry->location() << '\n';
        for (const auto& entry : storage->chordEntries())
            text << "chord " << entry->chord()->string() << ' ' << entry->location() << '\n';
        return text.str();
    }

private:
    const std::filesystem::path mAudio;
    const std::string mUUID;
    std::vector<NotificationCenter::Token> mTokens;
    std::shared_ptr<OperationQueue> mQueue;
};

} // namespace tarn
