#include "playback/simplevideoplayer.h"

#include "baselib/imageholderviewer.h"
#include "cameras/imagecvmatholder.h"
#include "image/capturesource_p.h"
#include "image/frameseeker_p.h"
#include "playback/videofilecheck_p.h"

#include <QDebug>
#include <QFile>
#include <QGridLayout>

#include <opencv2/videoio.hpp>

#include <climits>

SimpleVideoPlayer::SimpleVideoPlayer(QWidget *parent)
    : QWidget(parent), holder(new ImageCvMatHolder), viewer(new ImageHolderViewer),
      seeker(std::make_unique<FrameSeeker>())
{
    auto *const layout = new QGridLayout(this);
    setContentsMargins(0, 0, 0, 0);
    layout->setContentsMargins(0, 0, 0, 0);
    viewer->setImageHolder(holder);
    viewer->setAccessibleName(tr("Video picture"));
    layout->addWidget(viewer);
    holder->setEmptyImage(QColor("transparent"));
}

SimpleVideoPlayer::~SimpleVideoPlayer()
{
    release();
    viewer->setImageHolder(nullptr);
    delete holder;
}

int SimpleVideoPlayer::getFrameCount() const
{
    return frameCount;
}

double SimpleVideoPlayer::getFps() const
{
    return fps;
}

int SimpleVideoPlayer::getPosition() const
{
    return position;
}

ImageHolderViewer *SimpleVideoPlayer::getPictureWidget() const
{
    return viewer;
}

void SimpleVideoPlayer::setVideo(QString path)
{
    release();
    if (!QFile::exists(path) || !VideoFileCheck::mayBeVideo(path))
        return;
    auto opened = std::make_unique<cv::VideoCapture>();
    if (!CaptureSource::open(*opened, path))
        return;
    capture = opened.release();
    frameCount = CaptureSource::frameCount(*capture);
    fps = CaptureSource::frameRate(*capture);
    seeker->attach(capture, path);
    setPosition(0);
    qDebug() << "Vid" << path << frameCount << fps;
}

void SimpleVideoPlayer::setPosition(int frame)
{
    qDebug() << (capture != nullptr) << frame << frameCount;
    if (!capture || frame < 0 || frame >= frameCount)
        return;
    cv::Mat mat; // a new one each time, since the holder keeps it
    if (!seeker->goTo(frame) || !seeker->retrieve(mat))
        return;
    position = frame;
    holder->setFrame(mat);
}

void SimpleVideoPlayer::setPositionMs(int ms)
{
    showFrameAt(ms * fps / 1000.0);
}

void SimpleVideoPlayer::setPositionSeconds(double seconds)
{
    showFrameAt(fps * seconds);
}

void SimpleVideoPlayer::clearImage()
{
    position = -1;
    holder->setEmptyImage(QColor("transparent"));
}

void SimpleVideoPlayer::release()
{
    frameCount = 0;
    fps = 0.0;
    seeker->attach(nullptr, QString());
    delete capture;
    capture = nullptr;
}

void SimpleVideoPlayer::showFrameAt(double index)
{
    if (frameCount < 1 || fps <= 0.0)
        return;
    // What is no number, or too large for an int, is no frame.
    if (index >= INT_MAX)
        setPosition(INT_MAX);
    else
        setPosition(index > -1.0 ? static_cast<int>(index) : -1);
}
