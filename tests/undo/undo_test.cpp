#include "CommonVcZq/undo/undoable.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "CommonVcZq/text/messages.h"

namespace {

// A step of the test document: the state before it, and knobs for what the
// framework asks.  Steps count their destructions and clones, so each test
// sees what the framework deleted or copied.  `name` is a C string or a
// String, for the two constructors of the base.
struct Step : AUndoMemento {
    template <class Name>
    Step(const Name &name, int instance, int state, int packable = 0, int major = 0)
        : AUndoMemento(name, instance, packable, major), state(state) {}
    ~Step() override { ++destroyed; }
    int32_t IsSameState(const AUndoMemento &o) const override { return state == static_cast<const Step &>(o).state; }
    int32_t IsMergeable() const override { return mergeable; }
    int32_t CanGroup(const AUndoMemento &) const override { return groups; }
    CollectionElement *CreateClone(const void *) const override {
        ++cloned;
        return new Step(*this);
    }
    uint32_t GetInvolvedMemory() const override { return 100; }
    uint32_t GetInvolvedDiskSpace() const override { return 10; }
    uint32_t GetNumInvolvedFiles() const override { return 1; }

    int state, mergeable = 1, groups = 0;
    static inline int destroyed = 0, cloned = 0;
};

// A document whose whole state is one number.  RestoreMemento counts its
// calls and hands back a step of the same action for the state it leaves,
// unless told to return null or to throw.
struct Document : AUndoable {
    explicit Document(int limit = 0x7FFFFFFF) : AUndoable(limit) {}
    AUndoMemento *RestoreMemento(AUndoMemento *memento, int isRedo) override {
        (isRedo ? redos : undos)++;
        if (fail)
            throw std::runtime_error("restore failed");
        Step *back = returnNull ? nullptr : new Step(memento->GetActionName(), memento->GetActionInstance(), state);
        state = static_cast<Step *>(memento)->state;
        return back;
    }
    // Changes the state by a step named `name` and adopts its memento.
    void Do(const char *name, int newState, int instance = 0, int packable = 0, int major = 0) {
        AdoptMemento(new Step(name, instance, state, packable, major));
        state = newState;
    }
    // The states of the mementos of both lists, newest first: undo | redo.
    std::string Lists() const {
        std::string undo, redo;
        for (AUndoMemento *m = GetFirstUndoMemento(); m; m = GetNextUndoMemento(m))
            undo += std::to_string(static_cast<Step *>(m)->state) + " ";
        for (AUndoMemento *m = GetFirstRedoMemento(); m; m = GetNextRedoMemento(m))
            redo += " " + std::to_string(static_cast<Step *>(m)->state);
        return undo + "|" + redo;
    }

    int state = 0, undos = 0, redos = 0;
    bool returnNull = false, fail = false;
};

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
    doc.Do("bold", 2, 0, 0, 1);  // a major modification
    doc.Do("type", 3);
    EXPECT_EQ(doc.HasMajorModification(), 1);
    doc.UndoCurrentState();
    doc.UndoCurrentState();
    EXPECT_EQ(doc.Lists(), "0 | 2 3");  // each undone memento deleted, its successor on redo
    EXPECT_STREQ("bold", doc.GetPendingRedoName());
    EXPECT_EQ(doc.HasMajorModification(), 0);  // the undo list only
    EXPECT_EQ(doc.GetInvolvedUndoMemory(), 300u);  // both lists
    EXPECT_EQ(doc.GetInvolvedUndoDiskSpace() + doc.GetNumInvolvedUndoFiles(), 11u);  // the undo list only

    doc.RedoLastUndoneState();  // keeps the rest of the redo history
    EXPECT_EQ(doc.Lists(), "1 0 | 3");
    EXPECT_EQ(doc.undos * 10 + doc.redos, 21);
    doc.Do("italic", 5);  // a new action ends it
    doc.returnNull = true;  // the step ends, nothing goes to redo
    doc.UndoCurrentState();
    doc.fail = true;  // a restore that throws leaves both lists alone
    EXPECT_THROW(doc.UndoCurrentState(), std::runtime_error);
    EXPECT_EQ(doc.Lists(), "1 0 |");
    doc.ClearUndoMementos();
    EXPECT_EQ(Step::destroyed, 7);  // 2 undone, 1 redone, 1 redo ended, 1 by null, 2 cleared

