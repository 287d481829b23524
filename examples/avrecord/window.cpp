#include "window.h"

#include <AudioLevelBar>
#include <AudioRecorderWidget>
#include <CameraSettings>
#include <ImageHolderViewer>
#include <RecordingDelivery>

#include <QCloseEvent>
#include <QComboBox>
#include <QDateTime>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QVariant>
#include <QVBoxLayout>

namespace {

constexpr int closingLimitMs = 60'000;

} // namespace

Window::Window(const QString &source, const QDir &folder)
    : folder(folder), button(new QPushButton(QStringLiteral("&Record"))), status(new QLabel)
{
    VideoRecorder::setTempFolder(folder.absoluteFilePath(QStringLiteral(".recording")));
    video.setDelivery(RecordingDelivery::quality());
    camera.getSettings()->setProperty("Ip", source);
    connect(&camera, &Camera::frameChanged, &video, qOverload<const cv::Mat &>(&VideoRecorder::setFrame),
        Qt::DirectConnection);

    auto *const viewer = new ImageHolderViewer;
    viewer->setImageHolder(&camera);
    auto *const row = new QHBoxLayout;
    if (!AudioRecorder::getMicrophones().isEmpty())
        addSound(row);
    row->addWidget(button);
    auto *const layout = new QVBoxLayout(this);
    layout->addWidget(viewer, 1);
    layout->addLayout(row);
    layout->addWidget(status);
    button->setCheckable(true);
    status->setTextFormat(Qt::PlainText);
    status->setWordWrap(true);

    connect(button, &QPushButton::toggled, this, &Window::record);
    connect(&watch, &RecordingWatch::delivered, this, &Window::showResult);
    connect(&watch, &RecordingWatch::warned, status,
        [this](RecordingWatch::Warning, const QString &text) { status->setText(text); });
    //! [finishing]
    connect(&watch, &RecordingWatch::finishing, status, [this](int done, int all) {
        status->setText(QStringLiteral("Finishing %1 of %2").arg(qMin(done + 1, all)).arg(all));
    });
    //! [finishing]
    camera.start();
}

void Window::addSound(QLayout *row)
{
    both = std::make_unique<AvRecording>(&video, &audio);
    microphones = new AudioRecorderWidget;
    row->addWidget(microphones);
    row->addWidget(new AudioLevelBar(&meter));
    const auto listen = [this] { meter.listen(microphones->getDevice()); };
    for (QComboBox *box : microphones->findChildren<QComboBox *>())
        connect(box, qOverload<int>(&QComboBox::activated), &meter, listen);
    connect(both.get(), &AvRecording::soundFailed, this, [this](const QString &reason) {
        soundProblem = reason;
        status->setText(reason);
    });
    listen();
}

void Window::record(bool isOn)
{
    if (!isOn) {
        video.stopRecord();
        return;
    }
    if (microphones) {
        audio.setDevice(microphones->getDevice());
        audio.setCodec(microphones->getCodec());
        audio.setSampleRate(microphones->getSampleRate());
    }
    soundProblem.clear();
    const QString name = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss-zzz"));
    const QString path = folder.absoluteFilePath(name + QStringLiteral(".mkv"));
    both ? both->startRecord(path) : video.startRecord(path);
}

void Window::showResult(const RecordingResult &result)
{
    const bool isGood = result.outcome == RecordingResult::Delivered && result.isWhole;
    const QString text =
        isGood ? QStringLiteral("Recorded ") + QDir::toNativeSeparators(result.videoPath) : result.reason;
    status->setText(soundProblem.isEmpty() ? text : text + QLatin1Char('\n') + soundProblem);
}

//! [quitting]
void Window::closeEvent(QCloseEvent *event)
{
    event->ignore();
    if (isClosing) // the user asks again while the first call waits
        return;
    isClosing = true;
    setEnabled(false);
    bool mayClose = video.finishAndWait(closingLimitMs) && VideoRecorder::waitForDeliveries(closingLimitMs);
    const RecordingResult last = video.lastResult();
    if (!mayClose)
        mayClose = QMessageBox::Yes
            == QMessageBox::question(this, windowTitle(),
                QStringLiteral("ffmpeg still works. Leave the recordings in %1?")
                    .arg(VideoRecorder::tempFolder()));
    else if (last.outcome == RecordingResult::KeptInTemporaryFolder)
        QMessageBox::warning(this, windowTitle(), last.reason);
    setEnabled(true);
    isClosing = false;
    event->setAccepted(mayClose);
}
//! [quitting]
