#include "StateMachine/StateMachine.h"

#include <gmock/gmock.h>

#include <string>

namespace tarn {
namespace {

using testing::ElementsAre;
using Machine = StateMachine<std::string>;
using Outcome = TransitionOutcome;

/// A player whose actions write down their calls; `during` runs within the named action.
class StateMachineTests : public testing::Test {
protected:
    std::vector<std::string> log;
    std::map<std::string, std::function<void()>> during;
    Machine machine{
        "stopped",
        {{"stopped", actions("stopped")}, {"playing", actions("playing")}, {"menu", actions("menu")}},
        {{"stopped", "playing"}, {"playing", "stopped"}, {"playing", "menu"}, {"menu", "menu"}}};

    Machine::Actions actions(const std::string& state) {
        return {action("enter " + state), action("exit " + state)};
    }
    Machine::Action action(const std::string& name) {
        return [this, name](const Machine::Transition& transition) {
            const char* kinds[] = {"push", "pop", "replace"};
            log.push_back(name + ": " + kinds[static_cast<int>(transition.kind)] + " " + transition.from +
                          ">" + transition.to + " in " + machine.currentState());
            if (const auto found = during.find(name); found != during.end())
                found->second();
        };
    }
};

TEST_F(StateMachineTests, RunsExitAndEnterAroundTheChangeOfTheStack) {
    EXPECT_EQ(machine.replace("playing"), Outcome::performed);
    EXPECT_EQ(machine.push("menu"), Outcome::performed);
    EXPECT_EQ(machine.push("menu"), Outcome::performed);
    EXPECT_THAT(machine.stack(), ElementsAre("playing", "menu", "menu"));
    EXPECT_EQ(machine.replace("menu"), Outcome::performed);
    EXPECT_EQ(machine.pop(), Outcome::performed);
    EXPECT_EQ(machine.pop(), Outcome::performed);
    EXPECT_THAT(machine.stack(), ElementsAre("playing"));
    EXPECT_THAT(log, ElementsAre("exit stopped: replace stopped>playing in stopped",
                                 "enter playing: replace stopped>playing in playing",
                                 "exit playing: push playing>menu in playing", //
                                 "enter menu: push playing>menu in menu",      //
                                 "exit menu: push menu>menu in menu",          //
                                 "enter menu: push menu>menu in menu",         //
                                 "exit menu: replace menu>menu in menu",       //
                                 "enter menu: replace menu>menu in menu",      //
                                 "exit menu: pop menu>menu in menu",           //
                                 "enter menu: pop menu>menu in menu",          //
                                 "exit menu: pop menu>playing in menu",        //
                                 "enter playing: pop menu>playing in playing"));
}

TEST_F(StateMachineTests, RefusesWhatIsNotDeclaredAndSaysSo) {
    EXPECT_EQ(machine.push("menu"), Outcome::refused); // without a handler, too
    std::vector<Machine::Refusal> refusals;
    machine.setRefusalHandler([&](const Machine::Refusal& refusal) { refusals.push_back(refusal); });
    EXPECT_FALSE(machine.allowsTransition("menu"));
    EXPECT_EQ(machine.replace("menu"), Outcome::refused);
    EXPECT_EQ(machine.push("unheard of"), Outcome::refused);
    EXPECT_EQ(machine.pop(), Outcome::refused);
    using Reason = Machine::Refusal::Reason;
    EXPECT_THAT(
        refusals,
        ElementsAre(Machine::Refusal{Reason::notDeclared, TransitionKind::replace, "stopped", "menu"},
                    Machine::Refusal{Reason::notDeclared, TransitionKind::push, "stopped", "unheard of"},
                    Machine::Refusal{Reason::nothingToPop, TransitionKind::pop, "stopped", std::nullopt}));
    EXPECT_THAT(log, testing::IsEmpty());
    EXPECT_THAT(machine.stack(), ElementsAre("stopped"));

    const std::set<std::pair<int, int>> toUnknown{{1, 2}};
    EXPECT_THROW(StateMachine<int>(1, {{1, {}}}, toUnknown), std::invalid_argument);
    EXPECT_THROW(StateMachine<int>(3, {{1, {}}}, {}), std::invalid_argument);
}

TEST_F(StateMachineTests, RequestsDuringActionsWaitTheirTurnAndAreJudgedThen) {
    std::vector<std::string> refused;
    machine.setRefusalHandler([&](const Machine::Refusal& refusal) {
        refused.push_back(refusal.from);
        EXPECT_EQ(machine.pop(), Outcome::deferred);
        machine.setRefusalHandler(nullptr);
    });
    during["exit stopped"] = [&] {
        EXPECT_EQ(machine.push("menu"), Outcome::deferred); // allowed from where the transition leads
        EXPECT_EQ(machine.push("stopped"),
                  Outcome::deferred); // but not from the menu: refused, which pops the menu
        EXPECT_EQ(machine.currentState(), "stopped");
    };
    EXPECT_EQ(machine.push("playing"), Outcome::performed);
    EXPECT_THAT(machine.stack(), ElementsAre("stopped", "playing"));
    EXPECT_THAT(refused, ElementsAre("menu"));
    EXPECT_THAT(log, ElementsAre("exit stopped: push stopped>playing in stopped",
                                 "enter playing: push stopped>playing in playing",
                                 "exit playing: push playing>menu in playing", //
                                 "enter menu: push playing>menu in menu",      //
                                 "exit menu: pop menu>playing in menu",        //
                                 "enter playing: pop menu>playing in playing"));
}

TEST_F(StateMachineTests, AnExceptionLeavesAMachineThatGoesOn) {
    during["exit stopped"] = [&] {
        machine.push("menu");
        throw std::runtime_error("not now");
    };
    EXPECT_THROW(machine.replace("playing"), std::runtime_error);
    EXPECT_EQ(machine.currentState(), "stopped");
    during.clear();
    during["enter playing"] = [] { throw std::runtime_error("too late"); };
    EXPECT_THROW(machine.replace("playing"), std::runtime_error);
    EXPECT_THAT(machine.stack(), ElementsAre("playing")); // and the menu is forgotten
    EXPECT_EQ(machine.replace("stopped"), Outcome::performed);
    EXPECT_EQ(machine.currentState(), "stopped");
}

} // namespace
} // namespace tarn
