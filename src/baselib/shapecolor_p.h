#pragma once

#include <QColor>

class QString;
class QWidget;

namespace ShapeColor {

/**
 * The colour in which \a widget draws a shape of the colour \a name on its background.
 *
 * That is the named one where it has a contrast of 3:1 at least, else a lighter shade of it that has. Where
 * there is none, where the widget is disabled, and where \a name is none, it is the palette's text colour.
 */
QColor of(const QWidget &widget, const QString &name);

} // namespace ShapeColor
