#include "playback/annotationnames.h"
#include "playback/annotationoverlay_p.h"
#include "playback/videoannotations.h"
#include "playback/videoplayercontroller.h"

#include <QKeyEvent>
#include <QScopedValueRollback>

namespace {

constexpr qreal reach = 6; // how near to a handle, point or border counts as on it; logical pixels
constexpr qreal dragDistance = 3; // a press that moves less changes nothing
constexpr int longStep = 10; // pixels of the video that an arrow key with Shift moves

QPoint directionOf(int key)
{
    switch (key) {
    case Qt::Key_Left:
        return {-1, 0};
    case Qt::Key_Right:
        return {1, 0};
    case Qt::Key_Up:
        return {0, -1};
    case Qt::Key_Down:
        return {0, 1};
    default:
        return {};
    }
}

Qt::CursorShape cursorOf(Qt::Edges edges)
{
    const Qt::Edges across = edges & (Qt::LeftEdge | Qt::RightEdge);
    const Qt::Edges along = edges & (Qt::TopEdge | Qt::BottomEdge);
    if (edges == annotationgeometry::allEdges)
        return Qt::SizeAllCursor;
    if (!along)
        return Qt::SizeHorCursor;
    if (!across)
        return Qt::SizeVerCursor;
    return bool(edges & Qt::LeftEdge) == bool(edges & Qt::TopEdge) ? Qt::SizeFDiagCursor
                                                                   : Qt::SizeBDiagCursor;
}

} // namespace

bool AnnotationOverlay::canChange() const
{
    return !readOnly && annotations && annotations->isOpen() && frame >= 0 && shown->map.isValid();
}

bool AnnotationOverlay::pausePlaying()
{
    if (!controller || !controller->isPlaying())
        return false;
    controller->pause();
    return true;
}

void AnnotationOverlay::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || drag || !map().isValid()) {
        event->ignore(); // the player may have a use for it
        return;
    }
    if (!pausePlaying())
        beginDrag(event->localPos());
}

void AnnotationOverlay::beginDrag(const QPointF &position)
{
    refresh(); // the picture may have been laid out anew since
    Drag begun;
    begun.start = position;
    const int pickedIndex = selectedIndex();
    if (pickedIndex >= 0) {
        const AnnotationItem &item = shown->items[pickedIndex];
        begun.item = item;
        if (item.type == FrameInfo::Rect)
            begun.edges = annotationgeometry::handleAt(shown->map.toWidget(item.rect), position, reach);
        else if (annotationgeometry::itemAt({item}, shown->map, position, reach) == 0)
            begun.edges = annotationgeometry::allEdges;
    }
    if (!begun.edges && (tool == Tool::Select || !canChange())) {
        const int index = annotationgeometry::itemAt(shown->items, shown->map, position, reach);
        if (index < 0) {
            pick(nullptr);
            return;
        }
        begun.item = shown->items[index];
        begun.edges = annotationgeometry::allEdges;
        pick(&begun.item);
    } else if (!begun.edges) {
        begun.isNew = true;
        begun.item = newItem();
        begun.item.rect = QRect(shown->map.pixelAt(position), QSize(1, 1));
        if (begun.item.type == FrameInfo::Points) {
            begun.edges = annotationgeometry::allEdges;
            begun.hasMoved = true; // a press is enough
        }
    }
    if (!canChange())
        return;
    begun.original = begun.item.rect;
    drag = std::make_unique<Drag>(begun);
    if (drag->hasMoved)
        refresh();
}

void AnnotationOverlay::mouseMoveEvent(QMouseEvent *event)
{
    if (drag)
        dragTo(event->localPos());
    else
        showCursor(event->localPos());
}

void AnnotationOverlay::dragTo(const QPointF &position)
{
    const QPointF away = position - drag->start;
    if (!drag->hasMoved && qMax(qAbs(away.x()), qAbs(away.y())) < dragDistance)
        return;
    drag->hasMoved = true;
    const PictureMap &map = shown->map;
    if (drag->edges) {
        const QPointF by = map.toPicture(position) - map.toPicture(drag->start);
        drag->item.rect = annotationgeometry::moved(drag->original, drag->edges, by.toPoint(), map.size);
    } else {
        const QPoint from = map.cornerAt(drag->start);
        const QPoint to = map.cornerAt(position);
        const QRect none(from, QSize(0, 0));
        const Qt::Edges corner = Qt::RightEdge | Qt::BottomEdge;
        drag->item.rect = annotationgeometry::moved(none, corner, to - from, map.size);
    }
    refresh();
}

void AnnotationOverlay::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || !drag)
        return;
    dragTo(event->localPos());
    const std::unique_ptr<Drag> done = std::move(drag);
    if (done->hasMoved && (done->isNew || done->item.rect != done->original))
        commit(done->item, false);
    else
        refresh();
    showCursor(event->localPos());
}

void AnnotationOverlay::cancel()
{
    if (!drag)
        return;
    drag.reset();
    refresh();
}

// Hands an item over as one step of the undo stack, and picks it.
void AnnotationOverlay::commit(const AnnotationItem &item, bool isByKey)
{
    const AnnotationItem kept = item; // refresh() replaces what it may be a part of
    {
        const QScopedValueRollback<bool> ours(isCommitting, true);
        QVariant value = kept.rect;
        if (kept.type == FrameInfo::Points) {
            FrameInfo *const record = annotations->getFrame(frame);
            QList<QPoint> points = record ? record->getPoints(kept.name) : QList<QPoint>();
            if (kept.point < points.size())
                points[kept.point] = kept.rect.topLeft();
            else
                points << kept.rect.topLeft();
            value = QVariant::fromValue(points);
        }
        annotations->setValue(frame, kept.type, kept.name, value,
            isByKey && keysGoOn ? VideoAnnotations::Merge::WithLast : VideoAnnotations::Merge::Never);
    }
    refresh();
    select(kept.type, kept.name, kept.point);
    keysGoOn = isByKey;
}

