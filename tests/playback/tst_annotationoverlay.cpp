#include "baselib/imageholderviewer.h"
#include "playback/annotationgeometry_p.h"
#include "playback/annotationnames.h"
#include "playback/annotationoverlay.h"
#include "playback/simplevideoplayer.h"
#include "playback/videoannotations.h"
#include "playback/videoplayercontroller.h"
#include "playback/videoplayerwidget.h"
#include "support/frames.h"

#include <QtTest>
#include <QtWidgets>

#include <memory>

namespace {

const QSize videoSize(320, 240);
const QString car = QStringLiteral("car");
const QString wheel = QStringLiteral("wheel");
const QRect carPlace(100, 80, 60, 40);

} // namespace

class AnnotationOverlayTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(folder.isValid());
        path = folder.filePath(QStringLiteral("take.avi"));
        QVERIFY(frames::writeVideo(path, 10, 25, cv::Size(videoSize.width(), videoSize.height())));
    }

    void init()
    {
        annotations = std::make_unique<VideoAnnotations>();
        QVERIFY(annotations->open(path));
        annotations->setValue(0, FrameInfo::Rect, car, carPlace);
        annotations->setValue(
            0, FrameInfo::Points, wheel, QVariant::fromValue(QList<QPoint>{{10, 20}, {200, 30}}));
        annotations->getUndoStack()->clear();
        player = std::make_unique<VideoPlayerWidget>(path);
        controller = std::make_unique<VideoPlayerController>(player.get());
        overlay = new AnnotationOverlay;
        overlay->setAnnotations(annotations.get());
        overlay->setController(controller.get());
        player->resize(700, 400); // black at both sides
        player->show();
        QTRY_COMPARE(controller->getPosition(), 0);
        QCOMPARE(overlay->getFrame(), 0);
    }

    void cleanup()
    {
        player.reset();
        controller.reset();
        annotations.reset();
    }

    void positionsAreThoseOfTheVideosPixels()
    {
        const PictureMap map{QRectF(50, 10, 160, 120), videoSize};
        QCOMPARE(map.toWidget(QRect(0, 0, 320, 240)), map.place);
        QCOMPARE(map.toWidget(QRect(100, 80, 60, 40)), QRectF(100, 50, 30, 20));
        QCOMPARE(map.toPicture(QPointF(100, 50)), QPointF(100, 80));
        QCOMPARE(map.pixelAt(QPointF(100.9, 50.4)), QPoint(101, 80));
        QCOMPARE(map.pixelAt(QPointF(0, 500)), QPoint(0, 239)); // beside the picture
        QCOMPARE(map.cornerAt(QPointF(500, 10.2)), QPoint(320, 0));
        for (int x = 0; x < videoSize.width(); ++x)
            QCOMPARE(map.pixelAt(map.toWidget(QPoint(x, 7))), QPoint(x, 7));
    }

    void movedRectangleStaysInThePicture_data()
    {
        QTest::addColumn<QRect>("rect");
        QTest::addColumn<int>("edges");
        QTest::addColumn<QPoint>("by");
        QTest::addColumn<QRect>("expected");
        const int all = annotationgeometry::allEdges;
        QTest::newRow("moved") << QRect(10, 10, 5, 5) << all << QPoint(3, -4) << QRect(13, 6, 5, 5);
        QTest::newRow("to the border")
            << QRect(10, 10, 5, 5) << all << QPoint(-99, 999) << QRect(0, 235, 5, 5);
        QTest::newRow("from outside") << QRect(-10, 10, 5, 5) << all << QPoint(2, 0) << QRect(-8, 10, 5, 5);
        QTest::newRow("corner") << QRect(10, 10, 5, 5) << int(Qt::RightEdge | Qt::BottomEdge) << QPoint(2, -1)
                                << QRect(10, 10, 7, 4);
        QTest::newRow("edge to the border")
            << QRect(10, 10, 5, 5) << int(Qt::RightEdge) << QPoint(999, 9) << QRect(10, 10, 310, 5);
        QTest::newRow("through the other edge")
            << QRect(10, 10, 5, 5) << int(Qt::LeftEdge) << QPoint(8, 0) << QRect(15, 10, 3, 5);
        QTest::newRow("onto the other edge")
            << QRect(10, 10, 5, 5) << int(Qt::TopEdge) << QPoint(0, 5) << QRect(10, 15, 5, 1);
        QTest::newRow("onto the border's edge")
            << QRect(310, 0, 10, 5) << int(Qt::LeftEdge) << QPoint(99, 0) << QRect(319, 0, 1, 5);
    }

    void movedRectangleStaysInThePicture()
    {
        QFETCH(QRect, rect);
        QFETCH(int, edges);
        QFETCH(QPoint, by);
        QFETCH(QRect, expected);
        QCOMPARE(annotationgeometry::moved(rect, Qt::Edges(edges), by, videoSize), expected);
    }

    void rectanglesAreDrawnSharpWhereTheyStandAtAnySize()
    {
        for (QSize size : {QSize(700, 400), QSize(391, 523)}) {
            player->resize(size);
            QCoreApplication::processEvents();
            const QImage seen = player->grab().toImage();
            const qreal ratio = seen.devicePixelRatio();
            const QRectF place = map().toWidget(carPlace).translated(overlay->mapTo(player.get(), QPoint()));
            const QRgb color = overlay->getNames()->getColor(car).rgb();
            const int row = qRound(place.center().y() * ratio);
            QVector<int> columns;
            for (int x = 0; x < seen.width(); ++x) {
                if (seen.pixel(x, row) == color)
                    columns << x;
            }
            const int width = 2 * qRound(ratio); // of a line
            QCOMPARE(columns.size(), 2 * width); // a blurred line has fewer of the plain colour
            QVERIFY(qAbs(columns.first() + width / 2 - place.left() * ratio) <= 1);
            QVERIFY(qAbs(columns.last() + 1 - width / 2 - place.right() * ratio) <= 1);
        }
    }

    void dragIsOneUndoStepAndEscapeGivesItUp()
    {
        press(at(QPointF(130, 100)));
        QCOMPARE(overlay->getSelectedName(), car);
        moveTo(at(QPointF(135, 100)));
        moveTo(at(QPointF(150, 90)));
        QCOMPARE(rectOf(car), carPlace); // until it is released
        release(at(QPointF(150, 90)));
        QCOMPARE(rectOf(car), carPlace.translated(20, -10));
        QCOMPARE(undoStack()->count(), 1);
        undoStack()->undo();
        QCOMPARE(rectOf(car), carPlace);

        const QPointF corner = map().toWidget(carPlace).bottomRight();
        press(corner); // the handle
        moveTo(corner + QPointF(20, 20));
        QTest::keyClick(overlay, Qt::Key_Escape);
        release(corner + QPointF(20, 20));
        QCOMPARE(rectOf(car), carPlace);
        QCOMPARE(overlay->getSelectedName(), car);
        drag(corner, at(QPointF(170, 125)));
        QVERIFY(isNear(rectOf(car), QRect(100, 80, 70, 45)));
        QCOMPARE(undoStack()->count(), 1);

        const QPointF point = map().toWidget(QPoint(200, 30));
        drag(point, point + QPointF(1, 1)); // a mere press
        QCOMPARE(undoStack()->count(), 1);
        QCOMPARE(overlay->getSelectedPoint(), 1);
        drag(point, map().toWidget(QPoint(210, 50)));
        QCOMPARE(pointsOf(wheel), (QList<QPoint>{{10, 20}, {210, 50}}));
        QCOMPARE(undoStack()->count(), 2);
    }

    void changeFromElsewhereEndsTheDrag()
    {
        press(at(QPointF(130, 100)));
        moveTo(at(QPointF(150, 100)));
        annotations->remove(0, FrameInfo::Rect, car);
        release(at(QPointF(150, 100)));
        QVERIFY(!annotations->getFrame(0)->contains(FrameInfo::Rect, car));
        QVERIFY(!overlay->hasSelection());
    }

    void toolsDrawItemsOfTheCurrentName()
    {
        overlay->getNames()->setCurrent(QStringLiteral("tree"));
        overlay->getNames()->setVisible(QStringLiteral("tree"), false); // until it is drawn
        overlay->setTool(AnnotationOverlay::Tool::Rectangle);
        drag(at(QPointF(60, 200)), at(QPointF(20, 150))); // towards the upper left
        QVERIFY(isNear(rectOf(QStringLiteral("tree")), QRect(20, 150, 40, 50)));
        QCOMPARE(overlay->getSelectedName(), QStringLiteral("tree"));
        drag(at(QPointF(200, 200)), at(QPointF(999, 999)));
        QCOMPARE(rectOf(QStringLiteral("tree")).bottomRight(), QPoint(319, 239));
        QCOMPARE(undoStack()->count(), 2);

        overlay->setTool(AnnotationOverlay::Tool::Point);
        overlay->getNames()->setCurrent(wheel);
        const QPointF place = map().toWidget(QPoint(50, 60));
        drag(place, place);
        QCOMPARE(pointsOf(wheel), (QList<QPoint>{{10, 20}, {200, 30}, {50, 60}}));
        QCOMPARE(overlay->getSelectedPoint(), 2);
        QCOMPARE(undoStack()->count(), 3);
    }

    void keyboardReachesAndChangesEverything()
    {
        QPushButton next(QStringLiteral("next"), player.get());
        next.show();
        player->activateWindow();
        overlay->setFocus(Qt::TabFocusReason);
        QCOMPARE(overlay->getSelectedName(), car);
        QVERIFY(overlay->accessibleDescription().contains(car));
        for (int i = 0; i < 5; ++i)
            QTest::keyClick(overlay, Qt::Key_Right);
        QTest::keyClick(overlay, Qt::Key_Up, Qt::ShiftModifier);
        QTest::keyClick(overlay, Qt::Key_Left, Qt::ControlModifier);
        QCOMPARE(rectOf(car), QRect(105, 70, 59, 40));
        QCOMPARE(undoStack()->count(), 1); // keys that follow one another
        QTest::keyClick(overlay, Qt::Key_Tab);
        QTest::keyClick(overlay, Qt::Key_Tab);
        QCOMPARE(overlay->getSelectedPoint(), 1);
        QTest::keyClick(overlay, Qt::Key_Down);
        QCOMPARE(pointsOf(wheel), (QList<QPoint>{{10, 20}, {200, 31}}));
        QTest::keyClick(overlay, Qt::Key_Delete);
        QCOMPARE(pointsOf(wheel), (QList<QPoint>{{10, 20}}));
        QVERIFY(!overlay->hasSelection());
        overlay->getNames()->setCurrent(QStringLiteral("new"));
        QTest::keyClick(overlay, Qt::Key_Insert);
        QVERIFY(QRect(QPoint(), videoSize).contains(rectOf(QStringLiteral("new")), true));
        QTest::keyClick(overlay, Qt::Key_Escape);
        QTest::keyClick(overlay, Qt::Key_Right); // nothing is picked: the player's
        QTRY_COMPARE(controller->getPosition(), 1);
        QTest::keyClick(overlay, Qt::Key_Tab); // no item on this frame
        QVERIFY(!overlay->hasFocus());
    }

    void readOnlyOverlayPicksButChangesNothing()
    {
        overlay->setReadOnly(true);
        overlay->setTool(AnnotationOverlay::Tool::Rectangle);
        drag(at(QPointF(130, 100)), at(QPointF(20, 20)));
        QCOMPARE(overlay->getSelectedName(), car);
        for (int key : {Qt::Key_Delete, Qt::Key_Insert})
            QTest::keyClick(overlay, Qt::Key(key));
        QTest::keyClick(overlay, Qt::Key_Right);
        QTRY_COMPARE(controller->getPosition(), 1);
        QCOMPARE(rectOf(car), carPlace);
        QCOMPARE(undoStack()->count(), 0);
    }

    void framesAndHiddenNamesDecideWhatThereIs()
    {
        QSignalSpy selections(overlay, &AnnotationOverlay::selectionChanged);
        QVERIFY(overlay->select(FrameInfo::Points, wheel, 1));
        QVERIFY(!overlay->select(FrameInfo::Points, wheel, 2));
        QVERIFY(overlay->select(FrameInfo::Rect, car));
        overlay->getNames()->setVisible(car, false);
        QVERIFY(!overlay->hasSelection());
        drag(at(QPointF(130, 100)), at(QPointF(20, 20)));
        QCOMPARE(undoStack()->count(), 0);
        QCOMPARE(selections.count(), 4);
        controller->seek(5);
        QTRY_COMPARE(overlay->getFrame(), 5);
        QVERIFY(!overlay->select(FrameInfo::Points, wheel, 0));
        QCOMPARE(annotations->getFrames(), QList<int>{0}); // looking adds none
        annotations->setValue(5, FrameInfo::Rect, wheel, QRect(INT_MIN, 0, 5, 5)); // of a damaged file
        QVERIFY(!overlay->select(FrameInfo::Rect, wheel));
    }

    void pressWhilePlayingOnlyPauses()
    {
        controller->seek(0);
        controller->play();
        drag(at(QPointF(130, 100)), at(QPointF(20, 20)));
        QVERIFY(!controller->isPlaying());
        QCOMPARE(undoStack()->count(), 0);
    }

    void changePaintsItsPlaceOnly()
    {
        struct Painted : QObject
        {
            QRegion region;
            bool eventFilter(QObject *, QEvent *event) override
            {
                if (event->type() == QEvent::Paint)
                    region += static_cast<QPaintEvent *>(event)->region();
                return false;
            }
        } painted;
        QCoreApplication::processEvents();
        player->getPictureWidget()->installEventFilter(&painted);
        const QRect moved = carPlace.translated(3, 0);
        annotations->setValue(0, FrameInfo::Rect, car, moved);
        QTRY_VERIFY(!painted.region.isEmpty());
        const QRectF both = map().toWidget(carPlace | moved);
        QVERIFY(painted.region.boundingRect().contains(both.toRect()));
        QVERIFY(both.adjusted(-10, -40, 10, 10).contains(painted.region.boundingRect()));
    }

    void viewersFramesAreAnnotatedToo()
    {
        SimpleVideoPlayer viewer;
        overlay->setViewer(&viewer);
        viewer.resize(400, 400);
        viewer.show();
        viewer.setVideo(path);
        QCOMPARE(overlay->getFrame(), 0);
        QCoreApplication::processEvents();
        const QRect place = viewer.getPictureWidget()->pictureRect();
        QCOMPARE(overlay->size(), viewer.getPictureWidget()->size());
        const PictureMap map{place, videoSize};
        drag(map.toWidget(carPlace).center(), map.toWidget(carPlace.translated(10, 0)).center());
        QCOMPARE(rectOf(car), carPlace.translated(10, 0));
        viewer.setPosition(4);
        QCOMPARE(overlay->getFrame(), 4);
        overlay->setController(controller.get()); // back, or it would go with the viewer
        QCOMPARE(overlay->getFrame(), 0);
    }

    void partsMayGoInAnyOrder_data()
    {
        QTest::addColumn<QByteArray>(
            "order"); // p: player, c: controller, a: annotations, o: overlay, n: names
        for (const char *order : {"pcan", "cpan", "acpn", "opcan", "nacop", "npca", "ocapn"})
            QTest::newRow(order) << QByteArray(order);
    }

    void partsMayGoInAnyOrder()
    {
        QFETCH(QByteArray, order);
        auto names = std::make_unique<AnnotationNames>();
        overlay->setNames(names.get());
        const QPointer<AnnotationOverlay> guard(overlay);
        press(at(QPointF(130, 100)));
        moveTo(at(QPointF(150, 100)));
        for (char part : order) {
            if (part == 'p')
                player.reset();
            else if (part == 'c')
                controller.reset();
            else if (part == 'a')
                annotations.reset();
            else if (part == 'n')
                names.reset();
            else
                delete overlay;
            QCoreApplication::processEvents();
        }
        QVERIFY(!guard);
    }

