#include "ffmpeg/ffmpegqueue.h"
#include "recording/recordingmeter_p.h"
#include "recording/videorecorder.h"
#include "recording/videorecorderoptimizationprogresswidget.h"
#include "recording/videorecorderwidget.h"
#include "screenshots/sheet.h"
#include "support/frames.h"

#include <QtTest>
#include <QtWidgets>

namespace {

// The strip without a recorder, ready, recording, while the video is prepared, and free meanwhile.
std::vector<QPixmap> stripPictures(const QString &path)
{
    constexpr int frameCount = 187; // of 15 a second
    constexpr int limitMs = 60'000;
    QWidget window;
    auto *const strip = new VideoRecorderWidget;
    (new QVBoxLayout(&window))->addWidget(strip);
    window.setFocus();
    const auto shoot = [&] { return picture(&window, {260, window.sizeHint().height()}); };
    std::vector<QPixmap> all{shoot()};
    VideoRecorder recorder(path, 1.0); // slow enough to pause it after its first pass
    strip->setRecorder(&recorder);
    all.push_back(shoot());

    QSignalSpy passes(&recorder, &VideoRecorder::frameCountChanged);
    QSignalSpy ends(strip, &VideoRecorderWidget::stopped);
    QList<cv::Mat> frames;
    for (int i = 1; i < frameCount; ++i)
        frames << frames::numbered(i, {64, 48});
    recorder.insertFramesOverride(frames);
    recorder.startRecord();
    recorder.setFrame(frames::numbered(0, {64, 48}));
    if (!QTest::qWaitFor([&] { return passes.count() == 1; }, limitMs))
        qFatal("nothing is recorded");
    recorder.pauseRecord();
    recorder.setFramerate(15.0);
    strip->setRecorder(&recorder);
    all.push_back(shoot());
    strip->stop();
    all.push_back(shoot()); // the queue takes a second at least
    strip->setFreeWhilePreparing(true);
    all.push_back(shoot());
    if (ends.count() > 1 || !QTest::qWaitFor([&] { return ends.count() > 1; }, limitMs))
        qFatal("the end of the recording came too early or not at all");
    return all;
}

// The strip with a warning of each colour, as it follows a recording and without one.
std::vector<QPixmap> warningPictures()
{
    QWidget window;
    auto *const strip = new VideoRecorderWidget;
    (new QVBoxLayout(&window))->addWidget(strip);
    VideoRecorder recorder;
    RecordingWatch watch(nullptr);
    strip->setRecorder(&recorder);
    strip->setWatch(&watch);
    window.setFocus();
    std::vector<QPixmap> all;
    for (bool isSerious : {false, true}) {
        RecordingMeter meter;
        meter.begin(25.0);
        RecordingMeter::Sample sample;
        for (int second : {0, 1, 2}) {
            sample.nowMs = second * 1000;
            sample.written = quint64(1 + second * 25);
            sample.passes = sample.written;
            sample.fileBytes = qint64(second) * 1'800'000;
            sample.freeTempBytes = isSerious ? 0 : 42'000'000;
            meter.add(sample);
        }
        Q_EMIT watch.healthChanged(meter.health());
        all.push_back(picture(&window, {480, window.sizeHint().height()}));
    }
    return all;
}

QPixmap barPicture(bool withFocus)
{
    QWidget window;
    auto *const bar = new VideoRecorderOptimizationProgressWidget;
    (new QVBoxLayout(&window))->addWidget(bar);
    Q_EMIT VideoRecorder::ffmpegQueue->jobStarted(3);
    Q_EMIT VideoRecorder::ffmpegQueue->jobProgress(3, 84, 200);
    QCoreApplication::processEvents();
    window.show();
    window.activateWindow();
    (withFocus ? bar : &window)->setFocus(Qt::TabFocusReason);
    return picture(&window, {260, window.sizeHint().height()});
}

} // namespace

bool saveRecordingSheets(const QString &folder, const QString &ending)
{
    const QTemporaryDir home;
    Sheet strips(5);
    Sheet bars(2);
    Sheet warnings(2);
    const char *const stages[] = {"no recorder", "ready", "recording", "being prepared", "free meanwhile"};
    VideoRecorder::setTempFolder(home.filePath(QStringLiteral("temp")));
    for (const Look &look : looks) {
        with(look, [&] {
            const QString caption = QLatin1String(look.name);
            for (bool withFocus : {false, true})
                bars.add(withFocus ? QStringLiteral("with the focus") : caption, barPicture(withFocus));
            const std::vector<QPixmap> pictures = stripPictures(home.filePath(QStringLiteral("take.avi")));
            for (size_t i = 0; i < pictures.size(); ++i)
                strips.add(caption + QStringLiteral(": ") + QLatin1String(stages[i]), pictures[i]);
            for (const QPixmap &warning : warningPictures())
                warnings.add(caption, warning);
        });
    }
    return strips.save(folder + QStringLiteral("/recorder-strip") + ending)
        && bars.save(folder + QStringLiteral("/recorder-progress") + ending)
        && warnings.save(folder + QStringLiteral("/recorder-warning") + ending);
}
