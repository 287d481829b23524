#include "baselib/shapecolor_p.h"

#include <QString>
#include <QWidget>

#include <algorithm>
#include <cmath>

namespace {

constexpr qreal leastContrast = 3; // what shapes need to be recognised

// Relative luminance and contrast as accessibility guidelines define them.
qreal luminance(const QColor &color)
{
    const auto linear = [](qreal part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

qreal contrast(const QColor &one, const QColor &other)
{
    const auto [darker, lighter] = std::minmax({luminance(one), luminance(other)});
    return (lighter + 0.05) / (darker + 0.05);
}

} // namespace

QColor ShapeColor::of(const QWidget &widget, const QString &name)
{
    const QPalette &colors = widget.palette();
    QColor named = QColor::isValidColor(name) ? QColor(name) : QColor();
    if (named.isValid() && widget.isEnabled()
        && contrast(named, colors.color(widget.backgroundRole())) >= leastContrast)
        return named;
    return colors.color(widget.foregroundRole());
}
