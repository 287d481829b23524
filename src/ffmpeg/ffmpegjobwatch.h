#pragma once

#include "ffmpeg/ffmpegqueue.h"
#include "vtcv_export.h"

#include <QObject>
#include <QPointer>
#include <QString>

/**
 * Reports how each job of a queue ended, and queues a job again.
 *
 *     auto *watch = new FFMpegJobWatch(VideoRecorder::ffmpegQueue, this);
 *     connect(watch, &FFMpegJobWatch::jobEnded, this, [=](const FFMpegJobVerdict &verdict) {
 *         if (verdict.outcome == FFMpegJobVerdict::Failed && userWantsToTryAgain(verdict.text))
 *             watch->requeue(verdict);
 *     });
 *
 * Unlike the signals of the queue, this one comes for every job: also for one that starts nothing, and for
 * one that is cancelled while it waits.
 *
 * \thread The one that created the object, which must deliver events.
 * \ownership The queue may be deleted; nothing more comes then.
 */
class VTCV_EXPORT FFMpegJobWatch : public QObject
{
    Q_OBJECT

public:
    /** What requeue() does with a file that lies where a join is to write. */
    enum ExistingFile
    {
        Keep,
        Replace
    };

    explicit FFMpegJobWatch(FFMpegQueue *queue, QObject *parent = nullptr);

    /**
     * Queues the job of \a verdict again, behind those that wait, and starts the queue's thread if it does
     * not run.
     *
     * While the job is queued, a lock file "NAME.lock" stands beside the source NAME.avi. It keeps a recorder
     * from recording under that name.
     *
     * \param existing a join never overwrites its destination, and a failed one may have left a part of it
     * there. With Keep it is not queued then; with Replace that file is removed when the job starts. The
     * other jobs overwrite in any case. \return false if nothing was queued: the job is held (see
     * FFMpegQueue::releaseJob()), the queue is gone, the source is gone or has changed since, the audio is
     * gone, a recording grows under its name, or a join would find its destination taken.
     */
    bool requeue(const FFMpegJobVerdict &verdict, ExistingFile existing = Keep);

Q_SIGNALS:
    /** A job has come to its end, of whatever kind. */
    void jobEnded(const FFMpegJobVerdict &verdict);

private:
    QPointer<FFMpegQueue> queue; // not owned
};
