#include "playback/videoplayerwidget.h"

#include "image/racecheck_p.h"
#include "playback/playerdelivery_p.h"
#include "playback/playerprogress_p.h"
#include "playback/videofilecheck_p.h"
#include "playback/videoplayerworker_p.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPixmap>
#include <QPointer>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QStyle>
#include <QThread>
#include <QVBoxLayout>

#include <utility>

namespace {

constexpr QSize hintWithoutPicture(320, 240);
constexpr QSize largestHint(640, 480);

// A plain label asks for the size of its pixmap, which follows the label: it could never shrink again.
class PictureLabel : public QLabel
{
public:
    explicit PictureLabel(QSize videoSize) : hint(hintWithoutPicture)
    {
        if (!videoSize.isEmpty()) {
            hint = videoSize.boundedTo(largestHint) == videoSize
                ? videoSize
                : videoSize.scaled(largestHint, Qt::KeepAspectRatio);
        }
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    }

    QSize sizeHint() const override { return hint; }
    QSize minimumSizeHint() const override { return {1, 1}; }

private:
    QSize hint;
};

} // namespace

VideoPlayerWidget::VideoPlayerWidget(QString path, QWidget *parent)
    : QWidget(parent), thread(new QThread(this)), worker(new VideoPlayerWorker(path, nullptr)), path(path),
      frameCount(worker->getFrameCount()), frameRate(worker->getFrameRate()),
      slider(new QScrollBar(Qt::Horizontal)), progress(new PlayerProgress(this)),
      delivery(std::make_unique<PlayerDelivery>(progress, [this] { takeDelivery(); }))
{
    setMinimumSize(100, 100);
    label = new PictureLabel(worker->getFrameSize());
    worker->setDelivery(delivery.get());
    worker->moveToThread(thread);

    label->setAlignment(Qt::AlignCenter);
    label->setStyleSheet(QStringLiteral("QLabel { background-color : black; }"));
    label->setAccessibleName(tr("Video picture"));
    auto *const button = new QPushButton(QStringLiteral(">"));
    button->setToolTip(tr("Play or pause"));
    button->setAccessibleName(tr("Play or pause"));
    slider->setRange(0, qMax(0, frameCount - 1));
    slider->setFocusPolicy(Qt::StrongFocus); // a scroll bar has none, and so no keys, by itself
    slider->setInvertedControls(false); // or the right arrow goes back
    slider->setToolTip(tr("Position in the video"));
    slider->setAccessibleName(tr("Position in the video"));
    auto *const row = new QHBoxLayout;
    row->addWidget(button, 0);
    row->addWidget(slider, 1);
    auto *const column = new QVBoxLayout(this);
    column->addWidget(label);
    column->addLayout(row);
    if (!worker->isOpened())
        setError(VideoFileCheck::whyUnopened(path));

    connect(thread, &QThread::started, worker, &VideoPlayerWorker::process);
    connect(worker, &VideoPlayerWorker::finished, thread, &QThread::quit);
    connect(worker, &VideoPlayerWorker::finished, worker, &QObject::deleteLater);
    connect(thread, &QThread::finished, thread, &QObject::deleteLater);

    connect(button, &QPushButton::clicked, worker, &VideoPlayerWorker::togglePlay);
    connect(button, &QPushButton::clicked, this, [this] {
        ++ordersSent;
        changePlaying(!playing);
    });
    connect(slider, &QScrollBar::valueChanged, worker, &VideoPlayerWorker::changePosition);
    connect(slider, &QScrollBar::valueChanged, this, [this] { ++ordersSent; });
    connect(slider, &QScrollBar::sliderPressed, worker, &VideoPlayerWorker::activateSeek);
    connect(slider, &QScrollBar::sliderReleased, worker, &VideoPlayerWorker::deactivateSeek);

    // On the worker's thread; what they take goes to the GUI thread from there.
    connect(
        worker, &VideoPlayerWorker::frameReady, this,
        [worker = worker, out = delivery.get()](
            const QImage &image) { out->putImage(image, worker->getShownFrame()); },
        Qt::DirectConnection);
    connect(
        worker, &VideoPlayerWorker::playedOnPosition, this,
        [worker = worker, out = delivery.get()](
            int position) { out->putSliderPosition(position, worker->getOrdersDone()); },
        Qt::DirectConnection);

    RaceCheck::release(worker);
    thread->start(QThread::InheritPriority);
}

