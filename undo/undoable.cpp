// AUndoMemento and AUndoable: the undo and redo lists and the rules by
// which a new step joins them.
#include "CommonVcZq/undo/undoable.h"

#include "CommonVcZq/text/messages.h"

namespace {

// The excluded name that no real action has.
const char kNoExcludedName[] = "%%%%%%%%";

bool SameAction(const AUndoMemento &a, const AUndoMemento &b) {
    return a.GetActionInstance() == b.GetActionInstance() && a.GetActionName() == b.GetActionName();
}

}  // namespace

// ------------------------------------------------------------ AUndoMemento

AUndoMemento::AUndoMemento(const String &name, int actionInstance, int packable, int majorModification)
    : actionName(name),
      actionInstance(actionInstance),
      majorModification(majorModification != 0),
      packable(packable != 0) {}

AUndoMemento::AUndoMemento(const char *name, int actionInstance, int packable, int majorModification)
    : AUndoMemento(String(name), actionInstance, packable, majorModification) {}

// Copies take the links (stale until a list links the copy), the name
// (sharing its text), the instance and both flags.
AUndoMemento::AUndoMemento(const AUndoMemento &other) = default;
AUndoMemento &AUndoMemento::operator=(const AUndoMemento &other) = default;

AUndoMemento::~AUndoMemento() {}

uint32_t AUndoMemento::GetInvolvedMemory() const {
    return sizeof(AUndoMemento);
}

uint32_t AUndoMemento::GetInvolvedDiskSpace() const {
    return 0;
}

uint32_t AUndoMemento::GetNumInvolvedFiles() const {
    return 0;
}

int32_t AUndoMemento::CanGroup(const AUndoMemento &) const {
    return 0;
}

// --------------------------------------------------------------- AUndoable

AUndoable::AUndoable(int maxNumOfUndoMementos)
    : undoList(1),
      redoList(1),
      undoDisabled(0),
      maxNumOfUndoMementos(maxNumOfUndoMementos),
      excludedName(kNoExcludedName) {}

// Copying clones every memento of both lists (List's copy and assignment),
// then takes the other fields.
AUndoable::AUndoable(const AUndoable &other) = default;
AUndoable &AUndoable::operator=(const AUndoable &other) = default;

AUndoable::~AUndoable() {}

void AUndoable::AddToUndoList(AUndoMemento *memento, int keepRedo) {
    if (!memento || maxNumOfUndoMementos < 1)
        return;
    // A new action ends the redo history, also when it is grouped away.
    if (!keepRedo)
        redoList.DeleteAll();

    AUndoMemento *top = undoList.GetFirst();
    if (top && top->IsMergeable() && memento->IsMergeable() &&
        (top->IsSameState(*memento) || top->CanGroup(*memento))) {
        delete memento;
        return;
    }

    // A run of packable steps of one action, ended by another action,
    // shrinks to its oldest member.  Only the newest member is asked.
    if (top && !SameAction(*top, *memento) && top->IsMergeable() && top->IsPackable()) {
        AUndoMemento *oldest = top;
        for (AUndoMemento *e = undoList.GetNext(top); e && SameAction(*e, *top); e = undoList.GetNext(e))
            oldest = e;
        while (undoList.GetFirst() != oldest)
            undoList.DeleteFirst();
    }

    undoList.Prepend(memento);
    if (undoList.GetCount() > maxNumOfUndoMementos)
        undoList.DeleteLast();
}

void AUndoable::AddToRedoList(AUndoMemento *memento) {
    if (memento && maxNumOfUndoMementos > 0)
        redoList.Prepend(memento);
}

void AUndoable::AdoptMemento(AUndoMemento *memento) {
    AddToUndoList(memento, 0);
}

int AUndoable::AdoptMementoIfDifference(AUndoMemento *memento, const AUndoMemento &reference) {
    if (!memento->IsSameState(reference)) {
        AddToUndoList(memento, 0);
        return 1;
    }
    delete memento;
    return 0;
}

void AUndoable::UndoCurrentState() {
    AUndoMemento *top = undoList.GetFirst();
    if (!top)
        return;
    AddToRedoList(RestoreMemento(top, 0));
    undoList.Delete(top);
}

void AUndoable::RedoLastUndoneState() {
    AUndoMemento *top = redoList.GetFirst();
    if (!top)
        return;
    AddToUndoList(RestoreMemento(top, 1), 1);
    redoList.Delete(top);
}

void AUndoable::SetMaxNumOfUndoMementos(int limit) {
    if (limit >= maxNumOfUndoMementos)
        return;
    maxNumOfUndoMementos = limit;
    while (undoList.GetCount() > limit && undoList.GetCount() > 0)
        undoList.DeleteLast();
    while (redoList.GetCount() > limit && redoList.GetCount() > 0)
        redoList.DeleteLast();
}

void AUndoable::ClearUndoMementos() {
    undoList.DeleteAll();
    redoList.DeleteAll();
}

int AUndoable::IsUndoEnabled() const {
    if (maxNumOfUndoMementos < 1)
        return 0;
    return undoDisabled ? 0 : 1;
}

int AUndoable::IsUndoEnabledFor(const String &name) const {
    if (!IsUndoEnabled())
        return 0;
    if (name != GetPendingUndoName())
        return 1;
    return name == excludedName ? 0 : 1;
}

void AUndoable::DoNotSaveUndoMementosWithName(const String &name) {
    excludedName = name;
}

void AUndoable::DoNotSaveUndoMementosWithName(int messageId) {
    excludedName = FindString(static_cast<unsigned int>(messageId));
}

void AUndoable::SaveUndoMementosWithAnyName() {
    excludedName = kNoExcludedName;
}

String AUndoable::GetPendingActionName(const List<AUndoMemento> &list) const {
    AUndoMemento *first = list.GetFirst();
    return first ? first->actionName : String();
}

// The sum of one cost over the mementos of `list`.
static uint32_t SumOf(const List<AUndoMemento> &list, uint32_t (AUndoMemento::*cost)() const) {
    uint32_t sum = 0;
    for (AUndoMemento *e = list.GetFirst(); e; e = list.GetNext(e))
        sum += (e->*cost)();
    return sum;
}

uint32_t AUndoable::GetNumInvolvedUndoFiles() const {
    return SumOf(undoList, &AUndoMemento::GetNumInvolvedFiles);
}

uint32_t AUndoable::GetInvolvedUndoMemory() const {
    return SumOf(undoList, &AUndoMemento::GetInvolvedMemory) + SumOf(redoList, &AUndoMemento::GetInvolvedMemory);
}

uint32_t AUndoable::GetInvolvedUndoDiskSpace() const {
    return SumOf(undoList, &AUndoMemento::GetInvolvedDiskSpace);
}

int32_t AUndoable::HasMajorModification() const {
    for (AUndoMemento *e = undoList.GetFirst(); e; e = undoList.GetNext(e))
        if (e->majorModification)
            return 1;
    return 0;
}
