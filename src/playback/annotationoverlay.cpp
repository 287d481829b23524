#include "playback/annotationoverlay.h"

#include "baselib/imageholderviewer.h"
#include "cameras/imagecvmatholder.h"
#include "playback/annotationnames.h"
#include "playback/annotationoverlay_p.h"
#include "playback/simplevideoplayer.h"
#include "playback/videoannotations.h"
#include "playback/videoplayercontroller.h"
#include "playback/videoplayerwidget.h"

#include <QCursor>
#include <QEvent>

AnnotationOverlay::AnnotationOverlay(QWidget *parent)
    : QWidget(parent), ownNames(new AnnotationNames(this)), shown(new Shown)
{
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setNames(nullptr);
    showTexts();
}

AnnotationOverlay::~AnnotationOverlay() = default;

void AnnotationOverlay::setController(VideoPlayerController *newController)
{
    if (controller)
        controller->disconnect(this);
    if (viewer)
        setViewer(nullptr);
    controller = newController;
    const auto coverPlayer = [this] {
        VideoPlayerWidget *const player = controller ? controller->getPlayer() : nullptr;
        cover(player ? player->getPictureWidget() : nullptr, [player] {
            return PictureMap{player->getPictureRect(), player->getImage().size()};
        });
        showFrame(player ? controller->getPosition() : -1);
    };
    if (controller) {
        connect(controller, &VideoPlayerController::playerChanged, this, coverPlayer);
        connect(controller, &VideoPlayerController::positionChanged, this, &AnnotationOverlay::showFrame);
        connect(controller, &QObject::destroyed, this, [this] { cover(nullptr, {}); });
    }
    coverPlayer();
}

void AnnotationOverlay::setViewer(SimpleVideoPlayer *newViewer)
{
    if (viewer)
        viewer->getPictureWidget()->imageHolder()->disconnect(this);
    if (controller)
        setController(nullptr);
    viewer = newViewer;
    if (!viewer) {
        cover(nullptr, {});
        return;
    }
    ImageHolderViewer *const picture = viewer->getPictureWidget();
    auto *const holder = qobject_cast<ImageCvMatHolder *>(picture->imageHolder());
    const auto showViewed = [this] { showFrame(viewer ? viewer->getPosition() : -1); };
    connect(holder, &ImageHolder::imageChanged, this, showViewed);
    cover(picture, [picture, holder] {
        const cv::Mat pixels = holder->getFrame();
        return PictureMap{picture->pictureRect(), {pixels.cols, pixels.rows}};
    });
    showViewed();
}

void AnnotationOverlay::cover(QWidget *widget, std::function<PictureMap()> newMap)
{
    if (covered)
        covered->removeEventFilter(this);
    covered = widget;
    findMap = widget ? std::move(newMap) : nullptr; // first of all: the former widget may be half gone
    cancel();
    if (!widget) {
        hide();
        showFrame(-1);
        return;
    }
    setParent(widget);
    setGeometry(widget->rect());
    widget->installEventFilter(this);
    raise();
    show();
}

void AnnotationOverlay::setAnnotations(VideoAnnotations *newAnnotations)
{
    cancel();
    if (annotations)
        annotations->disconnect(this);
    annotations = newAnnotations;
    if (annotations) {
        connect(annotations, &VideoAnnotations::frameChanged, this, [this](int number) {
            if (number != frame)
                return;
            // What is dragged may be gone, or elsewhere.
            if (!isCommitting) {
                keysGoOn = false;
                cancel();
            }
            refresh();
        });
        connect(annotations, &VideoAnnotations::framesReset, this, [this] {
            cancel();
            addNames();
            refresh();
        });
        connect(annotations, &QObject::destroyed, this, &AnnotationOverlay::refresh);
    }
    addNames();
    refresh();
}

void AnnotationOverlay::addNames()
{
    for (int type = FrameInfo::Percent; annotations && type <= FrameInfo::Points; ++type) {
        for (const QString &name : annotations->getNames(FrameInfo::InfoDataType(type)))
            names->add(name);
    }
}

VideoAnnotations *AnnotationOverlay::getAnnotations() const
{
    return annotations;
}

void AnnotationOverlay::setNames(AnnotationNames *newNames)
{
    if (names)
        names->disconnect(this);
    names = newNames ? newNames : ownNames;
    connect(names, &AnnotationNames::dataChanged, this, &AnnotationOverlay::refresh);
    connect(names, &AnnotationNames::rowsRemoved, this, &AnnotationOverlay::refresh);
    connect(names, &AnnotationNames::modelReset, this, &AnnotationOverlay::refresh);
    if (names != ownNames)
        connect(names, &QObject::destroyed, this, [this] { setNames(nullptr); });
    addNames();
    refresh();
}

AnnotationNames *AnnotationOverlay::getNames() const
{
    return names;
}

