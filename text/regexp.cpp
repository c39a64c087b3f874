// RegularExp: compiling a pattern into its byte code, and searching with it.
//
// The byte code is the documented form of a compiled pattern (see the Item
// values in the header).  To search, Find first unpacks it into a list of
// steps, one for each atom or anchor, with every atom turned into a 256-bit
// table of the text characters it accepts.  A one-or-more item unpacks into
// its atom followed by an any-number step of the same atom, which is exactly
// how it behaves.
//
// The search runs all candidate matches side by side, one text character at
// a time, as a list of threads (a step to do next and the position where the
// match began) kept in priority order.  The order is the one in which a
// backtracking matcher would try the alternatives: earlier start positions
// first, and at a repeat the way with more repeats first.  When a thread
// reaches the end of the pattern, the threads behind it are dropped; those in
// front of it may still end later and then replace its result.  Two threads
// that reach the same step at the same character have the same future, so
// only the first, the one with priority, is kept.  The result is therefore
// the very match the backtracking description gives: the first start
// position that matches, with the greedy longest way through each repeat
// that lets the rest of the pattern match.
//
// Bounds: there is no recursion at all, so the stack holds a fixed few
// kilobytes whatever the pattern and the text.  A list never holds more
// threads than the pattern has steps (at most 129), so the time is at most
// proportional to the length of the text times the number of steps, also for
// patterns such as "a*a*a*b" that make a backtracking matcher quadratic or
// worse.
#include "CommonVcZq/text/regexp.h"

#include <string.h>

namespace {

const unsigned int kLastCodeByte = RegularExp::PatternSize - 1;
const unsigned int kSetBytes = 16;

// ---------------------------------------------------------------- compiling

int HexDigitValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// The value of the escape whose backslash stood right in front of `p`;
// moves `p` behind it.  A backslash that ends the pattern, by its end or by a
// newline, stands for itself.
unsigned char ReadEscape(const char *&p) {
    const char c = *p;
    if (c == 0 || c == '\n')
        return '\\';
    ++p;
    switch (c) {
    case 'f': case 'F':
        return 12;
    case 'n': case 'N':
        return 10;
    case 'r': case 'R':
        return 13;
    case 's': case 'S':
        return ' ';
    case 't': case 'T':
        return 9;
    case 'x': case 'X': {
        unsigned int value = 0;
        for (int digits = 0; digits < 2 && HexDigitValue(*p) >= 0; ++digits)
            value = value * 16 + static_cast<unsigned int>(HexDigitValue(*p++));
        return static_cast<unsigned char>(value);
    }
    default:
        return static_cast<unsigned char>(c);
    }
}

void AddToSet(unsigned char *bits, unsigned int c) {
    c &= 0x7F;
    bits[c >> 3] |= static_cast<unsigned char>(1u << (c & 7));
}

// Reads the list of a set from `p`, just behind its '[', into the 16 bytes
// at `bits`, and moves `p` behind the closing ']', or to the end of the
// pattern when there is none.
void ReadSet(const char *&p, unsigned char *bits) {
    memset(bits, 0, kSetBytes);
    const bool negated = *p == '^';
    if (negated)
        ++p;
    const char *const listStart = p;
    while (*p && *p != '\n' && *p != ']') {
        if (*p == '-' && p != listStart && p[1] && p[1] != '\n') {
            // A range of the raw characters on either side.  Rising ends
            // both belong to it; falling ends take the one in front and all
            // between, but not the one behind.
            const unsigned int front = static_cast<unsigned char>(p[-1]);
            const unsigned int behind = static_cast<unsigned char>(p[1]);
            const unsigned int low = front <= behind ? front : behind + 1;
            const unsigned int high = front <= behind ? behind : front;
            for (unsigned int c = low; c <= high; ++c)
                AddToSet(bits, c);
            p += 2;
        } else if (*p == '\\') {
            ++p;
            AddToSet(bits, ReadEscape(p));
        } else {
            AddToSet(bits, static_cast<unsigned char>(*p++));
        }
    }
    if (*p == ']')
        ++p;
    if (negated) {
        for (unsigned int i = 0; i < kSetBytes; ++i)
            bits[i] = static_cast<unsigned char>(~bits[i]);
    }
}

bool IsRepeat(unsigned char item) {
    return item == RegularExp::AnyNumber || item == RegularExp::OneOrMore || item == RegularExp::OnceOrNot;
}

// Items that a repeat operator may not follow.
bool IsRepeatOrAnchor(unsigned char item) {
    return IsRepeat(item) || item == RegularExp::EndOfLine || item == RegularExp::StartOfText;
}

// ---------------------------------------------------------------- searching

enum class Op : unsigned char { Atom, OnceOrNot, AnyNumber, EndOfLine, StartOfText, End };

// One step of an unpacked pattern.  `accepts` is a 256-bit table of the text
// characters the atom matches; the zero that ends the text is never in it.
// `literal` is the one character an atom accepts, or -1.
struct Step {
    Op op;
    int literal;
    uint64_t accepts[4];

