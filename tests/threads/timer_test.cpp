// Timer and TimeTracer.  Real time is never asserted against a fixed
// figure: each running period is bracketed by two readings of the steady
// clock, one taken outside and one inside it, so that the timer must read
// between the inner and the outer sums however loaded the machine is.  The
// steady clock and the timer's counter are the same clock on the platforms
// we run on, read at different resolutions, hence a small tolerance.
#include "CommonVcZq/threads/timer.h"

#include <gtest/gtest.h>

#include "test_support.h"

#include <chrono>
#include <memory>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
constexpr double kToleranceMs = 0.05;

double Milliseconds(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

// Opens the protected face of Timer to the tests.
class OpenTimer : public Timer {
public:
    using Timer::GetElapsedTime;
    using Timer::Timer;
    void SetTicks(uint32_t low, uint32_t high) { accumulated = Int64{low, high}; }
    void SetClock(int counter, double tickWorth) {
        useCounter = counter;
        factor = tickWorth;
    }
    double TickWorth() const { return factor; }
};

TEST(Timer, CountsOnlyItsRunningPeriods) {
    Timer timer(Timer::Milliseconds, 0);
    Pause(5);
    timer.Pause();  // an unstarted timer stays at zero
    EXPECT_EQ(timer.GetElapsedTime(), 0.0);
    // Runs the timer for about `milliseconds`, with `during` in the period,
    // and sums the inner and outer bounds of the running periods.
    double inner = 0, outer = 0;
    auto run = [&](int milliseconds, auto during) {
        Clock::time_point before = Clock::now();
        timer.Resume();
        Clock::time_point begun = Clock::now();
        Pause(milliseconds);
        during();
        Clock::time_point ending = Clock::now();
        timer.Pause();
        Clock::time_point after = Clock::now();
        inner += Milliseconds(begun, ending);
        outer += Milliseconds(before, after);
    };
    run(20, [&] { timer.Resume(); });  // a running timer goes on
    double paused = timer.GetElapsedTime();
    Pause(60);
    timer.Pause();  // a paused timer adds nothing
    EXPECT_EQ(timer.GetElapsedTime(), paused);
    double first = 0, second = 0;  // reads while running disturb nothing
    run(10, [&] {
        first = timer;
        Pause(10);
        second = timer;
    });
    EXPECT_LT(first, second);
    EXPECT_GE(timer.GetElapsedTime(), inner - kToleranceMs);
    EXPECT_LE(timer.GetElapsedTime(), outer + kToleranceMs);

    Clock::time_point before = Clock::now();
    timer.Start();  // from zero again
    EXPECT_LE(timer.GetElapsedTime(), Milliseconds(before, Clock::now()) + kToleranceMs);
}

TEST(Timer, UnitsScaleTheTicksWhichCarryAcrossHalvesOnlyWithTheCounter) {
    OpenTimer seconds(Timer::Seconds, 0), microseconds(Timer::Microseconds, 0),
        other(static_cast<Timer::Units>(3), 0), timer(Timer::Milliseconds, 0);
    EXPECT_DOUBLE_EQ(timer.TickWorth(), seconds.TickWorth() * 1000);
    EXPECT_DOUBLE_EQ(microseconds.TickWorth(), seconds.TickWorth() * 1000000);
    EXPECT_EQ(other.TickWorth(), seconds.TickWorth()) << "an unknown unit is seconds";

    timer.SetClock(1, 0.1);  // ticks of 0.1 ms
    timer.SetTicks(19, 0);
    EXPECT_NEAR(static_cast<double>(timer), 1.9, 1e-9);
    timer.SetClock(1, 1.0);
    EXPECT_EQ(timer.GetElapsedTime({0xFFFFFFF0u, 0}, {0x10, 1}), 32.0);
    EXPECT_EQ(timer.GetElapsedTime({1, 0}, {6, 2}), 2 * 4294967296.0 + 5);
    timer.SetTicks(3, 1);
    EXPECT_EQ(timer.GetElapsedTime(), 4294967299.0);
    timer.SetClock(0, 1.0);  // a 32-bit millisecond clock that wrapped
    EXPECT_EQ(timer.GetElapsedTime({0xFFFFFFF0u, 7}, {0x10, 0}), 32.0);
}

TEST(TimeTracer, TimesRunFromTheStartOrTheSlotBeforeAndCopiesKeepTheirOwnSlots) {
    static const char *const names[] = {"a", "b", "c", "d"};
    Clock::time_point before = Clock::now();
    TimeTracer tracer(Timer::Milliseconds, 3);
    Clock::time_point begun = Clock::now();
    tracer.Store(names[0]);
    Pause(10);
    Clock::time_point beforeB = Clock::now();
    tracer.Store(names[1]);
    Clock::time_point afterB = Clock::now();
    Pause(10);
    tracer.Store(names[2]);
    tracer.Store(names[3]);  // behind the last slot: counted, not recorded
    EXPECT_EQ(tracer.GetNumSlot(), 4);

    double b = tracer.GetTime(1, 1, nullptr);  // a null label pointer is fine
    EXPECT_GE(b, Milliseconds(begun, beforeB) - kToleranceMs);
    EXPECT_LE(b, Milliseconds(before, afterB) + kToleranceMs);
    const char *label = nullptr;
    EXPECT_EQ(tracer.GetTime(0, 0, &label), tracer.GetTime(0, 1)) << "slot 0 counts from start";
    EXPECT_EQ(label, names[0]) << "the pointer, not a copy";
    EXPECT_NEAR(tracer.GetTime(2, 0), tracer.GetTime(2, 1) - tracer.GetTime(1, 1), 1e-6);
    EXPECT_EQ(tracer.GetTime(3, 1, &label), 0.0);
    EXPECT_EQ(label, nullptr);

    auto original = std::make_unique<TimeTracer>(tracer);
    TimeTracer copy(*original), assigned(Timer::Microseconds, 1);
    assigned = *original;
    original.reset();  // the copies' slots are their own
    EXPECT_EQ(copy.GetTime(2), tracer.GetTime(2));
    EXPECT_EQ(assigned.GetTime(2), tracer.GetTime(2));
}

}  // namespace