private:
    PictureMap map() const { return {player->getPictureRect(), videoSize}; }
    QPointF at(const QPointF &inVideo) const { return map().toWidget(inVideo); }
    QRect rectOf(const QString &name) const { return annotations->getFrame(0)->getRect(name); }
    QList<QPoint> pointsOf(const QString &name) const { return annotations->getFrame(0)->getPoints(name); }
    QUndoStack *undoStack() const { return annotations->getUndoStack(); }

    // The mouse stands on whole pixels of the screen.
    static bool isNear(const QRect &a, const QRect &b)
    {
        const QMargins apart(
            a.left() - b.left(), a.top() - b.top(), a.right() - b.right(), a.bottom() - b.bottom());
        return qAbs(apart.left()) <= 1 && qAbs(apart.top()) <= 1 && qAbs(apart.right()) <= 1
            && qAbs(apart.bottom()) <= 1;
    }

    void send(QEvent::Type type, const QPointF &position, Qt::MouseButton button, Qt::MouseButtons buttons)
    {
        QMouseEvent event(type, position, button, buttons, Qt::NoModifier);
        QCoreApplication::sendEvent(overlay, &event);
    }
    void press(const QPointF &position)
    {
        send(QEvent::MouseButtonPress, position, Qt::LeftButton, Qt::LeftButton);
    }
    void moveTo(const QPointF &position) { send(QEvent::MouseMove, position, Qt::NoButton, Qt::LeftButton); }
    void release(const QPointF &position)
    {
        send(QEvent::MouseButtonRelease, position, Qt::LeftButton, Qt::NoButton);
    }
    void drag(const QPointF &from, const QPointF &to)
    {
        press(from);
        moveTo((from + to) / 2);
        moveTo(to);
        release(to);
    }

    QTemporaryDir folder;
    QString path;
    std::unique_ptr<VideoAnnotations> annotations;
    std::unique_ptr<VideoPlayerWidget> player;
    std::unique_ptr<VideoPlayerController> controller;
    QPointer<AnnotationOverlay> overlay; // the player's
};

QTEST_MAIN(AnnotationOverlayTest)
#include "tst_annotationoverlay.moc"
