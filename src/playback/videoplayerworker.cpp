#include "playback/videoplayerworker_p.h"

#include "image/capturesource_p.h"
#include "image/racecheck_p.h"
#include "playback/playerdelivery_p.h"
#include "playback/videofilecheck_p.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDebug>
#include <QElapsedTimer>
#include <QEvent>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <climits>
#include <memory>
#include <utility>

namespace {

constexpr double longestDelayMs = 10000.0;
// Pictures that follow each other faster are hardly seen, and showing one takes a third of the time that a
// frame takes to decode.
constexpr int shortestShowMs = 12;
constexpr qint64 timerErrorNs = 500000;
constexpr CaptureSource::Bounds networkBounds{5000, 5000};

void releaseFrame(void *header)
{
    delete static_cast<cv::Mat *>(header);
}

bool isFree(const cv::Mat &buffer)
{
    // Read as an atomic, so that whatever the last other holder did with the pixels is over.
    return !buffer.u || CV_XADD(&buffer.u->refcount, 0) == 1;
}

int codeToRgba(int channels)
{
    switch (channels) {
    case 1:
        return cv::COLOR_GRAY2RGBA;
    case 4:
        return cv::COLOR_BGRA2RGBA;
    default:
        return cv::COLOR_BGR2RGBA;
    }
}

} // namespace

VideoPlayerWorker::VideoPlayerWorker(QString path, QObject *parent)
    : QObject(parent), capture(new cv::VideoCapture)
{
    if (VideoFileCheck::mayBeVideo(path))
        CaptureSource::open(*capture, path, networkBounds);
    frameRate = CaptureSource::frameRate(*capture);
    if (frameRate > 0.0)
        frameDelayMs = static_cast<qint64>(qMin(1000.0 / frameRate, longestDelayMs));
    seeker.attach(capture, path);
    seeker.setGoOn(&running);
}

VideoPlayerWorker::~VideoPlayerWorker()
{
    delete capture;
}

void VideoPlayerWorker::stop()
{
    running = false;
    QCoreApplication::postEvent(this, new QEvent(QEvent::None)); // ends a wait
}

bool VideoPlayerWorker::isOpened() const
{
    return capture->isOpened();
}

int VideoPlayerWorker::getFrameCount()
{
    return CaptureSource::frameCount(*capture);
}

double VideoPlayerWorker::getFrameRate() const
{
    return frameRate;
}

QSize VideoPlayerWorker::getFrameSize() const
{
    return {CaptureSource::toCount(capture->get(cv::CAP_PROP_FRAME_WIDTH)),
        CaptureSource::toCount(capture->get(cv::CAP_PROP_FRAME_HEIGHT))};
}

void VideoPlayerWorker::setDelivery(PlayerDelivery *delivery)
{
    this->delivery = delivery;
}

int VideoPlayerWorker::getShownFrame() const
{
    return shownFrame;
}

unsigned VideoPlayerWorker::getOrdersDone() const
{
    return ordersDone;
}

void VideoPlayerWorker::setPlaying(bool playing)
{
    takeOrder();
    this->playing = playing;
}

void VideoPlayerWorker::process()
{
    RaceCheck::acquire(this);
    if (!showNextFrame() && delivery && running)
        delivery->putUnreadable();
    while (running) {
        const bool wantsToSeek = position != shownFrame;
        const bool wantsToPlay = !wantsToSeek && playing && !seeking;
        if (isHeldBack && !wantsToPlay)
            handOut();
        if (wantsToSeek)
            seek();
        else if (wantsToPlay)
            play();
        if (delivery && std::exchange(sliderIsDue, false))
            delivery->putSliderPosition(position, ordersDone);
        if (delivery && std::exchange(playingIsDue, false))
            delivery->putPlaying(playing, ordersDone);
        // Only an event can give an idle pass something to do.
        const bool isIdle = !wantsToSeek && !wantsToPlay;
        QCoreApplication::processEvents(isIdle ? QEventLoop::WaitForMoreEvents : QEventLoop::AllEvents);
    }
    RaceCheck::release(this);
}

void VideoPlayerWorker::togglePlay(bool)
{
    takeOrder();
    playing = !playing;
}

