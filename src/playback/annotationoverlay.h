#pragma once

#include "playback/frameinfo.h"
#include "vtcv_export.h"

#include <QPointer>
#include <QWidget>

#include <functional>
#include <memory>

class AnnotationNames;
class SimpleVideoPlayer;
class VideoAnnotations;
class VideoPlayerController;
struct AnnotationItem;
struct PictureMap;

/**
 * Draws the annotations of the frame that is shown on the picture of a player, and lets the user change them.
 *
 *     auto *controller = new VideoPlayerController(player);
 *     auto *overlay = new AnnotationOverlay;
 *     overlay->setController(controller);
 *     overlay->setAnnotations(annotations);
 *     overlay->setTool(AnnotationOverlay::Tool::Rectangle);
 *
 * Rectangles and points stand where they are in the picture, in the colour of their name; percents, values,
 * Booleans and comments are lines of text in the picture's upper left corner. Coordinates are pixels of the
 * video's frame, whatever the size of the player.
 *
 * With the mouse: a press picks the item under it, dragging moves it or, at a handle, changes its size. With
 * the tool Rectangle or Point, a press draws a new item of the name AnnotationNames::getCurrent(). A
 * rectangle takes the place of one of the same name on that frame, a point joins the points of its name.
 * While the video plays, a press only pauses it.
 *
 * With the keyboard, while the overlay has the focus:
 *
 *  - Tab and Shift+Tab go through the items, and on to the next widget behind the last one;
 *  - the arrows move the picked item by one pixel of the video, with Shift by ten; with Ctrl they move a
 *    rectangle's right and lower edge;
 *  - Insert draws a new item in the middle, Delete or Backspace removes the picked one;
 *  - Escape gives up what is being dragged, then the picked item, then the tool.
 *
 * All other keys, and the arrows while nothing is picked, are left to the player.
 *
 * Each change is one step of VideoAnnotations::getUndoStack(), a whole drag as well; arrow keys that follow
 * one another on the same item are one step together. Names that are new join the list of names.
 *
 * Drawing costs what is drawn: no picture is copied, and a change paints the places of the changed items
 * only.
 *
 * \thread    GUI thread.
 * \ownership The overlay becomes a child of the widget that it covers and goes with the player, unless it is
 *            deleted before. Controller, annotations and names stay the caller's and may be deleted at any
 *            time.
 */
class VTCV_EXPORT AnnotationOverlay : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(Tool tool READ getTool WRITE setTool NOTIFY toolChanged)
    Q_PROPERTY(bool readOnly READ isReadOnly WRITE setReadOnly)

public:
    /** What a press beside the picked item does. */
    enum class Tool
    {
        Select, // picks an item
        Rectangle, // begins a rectangle
        Point, // sets a point
    };
    Q_ENUM(Tool)

    explicit AnnotationOverlay(QWidget *parent = nullptr);
    ~AnnotationOverlay() override;

    /** Covers the picture of the controller's player, now and whenever it gets another one. */
    void setController(VideoPlayerController *controller);

    /** Covers the picture of \a viewer and follows the frames that it shows. */
    void setViewer(SimpleVideoPlayer *viewer);

    /** Null shows nothing. */
    void setAnnotations(VideoAnnotations *annotations);
    VideoAnnotations *getAnnotations() const;

    /** Null gives back the overlay's own list. */
    void setNames(AnnotationNames *names);
    AnnotationNames *getNames() const;

    Tool getTool() const;

    /** Items can be picked but not changed. */
    bool isReadOnly() const;
    void setReadOnly(bool isReadOnly);

    /** The frame whose annotations are shown; -1 without a picture. */
    int getFrame() const;

    bool hasSelection() const;
    FrameInfo::InfoDataType getSelectedType() const;
    QString getSelectedName() const;

    /** The place of the picked point in the list of its name; 0 for a rectangle. */
    int getSelectedPoint() const;

    /** Picks an item of the shown frame; false, and nothing is picked, if there is no such item to be seen.
     */
    bool select(FrameInfo::InfoDataType type, const QString &name, int point = 0);

public Q_SLOTS:
    void setTool(AnnotationOverlay::Tool tool);

    /** Removes the picked item: a rectangle, or one point of a list, with the entry once its list is empty.
     */
    void removeSelected();

    /** Gives up what is being drawn or dragged. */
    void cancel();

    void clearSelection();

Q_SIGNALS:
    void toolChanged(AnnotationOverlay::Tool tool);
    void selectionChanged();

protected:
    bool event(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void changeEvent(QEvent *event) override;
    bool focusNextPrevChild(bool next) override;

private:
    struct Drag;
    struct Shown;

    void cover(QWidget *widget, std::function<PictureMap()> map);
    void showFrame(int number);
    void showTexts();
    PictureMap map() const;

    void refresh();
    void readItems(Shown *shown) const;
    void readLines(Shown *shown) const;
    void layOut(Shown *shown) const;
    void paintItem(QPainter *painter, int index, const PictureMap &map) const;
    void paintLines(QPainter *painter) const;
    QRectF aligned(const QRectF &rect) const;
    qreal evenWidth(int width) const;
    QRectF shapeOf(const AnnotationItem &item, const PictureMap &map) const;
    QRectF labelOf(const AnnotationItem &item, const PictureMap &map) const;
    QRect placeOfLines(const Shown &of) const;

    int selectedIndex() const;
    void pick(const AnnotationItem *item);
    bool stepSelection(bool forward);
    bool canChange() const;
    bool pausePlaying();
    bool isKeyForUs(const QKeyEvent *event) const;
    void moveByKey(int key, Qt::KeyboardModifiers modifiers);
    void beginDrag(const QPointF &position);
    void dragTo(const QPointF &position);
    AnnotationItem newItem() const;
    void commit(const AnnotationItem &item, bool isByKey);
    void addNames();
    void showCursor(const QPointF &position);

    QPointer<VideoPlayerController> controller;
    QPointer<SimpleVideoPlayer> viewer;
    QPointer<QWidget> covered;
    QPointer<VideoAnnotations> annotations;
    QPointer<AnnotationNames> names;
    AnnotationNames *ownNames; // a child
    std::function<PictureMap()> findMap; // asks the covered widget
    std::unique_ptr<Shown> shown; // of the current frame, as it was laid out last
    std::unique_ptr<AnnotationItem> picked; // type, name and point of it count
    std::unique_ptr<Drag> drag; // while a button is held
    int frame = -1;
    Tool tool = Tool::Select;
    bool readOnly = false;
    bool isCommitting = false; // the change that is announced is ours
    bool keysGoOn = false; // an arrow key was the last to change anything
};
