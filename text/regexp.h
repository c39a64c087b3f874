// RegularExp: a small text pattern, compiled once and searched for in texts.
//
// The language:
//   c        a plain character matches itself, with case
//   .        any character but a newline
//   [abc]    a set; [^abc] all the characters not listed; see below
//   x* x+ x? behind an atom (a character, '.' or a set): any number of
//            times, at least once, at most once
//   ^        as the very first character: the start of the searched text,
//            that is the position a search starts from; elsewhere a literal
//   $        as the last character, or right before a newline: the end of a
//            line (a newline or the end of the text); elsewhere a literal
//   newline  ends the pattern wherever it stands; what follows is not read
//   \f \n \r \t   12, 10, 13, 9;  \s the blank;  \xH or \xHH a hexadecimal
//            value;  \ and any other character: that character.  The letters
//            count in either case, inside sets as outside.  Outside a set, a
//            value of 0 (\x with no digit behind it) ends the pattern.
// There are no groups, alternatives, back references or case folding:
// ( ) | { } and a ] outside a set are plain characters.  Patterns are 7-bit.
//
// Sets.  The first ] closes a set, so [] is an empty set and \] puts a ] in;
// a set that is not closed takes the rest of the pattern.  A - at the first
// place of the list is a literal.  Elsewhere it makes a range of the raw
// pattern characters in front of it and behind it, and the one behind is
// always the end of the range, even a ].  Rising ends both belong to the
// range ([a-c]: a b c); with falling ends the one behind does not ([z-a]:
// b to z).  A set ignores the top bit of the text character it tests.
//
// Matching.  * takes as many repeats as it can and gives them back one by
// one until the rest of the pattern matches; ? takes its atom when it
// matches and never gives it back, so "a?a" does not match "a".  The first
// position that matches wins.  The length of a match is the position of its
// last character, less its start, plus one; an empty match right at the
// position the search started from counts as length 1, elsewhere as 0.
// On a text with nothing left at `from`, only "$", "^" and "^$" match, at
// `from` with length 1.
//
// Failure.  The constructor never throws on a bad pattern: it records a
// status, and the caller tests GetStatus() before the first Find.
#ifndef CVZ_TEXT_REGEXP_H
#define CVZ_TEXT_REGEXP_H

#include <stdint.h>

#include "CommonVcZq/frame/api.h"
#include "CommonVcZq/text/string.h"

class CVZ_API RegularExp {
public:
    enum Status {
        Ok = 0,
        BadStart = 1,    // empty, or begins with a newline, '*', '+' or '?'
        NoBuffer = 2,    // GeneratePattern was given no output buffer
        BadPattern = 3,  // does not fit PatternSize bytes, or a repeat
                         // operator follows an anchor or another repeat
    };

    // The compiled form: a run of items ended by End.  Every item is one
    // byte, and a Set has 16 more behind it: a bitmap in which character c
    // is bit (c & 7) of byte ((c & 0x78) >> 3).  A repeat item stands in
    // front of its atom.  Any other byte is that literal character.
    enum Item : unsigned char {
        End = 0x00,
        EndOfLine = 0xA4,
        AnyNumber = 0xAA,  // the next atom, any number of times
        OneOrMore = 0xAB,  // the next atom, one time or more
        AnyChar = 0xAE,    // any character but a newline
        OnceOrNot = 0xBF,  // the next atom, once or not at all
        Set = 0xDB,
        StartOfText = 0xDE,
    };
    static constexpr unsigned int PatternSize = 128;

    // Compiles `pattern` and records the outcome; see GetStatus.
    RegularExp(const char *pattern);
    // A copy with its own compiled bytes.
    RegularExp(const RegularExp &other);
    RegularExp &operator=(const RegularExp &other);
    ~RegularExp();

    Status GetStatus() const { return status; }

    // Searches `text` from position `from` on.  Returns the position of the
    // first match, counted from the start of `text`, and stores its length
    // in `*matchLength` (when not null); -1 and length 0 when there is none.
    // `from` must not pass the end of `text`.  A pattern whose status is not
    // Ok finds nothing.  The object is only read, so threads may search with
    // it at the same time.
    int32_t Find(const String &text, unsigned int *matchLength, unsigned int from) const;

    // Compiles `pattern` into the PatternSize bytes at `code`.
    static Status GeneratePattern(const char *pattern, unsigned char *code);
    // Takes over the compiled bytes and the status of `source`.
    void CopyPattern(const RegularExp &source);

private:
    // The PatternSize bytes of the compiled form, followed in the same block
    // by what searching derives from them; owned.
    unsigned char *pattern;
    Status status;
};

#endif
