#include "session.h"

#include "console.h"
#include "interrupts.h"
#include "options.h"

#include <CameraSettings>
#include <FFMpegProcessor>
#include <FFMpegQueue>
#include <GlobalConsole>
#include <IPCamera>
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

    const Options &options;
    const qulonglong wanted; // frames
    VideoRecorder recorder; // outlives the camera, which calls it from its own thread
    UnsavedCamera camera;
    QElapsedTimer armed;
    QTimer watch;
    bool isInterrupted = false;
    int urgentBefore = 0; // interrupts that count as one with the first
};

Session::Session(const Options &options)
    : options(options),
      wanted(qMax<qulonglong>(1, static_cast<qulonglong>(std::llround(options.seconds * options.rate)))),
      recorder(options.out, options.rate), camera(options)
{
    recorder.useFrameLog = options.frameLog;
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

    QObject::connect(&recorder, &VideoRecorder::frameCountChanged, &watch, [this](qulonglong frames) {
        Console::progress(QStringLiteral("recording frame %1 of %2").arg(frames).arg(wanted));
    });
    // A short job ends before it has told any progress.
    QObject::connect(VideoRecorder::ffmpegQueue, &FFMpegQueue::jobStarted, &watch,
        [](int) { Console::line(QStringLiteral("ffmpeg works")); });
    QObject::connect(
        VideoRecorder::ffmpegQueue, &FFMpegQueue::jobProgress, &watch, [](int, int frame, int of) {
            Console::progress(QStringLiteral("ffmpeg frame %1 of %2").arg(frame).arg(of));
        });
    QObject::connect(&recorder, &VideoRecorder::recordFinished, &watch,
        [] { QCoreApplication::exit(int(End::Finished)); });
    QObject::connect(&watch, &QTimer::timeout, &watch, [this] { look(); });
}

End Session::run()
{
    recorder.startRecord();
    camera.start();
    armed.start();
    watch.start(lookMs);
    const End end = End(QCoreApplication::exec());
    camera.finish();
    if (end != End::Finished)
        recorder.stopRecord(true);
    return end;
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
        if (recorder.getIsRecording())
            stop();
        Console::line(QStringLiteral(
            "interrupted; the video is being finished, and left as it was recorded after another Ctrl-C"));
        return;
    }
    if (Interrupts::urgentCount() > urgentBefore && isInterrupted)
        VideoRecorder::ffmpegQueue->cancelAll();
    if (!recorder.getIsRecording() || recorder.getFrameCount() > 0)
        return;
    if (!recorder.getFrameSizeCalculated() && armed.elapsed() > firstFrameLimitMs)
        QCoreApplication::exit(int(End::NoFrame));
    else if (armed.elapsed() > 2LL * firstFrameLimitMs)
        QCoreApplication::exit(int(End::NotWritable));
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
    const VideoInfo video = FFMpegProcessor::getVideoInfo(options.out);
    if (!video.isValid || video.frameCount == 0) {
        Console::fault(QStringLiteral("no video came out; see %1").arg(recorder.getTempFilePath()));
        return 1;
    }
    const VideoRecorder::Report account = recorder.getReport();
    Console::result(options.out);
    Console::result(QStringLiteral("  %1x%2, %3 frames at %4 Hz, %5 bytes")
                        .arg(video.width)
                        .arg(video.height)
                        .arg(video.frameCount)
                        .arg(video.frameRate)
                        .arg(video.fileSize));
    Console::result(QStringLiteral("  nominal %1 s, wall clock %2 s, %3 passes a second, longest gap %4 ms")
                        .arg(video.frameCount / video.frameRate)
                        .arg(account.wallClockSeconds)
                        .arg(account.measuredRateHz)
                        .arg(account.longestGapMs));
    Console::result(QStringLiteral("  source frames: %1 offered, %2 lost, %3 repeated, %4 refused")
                        .arg(account.offered)
                        .arg(account.overwritten)
                        .arg(account.repeated)
                        .arg(account.refused));
    return 0;
}

} // namespace

int record(const Options &options)
{
    VideoRecorder::UseFFMPEGOptimization = options.delivery != Options::Delivery::Plain;
    VideoRecorder::setTempFolder(options.temp);
    Session session(options);
    return session.report(session.run());
}
