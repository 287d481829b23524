#pragma once

#include "vtcv_export.h"

#include <QtGlobal>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

/**
 * What a camera and its grab loops share: which loop is wanted, which one works, and a way to wake sleepers.
 *
 * The camera begins and ends loops without waiting for them, and each begin() supersedes the loop before it.
 * One loop at a time works, between enter() and leave(): a new one waits until the former has left. The
 * camera may be touched in that stretch only, because its destructor waits for the loop that has entered. A
 * loop that was superseded before it could enter never touches the camera, so nobody has to wait for it.
 *
 * It outlives both sides: the camera, its loops and the capture threads hold it by shared pointer.
 */
class VTCV_TEST_EXPORT LoopControl
{
public:
    /** Numbers the loops of one camera from 1 on. */
    using Generation = quint64;

    // The camera's side. None of these waits, but for waitForEnd().

    /** Makes a new loop the wanted one, unless closed. The former one is told to end. */
    Generation begin();

    /** Tells the wanted loop to end. */
    void end();

    /** Tells the wanted loop to end, for good: no loop is wanted after it. */
    void close();

    /** True if a loop is wanted or still works. */
    bool isRunning() const;

    /**
     * Waits until no loop is wanted and none works; negative \a timeoutMs waits without a bound. False if the
     * time is up, and at once on the thread of the loop itself.
     */
    bool waitForEnd(int timeoutMs);

    // The loop's side.

    /** Waits for the former loop to leave; false, without having entered, if this one is not wanted any more.
     */
    bool enter(Generation generation);

    void leave(Generation generation);

    /** False once the loop has been ended or superseded, or the application object goes. Any thread. */
    bool isWanted(Generation generation) const;

    /** Sleeps for \a timeMs; false at once when the loop is not wanted any more. */
    bool pause(Generation generation, int timeMs);

    /** Waits for \a isDone, which is asked under the lock; false if the loop is not wanted any more before.
     */
    template <typename Predicate> bool waitUntil(Generation generation, Predicate isDone);

    // Anybody's.

    /** Waits for \a isDone, which is asked under the lock; false if \a timeoutMs, where not negative, is up.
     */
    template <typename Predicate> bool waitFor(int timeoutMs, Predicate isDone);

    /** Runs \a change under the lock and wakes all who wait. */
    template <typename Function> void change(Function &&change);

private:
    bool isWantedUnderLock(Generation generation) const;

    mutable std::mutex mutex; // guards all below, and what the templates are given
    std::condition_variable changed;
    Generation latest = 0;
    Generation wanted = 0; // 0 for none
    Generation working = 0; // 0 for none
    std::thread::id workingThread;
    bool isClosed = false;

    // Sleepers look up this often by themselves, as nobody wakes them when the application object goes.
    static constexpr int longestSleepMs = 200;
};

template <typename Predicate> bool LoopControl::waitUntil(Generation generation, Predicate isDone)
{
    std::unique_lock lock(mutex);
    while (!isDone()) {
        if (!isWantedUnderLock(generation))
            return false;
        changed.wait_for(lock, std::chrono::milliseconds(longestSleepMs));
    }
    return true;
}

template <typename Predicate> bool LoopControl::waitFor(int timeoutMs, Predicate isDone)
{
    std::unique_lock lock(mutex);
    if (timeoutMs >= 0)
        return changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), isDone);
    changed.wait(lock, isDone);
    return true;
}

template <typename Function> void LoopControl::change(Function &&change)
{
    {
        const std::lock_guard lock(mutex);
        change();
    }
    changed.notify_all();
}
