#include "Platform/UndoManager.h"

#include "Platform/FatalError.h"

#include <utility>

namespace tarn {

namespace {

using Lock = std::lock_guard<std::mutex>;

} // namespace

UndoManager::Registration UndoManager::registration() const {
    const Lock lock(mMutex);
    const auto found = mRegistrations.find(std::this_thread::get_id());
    if (found == mRegistrations.end())
        return {};
    return {found->second.state, found->second.groupingLevel, found->second.disableCount, {}};
}

void UndoManager::forgetIdleRegistration() {
    const auto found = mRegistrations.find(std::this_thread::get_id());
    if (found->second.groupingLevel == 0 && found->second.disableCount == 0)
        mRegistrations.erase(found);
}

void UndoManager::beginUndoGrouping() {
    const Lock lock(mMutex);
    ++mRegistrations[std::this_thread::get_id()].groupingLevel;
}

void UndoManager::endUndoGrouping() {
    std::vector<Group> discarded;
    const Lock lock(mMutex);
    Registration& own = mRegistrations[std::this_thread::get_id()];
    // While a step is undone or redone the outermost group is the one that collects what its actions
    // register.
    const int outermost = own.state == State::recording ? 0 : 1;
    precondition(own.groupingLevel > outermost, "endUndoGrouping without beginUndoGrouping");
    if (--own.groupingLevel > 0)
        return;
    discarded = push(std::exchange(own.openGroup, {}), own.state);
    forgetIdleRegistration();
}

int UndoManager::groupingLevel() const {
    return registration().groupingLevel;
}

void UndoManager::disableUndoRegistration() {
    const Lock lock(mMutex);
    ++mRegistrations[std::this_thread::get_id()].disableCount;
}

void UndoManager::enableUndoRegistration() {
    const Lock lock(mMutex);
    Registration& own = mRegistrations[std::this_thread::get_id()];
    precondition(own.disableCount > 0, "enableUndoRegistration without disableUndoRegistration");
    --own.disableCount;
    forgetIdleRegistration();
}

bool UndoManager::isUndoRegistrationEnabled() const {
    return registration().disableCount == 0;
}

void UndoManager::registerUndo(Action action) {
    if (!isUndoRegistrationEnabled())
        return;
    beginUndoGrouping();
    {
        const Lock lock(mMutex);
        mRegistrations[std::this_thread::get_id()].openGroup.push_back(std::move(action));
    }
    endUndoGrouping();
}

bool UndoManager::canUndo() const {
    const Lock lock(mMutex);
    return !mUndoSteps.empty();
}

bool UndoManager::canRedo() const {
    const Lock lock(mMutex);
    return !mRedoSteps.empty();
}

bool UndoManager::isUndoing() const {
    return registration().state == State::undoing;
}

bool UndoManager::isRedoing() const {
    return registration().state == State::redoing;
}

void UndoManager::undo() {
    perform(mUndoSteps, State::undoing);
}

void UndoManager::redo() {
    perform(mRedoSteps, State::redoing);
}

void UndoManager::removeAllActions() {
    std::vector<Group> forgotten;
    const Lock lock(mMutex);
    forgotten.swap(mUndoSteps);
    for (auto& step : std::exchange(mRedoSteps, {}))
        forgotten.push_back(std::move(step));
    for (auto& [thread, each] : mRegistrations)
        forgotten.push_back(std::exchange(each.openGroup, {}));
}

/// Returns the redo steps that the new step discards, for the caller to destroy without the mutex.
std::vector<UndoManager::Group> UndoManager::push(Group group, State state) {
    if (group.empty())
        return {};
    (state == State::undoing ? mRedoSteps : mUndoSteps).push_back(std::move(group));
    return state == State::recording ? std::exchange(mRedoSteps, {}) : std::vector<Group>();
}

void UndoManager::perform(std::vector<Group>& from, State state) {
    const auto alive = weak_from_this().lock(); // an action may let go of the document and this with it
    const auto thread = std::this_thread::get_id();
    Group step;
    {
        const Lock lock(mMutex);
        const auto own = mRegistrations.find(thread);
        precondition(own == mRegistrations.end() || own->second.groupingLevel == 0,
                     "Undo or redo inside an open undo group");
        precondition(!mIsPerforming, "Undo or redo while another thread undoes or redoes");
        if (from.empty())
            return;
        step = std::move(from.back());
        from.pop_back();
        mIsPerforming = true;
        mRegistrations[thread].state = state;
        mRegistrations[thread].groupingLevel = 1;
    }

    // Restores recording also when an action throws: what was registered until then is the way back.
    struct Performing {
        UndoManager& manager;
        std::thread::id thread;
        ~Performing() {
            const Lock lock(manager.mMutex);
            Registration& own = manager.mRegistrations[thread];
            (void)manager.push(std::exchange(own.openGroup, {}), own.state); // discards nothing
            own.state = State::recording;
            own.groupingLevel = 0;
            manager.forgetIdleRegistration();
            manager.mIsPerforming = false;
        }
    };
    const Performing performing{*this, thread};
    for (auto action = step.rbegin(); action != step.rend(); ++action)
        (*action)();
    precondition(groupingLevel() == 1, "An undo action left an undo group open");
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
