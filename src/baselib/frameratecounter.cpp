#include "baselib/frameratecounter.h"

#include <QMutexLocker>

namespace {

using namespace std::chrono_literals;

constexpr auto reportInterval = 1s;

} // namespace

FrameRateCounter::FrameRateCounter(QObject *parent) : QObject(parent) { }

void FrameRateCounter::nextFrame()
{
    nextFrameAt(std::chrono::steady_clock::now().time_since_epoch());
}

void FrameRateCounter::nextFrameAt(std::chrono::nanoseconds time)
{
    double frameRate = 0;
    {
        const QMutexLocker lock(&mutex);
        // Threads that tick at the same moment may get here in another order than they took the time in.
        const auto passed = intervals < 0 ? 0ns : qMax(0ns, time - firstFrame);
        if (++intervals == 0)
            firstFrame = time;
        if (passed < reportInterval)
            return;
        frameRate = intervals / std::chrono::duration<double>(passed).count();
        firstFrame = time;
        intervals = 0;
    }
    Q_EMIT frameRateChanged(frameRate);
}

void FrameRateCounter::restart()
{
    const QMutexLocker lock(&mutex);
    intervals = -1;
}
