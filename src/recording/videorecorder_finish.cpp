#include "baselib/fileutilities.h"
#include "common/console_p.h"
#include "common/samefile_p.h"
#include "ffmpeg/ffmpegqueue.h"
#include "image/capturesource_p.h"
#include "recording/framelistformat_p.h"
#include "recording/frametimelogformat_p.h"
#include "recording/recording_p.h"
#include "recording/recordingdeliveries_p.h"
#include "recording/recordingnotifier_p.h"
#include "recording/videorecorder.h"
#include "video/packetcount_p.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>
#include <QtEndian>

#include <exception>

namespace {

constexpr qint64 countedBytes = 1LL << 30;

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

// The header of a video on a disk that is full may promise frames that are not there, so the packets are
// counted; but not those of hours on a disk with room, where the header is right.
qint64 framesIn(const QString &path, quint64 expected)
{
    cv::VideoCapture capture;
    if (!CaptureSource::open(capture, path))
        return 0;
    const qint64 promised = CaptureSource::frameCount(capture);
    const bool isTrusted = promised > 0 && quint64(promised) >= expected
        && QFileInfo(path).size() > countedBytes
        && QStorageInfo(QFileInfo(path).path()).bytesAvailable() > countedBytes;
    const qint64 counted = isTrusted ? -1 : PacketCount::ofVideo(path);
    return counted >= 0 ? counted : promised;
}

bool isOnOneDisk(const QString &file, const QString &destination)
{
    return QStorageInfo(QFileInfo(file).path()).rootPath()
        == QStorageInfo(QFileInfo(destination).path()).rootPath();
}

// A rename costs nothing where a copy of gigabytes takes minutes, and needs no room. Never overwrites.
bool moveFile(const QString &from, const QString &to)
{
    if (isOnOneDisk(from, to) && QFile::rename(from, to))
        return true;
    return QFile::copy(from, to) && QFile::remove(from);
}

bool beginsWith(const QString &path, const QByteArray &mark)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.read(mark.size()) == mark;
}

// Brings a sidecar to its place; gives the path where it lies then. A file of the older video of that name
// makes way; one that is none of ours, such as somebody's notes, stays.
QString deliverSidecar(const QString &from, const QString &to, const QByteArray &mark)
{
    if (!QFile::exists(from))
        return {};
    if (QFile::exists(to)) {
        if (!beginsWith(to, mark)) {
            writeConsole(
                QStringLiteral("The file %1 belongs to somebody else, %2 stays where it is").arg(to, from));
            return from;
        }
        QFile::remove(to);
    }
    if (moveFile(from, to))
        return to;
    writeConsole(QStringLiteral("The frame time log cannot be copied to %1, it stays in %2").arg(to, from));
    return from;
}

QByteArray logMark()
{
    QByteArray bytes(4, '\0');
    qToLittleEndian(FrameTimeLogFormat::tag, bytes.data());
    return bytes;
}

void closeSidecars(Recording &recording)
{
    const std::lock_guard<std::mutex> lock(recording.logMutex);
    if (recording.log)
        recording.log->close(recording.isRemoved);
    if (recording.list)
        recording.list->close(recording.isRemoved);
}

// The writer reports nothing, not even a full disk.
void checkTempFile(Recording &recording)
{
    RecordingResult &result = recording.result;
    const QFileInfo file(recording.tempFilePath);
    const bool isThere = file.isFile() && file.size() > 0;
    result.framesFound = isThere ? framesIn(recording.tempFilePath, result.framesCounted) : 0;
    result.isWhole = isThere && quint64(result.framesFound) >= result.framesCounted;
    if (result.framesCounted == 0) {
        result.reason = VideoRecorder::tr("No frame was written.");
    } else if (!isThere) {
        result.reason = VideoRecorder::tr("The temporary video is gone or empty.");
        writeConsole(QStringLiteral("The temporary video %1 is gone or empty, %2 frames are lost")
                         .arg(recording.tempFilePath)
                         .arg(result.framesCounted));
    } else if (!result.isWhole) {
        result.reason = VideoRecorder::tr("The video is not whole: %1 of %2 frames were found.")
                            .arg(result.framesFound)
                            .arg(result.framesCounted);
        writeConsole(QStringLiteral("The temporary video %1 is not whole (disk full?), what it holds is kept")
                         .arg(recording.tempFilePath));
    }
}

