#include "baselib/vrectangle.h"

#include "baselib/shapecolor_p.h"

#include <QPainter>

VRectangle::VRectangle(const QString &colorName, QWidget *parent) : QFrame(parent), name(colorName) { }

void VRectangle::setColorName(const QString &newName)
{
    name = newName;
    update();
}

QString VRectangle::colorName() const
{
    return name;
}

QColor VRectangle::color() const
{
    return ShapeColor::of(*this, name);
}

QSize VRectangle::sizeHint() const
{
    const int side = fontMetrics().ascent() + 2 * frameWidth();
    return {side, side};
}

void VRectangle::paintEvent(QPaintEvent *event)
{
    QPainter(this).fillRect(contentsRect(), color());
    QFrame::paintEvent(event);
}
