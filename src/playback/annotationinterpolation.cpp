#include "playback/annotationinterpolation.h"

#include "playback/videoannotations.h"

#include <QCoreApplication>
#include <QUndoStack>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

struct Text
{
    Q_DECLARE_TR_FUNCTIONS(AnnotationInterpolation)
};

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

int fillBetween(
    VideoAnnotations &annotations, FrameInfo::InfoDataType type, const QString &name, int longestGap)
{
    struct Entry
    {
        int frame;
        QVariant value;
    };
    QList<Entry> filled;
    const auto fill = [&](const Entry &from, const Entry &to) {
        for (int frame = from.frame + 1; frame < to.frame; ++frame) {
            bool ok = false;
            const QVariant value = type == FrameInfo::Rect
                ? QVariant(interpolatedRect(
                    from.value.toRect(), from.frame, to.value.toRect(), to.frame, frame, &ok))
                : QVariant::fromValue(interpolatedPoints(from.value.value<QList<QPoint>>(), from.frame,
                    to.value.value<QList<QPoint>>(), to.frame, frame, &ok));
            if (!ok)
                return;
            filled.append({frame, value});
        }
    };

    const bool moves = type == FrameInfo::Rect || type == FrameInfo::Points;
    const QList<int> frames = moves ? annotations.getFrames() : QList<int>();
    Entry last;
    for (int frame : frames) {
        const Entry entry{frame, annotations.getValue(frame, type, name)};
        if (!entry.value.isValid())
            continue;
        if (last.value.isValid() && qint64(frame) - last.frame - 1 <= longestGap)
            fill(last, entry);
        last = entry;
    }
    if (filled.isEmpty())
        return 0;
    annotations.getUndoStack()->beginMacro(Text::tr("Fill in \"%1\"").arg(name));
    for (const Entry &entry : qAsConst(filled))
        annotations.setValue(entry.frame, type, name, entry.value);
    annotations.getUndoStack()->endMacro();
    return filled.size();
}
