#pragma once

#include "playback/frameinfo.h"

#include <QColor>
#include <QRectF>
#include <QVector>

/**
 * Maps between the pixels of a picture and the coordinates of the widget that shows it.
 *
 * A pixel is a square: the pixel (0, 0) covers everything from (0, 0) to (1, 1), and a rectangle of pixels
 * everything between its outer edges.
 */
struct VTCV_TEST_EXPORT PictureMap
{
    QRectF place; // of the picture, in the widget
    QSize size; // of the picture, in its pixels

    bool isValid() const { return !size.isEmpty() && !place.isEmpty(); }
    bool operator==(const PictureMap &other) const { return place == other.place && size == other.size; }

    QPointF toWidget(const QPointF &position) const;
    QRectF toWidget(const QRect &rect) const;

    /** The middle of a pixel. */
    QPointF toWidget(const QPoint &pixel) const;

    QPointF toPicture(const QPointF &position) const;

    /** The pixel at a position in the widget, or the nearest one of the picture. */
    QPoint pixelAt(const QPointF &position) const;

    /** The nearest corner between pixels, within the picture. */
    QPoint cornerAt(const QPointF &position) const;
};

/** One thing of a frame that can be picked: a rectangle, or one point of a list. */
struct AnnotationItem
{
    FrameInfo::InfoDataType type = FrameInfo::Rect;
    QString name;
    int point = 0; // place in its list; 0 for a rectangle
    int pointCount = 0; // of the list; 0 for a rectangle
    QRect rect; // of a rectangle; a point has one pixel
    QColor color;

    bool isSame(const AnnotationItem &other) const
    {
        return type == other.type && name == other.name && point == other.point;
    }
    bool operator==(const AnnotationItem &other) const
    {
        return isSame(other) && pointCount == other.pointCount && rect == other.rect && color == other.color;
    }
};

/** Moves and changes what is drawn, within the bounds of the picture. */
namespace annotationgeometry {

constexpr Qt::Edges allEdges = Qt::LeftEdge | Qt::TopEdge | Qt::RightEdge | Qt::BottomEdge;

/** The edges that each of the eight handles of a rectangle moves, corners first. */
VTCV_TEST_EXPORT const QVector<Qt::Edges> &handles();

/** Where a handle of \a rect stands. */
VTCV_TEST_EXPORT QPointF handlePosition(const QRectF &rect, Qt::Edges handle);

/** The handle within \a reach of \a position; none if there is no such handle. */
VTCV_TEST_EXPORT Qt::Edges handleAt(const QRectF &rect, const QPointF &position, qreal reach);

/**
 * Moves \a edges of \a rect by whole pixels; allEdges moves it as a whole.
 *
 * A rectangle that is moved stays in a picture of \a size if it was in it. An edge stops at the picture's
 * border, and goes through the opposite edge; at least one pixel is left.
 */
VTCV_TEST_EXPORT QRect moved(const QRect &rect, Qt::Edges edges, const QPoint &by, const QSize &size);

/** The item that a press at \a position means: points before rectangles, small ones before large; -1 for
 * none. */
VTCV_TEST_EXPORT int itemAt(
    const QVector<AnnotationItem> &items, const PictureMap &map, const QPointF &position, qreal reach);

} // namespace annotationgeometry
