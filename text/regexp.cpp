// RegularExp: compiling a pattern into its byte code, and searching with it.
//
// The byte code is the documented form of a compiled pattern (see the Item
// values in the header).  For searching, the constructor unpacks it once
// into a list of steps, one for each atom or anchor, with every atom turned
// into a 256-bit table of the text characters it accepts, and keeps the list
// behind the code bytes in the same block.  A one-or-more item unpacks into
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
// Prefilter.  While no thread is alive, most positions of a text cannot
// begin a match, and three facts of the pattern, found when it is compiled,
// skip them without running the threads:
//  - the bytes a match can begin with.  When that is one byte, the next
//    start is found by strchr, else by a table of the bytes;
//  - the prefix: the steps from the first on that are single characters,
//    compared in place before a start is taken;
//  - a required byte: a later single-character step, which every match
//    passes through.  When that byte does not occur from a position on, no
//    match begins there or later, and the search ends.  Further, every byte
//    of a match in front of the required one is accepted by some step in
//    front of it; a byte that none of them accepts (a blocker, such as the
//    newline for "q.*z") standing before the next required byte rules out
//    every start up to the blocker.  Once the stretch up to the next
//    required byte is known to be clear, every start in it is tried
//    without looking again.
// The prefilter only leaves out starts that cannot match, so the result is
// the same, as the tests check against the search without it.
//
// Bounds: there is no recursion at all, so the stack holds a fixed few
// kilobytes whatever the pattern and the text.  A list never holds more
// threads than the pattern has steps (at most 129), so the time is at most
// proportional to the length of the text times the number of steps, also for
// patterns such as "a*a*a*b" that make a backtracking matcher quadratic or
// worse.
#include "CommonVcZq/text/regexp.h"

#include <string.h>

#include <atomic>

#include "text/regexp_internal.h"

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

// Unpacks the byte code into `steps`, ended by an End step, and returns
// their number, the End step included.  The reading stops at the end item,
// at the end of the 128 bytes, or where no whole item stands.
unsigned int Unpack(const unsigned char *code, Step *steps) {
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
    return count + 1;
}

// ---------------------------------------------------------------- the plan

// Bits of Plan::classes.
const uint8_t kMayBegin = 1;  // a match can begin with this byte
const uint8_t kBlocks = 2;    // no step in front of the required byte accepts it

// What searching derives from the byte code: the prefilter's facts, followed
// in the same block by `stepCount` steps.
struct alignas(8) Plan {
    uint32_t stepCount;    // the End step included; 0 for a pattern that did not compile
    bool anyStart;         // a match can begin with any byte, or be empty
    int32_t firstLiteral;  // the one byte a match can begin with, or -1
    uint32_t prefixLength;
    int32_t required;      // the required byte, or -1
    int32_t loneBlocker;   // the one blocker other than 0, or -1 for none, or kManyBlockers
    uint8_t classes[256];

    const Step *Steps() const { return reinterpret_cast<const Step *>(this + 1); }
};
static_assert(sizeof(Plan) % alignof(Step) == 0, "steps follow the plan");

const int32_t kManyBlockers = 256;

size_t BlockBytes(uint32_t stepCount) {
    return RegularExp::PatternSize + sizeof(Plan) + stepCount * sizeof(Step);
}

const Plan &PlanOf(const unsigned char *block) {
    return *reinterpret_cast<const Plan *>(block + RegularExp::PatternSize);
}

void AddAccepted(uint64_t (&set)[4], const Step &step) {
    for (int i = 0; i < 4; ++i)
        set[i] |= step.accepts[i];
}

bool Holds(const uint64_t (&set)[4], unsigned int c) {
    return (set[c >> 6] >> (c & 63)) & 1;
}

