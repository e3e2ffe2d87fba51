#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

/// A state machine with a stack. States, their actions and the allowed transitions are declared when it is
/// made and never change. The top of the stack is the current state: it alone is entered, and what has been
/// entered is exited before another state is entered. For use on one thread.
namespace tarn {

enum class TransitionKind {
    push,    ///< a state is put on the stack and covers the current one
    pop,     ///< the current state is taken away and the one below becomes current again
    replace, ///< another state takes the current one's place
};

template <typename State>
struct StateTransition {
    TransitionKind kind;
    State from;
    State to;
    friend bool operator==(const StateTransition&, const StateTransition&) = default;
};

/// A transition that did not take place.
template <typename State>
struct RefusedTransition {
    enum class Reason { notDeclared, nothingToPop };

    Reason reason;
    TransitionKind kind;
    State from;
    std::optional<State> to; ///< empty for a pop
    friend bool operator==(const RefusedTransition&, const RefusedTransition&) = default;
};

enum class TransitionOutcome {
    performed,
    refused,
    deferred, ///< asked for during an action: performed or refused once the transition under way is complete
};

/// `State` is copyable and ordered by `<`: usually an enumeration.
template <typename State>
class StateMachine {
public:
    using Transition = StateTransition<State>;
    using Refusal = RefusedTransition<State>;
    using Action = std::function<void(const Transition&)>;
    struct Actions {
        Action enter; ///< may be empty, like `exit`
        Action exit;
    };

    /// Declares the states with their actions, and the pairs (from, to) between which `push` and `replace`
    /// may go; a state may lead to itself. Popping needs no declaration. The machine begins in `initial`,
    /// which counts as entered: no action runs. Throws std::invalid_argument when `initial` or a pair names a
    /// state that is not declared.
    StateMachine(State initial, std::map<State, Actions> states, std::set<std::pair<State, State>> allowed)
        : mStates(std::move(states)), mAllowed(std::move(allowed)), mStack{std::move(initial)} {
        bool allDeclared = mStates.contains(mStack.front());
        for (const auto& [from, to] : mAllowed)
            allDeclared = allDeclared && mStates.contains(from) && mStates.contains(to);
        if (!allDeclared)
            throw std::invalid_argument("A state is used that is not declared");
    }
    StateMachine(const StateMachine&) = delete;
    StateMachine& operator=(const StateMachine&) = delete;

    [[nodiscard]] const State& currentState() const { return mStack.back(); }
    /// All states on the stack, the current one last.
    [[nodiscard]] const std::vector<State>& stack() const { return mStack; }
    /// Whether `push` and `replace` may go from the current state to `state`.
    [[nodiscard]] bool allowsTransition(const State& state) const {
        return mAllowed.contains({currentState(), state});
    }
    /// Called for every refused request, deferred ones included. It may ask for transitions like an action.
    void setRefusalHandler(std::function<void(const Refusal&)> handler) {
        mRefusalHandler = std::move(handler);
    }

    /// A transition runs in this order: the exit action of the old state, which is still current; the change
    /// of the stack; the enter action of the new state. Requests made meanwhile wait until that is done and
    /// are then judged and run one after another, in the order asked, before the outermost call returns.
    ///
    /// An exception of an action or of the refusal handler reaches the outermost caller. When an exit action
    /// throws, its transition does not take place; when an enter action throws, it has. Requests that wait
    /// are dropped.
    TransitionOutcome push(State state) { return ask({TransitionKind::push, std::move(state)}); }
    TransitionOutcome pop() { return ask({TransitionKind::pop, std::nullopt}); }
    TransitionOutcome replace(State state) { return ask({TransitionKind::replace, std::move(state)}); }

private:
    struct Request {
        TransitionKind kind;
        std::optional<State> state;
    };

    TransitionOutcome ask(Request request) {
        if (mIsRunning) {
            mWaiting.push_back(std::move(request));
            return TransitionOutcome::deferred;
        }
        const Run run(*this);
        const auto outcome = perform(request);
        while (!mWaiting.empty()) {
            const auto next = std::move(mWaiting.front());
            mWaiting.pop_front();
            perform(next);
        }
        return outcome;
    }

    TransitionOutcome perform(const Request& request) {
        const bool isPop = request.kind == TransitionKind::pop;
        if (isPop ? mStack.size() < 2 : !allowsTransition(*request.state)) {
            if (mRefusalHandler) {
                using Reason = typename Refusal::Reason;
                // A copy, since the handler may set another.
                const auto handler = mRefusalHandler;
                handler({isPop ? Reason::nothingToPop : Reason::notDeclared, request.kind, currentState(),
                         request.state});
            }
            return TransitionOutcome::refused;
        }
        const Transition transition{request.kind, currentState(),
                                    isPop ? mStack[mStack.size() - 2] : *request.state};
        if (const auto& exit = mStates.at(transition.from).exit)
            exit(transition);
        if (request.kind != TransitionKind::push)
            mStack.pop_back();
        if (!isPop)
            mStack.push_back(transition.to);
        if (const auto& enter = mStates.at(transition.to).enter)
            enter(transition);
        return TransitionOutcome::performed;
    }

    /// The time of an outermost call; its end, even by an exception, leaves the machine ready for the next
    /// one.
    class Run {
    public:
        explicit Run(StateMachine& machine) : mMachine(machine) { mMachine.mIsRunning = true; }
        ~Run() {
            mMachine.mIsRunning = false;
            mMachine.mWaiting.clear();
        }
        Run(const Run&) = delete;
        Run& operator=(const Run&) = delete;

    private:
        StateMachine& mMachine;
    };

    const std::map<State, Actions> mStates;
    const std::set<std::pair<State, State>> mAllowed;
    std::vector<State> mStack;
    std::deque<Request> mWaiting;
    std::function<void(const Refusal&)> mRefusalHandler;
    bool mIsRunning = false;
};

} // namespace tarn
