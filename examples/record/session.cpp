#include "session.h"

#include "console.h"
#include "interrupts.h"
#include "options.h"

#include <CameraSettings>
#include <FFMpegProcessor>
#include <FFMpegQueue>
#include <GlobalConsole>
#include <ImageVideoProvider>
#include <IPCamera>
#include <RecordingDelivery>
#include <RecordingResult>
#include <RecordingWatch>
#include <VideoRecorder>

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QSignalBlocker>
#include <QTimer>

#include <cmath>

namespace {

constexpr int firstFrameLimitMs = 10'000;
constexpr int lookMs = 50;
constexpr double lastSeconds = 5.0; // that are kept free on the disk
constexpr double warningSeconds = 60.0;

// A camera whose settings stay in memory: no file can have a name with a null character.
class UnsavedCamera : public IPCamera
{
public:
    explicit UnsavedCamera(const Options &options) : IPCamera(QString(QChar(0)))
    {
        // That nothing can be stored is meant so, and no news.
        GlobalConsole::setSink([](const QString &, const QDateTime &) {});
        const QSignalBlocker noRestarts(
            settings); // a new address would start the camera before it is complete
        settings->setProperty("Login", options.login);
        settings->setProperty("Password", options.password);
        settings->setProperty("Ip", options.source);
        settings->setProperty("Rotation", options.rotation);
        settings->setProperty("Flip", options.flip);
        Console::install();
    }
};

RecordingDelivery deliveryOf(const Options &options)
{
    switch (options.delivery) {
    case Options::Delivery::Quality:
        return RecordingDelivery::quality(options.crf);
    case Options::Delivery::Copy:
        return RecordingDelivery::copy();
    case Options::Delivery::Custom:
        return RecordingDelivery::custom(options.encoder);
    default:
        return {};
    }
}

// What the header says is enough where it says what was counted; else the frames are counted.
quint64 framesIn(const VideoInfo &video, const RecordingResult &result)
{
    if (quint64(video.frameCount) == result.framesCounted)
        return result.framesCounted;
    ImageVideoProvider file;
    file.setFile(result.videoPath);
    return quint64(file.getFrameAmount());
}

void tell(const RecordingResult &result, const VideoInfo &video)
{
    const VideoRecorder::Report &report = result.report;
    Console::result(result.videoPath);
    Console::result(QStringLiteral("  %1x%2, %3 frames at %4 Hz, %5 bytes")
                        .arg(video.width)
                        .arg(video.height)
                        .arg(video.frameCount)
                        .arg(video.frameRate)
                        .arg(video.fileSize));
    Console::result(QStringLiteral("  nominal %1 s, wall clock %2 s, %3 passes a second, longest gap %4 ms")
                        .arg(video.frameCount / video.frameRate)
                        .arg(report.wallClockSeconds)
                        .arg(report.measuredRateHz)
                        .arg(report.longestGapMs));
    Console::result(QStringLiteral("  source frames: %1 offered, %2 lost, %3 repeated, %4 refused")
                        .arg(report.offered)
                        .arg(report.overwritten)
                        .arg(report.repeated)
                        .arg(report.refused));
}

enum class End
{
    Finished,
    Interrupted, // before the first frame
    NoFrame,
    NotWritable
};

class Session
{
public:
    explicit Session(const Options &options);

    End run();
    int report(End end);

private:
    void stop();
    void look();
    void giveUp();

