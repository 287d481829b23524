#include "cameras/imagecvmatholder.h"

#include "image/racecheck_p.h"

#include <memory>

namespace {

void releaseFrame(void *header)
{
    delete static_cast<cv::Mat *>(header);
}

} // namespace

ImageCvMatHolder::ImageCvMatHolder(QObject *parent) : ImageHolder(parent)
{
    qRegisterMetaType<cv::Mat>("cv::Mat");
}

void ImageCvMatHolder::setEmptyImage(QColor color)
{
    ImageHolder::setEmptyImage(color);
    setFrame(QImageToCvMat(ImageHolder::getImage(), true));
}

QImage ImageCvMatHolder::getImage()
{
    auto held = std::make_unique<cv::Mat>(getFrame());
    QImage image = cvMatToQImage(*held, false);
    if (image.isNull() || image.constBits() != held->data)
        return image;
    // Wrapped. A viewer paints the image after the next frame has come, so the image takes a reference along.
    uchar *pixels = held->data;
    return QImage(pixels, image.width(), image.height(), image.bytesPerLine(), image.format(), releaseFrame,
        held.release());
}

void ImageCvMatHolder::setFrame(const cv::Mat &frame)
{
    holdFrame(frame);
    Q_EMIT frameChanged(getFrame());
    Q_EMIT imageChanged();
}

cv::Mat ImageCvMatHolder::getFrame()
{
    const RaceCheck::Locker lock(&frameMutex);
    return frame;
}

void ImageCvMatHolder::holdFrame(const cv::Mat &frame)
{
    if (&frame == &this->frame)
        return;
    cv::Mat next = frame; // becomes the former frame, freed after the lock since its pixels can take a while
    const RaceCheck::Locker lock(&frameMutex);
    cv::swap(this->frame, next);
}
