#include "ffmpeg/ffmpeghelperjob.h"

#include "ffmpeg/ffmpegchild_p.h"
#include "ffmpeg/ffmpegtask_p.h"

#include <QDebug>
#include <QMutex>
#include <QRegularExpression>
#include <QTimer>

#include <utility>

namespace {

// Jobs of all threads. Never destroyed: jobs may still end while the process does.
struct Line
{
    QMutex mutex; // guards all below
    int limit = 2;
    int running = 0;
    QList<FFMPEGHelperJob *> waiting;
};

Line &line()
{
    static Line *const instance = new Line;
    return *instance;
}

// "01:02:03.45" behind a mark in \a line; negative where there is none.
double secondsIn(const QString &line, const QRegularExpression &clock)
{
    const QRegularExpressionMatch match = clock.match(line);
    if (!match.hasMatch())
        return -1.0;
    return match.captured(1).toInt() * 3600.0 + match.captured(2).toInt() * 60.0
        + match.captured(3).toDouble();
}

} // namespace

FFMPEGHelperJob::FFMPEGHelperJob(FFMpegTask &&work, unsigned int timeoutMs, QObject *parent)
    : QObject(parent), task(std::make_unique<FFMpegTask>(std::move(work))), child(new FFMpegChild(this)),
      timeLimit(new QTimer(this)), timeoutMs(timeoutMs)
{
    timeLimit->setSingleShot(true);
    connect(
        timeLimit, &QTimer::timeout, this, [this] { askToEnd(FFMpegTask::timeoutError(this->timeoutMs)); });
    connect(child, &FFMpegChild::said, this, [this](const QByteArray &, const QStringList &lines) {
        for (const QString &line : lines)
            readLine(line);
    });
    connect(child, &FFMpegChild::finished, this, &FFMPEGHelperJob::childFinished);
    switch (task->state) {
    case FFMpegTask::State::Ready:
        if (!waitInLine())
            start();
        break;
    case FFMpegTask::State::Refused:
        end(task->error);
        break;
    case FFMpegTask::State::Unneeded:
        end(QString());
        break;
    }
}

FFMPEGHelperJob::~FFMPEGHelperJob()
{
    leaveLine();
    if (over)
        return;
    child->disconnect(this);
    // kill() rather than cancel(): the output is deleted below.
    child->kill();
    task->removeList();
    task->removeHalfMade(*child);
}

void FFMPEGHelperJob::setMaxParallel(int count)
{
    {
        const QMutexLocker lock(&line().mutex);
        line().limit = qMax(1, count);
    }
    startNext();
}

void FFMPEGHelperJob::startNext()
{
    const QMutexLocker lock(&line().mutex);
    while (line().running < line().limit && !line().waiting.isEmpty()) {
        FFMPEGHelperJob *const next = line().waiting.takeFirst();
        next->hasPlace = true;
        ++line().running;
        // A job leaves the line under the lock before it dies, so it still lives here.
        QMetaObject::invokeMethod(next, &FFMPEGHelperJob::start, Qt::QueuedConnection);
    }
}

bool FFMPEGHelperJob::waitInLine()
{
    const QMutexLocker lock(&line().mutex);
    hasPlace = line().running < line().limit;
    if (hasPlace)
        ++line().running;
    else
        line().waiting << this;
    return !hasPlace;
}

void FFMPEGHelperJob::leaveLine()
{
    {
        const QMutexLocker lock(&line().mutex);
        line().waiting.removeOne(this);
        if (std::exchange(hasPlace, false))
            --line().running;
    }
    startNext();
}

bool FFMPEGHelperJob::isRunning() const
{
    return running;
}

bool FFMPEGHelperJob::isCancelled() const
{
    return cancelled;
}

QString FFMPEGHelperJob::destination() const
{
    return task->destination;
}

QString FFMPEGHelperJob::error() const
{
    return running ? QString() : endError;
}

QString FFMPEGHelperJob::lastText() const
{
    return child->lastLines();
}

