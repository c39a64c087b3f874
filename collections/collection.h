// The bases that every container of the library shares.
//
// Collection holds the element count and three flags: whether the container
// owns its elements, whether the caller declared it sorted, and whether a
// list's own Sort left it sorted.  It is a base only.
//
// CollectionElement is the base of anything that lives in an array or a
// list.  Its virtual members are what make the containers generic without
// templates: Compare orders two elements, CreateClone makes the deep copies
// of Assign, Insert and Append, GetHashedValue files an element in a hash
// list.  An element class overrides those its containers call.
//
// The compare mode that a container hands to every Compare call is the
// element class's to interpret; containers give it no meaning.  A new
// container's mode is 0.
#ifndef CVZ_COLLECTIONS_COLLECTION_H
#define CVZ_COLLECTIONS_COLLECTION_H

#include <stdint.h>

#include "CommonVcZq/frame/api.h"

class CVZ_API Collection {
public:
    int IsEmpty() const { return count == 0; }
    int32_t GetCount() const { return count; }
    // One past the last index: the count.
    int32_t GetEndIndex() const { return count; }
    // count - 1, so -1 when empty.
    int32_t GetLastIndex() const { return count - 1; }

    // Whether the container deletes its elements when they leave it.
    int ShouldDeleteElements() const { return deleteElements; }
    void ShouldDeleteElements(int yes) { deleteElements = yes != 0; }

    // The caller's declaration that the elements are in order, which lets
    // a search rely on it.  No container sets or clears it by itself.
    int IsMarkedAsSorted() const { return markedAsSorted; }
    void MarkAsSorted(int yes) { markedAsSorted = yes != 0; }

    // Takes a name and keeps nothing: a collection has no name.
    void SetName(const char *) {}

protected:
    // A non-zero `deleteElements` makes the container own its elements.
    explicit Collection(int deleteElements);
    // The flags are copied; the count starts at 0.
    Collection(const Collection &other);
    // Copies the flags and sets the count to 0; releases nothing.
    Collection &operator=(const Collection &other);
    virtual ~Collection();

    uint32_t deleteElements : 1;  // the container owns its elements
    uint32_t markedAsSorted : 1;  // declared sorted by MarkAsSorted
    uint32_t wasSorted : 1;       // left sorted by a list's own Sort
    int32_t count;                // elements, or busy cells of a CellSequence
};

class CVZ_API CollectionElement {
public:
    CollectionElement() {}
    // Copying an element copies nothing of this base.
    CollectionElement(const CollectionElement &) {}
    CollectionElement &operator=(const CollectionElement &) { return *this; }
    // Containers that own their elements delete them through this.
    virtual ~CollectionElement();

    // Below 0 when this element orders before `other`, 0 when equal, above 0
    // when after.  `mode` is the container's compare mode, passed unchanged.
    // The default gives -1: nothing is equal, not even an element to itself.
    virtual int32_t Compare(const CollectionElement &other, int mode) const;

    // A new element of the same dynamic type, owned by the caller.  `context`
    // comes unchanged from the container's Assign, Insert or Append.  The
    // default gives null.
    virtual CollectionElement *CreateClone(const void *context) const;

    // The element's hash, for the hash list.  The default gives 0.
    virtual uint32_t GetHashedValue() const;
};

// The exponent of `value` when it is an exact power of two (0 to 31), else
// -1; 0 gives -1.
CVZ_API int GetPowerOf2(unsigned int value);

#endif
