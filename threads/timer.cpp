// Timer and TimeTracer over the platform's high-resolution counter, or the
// multimedia clock where there is none.
//
// Tick counts are kept as two 32-bit halves with explicit carry and
// borrow.  Without the counter only the low half counts: the millisecond
// clock is 32 bits wide, and a difference taken in unsigned 32 bits is
// right across its wrap.
#include "CommonVcZq/threads/timer.h"

#include <string.h>

#include "platform/win32.h"

namespace {

Timer::Int64 Add(Timer::Int64 a, Timer::Int64 b) {
    Timer::Int64 sum;
    sum.low = a.low + b.low;
    sum.high = a.high + b.high + (sum.low < a.low ? 1 : 0);
    return sum;
}

Timer::Int64 Subtract(Timer::Int64 a, Timer::Int64 b) {
    Timer::Int64 difference;
    difference.low = a.low - b.low;
    difference.high = a.high - b.high - (a.low < b.low ? 1 : 0);
    return difference;
}

constexpr double kTwoTo32 = 4294967296.0;

}  // namespace

Timer::Clock Timer::Clock::Measure() {
    LARGE_INTEGER frequency;
    if (!QueryPerformanceFrequency(&frequency) || frequency.QuadPart == 0)
        return Clock{0, {0.001, 1.0, 1000.0}};
    double ticksPerSecond = static_cast<double>(static_cast<uint32_t>(frequency.u.LowPart)) +
                            static_cast<double>(frequency.u.HighPart) * kTwoTo32;
    return Clock{1, {1.0 / ticksPerSecond, 1000.0 / ticksPerSecond, 1000000.0 / ticksPerSecond}};
}

Timer::Timer(Units units, int startNow) {
    useCounter = platformClock.useCounter;
    int unit = units == Milliseconds || units == Microseconds ? units : Seconds;
    factor = platformClock.factors[unit];
    startStamp = Int64{0, 0};
    Reset();
    if (startNow)
        Resume();
}

void Timer::Start() {
    Reset();
    Resume();
}

void Timer::Resume() {
    if (running)
        return;
    startStamp = ReadClock();
    running = 1;
}

void Timer::Pause() {
    if (!running)
        return;
    UpdateAccumulatedTime(accumulated);
    running = 0;
}

void Timer::Reset() {
    accumulated = Int64{0, 0};
    running = 0;
}

Timer::Int64 Timer::ReadClock() const {
    if (useCounter) {
        LARGE_INTEGER now;
        QueryPerformanceCounter(&now);
        return Int64{static_cast<uint32_t>(now.u.LowPart), static_cast<uint32_t>(now.u.HighPart)};
    }
    return Int64{static_cast<uint32_t>(timeGetTime()), 0};
}

void Timer::UpdateAccumulatedTime(Int64 &total) const {
    Int64 now = ReadClock();
    if (useCounter)
        total = Add(total, Subtract(now, startStamp));
    else
        total.low += now.low - startStamp.low;  // no carry into the high half
}

double Timer::GetElapsedTime(const Int64 &from, const Int64 &to) const {
    Int64 difference = useCounter ? Subtract(to, from) : Int64{to.low - from.low, 0};
    double ticks = static_cast<double>(difference.low);
    if (difference.high != 0)
        ticks += static_cast<double>(difference.high) * kTwoTo32;
    return factor * ticks;
}

double Timer::GetElapsedTime() const {
    Int64 total = accumulated;
    if (running)
        UpdateAccumulatedTime(total);
    return GetElapsedTime(Int64{0, 0}, total);
}

TimeTracer::TimeTracer(Units units, int numSlots)
    : Timer(units, 1), slots(new Slot[numSlots > 0 ? numSlots : 0]()), lastSlot(-1),
      numSlots(numSlots) {}

TimeTracer::TimeTracer(const TimeTracer &other)
    : Timer(other), slots(new Slot[other.numSlots > 0 ? other.numSlots : 0]()),
      lastSlot(other.lastSlot), numSlots(other.numSlots) {
    if (numSlots > 0)
        memcpy(slots, other.slots, sizeof(Slot) * numSlots);
}

TimeTracer &TimeTracer::operator=(const TimeTracer &other) {
    if (this == &other)
        return *this;
    Slot *copy = new Slot[other.numSlots > 0 ? other.numSlots : 0]();
    if (other.numSlots > 0)
        memcpy(copy, other.slots, sizeof(Slot) * other.numSlots);
    delete[] slots;
    Timer::operator=(other);
    slots = copy;
    lastSlot = other.lastSlot;
    numSlots = other.numSlots;
    return *this;
}

TimeTracer::~TimeTracer() {
    delete[] slots;
}

void TimeTracer::Store(const char *const label) {
    if (slots == nullptr)
        return;
    ++lastSlot;
    if (lastSlot < numSlots)
        slots[lastSlot] = Slot{label, ReadClock()};
}

double TimeTracer::GetTime(int index, int fromStart, const char **label) const {
    if (index > lastSlot || index >= numSlots) {
        if (label != nullptr)
            *label = nullptr;
        return 0.0;
    }
    if (label != nullptr)
        *label = slots[index].label;
    if (!fromStart && index > 0)
        return Timer::GetElapsedTime(slots[index - 1].stamp, slots[index].stamp);
    return Timer::GetElapsedTime(startStamp, slots[index].stamp);
}
