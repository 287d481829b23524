#include "baselib/fileutilities.h"
#include "common/console_p.h"
#include "recording/recording_p.h"
#include "recording/recordingdeliveries_p.h"
#include "recording/videorecorder.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

// The passes of the recorder's worker up to the finish. A written frame takes the recorder's mutex twice: to
// take what the pass works on, and to book what it has done.

namespace {

constexpr int idlePassMs = 200;
constexpr qint64 nsPerMs = 1'000'000;
constexpr int namesTried = 10;

int toWaitMs(qint64 ns)
{
    return static_cast<int>((ns + nsPerMs - 1) / nsPerMs);
}

void countFrame(Recording &recording, FrameListWriter::Source source)
{
    const bool isInserted = source == FrameListWriter::Source::Inserted;
    const double timeMs = double(recording.sinceOpening.nsecsElapsed()) / 1e6;
    const std::lock_guard<std::mutex> lock(recording.logMutex);
    const quint64 number = recording.frames;
    // A record that sync() has made for this frame has raised the count.
    if (recording.log && number >= recording.log->getRecordCount())
        recording.log->write(static_cast<quint32>(number), isInserted ? 0 : qint64(timeMs), true);
    if (recording.list)
        recording.list->add(number, timeMs, source, isInserted ? FrameStamp() : recording.stamp);
    recording.insertedFrames += isInserted;
    recording.frames = number + 1;
}

} // namespace

void VideoRecorder::process()
{
    announceEnds();
    Pass pass = beginPass();
    switch (pass.task) {
    case Task::Idle:
        if (isClosing)
            working = false;
        delayNextPass(idlePassMs);
        break;
    case Task::Wait:
        delayNextPass(pass.delayMs);
        break;
    case Task::Open:
        openWriter(pass.recording);
        delayNextPass(0);
        break;
    case Task::Finish:
        finish(pass.recording);
        delayNextPass(isClosing || getIsRecording() ? 0 : idlePassMs);
        break;
    case Task::Write:
        writeInsertedFrames(pass);
        writeSampledFrame(pass);
        if (pass.keepsPace)
            keepPace(pass);
        Q_EMIT frameCountChanged(pass.recording->frames);
        endPass(pass);
        break;
    }
}

VideoRecorder::Pass VideoRecorder::beginPass()
{
    using State = Recording::State;
    const qint64 now = passClock.nsecsElapsed();
    const int intervalMs = qMax(1, frameInterval.load());
    Pass pass;
    const QMutexLocker locker(&mutex);
    if (!superseded.empty()) {
        pass.task = Task::Finish;
        pass.recording = std::move(superseded.front());
        superseded.pop_front();
        return pass;
    }
    if (!latest || latest->state == State::Over)
        return pass;
    pass.recording = latest;
    Recording &recording = *latest;
    if (recording.state == State::Finishing) {
        recording.state = State::Over;
        if (recording.isOpened) {
            recording.path = path;
            pass.task = Task::Finish;
        } else {
            recording.tempFile.reset(); // stopped while armed
        }
        return pass;
    }
    if (isClosing)
        return pass;
    if (recording.state == State::Armed) {
        if (frameSizeCalculated) {
            // Decided under the lock, so that a stop and a start know whether a finish follows.
            recording.isOpened = true;
            ++pendingFinishes;
            ++pendingResults;
            pass.task = Task::Open;
            return pass;
        }
        pass.task = Task::Wait;
        pass.delayMs = intervalMs;
        return pass;
    }
    pass.task = Task::Wait;
    if (recording.state == State::Paused || !frameSizeCalculated || !recording.writer.isOpened()) {
        recording.lastPassNs.reset();
        pass.delayMs = intervalMs;
        return pass;
    }
    if (const qint64 ahead = recording.pacer.untilDueNs(now)) {
        pass.delayMs = toWaitMs(ahead); // woken for another reason; the pace stays
        return pass;
    }
    recording.pacer.begin(now);
    pass.task = Task::Write;
    pass.size = frameSize;
    pass.inserted.swap(insertedFrames);
    pass.isFresh = slotIsFresh;
    if (slotIsFresh) {
        // The buffers change places: the slot gets one of the right size to copy into, and nobody waits for a
        // copy.
        cv::swap(frame, recording.sampled);
        recording.stamp = slotStamp;
        slotIsFresh = false;
    }
    pass.keepsPace = keepsPace;
    pass.rateHz = recording.rateHz;
    pass.elapsedNs = qint64(recording.report.wallClockSeconds * 1e9)
        + (recording.lastPassNs ? now - *recording.lastPassNs : 0);
    return pass;
}

