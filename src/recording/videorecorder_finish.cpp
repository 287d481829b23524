#include "recording/videorecorder.h"

#include "baselib/console_p.h"
#include "baselib/fileutilities.h"
#include "baselib/samefile_p.h"
#include "ffmpeg/ffmpegqueue.h"
#include "ffmpeg/ffmpegqueuenotifier_p.h"
#include "image/capturesource_p.h"
#include "recording/frametimelog_p.h"
#include "recording/recordingtempfile_p.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace {

QString sizeAndPath(const QString &path)
{
    return FileUtilities::filesizeNice(path) + QLatin1Char(' ') + path;
}

// The cut stands beside the video; a name without ".avi" must not give the video's own name.
QString cutName(const QString &path)
{
    const QFileInfo info(path);
    QString name = info.fileName();
    name.replace(QStringLiteral(".avi"), QStringLiteral("_cut.avi"));
    if (name == info.fileName())
        name = info.completeBaseName() + QStringLiteral("_cut.") + info.suffix();
    return FileUtilities::FolderSlash(info.path()) + name;
}

int framesIn(const QString &path)
{
    cv::VideoCapture capture;
    return CaptureSource::open(capture, path) ? CaptureSource::frameCount(capture) : 0;
}

} // namespace

// Called with the mutex held.
VideoRecorder::Delivery VideoRecorder::currentDelivery() const
{
    Delivery delivery;
    delivery.path = path;
    delivery.tempFilePath = tempFilePath;
    delivery.logPath = logPath;
    delivery.tempLogPath = tempLogPath;
    delivery.tempFile = tempFile;
    delivery.remove = removeOnStop;
    delivery.cut = cutOnStop;
    delivery.cutInterval = cutInterval;
    delivery.frames = frameCount;
    return delivery;
}

void VideoRecorder::finish()
{
    Q_EMIT recordPrepareToFinish();

    Delivery delivery;
    {
        const QMutexLocker locker(&mutex);
        savingFile = true;
        delivery = abandoned ? *abandoned : currentDelivery();
        abandoned.reset();
    }
    // Only the worker uses the writer; callers of setFrame() do not wait while it writes its index.
    writer.release();
    const double seconds = double(delivery.frames) / frameRate;
    const int durationMs = CaptureSource::toCount(seconds * 1000.0);
    writeConsole(QStringLiteral("Record finished ") + QString::number(seconds, 'g', 6) + QLatin1Char('s'));
    {
        const QMutexLocker locker(&mutex);
        if (frameLog)
            frameLog->close(delivery.remove);
    }
    qDebug() << "RECORDER: Record finished";
    writerOpened = false;

    if (delivery.remove) {
        askForSound(delivery, false);
        discard(delivery);
    } else {
        checkTempFile(delivery);
        const bool isCut = delivery.cut && cutTempFile(delivery);
        askForSound(delivery, isCut);
        deliver(delivery);
    }
    {
        const QMutexLocker locker(&mutex);
        frameCount = 0;
        if (!isRecording)
            tempFile.reset(); // the delivery and its job hold the claim for as long as the file is needed
    }
    if (delivery.ticket != 0) {
        delivery.tempFile.reset();
        announceEnd(delivery, durationMs);
        savingFile = false;
        return;
    }
    savingFile = false;
    delivery.tempFile.reset();
    tellEnd(delivery.path, durationMs);
}

void VideoRecorder::tellEnd(const QString &file, int durationMs)
{
    --pendingFinishes;
    Q_EMIT recordFinished(file, durationMs);
}

void VideoRecorder::discard(const Delivery &delivery)
{
    qDebug() << "RECORDER: Record removed";
    writeConsole(QStringLiteral("Record removed"));
    QFile::remove(delivery.tempFilePath);
    if (!delivery.logPath.isEmpty())
        QFile::remove(delivery.tempLogPath);
    const QMutexLocker locker(&mutex);
    if (!isRecording)
        removeOnStop = false;
}

// The writer reports nothing, not even a full disk.
void VideoRecorder::checkTempFile(const Delivery &delivery)
{
    if (delivery.frames == 0)
        return;
    const QFileInfo file(delivery.tempFilePath);
    if (!file.isFile() || file.size() == 0) {
        writeConsole(QStringLiteral("The temporary video %1 is gone or empty, %2 frames are lost")
                         .arg(delivery.tempFilePath)
                         .arg(delivery.frames));
        return;
    }
    const int found = framesIn(delivery.tempFilePath);
    if (quint64(found) < delivery.frames) {
        writeConsole(QStringLiteral("The temporary video %1 is not whole (disk full?), what it holds is kept")
                         .arg(delivery.tempFilePath));
    }
}

bool VideoRecorder::cutTempFile(Delivery &delivery)
{
    const QString cut = cutName(delivery.tempFilePath);
    QFile::remove(cut);
    const size_t counted = cutVideo(delivery.tempFilePath, cut, {delivery.cutInterval});
    if (counted == 0 || framesIn(cut) == 0) {
        QFile::remove(cut);
        writeConsole(QStringLiteral("The frames %1 to %2 cannot be cut out, the whole recording is kept")
                         .arg(delivery.cutInterval.first)
                         .arg(delivery.cutInterval.second));
        return false;
    }
    QFile::remove(delivery.tempFilePath);
    if (!QFile::rename(cut, delivery.tempFilePath))
        delivery.tempFilePath = cut;
    return true;
}

