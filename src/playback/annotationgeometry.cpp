#include "playback/annotationgeometry_p.h"

#include <QtMath>

#include <algorithm>
#include <cmath>

QPointF PictureMap::toWidget(const QPointF &position) const
{
    return {place.left() + position.x() * place.width() / size.width(),
        place.top() + position.y() * place.height() / size.height()};
}

QRectF PictureMap::toWidget(const QRect &rect) const
{
    return {toWidget(QPointF(rect.topLeft())), toWidget(QPointF(rect.bottomRight() + QPoint(1, 1)))};
}

QPointF PictureMap::toWidget(const QPoint &pixel) const
{
    return toWidget(QPointF(pixel) + QPointF(0.5, 0.5));
}

QPointF PictureMap::toPicture(const QPointF &position) const
{
    return {(position.x() - place.left()) * size.width() / place.width(),
        (position.y() - place.top()) * size.height() / place.height()};
}

QPoint PictureMap::pixelAt(const QPointF &position) const
{
    const QPointF inPicture = toPicture(position);
    return {qBound(0, qFloor(inPicture.x()), size.width() - 1),
        qBound(0, qFloor(inPicture.y()), size.height() - 1)};
}

QPoint PictureMap::cornerAt(const QPointF &position) const
{
    const QPointF inPicture = toPicture(position);
    return {qBound(0, qRound(inPicture.x()), size.width()), qBound(0, qRound(inPicture.y()), size.height())};
}

namespace annotationgeometry {

namespace {

// Moves one side of an interval of pixels [first, end), or both.
struct Span
{
    int first;
    int end;

    static Span moved(Span span, bool movesFirst, bool movesEnd, int by, int limit)
    {
        if (movesFirst && movesEnd) {
            if (span.first >= 0 && span.end <= limit)
                by = qBound(-span.first, by, limit - span.end);
            return {span.first + by, span.end + by};
        }
        // An edge that stands outside already, as another program may have put it, is not drawn in by a move.
        if (movesFirst)
            span.first = qBound(qMin(0, span.first), span.first + by, qMax(limit, span.first));
        if (movesEnd)
            span.end = qBound(qMin(0, span.end), span.end + by, qMax(limit, span.end));
        if (span.first > span.end)
            std::swap(span.first, span.end);
        if (span.first == span.end)
            span.end < limit ? ++span.end : --span.first;
        return span;
    }
};

} // namespace

const QVector<Qt::Edges> &handles()
{
    static const QVector<Qt::Edges> all{Qt::LeftEdge | Qt::TopEdge, Qt::RightEdge | Qt::TopEdge,
        Qt::LeftEdge | Qt::BottomEdge, Qt::RightEdge | Qt::BottomEdge, Qt::LeftEdge, Qt::RightEdge,
        Qt::TopEdge, Qt::BottomEdge};
    return all;
}

QPointF handlePosition(const QRectF &rect, Qt::Edges handle)
{
    const qreal x = handle & Qt::LeftEdge ? rect.left()
        : handle & Qt::RightEdge          ? rect.right()
                                          : rect.center().x();
    const qreal y = handle & Qt::TopEdge ? rect.top()
        : handle & Qt::BottomEdge        ? rect.bottom()
                                         : rect.center().y();
    return {x, y};
}

Qt::Edges handleAt(const QRectF &rect, const QPointF &position, qreal reach)
{
    for (Qt::Edges handle : handles()) {
        const QPointF away = position - handlePosition(rect, handle);
        if (qAbs(away.x()) <= reach && qAbs(away.y()) <= reach)
            return handle;
    }
    return {};
}

QRect moved(const QRect &rect, Qt::Edges edges, const QPoint &by, const QSize &size)
{
    const Span x = Span::moved({rect.left(), rect.left() + rect.width()}, edges & Qt::LeftEdge,
        edges & Qt::RightEdge, by.x(), size.width());
    const Span y = Span::moved({rect.top(), rect.top() + rect.height()}, edges & Qt::TopEdge,
        edges & Qt::BottomEdge, by.y(), size.height());
    return {x.first, y.first, x.end - x.first, y.end - y.first};
}

int itemAt(const QVector<AnnotationItem> &items, const PictureMap &map, const QPointF &position, qreal reach)
{
    int best = -1;
    qreal bestScore = 0;
    for (int i = 0; i < items.size(); ++i) {
        const AnnotationItem &item = items[i];
        qreal score; // lower is better; below zero for points
        if (item.type == FrameInfo::Points) {
            const QPointF away = position - map.toWidget(item.rect.topLeft());
            const qreal distance = std::hypot(away.x(), away.y());
            if (distance > 2 * reach)
                continue;
            score = distance - 3 * reach;
        } else {
            const QRectF place = map.toWidget(item.rect);
            if (!place.adjusted(-reach, -reach, reach, reach).contains(position))
                continue;
            score = place.width() * place.height();
        }
        if (best < 0 || score <= bestScore) { // of equal ones the later, which lies on top
            best = i;
            bestScore = score;
        }
    }
    return best;
}

} // namespace annotationgeometry
