#include "recording/videorecorder.h"

#include "baselib/console_p.h"
#include "baselib/fileutilities.h"
#include "ffmpeg/ffmpegqueue.h"
#include "recording/frametimelog_p.h"
#include "recording/recordingtempfile_p.h"

#include <opencv2/core.hpp>
#include <QDebug>
#include <QFile>
#include <QFileInfo>

#include <limits>

bool VideoRecorder::UseFFMPEGOptimization = true;
FFMpegQueue *VideoRecorder::ffmpegQueue =
    new FFMpegQueue; // no thread starts before the first finished recording

namespace {

constexpr int idlePassMs = 200;
constexpr int endLooks = 100;
constexpr int endLookMs = 100;
constexpr qint64 nsPerMs = 1'000'000;

} // namespace

VideoRecorder::VideoRecorder(QString path, double frameRate, QObject *)
    : frameRate(frameRate), path(std::move(path))
{
    qRegisterMetaType<cv::Mat>("cv::Mat");
    qRegisterMetaType<VideoInterval>("VideoInterval");
    suspended = false;
    passClock.start();
}

VideoRecorder::~VideoRecorder()
{
    working = false;
    wake();
    bool ended = !isRunning();
    for (int look = 0; look < endLooks && !ended; ++look)
        ended = wait(endLookMs);
    if (!ended) {
        qWarning() << "VIDEORECORDER: the worker does not come back and is terminated";
        terminate();
        wait();
    }
    for (const QPointer<QObject> &watcher : endWatchers)
        delete watcher.data();
    if (writerOpened) {
        writer.release();
        writeConsole(QStringLiteral("Recording was not stopped, its video stays in %1").arg(tempFilePath));
    }
}

QString VideoRecorder::tempFolder()
{
    return RecordingTempFile::wantedFolder();
}

void VideoRecorder::setTempFolder(const QString &folder)
{
    RecordingTempFile::setWantedFolder(folder);
}

void VideoRecorder::startRecord(QString newPath)
{
    initAndStart();
    const double rate = frameRate;
    QString destination;
    {
        const QMutexLocker locker(&mutex);
        // Its finish has not begun and must not mistake the new paths and flags for its own.
        if (writerOpened && !savingFile && !abandoned)
            abandoned = currentDelivery();
        reset();
        slotIsFresh = false;
        if (!newPath.isEmpty())
            path = newPath;
        destination = path;
        // The former claim is let go first, so that a restart of the same recording keeps its name.
        tempFile.reset();
    }
    wake();
    if (!(rate > 0.0)) {
        qDebug() << "VIDEORECORDER: Frame rate is invalid" << rate;
        return;
    }
    if (destination.size() < 3) {
        qDebug() << "VIDEORECORDER: Filepath is not provided";
        return;
    }
    if (QFile::exists(destination) && !QFile::remove(destination))
        writeConsole(QStringLiteral("The older file %1 cannot be removed").arg(destination));
    FileUtilities::createIfNotExists(QFileInfo(destination).absolutePath());

    frameInterval = static_cast<int>(qMin(1000.0 / rate, double(std::numeric_limits<int>::max())));
    const std::shared_ptr<RecordingTempFile> claimed = RecordingTempFile::claim(destination);
    const QMutexLocker locker(&mutex);
    suspended = false;
    frameTimer.restart();
    tempFile = claimed;
    tempFilePath = claimed->videoPath();
    report = Report();
    lastPassNs.reset();
    timedPasses = 0;
    isPaused = false;
    isRecording = true;
    startProcessing();
}

void VideoRecorder::setFramerate(double newRate)
{
    frameRate = newRate;
}

void VideoRecorder::stopRecord(bool remove)
{
    {
        const QMutexLocker locker(&mutex);
        isRecording = false;
        removeOnStop = remove;
        cutOnStop = false;
    }
    wake();
}

void VideoRecorder::stopAndCut(VideoInterval interval)
{
    {
        const QMutexLocker locker(&mutex);
        reset();
        cutInterval = interval;
        cutOnStop = true;
        removeOnStop = false;
    }
    wake();
}

void VideoRecorder::setFrame(const cv::Mat &newFrame)
{
    const QMutexLocker locker(&mutex);
    if (!newFrame.data || newFrame.total() == 0 || newFrame.dims == 0)
        return;
    const bool counts = isRecording;
    report.offered += counts;
    if (frameSizeCalculated && newFrame.size() != frameSize) {
        report.refused += counts;
        return;
    }
    // The caller reuses its buffer as soon as we return, so a header is not enough.
    newFrame.copyTo(frame);
    report.overwritten += counts && slotIsFresh && !isPaused;
    slotIsFresh = true;
    if (!frameSizeCalculated) {
        frameSize = frame.size();
        frameSizeCalculated = true;
        wake(); // an armed worker need not sleep its period out
    }
}

void VideoRecorder::setFrame(QImage img)
{
    setFrame(QImageToCvMat(img, true));
}

void VideoRecorder::pauseRecord()
{
    isPaused = true;
}

void VideoRecorder::resumeRecord()
{
    isPaused = false;
    wake();
}