void VideoRecorder::askForSound(const Delivery &delivery, bool isCut)
{
    std::function<void(const SoundRequest &)> maker;
    {
        const QMutexLocker locker(&mutex);
        maker = soundMaker;
    }
    if (!maker || !delivery.tempFile)
        return;
    SoundRequest request;
    request.audioPath = delivery.tempFile->audioPath();
    request.destination = delivery.path;
    request.isRemoved = delivery.remove;
    request.isCopied =
        !UseFFMPEGOptimization || !ffmpegQueue || SameFile::isSamePath(delivery.tempFilePath, delivery.path);
    if (isCut)
        request.cut = delivery.cutInterval;
    maker(request);
}

void VideoRecorder::deliver(Delivery &delivery)
{
    const QString &source = delivery.tempFilePath;
    if (SameFile::isSamePath(source, delivery.path))
        return;
    if (UseFFMPEGOptimization && ffmpegQueue) {
        writeConsole(QStringLiteral("Tempfile FFMPEG ") + sizeAndPath(source));
        writeConsole(QStringLiteral("Destfile FFMPEG ") + sizeAndPath(delivery.path));
        if (!ffmpegQueue->isWorking())
            ffmpegQueue->initAndStart();
        const QString audio = delivery.tempFile->audioPath();
        const bool withAudio = QFile::exists(audio);
        qDebug() << "JOB" << source << audio << withAudio;
        delivery.ticket =
            ffmpegQueue->notifier()->appendJob({source, withAudio ? audio : QString(), delivery.path,
                                                   withAudio ? JoinVideoAndAudio : Convert, {}},
                delivery.tempFile);
    } else {
        writeConsole(QStringLiteral("Tempfile ") + sizeAndPath(source));
        writeConsole(QStringLiteral("Destfile ") + sizeAndPath(delivery.path));
        if (QFile::copy(source, delivery.path))
            QFile::remove(source);
        else if (QFile::exists(source))
            writeConsole(QStringLiteral("The recording cannot be copied to %1, it stays in %2")
                             .arg(delivery.path, source));
    }
    deliverLog(delivery);
}

void VideoRecorder::deliverLog(const Delivery &delivery)
{
    if (delivery.logPath.isEmpty() || !QFile::exists(delivery.tempLogPath))
        return;
    // The log of the older video of that name, which was removed at the start.
    QFile::remove(delivery.logPath);
    if (QFile::copy(delivery.tempLogPath, delivery.logPath)) {
        QFile::remove(delivery.tempLogPath);
        return;
    }
    writeConsole(QStringLiteral("The frame time log cannot be copied to %1, it stays in %2")
                     .arg(delivery.logPath, delivery.tempLogPath));
}

void VideoRecorder::announceEnd(const Delivery &delivery, int durationMs)
{
    FFMpegQueue *const queue = ffmpegQueue;
    FFMpegQueueNotifier *const jobs = queue->notifier();
    const quint64 ticket = delivery.ticket;
    auto *const watcher = new QObject; // on this thread
    endWatchers.erase(std::remove(endWatchers.begin(), endWatchers.end(), nullptr), endWatchers.end());
    endWatchers.emplace_back(watcher);

    // All handlers run on this thread, between passes. Deleting the watcher ends its connections and pending
    // calls.
    const auto announce = [this, watcher, durationMs, path = delivery.path] {
        tellEnd(path, durationMs);
        delete watcher;
    };
    connect(jobs, &FFMpegQueueNotifier::jobOver, watcher,
        [queue, jobs, ticket, announce, source = delivery.tempFilePath](
            quint64 over, const FFMpegJobVerdict &verdict) {
            if (over == ticket && verdict.outcome == FFMpegJobVerdict::Cancelled) {
                writeConsole(QStringLiteral("The job was cancelled, the recording stays in %1").arg(source));
            } else if (over == ticket && verdict.outcome == FFMpegJobVerdict::Failed) {
                writeConsole(QStringLiteral("ffmpeg failed with exit code %1, the recording stays in %2")
                                 .arg(verdict.exitCode)
                                 .arg(source));
            }
            // For a job that has not run no jobFinished() follows.
            const bool hasRun = verdict.outcome == FFMpegJobVerdict::Done
                || verdict.outcome == FFMpegJobVerdict::Failed
                || (verdict.outcome == FFMpegJobVerdict::Cancelled && verdict.exitCode != -1);
            if (!hasRun && (over == ticket || (queue->jobsCount() == 0 && !jobs->isPending(ticket))))
                announce();
        });
    connect(queue, &FFMpegQueue::jobFinished, watcher, [jobs, ticket, announce](int jobsLeft) {
        // An end that was told before our job was appended is none of ours.
        if (jobsLeft == 0 && !jobs->isPending(ticket))
            announce();
    });
    // The job may have come to its end before the connections stood.
    if (!jobs->isPending(ticket))
        QMetaObject::invokeMethod(watcher, announce, Qt::QueuedConnection);
}