void VideoPlayerWorker::changePosition(int position)
{
    takeOrder();
    const int count = getFrameCount();
    this->position = qBound(0, position, count > 0 ? count - 1 : INT_MAX);
}

void VideoPlayerWorker::activateSeek()
{
    seeking = true;
}

void VideoPlayerWorker::deactivateSeek()
{
    seeking = false;
    sliderIsDue = true; // it may stand where there is no frame
}

// What has been told before is out of date for whoever gave the order, so it is told anew.
void VideoPlayerWorker::takeOrder()
{
    ++ordersDone;
    playingIsDue = true;
}

// After the last frame the position of the capture is not known; the one behind the shown frame is what
// counts.
bool VideoPlayerWorker::showNextFrame()
{
    const int next = shownFrame + 1;
    if (canBeHeldBack(next) && seeker.goTo(next)) {
        isHeldBack = true;
        shownFrame = next;
        return true;
    }
    const bool wasHeldBack = isHeldBack;
    if (showFrame(next))
        return true;
    if (wasHeldBack)
        showFrame(shownFrame);
    return false;
}

bool VideoPlayerWorker::showFrame(int index)
{
    if (!seeker.goTo(index))
        return false;
    const int before = std::exchange(shownFrame, index);
    if (handOut())
        return true;
    shownFrame = before;
    return false;
}

// Gives the picture of the shown frame to the GUI thread.
bool VideoPlayerWorker::handOut()
{
    isHeldBack = false;
    try {
        if (!seeker.retrieve(frame) || !convertFrame())
            return false;
    } catch (const cv::Exception &failure) {
        qWarning() << "VideoPlayerWidget: frame" << shownFrame << "cannot be shown:" << failure.what();
        return false;
    }
    sinceHandOut.start();
    auto held = std::make_unique<cv::Mat>(rgbaFrame);
    const int step = static_cast<int>(rgbaFrame.step);
    Q_EMIT frameReady(QImage(rgbaFrame.data, rgbaFrame.cols, rgbaFrame.rows, step, QImage::Format_RGBA8888,
        releaseFrame, held.release()));
    return true;
}

// While frames are decoded faster than they can be seen, the time goes to the decoder. A frame that has been
// held back is handed out when none follows it, for which it may have to be found again.
bool VideoPlayerWorker::canBeHeldBack(int index)
{
    return delivery && frameDelayMs < shortestShowMs && sinceHandOut.isValid()
        && sinceHandOut.elapsed() < shortestShowMs && seeker.isSeekable() && index + 1 < getFrameCount();
}

// Into a buffer that nobody looks at any more, so that the pixels need not be copied for the GUI thread.
bool VideoPlayerWorker::convertFrame()
{
    if (frame.depth() != CV_8U)
        return false;
    rgbaFrame.release();
    cv::Mat *buffer = std::find_if(buffers.begin(), buffers.end(), isFree);
    if (buffer == buffers.end())
        *(buffer = buffers.begin()) = cv::Mat();
    cv::cvtColor(frame, *buffer, codeToRgba(frame.channels()));
    rgbaFrame = *buffer;
    return true;
}

void VideoPlayerWorker::seek()
{
    if (showFrame(position))
        return;
    // Trying again would change nothing, and playing goes on from the frame that is shown.
    position = shownFrame;
    sliderIsDue = sliderIsDue || !seeking;
}

void VideoPlayerWorker::play()
{
    QElapsedTimer timer;
    timer.start();
    playing = showNextFrame();
    position = shownFrame;
    Q_EMIT playedOnPosition(position);
    if (playing)
        waitForNextFrame(frameDelayMs - timer.elapsed());
    else
        playingIsDue = true;
}

// Waits in the event processing, so that a click or a stop does not have to wait for the next frame.
void VideoPlayerWorker::waitForNextFrame(qint64 ms)
{
    if (ms <= 0)
        return;
    const QDeadlineTimer end(ms, Qt::PreciseTimer);
    const int timer = startTimer(static_cast<int>(ms), Qt::PreciseTimer);
    while (
        running && playing && !seeking && position == shownFrame && end.remainingTimeNSecs() > timerErrorNs)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    killTimer(timer);
}
