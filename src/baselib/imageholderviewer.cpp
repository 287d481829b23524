#include "baselib/imageholderviewer.h"

#include <QPaintEngine>
#include <QPainter>
#include <QPaintEvent>
#include <QStyle>
#include <QStyleOption>
#include <QWindow>

#include <algorithm>
#include <utility>

namespace {

constexpr QSize hintWithoutPicture(320, 240);
constexpr QSize largestHint(640, 480);

// A picture of its own pixels: what a holder gives may stand in a buffer that changes, or goes, at any time.
QImage scaledCopy(const QImage &image, const QSize &size)
{
    QImage copy = image.size() == size ? image.copy()
                                       : image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (copy.format() == QImage::Format_RGB32) {
        // The fourth byte of a camera's pixel can be anything; a painter copies it as the alpha of a window.
        for (int y = 0; y < copy.height(); ++y) {
            auto *const line = reinterpret_cast<QRgb *>(copy.scanLine(y));
            std::transform(line, line + copy.width(), line, [](QRgb pixel) { return pixel | 0xff000000; });
        }
    }
    return copy;
}

} // namespace

ImageHolderViewer::ImageHolderViewer(QWidget *parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void ImageHolderViewer::setImageHolder(ImageHolder *next)
{
    if (next == holder)
        return;
    if (holder)
        holder->disconnect(this);
    holder = next;
    if (holder) {
        connect(holder, &ImageHolder::imageChanged, this, &ImageHolderViewer::pictureChanged);
        connect(holder, &QObject::destroyed, this, &ImageHolderViewer::pictureChanged);
    }
    pictureChanged();
}

ImageHolder *ImageHolderViewer::imageHolder() const
{
    return holder;
}

QRect ImageHolderViewer::pictureRect() const
{
    return place;
}

QSize ImageHolderViewer::sizeHint() const
{
    if (pictureSize.isEmpty())
        return hintWithoutPicture;
    return pictureSize.boundedTo(largestHint) == pictureSize
        ? pictureSize
        : pictureSize.scaled(largestHint, Qt::KeepAspectRatio);
}

void ImageHolderViewer::pictureChanged()
{
    stale = true;
    // Goes behind all changes that wait in the queue already, however many a busy moment has left there.
    if (!std::exchange(showIsDue, true))
        QMetaObject::invokeMethod(this, &ImageHolderViewer::showChangedPicture, Qt::QueuedConnection);
}

void ImageHolderViewer::showChangedPicture()
{
    showIsDue = false;
    if (!stale)
        return;
    if (canBeSeen())
        update(fetchPicture(devicePixelRatioF()));
    else
        update(); // the paint event that comes when it can be seen again fetches the picture
}

bool ImageHolderViewer::canBeSeen() const
{
    const QWindow *const onScreen = window()->windowHandle();
    return isVisible() && (!onScreen || onScreen->isExposed());
}

// Gives back what has to be painted: where the picture was, and where it is now.
QRegion ImageHolderViewer::fetchPicture(qreal ratio)
{
    const QRect before = place;
    const QSize hintBefore = sizeHint();
    const QImage image = holder ? holder->getImage() : QImage();
    stale = false;
    fetchedForSize = size();
    fetchedForRatio = ratio;
    pictureSize = (QSizeF(image.size()) / image.devicePixelRatio()).toSize();
    picture = QPixmap();
    place = QRect();
    const QSize area = (QSizeF(size()) * ratio).toSize();
    if (!image.isNull() && !area.isEmpty()) {
        const QSize scaled = image.size().scaled(area, Qt::KeepAspectRatio).expandedTo({1, 1});
        picture = QPixmap::fromImage(scaledCopy(image, scaled));
        picture.setDevicePixelRatio(ratio);
        devicePosition = QPoint((area.width() - scaled.width()) / 2, (area.height() - scaled.height()) / 2);
        place = QRectF(QPointF(devicePosition) / ratio, QSizeF(scaled) / ratio).toAlignedRect();
    }
    if (sizeHint() != hintBefore)
        updateGeometry();
    return QRegion(before) + place;
}

void ImageHolderViewer::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    QStyleOption option;
    option.initFrom(this);
    style()->drawPrimitive(QStyle::PE_Widget, &option, &painter, this);

    // Not always the screen's: the widget may be rendered into a picture of another ratio.
    const qreal ratio = painter.paintEngine()->paintDevice()->devicePixelRatioF();
    if (stale || fetchedForSize != size() || !qFuzzyCompare(fetchedForRatio, ratio)) {
        const QRegion missing = fetchPicture(ratio) - event->region();
        if (!missing.isEmpty())
            update(missing);
    }
    if (!picture.isNull())
        painter.drawPixmap(QPointF(devicePosition) / ratio, picture);
}