void MakePlan(const Step *steps, uint32_t count, Plan &plan) {
    memset(&plan, 0, sizeof plan);
    plan.stepCount = count;
    plan.firstLiteral = plan.required = plan.loneBlocker = -1;

    // The bytes a match can begin with: those of the steps up to the first
    // plain atom.  Reaching the end or the end of line first, the match can
    // be empty.
    uint64_t first[4] = {};
    for (uint32_t s = 0; s < count; ++s) {
        const Op op = steps[s].op;
        if (op == Op::End || op == Op::EndOfLine) {
            plan.anyStart = true;
            break;
        }
        if (op != Op::StartOfText)
            AddAccepted(first, steps[s]);
        if (op == Op::Atom)
            break;
    }
    unsigned int firstCount = 0;
    for (unsigned int c = 0; c < 256; ++c) {
        if (Holds(first, c)) {
            plan.classes[c] |= kMayBegin;
            plan.firstLiteral = static_cast<int32_t>(c);
            ++firstCount;
        }
    }
    if (plan.anyStart || firstCount != 1)
        plan.firstLiteral = -1;

    while (plan.prefixLength < count && steps[plan.prefixLength].op == Op::Atom &&
           steps[plan.prefixLength].literal >= 0)
        ++plan.prefixLength;

    // The required byte: the last single-character step behind the prefix.
    uint32_t required = 0;
    for (uint32_t s = plan.prefixLength > 1 ? plan.prefixLength : 1; s < count; ++s)
        if (steps[s].op == Op::Atom && steps[s].literal >= 0)
            required = s;
    if (required == 0)
        return;
    plan.required = steps[required].literal;
    uint64_t before[4] = {};
    for (uint32_t s = 0; s < required; ++s)
        if (steps[s].op != Op::StartOfText && steps[s].op != Op::EndOfLine)
            AddAccepted(before, steps[s]);
    unsigned int blockers = 0;
    for (unsigned int c = 1; c < 256; ++c) {
        if (!Holds(before, c) && static_cast<int32_t>(c) != plan.required) {
            plan.classes[c] |= kBlocks;
            plan.loneBlocker = blockers++ ? kManyBlockers : static_cast<int32_t>(c);
        }
    }
}

// A new block with the code bytes of `code` and the plan searching needs,
// which is empty when the pattern did not compile.
unsigned char *NewBlock(const unsigned char *code, bool compiled) {
    Step steps[kMaxSteps] = {};  // an anchor's step sets only its op
    const uint32_t count = compiled ? Unpack(code, steps) : 0;
    unsigned char *block = static_cast<unsigned char *>(::operator new(BlockBytes(count)));
    memcpy(block, code, RegularExp::PatternSize);
    Plan &plan = *reinterpret_cast<Plan *>(block + RegularExp::PatternSize);
    MakePlan(steps, count, plan);
    if (count)
        memcpy(&plan + 1, steps, count * sizeof(Step));
    return block;
}

std::atomic<bool> prefilterOn{true};

