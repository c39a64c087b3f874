// String: the library's text type.
//
// A String is one pointer to the text of a reference-counted body (a
// StringRef header followed by the characters and a zero) that lives on a
// QX_Heap, by default the string heap.  Copies share the body; a member that
// changes the text first takes a private copy when the body is shared (copy
// before write).  Characters are 8-bit, ended by a zero.
//
// SubString is the hand-over type of everything that builds a new text: it
// carries exactly one reference to a fresh body and must be given to exactly
// one String, by construction or assignment, which takes the reference over
// without touching the count.
//
// CaseSensitive switches the calling thread's comparison mode for its scope:
// 1 (the initial mode of every thread) compares bytewise, 0 ignores case.
// The comparison operators of String follow that mode.
//
// Reference counts are plain words: two Strings that share a body must not
// be copied, assigned or destroyed on different threads at the same time.
// Distinct bodies are independent.
#ifndef CVZ_TEXT_STRING_H
#define CVZ_TEXT_STRING_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <type_traits>

#include "CommonVcZq/frame/api.h"
#include "CommonVcZq/frame/heap.h"

class RegularExp;
class String;

// The header in front of every text body.
struct StringRef {
    uint32_t length;      // characters, without the ending zero
    uint32_t bufferSize;  // bytes of the text area, ending zero included
    uint32_t refCount;    // owners of the body, a plain word
    QX_Heap *heap;        // heap of the block; null: never released

    char *GetText() { return reinterpret_cast<char *>(this + 1); }
};

class CVZ_API SubString {
public:
    SubString(char *text = nullptr) : text(text) {}

    // A new body holding `length` characters of `text` and a zero.  A null
    // `text` leaves the characters for the caller to write.
    static SubString Create(const char *text, uint32_t length);
    // Moves the body of `s` into the result; `s` is left with a null text
    // pointer and can only be destroyed.  The count is unchanged.
    static SubString TransformToSubString(String &s);
    // A counted reference to a shared empty body; allocates nothing after
    // its first use.
    static SubString CreateNull();

    const char *c_str() const { return text; }

private:
    friend class String;
    char *text;
};

class CVZ_API String {
public:
    String();
    String(const char *s);
    String(const char *s, uint32_t pos, uint32_t len);
    String(const String &s, uint32_t pos, uint32_t len);
    String(char c, uint32_t n);
    String(const String &s);
    String(const SubString &s);

    // Numbers to text.  A null format gives plain decimal digits; any other
    // format goes to sprintf with the value as the format's own type.  The
    // text must fit in 79 characters.
    explicit String(short value, const char *format = nullptr);
    explicit String(unsigned short value, const char *format = nullptr);
    explicit String(int value, const char *format = nullptr);
    explicit String(unsigned int value, const char *format = nullptr);
    explicit String(long value, const char *format = nullptr);
    explicit String(unsigned long value, const char *format = nullptr);
    explicit String(float value, const char *format = nullptr);   // default "%.2f"
    explicit String(double value, const char *format = nullptr);  // default "%.2lf"

    ~String();

    String &operator=(const String &s);
    // An empty text acts as Clear.  `s` must not point into this string.
    String &operator=(const char *s);
    String &operator=(const SubString &s);

    // Releases the body and shares the static empty one: the buffer goes back.
    void Clear();

    // Reading.
    const char *c_str() const { return text; }
    operator const char *() const { return text; }
    uint32_t GetLength() const { return GetStringRef()->length; }
    uint32_t length() const { return GetStringRef()->length; }
    int IsEmpty() const { return text[0] == 0; }
    int operator!() const { return text[0] == 0; }
    char GetChar(int i) const { return text[i]; }
    char operator[](int i) const { return text[i]; }
    char GetFirstChar() const { return text[0]; }
    char GetLastChar() const;
    uint32_t GetBufferSize() const { return GetStringRef()->bufferSize; }

