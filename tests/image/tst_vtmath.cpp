#include "image/imageutils.h"
#include "image/vtmath.h"

#include <QtTest>

Q_DECLARE_METATYPE(VList<QPoint>)

namespace {

constexpr int least = INT_MIN;
constexpr int greatest = INT_MAX;

cv::Rect parts(const QRect &rect)
{
    return {rect.x(), rect.y(), rect.width(), rect.height()};
}

} // namespace

class VTMathTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void biggestRectGoesByArea()
    {
        const cv::Rect wide(1, 2, 20, 5);
        const cv::Rect square(3, 4, 10, 10);
        const cv::Rect large(5, 6, 20, 20);
        QCOMPARE(VTMath::biggestRect({}), cv::Rect());
        QCOMPARE(VTMath::biggestRect({square, wide}), square);
        QCOMPARE(VTMath::biggestRect({wide, square}), wide);
        QCOMPARE(VTMath::biggestRect({large, square}, 15), square);
        QCOMPARE(VTMath::biggestRect({large, square}, 20), large);
        QCOMPARE(VTMath::biggestRect({large, square}, 5), cv::Rect());
        QCOMPARE(VTMath::biggestRect({square, large}, -1), large);
        QCOMPARE(VTMath::biggestRect({cv::Rect(0, 0, -9, 9), cv::Rect(1, 1, 0, 7)}), cv::Rect());
        // 65536 squared is 0 in 32 bits.
        QCOMPARE(VTMath::biggestRect({cv::Rect(0, 0, 65536, 65536), square}), square);
    }

    void boundingRectangleKeepsItsStartValues_data()
    {
        QTest::addColumn<VList<QPoint>>("points");
        QTest::addColumn<QVector<int>>("expected");
        QTest::newRow("two") << VList<QPoint>{{5, 7}, {8, 9}} << QVector<int>{5, 7, 3, 2};
        QTest::newRow("one") << VList<QPoint>{{10, 20}} << QVector<int>{10, 20, 0, 0};
        QTest::newRow("negative") << VList<QPoint>{{-5, -7}} << QVector<int>{-5, -7, 5, 7};
        QTest::newRow("far") << VList<QPoint>{{70000, 5}} << QVector<int>{65536, 5, 4464, 0};
        QTest::newRow("none") << VList<QPoint>{} << QVector<int>{65536, 65536, -65536, -65536};
    }

    void boundingRectangleKeepsItsStartValues()
    {
        QFETCH(VList<QPoint>, points);
        QFETCH(QVector<int>, expected);
        const cv::Rect rect(expected[0], expected[1], expected[2], expected[3]);
        std::vector<cv::Point> cvPoints;
        for (const QPoint &point : points)
            cvPoints.push_back(VTMath::toPoint(point));
        QCOMPARE(VTMath::boundingRectangle(points), rect);
        QCOMPARE(VTMath::boundingRectangle(static_cast<const QList<QPoint> &>(points)), rect);
        QCOMPARE(VTMath::boundingRectangle(cvPoints), rect);
        QCOMPARE(VTMath::boundingRectangle(std::vector<QPoint>(points.begin(), points.end())), rect);
    }

    void rectanglesGrowAndAreLimited_data()
    {
        QTest::addColumn<QRect>("rect");
        QTest::addColumn<QVector<int>>("limits"); // minX, minY, maxX, maxY
        QTest::addColumn<QVector<int>>("limited");
        const QVector<int> hundred{0, 0, 100, 100};
        QTest::newRow("inside") << QRect(1, 2, 3, 4) << hundred << QVector<int>{1, 2, 3, 4};
        QTest::newRow("before") << QRect(-10, 0, 30, 30) << hundred << QVector<int>{0, 0, 30, 30};
        QTest::newRow("beyond") << QRect(90, 90, 30, 30) << hundred << QVector<int>{90, 90, 10, 10};
        QTest::newRow("ends there") << QRect(90, 90, 10, 10) << hundred << QVector<int>{90, 90, 10, 10};
        QTest::newRow("outside") << QRect(200, 0, 10, 10) << hundred << QVector<int>{200, 0, -100, 10};
        QTest::newRow("huge") << QRect(5, 5, greatest - 5, 1) << hundred << QVector<int>{5, 5, 95, 1};
        QTest::newRow("far out") << QRect(least, 0, 1, 1) << QVector<int>{least, 0, greatest, 9}
                                 << QVector<int>{least, 0, 1, 1};
    }

    void rectanglesGrowAndAreLimited()
    {
        QFETCH(QRect, rect);
        QFETCH(QVector<int>, limits);
        QFETCH(QVector<int>, limited);
        const cv::Rect expected(limited[0], limited[1], limited[2], limited[3]);
        QCOMPARE(parts(VTMath::limitRect(rect, limits[0], limits[1], limits[2], limits[3])), expected);
        QCOMPARE(
            VTMath::limitRect(VTMath::toCvRect(rect), limits[0], limits[1], limits[2], limits[3]), expected);

        // There and back, also where sums leave 32 bits.
        for (const int margin : {0, 7, -3, greatest, least}) {
            const QRect grown = VTMath::expand(rect, margin);
            QCOMPARE(VTMath::toCvRect(grown), VTMath::expand(VTMath::toCvRect(rect), margin));
            QCOMPARE(VTMath::expand(grown, margin == least ? least : -margin), rect);
        }
    }

    void sidesGrowByTheirOwnMargins()
    {
        QCOMPARE(VTMath::expand(cv::Rect(10, 10, 10, 10), 1, 2, 3, 4), cv::Rect(9, 8, 14, 16));
        QCOMPARE(VTMath::expand(QRect(10, 10, 10, 10), 1, 2, 3, 4), QRect(9, 8, 14, 16));
        QCOMPARE(VTMath::expand(QRect(10, 10, 10, 10), -2), QRect(12, 12, 6, 6));
        QCOMPARE(VTMath::toQRect(cv::Rect(1, 2, 3, 4)), QRect(1, 2, 3, 4));
        QCOMPARE(VTMath::toCvRect(QRect(1, 2, 3, 4)), cv::Rect(1, 2, 3, 4));
    }

    void middlePointCutsTowardZero()
    {
        QCOMPARE(VTMath::middlePoint(cv::Point(1, -1), cv::Point(2, -2)), cv::Point(1, -1));
        QCOMPARE(VTMath::middlePoint(cv::Point(greatest, 0), cv::Point(1, 0)), cv::Point(least / 2, 0));
        QCOMPARE(VTMath::middlePoint(cv::Point2f(1, -1), cv::Point2f(2, -2)), cv::Point2f(1.5F, -1.5F));
    }

    void singlePointsAreCutAndListsRounded()
    {
        QCOMPARE(VTMath::toQPoint(cv::Point2f(1.7F, -1.7F)), QPoint(1, -1));
        QCOMPARE(VTMath::toQPoint(cv::Point2f(1e20F, -1e20F)), QPoint(greatest, least));
        QCOMPARE(VTMath::toQPoint(cv::Point2f(NAN, -0.5F)), QPoint(0, 0));
        const cv::Point precise(16777217, -3);
        QCOMPARE(VTMath::toQPoint(precise), QPoint(16777217, -3)); // not by way of a float
        QCOMPARE(VTMath::toPoint2f(QPoint(3, -4)), cv::Point2f(3, -4));

        using Floats = VList<cv::Point2f>;
        QCOMPARE(VTMath::toQPointList(Floats{{1.7F, -1.7F}, {0.5F, 1.5F}, {-2.5F, 2.5F}}),
            (VList<QPoint>{{2, -2}, {0, 2}, {-2, 2}}));
        const VList<QPoint> inexact{{16777216, -3}};
        QCOMPARE(VTMath::toQPointList(VList<cv::Point>{precise}), inexact);
        QCOMPARE(VTMath::toQPointList(std::vector<cv::Point>{precise}), inexact);
        QCOMPARE(
            VTMath::toQPointList(std::vector<QPoint>{{16777217, least}}), (VList<QPoint>{{16777217, least}}));
        const QList<QPoint> points{{1, 2}, {-3, 4}};
        QCOMPARE(VTMath::toPoint2fList(points), (Floats{{1, 2}, {-3, 4}}));
        QCOMPARE(VTMath::toPoint2fList(VList<QPoint>(points)), (Floats{{1, 2}, {-3, 4}}));
    }

    void imagesBecomeText_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QByteArray>("written");
        QTest::addColumn<QString>("prefix");
        const QString png = QStringLiteral("data:image/png;base64,");
        const QString jpeg = QStringLiteral("data:image/jpeg;base64,");
        QTest::newRow("png") << QStringLiteral("png") << QByteArray("png") << png;
        QTest::newRow("JPEG") << QStringLiteral("JPEG") << QByteArray("jpeg") << jpeg;
        QTest::newRow("Jpg") << QStringLiteral("Jpg") << QByteArray("jpeg") << jpeg;
        QTest::newRow("bmp") << QStringLiteral("bmp") << QByteArray("png") << png;
        QTest::newRow("none") << QString() << QByteArray("png") << png;
    }

    void imagesBecomeText()
    {
        QFETCH(QString, format);
        QFETCH(QByteArray, written);
        QFETCH(QString, prefix);
        QImage image(40, 30, QImage::Format_RGB888);
        image.fill(QColor(10, 200, 30));
        const QString text = VTMath::toBase64(image, false, format);
        QCOMPARE(VTMath::toBase64(image, true, format), prefix + text);
        QVERIFY(text.size() > 0 && text.size() % 4 == 0);
        QVERIFY(!text.contains(QLatin1Char('\n')));
        QByteArray bytes = QByteArray::fromBase64(text.toLatin1());
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::ReadOnly);
        QCOMPARE(QImageReader::imageFormat(&buffer), written);
        QCOMPARE(QImage::fromData(bytes).size(), image.size());

        QCOMPARE(VTMath::toBase64(QImage(), false, format), QString());
        QCOMPARE(VTMath::toBase64(QImage(), true, format), prefix);
    }

    void safeRoiCorrectsTheRectangle_data()
    {
        QTest::addColumn<QVector<int>>("rect");
        QTest::addColumn<QVector<int>>("corrected");
        QTest::addColumn<bool>("inside");
        QTest::newRow("inside") << QVector<int>{3, 4, 5, 6} << QVector<int>{3, 4, 5, 6} << true;
        QTest::newRow("before") << QVector<int>{-10, -10, 50, 50} << QVector<int>{0, 0, 50, 50} << true;
        QTest::newRow("beyond") << QVector<int>{95, 90, 50, 50} << QVector<int>{95, 90, 5, 10} << true;
        QTest::newRow("at the edge") << QVector<int>{100, 0, 10, 10} << QVector<int>{100, 0, 0, 10} << false;
        QTest::newRow("negative size") << QVector<int>{5, 5, -1, 4} << QVector<int>{5, 5, -1, 4} << false;
        QTest::newRow("huge") << QVector<int>{10, least, greatest, greatest} << QVector<int>{10, 0, 90, 100}
                              << true;
        QTest::newRow("far") << QVector<int>{greatest, 0, greatest, 1}
                             << QVector<int>{greatest, 0, 100 - greatest, 1} << false;
    }

    void safeRoiCorrectsTheRectangle()
    {
        QFETCH(QVector<int>, rect);
        QFETCH(QVector<int>, corrected);
        QFETCH(bool, inside);
        const cv::Mat mat(100, 100, CV_8UC3, cv::Scalar(1, 2, 3));
        cv::Rect region(rect[0], rect[1], rect[2], rect[3]);
        const QRect qtRegion = VTMath::toQRect(region);
        const QRect before = qtRegion;
        if (!inside) {
            QTest::ignoreMessage(QtDebugMsg, "Totally bad mat");
            QTest::ignoreMessage(QtDebugMsg, "Totally bad mat");
        }
        const cv::Mat byCv = ImageUtils::safeRoi(mat, region);
        const cv::Mat byQt = ImageUtils::safeRoi(mat, qtRegion);
        QCOMPARE(region, cv::Rect(corrected[0], corrected[1], corrected[2], corrected[3]));
        QVERIFY(qtRegion == before);
        for (const cv::Mat &cut : {byCv, byQt}) {
            QCOMPARE(cut.type(), CV_8UC3);
            if (inside) {
                QCOMPARE(cut.size(), region.size());
                QVERIFY(cut.data == mat.ptr(region.y, region.x));
                QVERIFY(cut.u == mat.u); // it keeps the pixels alive
            } else {
                QCOMPARE(cut.size(), cv::Size(1, 1));
                QCOMPARE(cut.at<cv::Vec3b>(0, 0), cv::Vec3b(0, 0, 0));
            }
        }
    }

    void emptyPicturesGiveABlackPixel()
    {
        cv::Rect rect(-1, -2, 3, 4);
        const cv::Mat cut = ImageUtils::safeRoi(cv::Mat(0, 0, CV_16UC1), rect);
        QCOMPARE(cut.size(), cv::Size(1, 1));
        QCOMPARE(cut.type(), CV_16UC1);
        QCOMPARE(rect, cv::Rect(-1, -2, 3, 4));
    }

    void extractedRegionsEndBeforeAnEdgeTheyOverrun_data()
    {
        QTest::addColumn<QRect>("rect");
        QTest::addColumn<QVector<int>>("margins");
        QTest::addColumn<QRect>("expected"); // an empty one: the black pixel
        QTest::newRow("none") << QRect(90, 90, 10, 10) << QVector<int>{0, 0, 0, 0} << QRect(90, 90, 10, 10);
        QTest::newRow("over") << QRect(90, 90, 10, 10) << QVector<int>{0, 0, 1, 1} << QRect(90, 90, 9, 9);
        QTest::newRow("all") << QRect(50, 50, 10, 10) << QVector<int>{1, 2, 3, 4} << QRect(49, 48, 14, 16);
        QTest::newRow("before") << QRect(2, 3, 10, 10) << QVector<int>{5, 5, 5, 5} << QRect(0, 0, 20, 20);
        QTest::newRow("outside") << QRect(99, 0, 10, 10) << QVector<int>{0, 0, 0, 0} << QRect();
        QTest::newRow("huge") << QRect(1, 1, 5, 5) << QVector<int>{greatest, greatest, greatest, greatest}
                              << QRect(0, 0, 99, 99);
        QTest::newRow("far") << VTMath::toQRect({greatest, 0, 5, 5}) << QVector<int>{least, 0, 0, 0}
                             << QRect();
    }

    void extractedRegionsEndBeforeAnEdgeTheyOverrun()
    {
        QFETCH(QRect, rect);
        QFETCH(QVector<int>, margins);
        QFETCH(QRect, expected);
        cv::Mat mat(100, 100, CV_8UC1, cv::Scalar(7));
        const auto check = [&](const cv::Mat &cut) {
            if (expected.isEmpty())
                return cut.size() == cv::Size(1, 1) && cut.at<uchar>(0, 0) == 0;
            return cut.data == mat.ptr(expected.y(), expected.x())
                && cut.size() == cv::Size(expected.width(), expected.height());
        };
        const bool uniform = margins.count(margins[0]) == 4;
        for (int i = expected.isEmpty() ? (uniform ? 4 : 2) : 0; i > 0; --i)
            QTest::ignoreMessage(QtDebugMsg, "Totally bad mat");
        const cv::Rect region = VTMath::toCvRect(rect);
        QVERIFY(check(ImageUtils::extractRoi(mat, rect, margins[0], margins[1], margins[2], margins[3])));
        QVERIFY(check(ImageUtils::extractRoi(mat, region, margins[0], margins[1], margins[2], margins[3])));
        if (uniform) {
            QVERIFY(check(ImageUtils::extractRoiUniform(mat, rect, margins[0])));
            QVERIFY(check(ImageUtils::extractRoiUniform(mat, region, margins[0])));
        }
    }
};

QTEST_APPLESS_MAIN(VTMathTest)

#include "tst_vtmath.moc"