    bool Accepts(unsigned int c) const { return (accepts[c >> 6] >> (c & 63)) & 1; }
};

// Every code byte gives at most one step, and the end adds one.
const unsigned int kMaxSteps = RegularExp::PatternSize + 1;

// The size in bytes of the atom item at `code[at]`, or 0 when no whole atom
// stands there.  Only a pattern with bytes of 128 or above (outside the
// language) can make that happen before the end item.
unsigned int AtomSize(const unsigned char *code, unsigned int at) {
    if (at > kLastCodeByte)
        return 0;
    const unsigned char item = code[at];
    if (item == RegularExp::Set)
        return at + kSetBytes <= kLastCodeByte ? kSetBytes + 1 : 0;
    if (item == RegularExp::End || IsRepeatOrAnchor(item))
        return 0;
    return 1;
}

// Eight bytes of a set's bitmap as one word: the bit of character c stands
// at place c, whichever the byte order of the machine.
uint64_t BitmapWord(const unsigned char *bytes) {
    uint64_t word = 0;
    for (int i = 7; i >= 0; --i)
        word = word << 8 | bytes[i];
    return word;
}

// The characters matched by the atom item at `code`.
void SetAtom(Step &step, const unsigned char *code) {
    const uint64_t allBut0AndNewline = ~uint64_t(0) & ~uint64_t(1) & ~(uint64_t(1) << '\n');
    step.literal = -1;
    if (code[0] == RegularExp::AnyChar) {
        step.accepts[0] = allBut0AndNewline;
        step.accepts[1] = step.accepts[2] = step.accepts[3] = ~uint64_t(0);
    } else if (code[0] == RegularExp::Set) {
        // The set ignores the top bit: the upper half repeats the lower.
        step.accepts[0] = step.accepts[2] = BitmapWord(code + 1);
        step.accepts[1] = step.accepts[3] = BitmapWord(code + 9);
        step.accepts[0] &= ~uint64_t(1);
    } else {
        // A literal of 128 or above compares with no text character.
        step.accepts[0] = step.accepts[1] = step.accepts[2] = step.accepts[3] = 0;
        if (code[0] < 0x80) {
            step.literal = code[0];
            step.accepts[code[0] >> 6] = uint64_t(1) << (code[0] & 63);
        }
    }
}

// Unpacks the byte code into `steps`, ended by an End step.  The reading
// stops at the end item, at the end of the 128 bytes, or where no whole item
// stands.
void Unpack(const unsigned char *code, Step *steps) {
    unsigned int count = 0;
    unsigned int at = 0;
    while (at <= kLastCodeByte) {
        const unsigned char item = code[at];
        if (item == RegularExp::EndOfLine || item == RegularExp::StartOfText) {
            steps[count++].op = item == RegularExp::EndOfLine ? Op::EndOfLine : Op::StartOfText;
            ++at;
            continue;
        }
        const bool repeat = IsRepeat(item);
        const unsigned int atomAt = repeat ? at + 1 : at;
        const unsigned int size = AtomSize(code, atomAt);
        if (size == 0)
            break;
        if (item == RegularExp::OneOrMore) {
            steps[count].op = Op::Atom;
            SetAtom(steps[count++], code + atomAt);
        }
        steps[count].op = item == RegularExp::AnyNumber || item == RegularExp::OneOrMore ? Op::AnyNumber
                          : item == RegularExp::OnceOrNot                                ? Op::OnceOrNot
                                                                                         : Op::Atom;
        SetAtom(steps[count++], code + atomAt);
        at = atomAt + size;
    }
    steps[count].op = Op::End;
}

struct Thread {
    uint32_t step;
    uint32_t start;  // where its match began
};

struct Match {
    bool found = false;
    uint32_t start = 0;
    uint32_t end = 0;  // the cursor behind the last matched character
};

// Runs the steps over `text` from `from` on (the text ends at its zero).
Match Run(const Step *steps, const unsigned char *text, uint32_t from) {
    Thread lists[2][kMaxSteps];
    Thread *current = lists[0];
    Thread *next = lists[1];
    unsigned int currentCount = 0;
    // The position (plus 1) at which each step was last entered: a step is
    // entered at most once a position, by the thread with priority.
    uint32_t enteredAt[kMaxSteps] = {};

    const bool anchored = steps[0].op == Op::StartOfText;
    // With no thread alive, a match can only begin at a character that the
    // first step accepts, when that step is a plain atom.
    const bool skipToFirstAtom = steps[0].op == Op::Atom;
    const int firstLiteral = skipToFirstAtom ? steps[0].literal : -1;

    Match match;
    uint32_t p = from;
    for (;;) {
        unsigned int c = text[p];
        if (currentCount == 0) {
            if (match.found || c == 0 || (anchored && p != from))
                break;
            if (skipToFirstAtom) {
                if (firstLiteral >= 0) {
                    const char *hit = strchr(reinterpret_cast<const char *>(text + p), firstLiteral);
                    if (!hit)
                        break;
                    p = static_cast<uint32_t>(reinterpret_cast<const unsigned char *>(hit) - text);
                } else {
                    while (text[p] && !steps[0].Accepts(text[p]))
                        ++p;
                }
                c = text[p];
                if (c == 0)
                    break;
            }
        }
        // A new attempt at this position, behind all the older ones.  The end
        // of the text itself is not tried.
        if (!match.found && c != 0 && (!anchored || p == from))
            current[currentCount++] = Thread{0, p};

        unsigned int nextCount = 0;
        for (unsigned int t = 0; t < currentCount; ++t) {
            uint32_t s = current[t].step;
            const uint32_t start = current[t].start;
            bool ended = false;
            // Follow the steps that consume nothing at this position.
            while (enteredAt[s] != p + 1) {
                enteredAt[s] = p + 1;
                const Step &step = steps[s];
                if (step.op == Op::End) {
                    match = Match{true, start, p};
                    ended = true;
                    break;
                }
                if (step.op == Op::EndOfLine) {
                    if (c != '\n' && c != 0)
                        break;
                    ++s;
                } else if (step.op == Op::StartOfText) {
                    if (p != from)
                        break;
                    ++s;
                } else if (step.op == Op::Atom) {
                    if (step.Accepts(c))
                        next[nextCount++] = Thread{s + 1, start};
                    break;
                } else if (step.op == Op::OnceOrNot) {
                    // Taken when it matches, and then never given back.
                    if (step.Accepts(c)) {
                        next[nextCount++] = Thread{s + 1, start};
                        break;
                    }
                    ++s;
                } else {  // AnyNumber: one more repeat first, then the rest
                    if (step.Accepts(c))
                        next[nextCount++] = Thread{s, start};
                    ++s;
                }
            }
            // Threads behind one that matched have lower priority.
            if (ended)
                break;
        }
        if (c == 0)
            break;
        Thread *done = current;
        current = next;
        next = done;
        currentCount = nextCount;
        ++p;
    }
    return match;
}

// Whether the pattern matches where nothing of the text is left: only when
// it begins with the end of line, or is the start alone or followed by the
// end of line.
bool MatchesNothingLeft(const unsigned char *code) {
    return code[0] == RegularExp::EndOfLine ||
           (code[0] == RegularExp::StartOfText && (code[1] == RegularExp::End || code[1] == RegularExp::EndOfLine));
}

}  // namespace

