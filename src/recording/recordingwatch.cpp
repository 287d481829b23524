#include "recording/recordingwatch.h"

#include "common/console_p.h"
#include "recording/recordingdeliveries_p.h"
#include "recording/recordingdisks_p.h"
#include "recording/recordingmeter_p.h"
#include "recording/recordingnotifier_p.h"
#include "recording/videorecorder.h"

#include <QFileInfo>

namespace {

constexpr int lookMs = 500;
constexpr int hurriedLookMs = 100;
constexpr double hurrySeconds = 10.0;

} // namespace

RecordingWatch::RecordingWatch(VideoRecorder *recorder, QObject *parent)
    : QObject(parent), recorder(recorder), meter(std::make_unique<RecordingMeter>()),
      disks(std::make_unique<RecordingDisks>([this] { judge(); }))
{
    qRegisterMetaType<RecordingHealth>();
    qRegisterMetaType<RecordingWatch::Warning>();
    qRegisterMetaType<RecordingResult>();
    connect(&timer, &QTimer::timeout, this, &RecordingWatch::look);
    connect(&RecordingDeliveries::instance(), &RecordingDeliveries::progressed, this,
        &RecordingWatch::finishing, Qt::QueuedConnection);
    if (!recorder)
        return;
    connect(recorder->notifier(), &RecordingNotifier::ended, this, &RecordingWatch::delivered,
        Qt::QueuedConnection);
    connect(recorder, &VideoRecorder::recordStarted, this, &RecordingWatch::begin, Qt::QueuedConnection);
    connect(
        recorder, &VideoRecorder::recordPrepareToFinish, this, [this] { end(false); }, Qt::QueuedConnection);
    connect(recorder, &QObject::destroyed, this, [this] { end(false); });
    if (recorder->getIsRecording() && recorder->isFinishPending())
        begin();
}

RecordingWatch::~RecordingWatch() = default;

void RecordingWatch::setWarningLimit(qint64 freeBytes, double secondsLeft)
{
    meter->warningLimit = {freeBytes, secondsLeft};
}

void RecordingWatch::setStopLimit(qint64 freeBytes, double secondsLeft)
{
    meter->stopLimit = {freeBytes, secondsLeft};
}

RecordingWatch::Limit RecordingWatch::warningLimit() const
{
    return meter->warningLimit;
}

RecordingWatch::Limit RecordingWatch::stopLimit() const
{
    return meter->stopLimit;
}

RecordingHealth RecordingWatch::health() const
{
    return meter->health();
}

void RecordingWatch::begin()
{
    if (!recorder)
        return;
    meter->begin(recorder->getFrameRate());
    disks->forget();
    timer.start(hurriedLookMs); // it is not known yet how much there is to lose
    tell();
    look();
}

void RecordingWatch::end(bool atLimit)
{
    if (!timer.isActive())
        return;
    timer.stop();
    disks->forget();
    meter->end(atLimit);
    tell();
}

void RecordingWatch::look()
{
    if (!recorder || !recorder->getIsRecording()) {
        end(false);
        return;
    }
    const VideoRecorder::Report report = recorder->getReport();
    RecordingMeter::Sample sample;
    sample.isPaused = recorder->getIsPaused();
    sample.written = report.written;
    sample.passes = report.written - qMin(report.written, report.pacedRepeats);
    disks->ask(sample, recorder->getTempFilePath(), QFileInfo(recorder->getPath()).absolutePath());
}

void RecordingWatch::judge()
{
    if (!recorder || !recorder->getIsRecording())
        return;
    RecordingMeter::Sample sample = disks->answer();
    // Without ffmpeg the file is copied as it is.
    if (!VideoRecorder::UseFFMPEGOptimization)
        sample.neededAtDestination = qMax<qint64>(0, sample.fileBytes);
    const RecordingHealth health = meter->add(sample);
    const bool isHurried = health.isTempDiskNearlyFull || health.isWriterFailing
        || (health.secondsLeft >= 0.0 && health.secondsLeft < hurrySeconds);
    const int intervalMs = isHurried ? hurriedLookMs : lookMs;
    if (timer.interval() != intervalMs)
        timer.setInterval(intervalMs);
    const QPointer<RecordingWatch> self(this);
    tell();
    if (!self || !recorder || !timer.isActive() || !meter->isAtStopLimit())
        return;
    recorder->stopRecord();
    end(true);
}

// The watch may be deleted in here.
void RecordingWatch::tell()
{
    const QPointer<RecordingWatch> self(this);
    const QString path = recorder ? recorder->getPath() : QString();
    const QVector<Warning> raised = meter->raised();
    QStringList texts;
    for (Warning warning : raised) {
        writeConsole(QStringLiteral("%1 (recording %2)").arg(meter->text(warning, false), path));
        texts << meter->text(warning, true);
    }
    Q_EMIT healthChanged(meter->health());
    for (int i = 0; self && i < raised.size(); ++i)
        Q_EMIT warned(raised[i], texts[i]);
}
