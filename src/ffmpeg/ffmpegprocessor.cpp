#include "ffmpeg/ffmpegprocessor.h"

#include "common/console_p.h"
#include "common/samefile_p.h"
#include "ffmpeg/ffmpegchild_p.h"
#include "ffmpeg/inplace_p.h"
#include "image/capturesource_p.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>

namespace {

constexpr int notWholeCode = 1;
constexpr int cancelledCode = 255;

// "frame=" and the number, right-aligned in five columns.
const QLatin1String progressMark("frame=");
constexpr int progressNumberStart = 6;
constexpr int progressNumberLength = 5;
constexpr int shortestProgress = 11;

// What stands between the inputs and the output. `suffix` is that of the output, in lower case.
QStringList argumentsOf(
    const RecordingDelivery &delivery, const QString &suffix, bool isJoin, bool sizeIsEven)
{
    const auto list = [](const char *text) { return QString::fromLatin1(text).split(QLatin1Char(' ')); };
    const bool isMP4 = suffix == QLatin1String("mp4") || suffix == QLatin1String("m4v");
    QStringList all;
    if (delivery.kind == RecordingDelivery::Custom)
        return delivery.arguments;
    // The sound of a join is that of its second input, whatever the first one holds.
    if (isJoin && delivery.kind != RecordingDelivery::AsFFMpegChooses)
        all << list("-map 0:v:0 -map 1:a:0");
    if (delivery.kind == RecordingDelivery::Copy) {
        all << list("-c copy");
        if (isMP4) // which takes no PCM
            all << list("-c:a aac -b:a 192k");
    } else if (delivery.kind == RecordingDelivery::Quality) {
        all << list("-c:v libx264 -preset") << delivery.preset << QStringLiteral("-crf")
            << QString::number(delivery.crf) << list("-pix_fmt yuv420p");
        if (!sizeIsEven) // which yuv420p has to be: a black line is added, so that no pixel is lost
            all << list("-vf pad=ceil(iw/2)*2:ceil(ih/2)*2");
        // Players expect AAC everywhere but in AVI.
        all << list(suffix == QLatin1String("avi") ? "-c:a copy" : "-c:a aac -b:a 192k");
        if (isMP4 || suffix == QLatin1String("mov"))
            all << list("-movflags +faststart");
    }
    return all;
}

} // namespace

FFMpegProcessor::FFMpegProcessor(QObject *parent) : QObject(parent), child(std::make_unique<FFMpegChild>())
{
    connect(child.get(), &FFMpegChild::started, this, &FFMpegProcessor::started);
    connect(child.get(), &FFMpegChild::said, this, &FFMpegProcessor::showProgress);
    connect(child.get(), &FFMpegChild::printed, this,
        [](const QByteArray &chunk) { qDebug() << "output: " << QString::fromLocal8Bit(chunk); });
    connect(child.get(), &FFMpegChild::finished, this, &FFMpegProcessor::childFinished);
}

FFMpegProcessor::~FFMpegProcessor() = default;

VideoInfo FFMpegProcessor::getVideoInfo(const QString &path)
{
    VideoInfo info;
    if (!QFile::exists(path))
        return info;
    const QFileInfo file(FFMpegChild::path(path));
    cv::VideoCapture capture;
    if (!CaptureSource::open(capture, file.filePath()))
        return info;
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
    return running ? child->isCancelled() : lastCancelled;
}

QString FFMpegProcessor::lastText() const
{
    return running ? child->lastLines() : text;
}

bool FFMpegProcessor::convert(const QString &input, const QString &output)
{
    return convert(input, output, {});
}

