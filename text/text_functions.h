// Free functions on String and on plain zero-ended text.
//
// StringItem<ListElement> is a String that can stand in a list: the element
// of the string lists that ExplodeString fills.
#ifndef CVZ_TEXT_TEXT_FUNCTIONS_H
#define CVZ_TEXT_TEXT_FUNCTIONS_H

#include <stdint.h>

#include "collections/double_list.h"
#include "frame/api.h"
#include "text/string.h"

// Orders two texts for StringItem::Compare: with `mode` 0 bytewise as
// unsigned characters, giving -1, 0 or 1; with any other mode as _stricmp.
CVZ_API int32_t CompareStringItemTexts(const char *a, const char *b, int mode);

// A String that is also an element of a container of class Base (in the
// library, ListElement).  Objects made with `new` live on the string heap.
template <class Base>
class StringItem : public String, public Base {
public:
    StringItem() {}
    StringItem(const char *text) : String(text) {}
    StringItem(const String &text) : String(text) {}
    StringItem(const SubString &text) : String(text) {}
    StringItem(const StringItem &other) : String(other), Base(other) {}
    StringItem &operator=(const StringItem &other) {
        String::operator=(other);
        return *this;
    }
    using String::operator=;
    using String::operator new;
    using String::operator delete;

    // Compares the texts: mode 0 bytewise, any other mode without case.
    int32_t Compare(const CollectionElement &other, int mode) const override {
        return CompareStringItemTexts(c_str(), static_cast<const StringItem &>(other).c_str(), mode);
    }
    // A new item on the string heap sharing this item's text; null when
    // the heap has no room.
    CollectionElement *CreateClone(const void *) const override { return new StringItem(*this); }
};

// Splitting and number lists.

// Empties `list`, then appends one item for each piece of `text`.  With
// `separators` not empty, every one of its characters divides pieces, and
// runs of them count as one.  With `separators` empty, `text` is a
// sequence of zero-ended pieces closed by a second zero.  With `trim`
// non-zero, blanks and tabs go at both ends of each piece.  No empty piece
// ever enters the list.
CVZ_API void ExplodeString(List<StringItem<ListElement>> &list, const char *text, const char *separators,
                           int trim);

#endif