    const Options &options;
    const qulonglong wanted; // frames
    VideoRecorder recorder; // outlives the camera, which calls it from its own thread
    RecordingWatch watch; // its warnings are console lines
    UnsavedCamera camera;
    QElapsedTimer armed;
    QTimer timer;
    bool isInterrupted = false;
    bool isGivenUp = false;
    bool isEndedAtLimit = false; // the disk is nearly full
    int urgentBefore = 0; // interrupts that count as one with the first
};

Session::Session(const Options &options)
    : options(options),
      wanted(qMax<qulonglong>(1, static_cast<qulonglong>(std::llround(options.seconds * options.rate)))),
      recorder(options.out, options.rate), watch(&recorder), camera(options)
{
    recorder.useFrameLog = options.frameLog;
    recorder.useFrameList = options.frameList;
    recorder.useResultFile = options.resultFile;
    recorder.setDelivery(deliveryOf(options));
    recorder.setKeepPace(options.keepPace);
    watch.setStopLimit(options.minFreeBytes, lastSeconds);
    watch.setWarningLimit(2 * options.minFreeBytes, warningSeconds);
    QObject::connect(&watch, &RecordingWatch::warned, &timer, [this](RecordingWatch::Warning warning) {
        isEndedAtLimit = isEndedAtLimit || warning == RecordingWatch::EndedAtLimit;
    });
    QObject::connect(&camera, &Camera::frameChanged, &recorder,
        qOverload<const cv::Mat &>(&VideoRecorder::setFrame), Qt::DirectConnection);
    // Runs in the recorder's pass, so that the video gets exactly the frames that were asked for.
    QObject::connect(
        &recorder, &VideoRecorder::frameCountChanged, &recorder,
        [this](qulonglong frames) {
            if (frames >= wanted)
                stop();
        },
        Qt::DirectConnection);

    QObject::connect(&recorder, &VideoRecorder::frameCountChanged, &timer, [this](qulonglong frames) {
        Console::progress(QStringLiteral("recording frame %1 of %2").arg(frames).arg(wanted));
    });
    // A short job ends before it has told any progress.
    QObject::connect(VideoRecorder::ffmpegQueue, &FFMpegQueue::jobStarted, &timer,
        [](int) { Console::line(QStringLiteral("ffmpeg works")); });
    QObject::connect(
        VideoRecorder::ffmpegQueue, &FFMpegQueue::jobProgress, &timer, [](int, int frame, int of) {
            Console::progress(QStringLiteral("ffmpeg frame %1 of %2").arg(frame).arg(of));
        });
    QObject::connect(&recorder, &VideoRecorder::recordFinished, &timer,
        [] { QCoreApplication::exit(int(End::Finished)); });
    QObject::connect(&timer, &QTimer::timeout, &timer, [this] { look(); });
}

End Session::run()
{
    recorder.startRecord();
    camera.start();
    armed.start();
    timer.start(lookMs);
    const End end = End(QCoreApplication::exec());
    camera.finish();
    if (end == End::Finished)
        return end;
    recorder.stopRecord(true);
    recorder.finishAndWait(firstFrameLimitMs);
    // It may have ended in the very moment in which it was given up.
    return recorder.lastResult().videoPath.isEmpty() ? end : End::Finished;
}

void Session::stop()
{
    if (options.cut)
        recorder.stopAndCut(*options.cut);
    else
        recorder.stopRecord();
}

void Session::look()
{
    if (Interrupts::count() > 0 && !isInterrupted) {
        isInterrupted = true;
        urgentBefore = Interrupts::urgentCount();
        if (recorder.getIsRecording() && !recorder.getFrameSizeCalculated()) {
            QCoreApplication::exit(int(End::Interrupted));
            return;
        }
        if (recorder.getIsRecording()) {
            stop();
            if (!recorder.isFinishPending()) {
                QCoreApplication::exit(int(End::Interrupted)); // no signal follows
                return;
            }
        }
        Console::line(QStringLiteral(
            "interrupted; the video is being finished, and left as it was recorded after another Ctrl-C"));
        return;
    }
    if (Interrupts::urgentCount() > urgentBefore && isInterrupted)
        giveUp();
    if (!recorder.getIsRecording() || recorder.getFrameCount() > 0)
        return;
    if (!recorder.getFrameSizeCalculated() && armed.elapsed() > firstFrameLimitMs)
        QCoreApplication::exit(int(End::NoFrame));
    else if (armed.elapsed() > 2LL * firstFrameLimitMs)
        QCoreApplication::exit(int(End::NotWritable));
}

// The recording stays as it is, in the temporary folder.
void Session::giveUp()
{
    isGivenUp = true;
    VideoRecorder::ffmpegQueue->cancelAll();
}

int Session::report(End end)
{
    switch (end) {
    case End::Interrupted:
        Console::fault(QStringLiteral("interrupted before the first frame"));
        return Interrupts::exitCode();
    case End::NoFrame:
        Console::fault(
            QStringLiteral("%1 gave no frame within %2 s").arg(options.source).arg(firstFrameLimitMs / 1000));
        return 1;
    case End::NotWritable:
        Console::fault(
            QStringLiteral("the temporary video %1 cannot be written").arg(recorder.getTempFilePath()));
        return 1;
    case End::Finished:
        break;
    }
    const RecordingResult result = recorder.lastResult();
    if (result.outcome != RecordingResult::Delivered) {
        QString text = QStringLiteral("the video was not delivered. ") + result.reason;
        if (result.videoPath.isEmpty())
            text = QStringLiteral("nothing was recorded. ") + result.reason;
        else if (!text.contains(result.videoPath))
            text += QStringLiteral(" It lies in ") + result.videoPath;
        Console::fault(text);
        return isGivenUp ? Interrupts::exitCode() : 1;
    }
    const VideoInfo video = FFMpegProcessor::getVideoInfo(result.videoPath);
    tell(result, video);
    const quint64 frames = framesIn(video, result);
    if (result.isWhole && frames == result.framesCounted) {
        if (!isEndedAtLimit)
            return 0;
        Console::fault(
            QStringLiteral("the disk was nearly full; the video %1 is whole and shorter than asked for")
                .arg(result.videoPath));
        return 1;
    }
    Console::fault(QStringLiteral("the video %1 is not whole: %2 of %3 frames. %4")
                       .arg(result.videoPath)
                       .arg(frames)
                       .arg(result.framesCounted)
                       .arg(result.reason));
    return 1;
}

} // namespace

int record(const Options &options)
{
    VideoRecorder::UseFFMPEGOptimization = options.delivery != Options::Delivery::Plain;
    VideoRecorder::setTempFolder(options.temp);
    Session session(options);
    return session.report(session.run());
}