bool cutTempFile(Recording &recording)
{
    const QString cut = cutName(recording.tempFilePath);
    QFile::remove(cut);
    const auto [first, last] = *recording.cut;
    const size_t counted = VideoRecorder::cutVideo(recording.tempFilePath, cut, {*recording.cut});
    const qint64 found = counted == 0 ? 0 : framesIn(cut, quint64(last) - first + 1);
    if (found == 0) {
        QFile::remove(cut);
        writeConsole(QStringLiteral("The frames %1 to %2 cannot be cut out, the whole recording is kept")
                         .arg(first)
                         .arg(last));
        return false;
    }
    QFile::remove(recording.tempFilePath);
    if (!QFile::rename(cut, recording.tempFilePath))
        recording.tempFilePath = cut;
    RecordingResult &result = recording.result;
    result.framesCounted = quint64(last) - first + 1;
    result.framesFound = found;
    result.isWhole = quint64(found) >= result.framesCounted;
    result.logShift = first;
    return true;
}

void discard(Recording &recording)
{
    qDebug() << "RECORDER: Record removed";
    writeConsole(QStringLiteral("Record removed"));
    QFile::remove(recording.tempFilePath);
    // A sound that stayed would be joined to the next recording of that name.
    QFile::remove(recording.tempFile->audioPath());
    QFile::remove(recording.tempFile->framesPath());
    if (!recording.logPath.isEmpty())
        QFile::remove(recording.tempFile->logPath());
    recording.result.outcome = RecordingResult::Discarded;
}

void deliverSidecars(Recording &recording)
{
    RecordingResult &result = recording.result;
    const RecordingTempFile &temp = *recording.tempFile;
    const QFileInfo video(recording.path);
    const QString base = video.absolutePath() + QLatin1Char('/') + video.completeBaseName();
    if (!recording.logPath.isEmpty())
        result.logPath = deliverSidecar(temp.logPath(), recording.logPath, logMark());
    if (recording.list) {
        result.framesPath = deliverSidecar(
            temp.framesPath(), base + QStringLiteral(".frames.csv"), QByteArray(FrameListFormat::header));
    }
}

void keepSidecars(Recording &recording)
{
    const auto existing = [](const QString &path) { return QFile::exists(path) ? path : QString(); };
    if (!recording.logPath.isEmpty())
        recording.result.logPath = existing(recording.tempFile->logPath());
    recording.result.framesPath = existing(recording.tempFile->framesPath());
}

QString existingSound(const Recording &recording, bool isCopied)
{
    QString path = recording.tempFile->audioPath();
    if (isCopied) {
        const QFileInfo video(recording.path);
        path = video.path() + QLatin1Char('/') + video.completeBaseName() + QStringLiteral(".wav");
    }
    const QFileInfo sound(path);
    return sound.isFile() && sound.lastModified() >= recording.armedAt ? path : QString();
}

} // namespace

void VideoRecorder::finish(const std::shared_ptr<Recording> &recording)
{
    RecordingDeliveries &deliveries = RecordingDeliveries::instance();
    deliveries.begin(recording);
    Q_EMIT recordPrepareToFinish();
    savingFile = true;
    bool isQueued = false;
    try {
        isQueued = finishFiles(recording);
    } catch (...) {
        // A sound maker or a console sink of the host: the recording still has to come to its end.
        qWarning() << "VIDEORECORDER: an exception ended the finish of" << recording->path;
        recording->keep(tr("The finish failed; the recording stays in %1.").arg(recording->tempFilePath));
    }
    {
        const QMutexLocker locker(&mutex);
        recording->showsCount = false;
        recording->tempFile.reset(); // the job in the queue holds the claim for as long as it is needed
    }
    savingFile = false;
    if (isQueued)
        return;
    link->setLast(recording->result);
    deliveries.end();
    tellResult(recording->result, true);
    tellEnd(recording->result, recording->durationMs);
}

// True if a job was queued, whose end completes the result.
bool VideoRecorder::finishFiles(const std::shared_ptr<Recording> &recording)
{
    RecordingResult &result = recording->result;
    double rate = 0.0;
    {
        const QMutexLocker locker(&mutex);
        rate = recording->rateHz;
        result.report = recording->currentReport();
    }
    // Only the worker uses the writer; callers of setFrame() do not wait while it writes its index.
    recording->writer.release();
    result.destination = recording->path;
    result.framesCounted = recording->frames;
    result.insertedFrames = recording->insertedFrames;
    result.startedAt = recording->startedAt;
    result.startedUs = recording->startedUs;
    recording->wantsResultFile = useResultFile;
    const double seconds = recording->cut ? 0.0 : double(result.framesCounted) / rate;
    recording->durationMs = CaptureSource::toCount(seconds * 1000.0);
    writeConsole(QStringLiteral("Record finished ") + QString::number(seconds, 'g', 6) + QLatin1Char('s'));
    closeSidecars(*recording);
    qDebug() << "RECORDER: Record finished";

    if (recording->isRemoved) {
        askForSound(*recording, false);
        discard(*recording);
        return false;
    }
    checkTempFile(*recording);
    const bool isCut = recording->cut && cutTempFile(*recording);
    askForSound(*recording, isCut);
    return copyFile(recording);
}

