#include "ffmpeg/ffmpegprocessor.h"

#include "baselib/console_p.h"
#include "baselib/samefile_p.h"
#include "ffmpeg/ffmpegtext_p.h"
#include "image/capturesource_p.h"

#include <QDateTime>
#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

namespace {

constexpr int terminateLimitMs = 2000;
constexpr int killLimitMs = 2000;
constexpr int cancelLimitMs = 3000;
constexpr int startFailedCode = -1;
constexpr int cancelledCode = 255;

// "frame=" and the number, right-aligned in five columns.
const QLatin1String progressMark("frame=");
constexpr int progressNumberStart = 6;
constexpr int progressNumberLength = 5;
constexpr int shortestProgress = 11;

QString sideFileOf(const QString &input, const QString &output)
{
    const QString suffix = QFileInfo(input).suffix();
    QString side = output;
    side.replace(QLatin1Char('.') + suffix, QStringLiteral("_temp.") + suffix);
    if (!SameFile::leadToOne(side, input))
        return side;
    // The suffix is missing or written in the other case, and ffmpeg would overwrite the file that it reads.
    const QFileInfo info(output);
    const QString dotSuffix = info.suffix().isEmpty() ? QString() : QLatin1Char('.') + info.suffix();
    return info.path() + QLatin1Char('/') + info.completeBaseName() + QStringLiteral("_temp") + dotSuffix;
}

} // namespace

FFMpegProcessor::FFMpegProcessor(QObject *parent)
    : QObject(parent), process(std::make_unique<QProcess>()), text(std::make_unique<FFMpegText>())
{
    connect(process.get(), &QProcess::readyReadStandardOutput, this, &FFMpegProcessor::readOutput);
    connect(process.get(), &QProcess::readyReadStandardError, this, &FFMpegProcessor::readErrors);
    connect(process.get(), &QProcess::started, this, &FFMpegProcessor::started);
    connect(process.get(), &QProcess::started, this, [this] {
        if (cancelled)
            process->terminate();
    });
    // Of the two signals of this name the last one, so that a slot of finished() may start the next job.
    connect(process.get(), qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this,
        &FFMpegProcessor::ffmpegFinished);
    connect(process.get(), &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            failToStart();
    });
    killTimer.setSingleShot(true);
    killTimer.setInterval(cancelLimitMs);
    connect(&killTimer, &QTimer::timeout, process.get(), &QProcess::kill);
}

FFMpegProcessor::~FFMpegProcessor()
{
    process->disconnect(this);
    if (process->state() == QProcess::NotRunning)
        return;
    process->waitForStarted(terminateLimitMs); // see cancel()
    process->terminate();
    if (!process->waitForFinished(terminateLimitMs)) {
        process->kill();
        process->waitForFinished(killLimitMs);
    }
}

VideoInfo FFMpegProcessor::getVideoInfo(const QString &path)
{
    VideoInfo info;
    if (!QFile::exists(path))
        return info;
    cv::VideoCapture capture;
    if (!CaptureSource::open(capture, path))
        return info;
    const QFileInfo file(path);
    info.isValid = true;
    info.frameCount = CaptureSource::frameCount(capture);
    info.frameRate = capture.get(cv::CAP_PROP_FPS);
    info.suffix = file.suffix();
    info.fileSize = file.size();
    info.width = CaptureSource::toCount(capture.get(cv::CAP_PROP_FRAME_WIDTH));
    info.height = CaptureSource::toCount(capture.get(cv::CAP_PROP_FRAME_HEIGHT));
    capture.release();
    return info;
}

bool FFMpegProcessor::isRunning() const
{
    return running;
}

int FFMpegProcessor::exitCode() const
{
    return lastExitCode;
}

bool FFMpegProcessor::hasCrashed() const
{
    return lastCrashed;
}

bool FFMpegProcessor::wasCancelled() const
{
    return cancelled;
}

QString FFMpegProcessor::lastText() const
{
    return text->lastLines();
}

bool FFMpegProcessor::convert(const QString &input, const QString &output)
{
    const VideoInfo info = getVideoInfo(input);
    resetJob();
    running = info.isValid;
    if (running) {
        setFiles(input, output);
        frameCount = info.frameCount;
        QStringList arguments{QStringLiteral("-i"), inputFile, outputFile};
        if (QFile::exists(outputFile))
            arguments << QStringLiteral("-y");
        qDebug() << "FFMPEG" << arguments << "frames" << frameCount;
        startProcess(arguments);
    }
    qDebug() << "STARTING FFMPEG CONVERTION" << info.isValid;
    return info.isValid;
}

bool FFMpegProcessor::optimize(const QString &file)
{
    return convert(file, file);
}

