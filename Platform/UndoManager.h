#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tarn {

/// Records how to take changes back. Actions registered between beginUndoGrouping and the matching
/// endUndoGrouping form one group; the outermost group is one undo step. Registering outside every group
/// makes a group of its own. Undoing a step runs its actions in reverse order; what they register becomes the
/// redo step. Groups without actions leave no step. An action may drop the last reference to the manager: the
/// step then runs to its end. Used from one thread, the document's.
class UndoManager : public std::enable_shared_from_this<UndoManager> {
public:
    using Action = std::function<void()>;

    UndoManager() = default;
    UndoManager(const UndoManager&) = delete;
    UndoManager& operator=(const UndoManager&) = delete;

    void beginUndoGrouping();
    /// Stops the process when no group is open.
    void endUndoGrouping();
    [[nodiscard]] int groupingLevel() const { return mGroupingLevel; }

    /// Counted: registration is enabled again after as many enable as disable calls. Enabling more often than
    /// disabling stops the process.
    void disableUndoRegistration() { ++mDisableCount; }
    void enableUndoRegistration();
    [[nodiscard]] bool isUndoRegistrationEnabled() const { return mDisableCount == 0; }

    /// Adds the action to the open group; ignored while registration is disabled. A new step (one that is not
    /// made by undoing or redoing) discards the redo steps.
    void registerUndo(Action action);

    /// Whether there is a step to take back; the actions of an open group do not count yet.
    [[nodiscard]] bool canUndo() const { return !mUndoSteps.empty(); }
    [[nodiscard]] bool canRedo() const { return !mRedoSteps.empty(); }
    [[nodiscard]] bool isUndoing() const { return mState == State::undoing; }
    [[nodiscard]] bool isRedoing() const { return mState == State::redoing; }
    /// Undoes the last step; nothing happens when there is none. Stops the process inside an open group and
    /// inside an action.
    void undo();
    void redo();
    /// Forgets all steps and what the open group has collected; the group stays open.
    void removeAllActions();

private:
    using Group = std::vector<Action>;
    enum class State { recording, undoing, redoing };

    void push(Group group);
    void perform(std::vector<Group>& from, State state);

    std::vector<Group> mUndoSteps;
    std::vector<Group> mRedoSteps;
    Group mOpenGroup;
    int mGroupingLevel = 0;
    int mDisableCount = 0;
    State mState = State::recording;
};

/// Keeps an undo group of the manager open, if there is a manager, and closes it also when an exception
/// leaves the scope. `isRegistered`: whether what is done meanwhile can be undone.
class UndoGroup {
public:
    explicit UndoGroup(std::shared_ptr<UndoManager> manager, bool isRegistered = true);
    ~UndoGroup();
    UndoGroup(const UndoGroup&) = delete;
    UndoGroup& operator=(const UndoGroup&) = delete;

private:
    const std::shared_ptr<UndoManager> mManager;
    const bool mIsRegistered;
};

} // namespace tarn