    // Write access straight into the body, without unsharing and without an
    // index check: a write reaches every sharer of the body.
    void SetChar(int i, char c) { text[i] = c; }
    char &operator[](int i) { return text[i]; }

    // Conversions from the first character on, as strtol, strtoul and atof
    // read a text, with 32-bit results where the type is 32 bits wide on
    // every platform.  A text without digits gives 0.
    char to_char(int base = 10) const;
    signed char to_schar(int base = 10) const;
    short to_short(int base = 10) const;
    int16_t to_int16(int base = 10) const;
    int32_t to_int32(int base = 10) const;
    int to_int(int base = 10) const;
    long to_long(int base = 10) const;
    unsigned char to_uchar(int base = 10) const;
    unsigned short to_ushort(int base = 10) const;
    uint16_t to_uint16(int base = 10) const;
    uint32_t to_uint32(int base = 10) const;
    unsigned int to_uint(int base = 10) const;
    unsigned long to_ulong(int base = 10) const;
    float to_float() const;
    double to_double() const;

    // Editing and searching.  Positions and counts are in characters from 0.
    // A count of 0xFFFFFFFF means "up to the end", and any count that runs
    // past the end is cut there.  Members that change the text take a private
    // copy of a shared body first, except where they change nothing, as
    // said below; they return the string, so that calls can be chained.

    // Cutting: a new body with a copy of the piece; the string stays as it
    // is.  Mid's `pos` must not exceed the length.
    SubString Mid(uint32_t pos, uint32_t n = 0xFFFFFFFFu) const;
    SubString Left(uint32_t n) const;
    SubString Right(uint32_t n) const;

    // Removing and keeping.  The buffer keeps its size (only RemoveRight of
    // the whole text gives it back, through Clear).
    // Takes out up to `n` characters at `pos`; a `pos` at or beyond the end
    // changes nothing and leaves a shared body shared.
    String &Remove(uint32_t pos, uint32_t n);
    // Takes out the last `n` characters; all of them clears the string.
    String &RemoveRight(uint32_t n);
    // Keeps the first, the last, or `n` characters from `pos`; keeping as
    // many as there are changes nothing.  KeepMid with `pos` at or beyond
    // the end cuts nothing in front, and so keeps the first `n`.
    String &KeepLeft(uint32_t n);
    String &KeepRight(uint32_t n);
    String &KeepMid(uint32_t pos, uint32_t n);
    // Takes out every `c`, in one pass.
    String &RemoveAll(char c);

    // Inserting.  `pos` is clipped to the length; a count of all ones takes
    // the whole text.  A count of 0 changes nothing, and does not unshare.
    // The body grows by exactly the characters inserted.  In the const char *
    // forms, `s` must not point into this string's own buffer; the String
    // forms accept the string itself.
    String &Insert(uint32_t pos, const char *s, uint32_t n = 0xFFFFFFFFu);
    String &Insert(uint32_t pos, const String &s, uint32_t n = 0xFFFFFFFFu);
    String &Insert(uint32_t pos, char c, uint32_t n = 1);
    String &Append(const String &s) { return Insert(0xFFFFFFFFu, s, 0xFFFFFFFFu); }
    String &Append(const char *s) { return Insert(0xFFFFFFFFu, s, 0xFFFFFFFFu); }
    String &Append(char c, uint32_t n = 1) { return Insert(0xFFFFFFFFu, c, n); }
    String &operator+=(const String &s) { return Insert(0xFFFFFFFFu, s, 0xFFFFFFFFu); }
    String &operator+=(const char *s) { return AppendText(s, static_cast<uint32_t>(strlen(s))); }
    String &operator+=(char c) { return AppendText(&c, 1); }
    String &Prepend(const String &s, uint32_t n = 0xFFFFFFFFu) { return Insert(0, s, n); }
    String &Prepend(const char *s, uint32_t n = 0xFFFFFFFFu) { return Insert(0, s, n); }
    String &Prepend(char c, uint32_t n = 1) { return Insert(0, c, n); }
    // Remove(pos, n), then Insert(pos, s): a `pos` beyond the end appends.
    String &Replace(uint32_t pos, uint32_t n, const char *s);
    String &Replace(uint32_t pos, uint32_t n, const String &s);

