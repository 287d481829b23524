#pragma once

#include "ffmpeg/ffmpegjobwatch.h"
#include "ffmpeg/ffmpegqueue.h"

#include <QObject>

#include <memory>

/**
 * Follows single jobs of a queue, by tickets, for the library's own classes.
 *
 * A job is pending from appendJob() until just before the first signal that tells its end. So whoever appends
 * a job, then connects to FFMpegQueue::jobFinished() and jobDropped(), and then asks isPending(), misses no
 * end: either the job is no longer pending, or one of the signals is still to come.
 *
 * \thread Functions: any. Signals come from the queue's worker.
 * \ownership The queue's.
 */
class VTCV_TEST_EXPORT FFMpegQueueNotifier : public QObject
{
    Q_OBJECT

public:
    explicit FFMpegQueueNotifier(FFMpegQueue &owner);

    /**
     * Appends a job and wakes the worker; the job's ticket, above 0 and never used twice.
     *
     * \param held is let go when the job is no longer pending, before any signal tells of that.
     */
    quint64 appendJob(FFMpegJobType type, const QString &source, const QString &dest, const QString &audio,
        std::shared_ptr<void> held = {});

    /** True while the job waits, starts or runs. */
    bool isPending(quint64 ticket) const;

    /** The job that starts or runs, 0 where none does. */
    quint64 currentTicket() const;

    /** True while any job is pending. */
    bool isBusy() const;

    /** FFMpegQueue::cancelCurrent() for this job alone; false where it does not start or run. */
    bool cancel(quint64 ticket);

    /** True where a pending job has \a path as its source, audio or dest, compared without regard to case. */
    bool usesFile(const QString &path) const;

Q_SIGNALS:
    /** The job is over, of whatever kind; comes just before the one of the two below that belongs to it. */
    void jobOver(quint64 ticket, FFMpegJobVerdict verdict);

    /** The job has started nothing and is over; comes after its jobStarted(), or without one where it was
     * cancelled while it waited. */
    void jobDropped(quint64 ticket);

    /**
     * The job has ended; comes just before its jobFileFinished().
     *
     * \a exitCode, \a crashed and \a lastText as FFMpegProcessor has them: exit code -1 says that `ffmpeg`
     * could not be started.
     */
    void jobEnded(quint64 ticket, int exitCode, bool crashed, QString lastText);

private:
    FFMpegQueue &queue; // owns this object
};
