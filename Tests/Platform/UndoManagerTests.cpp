#include "Platform/UndoManager.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tarn {
namespace {

/// A text that records its changes as a document does.
struct UndoManagerTests : testing::Test {
    void set(const std::string& value) {
        manager.registerUndo([this, before = text] { set(before); });
        text = value;
    }
    void append(const std::string& piece) { set(text + piece); }

    UndoManager manager;
    std::string text;
};

TEST_F(UndoManagerTests, TheOutermostGroupIsOneStep) {
    set("a");
    manager.beginUndoGrouping();
    append("b");
    manager.beginUndoGrouping();
    append("c");
    manager.endUndoGrouping();
    EXPECT_EQ(manager.groupingLevel(), 1);
    append("d");
    manager.endUndoGrouping();
    manager.beginUndoGrouping();
    manager.endUndoGrouping(); // no actions, no step

    std::string seen;
    for (const char step : std::string_view("uuurrru")) {
        step == 'u' ? manager.undo() : manager.redo();
        seen += " " + text + (manager.canUndo() ? "<" : "") + (manager.canRedo() ? ">" : "");
    }
    EXPECT_EQ(seen, " a<> > > a<> abcd< abcd< a<>") << "texts, and whether they can be undone and redone";
}

TEST_F(UndoManagerTests, ANewStepDiscardsWhatCouldBeRedone) {
    set("a");
    manager.undo();
    manager.beginUndoGrouping();
    manager.endUndoGrouping();
    EXPECT_TRUE(manager.canRedo()) << "an empty group is not a step";
    set("b");
    EXPECT_FALSE(manager.canRedo());
}

TEST_F(UndoManagerTests, DisablingIsCounted) {
    manager.beginUndoGrouping();
    manager.disableUndoRegistration();
    manager.disableUndoRegistration();
    append("a");
    manager.enableUndoRegistration();
    EXPECT_FALSE(manager.isUndoRegistrationEnabled());
    append("b");
    manager.enableUndoRegistration();
    append("c");
    manager.endUndoGrouping();
    manager.undo();
    EXPECT_EQ(text, "ab");
    EXPECT_FALSE(manager.canUndo());
}

TEST_F(UndoManagerTests, ActionsMayGroupAndAskWhatIsGoingOn) {
    bool wasUndoing = false, wasRedoing = false;
    manager.registerUndo([&] {
        wasUndoing = manager.isUndoing() && !manager.isRedoing();
        manager.beginUndoGrouping();
        manager.registerUndo([&] { wasRedoing = manager.isRedoing() && !manager.isUndoing(); });
        manager.endUndoGrouping();
    });
    manager.undo();
    EXPECT_TRUE(wasUndoing);
    EXPECT_FALSE(manager.isUndoing());
    manager.redo();
    EXPECT_TRUE(wasRedoing);
    EXPECT_FALSE(manager.canUndo()) << "the redone action registered nothing";
}

TEST_F(UndoManagerTests, AnActionThatThrowsLeavesTheManagerUsable) {
    manager.beginUndoGrouping();
    manager.registerUndo([] { throw std::runtime_error("no"); });
    append("a");
    manager.endUndoGrouping();
    EXPECT_THROW(manager.undo(), std::runtime_error);
    EXPECT_EQ(text, "");
    EXPECT_FALSE(manager.isUndoing());
    EXPECT_EQ(manager.groupingLevel(), 0);
    manager.redo();
    EXPECT_EQ(text, "a") << "the part that was undone can be redone";
}

TEST_F(UndoManagerTests, RemovingAllActionsKeepsTheOpenGroup) {
    set("a");
    set("b");
    manager.undo();
    manager.beginUndoGrouping();
    append("c");
    manager.removeAllActions();
    EXPECT_FALSE(manager.canUndo() || manager.canRedo());
    manager.endUndoGrouping();
    EXPECT_FALSE(manager.canUndo());
}

TEST_F(UndoManagerTests, AnActionMayLetGoOfTheManager) {
    auto shared = std::make_shared<UndoManager>();
    const std::weak_ptr<UndoManager> weak = shared;
    shared->beginUndoGrouping();
    shared->registerUndo([&] { text = weak.expired() ? "cut off" : "ran to the end"; });
    shared->registerUndo([&] { shared.reset(); });
    shared->endUndoGrouping();
    shared->undo();
    EXPECT_EQ(text, "ran to the end");
    EXPECT_TRUE(weak.expired());
}

TEST_F(UndoManagerTests, WrongUseAborts) {
    EXPECT_DEATH(manager.endUndoGrouping(), "endUndoGrouping without beginUndoGrouping");
    EXPECT_DEATH(manager.enableUndoRegistration(), "enableUndoRegistration without disableUndoRegistration");
    manager.registerUndo([this] { manager.undo(); });
    EXPECT_DEATH(manager.undo(), "inside an open undo group");
    manager.removeAllActions();
    manager.registerUndo([this] { manager.endUndoGrouping(); });
    EXPECT_DEATH(manager.undo(), "endUndoGrouping without beginUndoGrouping");
    manager.beginUndoGrouping();
    EXPECT_DEATH(manager.undo(), "inside an open undo group");
}

} // namespace
} // namespace tarn