    // Case and order.  Case follows the C runtime's _strupr and _strlwr; an
    // empty string is left alone (and shared).  MakeCapital lowers all but
    // the first character, which it raises.  Reverse always unshares.
    String &MakeUpper();
    String &MakeLower();
    String &MakeCapital();
    String &Reverse();

    // Trimming: cuts the characters of `set` from the left (bit 0 of
    // `sides`) and from the right (bit 1).  A side with nothing to cut
    // leaves a shared body shared.  Without a set, blanks and tabs go.
    String &Trim(const char *set, int sides);
    String &Trim() { return Trim(" \t", 3); }
    String &TrimLeft() { return Trim(" \t", 1); }
    String &TrimRight() { return Trim(" \t", 2); }

    // Searching, in the text up to its first zero: a position, or -1.  With
    // `caseSensitive` 0 characters compare through toupper (see stristr).
    // An empty `s` is found at 0 by FindFirst and at the end by FindLast;
    // the zero character is found at the end by an exact search.  FindLast
    // counts overlapping hits: "aa" in "aaa" is last found at 1.
    int32_t FindFirst(char c, int caseSensitive = 1) const;
    int32_t FindFirst(const char *s, int caseSensitive = 1) const;
    int32_t FindFirst(const String &s, int caseSensitive = 1) const { return FindFirst(s.text, caseSensitive); }
    int32_t FindLast(char c, int caseSensitive = 1) const;
    int32_t FindLast(const char *s, int caseSensitive = 1) const;
    int32_t FindLast(const String &s, int caseSensitive = 1) const { return FindLast(s.text, caseSensitive); }
    // The first character that is in `set`.
    int32_t FindOneOf(const char *set) const;
    int32_t FindOneOf(const String &set) const { return FindOneOf(set.text); }
    // The first character at or behind `from` that is not in `set`; -1 also
    // when `from` is at or beyond the end.
    int32_t FindFirstNotOf(const char *set, uint32_t from = 0) const;
    int32_t FindFirstNotOf(const String &set, uint32_t from = 0) const { return FindFirstNotOf(set.text, from); }
    // The last character that is not in `set`.
    int32_t FindLastNotOf(const char *set) const;
    int32_t FindLastNotOf(const String &set) const { return FindLastNotOf(set.text); }
    // 1 when FindFirst finds it, else 0.
    int Contains(char c, int caseSensitive = 1) const { return FindFirst(c, caseSensitive) >= 0; }
    int Contains(const char *s, int caseSensitive = 1) const { return FindFirst(s, caseSensitive) >= 0; }
    int Contains(const String &s, int caseSensitive = 1) const { return FindFirst(s.text, caseSensitive) >= 0; }
    // How many of the string's characters are `c`.
    uint32_t GetNumberOf(char c) const;

    // The first match of a pattern at or behind `from`: its position, or -1.
    int32_t Find(const RegularExp &e, uint32_t from = 0) const;
    int32_t Find(const RegularExp &e, unsigned int from, unsigned int *matchLength) const;

    // Buffer control.
    // Makes room for `n` characters; the text and its length stay.
    void EnsureBufferSize(uint32_t n);
    // Gives spare room back, down to the rounded need of the text.
    void FreeExtraBufferSize();

    // Objects of String, and of classes built on it, live on the string heap
    // (or on the heap named by placement).  A null block from the heap skips
    // the constructor, and `new` gives a null pointer.
    static void *operator new(size_t size) noexcept;
    static void *operator new(size_t size, QX_Heap &heap) noexcept;
    static void operator delete(void *block);
    static void operator delete(void *block, QX_Heap &heap);

