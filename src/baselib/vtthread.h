#pragma once

#include "varnhold_export.h"

#include <QMutex>
#include <QThread>

#include <atomic>

class QAbstractEventDispatcher;

/**
 * Calls process() again and again on a thread of its own and delivers the events of that thread's objects
 * between passes.
 *
 *     class Counter : public VTThread
 *     {
 *     public:
 *         ~Counter() override { stopAndWait(); }
 *
 *     private:
 *         void process() override { ++passes; }
 *         quint64 passes = 0;
 *     };
 *
 * Between two passes the thread waits in its event dispatcher, 10 ms unless the pass asked for another time
 * with delayNextPass(). It wakes early when an event of one of its objects is due (a queued call, a timer, a
 * QProcess signal) and when anybody calls wake(). An idle worker therefore costs next to nothing, and work
 * that is handed over with wake() starts at once.
 *
 * A VTThread may be constructed before any QCoreApplication exists. Started before that, it runs startwork()
 * at once and its passes begin as soon as the application object is there, since Qt delivers no events
 * earlier.
 *
 * Every subclass ends the loop in its own destructor, with stopAndWait() or by clearing `working`, because
 * process() must not be called on an object that is half destroyed. The destructor of this class waits as
 * well, without a limit.
 *
 * \thread Public functions: any. The virtual functions run on the worker, the destructor on any other thread.
 */
class VARNHOLD_EXPORT VTThread : public QThread
{
    Q_OBJECT

public:
    explicit VTThread(QObject *parent = nullptr);
    ~VTThread() override;

    /**
     * Starts the thread and its loop; does nothing but wake() where the loop already lives.
     *
     * A loop that was told to end and has not noticed yet goes on; one that is in endwork() is waited for
     * first.
     */
    void initAndStart();

    /** Lets passes run again after suspendProcessing() and starts the next one at once. */
    void startProcessing();

    /** Holds process() back until startProcessing(); events are still delivered. The pass that runs is not
     * interrupted. */
    void suspendProcessing();

    /** True from initAndStart() until the loop has been told to end. */
    bool isWorking() const;

    /** Ends the wait between two passes, or the next one if none is under way. Cheap; takes no lock and never
     * waits. */
    void wake();

protected:
    /** The loop: startwork(), then passes while `working` is set, then endwork(). */
    void run() override;

    /** Called once on the worker before the first pass. */
    virtual void startwork();

    /** One pass of the work; does nothing here. An exception that leaves it is logged, and the loop goes on.
     */
    virtual void process();

    /** Called once on the worker after the last pass. */
    virtual void endwork();

    /**
     * Sets how long the loop waits after the pass that runs now, in ms, instead of the usual 10 ms. 0 only
     * delivers the events that are due.
     *
     * \thread The worker's, within process().
     */
    void delayNextPass(int ms);

    /**
     * Ends the loop and waits for the thread.
     *
     * \param limitMs how long to wait, -1 for as long as it takes.
     * \return true if the thread has ended; false if it still runs when the time is up. On the worker itself:
     * false.
     */
    bool stopAndWait(int limitMs = -1);

    std::atomic<bool> working{false}; // cleared to end the loop; follow it with wake()
    std::atomic<bool> suspended{false}; // passes are held back

private:
    void runPass();
    void waitForNextPass(QObject &timeKeeper);
    bool loopGoesOn();

    QMutex lifeMutex; // guards loopLives; wake() does without, since a producer of frames must not wait
    bool loopLives = false;
    std::atomic<QAbstractEventDispatcher *> dispatcher{nullptr}; // the worker's own, while the loop runs
    std::atomic<int> wakers{0}; // calls of wake() that may still use the dispatcher
    std::atomic<bool> wakeRequested{false};
    int nextPassMs = 0; // the worker's
    bool lastPassFailed = false; // the worker's; one log line for a series of failing passes
};
