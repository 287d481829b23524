#include "playback/annotationinterpolation.h"

#include <QtTest>

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
};

QTEST_GUILESS_MAIN(AnnotationInterpolationTest)
#include "tst_annotationinterpolation.moc"
