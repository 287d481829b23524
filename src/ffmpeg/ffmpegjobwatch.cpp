#include "ffmpeg/ffmpegjobwatch.h"

#include "ffmpeg/ffmpegqueuenotifier_p.h"
#include "ffmpeg/sourcelock_p.h"

#include <QFile>
#include <QFileInfo>

#include <memory>
#include <utility>

FFMpegJobWatch::FFMpegJobWatch(FFMpegQueue *queue, QObject *parent) : QObject(parent), queue(queue)
{
    qRegisterMetaType<FFMpegJobVerdict>();
    if (queue) {
        connect(queue->notifier(), &FFMpegQueueNotifier::jobOver, this,
            [this](quint64, const FFMpegJobVerdict &verdict) { Q_EMIT jobEnded(verdict); });
    }
}

bool FFMpegJobWatch::requeue(const FFMpegJobVerdict &verdict, ExistingFile existing)
{
    const FFMpegJob &job = verdict.job;
    const QFileInfo source(job.source);
    // A held job is in the queue already.
    if (!queue || !source.isFile() || verdict.outcome == FFMpegJobVerdict::Held)
        return false;
    // A recorder holds such a lock on the name under which a recording grows, and success of a job would
    // remove that file under its writer.
    bool isHeld = false;
    std::shared_ptr<QLockFile> claim = SourceLock::take(job.source, isHeld);
    if (isHeld)
        return false;
    // Another recording may have taken the name since.
    if (source.size() != verdict.sourceSize || source.lastModified() != verdict.sourceTime)
        return false;
    if (job.type == JoinVideoAndAudio) {
        const QFileInfo dest(job.dest);
        if (!QFile::exists(job.audio))
            return false;
        const bool isTaken = dest.exists() && dest != source; // in place, the destination is the source
        if (isTaken && (existing == Keep || dest == QFileInfo(job.audio)))
            return false;
    }
    using Existing = FFMpegQueueNotifier::Existing;
    queue->notifier()->appendJob(
        job, std::move(claim), existing == Replace ? Existing::Replaced : Existing::Refused);
    if (!queue->isWorking())
        queue->initAndStart();
    return true;
}
