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

private:
    void showMenu(const QPoint &position);
    void retranslate();

    ConnectionHelper connections; // to the queue
    QPointer<FFMpegQueue> queue; // not owned
    QPointer<QFocusFrame> focusFrame; // bars have no look of their own for the keyboard focus
};
