// Undo and redo for an application's documents.
//
// AUndoMemento is one undoable step.  An application derives a memento
// class that holds what it needs to bring its document back to the state
// before the step, and says through IsSameState, IsMergeable and CanGroup
// how its mementos relate.  Each memento carries the name of its action, as
// an undo menu would show it, and an instance number that tells separate
// runs of the same action apart.  The third constructor argument is
// `packable`, the fourth `majorModification`.
//
// AUndoable is the base of a document with a history: two owning lists of
// mementos, undo (newest first) and redo (most recently undone first).  The
// document implements RestoreMemento, which restores the state a memento
// describes and returns a new memento for the state being left.
//
// AdoptMemento hands a step to the framework, which then owns it:
//   - While undo is possible at all (a limit of 1 or more), any new step
//     ends the redo history.  A memento that comes back by redo does not.
//   - Grouping: when the newest step and the new one are both mergeable and
//     the newest IsSameState or CanGroup the new one, the new memento is
//     deleted and the newest stands for both.
//   - Packing: when the new step has another name or instance than the
//     newest, and the newest is mergeable and packable, the run of steps of
//     the newest's name and instance shrinks to its oldest member.
//   - Limit: the oldest step goes when the undo list passes the limit.
// With a limit below 1 nothing is stored and nothing is deleted: the memento
// stays the caller's, who asks IsUndoEnabled first.  EnableUndo(0) only
// changes what IsUndoEnabled answers; AdoptMemento still stores.
//
// Undo calls RestoreMemento(top, 0), puts its result on the redo list and
// deletes `top`; redo does the same in the other direction, the result
// going through grouping, packing and the limit.  If RestoreMemento throws,
// both lists stay as they were.
//
// Names are compared as String compares them, following the thread's case
// mode.  The destructor of AUndoable is not virtual: a document is deleted
// through its own class, never through an AUndoable pointer.  An AUndoable
// takes no lock; it is used by one thread at a time.
#ifndef CVZ_UNDO_UNDOABLE_H
#define CVZ_UNDO_UNDOABLE_H

#include <stdint.h>

#include "CommonVcZq/collections/double_list.h"
#include "CommonVcZq/frame/api.h"
#include "CommonVcZq/text/string.h"

class AUndoable;

class CVZ_API AUndoMemento : public ListElement {
public:
    const String &GetActionName() const { return actionName; }
    int32_t GetActionInstance() const { return actionInstance; }
    int IsMajorModification() const { return majorModification; }
    int IsPackable() const { return packable; }

    // Bytes of memory the memento holds; by default its own size.
    virtual uint32_t GetInvolvedMemory() const;
    // Bytes on disk; by default 0.
    virtual uint32_t GetInvolvedDiskSpace() const;
    // Files it holds; by default 0.
    virtual uint32_t GetNumInvolvedFiles() const;
    // Non-zero when this memento and `other` describe the same state.
    virtual int32_t IsSameState(const AUndoMemento &other) const = 0;
    // Non-zero when this memento may take part in grouping and packing.
    virtual int32_t IsMergeable() const = 0;

protected:
    AUndoMemento(const String &name, int actionInstance, int packable, int majorModification);
    AUndoMemento(const char *name, int actionInstance, int packable, int majorModification);
    // Copy the name (sharing its text), the instance and both flags.
    AUndoMemento(const AUndoMemento &other);
    AUndoMemento &operator=(const AUndoMemento &other);
    ~AUndoMemento() override;

    // Non-zero when `other`, a newer step, is covered by this memento; by
    // default 0.
    virtual int32_t CanGroup(const AUndoMemento &other) const;

private:
    friend class AUndoable;
    String actionName;
    int32_t actionInstance;
    uint32_t majorModification;
    uint32_t packable;
};

class CVZ_API AUndoable {
public:
    // Copies both lists through AUndoMemento::CreateClone, which a memento
    // class must then override, and the limit and settings.
    AUndoable(const AUndoable &other);
    AUndoable &operator=(const AUndoable &other);
    // Deletes every memento of both lists.
    ~AUndoable();

    // Hands `memento` to the framework; see the top of this header.
    void AdoptMemento(AUndoMemento *memento);
    // AdoptMemento when `memento` differs in state from `reference`: 1.
    // Otherwise `memento` is deleted and both lists stay: 0.
    int AdoptMementoIfDifference(AUndoMemento *memento, const AUndoMemento &reference);
    // Restores the newest step; nothing when there is none.
    void UndoCurrentState();
    // Restores the most recently undone step; nothing when there is none.
    void RedoLastUndoneState();

    // Lowers the limit to `limit` and deletes the oldest mementos of each
    // list beyond it.  A limit can only be lowered: a higher one is ignored.
    void SetMaxNumOfUndoMementos(int limit);
    void ClearUndoMementos();
    void EnableUndo(int enable) { undoDisabled = enable == 0; }
    // 0 with a limit below 1 or after EnableUndo(0), else 1.
    int IsUndoEnabled() const;
    // Whether a memento named `name` is worth building now: 0 when undo is
    // off, or when `name` is the excluded name and also the name of the
    // newest step.  So only the repeats of an excluded action are dropped.
    int IsUndoEnabledFor(const String &name) const;
    void DoNotSaveUndoMementosWithName(const String &name);
    // The same with the text of message `messageId`.
    void DoNotSaveUndoMementosWithName(int messageId);
    void SaveUndoMementosWithAnyName();

    int32_t GetNumUndoMementos() const { return undoList.GetCount(); }
    int32_t GetNumRedoMementos() const { return redoList.GetCount(); }
    // The name of the step that undo or redo would restore, or empty.
    String GetPendingUndoName() const { return GetPendingActionName(undoList); }
    String GetPendingRedoName() const { return GetPendingActionName(redoList); }
    // Walking a list, from the newer to the older step.
    AUndoMemento *GetFirstUndoMemento() const { return undoList.GetFirst(); }
    AUndoMemento *GetFirstRedoMemento() const { return redoList.GetFirst(); }
    AUndoMemento *GetNextUndoMemento(const AUndoMemento *memento) const { return undoList.GetNext(memento); }
    AUndoMemento *GetNextRedoMemento(const AUndoMemento *memento) const { return redoList.GetNext(memento); }

    // Sums over the mementos: files and disk space of the undo list, memory
    // of both lists.
    virtual uint32_t GetNumInvolvedUndoFiles() const;
    virtual uint32_t GetInvolvedUndoMemory() const;
    virtual uint32_t GetInvolvedUndoDiskSpace() const;
    // 1 when a memento of the undo list is a major modification.
    virtual int32_t HasMajorModification() const;
    // Brings the document to the state `memento` describes (`isRedo` 0 on
    // undo, 1 on redo) and returns a new memento for the state being left,
    // or null.  `memento` stays the list's; the framework deletes it after.
    virtual AUndoMemento *RestoreMemento(AUndoMemento *memento, int isRedo) = 0;

protected:
    // Both lists empty, undo enabled, no name excluded.
    explicit AUndoable(int maxNumOfUndoMementos = 0x7FFFFFFF);

private:
    // Grouping, packing and the limit; a zero `keepRedo` ends the redo
    // history first.
    void AddToUndoList(AUndoMemento *memento, int keepRedo);
    void AddToRedoList(AUndoMemento *memento);
    String GetPendingActionName(const List<AUndoMemento> &list) const;

    List<AUndoMemento> undoList;
    List<AUndoMemento> redoList;
    uint32_t undoDisabled;
    int32_t maxNumOfUndoMementos;
    String excludedName;
};

#endif
