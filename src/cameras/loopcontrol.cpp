#include "cameras/loopcontrol_p.h"

#include <QCoreApplication>
#include <QDeadlineTimer>

LoopControl::Generation LoopControl::begin()
{
    Generation generation = 0;
    change([&] {
        generation = ++latest;
        wanted = isClosed ? 0 : generation;
    });
    return generation;
}

void LoopControl::end()
{
    change([&] { wanted = 0; });
}

void LoopControl::close()
{
    change([&] {
        wanted = 0;
        isClosed = true;
    });
}

bool LoopControl::isRunning() const
{
    const std::lock_guard lock(mutex);
    return wanted != 0 || working != 0;
}

bool LoopControl::waitForEnd(int timeoutMs)
{
    bool isLoopItself = false;
    const bool isOver = waitFor(timeoutMs, [&] {
        isLoopItself = working != 0 && workingThread == std::this_thread::get_id();
        return isLoopItself || (wanted == 0 && working == 0);
    });
    return isOver && !isLoopItself;
}

bool LoopControl::enter(Generation generation)
{
    // One step under one lock: the camera must not find the place empty between the look and the entry.
    return waitUntil(generation, [&] {
        if (working != 0 || !isWantedUnderLock(generation))
            return false;
        working = generation;
        workingThread = std::this_thread::get_id();
        return true;
    });
}

void LoopControl::leave(Generation generation)
{
    change([&] {
        working = 0;
        workingThread = {};
        // A loop may end unasked, when the application object goes.
        if (wanted == generation)
            wanted = 0;
    });
}

bool LoopControl::isWanted(Generation generation) const
{
    const std::lock_guard lock(mutex);
    return isWantedUnderLock(generation);
}

bool LoopControl::pause(Generation generation, int timeMs)
{
    const QDeadlineTimer end(timeMs, Qt::PreciseTimer);
    std::unique_lock lock(mutex);
    while (isWantedUnderLock(generation)) {
        const qint64 leftMs = end.remainingTime();
        if (leftMs <= 0)
            return true;
        changed.wait_for(lock, std::chrono::milliseconds(qMin<qint64>(leftMs, longestSleepMs)));
    }
    return false;
}

bool LoopControl::isWantedUnderLock(Generation generation) const
{
    // The application object's destructor waits for the global thread pool, so a loop that went on would keep
    // the program from ending.
    return wanted == generation && !QCoreApplication::closingDown();
}