void AnnotationOverlay::removeSelected()
{
    const int index = selectedIndex();
    if (index < 0 || !canChange())
        return;
    cancel();
    const AnnotationItem item = shown->items[index];
    const QScopedValueRollback<bool> ours(isCommitting, true);
    FrameInfo *const record = annotations->getFrame(frame);
    QList<QPoint> points = record ? record->getPoints(item.name) : QList<QPoint>();
    if (item.type == FrameInfo::Points && points.size() > 1 && item.point < points.size()) {
        points.removeAt(item.point);
        annotations->setValue(frame, item.type, item.name, QVariant::fromValue(points));
    } else {
        annotations->remove(frame, item.type, item.name);
    }
    pick(nullptr);
    refresh();
}

// What is drawn next, still without its place.
AnnotationItem AnnotationOverlay::newItem() const
{
    if (names->getCurrent().isNull())
        names->add(tool == Tool::Point ? tr("point") : tr("rectangle"));
    AnnotationItem item;
    item.name = names->getCurrent();
    names->setVisible(item.name, true); // nobody draws what is not to be seen
    item.color = names->getColor(item.name);
    if (tool == Tool::Point) {
        FrameInfo *const record = annotations->getFrame(frame);
        item.type = FrameInfo::Points;
        item.point = record ? record->getPoints(item.name).size() : 0;
        item.pointCount = item.point + 1;
    }
    return item;
}

bool AnnotationOverlay::isKeyForUs(const QKeyEvent *event) const
{
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~Qt::KeypadModifier;
    const bool isPlain = modifiers == Qt::NoModifier;
    switch (event->key()) {
    case Qt::Key_Escape:
        return isPlain && (drag || picked || tool != Tool::Select);
    case Qt::Key_Insert:
        return isPlain && canChange();
    case Qt::Key_Delete:
    case Qt::Key_Backspace:
        return isPlain && picked && canChange();
    default:
        return !directionOf(event->key()).isNull() && picked && canChange()
            && !(modifiers & ~(Qt::ShiftModifier | Qt::ControlModifier));
    }
}

void AnnotationOverlay::keyPressEvent(QKeyEvent *event)
{
    if (!isKeyForUs(event)) {
        event->ignore(); // goes on to the player
        return;
    }
    const bool isChange = event->key() != Qt::Key_Escape;
    if (isChange && (drag || pausePlaying()))
        return;
    switch (event->key()) {
    case Qt::Key_Escape:
        if (drag)
            cancel();
        else if (picked)
            clearSelection();
        else
            setTool(Tool::Select);
        break;
    case Qt::Key_Insert: {
        const QSize size = shown->map.size;
        AnnotationItem item = newItem();
        item.rect = item.type == FrameInfo::Points ? QRect(0, 0, 1, 1) : QRect(QPoint(), size / 4);
        item.rect.setSize(item.rect.size().expandedTo({1, 1}));
        item.rect.moveCenter(QRect(QPoint(), size).center());
        commit(item, false);
        break;
    }
    case Qt::Key_Delete:
    case Qt::Key_Backspace:
        removeSelected();
        break;
    default:
        moveByKey(event->key(), event->modifiers());
    }
}

void AnnotationOverlay::moveByKey(int key, Qt::KeyboardModifiers modifiers)
{
    const int index = selectedIndex();
    if (index < 0)
        return;
    AnnotationItem item = shown->items[index];
    const bool isResize = modifiers & Qt::ControlModifier && item.type == FrameInfo::Rect;
    const Qt::Edges edges = isResize ? Qt::RightEdge | Qt::BottomEdge : annotationgeometry::allEdges;
    const QPoint by = directionOf(key) * (modifiers & Qt::ShiftModifier ? longStep : 1);
    const QRect wanted = annotationgeometry::moved(item.rect, edges, by, shown->map.size);
    if (wanted == item.rect)
        return;
    item.rect = wanted;
    commit(item, true);
}

void AnnotationOverlay::showCursor(const QPointF &position)
{
    const int index = selectedIndex();
    Qt::Edges edges;
    if (index >= 0 && canChange() && shown->items[index].type == FrameInfo::Rect)
        edges = annotationgeometry::handleAt(shown->map.toWidget(shown->items[index].rect), position, reach);
    const bool draws = tool != Tool::Select && canChange();
    if (!edges && !draws && annotationgeometry::itemAt(shown->items, shown->map, position, reach) >= 0)
        edges = annotationgeometry::allEdges;
    if (edges && canChange())
        setCursor(cursorOf(edges));
    else if (draws)
        setCursor(Qt::CrossCursor);
    else if (edges)
        setCursor(Qt::PointingHandCursor);
    else
        unsetCursor();
}

bool AnnotationOverlay::event(QEvent *event)
{
    // A host's shortcuts would otherwise take the keys that are meant for the picked item.
    if (event->type() == QEvent::ShortcutOverride && isKeyForUs(static_cast<QKeyEvent *>(event))) {
        event->accept();
        return true;
    }
    return QWidget::event(event);
}

bool AnnotationOverlay::focusNextPrevChild(bool next)
{
    return stepSelection(next) || QWidget::focusNextPrevChild(next);
}

void AnnotationOverlay::focusInEvent(QFocusEvent *event)
{
    if (event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason) {
        pick(nullptr);
        stepSelection(event->reason() == Qt::TabFocusReason);
    }
    QWidget::focusInEvent(event);
}