    // An excluded name stops only the repeats of the newest step.
    EXPECT_TRUE(doc.IsUndoEnabledFor(""));
    doc.DoNotSaveUndoMementosWithName(String("scroll"));
    EXPECT_TRUE(doc.IsUndoEnabledFor("scroll"));  // the first of a burst is saved
    doc.Do("scroll", 1);
    EXPECT_FALSE(doc.IsUndoEnabledFor("scroll"));
    doc.DoNotSaveUndoMementosWithName(static_cast<int>(MSG_FILE_ERROR));
    doc.Do("File error", 3);
    EXPECT_FALSE(doc.IsUndoEnabledFor("File error"));
    doc.SaveUndoMementosWithAnyName();
    EXPECT_TRUE(doc.IsUndoEnabledFor("File error"));
    // EnableUndo(0) changes the answers, not what AdoptMemento does.
    doc.EnableUndo(0);
    EXPECT_FALSE(doc.IsUndoEnabledFor("other"));
    doc.Do("step", 4);
    EXPECT_EQ(doc.GetNumUndoMementos(), 3);
    doc.EnableUndo(7);
    EXPECT_TRUE(doc.IsUndoEnabled());

    const Step plain(String("plain"), 0, 0, 1);
    EXPECT_EQ(plain.AUndoMemento::GetInvolvedMemory(), sizeof(AUndoMemento));  // the base's default
    EXPECT_TRUE(plain.IsPackable() && !plain.IsMajorModification());
}

TEST_F(UndoTest, LimitsAndCopies) {
    Document doc(3);
    for (int i = 1; i <= 4; ++i)
        doc.Do("step", i);
    EXPECT_EQ(doc.Lists(), "3 2 1 |");  // the oldest went
    doc.UndoCurrentState();
    doc.UndoCurrentState();
    doc.DoNotSaveUndoMementosWithName(String("step"));
    Document copy(doc);
    EXPECT_EQ(Step::cloned, 3);
    EXPECT_EQ(copy.Lists(), "1 | 3 4");
    EXPECT_FALSE(copy.IsUndoEnabledFor("step"));  // the excluded name came along
    doc.SetMaxNumOfUndoMementos(1);  // trims both lists from the oldest end
    EXPECT_EQ(doc.Lists(), "1 | 3");
    doc.SetMaxNumOfUndoMementos(5);  // can only be lowered
    doc.Do("more", 9);
    EXPECT_EQ(doc.Lists(), "2 |");
    copy = doc;  // the old mementos go, clones come
    copy.Do("step", 7);
    EXPECT_EQ(copy.Lists(), "9 |");  // the limit came along
    doc.UndoCurrentState();
    doc.SetMaxNumOfUndoMementos(0);  // deletes everything
    EXPECT_EQ(Step::destroyed, 12);
    doc.SetMaxNumOfUndoMementos(-3);
    // Without room for undo a memento is neither stored nor deleted.
    EXPECT_FALSE(doc.IsUndoEnabled());
    Step kept("step", 0, 0);
    doc.AdoptMemento(&kept);
    EXPECT_EQ(doc.Lists(), "|");
}

TEST_F(UndoTest, GroupingAndPacking) {
    Document doc;
    doc.Do("move", 1);
    doc.Do("move", 2);
    doc.UndoCurrentState();
    doc.AdoptMemento(new Step("move", 0, 0));  // the newest step's state: dropped, and redo ends
    static_cast<Step *>(doc.GetFirstUndoMemento())->groups = 1;
    doc.Do("move", 3);  // CanGroup covers another state
    // Both must be mergeable.  Same name and instance, not groupable:
    // stored beside it, no packing.
    Step *lone = new Step("move", 0, 3);
    lone->mergeable = 0;
    doc.AdoptMemento(lone);
    lone->groups = 1;
    doc.AdoptMemento(new Step("move", 0, 4, 1));
    doc.AdoptMemento(new Step("move", 0, 5, 0));
    Step reference("ref", 0, 6);
    EXPECT_EQ(doc.AdoptMementoIfDifference(new Step("x", 0, 6), reference), 0);
    EXPECT_EQ(doc.AdoptMementoIfDifference(new Step("x", 0, 7), reference), 1);
    EXPECT_EQ(doc.Lists(), "7 5 4 3 0 |");

    // Packing: the run of the top's action and instance shrinks to its oldest
    // member when another follows and the top is packable and mergeable.
    // One step a column: B stays (a run of one), the A/1 run packs when C
    // comes, and C/1 when C/2 comes; D, E E (a top not packable) and F F
    // (a top made not mergeable) stay.
    const std::string name = "BAAACCCDEEFFG", instance = "1111112000000", packable = "1001011100110";
    Document packed;
    for (size_t i = 0; i < name.size(); ++i) {
        if (name[i] == 'G')
            static_cast<Step *>(packed.GetFirstUndoMemento())->mergeable = 0;
        packed.Do(name.substr(i, 1).c_str(), static_cast<int>(i) + 1, instance[i] - '0', packable[i] - '0');
    }
    EXPECT_EQ(packed.Lists(), "12 11 10 9 8 7 6 4 1 0 |");
    EXPECT_EQ(Step::destroyed, 8);  // the undone step, its redo memento, three dropped, three packed
}

}  // namespace
