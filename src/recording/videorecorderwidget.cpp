#include "recording/videorecorderwidget.h"

#include "baselib/texthelper.h"
#include "baselib/uihelper.h"
#include "baselib/vellipse.h"
#include "baselib/vrectangle.h"
#include "image/eventwatch_p.h"
#include "recording/recordingwatch.h"
#include "recording/videorecorder.h"

#include <QAccessible>
#include <QCoreApplication>
#include <QDebug>
#include <QEventLoop>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>

namespace {

constexpr int slowest = 1; // Hz
constexpr int fastest = 30; // Hz, unless set otherwise
constexpr int highestMaximum = 240; // Hz
constexpr int buttonSide = 24;
constexpr int discSide = 16;
constexpr int squareSide = 14;
constexpr int finishLookMs = 100;
constexpr int lookMs = 250;
constexpr int warningMargin = 3;

QPushButton *shapeButton(QWidget *shape)
{
    auto *const button = new QPushButton;
    button->setFixedSize(buttonSide, buttonSide);
    button->setContentsMargins(0, 0, 0, 0);
    button->setAutoDefault(false); // Enter in a field of the same dialog is not meant for it
    shape->setAttribute(Qt::WA_TransparentForMouseEvents);
    UIHelper::InsertToWidget(button, shape, 0, 0);
    return button;
}

void describe(QWidget *widget, const QString &text)
{
    widget->setToolTip(text);
    widget->setAccessibleName(text);
}

int shownRate(double frameRate)
{
    return qRound(qBound(double(slowest), frameRate, double(highestMaximum)));
}

// On a ground of its own, so that it is seen on every palette.
void colorWarning(QLabel *label, bool isSerious)
{
    QPalette colors = label->palette();
    colors.setColor(QPalette::Window, isSerious ? QColor(0xb7, 0x1c, 0x1c) : QColor(0xff, 0xb3, 0x00));
    colors.setColor(QPalette::WindowText, isSerious ? Qt::white : Qt::black);
    label->setPalette(colors);
}

QString hertz()
{
    return QCoreApplication::translate("Generic", "Hz");
}

} // namespace

VideoRecorderWidget::VideoRecorderWidget(QWidget *parent)
    : QWidget(parent), timeLabel(new QLabel), atLabel(new QLabel(QStringLiteral("@"))),
      frameRateSpin(new QSpinBox)
{
    auto *const disc = new VEllipse(QStringLiteral("red"));
    disc->setAsCircle(true);
    disc->setMaximumSize(discSide, discSide);
    startButton = shapeButton(disc);
    connect(startButton, &QPushButton::clicked, this, [this] { start(); });

    auto *const square = new VRectangle(QStringLiteral("black"));
    square->setFixedSize(squareSide, squareSide);
    stopButton = shapeButton(square);
    connect(stopButton, &QPushButton::clicked, this, [this] { stop(); });

    frameRateSpin->setRange(slowest, fastest);
    frameRateSpin->setKeyboardTracking(false); // 2 is not meant where 25 is being typed
    connect(frameRateSpin, qOverload<int>(&QSpinBox::valueChanged), this, &VideoRecorderWidget::setFramerate);
    timeLabel->setTextFormat(Qt::PlainText);

    auto *const layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(startButton);
    layout->addWidget(stopButton);
    layout->addWidget(atLabel);
    layout->addWidget(frameRateSpin);
    layout->addWidget(timeLabel, 100, Qt::AlignLeft);

    lookTimer.setInterval(lookMs);
    connect(&lookTimer, &QTimer::timeout, this, &VideoRecorderWidget::leaveRecordingLook);
    new EventWatch(this, QEvent::LanguageChange, [this] { retranslate(); });
    new EventWatch(timeLabel, QEvent::ToolTip, [this] { timeLabel->setToolTip(reportText()); });
    setFramerate(frameRate);
    retranslate();
    rebuildUi();
}

VideoRecorderWidget::~VideoRecorderWidget() = default;

void VideoRecorderWidget::showFrameRateSelector(bool value)
{
    atLabel->setVisible(value);
    frameRateSpin->setVisible(value);
}

void VideoRecorderWidget::showMilliseconds(bool value)
{
    m_showMilliseconds = value;
}

void VideoRecorderWidget::setTakesRecorderRate(bool value)
{
    takesRecorderRate = value;
    takeRecorderRate();
}

void VideoRecorderWidget::takeRecorderRate()
{
    if (!takesRecorderRate || !recorder || !(recorder->getFrameRate() > 0.0))
        return;
    const int rate = shownRate(recorder->getFrameRate());
    if (rate > frameRateSpin->maximum())
        setMaximumFrameRate(rate);
    setFramerate(rate);
}