void VideoRecorder::sync(int timestamp)
{
    const QMutexLocker locker(&mutex);
    if (frameLog)
        frameLog->write(static_cast<quint32>(frameCount), qint64(timestamp), true);
    else
        qDebug() << "No logger to sync";
}

void VideoRecorder::insertFramesOverride(QList<cv::Mat> frames)
{
    QList<cv::Mat> copies;
    copies.reserve(frames.size());
    for (const cv::Mat &given : qAsConst(frames))
        copies << given.clone();
    const QMutexLocker locker(&mutex);
    insertedFrames.swap(copies);
}

void VideoRecorder::setSoundMaker(std::function<void(const SoundRequest &)> maker)
{
    const QMutexLocker locker(&mutex);
    soundMaker = std::move(maker);
}

double VideoRecorder::getDurationSeconds() const
{
    return double(frameCount) / frameRate;
}

int VideoRecorder::getFrameCount() const
{
    return static_cast<int>(static_cast<quint32>(frameCount));
}

double VideoRecorder::getFrameRate() const
{
    return frameRate;
}

cv::Size VideoRecorder::getFrameSize() const
{
    const QMutexLocker locker(&mutex);
    return frameSize;
}

bool VideoRecorder::getFrameSizeCalculated() const
{
    return frameSizeCalculated;
}

bool VideoRecorder::getIsPaused() const
{
    return isPaused;
}

bool VideoRecorder::getIsRecording() const
{
    return isRecording;
}

bool VideoRecorder::isSavingFile() const
{
    return savingFile;
}

bool VideoRecorder::isFinishPending() const
{
    return pendingFinishes > 0;
}

QString VideoRecorder::getPath() const
{
    const QMutexLocker locker(&mutex);
    return path;
}

QString VideoRecorder::getTempFilePath() const
{
    const QMutexLocker locker(&mutex);
    return tempFilePath;
}

void VideoRecorder::setPath(QString newPath)
{
    const QMutexLocker locker(&mutex);
    path = std::move(newPath);
}

void VideoRecorder::removeTempFile()
{
    QFile::remove(getTempFilePath());
}

VideoRecorder::Report VideoRecorder::getReport() const
{
    const QMutexLocker locker(&mutex);
    Report current = report;
    if (current.wallClockSeconds > 0.0)
        current.measuredRateHz = double(timedPasses) / current.wallClockSeconds;
    return current;
}

// Called with the mutex held.
void VideoRecorder::reset()
{
    removeOnStop = false;
    isRecording = false;
    isPaused = false;
    frameSizeCalculated = false;
    cutOnStop = false;
    frameCount = 0;
    ++resets;
}

void VideoRecorder::process()
{
    bool finishNow = false;
    bool openNow = false;
    {
        const QMutexLocker locker(&mutex);
        finishNow = abandoned || !isRecording;
        passResets = resets;
        if (finishNow && !writerOpened && !isRecording)
            tempFile.reset(); // stopped while Armed
        // Decided together with the look at isRecording, so that a stop knows whether a finish follows.
        openNow = !finishNow && !writerOpened && frameSizeCalculated;
        pendingFinishes += openNow;
    }
    if (finishNow) {
        if (writerOpened)
            finish();
        delayNextPass(isRecording ? 0 : idlePassMs);
        return;
    }
    if (!writerOpened) {
        if (!openNow) {
            delayNextPass(qMax(1, frameInterval.load()));
            return;
        }
        try {
            openWriter();
        } catch (...) {
            --pendingFinishes;
            throw; // told by the loop; the next pass tries again
        }
    }
    if (isPaused || !frameSizeCalculated || !writer.isOpened()) {
        const QMutexLocker locker(&mutex);
        lastPassNs.reset();
        waitsForDue = false;
        delayNextPass(qMax(1, frameInterval.load()));
        return;
    }
    if (!passIsDue())
        return;
    writeInsertedFrames();
    writeSampledFrame();
    Q_EMIT frameCountChanged(frameCount);
    notePass();
    pace();
}

void VideoRecorder::openWriter()
{
    std::shared_ptr<RecordingTempFile> claimed;
    cv::Size size;
    QString destination;
    {
        const QMutexLocker locker(&mutex);
        claimed = tempFile;
        destination = path;
        size = frameSize;
    }
    // The host may have set another path since the start.
    if (!claimed || claimed->destination() != destination)
        claimed = RecordingTempFile::claim(destination);
    const QString target = claimed->videoPath();
    {
        const QMutexLocker locker(&mutex);
        tempFile = claimed;
        tempFilePath = target;
        if (useFrameLog) {
            const QFileInfo info(destination);
            logPath =
                info.absolutePath() + QLatin1Char('/') + info.completeBaseName() + QStringLiteral(".log");
            tempLogPath = claimed->logPath();
        } else {
            logPath.clear();
        }
    }
    FileUtilities::createIfNotExists(QFileInfo(target).absolutePath());
    claimed->moveLeftoversAside();
    writeConsole(QStringLiteral("Start video recording to ") + destination + QLatin1Char('(') + target
        + QStringLiteral(") @ ") + QString::number(frameRate, 'g', 6) + QStringLiteral(" Hz, ")
        + QString::number(size.width) + QLatin1Char('x') + QString::number(size.height));
    writer = createWriter(target.toStdString(), frameRate, size);
    qDebug() << "Writer open" << writer.isOpened();
    if (!writer.isOpened()) {
        writeConsole(QStringLiteral("The video %1 cannot be written, nothing is recorded").arg(target));
        // A refused rate leaves an empty file behind.
        if (QFileInfo(target).isFile() && QFileInfo(target).size() == 0)
            QFile::remove(target);
    }

    std::unique_ptr<FrameTimeLog> log;
    if (useFrameLog) {
        log = std::make_unique<FrameTimeLog>(claimed->logPath());
        if (!log->load()) {
            log->close(true);
            log->open();
        }
    }
    {
        const QMutexLocker locker(&mutex);
        frameLog = std::move(log);
        lastPassNs.reset();
    }
    writerStart = QDateTime::currentDateTime();
    sampled.release();
    sampledIsUsable = false;
    waitsForDue = false;
    writerOpened = true;
    Q_EMIT recordStarted();
}

