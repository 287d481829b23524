#pragma once

#include "baselib/vtthread.h"
#include "ffmpeg/recordingdelivery.h"
#include "vtcv_export.h"

#include <QElapsedTimer>
#include <QList>
#include <QMutex>
#include <QString>
#include <QWaitCondition>

#include <memory>

class FFMpegProcessor;
class FFMpegQueueNotifier; // ffmpeg/ffmpegqueuenotifier_p.h
struct FFMpegJobVerdict; // ffmpeg/ffmpegjobwatch.h

/** What a job of FFMpegQueue does. */
enum FFMpegJobType : int
{
    Optimize = 0, // rewrites the source in place
    Convert = 1, // makes dest from source
    JoinVideoAndAudio = 2 // makes dest from source and audio
};

/** One job of FFMpegQueue. */
struct FFMpegJob
{
    QString source; // the video to process
    QString audio; // the sound of a JoinVideoAndAudio, empty otherwise
    QString dest; // the file wanted
    FFMpegJobType type = Optimize;
    RecordingDelivery delivery; // how dest is made
};

/**
 * Runs `ffmpeg` jobs one after the other, in the order in which they were added, on a thread of its own.
 *
 *     FFMpegQueue *queue = VideoRecorder::ffmpegQueue; // the one of the process
 *     if (!queue->isWorking())
 *         queue->initAndStart();
 *     queue->addJob(Convert, QStringLiteral("/Temp/take1.avi"), QStringLiteral("/videos/take1.mp4"), {});
 *
 * What becomes of the files stands at FFMpegProcessor: a job that succeeds consumes its source.
 *
 * Each job gives jobStarted(), any number of jobProgress(), jobFileFinished() and jobFinished(). A job whose
 * source is no video, or whose audio does not exist, starts nothing: it gives jobStarted() only, and the next
 * one follows. Each start takes the queue a second. `ffmpeg` that cannot be started gives a job that fails.
 * FFMpegJobWatch tells what has become of each job.
 *
 * The queue may be constructed before any QCoreApplication exists; its thread starts with initAndStart() and
 * runs until the queue is destroyed. Then a child that still runs is ended and its source kept; jobs that
 * wait are forgotten. At the end of the program with the queue alive, a running child goes on without it: the
 * destination becomes ready and the source stays beside it.
 *
 * \thread Public functions: any. Signals come from the queue's worker: connect widgets queued.
 */
class VTCV_EXPORT FFMpegQueue : public VTThread
{
    Q_OBJECT

public:
    FFMpegQueue();
    ~FFMpegQueue() override;

    /** The number of jobs that wait, not counting one that runs. */
    int jobsCount() const;

    /** Appends a job. It waits for ever unless the thread is started. \thread Any. */
    void addJob(FFMpegJobType type, const QString &source, const QString &dest, const QString &audio);

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
     * Does the same, and forgets the jobs that wait. Of these only FFMpegJobWatch tells; the end of
     * recordings that wait for them is announced.
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
    friend class FFMpegQueueNotifier;

    // What the library knows of a job beside the job itself.
    struct Ticket
    {
        quint64 number = 0; // above 0 and never used twice
        std::shared_ptr<void> held; // kept until the job is over, and let go without the mutex
    };
    struct Withdrawn
    {
        quint64 number;
        FFMpegJob job;
    };

    void makeProcessor();
    void tellWithdrawnJobs();
    bool takeJob();
    void startJob();
    void pauseAfterStart();
    void reportProgress(int frame, int frameCount);
    void reportEnd();
    quint64 takeCurrentTicket();
    bool cancel(quint64 number);
    bool isCancelled() const;
    bool currentIsCancelled() const;
    static FFMpegJobVerdict verdictOn(const FFMpegJob &job);

    QList<FFMpegJob> jobs; // those that wait, oldest first
    FFMpegJob currentJob; // the one last started; the worker writes it
    std::unique_ptr<FFMpegProcessor> processor; // the worker's
    mutable QMutex mutex; // guards jobs, currentJob and the five below; never held while a signal is emitted
    QList<Ticket> tickets; // of jobs, in the same order
    quint64 lastTicket = 0;
    Ticket currentTicket; // of currentJob while it starts or runs, empty otherwise
    quint64 cancelledTicket = 0; // of the job that was asked to end last
    QList<Withdrawn> withdrawn; // jobs that were cancelled while they waited and are not told of yet
    QWaitCondition cancelling; // ends the pause after a start
    QElapsedTimer jobClock; // the worker's
    std::unique_ptr<FFMpegQueueNotifier> jobNotifier;
};