    // Ordering under the calling thread's comparison mode (see CaseSensitive).
    friend bool operator==(const String &a, const String &b) {
        return a.text == b.text || (!DifferFirst(a.text, b.text) && Order(a, b) == 0);
    }
    friend bool operator==(const String &a, const char *b) { return Compare(a.text, b) == 0; }
    friend bool operator==(const char *a, const String &b) { return Compare(a, b.text) == 0; }
    friend bool operator!=(const String &a, const String &b) {
        return a.text != b.text && (DifferFirst(a.text, b.text) || Order(a, b) != 0);
    }
    friend bool operator!=(const String &a, const char *b) { return Compare(a.text, b) != 0; }
    friend bool operator!=(const char *a, const String &b) { return Compare(a, b.text) != 0; }
    friend bool operator<(const String &a, const String &b) { return Order(a, b) < 0; }
    friend bool operator<(const String &a, const char *b) { return Compare(a.text, b) < 0; }
    friend bool operator<(const char *a, const String &b) { return Compare(a, b.text) < 0; }
    friend bool operator<=(const String &a, const String &b) { return Order(a, b) <= 0; }
    friend bool operator<=(const String &a, const char *b) { return Compare(a.text, b) <= 0; }
    friend bool operator<=(const char *a, const String &b) { return Compare(a, b.text) <= 0; }
    friend bool operator>(const String &a, const String &b) { return Order(a, b) > 0; }
    friend bool operator>(const String &a, const char *b) { return Compare(a.text, b) > 0; }
    friend bool operator>(const char *a, const String &b) { return Compare(a, b.text) > 0; }
    friend bool operator>=(const String &a, const String &b) { return Order(a, b) >= 0; }
    friend bool operator>=(const String &a, const char *b) { return Compare(a.text, b) >= 0; }
    friend bool operator>=(const char *a, const String &b) { return Compare(a, b.text) >= 0; }

    // Joining: one new body with both texts.  A char joins only as a char:
    // an integer added to a String stays arithmetic on its text pointer.
    friend SubString operator+(const String &a, const String &b) {
        return Concatenate(a.text, a.GetLength(), b.text, b.GetLength());
    }
    friend SubString operator+(const String &a, const char *b) { return Concatenate(a.text, a.GetLength(), b); }
    friend SubString operator+(const char *a, const String &b) { return Concatenate(a, b.text, b.GetLength()); }
    template <typename Char, typename = std::enable_if_t<std::is_same<Char, char>::value>>
    friend SubString operator+(const String &a, Char c) {
        return Concatenate(a.text, a.GetLength(), &c, 1);
    }
    template <typename Char, typename = std::enable_if_t<std::is_same<Char, char>::value>>
    friend SubString operator+(Char c, const String &b) {
        return Concatenate(&c, 1, b.text, b.GetLength());
    }

    // Path members: the string taken as a file or directory name in
    // drive-letter form, an optional drive ("C:") and parts divided by '\'.
    // They work on the text alone and touch no file system, except those
    // that ask for the current directory.  Only '\' divides parts, but for
    // GetRelativeFileName and GetAbsoluteFileName, which also take '/' and
    // ':' and write '\'.  Their code lives in files/file_name.cpp.