// The prefilter: from position `p`, at which the text does not end, the
// first position that may begin a match, or -1 when none can.  Starts up to
// `viableTo` are known to pass the required byte's test; `nextRequired` is
// the position of the required byte found last.
int64_t NextStart(const Plan &plan, const unsigned char *text, uint32_t p, int64_t &viableTo,
                  int64_t &nextRequired) {
    const Step *steps = plan.Steps();
    for (;;) {
        if (!plan.anyStart) {
            if (plan.firstLiteral >= 0) {
                const char *hit = strchr(reinterpret_cast<const char *>(text + p), plan.firstLiteral);
                if (!hit)
                    return -1;
                p = static_cast<uint32_t>(reinterpret_cast<const unsigned char *>(hit) - text);
            } else {
                // The ending zero never begins a match.
                while (!(plan.classes[text[p]] & kMayBegin)) {
                    if (text[p] == 0)
                        return -1;
                    ++p;
                }
            }
        }
        uint32_t matched = 0;
        while (matched < plan.prefixLength && text[p + matched] == steps[matched].literal)
            ++matched;
        if (matched < plan.prefixLength) {
            ++p;
            continue;
        }
        if (plan.required < 0 || p <= viableTo)
            return p;
        if (p > nextRequired) {
            const char *hit = strchr(reinterpret_cast<const char *>(text + p), plan.required);
            if (!hit)
                return -1;
            nextRequired = reinterpret_cast<const unsigned char *>(hit) - text;
        }
        // The stretch up to the required byte holds no zero.
        const unsigned char *blocker = nullptr;
        const size_t stretch = static_cast<size_t>(nextRequired - p);
        if (plan.loneBlocker == kManyBlockers) {
            for (const unsigned char *q = text + p; q < text + nextRequired; ++q)
                if (plan.classes[*q] & kBlocks) {
                    blocker = q;
                    break;
                }
        } else if (plan.loneBlocker >= 0) {
            blocker = static_cast<const unsigned char *>(memchr(text + p, plan.loneBlocker, stretch));
        }
        if (!blocker) {
            viableTo = nextRequired;
            return p;
        }
        p = static_cast<uint32_t>(blocker - text) + 1;
    }
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

// Runs the steps of `plan` over `text` from `from` on (the text ends at its
// zero).
Match Run(const Plan &plan, const unsigned char *text, uint32_t from) {
    const Step *steps = plan.Steps();
    Thread lists[2][kMaxSteps];
    Thread *current = lists[0];
    Thread *next = lists[1];
    unsigned int currentCount = 0;
    // The position (plus 1) at which each step was last entered: a step is
    // entered at most once a position, by the thread with priority.
    uint32_t enteredAt[kMaxSteps];
    memset(enteredAt, 0, plan.stepCount * sizeof enteredAt[0]);

    const bool anchored = steps[0].op == Op::StartOfText;
    const bool filtered = !anchored && prefilterOn.load(std::memory_order_relaxed);
    int64_t viableTo = -1, nextRequired = -1;

    Match match;
    uint32_t p = from;
    for (;;) {
        unsigned int c = text[p];
        if (currentCount == 0) {
            if (match.found || c == 0 || (anchored && p != from))
                break;
            if (filtered) {
                const int64_t start = NextStart(plan, text, p, viableTo, nextRequired);
                if (start < 0)
                    break;
                p = static_cast<uint32_t>(start);
                c = text[p];
            }
        }
        // A new attempt at this position, behind all the older ones.  The end
        // of the text itself is not tried, nor, with the prefilter, a byte
        // that no match begins with: that attempt would end here, and being
        // the last in priority it hinders no other.
        if (!match.found && c != 0 && (!anchored || p == from) &&
            (!filtered || plan.anyStart || (plan.classes[c] & kMayBegin)))
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

void SetRegexpPrefilterForTesting(bool on) {
    prefilterOn.store(on, std::memory_order_relaxed);
}

// The bytes behind the end item are zero, so that the unpacking of a pattern
// outside the language reads only defined bytes.
RegularExp::RegularExp(const char *patternText) : pattern(nullptr), status(Ok) {
    unsigned char code[PatternSize] = {};
    status = GeneratePattern(patternText, code);
    pattern = NewBlock(code, status == Ok);
}

RegularExp::RegularExp(const RegularExp &other)
    : pattern(static_cast<unsigned char *>(::operator new(BlockBytes(PlanOf(other.pattern).stepCount)))),
      status(other.status) {
    memcpy(pattern, other.pattern, BlockBytes(PlanOf(other.pattern).stepCount));
}

RegularExp &RegularExp::operator=(const RegularExp &other) {
    CopyPattern(other);
    return *this;
}

RegularExp::~RegularExp() {
    ::operator delete(pattern);
}

// The code bytes come with their plan, whose size depends on the pattern.
void RegularExp::CopyPattern(const RegularExp &source) {
    if (&source == this)
        return;
    const size_t bytes = BlockBytes(PlanOf(source.pattern).stepCount);
    if (bytes != BlockBytes(PlanOf(pattern).stepCount)) {
        unsigned char *block = static_cast<unsigned char *>(::operator new(bytes));
        ::operator delete(pattern);
        pattern = block;
    }
    memcpy(pattern, source.pattern, bytes);
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
            const Match match = Run(PlanOf(pattern), subject, from);
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
