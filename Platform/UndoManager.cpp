#include "Platform/UndoManager.h"

#include "Platform/FatalError.h"

#include <utility>

namespace tarn {

void UndoManager::beginUndoGrouping() {
    ++mGroupingLevel;
}

void UndoManager::endUndoGrouping() {
    // While a step is undone or redone the outermost group is the one that collects what its actions
    // register.
    const int outermost = mState == State::recording ? 0 : 1;
    precondition(mGroupingLevel > outermost, "endUndoGrouping without beginUndoGrouping");
    if (--mGroupingLevel == 0)
        push(std::exchange(mOpenGroup, {}));
}

void UndoManager::enableUndoRegistration() {
    precondition(mDisableCount > 0, "enableUndoRegistration without disableUndoRegistration");
    --mDisableCount;
}

void UndoManager::registerUndo(Action action) {
    if (!isUndoRegistrationEnabled())
        return;
    beginUndoGrouping();
    mOpenGroup.push_back(std::move(action));
    endUndoGrouping();
}

void UndoManager::undo() {
    perform(mUndoSteps, State::undoing);
}

void UndoManager::redo() {
    perform(mRedoSteps, State::redoing);
}

void UndoManager::removeAllActions() {
    // Closures may own objects whose destruction calls back: the lists are emptied before anything is
    // destroyed.
    const auto undoSteps = std::exchange(mUndoSteps, {});
    const auto redoSteps = std::exchange(mRedoSteps, {});
    const auto openGroup = std::exchange(mOpenGroup, {});
}

void UndoManager::push(Group group) {
    if (group.empty())
        return;
    if (mState == State::undoing) {
        mRedoSteps.push_back(std::move(group));
        return;
    }
    mUndoSteps.push_back(std::move(group));
    if (mState == State::recording)
        const auto discarded = std::exchange(mRedoSteps, {});
}

void UndoManager::perform(std::vector<Group>& from, State state) {
    precondition(mGroupingLevel == 0, "Undo or redo inside an open undo group");
    if (from.empty())
        return;
    const auto alive = weak_from_this().lock(); // an action may let go of the document and this with it
    const Group step = std::move(from.back());
    from.pop_back();

    // Restores recording also when an action throws: what was registered until then is the way back.
    struct Performing {
        UndoManager& manager;
        ~Performing() {
            manager.mGroupingLevel = 0;
            manager.push(std::exchange(manager.mOpenGroup, {}));
            manager.mState = State::recording;
        }
    };
    mState = state;
    beginUndoGrouping();
    const Performing performing{*this};
    for (auto action = step.rbegin(); action != step.rend(); ++action)
        (*action)();
    precondition(mGroupingLevel == 1, "An undo action left an undo group open");
}

UndoGroup::UndoGroup(std::shared_ptr<UndoManager> manager, bool isRegistered)
    : mManager(std::move(manager)), mIsRegistered(isRegistered) {
    if (!mManager)
        return;
    if (!mIsRegistered)
        mManager->disableUndoRegistration();
    mManager->beginUndoGrouping();
}

UndoGroup::~UndoGroup() {
    if (!mManager)
        return;
    mManager->endUndoGrouping();
    if (!mIsRegistered)
        mManager->enableUndoRegistration();
}

} // namespace tarn
