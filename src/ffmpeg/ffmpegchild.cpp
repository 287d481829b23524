#include "ffmpeg/ffmpegchild_p.h"

#include "video/packetcount_p.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

#include <system_error>

#if defined(Q_OS_UNIX)
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <unistd.h>
#elif defined(Q_OS_WIN)
#include <windows.h>
#endif

namespace {

constexpr int terminateLimitMs = 2000;
constexpr int killLimitMs = 2000;
constexpr int lookMs = 100;
constexpr int lastLinesKept = 20;
constexpr int longestLineKept = 4096; // bytes

} // namespace

class FFMpegChildProcess : public QProcess
{
public:
    FFMpegChildProcess()
    {
#ifdef Q_OS_WIN
        setCreateProcessArgumentsModifier(
            [](CreateProcessArguments *arguments) { arguments->flags |= CREATE_NEW_PROCESS_GROUP; });
#endif
    }

    QByteArray source; // to be locked; encoded before the child exists, which must not allocate

protected:
    void setupChildProcess() override
    {
#ifdef Q_OS_UNIX
        ::setpgid(0, 0);
        if (source.isEmpty())
            return;
        // Not closed on exec: the lock lives as long as the child, even if this program is killed.
        const int file = ::open(source.constData(), O_RDONLY | O_NONBLOCK);
        constexpr int attempts = 50; // of 2 ms: a process that probes the lock holds it for an instant
        for (int i = 0; i < attempts && file >= 0 && ::flock(file, LOCK_SH | LOCK_NB) != 0; ++i)
            ::poll(nullptr, 0, 2);
#endif
    }
};

FFMpegChild::FFMpegChild(QObject *parent) : QObject(parent), process(std::make_unique<FFMpegChildProcess>())
{
    connect(process.get(), &QProcess::readyReadStandardError, this, &FFMpegChild::readErrors);
    connect(process.get(), &QProcess::readyReadStandardOutput, this,
        [this] { Q_EMIT printed(process->readAllStandardOutput()); });
    connect(process.get(), &QProcess::started, this, [this] {
        if (cancelled)
            process->terminate();
        Q_EMIT started();
    });
    connect(process.get(), qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this,
        [this](int code, QProcess::ExitStatus status) { processEnded(code, status == QProcess::CrashExit); });
    connect(process.get(), &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            outcome.text = process->errorString();
            // Some platforms notice it within start(), whose end must not come before it returns.
            QMetaObject::invokeMethod(
                this,
                [this, failed = run] {
                    if (failed == run && running)
                        end();
                },
                Qt::QueuedConnection);
        }
    });
    killTimer.setSingleShot(true);
    killTimer.setInterval(terminateLimitMs);
    connect(&killTimer, &QTimer::timeout, process.get(), &QProcess::kill);
}

FFMpegChild::~FFMpegChild()
{
    process->disconnect(this);
    stop();
    countIsUnwanted = true;
    if (counter.joinable())
        counter.join();
}

void FFMpegChild::start(const QStringList &arguments, const Files &files)
{
    job = files;
    before = stampOf(job.output);
    outcome = {};
    ++run;
    running = true;
    cancelled = false;
    lines.clear();
    begun.clear();
    returned = false;
    frames = -1;
    writeFault.clear();
    process->source = QFile::encodeName(job.source);
    process->start(QStringLiteral("ffmpeg"), arguments, QIODevice::ReadWrite);
    // Asked whether to overwrite a file, the program would wait for ever; a closed input is a no.
    process->closeWriteChannel();
}

void FFMpegChild::cancel()
{
    if (!running || cancelled)
        return;
    cancelled = true;
    countIsUnwanted = true;
    // Not by "q" on its input: it would end with exit code 0 and a part of the video, as if that were all.
    // And not before it has become ffmpeg: until then it has the host's signal handlers.
    if (process->state() == QProcess::Running)
        process->terminate();
    if (process->state() != QProcess::NotRunning)
        killTimer.start();
}

void FFMpegChild::kill()
{
    process->kill();
    process->waitForFinished(killLimitMs);
}

bool FFMpegChild::waitFor(int limitMs, const std::function<bool()> &isCancelled)
{
    QDeadlineTimer deadline(QDeadlineTimer::Forever);
    if (limitMs >= 0)
        deadline.setRemainingTime(limitMs);
    while (process->state() != QProcess::NotRunning) {
        const qint64 left = deadline.remainingTime();
        if (process->waitForFinished(left < 0 || left > lookMs ? lookMs : int(left)))
            break;
        if (deadline.hasExpired() || (isCancelled && isCancelled())) {
            cancelled = process->state() != QProcess::NotRunning;
            stop();
            return false;
        }
    }
    if (running) // it could not be started
        end();
    return outcome.code != -1;
}