// The bytes behind the end item are zero, so that the unpacking of a pattern
// outside the language reads only defined bytes.
RegularExp::RegularExp(const char *patternText)
    : pattern(static_cast<unsigned char *>(::operator new(PatternSize))), status(Ok) {
    memset(pattern, 0, PatternSize);
    status = GeneratePattern(patternText, pattern);
}

RegularExp::RegularExp(const RegularExp &other)
    : pattern(static_cast<unsigned char *>(::operator new(PatternSize))), status(Ok) {
    CopyPattern(other);
}

RegularExp &RegularExp::operator=(const RegularExp &other) {
    CopyPattern(other);
    return *this;
}

RegularExp::~RegularExp() {
    ::operator delete(pattern);
}

void RegularExp::CopyPattern(const RegularExp &source) {
    if (&source != this)
        memcpy(pattern, source.pattern, PatternSize);
    status = source.status;
}

RegularExp::Status RegularExp::GeneratePattern(const char *source, unsigned char *code) {
    if (!code)
        return NoBuffer;
    const char *p = source ? source : "";
    if (*p == 0 || *p == '\n' || *p == '*' || *p == '+' || *p == '?')
        return BadStart;

    unsigned int at = 0;    // write position
    unsigned int mark = 0;  // the last item written
    if (*p == '^') {
        code[at++] = StartOfText;
        ++p;
    }
    while (*p && *p != '\n') {
        if (at >= kLastCodeByte)
            return BadPattern;
        const char c = *p++;
        if (c == '*' || c == '+' || c == '?') {
            // The first character is never a repeat, so an item stands marked.
            if (IsRepeatOrAnchor(code[mark]))
                return BadPattern;
            memmove(code + mark + 1, code + mark, at - mark);
            code[mark] = c == '*' ? AnyNumber : c == '+' ? OneOrMore : OnceOrNot;
            ++at;
            continue;
        }
        mark = at;
        if (c == '.') {
            code[at++] = AnyChar;
        } else if (c == '$' && (*p == 0 || *p == '\n')) {
            code[at++] = EndOfLine;
        } else if (c == '[') {
            if (at + 1 + kSetBytes + 1 > PatternSize)
                return BadPattern;
            code[at++] = Set;
            ReadSet(p, code + at);
            at += kSetBytes;
        } else if (c == '\\') {
            // A value of 0 is the end item: the pattern ends here.
            const unsigned char value = ReadEscape(p);
            code[at++] = value;
            if (value == End)
                return Ok;
        } else {
            code[at++] = static_cast<unsigned char>(c);
        }
    }
    code[at] = End;
    return Ok;
}

int32_t RegularExp::Find(const String &text, unsigned int *matchLength, unsigned int from) const {
    int32_t position = -1;
    unsigned int length = 0;
    const unsigned char *subject = reinterpret_cast<const unsigned char *>(text.c_str());
    if (status == Ok && from <= text.GetLength()) {
        if (subject[from] == 0) {
            if (MatchesNothingLeft(pattern)) {
                position = static_cast<int32_t>(from);
                length = 1;
            }
        } else {
            Step steps[kMaxSteps];
            Unpack(pattern, steps);
            const Match match = Run(steps, subject, from);
            if (match.found) {
                position = static_cast<int32_t>(match.start);
                // An empty match right at `from` ends at `from`: length 1.
                length = match.end == from ? 1 : match.end - match.start;
            }
        }
    }
    if (matchLength)
        *matchLength = length;
    return position;
}

int32_t String::Find(const RegularExp &e, uint32_t from) const {
    unsigned int length;
    return e.Find(*this, &length, from);
}

int32_t String::Find(const RegularExp &e, unsigned int from, unsigned int *matchLength) const {
    return e.Find(*this, matchLength, from);
}