    // 1 when the text begins with a letter and ':'.
    int ContainsDrive() const;
    // 1 when the text holds a '\'.
    int ContainsPath() const;
    // The drive letter alone, in capitals, or an empty text without a drive;
    // `index`, when not null, receives GetDriveIndex().
    SubString GetDrive(int *index = nullptr) const;
    // The drive as a number, A being 0; -1 without a drive.
    int GetDriveIndex() const;
    // All before the last '\'; without one, the whole text.
    SubString GetPath() const;
    // All behind the last '\', or the whole text without one; with
    // `withExtension` 0, cut at the title's last '.'.
    SubString GetTitle(int withExtension) const;
    // From the last '.' when it stands behind the last '\', with the dot
    // or (`withDot` 0) without it; else an empty text.
    SubString GetExtension(int withDot) const;
    // 1 for a text with a drive, a '\' and a title behind the last '\'.
    // Characters are not checked.
    int IsValidFileName() const;
    // The path less its first part, which goes to `*top` (when not null);
    // separators at both ends are ignored.  Repeated calls walk a path from
    // the top down: "\a\b\c\" gives "a" and "b\c".
    SubString GetPathBelow(String *top) const;
    // The name shortened for display to at most `maxLength` characters (0:
    // only the directory above the file is left out), in steps: "C:\a\b\...\f",
    // "C:\...\f", "...\f", then cut with "..." at the end.  Without a drive,
    // an empty text.
    SubString GetSummary(uint32_t maxLength) const;
    // The current directory, and its drive letter in capitals; empty texts
    // when the platform cannot tell one that fits in 260 bytes.
    static SubString GetCurrentDrive();
    static SubString GetCurrentPath();
    // The way from the directory `from` to the file `to`, both full names
    // ("..\c\f.txt"), compared without case; empty for two drives.
    static SubString GetRelativeFileName(const String &from, const String &to);
    // The reverse: `relative` applied to the directory `base`.  ".." takes
    // a part off `base`, but never its drive: the walk stops there.
    static SubString GetAbsoluteFileName(const String &base, const String &relative);

    // Puts `drive` (a letter, without ':') in place of the text's drive, or
    // in front with a '\' when there is none.
    String &SetDrive(const String &drive);
    // The same with the letter of `index`, 0 for A.
    String &SetDrive(int index);
    // Replaces the first two characters, which must exist, with `volume`.
    String &PrependVolumeName(const String &volume);
    // Cuts the extension, when there is one, then appends "." and
    // `extension` (given without a dot) unless it is empty.
    String &SetExtension(const String &extension);
    // Makes the text a full directory name, adding the current drive when
    // it has none, and appends `title` behind exactly one '\'.
    String &AppendTitleAndMakeFullFileName(const String &title);
    // Adds what the text lacks of a full name: nothing with a drive, the
    // current drive with a '\' in the text, else the current directory.
    String &EnsureFullFileName();

protected:
    // Put the current drive ("C:"), or the current directory, in front of
    // the text, with a '\' between.
    String &AddCurrentDrive();
    String &AddCurrentPath();

    // Takes `body` over; the count is unchanged.
    explicit String(StringRef *body);

    StringRef *GetStringRef() const { return reinterpret_cast<StringRef *>(text) - 1; }
    static char PathSeparator() { return '\\'; }
    static char DriveSeparator() { return ':'; }

    // The one comparison that reads the thread's mode: with mode 0 the result
    // of _stricmp, else a bytewise comparison giving -1, 0 or 1.
    static int Compare(const char *a, const char *b);
    // Compare(a.c_str(), b.c_str()) in sign, faster: knowing both lengths,
    // it compares a block of characters at a time.
    static int Order(const String &a, const String &b);
    // True when two texts differ in their first characters in both modes:
    // ASCII characters that differ also with the capitals folded.  (Bytes
    // from 0x80 up may fold by the program's locale, so they decide nothing
    // here.)
    static bool DifferFirst(const char *a, const char *b) {
        const unsigned x = static_cast<unsigned char>(*a), y = static_cast<unsigned char>(*b);
        return (x | y) < 0x80 && (x - 'A' < 26u ? x | 0x20 : x) != (y - 'A' < 26u ? y | 0x20 : y);
    }

    // The text read as strtol and strtoul read it on a platform where long
    // is 32 bits wide: out-of-range values saturate.
    int32_t StringToString(int base) const;
    uint32_t StringToULong(int base) const;

