// HashListElement and HashListImp.
#include "CommonVcZq/collections/hash_list.h"

#include <string.h>

#include <algorithm>

namespace {

// The bucket counts a table can have.
const uint32_t kBucketCounts[] = {
    3,        7,        13,        31,        61,        127,       251,        509,
    1021,     2017,     4093,      5987,      9551,      15683,     19609,      31397,
    65521,    131071,   262139,    524287,    1048573,   2097143,   4194301,    8388593,
    16777213, 33554393, 67108859,  134217689, 268435399, 536870909, 1073741789,
};

// The smallest bucket count strictly above `wanted`, by binary search; the
// largest when none is.
uint32_t ChooseBucketCount(unsigned int wanted) {
    const uint32_t *end = kBucketCounts + sizeof kBucketCounts / sizeof kBucketCounts[0];
    const uint32_t *found = std::upper_bound(kBucketCounts, end, static_cast<uint32_t>(wanted));
    return found == end ? end[-1] : *found;
}

}  // namespace

HashListElement::~HashListElement() {}

HashListImp::HashListImp(unsigned int wantedBuckets, int deleteElements)
    : DoubleList(deleteElements), buckets(nullptr), numBuckets(ChooseBucketCount(wantedBuckets)) {
    buckets = new HashListElement *[numBuckets]();
}

HashListImp::~HashListImp() {
    delete[] buckets;
}

HashListElement *HashListImp::AddHashed(HashListElement *e) {
    const uint32_t b = e->GetHashedValue() % numBuckets;
    e->bucket = b;
    if (!buckets[b]) {
        Append(e);
        buckets[b] = e;
    } else {
        InsertAfter(e, buckets[b]);
    }
    return e;
}

HashListElement *HashListImp::FindHashed(const HashListElement &key) const {
    const uint32_t b = key.GetHashedValue() % numBuckets;
    for (HashListElement *e = buckets[b]; e && e->bucket == b; e = static_cast<HashListElement *>(e->GetNext()))
        if (e->Compare(key, compareMode) == 0)
            return e;
    return nullptr;
}

HashListElement *HashListImp::DetachHashed(HashListElement *e) {
    if (!e)
        return nullptr;
    // A head that leaves hands its bucket to the next element of its run.
    if (buckets[e->bucket] == e) {
        HashListElement *next = static_cast<HashListElement *>(e->GetNext());
        buckets[e->bucket] = next && next->bucket == e->bucket ? next : nullptr;
    }
    Detach(e);
    return e;
}

void HashListImp::DeleteHashed(HashListElement *e) {
    delete DetachHashed(e);
}

void HashListImp::Clear() {
    DoubleList::Clear();
    memset(buckets, 0, numBuckets * sizeof buckets[0]);
}

void HashListImp::DetachAll() {
    DoubleList::DetachAll();
    memset(buckets, 0, numBuckets * sizeof buckets[0]);
}

void HashListImp::DeleteAll() {
    DoubleList::DeleteAll();
    memset(buckets, 0, numBuckets * sizeof buckets[0]);
}