void VideoRecorder::openWriter(const std::shared_ptr<Recording> &recording)
{
    cv::Size size;
    QString destination;
    std::shared_ptr<RecordingTempFile> claimed;
    {
        const QMutexLocker locker(&mutex);
        claimed = recording->tempFile;
        destination = recording->isWanted() ? path : recording->path;
        size = frameSize;
    }
    // The host may have set another path since the start.
    if (claimed->destination() != destination)
        claimed = RecordingTempFile::claim(destination);
    // Leftovers that cannot be moved must not be overwritten; our own claim makes the next one take another
    // name.
    for (int attempt = 0; attempt < namesTried && !claimed->moveLeftoversAside(recording->armedAt); ++attempt)
        claimed = RecordingTempFile::claim(destination);
    const QString target = claimed->videoPath();
    {
        const QMutexLocker locker(&mutex);
        recording->path = destination;
        recording->tempFile = claimed;
        recording->tempFilePath = target;
    }
    FileUtilities::createIfNotExists(QFileInfo(target).absolutePath());
    writeConsole(QStringLiteral("Start video recording to ") + destination + QLatin1Char('(') + target
        + QStringLiteral(") @ ") + QString::number(frameRate, 'g', 6) + QStringLiteral(" Hz, ")
        + QString::number(size.width) + QLatin1Char('x') + QString::number(size.height));
    try {
        recording->writer = createWriter(target.toStdString(), frameRate, size);
    } catch (const cv::Exception &error) {
        qWarning() << "VIDEORECORDER: the writer cannot be opened:" << error.what();
    }
    qDebug() << "Writer open" << recording->writer.isOpened();
    if (!recording->writer.isOpened()) {
        writeConsole(QStringLiteral("The video %1 cannot be written, nothing is recorded").arg(target));
        // A refused rate leaves an empty file behind.
        if (QFileInfo(target).isFile() && QFileInfo(target).size() == 0)
            QFile::remove(target);
    }
    openSidecars(*recording);
    recording->startedAt = QDateTime::currentDateTimeUtc();
    recording->startedUs = FrameStamp::nowUs();
    recording->sinceOpening.start();
    {
        const QMutexLocker locker(&mutex);
        recording->pacer.start(passClock.nsecsElapsed(), qMax(1, frameInterval.load()) * nsPerMs);
        recording->lastPassNs.reset();
        if (recording->state == Recording::State::Armed)
            recording->state = isPaused ? Recording::State::Paused : Recording::State::Active;
    }
    Q_EMIT recordStarted();
}

void VideoRecorder::openSidecars(Recording &recording)
{
    std::unique_ptr<FrameTimeLog> log;
    std::unique_ptr<FrameListWriter> list;
    if (useFrameLog) {
        const QFileInfo info(recording.path);
        recording.logPath =
            info.absolutePath() + QLatin1Char('/') + info.completeBaseName() + QStringLiteral(".log");
        log = std::make_unique<FrameTimeLog>(recording.tempFile->logPath());
        if (!log->load()) {
            log->close(true);
            log->open();
        }
    }
    if (useFrameList) {
        list = std::make_unique<FrameListWriter>(recording.tempFile->framesPath());
        list->open();
    }
    const std::lock_guard<std::mutex> lock(recording.logMutex);
    recording.log = std::move(log);
    recording.list = std::move(list);
}

void VideoRecorder::writeInsertedFrames(Pass &pass)
{
    if (pass.inserted.isEmpty())
        return;
    QElapsedTimer taken;
    taken.start();
    for (cv::Mat &inserted : pass.inserted) {
        try {
            if (!prepareFrame(inserted, pass.size) || inserted.type() != CV_8UC3)
                continue;
            pass.recording->writer.write(inserted);
        } catch (const cv::Exception &error) {
            qWarning() << "VIDEORECORDER: an inserted frame cannot be written:" << error.what();
            continue;
        }
        countFrame(*pass.recording, FrameListWriter::Source::Inserted);
    }
    qDebug() << "Video inception of" << pass.inserted.size() << "frames took" << taken.elapsed();
    pass.recording->pacer.defer(passClock.nsecsElapsed());
}

void VideoRecorder::writeSampledFrame(Pass &pass)
{
    Recording &recording = *pass.recording;
    try {
        if (pass.isFresh)
            recording.isUsable =
                prepareFrame(recording.sampled, pass.size) && recording.sampled.type() == CV_8UC3;
        if (!recording.isUsable)
            return;
        recording.writer.write(recording.sampled);
    } catch (const cv::Exception &error) {
        qWarning() << "VIDEORECORDER: a frame cannot be written:" << error.what();
        recording.isUsable = false;
        return;
    }
    pass.repeated = !pass.isFresh;
    countFrame(recording, pass.isFresh ? FrameListWriter::Source::New : FrameListWriter::Source::Repeated);
}

// At most a second's frames at a time, so that a stop is not kept waiting.
void VideoRecorder::keepPace(Pass &pass)
{
    Recording &recording = *pass.recording;
    const quint64 sampled = recording.frames - recording.insertedFrames;
    if (!recording.isUsable || sampled == 0)
        return;
    // The first frame stands for the time 0.
    const quint64 missing = FramePacer::missing(pass.elapsedNs, pass.rateHz, sampled - 1);
    const quint64 limit = std::max<quint64>(1, quint64(pass.rateHz));
    for (; pass.pacedRepeats < std::min(missing, limit); ++pass.pacedRepeats) {
        // A receiver that stops at a number of frames gets just that number.
        Q_EMIT frameCountChanged(recording.frames);
        {
            const QMutexLocker locker(&mutex);
            if (!recording.isWanted())
                break;
        }
        recording.writer.write(recording.sampled);
        countFrame(recording, FrameListWriter::Source::Repeated);
    }
}

void VideoRecorder::endPass(const Pass &pass)
{
    Recording &recording = *pass.recording;
    const qint64 now = passClock.nsecsElapsed();
    const QMutexLocker locker(&mutex);
    Report &report = recording.report;
    report.written = recording.frames;
    report.inserted = recording.insertedFrames;
    report.repeated += pass.repeated;
    report.pacedRepeats += pass.pacedRepeats;
    if (recording.lastPassNs) {
        const qint64 gap = now - *recording.lastPassNs;
        report.longestGapMs = qMax(report.longestGapMs, gap / 1e6);
        report.wallClockSeconds += gap / 1e9;
        ++recording.timedPasses;
    }
    recording.lastPassNs = now;
    recording.pacer.end(now);
    delayNextPass(toWaitMs(recording.pacer.untilDueNs(now)));
}
