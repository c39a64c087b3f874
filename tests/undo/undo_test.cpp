#include "undo/undoable.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "text/messages.h"

namespace {

// A step of the test document: the state before it, and knobs for what the
// framework asks.  Steps count their destructions and clones, so each test
// sees what the framework deleted or copied.
struct Step : AUndoMemento {
    Step(const char *name, int instance, int state, int packable = 0, int major = 0)
        : AUndoMemento(name, instance, packable, major), state(state) {}
    ~Step() override { ++destroyed; }
    int32_t IsSameState(const AUndoMemento &other) const override {
        return state == static_cast<const Step &>(other).state;
    }
    int32_t IsMergeable() const override { return mergeable; }
    int32_t CanGroup(const AUndoMemento &) const override { return groups; }
    CollectionElement *CreateClone(const void *) const override {
        ++cloned;
        return new Step(*this);
    }
    uint32_t GetInvolvedMemory() const override { return memory; }
    uint32_t GetInvolvedDiskSpace() const override { return 10; }
    uint32_t GetNumInvolvedFiles() const override { return 1; }

    int state, mergeable = 1, groups = 0;
    uint32_t memory = 100;
    static int destroyed, cloned;
};
int Step::destroyed = 0;
int Step::cloned = 0;

// A memento that keeps every default of the framework.
struct PlainStep : AUndoMemento {
    PlainStep() : AUndoMemento(String("plain"), 0, 1, 0) {}
    int32_t IsSameState(const AUndoMemento &) const override { return 0; }
    int32_t IsMergeable() const override { return 0; }
};

// A document whose whole state is one number.  RestoreMemento counts its
// calls and hands back a step for the state it leaves, unless told to
// return null or to throw.
struct Document : AUndoable {
    explicit Document(int limit = 0x7FFFFFFF) : AUndoable(limit) {}
    AUndoMemento *RestoreMemento(AUndoMemento *memento, int isRedo) override {
        Step *step = static_cast<Step *>(memento);
        (isRedo ? redos : undos)++;
        if (fail)
            throw std::runtime_error("restore failed");
        Step *back = returnNull ? nullptr : new Step(step->GetActionName(), step->GetActionInstance(), state);
        state = step->state;
        return back;
    }
    // Changes the state by a step named `name` and adopts its memento.
    void Do(const char *name, int newState, int instance = 0, int packable = 0) {
        AdoptMemento(new Step(name, instance, state, packable));
        state = newState;
    }
    // The states of the mementos of a list, newest first.
    std::vector<int> UndoStates() const { return States(GetFirstUndoMemento(), true); }
    std::vector<int> RedoStates() const { return States(GetFirstRedoMemento(), false); }
    std::vector<int> States(AUndoMemento *m, bool undo) const {
        std::vector<int> states;
        for (; m; m = undo ? GetNextUndoMemento(m) : GetNextRedoMemento(m))
            states.push_back(static_cast<Step *>(m)->state);
        return states;
    }

