// Free functions on String and on plain zero-ended text.
//
// StringItem<ListElement> is a String that can stand in a list: the element
// of the string lists that ExplodeString fills.
#ifndef CVZ_TEXT_TEXT_FUNCTIONS_H
#define CVZ_TEXT_TEXT_FUNCTIONS_H

#include <stdint.h>

#include "CommonVcZq/collections/double_list.h"
#include "CommonVcZq/frame/api.h"
#include "CommonVcZq/text/string.h"

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

// The runs of the digits 0 to 9 in `text`, as integers: every other
// character divides numbers, so a minus sign too, and numbers come out
// without sign.  A run above 2147483647 gives 2147483647.  Returns a block
// of `*count` ints from QX_Heap::GetDefault(), which the caller releases
// with QX_Heap::FreeMem, or null with `*count` 0 when there is no number.
CVZ_API int *StringToIntArray(const char *text, int *count);

// The `count` values in decimal, with `separator` between them; a `count`
// below 1 gives the empty string.
CVZ_API String IntArrayToString(const int *values, int count, char separator);

// Character replacement.  Each returns the number of characters replaced.

// Every `c` of `text` up to its ending zero becomes `with`.
CVZ_API unsigned int ReplaceChar(char *text, char c, char with);
// The same over the whole length of `s`, written straight into its body
// without unsharing (see String::operator[]): every sharer sees it.
CVZ_API unsigned int ReplaceChar(String &s, char c, char with);
// ReplaceChar for each character of `chars` in turn, the counts summed: a
// `with` that also stands in `chars` is replaced again, and counted again,
// by its own later pass.
CVZ_API unsigned int ReplaceChars(char *text, const char *chars, char with);
CVZ_API unsigned int ReplaceChars(String &s, const char *chars, char with);

// Trimming and reversing.

// Cut blanks and tabs from both ends, the start, or the end of `s`, as
// String::Trim does; each returns the new length.
CVZ_API unsigned int Trim(String &s);
CVZ_API unsigned int TrimStart(String &s);
CVZ_API unsigned int TrimEnd(String &s);

// What String::Trim(set, sides) would leave of `text`, without changing
// it: a pointer into `text`, with the length of that part in `*length`.
CVZ_API const char *FindTrimmedSubString(const char *text, int *length, const char *set, int sides);
// The same over `textLength` characters, which need no ending zero; a zero
// character counts as a member of every set.  A negative `textLength`
// counts as 0.
CVZ_API const char *FindTrimmedSubString(const char *text, int textLength, int *length, const char *set,
                                         int sides);

// Reverses the characters of `text` up to its ending zero, in place.
CVZ_API char *Inverse(char *text);
// The same on the text of `s`, in its body without unsharing, as
// ReplaceChar(String &, ...) writes.
CVZ_API String &Inverse(String &s);

// Bounded copies: neither writes past the given size.

// `size` 0 writes nothing; else copies up to `size - 1` characters of
// `src`, stopping at its zero, and ends with a zero (as strcpy_n).
CVZ_API char *CopyMax(char *dst, const char *src, unsigned int size);
// Copies `srcLength` characters of `src`, zeros included, or `dstSize - 1`
// when there is no room for all, and writes a zero behind them.  `src`
// needs no ending zero; `dstSize` must be at least 1.
CVZ_API char *MakeString(char *dst, unsigned int dstSize, const char *src, unsigned int srcLength);

// Counting.

// How many `c` stand in `text` before its ending zero.
CVZ_API int CountChar(const char *text, char c);
// How many times `sought` stands in `text` without overlapping, counted
// from the start.  A negative `textLength` searches up to the ending zero
// of `text`; else that many bytes, zeros included.  An empty `sought`
// gives 0.
CVZ_API unsigned int FindNumOccurences(const char *sought, const char *text, int textLength);

// Size and date display.

// A size in steps of 1000, cut and not rounded: "999 B", "1 kB" from 1000,
// "1.5 MB" (one decimal) from 1000000.  Writes at most 10 characters and a
// zero into `dst`, and returns it.
CVZ_API char *GetStringFileSize(uint32_t size, char *dst);
CVZ_API String GetStringFileSize(uint32_t size);

// A size in steps of 1024 with two decimals: "1023.00 B", "1.50 KB", then
// "MB" from 1048576 and "GB" from 1073741824.  The text is cut to 39
// characters, which bounds the largest size it can show whole.
CVZ_API String ByteSizeToString(double size);

// The date of a DOS date word (day in bits 0-4, month in 5-8, years since
// 1980 in 9-15) as "dd/MM/yyyy" in every locale, in `dst` of `dstSize`
// bytes; returns `dst`.  A word that is no calendar date, or a `dst` too
// small for the text, leaves an empty text (when `dstSize` is at least 1).
CVZ_API char *GetDateString(unsigned short dosDate, char *dst, int dstSize);
CVZ_API String GetDateString(unsigned short dosDate);

#endif
