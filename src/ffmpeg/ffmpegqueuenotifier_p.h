#pragma once

#include "ffmpeg/ffmpegjob.h"
#include "vtcv_export.h"

#include <QList>
#include <QMutex>
#include <QObject>
#include <QWaitCondition>

#include <functional>
#include <memory>

/**
 * The jobs of a queue, each followed by its ticket, and the signal that reports their ends.
 *
 * A job is pending from appendJob() until just before jobOver(). Code that appends a job, then connects to
 * jobOver(), and then asks isPending() misses no end: either the job is no longer pending, or the signal is
 * still to come.
 *
 * \thread Functions: any, except where noted. The signal comes from the queue's worker.
 * \ownership The queue's.
 */
class VTCV_TEST_EXPORT FFMpegQueueNotifier : public QObject
{
    Q_OBJECT

public:
    using Entry = FFMpegJobEntry;
    using Verdict = FFMpegJobVerdict;

    /** What happens to a file at the destination of a join, which `ffmpeg` refuses to overwrite. */
    enum class Existing
    {
        Refused, // the join fails
        Replaced // the file is removed just before ffmpeg starts
    };

    /** What the worker needs to run a job. */
    struct Job : Entry
    {
        std::shared_ptr<void> held;
        Existing existing = Existing::Refused;
        bool isCancelled = false; // while it starts or runs
    };

    /** \a wake tells the worker to make a pass. */
    explicit FFMpegQueueNotifier(std::function<void()> wake);

    /**
     * Appends a job and wakes the worker; returns the job's ticket.
     *
     * \param held is released when the job is no longer pending, before jobOver().
     */
    quint64 appendJob(
        const FFMpegJob &job, std::shared_ptr<void> held = {}, Existing existing = Existing::Refused);

    /** True while the job waits, starts or runs. */
    bool isPending(quint64 ticket) const;

    /** True while any job is pending. */
    bool isBusy() const;

    /** The job that starts or runs, 0 if none does. */
    quint64 currentTicket() const;

    /** FFMpegQueue::cancelCurrent() for this job alone; false if it does not start or run. */
    bool cancel(quint64 ticket);

    /** See the functions of FFMpegQueue with the same names. */
    int cancelAll();
    int waitingCount() const;
    QList<Entry> entries() const;
    bool move(quint64 ticket, int position);
    bool hold(quint64 ticket);
    bool release(quint64 ticket);
    bool remove(quint64 ticket);

    /** Marks the first waiting job as running and copies it to \a job, without `held`; false if none waits.
     * \thread The worker's, as for all below. */
    bool takeNext(Job &job);

    /** True after cancel() of the job that starts or runs. */
    bool currentIsCancelled() const;

    /** Waits until the time is up, or there is something to do about the running job or an end to report. */
    void waitForNews(int limitMs);

    /** Ends the running job and emits jobOver(). */
    void endCurrent(const Verdict &verdict);

    /** Emits jobOver() for jobs that ended without having run. */
    void reportEnds();

    /** A verdict on \a job, whose source is as it lies there now. */
    static Verdict verdictOn(const FFMpegJob &job, Verdict::Outcome outcome);

Q_SIGNALS:
    /** The job is over; precedes the signals of the queue that belong to this end. */
    void jobOver(quint64 ticket, FFMpegJobVerdict verdict);

private:
    struct End
    {
        quint64 ticket;
        FFMpegJob job;
        Verdict::Outcome outcome;
    };

    const Job *running() const;
    QList<Job>::iterator waitingOrHeld(quint64 ticket);
    void forgetEnd(quint64 ticket);

    const std::function<void()> wakeWorker;
    mutable QMutex mutex; // guards the members below; never held while a signal is emitted
    QList<Job> jobs; // in the order in which they start, the one that runs first
    QList<End> ends; // not reported yet
    quint64 lastTicket = 0;
    QWaitCondition news;
};
