// Timer: a stopwatch with pause and resume; TimeTracer: a Timer with slots
// for labelled timestamps.
//
// A Timer reports the time it has run, without its pauses, in the unit
// chosen at construction: seconds, milliseconds or microseconds.  It counts
// in ticks of the platform's high-resolution counter where the machine has
// one, and otherwise in the milliseconds of the multimedia clock; which of
// the two, and what a tick is worth, is settled once when the library
// loads.  Without the counter a timer counts in 32 bits, and wraps after 49
// days of running.  A Timer takes no lock: one thread uses it at a time.
//
// A TimeTracer starts running at once and keeps a fixed number of slots.
// Store records a label (the pointer, not a copy of the text) and the clock
// in the next slot, allocating nothing; stores beyond the last slot record
// nothing.  GetTime reads a slot back as the time from the timer's start,
// or from the slot before.  Pause and Resume move the start, and with it
// the base of times read from the start.
#ifndef CVZ_THREADS_TIMER_H
#define CVZ_THREADS_TIMER_H

#include <stdint.h>

#include "CommonVcZq/frame/api.h"

class CVZ_API Timer {
public:
    // Any other value counts as seconds.
    enum Units { Seconds = 0, Milliseconds = 1, Microseconds = 2 };

    // A 64-bit tick count in two halves, low first.
    struct Int64 {
        uint32_t low;
        uint32_t high;
    };

    // A timer at zero in `units`, started at once unless `startNow` is 0.
    explicit Timer(Units units = Milliseconds, int startNow = 1);
    Timer(const Timer &other) = default;
    Timer &operator=(const Timer &other) = default;

    // Starts again from zero.
    void Start();
    // Goes on counting; a running timer is not disturbed.
    void Resume();
    // Stops counting; a paused timer is not disturbed.
    void Pause();

    // The time run so far in the timer's unit; reading disturbs nothing.
    double GetElapsedTime() const;
    operator double() const { return GetElapsedTime(); }
    operator float() const { return static_cast<float>(GetElapsedTime()); }
    // Truncated toward zero.
    operator uint32_t() const { return static_cast<uint32_t>(GetElapsedTime()); }

protected:
    // Back to zero, paused.
    void Reset();
    // Adds the running period, up to now, to `total`.
    void UpdateAccumulatedTime(Int64 &total) const;
    // The time from tick count `from` to `to`, in the timer's unit.
    double GetElapsedTime(const Int64 &from, const Int64 &to) const;
    // The clock now: the counter, or the multimedia clock in the low half.
    Int64 ReadClock() const;

    int32_t useCounter;  // 1: the high-resolution counter; 0: milliseconds
    int32_t running;
    double factor;       // one tick in the timer's unit
    Int64 startStamp;    // the clock at the last Resume
    Int64 accumulated;   // ticks of the finished running periods

private:
    // The clock data of the whole library, measured once at load
    // (frame/load_sequence.cpp) and only read after.
    struct Clock {
        int32_t useCounter;
        double factors[3];  // one tick in seconds, milliseconds, microseconds
        static Clock Measure();
    };
    static const Clock platformClock;
};

class CVZ_API TimeTracer : public Timer {
public:
    // A started timer in `units` with `numSlots` slots.
    explicit TimeTracer(Units units = Milliseconds, int numSlots = 50);
    // A copy has slots of its own with the same records.
    TimeTracer(const TimeTracer &other);
    TimeTracer &operator=(const TimeTracer &other);
    virtual ~TimeTracer();

    // Records `label` and the clock in the next slot, if there is one.
    void Store(const char *const label);
    // The count of Store calls, also those past the last slot.
    int GetNumSlot() const { return lastSlot + 1; }
    // The time of slot `index` (0 or more) from the timer's start, or, with
    // `fromStart` 0 and `index` above 0, from the slot before.  Its label
    // goes to *label when label is not null.  A slot not recorded gives 0.0
    // and a null label.
    double GetTime(int index, int fromStart = 1, const char **label = nullptr) const;

private:
    struct Slot {
        const char *label;
        Int64 stamp;
    };

    Slot *slots;
    int32_t lastSlot;
    int32_t numSlots;
};

#endif
