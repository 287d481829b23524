#pragma once

#include "vtcv_export.h"

#include <QPointer>
#include <QString>
#include <QTimer>
#include <QWidget>

class QLabel;
class QPushButton;
class QSpinBox;
class RecordingWatch;
struct RecordingHealth;
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
 * That end is told when the queue of ffmpeg jobs has run dry, so a host's own batches of jobs belong in an
 * FFMpegQueue of their own, not in VideoRecorder::ffmpegQueue. See setFreeWhilePreparing() for recordings in
 * a row.
 *
 * The recorder may be deleted or replaced at any time. The strip hears its present recorder only: signals of
 * a former one, those on their way included, have no effect, and a recorder that is set twice gives each
 * signal once.
 *
 * A recording that is begun here gives started() twice, from start() and when the first frame has come, and
 * stopped() twice, from stop() and when the recorder has finished; one that the application begins or ends by
 * itself gives only the second of each.
 *
 * The stop square is black and the start disc red; in a dark theme, in which they would be lost, the square
 * has the colour of the palette's texts and the disc a lighter red. The tool tip of the time is the
 * recorder's report.
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

    /**
     * With true, the strip takes the rate of its recorder, now and in setRecorder(), so a recorder of 25 Hz
     * records at 25 Hz. Off at first: the strip's own rate counts, 15 Hz unless it was changed.
     *
     * The strip shows whole numbers, but a rate such as 29.97 Hz is kept until the user chooses another. A
     * rate above the maximum raises the maximum.
     */
    void setTakesRecorderRate(bool value);

    /** Sets the highest rate that can be chosen, in Hz, limited to 1 to 240; 30 at first. A rate above it is
     * lowered. */
    void setMaximumFrameRate(int value);

    /**
     * With true, the strip leaves its recording look with stop(): the start button is back, and the words
     * "Preparing video" stand in place of the time until the video is prepared. The next recording begins as
     * soon as the former one's temporary file is closed; start() waits for that. Off at first: the strip
     * keeps its recording look until recordFinished().
     *
     * The second stopped() of a recording may then come while the next one runs; use
     * RecordingWatch::delivered() to learn which recording has ended.
     */
    void setFreeWhilePreparing(bool value);

    /** Shows the warnings of \a watch behind the time, as text on a coloured ground; null, as at first, for
     * none. \ownership The caller's; it may be deleted. */
    void setWatch(RecordingWatch *watch);

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

    /**
     * Sets the rate of the next recording, in Hz, limited to 1 to 30 (see setMaximumFrameRate()); 15 at
     * first.
     *
     * The recorder waits whole milliseconds between frames, so it writes slightly more than this: 15.15 a
     * second at 15 Hz, 24.40 at 24 Hz, 30.29 at 30 Hz.
     */
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
    void takeRecorderRate();
    bool isPreparing() const;
    void showWarnings(const RecordingHealth &health);

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

    bool takesRecorderRate = false;
    bool isFreeWhilePreparing = false;
    bool isFileOpen = false; // the recorder has not told that it closes the file of the latest recording
    QPointer<RecordingWatch> watch; // not owned
    QLabel *warningLabel = nullptr; // made with the first watch
};
