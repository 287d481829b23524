#include "ffmpeg/ffmpeghelper.h"

#include "ffmpeg/ffmpegchild_p.h"
#include "ffmpeg/ffmpegtask_p.h"

#include <QDebug>
#include <QFileInfo>
#include <QMutex>

namespace {

QMutex errorMutex; // guards lastError against other calls; a reader has to see to itself

void storeError(const QString &error)
{
    const QMutexLocker lock(&errorMutex);
    FFMPEGHelper::lastError = error;
}

bool failConvert(const QString &error)
{
    storeError(error);
    qDebug() << error;
    return false;
}

// The exit code is not looked at.
bool runOrFail(FFMpegTask &&task, unsigned int timeoutMs)
{
    FFMpegChild child;
    if (task.state == FFMpegTask::State::Ready)
        task.start(child, false);
    if (task.state != FFMpegTask::State::Ready)
        return task.state == FFMpegTask::State::Unneeded;
    if (!child.waitFor(int(timeoutMs))) {
        qDebug() << "FFMPEG failed";
        return false;
    }
    task.removeList();
    return task.destinationExists();
}

bool runConvert(FFMpegTask &task, unsigned int timeoutMs)
{
    storeError(QString());
    FFMpegChild child;
    if (task.state == FFMpegTask::State::Ready)
        task.start(child, false);
    if (task.state == FFMpegTask::State::Refused)
        return failConvert(task.error);
    if (!child.waitFor(int(timeoutMs)))
        return failConvert(FFMpegTask::timeoutError(timeoutMs));
    task.reportSizes();
    return task.destinationExists();
}

} // namespace

QString FFMPEGHelper::lastError;

bool FFMPEGHelper::convert(
    QString &source, QString &destination, QString parameters, bool overwrite, unsigned int timeoutMs)
{
    FFMpegTask task = FFMpegTask::convert(source, destination, parameters, overwrite);
    return runConvert(task, timeoutMs);
}

bool FFMPEGHelper::convert(QString &source, QString &destination, bool overwrite, unsigned int timeoutMs)
{
    return convert(source, destination, QString(), overwrite, timeoutMs);
}

bool FFMPEGHelper::convertVideoToMP4(QString &path, bool removeSource, unsigned int timeoutMs)
{
    if (!QFileInfo::exists(path))
        return false;
    FFMpegTask task = FFMpegTask::convertToMP4(path, removeSource);
    qDebug() << "CONVERTING" << path << task.destination;
    const bool ok = runConvert(task, timeoutMs);
    qDebug() << "CONVERTED" << ok;
    task.settle(ok);
    path = task.destination;
    return ok;
}

bool FFMPEGHelper::changeVolume(QString source, QString destination, float volume, unsigned int timeoutMs)
{
    return runOrFail(FFMpegTask::changeVolume(source, destination, volume), timeoutMs);
}

bool FFMPEGHelper::crop(QString source, QString destination, int durationMs, unsigned int timeoutMs)
{
    return runOrFail(FFMpegTask::crop(source, destination, durationMs), timeoutMs);
}

bool FFMPEGHelper::joinAudio(QStringList sources, QString destination, bool safe, unsigned int timeoutMs)
{
    return runOrFail(FFMpegTask::join(sources, destination, safe), timeoutMs);
}

void FFMPEGHelper::setMaxParallelJobs(int count)
{
    FFMPEGHelperJob::setMaxParallel(count);
}

FFMPEGHelperJob *FFMPEGHelper::convertAsync(const QString &source, const QString &destination,
    const QString &parameters, bool overwrite, unsigned int timeoutMs, QObject *parent)
{
    return new FFMPEGHelperJob(
        FFMpegTask::convert(source, destination, parameters, overwrite), timeoutMs, parent);
}

FFMPEGHelperJob *FFMPEGHelper::convertVideoToMP4Async(
    const QString &path, bool removeSource, unsigned int timeoutMs, QObject *parent)
{
    return new FFMPEGHelperJob(FFMpegTask::convertToMP4(path, removeSource), timeoutMs, parent);
}

FFMPEGHelperJob *FFMPEGHelper::changeVolumeAsync(
    const QString &source, const QString &destination, float volume, unsigned int timeoutMs, QObject *parent)
{
    return new FFMPEGHelperJob(FFMpegTask::changeVolume(source, destination, volume), timeoutMs, parent);
}

FFMPEGHelperJob *FFMPEGHelper::cropAsync(const QString &source, const QString &destination, int durationMs,
    unsigned int timeoutMs, QObject *parent)
{
    return new FFMPEGHelperJob(FFMpegTask::crop(source, destination, durationMs), timeoutMs, parent);
}

FFMPEGHelperJob *FFMPEGHelper::joinAudioAsync(const QStringList &sources, const QString &destination,
    bool safe, unsigned int timeoutMs, QObject *parent)
{
    return new FFMPEGHelperJob(FFMpegTask::join(sources, destination, safe), timeoutMs, parent);
}