void FFMPEGHelperJob::cancel()
{
    if (over || !reasonToEnd.isEmpty())
        return;
    cancelled = true;
    askToEnd(tr("Cancelled"));
}

void FFMPEGHelperJob::start()
{
    if (over) // cancelled after its turn had come
        return;
    task->start(*child, true);
    if (task->state == FFMpegTask::State::Refused)
        end(task->error);
    else if (const int limitMs = int(timeoutMs); limitMs >= 0)
        timeLimit->start(limitMs);
}

void FFMPEGHelperJob::askToEnd(const QString &reason)
{
    if (!reasonToEnd.isEmpty())
        return;
    reasonToEnd = reason;
    if (child->isRunning())
        child->cancel();
    else
        end(reason); // it has not been started
}

void FFMPEGHelperJob::readLine(const QString &line)
{
    static const QRegularExpression length(
        QStringLiteral("^ +Duration: (\\d+):(\\d\\d):(\\d\\d(?:\\.\\d+)?)"));
    static const QRegularExpression time(QStringLiteral(" time=(\\d+):(\\d\\d):(\\d\\d(?:\\.\\d+)?)"));
    static const QRegularExpression size(QStringLiteral("size= *(\\d+)(?:kB|KiB) "));
    // Of several inputs the longest counts.
    lengthSeconds = qMax(lengthSeconds, secondsIn(line, length));
    const double limitSeconds = task->limitMs / 1000.0;
    double whole = lengthSeconds;
    if (limitSeconds >= 0 && (whole <= 0 || whole > limitSeconds))
        whole = limitSeconds;
    const double done = secondsIn(line, time);
    if (done >= 0 && whole > 0) {
        tellProgress(done / whole);
    } else if (task->copies && task->sourceBytes > 0) {
        // The length of a list is not known to ffmpeg, but it copies, byte for byte.
        const QRegularExpressionMatch match = size.match(line);
        if (match.hasMatch())
            tellProgress(match.captured(1).toDouble() * 1024.0 / double(task->sourceBytes));
    }
}

void FFMPEGHelperJob::tellProgress(double part)
{
    const double done = qBound(0.0, part, 1.0);
    if (done <= told)
        return;
    told = done;
    // Always from the event loop, never from within a signal of the process, which a slot may destroy
    // together with this job.
    QMetaObject::invokeMethod(
        this, [this, done] { Q_EMIT progress(done); }, Qt::QueuedConnection);
}

void FFMPEGHelperJob::childFinished()
{
    const FFMpegChild::Result &result = child->result();
    const QString lastLine = result.text.section(QLatin1Char('\n'), -1);
    if (!reasonToEnd.isEmpty())
        end(reasonToEnd);
    else if (result.crashed)
        end(tr("ffmpeg has crashed: %1").arg(lastLine));
    else if (result.code == -1)
        end(tr("ffmpeg cannot be started: %1").arg(lastLine));
    else if (result.code != 0)
        end(tr("ffmpeg has failed with code %1: %2").arg(QString::number(result.code), lastLine));
    else if (!task->destinationExists())
        end(tr("ffmpeg has not made the file %1").arg(task->destination));
    else if (!result.ok)
        end(tr("The file %1 is not whole: %2").arg(task->destination, result.fault));
    else
        end(QString());
}

void FFMPEGHelperJob::end(const QString &reason)
{
    over = true;
    endError = reason;
    timeLimit->stop();
    task->removeList();
    const bool ok = reason.isEmpty();
    if (!ok) {
        qDebug() << reason;
        task->removeHalfMade(*child);
    }
    // A refused task may name a file that does not belong to this job.
    if (task->state == FFMpegTask::State::Ready)
        task->settle(ok);
    leaveLine();
    if (ok)
        tellProgress(1.0);
    QMetaObject::invokeMethod(this, &FFMPEGHelperJob::tellEnd, Qt::QueuedConnection);
}

void FFMPEGHelperJob::tellEnd()
{
    running = false;
    Q_EMIT finished(endError.isEmpty(), endError);
}
