#include "recording/recordingresult.h"

#include <QJsonValue>

namespace {

constexpr int formatVersion = 1;

QString nameOf(RecordingResult::Outcome outcome)
{
    switch (outcome) {
    case RecordingResult::Delivered:
        return QStringLiteral("delivered");
    case RecordingResult::KeptInTemporaryFolder:
        return QStringLiteral("kept");
    case RecordingResult::Discarded:
        return QStringLiteral("discarded");
    case RecordingResult::Empty:
        break;
    }
    return QStringLiteral("empty");
}

QString nameOf(FFMpegJobVerdict::Outcome outcome)
{
    switch (outcome) {
    case FFMpegJobVerdict::Done:
        return QStringLiteral("done");
    case FFMpegJobVerdict::Failed:
        return QStringLiteral("failed");
    case FFMpegJobVerdict::Cancelled:
        return QStringLiteral("cancelled");
    case FFMpegJobVerdict::Held:
        return QStringLiteral("held");
    case FFMpegJobVerdict::Removed:
        return QStringLiteral("removed");
    case FFMpegJobVerdict::NothingStarted:
        break;
    }
    return QStringLiteral("none");
}

QJsonObject toJson(const VideoRecorder::Report &report)
{
    return {
        {QStringLiteral("offered"), double(report.offered)},
        {QStringLiteral("written"), double(report.written)},
        {QStringLiteral("repeated"), double(report.repeated)},
        {QStringLiteral("overwritten"), double(report.overwritten)},
        {QStringLiteral("refused"), double(report.refused)},
        {QStringLiteral("longestGapMs"), report.longestGapMs},
        {QStringLiteral("measuredRateHz"), report.measuredRateHz},
        {QStringLiteral("wallClockSeconds"), report.wallClockSeconds},
        {QStringLiteral("inserted"), double(report.inserted)},
        {QStringLiteral("pacedRepeats"), double(report.pacedRepeats)},
    };
}

QJsonObject toJson(const FFMpegJobVerdict &job)
{
    return {
        {QStringLiteral("outcome"), nameOf(job.outcome)},
        {QStringLiteral("exitCode"), job.exitCode},
        {QStringLiteral("crashed"), job.hasCrashed},
        {QStringLiteral("durationMs"), double(job.durationMs)},
        {QStringLiteral("text"), job.text},
    };
}

} // namespace

QJsonObject RecordingResult::toJson() const
{
    QJsonObject object{
        {QStringLiteral("format"), formatVersion},
        {QStringLiteral("outcome"), nameOf(outcome)},
        {QStringLiteral("destination"), destination},
        {QStringLiteral("video"), videoPath},
        {QStringLiteral("log"), logPath},
        {QStringLiteral("frames"), framesPath},
        {QStringLiteral("sound"), soundPath},
        {QStringLiteral("framesCounted"), double(framesCounted)},
        {QStringLiteral("framesFound"), double(framesFound)},
        {QStringLiteral("whole"), isWhole},
        {QStringLiteral("reason"), reason},
        {QStringLiteral("startedAt"), startedAt.toUTC().toString(Qt::ISODateWithMs)},
        {QStringLiteral("startedUs"), double(startedUs)},
        {QStringLiteral("insertedFrames"), double(insertedFrames)},
        {QStringLiteral("logShift"), double(logShift)},
        {QStringLiteral("report"), ::toJson(report)},
    };
    if (job)
        object.insert(QStringLiteral("ffmpeg"), ::toJson(*job));
    return object;
}
