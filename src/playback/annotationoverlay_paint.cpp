#include "playback/annotationnames.h"
#include "playback/annotationoverlay_p.h"
#include "playback/videoannotations.h"

#include <QLocale>
#include <QPainter>
#include <QPaintEvent>

namespace {

constexpr int lineWidth = 2; // logical pixels, as all that follow
constexpr int haloWidth = 4; // a dark seam that sets a line off from a picture of its own colour
constexpr qreal pointRadius = 4;
constexpr qreal handleSize = 8;
constexpr int margin = 4;
constexpr int farAway = 1 << 24; // what a damaged file may put there is not drawn, and does not overflow

const QColor shade(0, 0, 0, 160);

QString labelText(const AnnotationItem &item)
{
    if (item.pointCount < 2)
        return item.name;
    return item.point == 0 ? item.name + QStringLiteral(" 1") : QString::number(item.point + 1);
}

bool isDrawable(const QRect &rect)
{
    int x1, y1, x2, y2;
    rect.getCoords(&x1, &y1, &x2, &y2);
    for (int coordinate : {x1, y1, x2, y2}) {
        if (coordinate < -farAway || coordinate > farAway)
            return false;
    }
    return x1 <= x2 && y1 <= y2;
}

QColor textColorOn(const QColor &color)
{
    return qGray(color.rgb()) > 127 ? Qt::black : Qt::white;
}

// Fills a frame of a width whose middle runs along the edges of rect: far cheaper than stroking it, and as
// sharp as rect is aligned.
void fillFrame(QPainter *painter, const QRectF &rect, qreal width, const QColor &color)
{
    const qreal half = width / 2;
    const QRectF outer = rect.adjusted(-half, -half, half, half);
    const QRectF inner = rect.adjusted(half, half, -half, -half);
    if (inner.width() <= 0 || inner.height() <= 0) {
        painter->fillRect(outer, color);
        return;
    }
    painter->fillRect(QRectF(outer.topLeft(), QPointF(outer.right(), inner.top())), color);
    painter->fillRect(QRectF(QPointF(outer.left(), inner.bottom()), outer.bottomRight()), color);
    painter->fillRect(QRectF(QPointF(outer.left(), inner.top()), inner.bottomLeft()), color);
    painter->fillRect(QRectF(inner.topRight(), QPointF(outer.right(), inner.bottom())), color);
}

} // namespace

QRegion AnnotationOverlay::Shown::differenceTo(const Shown &next) const
{
    QRegion dirty;
    const bool isComparable = map == next.map && items.size() == next.items.size();
    for (int i = 0; i < items.size(); ++i) {
        if (!isComparable || !(items[i] == next.items[i]))
            dirty += places[i];
    }
    for (int i = 0; i < next.items.size(); ++i) {
        if (!isComparable || !(items[i] == next.items[i]))
            dirty += next.places[i];
    }
    if (!isComparable || lines != next.lines)
        dirty += QRegion(linesPlace) + next.linesPlace;
    return dirty;
}

void AnnotationOverlay::readItems(Shown *of) const
{
    FrameInfo *const record = annotations && frame >= 0 ? annotations->getFrame(frame) : nullptr;
    const auto add = [&](AnnotationItem item) {
        names->add(item.name);
        item.color = names->getColor(item.name);
        if (names->isVisible(item.name) && isDrawable(item.rect))
            of->items.push_back(item);
    };
    if (record) {
        for (const QString &name : record->getNames(FrameInfo::Rect)) {
            AnnotationItem item;
            item.name = name;
            item.rect = record->getRect(name);
            add(item);
        }
        for (const QString &name : record->getNames(FrameInfo::Points)) {
            const QList<QPoint> points = record->getPoints(name);
            AnnotationItem item;
            item.type = FrameInfo::Points;
            item.name = name;
            item.pointCount = points.size();
            for (item.point = 0; item.point < points.size(); ++item.point) {
                item.rect = QRect(points[item.point], QSize(1, 1));
                add(item);
            }
        }
    }
    if (!drag || (drag->isNew && !drag->hasMoved))
        return;
    for (AnnotationItem &item : of->items) {
        if (item.isSame(drag->item)) {
            item.rect = drag->item.rect;
            return;
        }
    }
    of->items.push_back(drag->item);
}

