#include "baselib/imageholder.h"

#include <QMutexLocker>

namespace {

constexpr QSize defaultSize(640, 480);

} // namespace

ImageHolder::ImageHolder(QObject *parent) : QObject(parent) { }

void ImageHolder::setEmptyImage(QColor color)
{
    if (!color.isValid())
        color = Qt::black;
    // Both formats can be turned into a frame; the premultiplied and ARGB ones cannot.
    const auto format = color.alpha() == 255 ? QImage::Format_RGB32 : QImage::Format_RGBA8888;
    qint64 filled = 0;
    {
        const QMutexLocker lock(&imageMutex);
        m_image = QImage(m_image.isNull() ? defaultSize : m_image.size(), format);
        m_image.fill(color);
        filled = m_image.cacheKey();
    }
    if (getImage().cacheKey() == filled)
        Q_EMIT imageChanged();
}

void ImageHolder::setImage(QImage image)
{
    {
        const QMutexLocker lock(&imageMutex);
        m_image.swap(image);
    }
    Q_EMIT imageChanged();
}

QImage ImageHolder::getImage()
{
    const QMutexLocker lock(&imageMutex);
    return m_image;
}
