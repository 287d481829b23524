#include "recording/videorecorder.h"

#include "baselib/fileutilities.h"
#include "common/console_p.h"
#include "ffmpeg/ffmpegqueue.h"
#include "ffmpeg/ffmpegqueuenotifier_p.h"
#include "recording/recording_p.h"
#include "recording/recordingdeliveries_p.h"
#include "recording/recordingnotifier_p.h"

#include <opencv2/core.hpp>
#include <QDebug>
#include <QFile>
#include <QFileInfo>

#include <limits>

bool VideoRecorder::UseFFMPEGOptimization = true;
FFMpegQueue *VideoRecorder::ffmpegQueue =
    new FFMpegQueue; // no thread starts before the first finished recording

namespace {

constexpr int endLooks = 100;
constexpr int endLookMs = 100;

} // namespace

VideoRecorder::VideoRecorder(QString path, double frameRate, QObject *)
    : path(std::move(path)), frameRate(frameRate), link(std::make_shared<RecorderLink>(this)),
      jobNotifier(std::make_unique<RecordingNotifier>())
{
    qRegisterMetaType<cv::Mat>("cv::Mat");
    qRegisterMetaType<VideoInterval>("VideoInterval");
    qRegisterMetaType<RecordingResult>("RecordingResult");
    suspended = false;
    passClock.start();
}

