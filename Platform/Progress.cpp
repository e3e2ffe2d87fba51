#include "Platform/Progress.h"

#include "Platform/CheckedArithmetic.h"
#include "Platform/ObserverList.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace tarn {

namespace {

/// One lock for all progress trees: changes are rare, small, and go up and down whole trees. Never destroyed,
/// because background threads report while the process ends.
std::mutex& treeMutex() {
    static auto* const mutex = new std::mutex;
    return *mutex;
}

} // namespace

/// Parents and children refer to each other without owning: whichever goes first unlinks itself.
struct Progress::State {
    std::int64_t total = 0;
    std::int64_t own = 0;
    std::int64_t fromFinishedChildren = 0;
    bool isMarkedFinished = false;
    std::string description;
    Progress* parent = nullptr;
    std::int64_t pendingUnitsInParent = 0;
    bool hasHadParent = false;
    std::vector<Progress*> unfinishedChildren;
    ObserverList<const Progress&> observers;

    [[nodiscard]] std::int64_t completed() const { return checkedAdd(own, fromFinishedChildren); }
    [[nodiscard]] bool isFinished() const { return isMarkedFinished || (total > 0 && completed() >= total); }

    [[nodiscard]] double fraction() const {
        if (isFinished())
            return 1;
        if (total <= 0)
            return 0;
        auto units = static_cast<double>(completed());
        for (const auto* child : unfinishedChildren)
            units += static_cast<double>(child->mState->pendingUnitsInParent) * child->mState->fraction();
        return std::clamp(units / static_cast<double>(total), 0.0, 1.0);
    }

    /// The child's work has ended: it becomes a count.
    void absorb(Progress& child) {
        fromFinishedChildren = checkedAdd(fromFinishedChildren, child.mState->pendingUnitsInParent);
        std::erase(unfinishedChildren, &child);
        child.mState->parent = nullptr;
    }

    /// The unfinished children go on alone.
    void letChildrenGo() {
        for (auto* child : std::exchange(unfinishedChildren, {}))
            child->mState->parent = nullptr;
    }
};

/// Holds the lock of the trees during a change, and tells the observers of what changed after releasing it.
class Progress::Change {
public:
    Change() : mLock(treeMutex()) {}
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;
    ~Change() {
        mLock.unlock();
        for (const auto& progress : mChanged)
            progress->mState->observers.notify(*progress);
    }

    void note(Progress& progress) {
        if (progress.mState->observers.isEmpty())
            return;
        // One that is being destroyed has nobody left to tell.
        if (auto alive = progress.weak_from_this().lock())
            mChanged.push_back(std::move(alive));
    }

    /// The counts of `progress` have changed, and so have the fractions above it.
    void noteWithAncestors(Progress& progress) {
        note(progress);
        for (auto* changed = &progress; auto* parent = changed->mState->parent; changed = parent) {
            if (changed->mState->isFinished())
                parent->mState->absorb(*changed);
            note(*parent);
        }
    }

private:
    std::unique_lock<std::mutex> mLock;
    std::vector<std::shared_ptr<Progress>> mChanged;
};

Progress::Progress(Private, std::int64_t totalUnitCount) : mState(std::make_unique<State>()) {
    mState->total = totalUnitCount;
}

Progress::~Progress() {
    Change change;
    mState->letChildrenGo();
    if (auto* parent = mState->parent) {
        parent->mState->absorb(*this);
        change.noteWithAncestors(*parent);
    }
}

std::shared_ptr<Progress> Progress::discrete(std::int64_t totalUnitCount) {
    return std::make_shared<Progress>(Private(), totalUnitCount);
}

std::int64_t Progress::totalUnitCount() const {
    const std::lock_guard lock(treeMutex());
    return mState->total;
}

void Progress::setTotalUnitCount(std::int64_t count) {
    Change change;
    if (std::exchange(mState->total, count) != count)
        change.noteWithAncestors(*this);
}

std::int64_t Progress::completedUnitCount() const {
    const std::lock_guard lock(treeMutex());
    return mState->completed();
}

void Progress::setCompletedUnitCount(std::int64_t count) {
    Change change;
    if (std::exchange(mState->own, count) != count)
        change.noteWithAncestors(*this);
}

double Progress::fractionCompleted() const {
    const std::lock_guard lock(treeMutex());
    return mState->fraction();
}

bool Progress::isFinished() const {
    const std::lock_guard lock(treeMutex());
    return mState->isFinished();
}

void Progress::markFinished() {
    Change change;
    if (!std::exchange(mState->isMarkedFinished, true))
        change.noteWithAncestors(*this);
}

void Progress::restart(std::int64_t totalUnitCount) {
    Change change;
    mState->letChildrenGo();
    mState->total = totalUnitCount;
    mState->own = 0;
    mState->fromFinishedChildren = 0;
    mState->isMarkedFinished = false;
    change.noteWithAncestors(*this);
}

void Progress::addChild(const std::shared_ptr<Progress>& child, std::int64_t pendingUnitCount) {
    precondition(child != nullptr && pendingUnitCount >= 0,
                 "A child progress needs a number of units to stand for");
    Change change;
    precondition(!child->mState->hasHadParent,
                 "A progress can be the child of one other only, and only once");
    for (const auto* ancestor = this; ancestor; ancestor = ancestor->mState->parent)
        precondition(ancestor != child.get(), "A progress cannot be below itself");
    child->mState->hasHadParent = true;
    child->mState->parent = this;
    child->mState->pendingUnitsInParent = pendingUnitCount;
    mState->unfinishedChildren.push_back(child.get());
    if (child->mState->isFinished())
        mState->absorb(*child);
    change.noteWithAncestors(*this);
}

std::string Progress::localizedDescription() const {
    const std::lock_guard lock(treeMutex());
    return mState->description;
}

void Progress::setLocalizedDescription(std::string text) {
    Change change;
    if (mState->description == text)
        return;
    mState->description = std::move(text);
    change.note(*this);
}

Subscription Progress::observe(Observer observer) {
    return mState->observers.add(std::move(observer));
}

} // namespace tarn