void AnnotationOverlay::readLines(Shown *of) const
{
    FrameInfo *const record = annotations && frame >= 0 ? annotations->getFrame(frame) : nullptr;
    if (!record)
        return;
    const auto add = [&](FrameInfo::InfoDataType type, auto &&textOf) {
        for (const QString &name : record->getNames(type)) {
            names->add(name);
            if (names->isVisible(name)) {
                const QString text = QStringLiteral("%1: %2").arg(name, textOf(name)).simplified();
                of->lines.push_back({text, names->getColor(name)});
            }
        }
    };
    const QLocale locale;
    add(FrameInfo::Percent,
        [&](const QString &name) { return tr("%1 %").arg(locale.toString(record->getPercent(name))); });
    add(FrameInfo::Value, [&](const QString &name) {
        return locale.toString(record->getValue(name), 'g', QLocale::FloatingPointShortest);
    });
    add(FrameInfo::Bool, [&](const QString &name) { return record->getBool(name) ? tr("yes") : tr("no"); });
    add(FrameInfo::Comment, [&](const QString &name) { return record->getComment(name); });
}

void AnnotationOverlay::layOut(Shown *of) const
{
    if (!of->map.isValid()) {
        of->items.clear();
        of->lines.clear();
        return;
    }
    const qreal around = qMax<qreal>(haloWidth, handleSize) / 2 + 2;
    for (const AnnotationItem &item : qAsConst(of->items)) {
        const QRectF shape = shapeOf(item, of->map).adjusted(-around, -around, around, around);
        // What reaches far out of the widget needs no painting there, and has no place in a QRect.
        const QRectF seen = (shape | labelOf(item, of->map)) & QRectF(rect());
        of->places.push_back(seen.toAlignedRect());
    }
    of->linesPlace = placeOfLines(*of);
}

// Moves the corners to borders between pixels of the screen, where lines of an even width come out sharp.
QRectF AnnotationOverlay::aligned(const QRectF &rect) const
{
    const qreal ratio = devicePixelRatioF();
    const QPointF origin = mapTo(window(), QPoint()); // not a border itself at a ratio such as 1.5
    const auto align = [&](const QPointF &corner) {
        const QPointF device = (corner + origin) * ratio;
        return QPointF(qRound64(device.x()), qRound64(device.y())) / ratio - origin;
    };
    return {align(rect.topLeft()), align(rect.bottomRight())};
}

// The width of a line in an even number of the screen's pixels.
qreal AnnotationOverlay::evenWidth(int width) const
{
    const qreal ratio = devicePixelRatioF();
    return width * qMax(1, qRound(ratio)) / ratio;
}

QRectF AnnotationOverlay::shapeOf(const AnnotationItem &item, const PictureMap &map) const
{
    if (item.type == FrameInfo::Rect)
        return aligned(map.toWidget(item.rect));
    const QPointF radius(pointRadius, pointRadius);
    const QPointF middle = map.toWidget(item.rect.topLeft());
    return {middle - radius, middle + radius};
}

// Above a rectangle where there is room, in its corner otherwise; beside a point.
QRectF AnnotationOverlay::labelOf(const AnnotationItem &item, const PictureMap &map) const
{
    const QFontMetricsF metrics(font());
    const QString text = labelText(item);
    if (text.isEmpty())
        return {};
    QRectF label({}, QSizeF(metrics.horizontalAdvance(text) + margin, metrics.height()));
    const QRectF shape = shapeOf(item, map);
    if (item.type == FrameInfo::Points)
        label.moveCenter({shape.right() + margin + label.width() / 2, shape.center().y()});
    else if (shape.top() - label.height() >= map.place.top())
        label.moveBottomLeft(shape.topLeft() - QPointF(lineWidth / 2.0, 0));
    else
        label.moveTopLeft(shape.topLeft());
    return aligned(label);
}

