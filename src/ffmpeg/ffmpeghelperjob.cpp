#include "ffmpeg/ffmpeghelperjob.h"

#include "ffmpeg/ffmpegtask_p.h"
#include "ffmpeg/ffmpegtext_p.h"

#include <QDebug>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTimer>

#include <utility>

namespace {

constexpr int terminateLimitMs = 3000;
constexpr int killLimitMs = 2000;

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
    : QObject(parent), task(std::make_unique<FFMpegTask>(std::move(work))),
      text(std::make_unique<FFMpegText>()), process(new QProcess(this)), timeLimit(new QTimer(this)),
      killLimit(new QTimer(this))
{
    timeLimit->setSingleShot(true);
    killLimit->setSingleShot(true);
    killLimit->setInterval(terminateLimitMs);
    connect(killLimit, &QTimer::timeout, process, &QProcess::kill);
    switch (task->state) {
    case FFMpegTask::State::Ready:
        start(timeoutMs);
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
    if (over)
        return;
    process->disconnect(this);
    // What it has written is removed anyway, so it need not be asked.
    process->kill();
    process->waitForFinished(killLimitMs);
    task->removeList();
    task->removeHalfMade();
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
    return text->lastLines();
}

void FFMPEGHelperJob::cancel()
{
    if (over || !reasonToEnd.isEmpty())
        return;
    cancelled = true;
    askToEnd(tr("Cancelled"));
}

void FFMPEGHelperJob::start(unsigned int timeoutMs)
{
    connect(process, &QProcess::readyReadStandardError, this, &FFMPEGHelperJob::readErrors);
    connect(process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this,
        [this](int exitCode, QProcess::ExitStatus status) {
            childFinished(exitCode, status == QProcess::CrashExit);
        });
    connect(process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            end(tr("ffmpeg cannot be started: %1").arg(process->errorString()));
    });
    process->setStandardOutputFile(QProcess::nullDevice());
    task->start(*process);
    const int limitMs = int(timeoutMs);
    if (over || limitMs < 0)
        return;
    connect(timeLimit, &QTimer::timeout, this, [this, timeoutMs] {
        if (reasonToEnd.isEmpty())
            askToEnd(FFMpegTask::timeoutError(timeoutMs));
    });
    timeLimit->start(limitMs);
}

void FFMPEGHelperJob::askToEnd(const QString &reason)
{
    reasonToEnd = reason;
    process->terminate();
    killLimit->start();
}

void FFMPEGHelperJob::readErrors()
{
    const QStringList lines = text->append(process->readAllStandardError());
    for (const QString &line : lines)
        readLine(line);
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

void FFMPEGHelperJob::childFinished(int exitCode, bool crashed)
{
    readErrors();
    const QString lastLine = lastText().section(QLatin1Char('\n'), -1);
    if (!reasonToEnd.isEmpty())
        end(reasonToEnd);
    else if (crashed)
        end(tr("ffmpeg has crashed: %1").arg(lastLine));
    else if (exitCode != 0)
        end(tr("ffmpeg has failed with code %1: %2").arg(QString::number(exitCode), lastLine));
    else if (!QFile::exists(task->destination))
        end(tr("ffmpeg has not made the file %1").arg(task->destination));
    else
        end(QString());
}

void FFMPEGHelperJob::end(const QString &reason)
{
    over = true;
    endError = reason;
    timeLimit->stop();
    killLimit->stop();
    task->removeList();
    const bool ok = reason.isEmpty();
    if (!ok) {
        qDebug() << reason;
        // What has been refused may name a file that is none of this job's.
        if (task->state == FFMpegTask::State::Ready)
            task->removeHalfMade();
    }
    if (task->mp4 && task->state == FFMpegTask::State::Ready)
        task->destination = task->mp4->settle(ok);
    if (ok)
        tellProgress(1.0);
    QMetaObject::invokeMethod(this, &FFMPEGHelperJob::tellEnd, Qt::QueuedConnection);
}

void FFMPEGHelperJob::tellEnd()
{
    running = false;
    Q_EMIT finished(endError.isEmpty(), endError);
}