    int state = 0, undos = 0, redos = 0;
    bool returnNull = false, fail = false;
};

using States = std::vector<int>;

class UndoTest : public ::testing::Test {
protected:
    void SetUp() override { Step::destroyed = Step::cloned = 0; }
};

TEST_F(UndoTest, UndoAndRedoWalkTheHistory) {
    Document doc;
    doc.UndoCurrentState();
    doc.RedoLastUndoneState();
    EXPECT_EQ(doc.undos + doc.redos, 0);  // empty lists: RestoreMemento is not called

    doc.Do("type", 1);
    doc.Do("bold", 2);
    doc.Do("type", 3);
    EXPECT_EQ(doc.UndoStates(), (States{2, 1, 0}));
    doc.UndoCurrentState();
    doc.UndoCurrentState();
    EXPECT_EQ(doc.state, 1);
    EXPECT_EQ(doc.UndoStates(), (States{0}));
    EXPECT_EQ(doc.RedoStates(), (States{2, 3}));  // the states left, newest first
    EXPECT_EQ(Step::destroyed, 2);                // the undone mementos
    EXPECT_STREQ("bold", doc.GetPendingRedoName());

    doc.RedoLastUndoneState();  // keeps the rest of the redo history
    EXPECT_EQ(doc.UndoStates(), (States{1, 0}));
    EXPECT_EQ(doc.RedoStates(), (States{3}));
    EXPECT_EQ(doc.undos * 10 + doc.redos, 21);
    doc.Do("italic", 5);  // a new action ends it
    EXPECT_EQ(doc.GetNumRedoMementos(), 0);
    EXPECT_EQ(Step::destroyed, 4);

    doc.returnNull = true;  // the step ends, nothing goes to redo
    doc.UndoCurrentState();
    EXPECT_EQ(doc.GetNumUndoMementos() + doc.GetNumRedoMementos(), 2);
    doc.fail = true;  // a restore that throws leaves both lists alone
    EXPECT_THROW(doc.UndoCurrentState(), std::runtime_error);
    EXPECT_EQ(doc.UndoStates(), (States{1, 0}));
    EXPECT_EQ(Step::destroyed, 5);
    doc.ClearUndoMementos();
    EXPECT_EQ(Step::destroyed, 7);
}

TEST_F(UndoTest, LimitsAndEnabling) {
    {
        Document doc(3);
        for (int i = 1; i <= 4; ++i)
            doc.Do("step", i);
        EXPECT_EQ(doc.UndoStates(), (States{3, 2, 1}));  // the oldest went
        EXPECT_EQ(Step::destroyed, 1);
        doc.UndoCurrentState();
        doc.UndoCurrentState();
        doc.SetMaxNumOfUndoMementos(1);  // trims both lists from the oldest end
        EXPECT_EQ(doc.UndoStates(), (States{1}));
        EXPECT_EQ(doc.RedoStates(), (States{3}));
        doc.SetMaxNumOfUndoMementos(5);  // can only be lowered
        doc.Do("more", 9);
        EXPECT_EQ(doc.GetNumUndoMementos(), 1);
        doc.UndoCurrentState();
        doc.SetMaxNumOfUndoMementos(0);  // deletes everything
        EXPECT_EQ(doc.GetNumUndoMementos() + doc.GetNumRedoMementos(), 0);
        EXPECT_EQ(Step::destroyed, 8);
        doc.SetMaxNumOfUndoMementos(-3);
    }

    // Without room for undo a memento is neither stored nor deleted.
    Document none(0);
    EXPECT_FALSE(none.IsUndoEnabled());
    Step kept("step", 0, 0);
    none.AdoptMemento(&kept);
    EXPECT_EQ(none.GetNumUndoMementos(), 0);

    // EnableUndo(0) changes the answer, not what AdoptMemento does.
    Document doc;
    doc.EnableUndo(0);
    EXPECT_FALSE(doc.IsUndoEnabled());
    doc.Do("step", 1);
    EXPECT_EQ(doc.GetNumUndoMementos(), 1);
    doc.EnableUndo(7);
    EXPECT_TRUE(doc.IsUndoEnabled());
}

TEST_F(UndoTest, GroupingDropsTheNewStepButStillEndsRedo) {
    Document doc;
    doc.Do("move", 1);
    doc.Do("move", 2);
    doc.UndoCurrentState();
    doc.AdoptMemento(new Step("move", 0, 0));  // the newest step's state: dropped
    EXPECT_EQ(doc.GetNumUndoMementos(), 1);
    EXPECT_EQ(doc.GetNumRedoMementos(), 0);
    EXPECT_EQ(Step::destroyed, 3);  // the undone step, its redo memento, the new one

    static_cast<Step *>(doc.GetFirstUndoMemento())->groups = 1;
    doc.Do("move", 3);  // CanGroup covers another state
    EXPECT_EQ(doc.UndoStates(), (States{0}));
    Step *lone = new Step("move", 0, 3);
    lone->mergeable = 0;  // both must be mergeable
    doc.AdoptMemento(lone);
    // Same name and instance, not groupable: stored beside it, no packing.
    doc.AdoptMemento(new Step("move", 0, 4, 1));
    doc.AdoptMemento(new Step("move", 0, 5, 0));
    EXPECT_EQ(doc.UndoStates(), (States{5, 4, 3, 0}));

    Step reference("ref", 0, 6);
    EXPECT_EQ(doc.AdoptMementoIfDifference(new Step("x", 0, 6), reference), 0);
    EXPECT_EQ(Step::destroyed, 5);
    EXPECT_EQ(doc.AdoptMementoIfDifference(new Step("x", 0, 7), reference), 1);
    EXPECT_EQ(doc.UndoStates(), (States{7, 5, 4, 3, 0}));
}

TEST_F(UndoTest, PackingKeepsTheOldestOfARun) {
    Document doc;
    doc.Do("B", 1, 1, 1);
    doc.Do("A", 2, 1, 0);  // the older members need not be packable
    doc.Do("A", 3, 1, 0);
    doc.Do("A", 4, 1, 1);
    doc.Do("C", 5, 1);  // another action ends the run of A/1
    EXPECT_EQ(doc.UndoStates(), (States{4, 1, 0}));
    EXPECT_EQ(Step::destroyed, 2);
    doc.Do("C", 6, 1, 1);
    doc.Do("C", 7, 2, 1);  // so does another instance
    EXPECT_EQ(doc.UndoStates(), (States{6, 4, 1, 0}));

    // A run of one, a top that is not packable or not mergeable: no packing.
    doc.Do("D", 8, 0, 1);
    doc.Do("E", 9, 0, 0);
    doc.Do("E", 10, 0, 0);
    doc.Do("F", 11, 0, 1);
    doc.Do("F", 12, 0, 1);
    static_cast<Step *>(doc.GetFirstUndoMemento())->mergeable = 0;
    doc.Do("G", 13);
    EXPECT_EQ(doc.UndoStates(), (States{12, 11, 10, 9, 8, 7, 6, 4, 1, 0}));
    EXPECT_EQ(Step::destroyed, 3);
}

TEST_F(UndoTest, ExcludedNamesStopOnlyRepeats) {
    Document doc;
    EXPECT_TRUE(doc.GetPendingUndoName().IsEmpty());
    EXPECT_TRUE(doc.IsUndoEnabledFor(""));
    doc.DoNotSaveUndoMementosWithName(String("scroll"));
    EXPECT_TRUE(doc.IsUndoEnabledFor("scroll"));  // the first of a burst is saved
    doc.Do("scroll", 1);
    EXPECT_FALSE(doc.IsUndoEnabledFor("scroll"));
    EXPECT_TRUE(doc.IsUndoEnabledFor("type"));
    doc.Do("type", 2);
    EXPECT_TRUE(doc.IsUndoEnabledFor("scroll"));

    doc.DoNotSaveUndoMementosWithName(static_cast<int>(MSG_FILE_ERROR));
    doc.Do("File error", 3);
    EXPECT_FALSE(doc.IsUndoEnabledFor("File error"));
    doc.SaveUndoMementosWithAnyName();
    EXPECT_TRUE(doc.IsUndoEnabledFor("File error"));
    doc.EnableUndo(0);
    EXPECT_FALSE(doc.IsUndoEnabledFor("other"));
}

TEST_F(UndoTest, CostsMajorModificationsAndDefaults) {
    Document doc;
    doc.AdoptMemento(new Step("a", 0, 1));
    Step *major = new Step("b", 0, 2, 0, 1);
    EXPECT_TRUE(major->IsMajorModification());  // the fourth argument
    EXPECT_FALSE(major->IsPackable());
    doc.AdoptMemento(major);
    EXPECT_EQ(doc.HasMajorModification(), 1);
    doc.UndoCurrentState();  // the major step leaves the undo list
    EXPECT_EQ(doc.HasMajorModification(), 0);
    static_cast<Step *>(doc.GetFirstRedoMemento())->memory = 1000;
    EXPECT_EQ(doc.GetInvolvedUndoMemory(), 1100u);   // both lists
    EXPECT_EQ(doc.GetInvolvedUndoDiskSpace(), 10u);  // the undo list only
    EXPECT_EQ(doc.GetNumInvolvedUndoFiles(), 1u);

    PlainStep *plain = new PlainStep;
    EXPECT_TRUE(plain->IsPackable());  // the third argument
    EXPECT_EQ(plain->GetInvolvedMemory(), sizeof(AUndoMemento));
    EXPECT_EQ(plain->GetInvolvedDiskSpace() + plain->GetNumInvolvedFiles(), 0u);
    doc.AdoptMemento(plain);  // ends the redo history
    EXPECT_EQ(doc.GetInvolvedUndoMemory(), 100u + sizeof(AUndoMemento));
}

TEST_F(UndoTest, CopiesCloneEveryMemento) {
    Document doc(4);
    doc.Do("a", 1);
    doc.Do("b", 2);
    doc.UndoCurrentState();
    doc.DoNotSaveUndoMementosWithName(String("a"));
    Document copy(doc);
    EXPECT_EQ(Step::cloned, 2);
    EXPECT_EQ(copy.RedoStates(), doc.RedoStates());
    EXPECT_FALSE(copy.IsUndoEnabledFor("a"));  // the excluded name came along

    Document other(2);
    other.Do("x", 7);
    other = doc;  // the old memento goes, clones come
    EXPECT_EQ(Step::destroyed, 2);  // doc's undone step and other's own
    EXPECT_EQ(other.UndoStates(), (States{0}));
    for (int i = 0; i < 5; ++i)
        other.Do("c", 10 + i);
    EXPECT_EQ(other.GetNumUndoMementos(), 4);  // the limit came along
}

}  // namespace
