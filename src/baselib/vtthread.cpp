#include "baselib/vtthread.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDebug>
#include <QTimerEvent>

#include <exception>

namespace {

constexpr int idlePassMs = 10;

std::atomic<bool> applicationExists{false};

// Runs at the end of the application object's construction, or at once where it exists when the library is
// loaded.
void noteApplication()
{
    applicationExists = true;
}
Q_COREAPP_STARTUP_FUNCTION(noteApplication)

// Ends a wait of the dispatcher when the time is up, by nothing but the arrival of its event.
class WaitTimer : public QObject
{
protected:
    void timerEvent(QTimerEvent *) override { }
};

} // namespace

VTThread::VTThread(QObject *parent) : QThread(parent) { }

VTThread::~VTThread()
{
    stopAndWait();
}

void VTThread::initAndStart()
{
    {
        const QMutexLocker lock(&lifeMutex);
        working = true;
        if (loopLives)
            return wake();
        wakeRequested = false;
        loopLives = true;
    }
    // The former loop is past its last pass; start() would do nothing before its thread has ended.
    if (QThread::currentThread() != this)
        wait();
    start();
}

void VTThread::startProcessing()
{
    suspended = false;
    wake();
}

void VTThread::suspendProcessing()
{
    suspended = true;
}

bool VTThread::isWorking() const
{
    return working;
}

void VTThread::wake()
{
    // The count comes before the look at the dispatcher, and the worker takes the dispatcher away before it
    // looks at the count: either it waits for us, or we find none.
    ++wakers;
    wakeRequested = true;
    if (QAbstractEventDispatcher *const waiting = dispatcher)
        waiting->wakeUp();
    --wakers;
}

void VTThread::run()
{
    dispatcher = QAbstractEventDispatcher::instance();
    WaitTimer timeKeeper;
    startwork();
    while (loopGoesOn()) {
        nextPassMs = idlePassMs;
        if (!applicationExists) {
            msleep(1);
            continue;
        }
        if (!suspended)
            runPass();
        waitForNextPass(timeKeeper);
    }
    endwork();
}

void VTThread::startwork() { }

void VTThread::process() { }

void VTThread::endwork() { }

bool VTThread::loopGoesOn()
{
    {
        const QMutexLocker lock(&lifeMutex);
        if (working)
            return true;
        loopLives = false;
    }
    dispatcher = nullptr;
    while (wakers > 0)
        yieldCurrentThread();
    return false;
}

void VTThread::runPass()
{
    bool failed = true;
    QString reason = QStringLiteral("unknown exception");
    try {
        process();
        failed = false;
    } catch (const std::exception &error) {
        reason = QString::fromLocal8Bit(error.what());
    } catch (...) {
        // Nothing more is known of it, and letting it out would end the program.
    }
    if (failed && !lastPassFailed)
        qWarning() << "VTThread: a pass ended with an exception, the loop goes on:" << reason;
    lastPassFailed = failed;
}

void VTThread::waitForNextPass(QObject &timeKeeper)
{
    QAbstractEventDispatcher *const events = QAbstractEventDispatcher::instance();
    // Objects that a pass has given to deleteLater() belong to no event loop and would never be deleted
    // otherwise.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    events->processEvents(QEventLoop::AllEvents);
    if (nextPassMs == 0)
        return void(wakeRequested = false);

    const QDeadlineTimer end(nextPassMs, Qt::PreciseTimer);
    const int timer = timeKeeper.startTimer(nextPassMs, Qt::PreciseTimer);
    while (working && !wakeRequested.exchange(false) && !end.hasExpired())
        events->processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    timeKeeper.killTimer(timer);
}

void VTThread::delayNextPass(int ms)
{
    nextPassMs = qMax(0, ms);
}

bool VTThread::stopAndWait(int limitMs)
{
    working = false;
    wake();
    if (QThread::currentThread() == this)
        return false;
    return limitMs < 0 ? wait() : wait(QDeadlineTimer(limitMs));
}
