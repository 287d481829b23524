#pragma once

#include "vtcv_export.h"

#include <QObject>
#include <QString>

#include <memory>

class FFMpegChild; // ffmpeg/ffmpegchild_p.h
class FFMpegTask; // ffmpeg/ffmpegtask_p.h
class QTimer;

/**
 * One run of `ffmpeg` that an `...Async` function of FFMPEGHelper has started.
 *
 *     FFMPEGHelperJob *job = FFMPEGHelper::convertVideoToMP4Async(path);
 *     job->setParent(this);
 *     connect(job, &FFMPEGHelperJob::progress, bar, [bar](double done) { bar->setValue(int(100 * done)); });
 *     connect(job, &FFMPEGHelperJob::finished, this, &Window::showResult);
 *     connect(job, &FFMPEGHelperJob::finished, job, &QObject::deleteLater);
 *     connect(cancelButton, &QPushButton::clicked, job, &FFMPEGHelperJob::cancel);
 *
 * A job succeeds if `ffmpeg` has ended with exit code 0 and the destination is whole: it exists, is not
 * empty, `ffmpeg` has reported no failed write, and a video holds as many frames as `ffmpeg` has counted.
 * After any other end (a failure, cancel(), the time limit, deletion of the job) the sources stay, and a
 * destination that `ffmpeg` has begun is removed; one that it has not touched stays.
 *
 * FFMPEGHelper::setMaxParallelJobs() jobs run at a time, each with a child process of its own. The others
 * wait and start in the order in which they were made; a time limit counts from the start of the child.
 *
 * \thread The one that has started it, which must deliver events.
 * \ownership The parent's or the caller's. A job may be deleted at any time, from its own signals too; a
 * child that still runs is killed then, and nothing more is signalled.
 */
class VTCV_EXPORT FFMPEGHelperJob : public QObject
{
    Q_OBJECT

public:
    ~FFMPEGHelperJob() override;

    /** True until just before finished(). */
    bool isRunning() const;

    /** True from a cancel() that was in time to be the reason of the end. */
    bool isCancelled() const;

    /** The file that is made; after finished() of convertVideoToMP4Async(), the path under which it lies. */
    QString destination() const;

    /** What finished() has told, empty before it. */
    QString error() const;

    /** The last 20 lines that `ffmpeg` has written to its error channel: the reason of a failure. */
    QString lastText() const;

public Q_SLOTS:
    /** Asks the child to end, and kills it two seconds later; a job that waits is not started. finished()
     * follows. Does nothing once the child has ended. */
    void cancel();

Q_SIGNALS:
    /** \a done, from 0 to 1 and growing, of the work is done. 1 comes with success, just before finished();
     * nothing else comes where `ffmpeg` does not know how long the source is. */
    void progress(double done);

    /** The job has ended; comes once, never before control has returned to the event loop. \a error is empty
     * where \a ok, and a text for users otherwise. */
    void finished(bool ok, const QString &error);

private:
    friend class FFMPEGHelper;

    FFMPEGHelperJob(FFMpegTask &&work, unsigned int timeoutMs, QObject *parent);

    static void setMaxParallel(int count);
    static void startNext();
    bool waitInLine();
    void leaveLine();
    void start();
    void askToEnd(const QString &reason);
    void readLine(const QString &line);
    void tellProgress(double part);
    void childFinished();
    void end(const QString &reason);
    void tellEnd();

    std::unique_ptr<FFMpegTask> task;
    FFMpegChild *child; // owned as a child object
    QTimer *timeLimit; // owned as a child object
    const unsigned int timeoutMs;
    QString reasonToEnd; // why the child is asked to end, empty while it is not
    QString endError; // empty after success
    double lengthSeconds = 0.0; // of what is to be made; 0 while unknown
    double told = -1.0; // the last progress
    bool hasPlace = false; // counts as running; guarded by the line's lock
    bool over = false; // the child has ended, and the files are in place
    bool running = true; // finished() is still to come
    bool cancelled = false;
};
