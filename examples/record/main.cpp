// Records one source into a finished video, without a window: camera, recorder and ffmpeg queue, wired by
// signals.

#include "options.h"
#include "report.h"

#include <CameraSettings>
#include <FFMpegQueue>
#include <IPCamera>
#include <VideoRecorder>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QSignalBlocker>
#include <QTemporaryDir>
#include <QTimer>

#include <cmath>
#include <csignal>
#include <iostream>

namespace {

constexpr int firstFrameLimitMs = 10'000;

volatile std::sig_atomic_t interrupted = 0;

void progress(const QString &text)
{
    std::cerr << '\r' << qPrintable(text) << std::flush;
}

void configure(Camera &camera, const Options &options)
{
    QObject *const settings = camera.getSettings();
    const QSignalBlocker noRestarts(settings); // a new address would start the camera before it is complete
    settings->setProperty("Login", options.login);
    settings->setProperty("Password", options.password);
    settings->setProperty("Ip", options.source);
    settings->setProperty("Rotation", options.rotation);
    settings->setProperty("Flip", options.flip);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vt-record"));
    QCoreApplication::setApplicationVersion(QStringLiteral("1"));
    if (!qEnvironmentVariableIsSet("QT_LOGGING_RULES"))
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));

    Options options = parseOptions();
    QTemporaryDir scratch;
    if (options.source.isEmpty())
        options.source = defaultSource(scratch.path());
    if (options.source.isEmpty())
        return fail(QStringLiteral("there is no source"));
    const QString problem = problemWith(options);
    if (!problem.isEmpty())
        return fail(problem);
    VideoRecorder::UseFFMPEGOptimization = options.useFFMpeg;

    IPCamera camera(QStringLiteral("vt-record"), nullptr);
    configure(camera, options);
    VideoRecorder recorder(options.out, options.rate);
    recorder.useFrameLog = options.frameLog;

    const auto takeFrame = qOverload<const cv::Mat &>(&VideoRecorder::setFrame);
    QObject::connect(&camera, &Camera::frameChanged, &recorder, takeFrame, Qt::DirectConnection);

    const auto stop = [&] {
        if (options.cut)
            recorder.stopAndCut(*options.cut);
        else
            recorder.stopRecord();
    };
    // Runs in the recorder's pass, so that the video gets exactly the frames that were asked for.
    const auto wanted = static_cast<qulonglong>(std::llround(options.seconds * options.rate));
    const auto count = [&](qulonglong frames) {
        if (frames >= qMax<qulonglong>(1, wanted))
            stop();
    };
    QObject::connect(&recorder, &VideoRecorder::frameCountChanged, &recorder, count, Qt::DirectConnection);
    QObject::connect(&recorder, &VideoRecorder::frameCountChanged, &app, [&](qulonglong frames) {
        progress(QStringLiteral("recording frame %1 of %2 ").arg(frames).arg(wanted));
    });
    // A short job ends before it has told any progress.
    QObject::connect(VideoRecorder::ffmpegQueue, &FFMpegQueue::jobStarted, &app, [](int) {
        std::cerr << std::endl;
        progress(QStringLiteral("ffmpeg works"));
    });
    QObject::connect(VideoRecorder::ffmpegQueue, &FFMpegQueue::jobProgress, &app, [](int, int frame, int of) {
        progress(QStringLiteral("ffmpeg frame %1 of %2 ").arg(frame).arg(of));
    });
    QObject::connect(&recorder, &VideoRecorder::recordFinished, &app, [&app] { app.exit(0); });

    std::signal(SIGINT, [](int) { interrupted = 1; });
    std::signal(SIGTERM, [](int) { interrupted = 1; });
    QElapsedTimer armed;
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, &app, [&] {
        if (!recorder.getFrameSizeCalculated() && recorder.getIsRecording()) {
            if (interrupted || armed.elapsed() > firstFrameLimitMs)
                app.exit(interrupted ? 130 : 3);
        } else if (interrupted && recorder.getIsRecording()) {
            stop();
        } else if (recorder.getIsRecording() && recorder.getFrameCount() == 0
            && armed.elapsed() > 2LL * firstFrameLimitMs) {
            app.exit(4);
        }
    });

    recorder.startRecord();
    camera.start();
    armed.start();
    watch.start(50);
    const int result = app.exec();
    camera.finish();
    if (result == 0) {
        std::cerr << std::endl;
        return report(options.out, recorder);
    }
    recorder.stopRecord(true);
    switch (result) {
    case 130:
        return fail(QStringLiteral("interrupted before the first frame"));
    case 3:
        return fail(
            QStringLiteral("%1 gave no frame within %2 s").arg(options.source).arg(firstFrameLimitMs / 1000));
    default:
        return fail(
            QStringLiteral("the temporary video %1 cannot be written").arg(recorder.getTempFilePath()));
    }
}
