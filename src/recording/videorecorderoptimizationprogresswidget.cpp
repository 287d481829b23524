#include "recording/videorecorderoptimizationprogresswidget.h"

#include "ffmpeg/ffmpegqueue.h"
#include "ffmpeg/ffmpegqueuenotifier_p.h"
#include "image/eventwatch_p.h"
#include "recording/videorecorder.h"

#include <QFocusFrame>
#include <QMenu>

namespace {

// Not written into tr() itself: this text stands in no translation file and is shown as it is.
constexpr char preparing[] = "Подготовка видео";

} // namespace

VideoRecorderOptimizationProgressWidget::VideoRecorderOptimizationProgressWidget(QWidget *parent)
    : QProgressBar(parent), queue(VideoRecorder::ffmpegQueue), focusFrame(new QFocusFrame(this))
{
    setTextVisible(true);
    setAlignment(Qt::AlignCenter);
    hide();
    setContextMenuPolicy(Qt::CustomContextMenu);
    setFocusPolicy(Qt::TabFocus);
    connect(
        this, &QWidget::customContextMenuRequested, this, &VideoRecorderOptimizationProgressWidget::showMenu);
    new EventWatch(this, QEvent::FocusIn, [this] {
        QPalette colors = palette();
        colors.setBrush(QPalette::WindowText, colors.highlight());
        focusFrame->setPalette(colors);
        focusFrame->setWidget(this);
    });
    new EventWatch(this, QEvent::FocusOut, [this] { focusFrame->setWidget(nullptr); });
    new EventWatch(this, QEvent::LanguageChange, [this] { retranslate(); });
    retranslate();
    if (!queue)
        return;

    const auto started = [this](int count) {
        jobs = count;
        showJobs();
        setValue(0);
        show();
    };
    const auto progress = [this](int, int frameIndex, int frameCount) {
        // A file may hold more frames than it tells.
        if (frameCount > 0)
            setValue(int(qBound<qint64>(0, qint64(frameIndex) * 100 / frameCount, 100)));
    };
    const auto finished = [this](int jobsLeft) {
        if (jobsLeft == 0)
            hide();
    };
    const auto over = [this] {
        if (!queue || !queue->notifier()->isBusy())
            hide();
    };
    const auto queued = Qt::QueuedConnection;
    connections << connect(queue, &FFMpegQueue::jobStarted, this, started, queued)
                << connect(queue, &FFMpegQueue::jobProgress, this, progress, queued)
                << connect(queue, &FFMpegQueue::jobFinished, this, finished, queued)
                << connect(queue->notifier(), &FFMpegQueueNotifier::jobOver, this, over, queued)
                << connect(queue, &QObject::destroyed, this, &QWidget::hide);
}

VideoRecorderOptimizationProgressWidget::~VideoRecorderOptimizationProgressWidget()
{
    delete focusFrame.data(); // belongs to our parent while it is shown
}

void VideoRecorderOptimizationProgressWidget::showMenu(const QPoint &position)
{
    if (!queue)
        return;
    auto *const menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    // While the user reads the menu, the next job may begin.
    const quint64 ticket = queue->notifier()->currentTicket();
    QAction *const one = menu->addAction(tr("Cancel this video, keep the recording"), this, [this, ticket] {
        if (queue)
            queue->notifier()->cancel(ticket);
    });
    one->setEnabled(ticket != 0);
    menu->addAction(tr("Cancel all videos, keep the recordings"), this, [this] {
        if (queue)
            queue->cancelAll();
    });
    menu->popup(mapToGlobal(position));
}

void VideoRecorderOptimizationProgressWidget::setTranslated(bool value)
{
    translated = value;
    showJobs();
}

void VideoRecorderOptimizationProgressWidget::showJobs()
{
    if (jobs == 0)
        return;
    const QString text = translated ? tr("Preparing video") : tr(preparing);
    setFormat(text + QStringLiteral(" (1/%1): %p%").arg(jobs));
}

void VideoRecorderOptimizationProgressWidget::retranslate()
{
    showJobs();
    setAccessibleName(tr("Preparation of videos"));
    setToolTip(tr("Recorded videos are being prepared; the context menu cancels that"));
}
