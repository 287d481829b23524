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

// The hue says what a shape means, so it is kept: red gets lighter, not white. Invalid for greys, and for
// hues that would have to become pale.
QColor lightened(const QColor &color, const QColor &ground)
{
    constexpr qreal step = 0.02;
    constexpr qreal palest = 0.8;
    qreal hue = 0;
    qreal saturation = 0;
    qreal lightness = 0;
    color.getHslF(&hue, &saturation, &lightness);
    if (saturation == 0 || luminance(color) < luminance(ground))
        return {};
    for (; lightness <= palest; lightness += step) {
        const QColor lighter(QColor::fromHslF(hue, saturation, lightness).rgb());
        if (contrast(lighter, ground) >= leastContrast)
            return lighter;
    }
    return {};
}

} // namespace

QColor ShapeColor::of(const QWidget &widget, const QString &name)
{
    const QPalette &colors = widget.palette();
    const QColor text = colors.color(widget.foregroundRole());
    const QColor named = QColor::isValidColor(name) ? QColor(name) : QColor();
    if (!named.isValid() || !widget.isEnabled())
        return text;
    const QColor ground = colors.color(widget.backgroundRole());
    if (contrast(named, ground) >= leastContrast)
        return named;
    const QColor lighter = lightened(named, ground);
    return lighter.isValid() ? lighter : text;
}
