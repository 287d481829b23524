#include "playback/annotationinterpolation.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

/** The way between two frames, from one end to the other. */
class Way
{
public:
    Way(int fromFrame, int toFrame, int frame)
        : done(double(frame) - fromFrame), length(double(toFrame) - fromFrame)
    {
    }

    bool isValid() const { return length >= 0 ? done >= 0 && done <= length : done <= 0 && done >= length; }
    bool hasLength() const { return length != 0; }

    qint64 between(qint64 from, qint64 to) const
    {
        return hasLength() ? from + qint64(std::floor(double(to - from) * done / length + 0.5)) : from;
    }

private:
    double done;
    double length;
};

void tell(bool *ok, bool value)
{
    if (ok)
        *ok = value;
}

// A right edge, which two roundings can carry one pixel past what an int holds.
int edge(qint64 start, qint64 size)
{
    return int(std::min<qint64>(start + size - 1, std::numeric_limits<int>::max()));
}

} // namespace

QRect interpolatedRect(const QRect &from, int fromFrame, const QRect &to, int toFrame, int frame, bool *ok)
{
    const Way way(fromFrame, toFrame, frame);
    tell(ok, way.isValid() && (way.hasLength() || from == to));
    if (!way.isValid() || (!way.hasLength() && from != to))
        return {};
    const qint64 left = way.between(from.left(), to.left());
    const qint64 top = way.between(from.top(), to.top());
    const qint64 width = way.between(qint64(from.right()) - from.left(), qint64(to.right()) - to.left()) + 1;
    const qint64 height = way.between(qint64(from.bottom()) - from.top(), qint64(to.bottom()) - to.top()) + 1;
    return QRect(QPoint(int(left), int(top)), QPoint(edge(left, width), edge(top, height)));
}

QList<QPoint> interpolatedPoints(
    const QList<QPoint> &from, int fromFrame, const QList<QPoint> &to, int toFrame, int frame, bool *ok)
{
    const Way way(fromFrame, toFrame, frame);
    const bool possible = way.isValid() && from.size() == to.size() && (way.hasLength() || from == to);
    tell(ok, possible);
    QList<QPoint> points;
    for (int i = 0; possible && i < from.size(); ++i)
        points.append(
            QPoint(int(way.between(from[i].x(), to[i].x())), int(way.between(from[i].y(), to[i].y()))));
    return points;
}
