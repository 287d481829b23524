#include "baselib/vellipse.h"

#include "baselib/shapecolor_p.h"

#include <QPainter>

VEllipse::VEllipse(const QString &colorName, QWidget *parent) : QWidget(parent), name(colorName) { }

void VEllipse::setAsCircle(bool value)
{
    isCircle = value;
    update();
}

void VEllipse::setColorName(const QString &newName)
{
    name = newName;
    update();
}

QString VEllipse::colorName() const
{
    return name;
}

QColor VEllipse::color() const
{
    return ShapeColor::of(*this, name);
}

QSize VEllipse::sizeHint() const
{
    const int side = fontMetrics().ascent();
    return {side, side};
}

void VEllipse::paintEvent(QPaintEvent *)
{
    QRectF place = rect();
    if (isCircle) {
        const qreal side = qMin(place.width(), place.height());
        place = QRectF(place.center() - QPointF(side, side) / 2, QSizeF(side, side));
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color());
    painter.drawEllipse(place);
}
