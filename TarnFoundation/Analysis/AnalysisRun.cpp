#include "TarnFoundation/Analysis/AnalysisRun.h"

#include "Platform/Bundle.h"
#include "Platform/FatalError.h"

#include <algorithm>
#include <utility>

namespace tarn::analysis {

namespace {

constexpr int kMaxConcurrentOperationCount = 2;

/// A stage and its operation.
struct MadeStage {
    const Stage* stage;
    std::shared_ptr<Operation> operation;
};

/// Appends an operation for each stage; the refusal of one for which none can be made, or null.
const char* makeOperations(std::span<const Stage> stages, std::vector<MadeStage>& made) {
    for (auto stage = stages.begin(); stage != stages.end(); ++stage) {
        if (!made.empty() && made.back().stage->name == stage->name)
            continue; // an alternative has been made
        const auto next = stage + 1;
        if (auto operation = stage->make()) {
            made.push_back({&*stage, std::move(operation)});
        } else if (next == stages.end() || next->name != stage->name) {
            precondition(stage->refusal, "A stage that can always be made was not made");
            return stage->refusal;
        }
    }
    return nullptr;
}

void connect(const std::vector<MadeStage>& made) {
    for (const auto& [stage, operation] : made) {
        for (const std::string_view name : stage->dependencies) {
            const auto dependency =
                std::find_if(made.begin(), made.end(), [&](const auto& m) { return m.stage->name == name; });
            precondition(dependency != made.end(), "A stage depends on one that is not in the table");
            operation->addDependency(dependency->operation);
        }
    }
}

void setUp(Progress& progress, const std::vector<MadeStage>& made) {
    std::int64_t total = 0;
    for (const auto& [stage, operation] : made)
        total += stage->progressUnits;
    progress.restart(total); // an earlier run's stages no longer count
    progress.setLocalizedDescription(Bundle::framework().localizedString("Analyzing song"));
    for (const auto& [stage, operation] : made)
        progress.addChild(operation->progress(), stage->progressUnits);
}

} // namespace

Run::Run() : mQueue(std::make_shared<OperationQueue>()) {
    mQueue->setMaxConcurrentOperationCount(kMaxConcurrentOperationCount);
}

const char* Run::start(std::span<const Stage> stages, Progress& progress,
                       const std::shared_ptr<Operation>& begin, const std::shared_ptr<Operation>& finish) {
    precondition(!std::exchange(mHasStarted, true), "A run is started once");
    std::vector<MadeStage> made;
    if (const char* refusal = makeOperations(stages, made))
        return refusal;
    connect(made);
    setUp(progress, made);

    std::stable_sort(made.begin(), made.end(),
                     [](const auto& a, const auto& b) { return a.stage->place < b.stage->place; });
    std::vector<std::shared_ptr<Operation>> operations{begin};
    for (const auto& [stage, operation] : made) {
        operations.push_back(operation);
        finish->addDependency(operation);
    }
    operations.push_back(finish);
    {
        const std::lock_guard guard(mMutex);
        mOperations.assign(operations.begin(), operations.end());
    }
    mQueue->addOperations(operations, false);
    return nullptr;
}

void Run::cancel() {
    mQueue->cancelAllOperations();
    std::vector<std::weak_ptr<Operation>> operations;
    {
        const std::lock_guard guard(mMutex);
        operations = mOperations;
    }
    for (const auto& weak : operations) {
        if (const auto operation = weak.lock())
            operation->cancel();
    }
}

} // namespace tarn::analysis