VideoPlayerWidget::~VideoPlayerWidget()
{
    disconnect(worker, &VideoPlayerWorker::frameReady, this, nullptr);
    worker->stop();
    thread->exit(0);
    thread->wait();
    RaceCheck::acquire(worker);
    delete worker;
}

QString VideoPlayerWidget::getPath() const
{
    return path;
}

QString VideoPlayerWidget::getError() const
{
    return error;
}

int VideoPlayerWidget::getFrameCount() const
{
    return frameCount;
}

double VideoPlayerWidget::getFrameRate() const
{
    return frameRate;
}

int VideoPlayerWidget::getPosition() const
{
    return position;
}

QImage VideoPlayerWidget::getImage() const
{
    return image;
}

bool VideoPlayerWidget::isPlaying() const
{
    return playing;
}

void VideoPlayerWidget::setPlaying(bool playing)
{
    if (playing == this->playing)
        return;
    ++ordersSent;
    QMetaObject::invokeMethod(
        worker, [worker = worker, playing] { worker->setPlaying(playing); }, Qt::QueuedConnection);
    changePlaying(playing);
}

void VideoPlayerWidget::setPosition(int frame)
{
    frame = qMax(0, frameCount > 0 ? qMin(frame, frameCount - 1) : frame);
    ++ordersSent;
    showSliderPosition(frame);
    // Also where the slider has stood there before, since the worker may be further by now.
    QMetaObject::invokeMethod(worker, "changePosition", Qt::QueuedConnection, Q_ARG(int, frame));
}

QWidget *VideoPlayerWidget::getPictureWidget() const
{
    return label;
}

QRect VideoPlayerWidget::getPictureRect() const
{
    if (pictureSize.isEmpty())
        return {};
    return QStyle::alignedRect(Qt::LeftToRight, label->alignment(), pictureSize, label->contentsRect());
}

void VideoPlayerWidget::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    showImage();
}

void VideoPlayerWidget::takeDelivery()
{
    const PlayerDelivery::News news = delivery->take();
    const auto isUpToDate = [this](unsigned ordersDone) { return int(ordersDone - ordersSent) >= 0; };
    if (news.isUnreadable && error.isEmpty())
        setError(VideoFileCheck::whyUnreadable(path));
    // What is left to do for a slider in the user's hand is done when it is released.
    if (news.sliderPosition.isNew && isUpToDate(news.sliderPosition.ordersDone) && !slider->isSliderDown())
        showSliderPosition(news.sliderPosition.value);
    if (news.image.isNew) {
        image = news.image.value;
        position = news.frame;
        showImage();
    }
    // Who listens may delete the player.
    const QPointer<VideoPlayerWidget> self = this;
    if (news.image.isNew)
        Q_EMIT progress->shown(position);
    if (self && news.playing.isNew && isUpToDate(news.playing.ordersDone))
        changePlaying(news.playing.value);
}

void VideoPlayerWidget::showImage()
{
    if (image.isNull())
        return;
    const qreal ratio = label->devicePixelRatioF();
    const QSize room = (QSizeF(label->size()) * ratio).toSize();
    const QSize size = image.size().scaled(room, Qt::KeepAspectRatio).expandedTo({1, 1});
    // A pixmap has another format: whatever is smaller is what gets converted.
    QPixmap pixmap = size.width() < image.width()
        ? QPixmap::fromImage(image.scaled(size, Qt::IgnoreAspectRatio, Qt::FastTransformation))
        : QPixmap::fromImage(image).scaled(size, Qt::IgnoreAspectRatio, Qt::FastTransformation);
    pixmap.setDevicePixelRatio(ratio);
    label->setPixmap(pixmap);
    pictureSize = (QSizeF(size) / ratio).toSize();
}

void VideoPlayerWidget::showSliderPosition(int position)
{
    const QSignalBlocker blocker(slider); // a played position is no order to go there
    slider->setValue(position);
}

void VideoPlayerWidget::setError(const QString &text)
{
    error = text;
    label->setAccessibleDescription(text);
    label->setToolTip(text);
}

void VideoPlayerWidget::changePlaying(bool playing)
{
    if (std::exchange(this->playing, playing) != playing)
        Q_EMIT progress->playingChanged(playing);
}
