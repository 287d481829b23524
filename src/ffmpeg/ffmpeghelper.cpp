#include "ffmpeg/ffmpeghelper.h"

#include "ffmpeg/ffmpegtask_p.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QProcess>

#include <utility>

namespace {

constexpr int terminateLimitMs = 1000;
constexpr int killLimitMs = 2000;

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

// True where the child has ended within the limit; otherwise there is none any more.
bool runBlocking(FFMpegTask &task, unsigned int timeoutMs)
{
    QProcess process;
    // Nobody reads it, and an endless text would fill the memory.
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    task.start(process);
    const int limitMs = int(timeoutMs);
    if (process.waitForFinished(limitMs < 0 ? -1 : limitMs))
        return true;
    if (process.state() != QProcess::NotRunning) {
        process.terminate();
        if (!process.waitForFinished(terminateLimitMs)) {
            process.kill();
            process.waitForFinished(killLimitMs);
        }
    }
    return false;
}

bool runOrFail(FFMpegTask &&task, unsigned int timeoutMs)
{
    if (task.state == FFMpegTask::State::Unneeded)
        return true;
    if (task.state == FFMpegTask::State::Refused)
        return false;
    if (!runBlocking(task, timeoutMs)) {
        qDebug() << "FFMPEG failed";
        return false;
    }
    task.removeList();
    return QFile::exists(task.destination);
}

} // namespace

QString FFMPEGHelper::lastError;

bool FFMPEGHelper::convert(
    QString &source, QString &destination, QString parameters, bool overwrite, unsigned int timeoutMs)
{
    storeError(QString());
    FFMpegTask task = FFMpegTask::convert(source, destination, parameters, overwrite);
    if (task.state == FFMpegTask::State::Refused)
        return failConvert(task.error);
    if (!runBlocking(task, timeoutMs))
        return failConvert(FFMpegTask::timeoutError(timeoutMs));
    task.reportSizes();
    return QFile::exists(destination);
}

bool FFMPEGHelper::convert(QString &source, QString &destination, bool overwrite, unsigned int timeoutMs)
{
    return convert(source, destination, QString(), overwrite, timeoutMs);
}

bool FFMPEGHelper::convertVideoToMP4(QString &path, bool removeSource, unsigned int timeoutMs)
{
    if (!QFileInfo::exists(path))
        return false;
    const FFMpegMP4 mp4(path, removeSource);
    QString target = mp4.target();
    qDebug() << "CONVERTING" << path << target;
    const bool ok = convert(path, target, QString(), true, timeoutMs);
    qDebug() << "CONVERTED" << ok;
    path = mp4.settle(ok);
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
