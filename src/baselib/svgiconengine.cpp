#include "baselib/svgiconengine_p.h"

#include <QGuiApplication>
#include <QPaintEngine>
#include <QPainter>

#include <cstdlib>
#include <utility>

namespace {

constexpr QSize probe(32, 32);
constexpr int colorTolerance = 24; // of 255; what edges and rounding change

bool isClose(int one, int other)
{
    return std::abs(one - other) <= colorTolerance;
}

} // namespace

SvgIconEngine::SvgIconEngine(std::shared_ptr<QSvgRenderer> renderer, QWidget *widget)
    : renderer(std::move(renderer)), widget(widget), takesTextColor(isOfOneGrey())
{
}

bool SvgIconEngine::isOfOneGrey() const
{
    const QImage image = render(probe).convertToFormat(QImage::Format_ARGB32);
    int grey = -1;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            if (qAlpha(pixel) < 128)
                continue;
            if (grey < 0)
                grey = qGreen(pixel);
            if (!isClose(qRed(pixel), grey) || !isClose(qGreen(pixel), grey) || !isClose(qBlue(pixel), grey))
                return false;
        }
    }
    return true;
}

QImage SvgIconEngine::render(const QSize &pixels) const
{
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    const QSizeF drawn = QSizeF(renderer->viewBoxF().size()).scaled(pixels, Qt::KeepAspectRatio);
    QRectF place(QPointF(), drawn);
    place.moveCenter(QRectF(image.rect()).center());
    renderer->render(&painter, place);
    return image;
}

QPixmap SvgIconEngine::pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state)
{
    Q_UNUSED(state)
    if (size.isEmpty())
        return {};
    const QPalette palette = widget ? widget->palette() : QGuiApplication::palette();
    QImage image = render(size);
    QPainter painter(&image);
    if (takesTextColor) {
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        const auto group = mode == QIcon::Disabled ? QPalette::Disabled : QPalette::Active;
        painter.fillRect(image.rect(), palette.color(group, QPalette::ButtonText));
    } else if (mode == QIcon::Disabled) {
        painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
        painter.fillRect(image.rect(), QColor(0, 0, 0, 96));
    }
    painter.end();
    return QPixmap::fromImage(std::move(image));
}

void SvgIconEngine::paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state)
{
    // Not always the widget's: it may be rendered into a picture of another ratio.
    const qreal ratio = painter->paintEngine()->paintDevice()->devicePixelRatioF();
    QPixmap picture = pixmap((QSizeF(rect.size()) * ratio).toSize(), mode, state);
    picture.setDevicePixelRatio(ratio);
    painter->drawPixmap(rect, picture);
}

QIconEngine *SvgIconEngine::clone() const
{
    return new SvgIconEngine(*this);
}