bool VideoRecorder::passIsDue()
{
    if (!waitsForDue)
        return true;
    const QMutexLocker locker(&mutex);
    const qint64 due = frameInterval * nsPerMs - lateNs;
    const qint64 elapsed = frameTimer.nsecsElapsed();
    if (elapsed < due) {
        // Woken for another reason; the pace stays.
        delayNextPass(static_cast<int>((due - elapsed + nsPerMs - 1) / nsPerMs));
        return false;
    }
    // A wait ends a little late, by the timer's coarseness; the next one is shorter by that, so that the rate
    // is exact.
    lateNs = elapsed - due < frameInterval * nsPerMs ? elapsed - due : 0;
    frameTimer.restart();
    waitsForDue = false;
    return true;
}

void VideoRecorder::pace()
{
    const QMutexLocker locker(&mutex);
    const qint64 due = frameInterval * nsPerMs - lateNs;
    const qint64 elapsed = frameTimer.nsecsElapsed();
    if (elapsed < due) {
        waitsForDue = true;
        delayNextPass(static_cast<int>((due - elapsed + nsPerMs - 1) / nsPerMs));
        return;
    }
    // The encoder was slower than the rate: nothing is made up for.
    lateNs = 0;
    frameTimer.restart();
    delayNextPass(0);
}

void VideoRecorder::writeInsertedFrames()
{
    QList<cv::Mat> batch;
    cv::Size size;
    {
        const QMutexLocker locker(&mutex);
        if (insertedFrames.isEmpty())
            return;
        batch.swap(insertedFrames);
        size = frameSize;
    }
    for (cv::Mat &inserted : batch) {
        try {
            if (!prepareFrame(inserted, size) || inserted.type() != CV_8UC3)
                continue;
            writer.write(inserted);
        } catch (const cv::Exception &error) {
            qWarning() << "VIDEORECORDER: an inserted frame cannot be written:" << error.what();
            continue;
        }
        countFrame(0);
    }
    const QMutexLocker locker(&mutex);
    qDebug() << "Video inception of" << batch.size() << "frames took" << frameTimer.elapsed();
    frameTimer.restart();
}

void VideoRecorder::writeSampledFrame()
{
    cv::Size size;
    bool fresh = false;
    {
        const QMutexLocker locker(&mutex);
        fresh = slotIsFresh;
        if (fresh) {
            // The buffers change places: the slot gets one of the right size to copy into, and nobody waits
            // for a copy.
            cv::swap(frame, sampled);
            slotIsFresh = false;
        }
        size = frameSize;
    }
    try {
        if (fresh)
            sampledIsUsable = prepareFrame(sampled, size) && sampled.type() == CV_8UC3;
        if (!sampledIsUsable)
            return;
        writer.write(sampled);
    } catch (const cv::Exception &error) {
        qWarning() << "VIDEORECORDER: a frame cannot be written:" << error.what();
        sampledIsUsable = false;
        return;
    }
    if (!fresh) {
        const QMutexLocker locker(&mutex);
        ++report.repeated;
    }
    countFrame(writerStart.msecsTo(QDateTime::currentDateTime()));
}

void VideoRecorder::countFrame(qint64 logValue)
{
    const QMutexLocker locker(&mutex);
    // A stop with a cut, or a new start, has set the count to 0 meanwhile; this frame belongs to what was
    // before.
    if (passResets != resets)
        return;
    const quint64 number = frameCount;
    if (useFrameLog && frameLog && number >= frameLog->getRecordCount())
        frameLog->write(static_cast<quint32>(number), logValue, true);
    frameCount = number + 1;
    ++report.written;
}

void VideoRecorder::notePass()
{
    const qint64 now = passClock.nsecsElapsed();
    const QMutexLocker locker(&mutex);
    if (lastPassNs) {
        const qint64 gap = now - *lastPassNs;
        report.longestGapMs = qMax(report.longestGapMs, gap / 1e6);
        report.wallClockSeconds += gap / 1e9;
        ++timedPasses;
    }
    lastPassNs = now;
}