void VideoRecorder::askForSound(Recording &recording, bool isCut)
{
    SoundMaker maker;
    {
        const QMutexLocker locker(&mutex);
        maker = recording.soundMaker ? recording.soundMaker : soundMaker;
    }
    if (!maker)
        return;
    SoundRequest request;
    request.audioPath = recording.tempFile->audioPath();
    request.destination = recording.path;
    request.isRemoved = recording.isRemoved;
    request.isCopied = !UseFFMPEGOptimization || !ffmpegQueue || recording.isDestinationTaken
        || SameFile::isSamePath(recording.tempFilePath, recording.path);
    if (isCut)
        request.cut = recording.cut;
    try {
        maker(request);
    } catch (...) {
        qWarning() << "VIDEORECORDER: the sound maker ended with an exception, the video has no sound";
    }
}

bool VideoRecorder::copyFile(const std::shared_ptr<Recording> &recording)
{
    RecordingResult &result = recording->result;
    const QString source = recording->tempFilePath;
    const QString &path = recording->path;
    result.outcome = RecordingResult::Delivered;
    result.videoPath = path;
    if (SameFile::isSamePath(source, path)) {
        result.soundPath = existingSound(*recording, true);
        keepSidecars(*recording);
        if (!QFile::exists(path))
            recording->keep(QString());
        recording->writeResultFile();
        return false;
    }
    if (recording->isDestinationTaken) {
        result.soundPath = existingSound(*recording, false);
        keepSidecars(*recording);
        recording->keep(tr("Another recording lies at %1; this one stays in %2.").arg(path, source));
        writeConsole(QStringLiteral("Another recording lies at %1, this one stays in %2").arg(path, source));
        recording->writeResultFile();
        return false;
    }
    if (UseFFMPEGOptimization && ffmpegQueue) {
        writeConsole(QStringLiteral("Tempfile FFMPEG ") + sizeAndPath(source));
        writeConsole(QStringLiteral("Destfile FFMPEG ") + sizeAndPath(path));
        if (!ffmpegQueue->isWorking())
            ffmpegQueue->initAndStart();
        const QString audio = recording->tempFile->audioPath();
        const bool withAudio = QFile::exists(audio);
        qDebug() << "JOB" << source << audio << withAudio;
        FFMpegJob job{
            source, withAudio ? audio : QString(), path, withAudio ? JoinVideoAndAudio : Convert, {}};
        {
            const QMutexLocker locker(&mutex);
            job.delivery = delivery;
        }
        result.soundPath = job.audio;
        deliverSidecars(*recording);
        RecordingDeliveries::instance().queueJob(recording, job, *ffmpegQueue, link);
        return true;
    }
    writeConsole(QStringLiteral("Tempfile ") + sizeAndPath(source));
    writeConsole(QStringLiteral("Destfile ") + sizeAndPath(path));
    result.soundPath = existingSound(*recording, true);
    if (!moveFile(source, path)) {
        if (QFile::exists(source))
            writeConsole(
                QStringLiteral("The recording cannot be copied to %1, it stays in %2").arg(path, source));
        recording->keep(tr("The recording cannot be copied to %1; it stays in %2.").arg(path, source));
    }
    deliverSidecars(*recording);
    recording->writeResultFile();
    return false;
}

// What the queue has told since the last pass.
void VideoRecorder::announceEnds()
{
    if (!link->takeNews())
        return;
    RecordingDeliveries &deliveries = RecordingDeliveries::instance();
    for (const auto &[result, isFirst] : deliveries.takeResults(*link))
        tellResult(result, isFirst);
    for (const RecordingDeliveries::Ended &ended : deliveries.takeAnnounced(*link))
        tellEnd(ended.result, ended.durationMs);
}

void VideoRecorder::tellResult(const RecordingResult &result, bool isFirst)
{
    Q_EMIT jobNotifier->ended(result);
    pendingResults -= isFirst;
}

void VideoRecorder::tellEnd(const RecordingResult &result, int durationMs)
{
    link->setLast(result);
    --pendingFinishes;
    Q_EMIT recordFinished(result.destination, durationMs);
}