VideoRecorder::~VideoRecorder()
{
    std::function<void()> closer;
    {
        const QMutexLocker locker(&mutex);
        closer = soundCloser;
    }
    if (closer && pendingResults > 0)
        closer();
    // The worker ends its loop itself once it has finished what was stopped.
    isClosing = true;
    startProcessing();
    bool ended = !isRunning();
    for (int look = 0; look < endLooks && !ended; ++look)
        ended = wait(endLookMs);
    working = false;
    wake();
    if (!ended) {
        qWarning() << "VIDEORECORDER: the worker does not come back and is terminated";
        terminate();
        wait();
    }
    link->leave();
    if (latest && latest->isOpened && latest->state != Recording::State::Over) {
        latest->writer.release();
        writeConsole(QStringLiteral("Recording was not stopped, its video stays in %1")
                         .arg(latest->tempFile->videoPath()));
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
    std::shared_ptr<Recording> former;
    {
        const QMutexLocker locker(&mutex);
        former = leaveLatest();
        reset();
        slotIsFresh = false;
        if (!newPath.isEmpty())
            path = newPath;
        destination = path;
    }
    if (former)
        RecordingDeliveries::instance().begin(former);
    wake();
    if (!(rate > 0.0)) {
        qDebug() << "VIDEORECORDER: Frame rate is invalid" << rate;
        return;
    }
    if (destination.size() < 3) {
        qDebug() << "VIDEORECORDER: Filepath is not provided";
        return;
    }
    const auto recording = std::make_shared<Recording>();
    recording->armedAt = QDateTime::currentDateTime();
    recording->path = destination;
    recording->rateHz = rate;
    recording->isDestinationTaken = RecordingTempFile::isInUse(destination);
    if (recording->isDestinationTaken) {
        writeConsole(QStringLiteral("Another recording grows at %1 and is left alone").arg(destination));
    } else if (QFile::exists(destination) && !QFile::remove(destination)) {
        writeConsole(QStringLiteral("The older file %1 cannot be removed").arg(destination));
    }
    FileUtilities::createIfNotExists(QFileInfo(destination).absolutePath());

    frameInterval = static_cast<int>(qMin(1000.0 / rate, double(std::numeric_limits<int>::max())));
    recording->tempFile = RecordingTempFile::claim(destination);
    recording->tempFilePath = recording->tempFile->videoPath();
    const QMutexLocker locker(&mutex);
    suspended = false;
    latest = recording;
    isPaused = false;
    startProcessing();
}

// Called with the mutex held. Gives the former recording where it still has to be finished.
std::shared_ptr<Recording> VideoRecorder::leaveLatest()
{
    if (!latest || latest->state == Recording::State::Over)
        return {};
    if (!latest->isOpened) {
        latest->state = Recording::State::Over;
        // The claim is let go before the next one, so that a restart of the same recording keeps its name.
        latest->tempFile.reset();
        return {};
    }
    if (latest->isWanted())
        latest->rateHz = frameRate;
    // The list alone leads to its finish now: until the next recording takes its place as the latest one, a
    // pass must not finish it a second time.
    latest->state = Recording::State::Over;
    latest->path = path;
    superseded.push_back(latest);
    return latest;
}

void VideoRecorder::setFramerate(double newRate)
{
    frameRate = newRate;
}

void VideoRecorder::stopRecord(bool remove)
{
    std::shared_ptr<Recording> stopped;
    {
        const QMutexLocker locker(&mutex);
        if (latest && latest->state != Recording::State::Over) {
            if (latest->isWanted())
                latest->rateHz = frameRate;
            latest->state = Recording::State::Finishing;
            latest->isRemoved = remove;
            latest->cut.reset();
            if (latest->isOpened)
                stopped = latest;
        }
    }
    if (stopped)
        RecordingDeliveries::instance().begin(stopped);
    wake();
}

void VideoRecorder::stopAndCut(VideoInterval interval)
{
    std::shared_ptr<Recording> stopped;
    {
        const QMutexLocker locker(&mutex);
        reset();
        if (latest && latest->state != Recording::State::Over) {
            if (latest->isWanted())
                latest->rateHz = frameRate;
            latest->state = Recording::State::Finishing;
            latest->isRemoved = false;
            latest->cut = interval;
            if (latest->isOpened)
                stopped = latest;
        }
    }
    if (stopped)
        RecordingDeliveries::instance().begin(stopped);
    wake();
}

// Called with the mutex held.
void VideoRecorder::reset()
{
    isPaused = false;
    frameSizeCalculated = false;
    if (latest)
        latest->showsCount = false;
}

void VideoRecorder::setFrame(const cv::Mat &newFrame)
{
    setFrame(newFrame, FrameStamp());
}

void VideoRecorder::setFrame(const cv::Mat &newFrame, const FrameStamp &stamp)
{
    const QMutexLocker locker(&mutex);
    if (!newFrame.data || newFrame.total() == 0 || newFrame.dims == 0)
        return;
    Report unused;
    const bool counts = latest && latest->isWanted();
    Report &report = counts ? latest->report : unused;
    ++report.offered;
    if (frameSizeCalculated && newFrame.size() != frameSize) {
        ++report.refused;
        return;
    }
    // The caller reuses its buffer as soon as we return, so a header is not enough.
    newFrame.copyTo(frame);
    report.overwritten += slotIsFresh && !isPaused;
    slotIsFresh = true;
    slotStamp = stamp;
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
    const QMutexLocker locker(&mutex);
    isPaused = true;
    if (latest && latest->state == Recording::State::Active)
        latest->state = Recording::State::Paused;
}

void VideoRecorder::resumeRecord()
{
    const QMutexLocker locker(&mutex);
    isPaused = false;
    if (latest && latest->state == Recording::State::Paused)
        latest->state = Recording::State::Active;
    wake();
}

void VideoRecorder::sync(int timestamp)
{
    std::shared_ptr<Recording> recording;
    {
        const QMutexLocker locker(&mutex);
        recording = latest;
    }
    if (recording) {
        const std::lock_guard<std::mutex> lock(recording->logMutex);
        if (recording->log) {
            recording->log->write(static_cast<quint32>(recording->frames), qint64(timestamp), true);
            return;
        }
    }
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

bool VideoRecorder::setSoundMaker(SoundMaker maker, std::function<void()> closer)
{
    {
        const QMutexLocker locker(&mutex);
        if (!maker || !soundMaker) {
            // Recordings that are not finished keep the maker that they began with.
            if (!maker && soundMaker) {
                for (const std::shared_ptr<Recording> &former : superseded)
                    former->soundMaker = soundMaker;
                if (latest)
                    latest->soundMaker = soundMaker;
            }
            soundMaker = std::move(maker);
            soundCloser = std::move(closer);
            return true;
        }
    }
    writeConsole(QStringLiteral("The recorder has a source of sound already, another one is refused"));
    return false;
}

void VideoRecorder::setDelivery(const RecordingDelivery &newDelivery)
{
    const QMutexLocker locker(&mutex);
    delivery = newDelivery;
}

void VideoRecorder::setKeepPace(bool keeps)
{
    const QMutexLocker locker(&mutex);
    keepsPace = keeps;
}

RecordingResult VideoRecorder::lastResult() const
{
    return link->getLast();
}

bool VideoRecorder::finishAndWait(int limitMs)
{
    if (getIsRecording())
        stopRecord();
    return RecordingDeliveries::instance().waitUntil([this] { return pendingResults == 0; }, limitMs);
}

bool VideoRecorder::waitForDeliveries(int limitMs)
{
    return RecordingDeliveries::instance().waitUntil(
        [] { return pendingDeliveries() == 0 && !(ffmpegQueue && ffmpegQueue->notifier()->isBusy()); },
        limitMs);
}

int VideoRecorder::pendingDeliveries()
{
    return RecordingDeliveries::instance().pending();
}

double VideoRecorder::getDurationSeconds() const
{
    const QMutexLocker locker(&mutex);
    return latest && latest->showsCount ? double(latest->frames) / frameRate : 0.0;
}

int VideoRecorder::getFrameCount() const
{
    const QMutexLocker locker(&mutex);
    return latest && latest->showsCount ? static_cast<int>(static_cast<quint32>(latest->frames)) : 0;
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
    const QMutexLocker locker(&mutex);
    return latest && latest->isWanted();
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
    return latest ? latest->tempFilePath : QString();
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
    return latest ? latest->currentReport() : Report();
}

RecordingNotifier *VideoRecorder::notifier() const
{
    return jobNotifier.get();
}
