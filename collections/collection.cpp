// Collection, CollectionElement and GetPowerOf2.
#include "CommonVcZq/collections/collection.h"

// --------------------------------------------------------------- Collection

Collection::Collection(int deleteElements)
    : deleteElements(deleteElements != 0), markedAsSorted(0), wasSorted(0), count(0) {}

Collection::Collection(const Collection &other)
    : deleteElements(other.deleteElements),
      markedAsSorted(other.markedAsSorted),
      wasSorted(other.wasSorted),
      count(0) {}

Collection &Collection::operator=(const Collection &other) {
    deleteElements = other.deleteElements;
    markedAsSorted = other.markedAsSorted;
    wasSorted = other.wasSorted;
    count = 0;
    return *this;
}

Collection::~Collection() {}

// -------------------------------------------------------- CollectionElement

CollectionElement::~CollectionElement() {}

int32_t CollectionElement::Compare(const CollectionElement &, int) const {
    return -1;
}

CollectionElement *CollectionElement::CreateClone(const void *) const {
    return nullptr;
}

uint32_t CollectionElement::GetHashedValue() const {
    return 0;
}

// -------------------------------------------------------------- GetPowerOf2

int GetPowerOf2(unsigned int value) {
    // Binary search over the 32 powers of two.
    int low = 0, high = 31;
    while (low <= high) {
        const int middle = (low + high) / 2;
        const uint32_t power = uint32_t(1) << middle;
        if (value == power)
            return middle;
        if (value < power)
            high = middle - 1;
        else
            low = middle + 1;
    }
    return -1;
}