QRect AnnotationOverlay::placeOfLines(const Shown &of) const
{
    if (of.lines.isEmpty())
        return {};
    const QFontMetrics metrics(font());
    int width = 0;
    for (const Shown::Line &line : of.lines)
        width = qMax(width, metrics.horizontalAdvance(line.text));
    const QRect room = of.map.place.toAlignedRect().adjusted(margin, margin, -margin, -margin);
    const QSize size(width + metrics.ascent() + 3 * margin, of.lines.size() * metrics.height() + 2 * margin);
    return QRect(room.topLeft(), size) & room;
}

void AnnotationOverlay::paintEvent(QPaintEvent *event)
{
    // The widget below paints first, and may have laid its picture out anew.
    if (!(map() == shown->map)) {
        refresh();
        update();
    }
    if (!shown->map.isValid())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    for (int i = 0; i < shown->items.size(); ++i) {
        if (event->region().intersects(shown->places[i]))
            paintItem(&painter, i, shown->map);
    }
    if (event->region().intersects(shown->linesPlace))
        paintLines(&painter);
    if (hasFocus()) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(palette().color(QPalette::Highlight), 1));
        painter.drawRect(aligned(shown->map.place).adjusted(0.5, 0.5, -0.5, -0.5));
    }
}

void AnnotationOverlay::paintItem(QPainter *painter, int index, const PictureMap &map) const
{
    const AnnotationItem &item = shown->items[index];
    const bool isPicked = index == selectedIndex();
    const QRectF shape = shapeOf(item, map);
    if (item.type == FrameInfo::Points) {
        painter->setPen(QPen(shade, 1));
        painter->setBrush(item.color);
        painter->drawEllipse(shape);
        if (isPicked) {
            painter->setBrush(Qt::NoBrush);
            painter->setPen(QPen(Qt::white, lineWidth));
            painter->drawEllipse(shape.adjusted(-2, -2, 2, 2));
        }
    } else {
        fillFrame(painter, shape, evenWidth(haloWidth), shade);
        fillFrame(painter, shape, evenWidth(lineWidth), item.color);
    }

    const QRectF label = labelOf(item, map);
    painter->fillRect(label, item.color);
    painter->setPen(textColorOn(item.color));
    painter->drawText(label, Qt::AlignCenter | Qt::TextSingleLine, labelText(item));

    if (!isPicked || item.type != FrameInfo::Rect)
        return;
    for (Qt::Edges handle : annotationgeometry::handles()) {
        QRectF square(0, 0, handleSize, handleSize);
        square.moveCenter(annotationgeometry::handlePosition(shape, handle));
        painter->fillRect(square, Qt::black);
        painter->fillRect(square.adjusted(1, 1, -1, -1), readOnly ? item.color : QColor(Qt::white));
    }
}

void AnnotationOverlay::paintLines(QPainter *painter) const
{
    const QFontMetrics metrics(font());
    const QRect place = shown->linesPlace;
    const int side = metrics.ascent();
    painter->fillRect(place, shade);
    const int fitting = (place.height() - 2 * margin) / qMax(1, metrics.height());
    const int left = shown->lines.size() - fitting; // that do not fit
    for (int i = 0; i < qMin(fitting, shown->lines.size()); ++i) {
        const Shown::Line &line = shown->lines[i];
        const QRect row(place.left() + margin, place.top() + margin + i * metrics.height(),
            place.width() - 2 * margin, metrics.height());
        const bool isRest = left > 0 && i == fitting - 1;
        if (!isRest) {
            QRect swatch(row.topLeft(), QSize(side - margin, side - margin));
            swatch.moveTop(row.top() + (row.height() - swatch.height()) / 2);
            painter->fillRect(swatch, line.color);
        }
        const QRect room = row.adjusted(side, 0, 0, 0);
        const QString text = isRest ? tr("%n more", "lines that do not fit", left + 1) : line.text;
        painter->setPen(Qt::white);
        painter->drawText(room, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
            metrics.elidedText(text, Qt::ElideRight, room.width()));
    }
}
