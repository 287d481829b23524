#include "recording/recording_p.h"

#include "common/console_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSaveFile>

namespace {

// Somebody else's notes of that name stay.
bool mayReplace(const QString &path)
{
    QFile file(path);
    if (!file.exists())
        return true;
    return file.open(QIODevice::ReadOnly)
        && QJsonDocument::fromJson(file.readAll()).object().contains(QStringLiteral("framesCounted"));
}

} // namespace

VideoRecorder::Report Recording::currentReport() const
{
    VideoRecorder::Report current = report;
    if (current.wallClockSeconds > 0.0)
        current.measuredRateHz = double(timedPasses) / current.wallClockSeconds;
    return current;
}

void Recording::keep(const QString &reason)
{
    const QFileInfo video(tempFilePath);
    const bool isThere = video.isFile() && video.size() > 0;
    result.outcome = isThere ? RecordingResult::KeptInTemporaryFolder : RecordingResult::Empty;
    result.videoPath = isThere ? tempFilePath : QString();
    if (!isThere)
        result.isWhole = false;
    // What made the video incomplete explains the rest.
    if (result.reason.isEmpty())
        result.reason = reason;
}

void Recording::endJob(const FFMpegJobVerdict &verdict)
{
    result.job = verdict;
    switch (verdict.outcome) {
    case FFMpegJobVerdict::Done:
        result.outcome = RecordingResult::Delivered;
        result.videoPath = path;
        result.soundPath.clear(); // it is in the video
        if (result.isWhole)
            result.reason.clear();
        break;
    case FFMpegJobVerdict::Failed:
        keep(VideoRecorder::tr("ffmpeg failed; the recording stays in %1.").arg(tempFilePath));
        // An output that is not whole has its line already.
        if (!verdict.text.contains(QLatin1String("is not whole: "))) {
            writeConsole(QStringLiteral("ffmpeg failed with exit code %1, the recording stays in %2")
                             .arg(verdict.exitCode)
                             .arg(tempFilePath));
        }
        break;
    case FFMpegJobVerdict::Cancelled:
        keep(VideoRecorder::tr("The conversion was cancelled; the recording stays in %1.").arg(tempFilePath));
        writeConsole(QStringLiteral("The job was cancelled, the recording stays in %1").arg(tempFilePath));
        break;
    case FFMpegJobVerdict::NothingStarted:
        keep(VideoRecorder::tr("The recording cannot be read as a video; it stays in %1.").arg(tempFilePath));
        break;
    case FFMpegJobVerdict::Held:
        keep(QStringLiteral("held"));
        break;
    case FFMpegJobVerdict::Removed:
        keep(VideoRecorder::tr("The conversion was taken out of the queue; the recording stays in %1.")
                 .arg(tempFilePath));
        break;
    }
    writeResultFile();
}

void Recording::writeResultFile() const
{
    if (!wantsResultFile || result.outcome == RecordingResult::Discarded)
        return;
    const QFileInfo video(result.outcome == RecordingResult::Delivered ? path : tempFilePath);
    const QString file = video.dir().filePath(video.completeBaseName() + QStringLiteral(".json"));
    if (!mayReplace(file)) {
        writeConsole(QStringLiteral("The file %1 is no result of a recording and is left alone").arg(file));
        return;
    }
    QSaveFile json(file);
    const QByteArray text = QJsonDocument(result.toJson()).toJson();
    // commit() alone does not notice a full disk while the text fits its buffer.
    if (!json.open(QIODevice::WriteOnly) || json.write(text) != text.size() || !json.flush())
        json.cancelWriting();
    if (!json.commit())
        writeConsole(QStringLiteral("The result of the recording cannot be written to %1").arg(file));
}
