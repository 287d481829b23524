#include "playback/annotationinterpolation.h"
#include "playback/videoannotations.h"

#include <QTemporaryDir>
#include <QtTest>
#include <QUndoStack>

#include <limits>

class AnnotationInterpolationTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everythingMovesInAStraightLine_data()
    {
        QTest::addColumn<QRect>("to");
        QTest::addColumn<int>("toFrame");
        QTest::addColumn<int>("frame");
        QTest::addColumn<QRect>("expected"); // null: refused
        const QRect from(-1, 0, 10, 10); // on frame 10
        const QRect wide(QPoint(-1, 0), QPoint(std::numeric_limits<int>::max(), 9));
        QTest::newRow("start") << QRect(5, 5, 5, 5) << 14 << 10 << from;
        QTest::newRow("end") << QRect(5, 5, 5, 5) << 14 << 14 << QRect(5, 5, 5, 5);
        QTest::newRow("half up below 0") << QRect(0, 3, 13, 10) << 12 << 11 << QRect(0, 2, 12, 10);
        QTest::newRow("half up, back") << QRect(-2, 0, 7, 10) << 12 << 11 << QRect(-1, 0, 9, 10);
        QTest::newRow("backwards") << QRect(3, 0, 10, 10) << 6 << 9 << QRect(0, 0, 10, 10);
        QTest::newRow("long and wide")
            << wide << std::numeric_limits<int>::max() << 11 << QRect(-1, 0, 11, 10);
        QTest::newRow("before") << QRect(5, 5, 5, 5) << 14 << 9 << QRect();
        QTest::newRow("behind") << QRect(5, 5, 5, 5) << 14 << 15 << QRect();
        QTest::newRow("two on a frame") << QRect(5, 5, 5, 5) << 10 << 10 << QRect();
        QTest::newRow("the same twice") << from << 10 << 10 << from;
    }

    void everythingMovesInAStraightLine()
    {
        const QRect from(-1, 0, 10, 10);
        QFETCH(QRect, to);
        QFETCH(int, toFrame);
        QFETCH(int, frame);
        QFETCH(QRect, expected);
        bool ok = expected.isNull();
        QCOMPARE(interpolatedRect(from, 10, to, toFrame, frame, &ok), expected);
        QCOMPARE(ok, !expected.isNull());
        const QList<QPoint> points =
            interpolatedPoints({from.topLeft(), {4, 4}}, 10, {to.topLeft(), {4, 4}}, toFrame, frame, &ok);
        QCOMPARE(points, ok ? QList<QPoint>({expected.topLeft(), {4, 4}}) : QList<QPoint>());
        QVERIFY(interpolatedPoints({{1, 1}, {2, 2}}, 10, {{1, 1}}, toFrame, frame, &ok).isEmpty());
        QVERIFY(!ok);
    }

    void gapsAreFilledAsOneStepOfUndo()
    {
        const QTemporaryDir folder;
        const QString name = QStringLiteral("n");
        VideoAnnotations annotations;
        QVERIFY(annotations.open(folder.filePath(QStringLiteral("a.avi"))));
        for (int frame : {0, 2, 3, 6, 2000000000}) {
            annotations.setValue(frame, FrameInfo::Rect, name, QRect(frame % 100, 0, 10, 10));
            annotations.setValue(frame, FrameInfo::Points, name,
                QVariant::fromValue(QVector<QPoint>(frame < 6 ? 1 : 2, QPoint(frame % 100, 0)).toList()));
        }
        annotations.setValue(5, FrameInfo::Comment, name, QStringLiteral("no rectangle"));
        const int steps = annotations.getUndoStack()->count();
        QCOMPARE(fillBetween(annotations, FrameInfo::Rect, name, 2), 3);
        QCOMPARE(annotations.getFrames(), (QList<int>{0, 1, 2, 3, 4, 5, 6, 2000000000}));
        for (int frame = 0; frame <= 6; ++frame)
            QCOMPARE(annotations.getValue(frame, FrameInfo::Rect, name).toRect(), QRect(frame, 0, 10, 10));
        QCOMPARE(fillBetween(annotations, FrameInfo::Rect, name, 2), 0);
        QCOMPARE(fillBetween(annotations, FrameInfo::Comment, name, 2), 0);
        QCOMPARE(annotations.getUndoStack()->count(), steps + 1);
        annotations.getUndoStack()->undo();
        QCOMPARE(annotations.getFrames(), (QList<int>{0, 2, 3, 5, 6, 2000000000}));

        // From frame 3 to 6 a point comes in.
        QCOMPARE(fillBetween(annotations, FrameInfo::Points, name, 2), 1);
        QCOMPARE(annotations.getValue(1, FrameInfo::Points, name).value<QList<QPoint>>(),
            QList<QPoint>{QPoint(1, 0)});
    }
};

QTEST_GUILESS_MAIN(AnnotationInterpolationTest)
#include "tst_annotationinterpolation.moc"