bool FFMpegProcessor::joinVideoAndAudio(const QString &video, const QString &audio, const QString &output)
{
    const VideoInfo info = getVideoInfo(video);
    resetJob();
    running = info.isValid && QFile::exists(audio);
    if (running) {
        setFiles(video, output);
        audioFile = audio;
        frameCount = info.frameCount;
        qDebug() << "STARTING to join" << true;
        startProcess({QStringLiteral("-i"), inputFile, QStringLiteral("-i"), audioFile, outputFile});
    } else {
        qDebug() << "Invalid video and audio";
    }
    return info.isValid;
}

void FFMpegProcessor::cancel()
{
    if (!running || cancelled)
        return;
    cancelled = true;
    killTimer.start();
    // Not by "q" on its input: it would end with exit code 0 and a part of the video, as if that were all.
    // And not before it has become ffmpeg: until then it has the host's signal handlers.
    if (process->state() == QProcess::Running)
        process->terminate();
}

void FFMpegProcessor::resetJob()
{
    cancelled = false;
    frameCount = 0;
    inputFile.clear();
    audioFile.clear();
    outputFile.clear();
    finalFile.clear();
    lastExitCode = 0;
    lastCrashed = false;
    text->clear();
}

void FFMpegProcessor::setFiles(const QString &input, const QString &output)
{
    inputFile = input;
    outputFile = output;
    // Two spellings of one file count as well: ffmpeg tells them apart and would empty the file that it
    // reads.
    if (SameFile::isSamePath(input, output) || SameFile::leadToOne(input, output)) {
        finalFile = output;
        outputFile = sideFileOf(input, output);
    }
}

void FFMpegProcessor::startProcess(const QStringList &arguments)
{
    const QFileInfo output(outputFile);
    outputTime = output.lastModified();
    outputSize = output.size();
    process->start(QStringLiteral("ffmpeg"), arguments, QIODevice::ReadWrite);
    // Nobody answers the question whether to overwrite a file; with its input closed, ffmpeg takes that for
    // a no instead of waiting for ever.
    process->closeWriteChannel();
}

void FFMpegProcessor::readOutput()
{
    qDebug() << "output: " << QString::fromLocal8Bit(process->readAllStandardOutput());
}

void FFMpegProcessor::readErrors()
{
    const QByteArray chunk = process->readAllStandardError();
    text->append(chunk);
    const QString line = QString::fromLocal8Bit(chunk);
    if (frameCount <= 0 || line.size() < shortestProgress || !line.startsWith(progressMark))
        return;
    Q_EMIT progress(line.mid(progressNumberStart, progressNumberLength).trimmed().toInt(), frameCount);
}

void FFMpegProcessor::ffmpegFinished(int exitCode)
{
    qDebug() << "FFMPEG finished here" << exitCode << finalFile << inputFile << outputFile;
    const bool crashed = process->exitStatus() == QProcess::CrashExit;
    if (cancelled) {
        removeOutput();
    } else if (exitCode == 0 && !crashed) {
        if (!finalFile.isEmpty()) {
            replaceInput();
        } else if (!SameFile::isSamePath(inputFile, outputFile)) {
            const bool removed = QFile::remove(inputFile);
            qDebug() << "Removed" << inputFile << removed;
        }
        if (!audioFile.isEmpty())
            QFile::remove(audioFile);
    }
    endJob(exitCode, crashed);
}

void FFMpegProcessor::replaceInput()
{
    // Whoever removed the side file meanwhile, the input is the only version then.
    const bool removed = QFile::exists(outputFile) && QFile::remove(inputFile);
    qDebug() << "Removed FD" << inputFile << removed;
    const bool renamed = QFile::rename(outputFile, inputFile);
    qDebug() << "Rename FD" << outputFile << "->" << inputFile << renamed;
    if (removed && !renamed) {
        writeConsole(tr("%1 could not be renamed to %2 and stays under its name").arg(outputFile, inputFile));
    }
}

void FFMpegProcessor::removeOutput()
{
    const QFileInfo output(outputFile);
    // Something else than a file, such as a device, is no output of ours; an older file may lie there
    // untouched because ffmpeg had not come to it yet, or refused to overwrite it.
    if (output.isFile() && (output.lastModified() != outputTime || output.size() != outputSize))
        QFile::remove(output.canonicalFilePath());
}

void FFMpegProcessor::failToStart()
{
    const QString reason = process->errorString();
    writeConsole(tr("ffmpeg cannot be started: %1").arg(reason));
    // Some platforms notice it within the call that starts the job, whose end must not come before it
    // returns.
    QMetaObject::invokeMethod(
        this,
        [this, reason] {
            text->clear();
            text->append(reason.toLocal8Bit());
            endJob(startFailedCode, false);
        },
        Qt::QueuedConnection);
}

void FFMpegProcessor::endJob(int code, bool crash)
{
    killTimer.stop();
    lastExitCode = cancelled && code == 0 ? cancelledCode : code;
    lastCrashed = crash;
    running = false;
    Q_EMIT finished();
}
