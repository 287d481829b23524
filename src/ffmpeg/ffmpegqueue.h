#pragma once

#include "baselib/vtthread.h"
#include "ffmpeg/ffmpegjob.h"
#include "vtcv_export.h"

#include <QElapsedTimer>
#include <QList>
#include <QString>

#include <memory>

class FFMpegProcessor;
class FFMpegQueueNotifier; // ffmpeg/ffmpegqueuenotifier_p.h

/**
 * Runs `ffmpeg` jobs one after the other, in the order in which they were added, on a thread of its own.
 *
 *     FFMpegQueue *queue = VideoRecorder::ffmpegQueue; // the one of the process
 *     if (!queue->isWorking())
 *         queue->initAndStart();
 *     queue->addJob(Convert, QStringLiteral("/Temp/take1.avi"), QStringLiteral("/videos/take1.mp4"), {});
 *
 * See FFMpegProcessor for what happens to the files: a job that succeeds consumes its source.
 *
 * Each job gives jobStarted(), any number of jobProgress(), jobFileFinished() and jobFinished(). A job whose
 * source is no video, or whose audio does not exist, starts nothing: it gives jobStarted() only, and the next
 * one follows. Each start takes the queue a second. If `ffmpeg` cannot be started, the job fails.
 * FFMpegJobWatch reports how each job ended.
 *
 * The queue may be constructed before any QCoreApplication exists; its thread starts with initAndStart() and
 * runs until the queue is destroyed. Then a child that still runs is ended and its source kept; jobs that
 * wait or are held are forgotten. At the end of the program with the queue alive, a running child goes on
 * without it: the destination becomes ready and the source stays beside it.
 *
 * \thread Public functions: any. Signals come from the queue's worker: connect widgets queued.
 */
class VTCV_EXPORT FFMpegQueue : public VTThread
{
    Q_OBJECT

public:
    using Entry = FFMpegJobEntry;

    FFMpegQueue();
    ~FFMpegQueue() override;

    /** The number of jobs that wait, not counting one that runs. */
    int jobsCount() const;

    /** Appends a job. It waits for ever unless the thread is started. \thread Any. */
    void addJob(FFMpegJobType type, const QString &source, const QString &dest, const QString &audio);

    /** Does the same for a job with its delivery; returns its ticket. */
    quint64 addJob(const FFMpegJob &job);

    /** The jobs in the order in which they start, the one that runs first. */
    QList<Entry> entries() const;

    /**
     * Moves a job that does not run to \a position, counted from 0 (the next one) and cut to the range.
     *
     * \return false if there is no such job, or it runs. So do the three functions below.
     * \thread Any.
     */
    bool moveJob(quint64 ticket, int position);

    /** Holds a job that waits: it is not started, and does not count as waiting, until releaseJob(). Its
     * recording ends with its video in the temporary folder. False if it is held already. */
    bool holdJob(quint64 ticket);

    /** Lets a held job wait again, at its place. */
    bool releaseJob(quint64 ticket);

    /** Forgets a job that waits or is held. Its source and audio stay; one console line says where. */
    bool removeJob(quint64 ticket);

    /**
     * Ends the job that starts or runs, as FFMpegProcessor::cancel() does: its source is kept, its
     * half-written output removed, and its signals come as for a job that fails. Jobs that wait are not
     * concerned.
     *
     * \return true if there was a job to end. One that ends by itself in this moment has simply ended.
     * \thread Any. Returns at once; nobody waits for the child.
     */
    bool cancelCurrent();

    /**
     * Does the same, and forgets the jobs that wait, but not those that are held. Only FFMpegJobWatch reports
     * them; the end of recordings that wait for them is announced.
     *
     * \return how many jobs there were.
     * \thread As above.
     */
    int cancelAll();

    /** For this library's recorder: what happens to a single job. Its class is not part of the interface. */
    FFMpegQueueNotifier *notifier() const;

Q_SIGNALS:
    /** A job was started; \a count is the number of jobs that wait plus this one. */
    void jobStarted(int count);

    /** \a frameIndex of \a frameCount frames are done; \a count as above, as of now. */
    void jobProgress(int count, int frameIndex, int frameCount);

    /** A job has ended, with success or not; \a jobsLeft wait. */
    void jobFinished(int jobsLeft);

    /** The job that was to make \a path has ended; comes just before its jobFinished(). */
    void jobFileFinished(const QString &path);

protected:
    void startwork() override;
    void process() override;

private:
    void makeProcessor();
    void startJob(bool replacesDestination);
    void reportProgress(int frame, int frameCount);
    void reportEnd();

    std::unique_ptr<FFMpegQueueNotifier> jobs; // those that wait or run, with their guard
    std::unique_ptr<FFMpegProcessor> processor; // the worker's, as the two below
    FFMpegJob currentJob; // the one started last
    QElapsedTimer jobClock;
};