AnnotationOverlay::Tool AnnotationOverlay::getTool() const
{
    return tool;
}

void AnnotationOverlay::setTool(Tool newTool)
{
    if (newTool == tool)
        return;
    cancel();
    tool = newTool;
    showCursor(mapFromGlobal(QCursor::pos()));
    Q_EMIT toolChanged(tool);
}

bool AnnotationOverlay::isReadOnly() const
{
    return readOnly;
}

void AnnotationOverlay::setReadOnly(bool isReadOnly)
{
    if (isReadOnly == readOnly)
        return;
    cancel();
    readOnly = isReadOnly;
    update();
}

int AnnotationOverlay::getFrame() const
{
    return frame;
}

void AnnotationOverlay::showFrame(int number)
{
    if (number != frame)
        cancel();
    frame = number;
    refresh();
}

// Reads what the frame has, and has the places painted where something is different now.
void AnnotationOverlay::refresh()
{
    auto next = std::make_unique<Shown>();
    next->map = map();
    readItems(next.get());
    readLines(next.get());
    layOut(next.get());
    update(shown->differenceTo(*next));
    shown = std::move(next);
    if (picked && selectedIndex() < 0)
        pick(nullptr);
    else
        showTexts();
}

PictureMap AnnotationOverlay::map() const
{
    return findMap && covered ? findMap() : PictureMap{};
}

bool AnnotationOverlay::hasSelection() const
{
    return picked != nullptr;
}

FrameInfo::InfoDataType AnnotationOverlay::getSelectedType() const
{
    return picked ? picked->type : FrameInfo::Rect;
}

QString AnnotationOverlay::getSelectedName() const
{
    return picked ? picked->name : QString();
}

int AnnotationOverlay::getSelectedPoint() const
{
    return picked ? picked->point : 0;
}

bool AnnotationOverlay::select(FrameInfo::InfoDataType type, const QString &name, int point)
{
    AnnotationItem wanted;
    wanted.type = type;
    wanted.name = name;
    wanted.point = point;
    for (const AnnotationItem &item : qAsConst(shown->items)) {
        if (item.isSame(wanted)) {
            pick(&item);
            return true;
        }
    }
    pick(nullptr);
    return false;
}

void AnnotationOverlay::clearSelection()
{
    pick(nullptr);
}

int AnnotationOverlay::selectedIndex() const
{
    for (int i = 0; picked && i < shown->items.size(); ++i) {
        if (shown->items[i].isSame(*picked))
            return i;
    }
    return -1;
}

void AnnotationOverlay::pick(const AnnotationItem *item)
{
    if (item ? picked && picked->isSame(*item) : !picked)
        return;
    const auto repaintPicked = [this] {
        const int index = selectedIndex();
        if (index >= 0)
            update(shown->places[index]);
    };
    repaintPicked();
    picked = item ? std::make_unique<AnnotationItem>(*item) : nullptr;
    keysGoOn = false;
    repaintPicked();
    if (picked)
        names->setCurrent(picked->name);
    showTexts();
    Q_EMIT selectionChanged();
}

bool AnnotationOverlay::stepSelection(bool forward)
{
    const int count = shown->items.size();
    const int current = selectedIndex();
    const int next = current < 0 ? (forward ? 0 : count - 1) : current + (forward ? 1 : -1);
    const bool isThere = next >= 0 && next < count;
    pick(isThere ? &shown->items[next] : nullptr);
    return isThere;
}

bool AnnotationOverlay::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == covered && event->type() == QEvent::Resize) {
        setGeometry(covered->rect());
        cancel(); // what is dragged would jump
        update();
        refresh();
    }
    return QWidget::eventFilter(watched, event);
}

void AnnotationOverlay::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange) {
        showTexts();
        refresh();
    } else if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
        refresh();
        update();
    }
}

// Only changes are set, since each call tells the screen readers.
void AnnotationOverlay::showTexts()
{
    const QString name = tr("Annotations");
    if (accessibleName() != name)
        setAccessibleName(name);
    const int index = selectedIndex();
    QString description;
    if (index >= 0) {
        const AnnotationItem &item = shown->items[index];
        const QString x = QString::number(item.rect.x());
        const QString y = QString::number(item.rect.y());
        // All at once, since a name may look like a place for an argument.
        if (item.type == FrameInfo::Rect) {
            description = tr("Rectangle \"%1\" at %2, %3, size %4 by %5")
                              .arg(item.name, x, y, QString::number(item.rect.width()),
                                  QString::number(item.rect.height()));
        } else {
            description =
                tr("Point %1 of \"%2\" at %3, %4").arg(QString::number(item.point + 1), item.name, x, y);
        }
    }
    if (accessibleDescription() != description)
        setAccessibleDescription(description);
}