QString FFMpegChild::lastLines() const
{
    QStringList all = lines;
    if (!begun.isEmpty())
        all << QString::fromLocal8Bit(begun);
    return all.mid(qMax(0, all.size() - lastLinesKept)).join(QLatin1Char('\n'));
}

void FFMpegChild::removeTouchedOutput() const
{
    const Stamp now = stampOf(job.output);
    if (now.isFile && (!before.isFile || now.bytes != before.bytes || now.changed != before.changed))
        QFile::remove(QFileInfo(job.output).canonicalFilePath());
}

QString FFMpegChild::path(const QString &path)
{
    return path.isEmpty() ? path : QDir::current().absoluteFilePath(path);
}

FFMpegChild::Stamp FFMpegChild::stampOf(const QString &path)
{
    const QFileInfo info(path);
    return {info.isFile(), info.size(), info.lastModified()};
}

void FFMpegChild::readErrors()
{
    const QByteArray chunk = process->readAllStandardError();
    const QStringList ended = takeIn(chunk);
    for (const QString &line : ended)
        look(line);
    Q_EMIT said(chunk, ended);
}

// A carriage return alone starts the line again, or an hour of progress would push out the reason of a
// failure.
QStringList FFMpegChild::takeIn(const QByteArray &chunk)
{
    QStringList ended;
    for (const char c : chunk) {
        if (c == '\n') {
            if (!begun.isEmpty()) {
                lines << QString::fromLocal8Bit(begun);
                if (!returned)
                    ended << lines.last();
            }
            if (lines.size() > lastLinesKept)
                lines.removeFirst();
            begun.clear();
            returned = false;
        } else if (c == '\r') {
            if (!returned && !begun.isEmpty())
                ended << QString::fromLocal8Bit(begun);
            returned = true;
        } else {
            if (returned)
                begun.clear();
            returned = false;
            if (begun.size() < longestLineKept)
                begun += c;
        }
    }
    return ended;
}

// Lines of ffmpeg 4 to 7. Some versions put "[out#0/mp4 @ 0x...] " in front.
void FFMpegChild::look(const QString &line)
{
    static const QRegularExpression count(QStringLiteral("^frame= *(\\d+)"));
    static const QRegularExpression fault(QStringLiteral(
        "^(\\[[^\\]]*\\] )?(Error (writing trailer|closing file|writing header|muxing a packet|"
        "submitting a packet to the muxer)|av_interleaved_write_frame\\(\\))"
        "|: (No space left on device|Disk quota exceeded|File too large|Input/output error)$"));
    const QRegularExpressionMatch counted = count.match(line);
    if (counted.hasMatch())
        frames = counted.captured(1).toLongLong();
    else if (writeFault.isEmpty() && fault.match(line).hasMatch())
        writeFault = line;
}

void FFMpegChild::processEnded(int code, bool crashed)
{
    readErrors();
    look(QString::fromLocal8Bit(begun));
    killTimer.stop();
    outcome.code = code;
    outcome.crashed = crashed;
    if (code == 0 && !crashed && !cancelled) {
        outcome.fault = faultOfOutput();
        if (outcome.fault.isEmpty() && startCounting())
            return;
    }
    end();
}

QString FFMpegChild::faultOfOutput() const
{
    if (!writeFault.isEmpty() || job.output.isEmpty())
        return writeFault;
    const QFileInfo output(job.output);
    return !output.exists()  ? QStringLiteral("there is no file")
        : output.size() == 0 ? QStringLiteral("the file is empty")
                             : QString();
}

bool FFMpegChild::startCounting()
{
    if (!job.countFrames || job.output.isEmpty() || frames <= 0)
        return false;
    countIsUnwanted = false;
    const auto count = [this, output = job.output] {
        const qint64 found = PacketCount::ofVideo(output, [this] { return countIsUnwanted.load(); });
        QMetaObject::invokeMethod(
            this, [this, found] { counted(found); }, Qt::QueuedConnection);
    };
    try {
        counter = std::thread(count); // not on this thread, which may be the GUI's
    } catch (const std::system_error &) {
        return false;
    }
    return true;
}

void FFMpegChild::counted(qint64 found)
{
    counter.join();
    if (!cancelled && found >= 0 && found < frames)
        outcome.fault = QStringLiteral("it holds %1 of %2 frames").arg(found).arg(frames);
    end();
}

void FFMpegChild::end()
{
    killTimer.stop();
    if (outcome.code != -1)
        outcome.text = lastLines();
    outcome.cancelled = cancelled;
    outcome.ok = outcome.code == 0 && !outcome.crashed && !cancelled && outcome.fault.isEmpty();
    running = false;
    Q_EMIT finished();
}

void FFMpegChild::stop()
{
    if (process->state() == QProcess::NotRunning)
        return;
    process->waitForStarted(terminateLimitMs); // see cancel()
    process->terminate();
    if (!process->waitForFinished(terminateLimitMs))
        kill();
}
