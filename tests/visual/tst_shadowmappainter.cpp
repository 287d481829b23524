#include "visual/shadowmappainter.h"

#include "support/plainheatmap.h"
#include "visual/stampsum_p.h"

#include <QtTest>

namespace {

using Painter = ShadowMapPainter;

const QColor transparent(0, 0, 0, 0);
const QGradientStops fadeToBlack{{0.0, transparent}, {1.0, Qt::black}};

bool samePixels(const cv::Mat &a, const cv::Mat &b)
{
    return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0.0;
}

bool isFilledWith(const cv::Mat &picture, const cv::Vec4b &pixel)
{
    return samePixels(picture, cv::Mat(picture.rows, picture.cols, CV_8UC4, cv::Scalar(pixel)));
}

// A field of which one element in `every` is from `low` to below `high`, inside of a larger one.
cv::Mat randomField(cv::RNG &random, const cv::Size &size, int every, int low, int high)
{
    cv::Mat larger(size.height + 3, size.width + 5, CV_32SC1, cv::Scalar(77));
    cv::Mat field = larger(cv::Rect(cv::Point(2, 1), size));
    for (int y = 0; y < field.rows; ++y) {
        for (int x = 0; x < field.cols; ++x)
            field.at<int>(y, x) = random.uniform(0, every) == 0 ? random.uniform(low, high) : 0;
    }
    return field;
}

// Without OpenCV's leave to use what the processor offers, the portable loops run.
class PortableLoops
{
public:
    explicit PortableLoops(bool on) { cv::setUseOptimized(!on); }
    ~PortableLoops() { cv::setUseOptimized(true); }
};

} // namespace

class ShadowMapPainterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyRampEqualsItsGradient()
    {
        const QGradientStops faded{{0.05, QColor(0, 0, 255, 0)}, {0.2, QColor(0, 0, 255, 128)},
            {0.4, Qt::green}, {0.6, Qt::yellow}, {0.95, Qt::red}};
        const QVector<QPair<int, QGradientStops>> ramps{{Painter::FadeToBlack, fadeToBlack},
            {Painter::FadeFromBlack, {{0.0, Qt::black}, {1.0, transparent}}},
            {Painter::Spectrum, {{0.05, Qt::blue}, {0.3, Qt::green}, {0.6, Qt::yellow}, {0.95, Qt::red}}},
            {Painter::SpectrumFaded, faded}, {Painter::FadeToWhite, {{0.0, transparent}, {1.0, Qt::white}}},
            {Painter::FadeFromWhite, {{0.0, Qt::white}, {1.0, transparent}}}, {7, fadeToBlack}};
        // With radius 1 neighbours alone share their heat, so a rising row runs through the whole ramp.
        cv::Mat rising(1, 1500, CV_32SC1);
        std::iota(rising.begin<int>(), rising.end<int>(), 0);
        for (const auto &[type, stops] : ramps) {
            Painter painter(1, static_cast<Painter::ShadowMapType>(type), 1.0f);
            QVERIFY(samePixels(painter.draw(rising, 1, 1), PlainHeatMap(1, stops, 1.0).draw(rising, 1, 1)));
            for (const double opacity : {0.5, 0.3, 2.0, -1.0}) {
                painter.setOpacity(opacity);
                const PlainHeatMap plain(1, stops, qBound(0.0, opacity, 1.0));
                QVERIFY(samePixels(painter.draw(rising, 1, 1), plain.draw(rising, 1, 1)));
            }
        }
    }

    void everyWayAddsUpToTheSameBits_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("radius");
        QTest::addColumn<int>("every");
        QTest::addColumn<int>("low");
        QTest::addColumn<int>("high");
        QTest::newRow("one pixel") << QSize(1, 1) << 3 << 1 << -1 << 9;
        QTest::newRow("one row, longer than a strip") << QSize(2077, 1) << 2 << 3 << -3 << 300;
        QTest::newRow("rows longer than a strip") << QSize(1031, 4) << 7 << 1 << 0 << 3;
        QTest::newRow("one column") << QSize(1, 97) << 5 << 2 << -5 << 5;
        QTest::newRow("smallest radius") << QSize(33, 17) << 1 << 2 << -5 << 200;
        QTest::newRow("small counts") << QSize(61, 47) << 9 << 1 << 0 << 5;
        QTest::newRow("just 16 bits or just not") << QSize(61, 47) << 5 << 1 << 60 << 90;
        QTest::newRow("32 bits") << QSize(61, 47) << 9 << 2 << -9000 << 90'000;
        QTest::newRow("wrapping") << QSize(53, 41) << 6 << 1 << -1000 << INT_MAX - 1000;
        QTest::newRow("few and wrapping") << QSize(130, 90) << 12 << 900 << INT_MAX / 2 << INT_MAX;
        QTest::newRow("stamp larger than the field") << QSize(19, 13) << 40 << 2 << -3 << 7;
        QTest::newRow("nothing above 0") << QSize(40, 30) << 4 << 1 << -9 << 1;
    }

    void everyWayAddsUpToTheSameBits()
    {
        QFETCH(QSize, size);
        QFETCH(int, radius);
        QFETCH(int, every);
        QFETCH(int, low);
        QFETCH(int, high);
        cv::RNG random(every + radius);
        cv::Mat lopsided(2 * radius + 1, 2 * radius + 1, CV_8UC1);
        random.fill(lopsided, cv::RNG::UNIFORM, 0, 256);
        lopsided.setTo(0, lopsided < 60);
        const QVector<QSize> steps{{1, 1}, {0, -4}, {2, 1}, {1, 3}, {4, 5}, {1000, 2}, {INT_MAX, INT_MAX}};
        for (const cv::Mat &stamp : {PlainHeatMap::stampOf(radius), lopsided}) {
            for (const QSize &step : steps) {
                const cv::Mat field =
                    randomField(random, cv::Size(size.width(), size.height()), every, low, high);
                const cv::Mat expected = PlainHeatMap::heatOf(field, stamp, step.width(), step.height());
                double maximum = 0;
                cv::minMaxLoc(expected, nullptr, &maximum);
                for (const auto way :
                    {StampWay::Measured, StampWay::Rows, StampWay::Weights, StampWay::Differences}) {
                    for (const bool portable : {false, true}) {
                        const PortableLoops loops(portable);
                        cv::Mat heat(field.size(), CV_32SC1, cv::Scalar(-1));
                        const qint32 largest =
                            StampSum(stamp, way).add(field, step.width(), step.height(), heat);
                        QVERIFY2(samePixels(heat, expected),
                            qPrintable(QStringLiteral("way %1, step %2 x %3, portable %4")
                                           .arg(int(way))
                                           .arg(step.width())
                                           .arg(step.height())
                                           .arg(portable)));
                        QCOMPARE(double(largest), maximum);
                    }
                }
            }
        }
    }

    void pictureEqualsThePlainSteps()
    {
        cv::RNG random(3);
        for (int i = 0; i < 60; ++i) {
            const cv::Size size(random.uniform(1, 260), random.uniform(1, 140));
            const int radius = random.uniform(0, 14);
            const int stepX = random.uniform(-1, 5);
            const int stepY = random.uniform(-1, 5);
            const int high = i % 3 == 0 ? INT_MAX - 3 : i % 3 == 1 ? 2 : 5000;
            const cv::Mat field = randomField(random, size, i % 2 == 0 ? 1 : 200, -3, high);
            const PortableLoops loops(i % 5 == 0);
            const Painter painter(radius);
            const PlainHeatMap plain(radius, fadeToBlack, 1.0);
            QVERIFY(samePixels(painter.draw(field, stepX, stepY), plain.draw(field, stepX, stepY)));

            // Points in heaps, and outside on all sides.
            QVector<QPoint> points{{-1, 0}, {0, -1}, {size.width, 0}, {0, size.height}, {INT_MIN, INT_MAX}};
            for (int j = random.uniform(0, i % 4 == 0 ? 20'000 : 60); j > 0; --j)
                points.append({random.uniform(0, size.width / 3 + 1), random.uniform(-2, size.height + 2)});
            QVERIFY(samePixels(painter.draw(points, size.width, size.height, stepX, stepY),
                plain.draw(points, size.width, size.height, stepX, stepY)));
        }
    }

    void vectorFillsTheFieldRowByRow()
    {
        const Painter painter(2);
        const QVector<int> values{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13};
        for (const int given : {0, 1, 7, 12, 13}) {
            cv::Mat field = cv::Mat::zeros(3, 4, CV_32SC1);
            std::copy_n(values.begin(), qMin(given, 12), field.ptr<int>());
            QVERIFY(samePixels(painter.draw(values.mid(0, given), 4, 3, 1, 1), painter.draw(field, 1, 1)));
        }
    }

    void stepKeepsTheLastSampleOfACell()
    {
        const Painter painter(3);
        const auto drawn = [&](std::initializer_list<std::pair<QPoint, int>> samples, int step) {
            cv::Mat field = cv::Mat::zeros(10, 10, CV_32SC1);
            for (const auto &[place, value] : samples)
                field.at<int>(place.y(), place.x()) = value;
            return painter.draw(field, step, step);
        };
        const cv::Mat nothing = drawn({}, 1);
        QVERIFY(isFilledWith(nothing, {0, 0, 0, 0}));
        QVERIFY(samePixels(drawn({{{3, 3}, 5}, {{2, 2}, 9}}, 4), drawn({{{2, 2}, 1}}, 1)));
        QVERIFY(samePixels(drawn({{{0, 0}, 5}}, 4), nothing)); // its cell ends with a 0
        QVERIFY(samePixels(drawn({{{9, 3}, 5}}, 4), nothing)); // its cell's middle is column 10
        QVERIFY(samePixels(drawn({{{9, 9}, 5}}, 3), nothing)); // and here it is 10 as well
        QVERIFY(samePixels(drawn({{{9, 9}, 5}}, 5), drawn({{{7, 7}, 1}}, 1)));
    }

    void refusedInputGivesNoPicture()
    {
        const Painter painter;
        QVERIFY(painter.draw(cv::Mat(), 1, 1).empty());
        QVERIFY(painter.draw(QVector<int>{1}, 0, 1, 4, 4).empty());
        QVERIFY(painter.draw(QVector<QPoint>{{0, 0}}, 1, -1, 1, 1).empty());
        QVERIFY_EXCEPTION_THROWN(painter.draw(cv::Mat::zeros(4, 4, CV_32FC1), 1, 1), cv::Exception);
    }

    void radiusWithoutAStampDrawsNoHeat()
    {
        const cv::Mat field(20, 30, CV_32SC1, cv::Scalar(4));
        const cv::Vec4b black(0, 0, 0, 255);
        for (const int radius : {0, -1, INT_MIN, 11'585, INT_MAX}) {
            Painter painter(4, Painter::FadeFromBlack);
            QVERIFY(!isFilledWith(painter.draw(field, 1, 1), black));
            painter.setRadius(radius);
            QVERIFY(isFilledWith(painter.draw(field, 1, 1), black));
            painter.setRadius(4);
            QVERIFY(!isFilledWith(painter.draw(field, 1, 1), black));
        }
    }

    void movedFromPainterIsTransparentUntilItGetsARamp()
    {
        const cv::Mat field(20, 30, CV_32SC1, cv::Scalar(4));
        Painter first(4, Painter::FadeFromBlack);
        const cv::Mat picture = first.draw(field, 1, 1);
        Painter second(std::move(first));
        QVERIFY(samePixels(second.draw(field, 1, 1), picture));
        QVERIFY(isFilledWith(first.draw(field, 1, 1), {0, 0, 0, 0}));
        first.setType(Painter::FadeFromBlack);
        QVERIFY(isFilledWith(first.draw(field, 1, 1), {0, 0, 0, 255})); // a ramp, but no stamp
        first.setRadius(4);
        QVERIFY(isFilledWith(first.draw(field, 1, 1), {0, 0, 0, 255})); // the radius that it has already
        first.setRadius(5);
        first.setRadius(4);
        QVERIFY(samePixels(first.draw(field, 1, 1), picture));

        Painter third;
        third = std::move(second);
        QVERIFY(samePixels(third.draw(field, 1, 1), picture));
        QVERIFY(isFilledWith(second.draw(field, 1, 1), {0, 0, 0, 0}));
        second = third;
        third.setOpacity(0.5);
        third.setRadius(9);
        QVERIFY(samePixels(second.draw(field, 1, 1), picture)); // copies do not see each other's changes
    }
};

QTEST_MAIN(ShadowMapPainterTest)
#include "tst_shadowmappainter.moc"