bool FFMpegProcessor::convert(const QString &input, const QString &output, const RecordingDelivery &delivery)
{
    const VideoInfo info = getVideoInfo(input);
    resetJob();
    running = info.isValid;
    if (running) {
        setFiles(input, output);
        setVideo(info);
        startChild(delivery);
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
    return joinVideoAndAudio(video, audio, output, {});
}

bool FFMpegProcessor::joinVideoAndAudio(
    const QString &video, const QString &audio, const QString &output, const RecordingDelivery &delivery)
{
    const VideoInfo info = getVideoInfo(video);
    resetJob();
    running = info.isValid && QFile::exists(audio);
    if (running) {
        setFiles(video, output);
        setVideo(info);
        audioFile = FFMpegChild::path(audio);
        qDebug() << "STARTING to join" << true;
        startChild(delivery);
    } else {
        qDebug() << "Invalid video and audio";
    }
    return info.isValid;
}

void FFMpegProcessor::cancel()
{
    child->cancel();
}

void FFMpegProcessor::resetJob()
{
    frameCount = 0;
    inputFile.clear();
    audioFile.clear();
    outputFile.clear();
    finalFile.clear();
    lastExitCode = 0;
    lastCrashed = false;
    lastCancelled = false;
    text.clear();
}

void FFMpegProcessor::setFiles(const QString &input, const QString &output)
{
    inputFile = FFMpegChild::path(input);
    outputFile = FFMpegChild::path(output);
    // Two spellings of one file count as well: ffmpeg tells them apart and would empty the file that it
    // reads.
    if (SameFile::isSamePath(inputFile, outputFile) || SameFile::leadToOne(inputFile, outputFile)) {
        finalFile = outputFile;
        outputFile =
            InPlace::sideFile(inputFile, outputFile, QFileInfo(inputFile).suffix(), QStringLiteral("_temp"));
    }
}

void FFMpegProcessor::setVideo(const VideoInfo &info)
{
    frameCount = info.frameCount;
    sizeIsEven = info.width > 0 && info.width % 2 == 0 && info.height % 2 == 0;
}

void FFMpegProcessor::startChild(const RecordingDelivery &delivery)
{
    fallsBack = delivery.kind == RecordingDelivery::Custom;
    const bool isJoin = !audioFile.isEmpty();
    QStringList arguments{QStringLiteral("-i"), inputFile};
    if (isJoin)
        arguments << QStringLiteral("-i") << audioFile;
    arguments << argumentsOf(delivery, QFileInfo(outputFile).suffix().toLower(), isJoin, sizeIsEven)
              << outputFile;
    if (!isJoin) {
        if (QFile::exists(outputFile))
            arguments << QStringLiteral("-y");
        qDebug() << "FFMPEG" << arguments << "frames" << frameCount;
    }
    child->start(arguments, {outputFile, inputFile});
}

void FFMpegProcessor::showProgress(const QByteArray &chunk)
{
    const QString line = QString::fromLocal8Bit(chunk);
    if (frameCount <= 0 || line.size() < shortestProgress || !line.startsWith(progressMark))
        return;
    Q_EMIT progress(line.mid(progressNumberStart, progressNumberLength).trimmed().toInt(), frameCount);
}

void FFMpegProcessor::childFinished()
{
    const FFMpegChild::Result &result = child->result();
    if (fallsBack && result.code != -1 && !result.ok && !result.cancelled) {
        const QString reason =
            result.fault.isEmpty() ? result.text.section(QLatin1Char('\n'), -1) : result.fault;
        writeConsole(tr("ffmpeg failed with the arguments given for %1 (%2), H.264 is tried instead")
                         .arg(outputFile, reason));
        child->removeTouchedOutput();
        startChild(RecordingDelivery::quality());
        return;
    }
    text = result.text;
    lastExitCode = result.code;
    lastCrashed = result.crashed;
    lastCancelled = result.cancelled;
    if (result.code == -1) {
        writeConsole(tr("ffmpeg cannot be started: %1").arg(text));
    } else {
        ffmpegFinished(result.code);
        if (result.code == 0 && result.cancelled)
            lastExitCode = cancelledCode;
        else if (result.code == 0 && !result.ok)
            lastExitCode = notWholeCode;
    }
    running = false;
    Q_EMIT finished();
}

void FFMpegProcessor::ffmpegFinished(int exitCode)
{
    qDebug() << "FFMPEG finished here" << exitCode << finalFile << inputFile << outputFile;
    const FFMpegChild::Result &result = child->result();
    if (result.cancelled) {
        child->removeTouchedOutput();
    } else if (result.ok) {
        if (!finalFile.isEmpty()) {
            replaceInput();
        } else if (!SameFile::isSamePath(inputFile, outputFile)) {
            const bool removed = QFile::remove(inputFile);
            qDebug() << "Removed" << inputFile << removed;
        }
        if (!audioFile.isEmpty())
            QFile::remove(audioFile);
    } else if (!result.fault.isEmpty()) {
        text += (text.isEmpty() ? QString() : QStringLiteral("\n")) + outputFile
            + QStringLiteral(" is not whole: ") + result.fault;
        writeConsole(tr("%1 is not whole (%2), %3 is kept").arg(outputFile, result.fault, inputFile));
    }
}

void FFMpegProcessor::replaceInput()
{
    const InPlace::Swap done = InPlace::swap(outputFile, inputFile);
    qDebug() << "Removed FD" << inputFile << done.removed;
    qDebug() << "Rename FD" << outputFile << "->" << inputFile << done.renamed;
}
