// HashListImp: a chained hash table that is itself a DoubleList.
//
// All elements stand in the one list, the elements of a bucket in one
// adjacent run, and a table of bucket heads points into it.  An element
// derives from HashListElement and overrides GetHashedValue and Compare;
// two elements are the same key when Compare, with the list's compare
// mode, gives 0.  AddHashed files an element in bucket
// hash % GetNumBuckets(): a bucket's first element is appended to the list
// and stays the head of its run, and later ones go directly behind the
// head, so a run holds the oldest element and then the others from newest
// to oldest.  AddHashed does not look for duplicates.  FindHashed walks one
// run.  Any element with the right hash and Compare serves as the key: it
// need not stand in a table.
//
// The table never grows; the caller chooses its size for the expected
// number of elements.  The bucket count is the smallest of a fixed table of
// primes (3, 7, 13, ... 1073741789) strictly above the wish: 500 gives 509,
// 509 gives 1021.  A wish beyond the largest prime gets the largest.
//
// Walking, counting and ownership are those of DoubleList.  DetachHashed,
// DeleteHashed, Clear, DetachAll and DeleteAll keep the bucket heads right;
// the other inherited members that remove, insert or reorder elements
// (Detach, Sort, Swap, Append...) do not, and a table that has been through
// one of them must not be searched again.  A table cannot be copied.
//
// HashListImp takes no lock: a table is used by one thread at a time.
#ifndef CVZ_COLLECTIONS_HASH_LIST_H
#define CVZ_COLLECTIONS_HASH_LIST_H

#include <stdint.h>

#include "CommonVcZq/collections/double_list.h"
#include "CommonVcZq/frame/api.h"

class CVZ_API HashListElement : public ListElement {
public:
    HashListElement() : bucket(0) {}
    // Copies the bucket index along with the links; both are stale until a
    // table files the copy.
    HashListElement(const HashListElement &other) : ListElement(other), bucket(other.bucket) {}
    HashListElement &operator=(const HashListElement &other) {
        ListElement::operator=(other);
        bucket = other.bucket;
        return *this;
    }
    ~HashListElement() override;

    // The bucket that AddHashed filed the element in.
    uint32_t GetBucket() const { return bucket; }

private:
    friend class HashListImp;
    uint32_t bucket;
};

class CVZ_API HashListImp : public DoubleList {
public:
    // An empty table with the first prime above `wantedBuckets` as its
    // bucket count; by default it owns its elements.
    explicit HashListImp(unsigned int wantedBuckets, int deleteElements = 1);
    // Releases the bucket table; an owning table deletes its elements.
    ~HashListImp() override;
    HashListImp(const HashListImp &) = delete;
    HashListImp &operator=(const HashListImp &) = delete;

    uint32_t GetNumBuckets() const { return numBuckets; }

    // Files `e` in the bucket of its hash and returns it.
    HashListElement *AddHashed(HashListElement *e);
    // The element of `key`'s bucket that compares equal to it, else null.
    HashListElement *FindHashed(const HashListElement &key) const;

    // Takes `e`, an element of this table, out of it and out of its bucket.
    // Null gives null.
    HashListElement *DetachHashed(HashListElement *e);
    // DetachHashed, then deletes `e`, whatever the ownership flag says.
    void DeleteHashed(HashListElement *e);
    // As in DoubleList, and all buckets become empty.
    void Clear();
    void DetachAll();
    void DeleteAll();

private:
    HashListElement **buckets;  // head of each bucket's run, null when empty
    uint32_t numBuckets;
};

#endif
