#include "visual/heatmapaccumulator.h"

#include "image/imagebridge.h"

#include <QtTest>

#include <limits>

namespace {

const QSize size(97, 61);

bool samePixels(const cv::Mat &a, const cv::Mat &b)
{
    return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0.0;
}

QVector<QPoint> randomPoints(int count)
{
    cv::RNG random(count);
    QVector<QPoint> points{{-1, 3}, {3, size.height()}};
    for (int i = 0; i < count; ++i)
        points.append({random.uniform(0, size.width()), random.uniform(0, size.height())});
    return points;
}

// The colour of a place in the picture: alpha grows with the heat in SpectrumFaded's lower part.
int alphaAt(const cv::Mat &picture, const QPoint &place)
{
    return picture.at<cv::Vec4b>(place.y(), place.x())[3];
}

} // namespace

class HeatMapAccumulatorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void withoutHalfLifeThePictureIsThatOfTheSum()
    {
        HeatMapAccumulator heat(size, 6, ShadowMapPainter::Spectrum, 1.0f);
        const ShadowMapPainter painter(6, ShadowMapPainter::Spectrum);
        QVector<QPoint> all;
        for (const int count : {5, 40, 300}) {
            heat.addPoints(randomPoints(count), count);
            all += randomPoints(count);
            QVERIFY(samePixels(heat.draw(), painter.draw(all, size.width(), size.height(), 1, 1)));
        }
        heat.clear();
        const cv::Mat field(size.height(), size.width(), CV_8UC1, cv::Scalar(200));
        cv::Mat sum;
        field.convertTo(sum, CV_32S, 2.0);
        QVERIFY(heat.addField(field, 1.0) && heat.addField(field, 2.0));
        QVERIFY(samePixels(heat.draw(), painter.draw(sum, 1, 1)));
        QCOMPARE(heat.weightAtHottest(), 400.0);
    }

    void eventsLoseHalfTheirWeightInAHalfLife()
    {
        HeatMapAccumulator heat(size, 4);
        heat.setHalfLife(10.0);
        heat.addPoints({{10, 10}}, -50.0);
        QCOMPARE(heat.weightAtHottest(), 1.0);
        heat.advanceTo(-30.0);
        QCOMPARE(heat.weightAtHottest(), 0.25);
        heat.advanceTo(-1000.0); // the past
        heat.advanceTo(std::numeric_limits<double>::quiet_NaN());
        QCOMPARE(heat.seconds(), -30.0);
        QCOMPARE(heat.weightAtHottest(), 0.25);

        heat.setHalfLife(1e9);
        heat.advanceTo(970.0);
        QVERIFY(qAbs(heat.weightAtHottest() - 0.25) < 1e-6); // what has faded stays faded
        heat.setHalfLife(1.0);
        for (int i = 0; i < 5000; ++i) // far beyond what a float holds
            heat.addPoints({{50, 30}}, 1000.0 + i);
        QVERIFY(qAbs(heat.weightAtHottest() - 2.0) < 1e-5);
        heat.advanceTo(1e300);
        QCOMPARE(heat.weightAtHottest(), 0.0);
    }

    void newEventsOutweighOldOnes()
    {
        HeatMapAccumulator heat(size, 4, ShadowMapPainter::FadeToBlack, 1.0f);
        heat.setHalfLife(5.0);
        const QPoint old(20, 30);
        const QPoint young(70, 30);
        heat.addPoints({old}, 0.0);
        heat.addPoints({young}, 10.0);
        const cv::Mat picture = heat.draw();
        QVERIFY(alphaAt(picture, young) >= 254); // the gradient ends there
        QVERIFY(qAbs(alphaAt(picture, old) - 255 / 4) <= 1);
    }

    void heavyWeightsAreScaledInsteadOfWrapping()
    {
        HeatMapAccumulator heat(size, 30, ShadowMapPainter::FadeToBlack, 1.0f);
        cv::Mat field(size.height(), size.width(), CV_64FC1, cv::Scalar(1e300));
        field.at<double>(0, 0) = std::numeric_limits<double>::quiet_NaN();
        field.at<double>(0, 1) = -7.0;
        QVERIFY(heat.addField(field, 0.0));
        const cv::Mat picture = heat.draw();
        QVERIFY(alphaAt(picture, {48, 30}) >= 254);
        QVERIFY(alphaAt(picture, {0, 0}) > 30);
        QVERIFY(alphaAt(picture, {0, 0}) < alphaAt(picture, {30, 30}));
    }

    void refusedFieldsAndFramesChangeNothing()
    {
        HeatMapAccumulator heat(size, 4);
        QVERIFY(!heat.addField(cv::Mat(), 5.0));
        QVERIFY(!heat.addField(cv::Mat::zeros(size.width(), size.height(), CV_32SC1), 5.0));
        QVERIFY(!heat.addField(cv::Mat::zeros(size.height(), size.width(), CV_8UC3), 5.0));
        QCOMPARE(heat.seconds(), 0.0);
        QVERIFY(heat.over(cv::Mat()).empty());
        QVERIFY(heat.over(cv::Mat::zeros(size.height(), size.width(), CV_16UC3)).empty());
        QVERIFY(heat.over(cv::Mat::zeros(size.width(), size.height(), CV_8UC3)).empty());
        QVERIFY(HeatMapAccumulator(QSize()).draw().empty());
    }

    void heatLiesOverAFrameOfAnyColours()
    {
        HeatMapAccumulator heat(size, 9, ShadowMapPainter::SpectrumFaded, 0.6f);
        heat.addPoints(randomPoints(20), 0.0);
        const cv::Mat map = heat.draw();
        for (const int type : {CV_8UC1, CV_8UC3, CV_8UC4}) {
            cv::Mat frame(size.height(), size.width(), type);
            cv::RNG(4).fill(frame, cv::RNG::UNIFORM, 0, 256);
            const cv::Mat before = frame.clone();
            const cv::Mat picture = heat.over(frame);
            QVERIFY(samePixels(frame, before));
            QCOMPARE(picture.type(), type == CV_8UC1 ? CV_8UC3 : type);
            for (int y = 0; y < frame.rows; ++y) {
                for (int x = 0; x < frame.cols; ++x) {
                    const auto hot = map.at<cv::Vec4b>(y, x);
                    for (int c = 0; c < picture.channels(); ++c) {
                        const int cold = frame.ptr(y, x)[frame.channels() == 1 ? 0 : c];
                        const double blended = c == 3 ? cold : cold + (hot[c] - cold) * hot[3] / 255.0;
                        QCOMPARE(int(picture.ptr(y, x)[c]), qRound(blended));
                    }
                }
            }
        }
    }

    void copiesCollectOnTheirOwn()
    {
        HeatMapAccumulator heat(size, 4);
        heat.addPoints({{10, 10}}, 1.0);
        HeatMapAccumulator copy(heat);
        copy.addPoints({{10, 10}}, 2.0);
        QCOMPARE(heat.weightAtHottest(), 1.0);
        QCOMPARE(copy.weightAtHottest(), 2.0);
    }

    void legendShowsTheRampFromBottomToTop()
    {
        const HeatMapAccumulator heat(size, 4, ShadowMapPainter::Spectrum, 1.0f);
        QImage image(200, 400, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::white);
        QPainter painter(&image);
        const QRectF room(10, 10, 180, 380);
        QVERIFY(room.contains(QRectF(room.topLeft(), HeatMapAccumulator::legendSize(painter.font()))));
        heat.drawLegend(&painter, room);
        painter.end();

        const auto rowsOf = [&](const QColor &color) {
            QVector<int> rows;
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 0; x < image.width(); ++x) {
                    if (image.pixelColor(x, y) == color) {
                        rows.append(y);
                        break;
                    }
                }
            }
            return rows;
        };
        const auto red = rowsOf(Qt::red);
        const auto blue = rowsOf(Qt::blue);
        QVERIFY(red.size() > 10 && blue.size() > 10);
        QVERIFY(red.last() < blue.first());
        QCOMPARE(image.pixelColor(5, 200), QColor(Qt::white)); // nothing outside of its room
    }
};

QTEST_MAIN(HeatMapAccumulatorTest)
#include "tst_heatmapaccumulator.moc"