    // Gives this string a private body of `n` bytes of text area (0: the
    // present size; never less than it).  Returns the new body.
    StringRef *Clone(uint32_t n);
    // Clone(0) when the body is shared.
    void CopyBeforeWrite();

    // Rounds up to a multiple of 8; 0 gives 8.
    static uint32_t RoundBufferSize(uint32_t n);
    // Sets the text area to RoundBufferSize(n): a clone when shared, else a
    // ReAlloc that the text pointer follows.  Returns the body.
    StringRef *ReAllocBuffer(uint32_t n);

    // Releases the body held in `text`; a null text is accepted.
    void Release();
    // Builds a fresh body of `length` characters copied from `source` (which
    // may be null for an uninitialised text) and points this string at it.
    void Build(const char *source, uint32_t length);

    char *text;

private:
    friend class SubString;
    // Build the body of a String under construction from a number: with a
    // format through sprintf, else as decimal digits.
    void FormatNumber(const char *format, ...);
    void BuildDecimal(unsigned long long magnitude, int negative);
    template <typename Integer>
    void BuildInteger(Integer value, const char *format);
    // Opens a gap of `n` characters at `pos` in a private body grown as
    // needed; returns the start of the gap.
    char *OpenGap(uint32_t pos, uint32_t n);
    // Appends the `n` characters at `s`, which must not lie in this
    // string's body, as Insert does: inline for the usual case of a sole
    // owner, where the heap's ReAlloc grows the block within its room inline
    // too, so that appending a character at a time costs no call at all
    // until the block must move.  Everything else goes to AppendOutOfLine.
    String &AppendText(const char *s, uint32_t n) {
        StringRef *body = GetStringRef();
        if (body->refCount != 1 || !body->heap)
            return AppendOutOfLine(s, n);
        const uint32_t length = body->length, newLength = length + n;
        if (body->bufferSize <= newLength) {
            text = nullptr;  // a failed allocation leaves a destructible object
            body = static_cast<StringRef *>(body->heap->ReAlloc(body, sizeof(StringRef) + newLength + 1, 0));
            body->bufferSize = newLength + 1;
            text = body->GetText();
        }
        memcpy(text + length, s, n);
        text[newLength] = 0;
        body->length = newLength;
        return *this;
    }
    String &AppendOutOfLine(const char *s, uint32_t n);

    // A new body holding `a` then `b`; a length not given is that of the
    // text up to its zero.
    static SubString Concatenate(const char *a, uint32_t aLength, const char *b, uint32_t bLength);
    static SubString Concatenate(const char *a, uint32_t aLength, const char *b);
    static SubString Concatenate(const char *a, const char *b, uint32_t bLength);
    static SubString Concatenate(const char *a, const char *b);
};

// The first occurrence of `s` in `text`, comparing toupper of each
// character, or null.  An empty `s` is found at the start of any text.
CVZ_API const char *stristr(const char *text, const char *s);

// The last occurrence of `s` in `text`, comparing as stristr does, or
// null.  An empty `s` is found at the end of `text`.
CVZ_API const char *strristr(const char *text, const char *s);

// Copies at most `size - 1` characters of `src` to `dst` and ends them with
// a zero; a `size` of 0 writes nothing.  Returns `dst`.
CVZ_API char *strcpy_n(char *dst, const char *src, uint32_t size);

// A hash of the text: from 0, for each character, times 4, then exclusive
// or with the character as a signed value.  Equal texts hash alike, and an
// empty text gives 0.
CVZ_API uint32_t GetHashValue(const String &s);

// Switches the calling thread's comparison mode until the end of its scope.
// Objects nest in the last-in, first-out order of scopes.
class CVZ_API CaseSensitive {
public:
    explicit CaseSensitive(int mode);
    ~CaseSensitive();
    CaseSensitive &operator=(const CaseSensitive &other) {
        previous = other.previous;
        return *this;
    }
    // The calling thread's current mode.
    static int GetMode();

private:
    int previous;
};

#endif
