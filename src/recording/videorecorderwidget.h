#pragma once

#include "vtcv_export.h"

#include <QPointer>
#include <QString>
#include <QTimer>
#include <QWidget>

class QLabel;
class QPushButton;
class QSpinBox;
class VideoRecorder;

/**
 * Steers a VideoRecorder in a row of controls: start, stop, the frame rate and the running time.
 *
 *     auto *strip = new VideoRecorderWidget;
 *     strip->setRecorder(recorder);
 *     connect(strip, &VideoRecorderWidget::onSetVideoName, this, [](QString &path) { path = nextVideoPath();
 * });
 *
 * The start button gives way to the stop button while a recording runs, and comes back when the recorder
 * announces its end, which may be some time after stop(): the video is prepared meanwhile, and the tool tip
 * of the stop button says so. Where no end will be announced, because no frame had come yet, it comes back at
 * once.
 *
 * The recorder may be deleted or replaced at any time. What a former one still tells is not heard.
 *
 * A recording that is begun here gives started() twice, from start() and when the first frame has come, and
 * stopped() twice, from stop() and when the recorder has finished; one that the application begins or ends by
 * itself gives only the second of each.
 *
 * The stop square is black and the start disc red; in a dark theme, in which black would be lost, the square
 * has the colour of the palette's texts. The tool tip of the time is the recorder's report.
 *
 * \thread GUI thread.
 */
class VTCV_EXPORT VideoRecorderWidget : public QWidget
{
    Q_OBJECT

public:
    explicit VideoRecorderWidget(QWidget *parent = nullptr);
    ~VideoRecorderWidget() override;

    /** Shows or hides the frame rate; it is shown at first. */
    void showFrameRateSelector(bool value);

    /** With false the time has whole seconds from its next update on. */
    void showMilliseconds(bool value);

Q_SIGNALS:
    /** Asks for the destination of the recording that begins: connect directly and write it into \a str. Left
     * empty, the recorder uses its last path. */
    void onSetVideoName(QString &str);

    /** The time shown has been updated. */
    void durationChanged(float seconds);

    /** The frame rate, in Hz, has been set, by the user or by setFramerate(). */
    void changedFrameRate(int frameRate);

    void started(QString path);
    void stopped();

public Q_SLOTS:
    /**
     * Starts a recording at the chosen rate. Without a recorder nothing happens.
     *
     * While the recorder still closes and copies the files of the former recording, events are delivered, so
     * that the user interface stays alive; a further call meanwhile does nothing.
     */
    void start();

    /** Ends the recording; with \a remove it is thrown away. Nothing happens where none runs. */
    void stop(bool remove = false);

    /** Steers \a recorder from now on; null for none. \ownership The caller's; it may be deleted. */
    void setRecorder(VideoRecorder *recorder);

    /** Sets the rate of the next recording, in Hz, limited to 1 to 30; 15 at first. */
    void setFramerate(int frameRate);

    /** The recorder's path; empty without a recorder. */
    QString getPath();

    int getFrameRate();

private Q_SLOTS:
    void recordStarted();
    void recordFinished(QString file, int durationMs);
    void frameCountChanged(qulonglong frames);
    void rebuildUi();
    void setTime();

private:
    void leaveRecordingLook();
    bool waitForFormerFinish();
    void retranslate();
    void describeStopButton();
    QString reportText() const;

    QPointer<VideoRecorder> recorder; // not owned
    QPushButton *startButton;
    QPushButton *stopButton;
    QLabel *timeLabel;
    QLabel *atLabel;
    QSpinBox *frameRateSpin;
    int frameRate = 15; // in Hz
    bool m_showMilliseconds = true;
    bool isStarting = false; // start() waits for the former finish
    int binding = 0; // counts setRecorder(), so that former recorders are told from the present one
    QTimer lookTimer; // runs in the recording look: not each stop is announced
};
