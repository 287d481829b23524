#pragma once

#include "baselib/connectionhelper.h"
#include "vtcv_export.h"

#include <QPointer>
#include <QProgressBar>

class FFMpegQueue;
class QFocusFrame;

/**
 * Shows the progress of the ffmpeg queue of the process while it works, and hides itself when it is done.
 *
 *     statusBar()->addPermanentWidget(new VideoRecorderOptimizationProgressWidget);
 *
 * The text says which of the jobs that remain is under way, so the first number is always 1. The context
 * menu, which the keyboard reaches as well, cancels the job that ran when it was opened, or all jobs;
 * recordings are kept (see FFMpegQueue::cancelCurrent()).
 *
 * Progress follows the frame numbers that `ffmpeg` prints, of which five digits are read: above 99,999 frames
 * (55 minutes at 30 Hz) the bar starts again near 10 %.
 *
 * A bar that is made while a job runs appears with the next one. It goes, too, where a job starts nothing and
 * none is left: the queue gives no jobFinished() then.
 *
 * \thread GUI thread.
 */
class VTCV_EXPORT VideoRecorderOptimizationProgressWidget : public QProgressBar
{
    Q_OBJECT

public:
    /** Follows the queue that VideoRecorder::ffmpegQueue is now. */
    explicit VideoRecorderOptimizationProgressWidget(QWidget *parent = nullptr);
    ~VideoRecorderOptimizationProgressWidget() override;

    /** With true, the text is in the language of the application; off at first: it is Russian. */
    void setTranslated(bool value);
    bool isTranslated() const { return translated; }

private:
    void showMenu(const QPoint &position);
    void retranslate();
    void showJobs();

    ConnectionHelper connections; // to the queue
    QPointer<FFMpegQueue> queue; // not owned
    bool translated = false;
    int jobs = 0; // that remain, the one under way included; 0 before the first
    QPointer<QFocusFrame> focusFrame; // bars have no look of their own for the keyboard focus
};
