#include "cameras/camera.h"

#include "baselib/frameratecounter.h"

#include <QDebug>

Camera::Camera(QObject *parent) : ImageCvMatHolder(parent)
{
    qRegisterMetaType<cv::Mat>("cv::Mat");
    frameRateCounter = new FrameRateCounter(this);
    // Frames may come on a worker; the rate is stored on the camera's own thread.
    connect(frameRateCounter, SIGNAL(frameRateChanged(double)), this, SLOT(frameRateCounted(double)));
    connect(
        this, &ImageHolder::imageChanged, this, [this] { frameRateCounter->nextFrame(); },
        Qt::DirectConnection);
}

Camera::~Camera()
{
    finish();
}

QSize Camera::getFrameSize()
{
    return frameSize;
}

QList<QSize> Camera::getFrameSizes()
{
    return frameSizes;
}

int Camera::getFrameSizeCount()
{
    return frameSizes.size();
}

QSize Camera::getFrameSizeAt(int index)
{
    return frameSizes.value(index);
}

int Camera::frameSizeIndex(QSize size)
{
    return frameSizes.indexOf(size);
}

bool Camera::setFrameSize(QSize size)
{
    if (frameSizeIndex(size) < 0)
        return false;
    frameSize = size;
    internalSetFrameSize(size.width(), size.height());
    frameRateCounter->restart();
    Q_EMIT frameSizeChanged(frameSize);
    qDebug() << "New frame size" << frameSize;
    return true;
}

bool Camera::setFrameSize(int width, int height)
{
    return setFrameSize(QSize(width, height));
}

void Camera::setFrameSizes(QList<QSize> sizes)
{
    frameSizes = sizes;
    Q_EMIT frameSizesChanged(frameSizes);
}

void Camera::removeFrameSize(QSize size)
{
    if (!frameSizes.removeOne(size))
        return;
    if (frameSize.width() == size.width() && !frameSizes.isEmpty())
        setFrameSize(frameSizes.first());
}

void Camera::start()
{
    frameRateCounter->restart();
    internalStart();
    setIsRunning(true);
}

void Camera::stop()
{
    internalStop();
    setIsRunning(false);
}

void Camera::finish()
{
    internalStop();
    setIsRunning(false);
    internalFinish();
}

void Camera::setIsRunning(bool value)
{
    isRunning = value;
    Q_EMIT isRunningChanged(value);
}

bool Camera::getIsRunning()
{
    return isRunning;
}

void Camera::setFrameRate(double value)
{
    frameRate = value;
    Q_EMIT frameRateChanged(value);
}

double Camera::getFrameRate()
{
    return frameRate;
}

void Camera::setMoniker(const QString &value)
{
    if (moniker == value)
        return;
    moniker = value;
    Q_EMIT monikerChanged(moniker);
}

QString Camera::getMoniker() const
{
    return moniker;
}

void Camera::frameRateCounted(double rate)
{
    setFrameRate(rate);
}

void Camera::internalSetFrameSize(int, int) { }

void Camera::internalStart() { }

void Camera::internalStop() { }

void Camera::internalFinish() { }