void VideoRecorderWidget::setMaximumFrameRate(int value)
{
    {
        const QSignalBlocker blocker(frameRateSpin);
        frameRateSpin->setMaximum(qBound(slowest, value, highestMaximum));
    }
    if (frameRate > frameRateSpin->maximum())
        setFramerate(frameRateSpin->maximum());
}

void VideoRecorderWidget::setFreeWhilePreparing(bool value)
{
    isFreeWhilePreparing = value;
    if (value)
        leaveRecordingLook();
}

void VideoRecorderWidget::setWatch(RecordingWatch *newWatch)
{
    if (watch)
        disconnect(watch, nullptr, this, nullptr);
    watch = newWatch;
    if (watch) {
        if (!warningLabel) {
            warningLabel = new QLabel;
            warningLabel->setTextFormat(Qt::PlainText);
            warningLabel->setAutoFillBackground(true);
            warningLabel->setMargin(warningMargin);
            layout()->addWidget(warningLabel);
        }
        connect(watch, &RecordingWatch::healthChanged, this, &VideoRecorderWidget::showWarnings);
        connect(watch, &QObject::destroyed, this, [this] { showWarnings({}); });
    }
    if (warningLabel)
        showWarnings(watch ? watch->health() : RecordingHealth());
}

void VideoRecorderWidget::showWarnings(const RecordingHealth &health)
{
    const QString text = health.warnings.value(0);
    const bool isNew = !text.isEmpty() && warningLabel->isHidden();
    colorWarning(warningLabel, health.isWriterFailing || health.isEndedAtLimit);
    warningLabel->setText(text);
    describe(warningLabel, health.warnings.join(QLatin1Char('\n')));
    warningLabel->setVisible(!text.isEmpty());
    if (isNew) {
        QAccessibleEvent alert(warningLabel, QAccessible::Alert);
        QAccessible::updateAccessibility(&alert);
    }
}

void VideoRecorderWidget::start()
{
    if (!recorder || isStarting)
        return;
    frameRateSpin->interpretText(); // what was typed counts, also where a click takes no focus from the field
    const QPointer<VideoRecorderWidget> self(this);
    isStarting = true;
    const bool mayStart = waitForFormerFinish();
    if (!self)
        return;
    isStarting = false;
    if (!mayStart)
        return;

    // A taken rate need not be a whole number.
    if (!takesRecorderRate || shownRate(recorder->getFrameRate()) != frameRate)
        recorder->setFramerate(double(frameRate));
    QString name;
    Q_EMIT onSetVideoName(name);
    if (!recorder)
        return;
    recorder->startRecord(name);
    rebuildUi();
    Q_EMIT started(name);
}

// The strip and the recorder may be deleted in here; false then, and where the program is about to end.
bool VideoRecorderWidget::waitForFormerFinish()
{
    const QPointer<VideoRecorderWidget> self(this);
    while (recorder && (recorder->isSavingFile() || (isPreparing() && isFileOpen))) {
        qDebug() << "Waiting for record to finish";
        QEventLoop loop;
        QTimer::singleShot(finishLookMs, &loop, &QEventLoop::quit);
        if (loop.exec() != 0 || !self)
            return false;
    }
    return !recorder.isNull();
}

void VideoRecorderWidget::stop(bool remove)
{
    if (!recorder || !recorder->getIsRecording())
        return;
    recorder->stopRecord(remove);
    Q_EMIT stopped();
    leaveRecordingLook();
}

void VideoRecorderWidget::setRecorder(VideoRecorder *newRecorder)
{
    recorder = newRecorder;
    ++binding;
    if (recorder) {
        // Calls that were queued before a change would arrive after it, even if the connections were taken
        // back.
        const auto whileBound = [this, bound = binding](auto call) {
            return [this, bound, call](const auto &...arguments) {
                if (bound == binding)
                    (this->*call)(arguments...);
            };
        };
        const auto queued = Qt::QueuedConnection;
        connect(recorder, &VideoRecorder::recordStarted, this,
            whileBound(&VideoRecorderWidget::recordStarted), queued);
        connect(
            recorder, &VideoRecorder::recordPrepareToFinish, this,
            [this, bound = binding] {
                if (bound == binding)
                    isFileOpen = false;
            },
            queued);
        connect(recorder, &VideoRecorder::recordFinished, this,
            whileBound(&VideoRecorderWidget::recordFinished), queued);
        connect(recorder, &VideoRecorder::frameCountChanged, this,
            whileBound(&VideoRecorderWidget::frameCountChanged), queued);
        connect(recorder, &QObject::destroyed, this, [this, bound = binding] {
            if (bound == binding)
                setRecorder(nullptr);
        });
    }
    isFileOpen = recorder && recorder->getIsRecording();
    takeRecorderRate();
    rebuildUi();
    if (!recorder && !timeLabel->text().isEmpty())
        setTime();
}

