#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace tarn {

/// Records how to take changes back. Actions registered between beginUndoGrouping and the matching
/// endUndoGrouping form one group; the outermost group is one undo step. Registering outside every group
/// makes a group of its own. Undoing a step runs its actions in reverse order; what they register becomes the
/// redo step. Groups without actions leave no step. An action may drop the last reference to the manager: the
/// step then runs to its end.
///
/// Any thread may register at any time. Groups, and whether registration is enabled, are each thread's own:
/// what one thread registers never ends up in another one's group, and its step is complete when its
/// outermost group ends. Steps are undone and redone by one thread at a time, usually that of the user
/// interface; what others register meanwhile becomes steps of its own.
class UndoManager : public std::enable_shared_from_this<UndoManager> {
public:
    using Action = std::function<void()>;

    UndoManager() = default;
    UndoManager(const UndoManager&) = delete;
    UndoManager& operator=(const UndoManager&) = delete;

    void beginUndoGrouping();
    /// Aborts when no group of this thread is open.
    void endUndoGrouping();
    /// How many groups of this thread are open.
    [[nodiscard]] int groupingLevel() const;

    /// Counted: registration is enabled again after as many enable as disable calls. Enabling more often than
    /// disabling aborts.
    void disableUndoRegistration();
    void enableUndoRegistration();
    [[nodiscard]] bool isUndoRegistrationEnabled() const;

    /// Adds the action to the open group; ignored while registration is disabled. A new step (one that is not
    /// made by undoing or redoing) discards the redo steps.
    void registerUndo(Action action);

    /// Whether there is a step to take back; the actions of an open group do not count yet.
    [[nodiscard]] bool canUndo() const;
    [[nodiscard]] bool canRedo() const;
    /// Whether this thread is inside an action of a step that it undoes or redoes.
    [[nodiscard]] bool isUndoing() const;
    [[nodiscard]] bool isRedoing() const;
    /// Undoes the last step; nothing happens when there is none. Aborts inside an open group of this thread,
    /// inside an action, and while another thread undoes or redoes.
    void undo();
    void redo();
    /// Forgets all steps and what the open groups of all threads have collected; the groups stay open.
    void removeAllActions();

private:
    using Group = std::vector<Action>;
    enum class State { recording, undoing, redoing };
    /// What belongs to one thread; forgotten when all of it is as here.
    struct Registration {
        State state = State::recording;
        int groupingLevel = 0;
        int disableCount = 0;
        Group openGroup;
    };

    [[nodiscard]] Registration registration() const; ///< of this thread, without its open group
    void forgetIdleRegistration();
    [[nodiscard]] std::vector<Group> push(Group group, State state);
    void perform(std::vector<Group>& from, State state);

    // Actions are destroyed without the mutex: they may own objects whose destruction calls back.
    mutable std::mutex mMutex; ///< guards what follows
    std::vector<Group> mUndoSteps;
    std::vector<Group> mRedoSteps;
    std::map<std::thread::id, Registration> mRegistrations;
    bool mIsPerforming = false;
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
