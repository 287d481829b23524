#include "baselib/texthelper.h"

#include <QtTest>

#include <cmath>

class TextHelperTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void timesReadLikeAClock_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("withMilliseconds");
        const auto row = [](double seconds, const char *text, const char *precise) {
            QTest::newRow(precise) << seconds << QString(text) << QString(precise);
        };
        row(0, "00:00", "00:00.000");
        row(59.9994, "00:59", "00:59.999");
        row(59.9996, "01:00", "01:00.000");
        row(1.001, "00:01", "00:01.001");
        row(3599.5, "59:59", "59:59.500");
        row(3665.25, "1:01:05", "1:01:05.250");
        row(360000, "100:00:00", "100:00:00.000");
        row(-0.25, "00:00", "-00:00.250");
        row(-65, "-01:05", "-01:05.000");
        row(std::nan(""), "--:--", "--:--");
        row(1e300, "277777777:46:40", "277777777:46:40.000");
    }
    void timesReadLikeAClock()
    {
        QFETCH(double, seconds);
        QFETCH(QString, text);
        QFETCH(QString, withMilliseconds);
        QCOMPARE(TextHelper::TimeToText(seconds, false), text);
        QCOMPARE(TextHelper::TimeToText(seconds, true), withMilliseconds);
    }

    void timesInFileNamesSortAndAreValidEverywhere()
    {
        const QDateTime time(QDate(2026, 1, 2), QTime(3, 4, 5, 6));
        QCOMPARE(TextHelper::DateTimeFileString(time, true), QStringLiteral("2026-01-02_03-04-05-006"));
        QCOMPARE(TextHelper::DateTimeFileString(time, false), QStringLiteral("2026-01-02_03-04-05"));
        const QString before = TextHelper::DateTimeFileString(QDateTime::currentDateTime(), true);
        const QString now = TextHelper::DateTimeFileString({}, true);
        const QString after = TextHelper::DateTimeFileString(QDateTime::currentDateTime(), true);
        QVERIFY2(before <= now && now <= after, qPrintable(now));
    }

    void compactJsonIsOneLine()
    {
        const QJsonObject object{{"b", "line\nж"}, {"a", QJsonArray{1, 2.5}}};
        QCOMPARE(TextHelper::toJsonString(object, QJsonDocument::Compact),
            QStringLiteral("{\"a\":[1,2.5],\"b\":\"line\\nж\"}"));
        QVERIFY(TextHelper::toJsonString(object, QJsonDocument::Indented).contains('\n'));
    }

    void rectanglesComeBackExactly()
    {
        constexpr int low = INT_MIN;
        constexpr int high = INT_MAX;
        const QVector<QRect> rects{QRect(), QRect(1, -2, 3, 4), QRect(5, 6, 0, 0), QRect(5, 6, -7, -8),
            QRect(QPoint(low, low), QPoint(high, high)), QRect(QPoint(high, high), QPoint(low, low)),
            QRect(QPoint(low, 0), QPoint(low, high))};
        for (const QRect &rect : rects) {
            bool ok = false;
            const QString text = TextHelper::QRectToString(rect);
            // Not by QCOMPARE, which asks for the width that does not fit into an int.
            QVERIFY2(TextHelper::QRectFromString(text, &ok) == rect, qPrintable(text));
            QVERIFY2(ok, qPrintable(text));
        }
        QCOMPARE(TextHelper::QRectToString({1, -2, 3, 4}), QStringLiteral("1,-2,3,4"));
        QCOMPARE(TextHelper::QRectFromString(QStringLiteral(" 1, -2 ,3,4 ")), QRect(1, -2, 3, 4));
    }

    void pointsComeBackExactly()
    {
        const QVector<QList<QPoint>> lists{{}, {{0, 0}}, {{1, -2}, {INT_MIN, INT_MAX}, {1, -2}}};
        for (const QList<QPoint> &points : lists) {
            bool ok = false;
            const QString text = TextHelper::QListPointsToString(points);
            QCOMPARE(TextHelper::QListPointsFromString(text, &ok), points);
            QVERIFY2(ok, qPrintable(text));
        }
        QCOMPARE(TextHelper::QListPointsToString({{1, -2}, {3, 4}}), QStringLiteral("1,-2;3,4"));
    }

    void garbageGivesNothing()
    {
        bool ok = true;
        for (const char *text : {"", "1,2,3", "1,2,3,4,5", "a,b,c,d", "1,2,3,4;", "1.5,2,3,4", "1,2,,4",
                 "2147483648,0,1,1", "2147483647,0,2,1", "0,0,1,-9223372036854775808"}) {
            QCOMPARE(TextHelper::QRectFromString(text, &ok), QRect());
            QVERIFY2(!ok, text);
        }
        for (const char *text : {"1", "1,2;", ";", "1,2;3", "1,2;3,4,5", "1,2;x,y", "1,2147483648", "1;2"}) {
            QCOMPARE(TextHelper::QListPointsFromString(text, &ok), QList<QPoint>());
            QVERIFY2(!ok, text);
        }
    }
};

QTEST_APPLESS_MAIN(TextHelperTest)
#include "tst_texthelper.moc"