void VideoRecorderWidget::setFramerate(int value)
{
    const int limited = qBound(slowest, value, frameRateSpin->maximum());
    {
        const QSignalBlocker blocker(frameRateSpin);
        frameRateSpin->setValue(limited);
    }
    frameRate = limited;
    Q_EMIT changedFrameRate(limited);
}

QString VideoRecorderWidget::getPath()
{
    return recorder ? recorder->getPath() : QString();
}

int VideoRecorderWidget::getFrameRate()
{
    return frameRate;
}

void VideoRecorderWidget::recordStarted()
{
    isFileOpen = true;
    rebuildUi();
    Q_EMIT started(getPath());
}

void VideoRecorderWidget::recordFinished(QString, int)
{
    rebuildUi();
    Q_EMIT stopped();
}

void VideoRecorderWidget::frameCountChanged(qulonglong)
{
    setTime();
}

void VideoRecorderWidget::rebuildUi()
{
    const bool isRecording = recorder && recorder->getIsRecording();
    startButton->setEnabled(recorder);
    stopButton->setEnabled(recorder);
    QPushButton *const shown = isRecording ? stopButton : startButton;
    QPushButton *const hidden = isRecording ? startButton : stopButton;
    const bool handsFocusOn = hidden->hasFocus();
    shown->show();
    if (handsFocusOn)
        shown->setFocus();
    hidden->hide();
    frameRateSpin->setEnabled(!isRecording);
    describeStopButton();
    if (isRecording)
        lookTimer.start();
    else
        lookTimer.stop();
    if (recorder)
        setTime();
}

void VideoRecorderWidget::setTime()
{
    const double seconds = recorder && recorder->getIsRecording() ? recorder->getDurationSeconds() : 0.0;
    timeLabel->setText(QLatin1Char(' ')
        + (isPreparing() ? tr("Preparing video") : TextHelper::TimeToText(seconds, m_showMilliseconds)));
    Q_EMIT durationChanged(float(seconds));
}

// The former video is being prepared, and the strip is free meanwhile.
bool VideoRecorderWidget::isPreparing() const
{
    return isFreeWhilePreparing && recorder && !recorder->getIsRecording() && recorder->isFinishPending();
}

// A stop that comes before the first frame is never announced, and the application may stop the recorder by
// itself.
void VideoRecorderWidget::leaveRecordingLook()
{
    if (recorder && !recorder->getIsRecording() && (isFreeWhilePreparing || !recorder->isFinishPending()))
        rebuildUi();
    else
        describeStopButton();
}

void VideoRecorderWidget::retranslate()
{
    describe(startButton, tr("Start recording"));
    describeStopButton();
    describe(frameRateSpin, tr("Frame rate of the recording"));
    frameRateSpin->setSuffix(QLatin1Char(' ') + hertz());
    timeLabel->setAccessibleDescription(tr("Recorded time"));
    timeLabel->setToolTip(reportText());
}

void VideoRecorderWidget::describeStopButton()
{
    const bool isFinishing = recorder && !recorder->getIsRecording() && !stopButton->isHidden();
    describe(stopButton, isFinishing ? tr("The video is being prepared") : tr("Stop recording"));
}

QString VideoRecorderWidget::reportText() const
{
    const VideoRecorder::Report report = recorder ? recorder->getReport() : VideoRecorder::Report();
    if (report.offered == 0 && report.written == 0)
        return tr("Recorded time");
    const QLocale numbers = locale();
    const QStringList lines{
        tr("Frames written: %1, of them repeated: %2")
            .arg(numbers.toString(report.written), numbers.toString(report.repeated)),
        tr("Frames offered: %1, overwritten: %2, refused: %3")
            .arg(numbers.toString(report.offered), numbers.toString(report.overwritten),
                numbers.toString(report.refused)),
        tr("Rate: %1 %3, chosen: %2 %3")
            .arg(numbers.toString(report.measuredRateHz, 'f', 2),
                numbers.toString(recorder->getFrameRate(), 'g', 6), hertz()),
        tr("Longest gap: %1 ms").arg(numbers.toString(report.longestGapMs, 'f', 0)),
    };
    return lines.join(QLatin1Char('\n'));
}
