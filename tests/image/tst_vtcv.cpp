#include "image/composition_p.h"
#include "image/vtcv.h"

#include "support/plainsteps.h"

#include <QtTest>

#include <opencv2/imgproc.hpp>

namespace {

using Polygon = VList<QPoint>;

// Random cases with a fixed seed: a failure names its round, and a run repeats it.
class Dice
{
public:
    explicit Dice(uint64 seed) : random(seed) { }

    int from(int first, int last) { return random.uniform(first, last + 1); }
    bool once(int in) { return from(1, in) == 1; }

    // Mostly ordinary, often around the lengths of vectors and chunks, and down to a single pixel.
    cv::Size size()
    {
        const auto side = [this] { return once(4) ? from(1, 4) : once(6) ? 191 + from(0, 3) : from(1, 200); };
        const int width = side();
        return {width, side()};
    }

    // Noise; now and then a view with neighbours and a row step.
    cv::Mat picture(cv::Size size, int type)
    {
        const bool isView = once(2);
        cv::Mat mat(isView ? size + cv::Size(from(1, 40), from(1, 9)) : size, type);
        random.fill(mat, cv::RNG::UNIFORM, 0, 256);
        return isView ? mat(cv::Rect({from(0, mat.cols - size.width), from(0, mat.rows - size.height)}, size))
                      : mat;
    }

    // Every value, runs of 0 and of 255, edges between.
    cv::Mat mask(cv::Size size)
    {
        cv::Mat mat = picture(size, CV_8UC1);
        for (int i = from(0, 4); i > 0; --i) {
            const cv::Rect part(
                from(0, size.width - 1), from(0, size.height - 1), from(1, 300), from(1, 100));
            mat(part & cv::Rect({}, size)) = once(2) ? 0 : 255;
        }
        return mat;
    }

    QPoint point(cv::Size size)
    {
        const auto coordinate = [this](int length) {
            if (once(40))
                return once(2) ? INT_MIN : INT_MAX;
            if (once(20))
                return from(-1000000000, 1000000000);
            return once(3) ? from(-length, 2 * length) : from(0, length - 1);
        };
        const int x = coordinate(size.width);
        return {x, coordinate(size.height)};
    }

    // Somewhere in the picture, often small; coordinates outside and far outside among them.
    Polygon polygon(cv::Size size, int points)
    {
        Polygon result;
        const QPoint middle(from(0, size.width - 1), from(0, size.height - 1));
        const bool small = once(2);
        for (int i = 0; i < points; ++i)
            result << (small ? middle + QPoint(from(-12, 12), from(-12, 12)) : point(size));
        return result;
    }

    int grow() { return once(2) ? 0 : once(8) ? (once(2) ? -128 : 127) : from(-9, 9); }
    int blur() { return once(2) ? 0 : once(8) ? 255 : from(1, 24); }

private:
    cv::RNG random;
};

bool same(const cv::Mat &a, const cv::Mat &b)
{
    return a.size() == b.size() && a.type() == b.type() && (a.empty() || cv::norm(a, b, cv::NORM_INF) == 0.0);
}

// A picture of the same pixels that lies alone in memory.
cv::Mat apart(const cv::Mat &mat)
{
    return mat.empty() ? mat : mat.clone();
}

int countOf(const cv::Mat &mask, int value)
{
    return cv::countNonZero(mask == value);
}

constexpr Composition::Instructions allInstructions[] = {
    Composition::Instructions::Portable, Composition::Instructions::Avx2, Composition::Instructions::Best};

const Polygon square{{2, 2}, {7, 2}, {7, 7}, {2, 7}};

} // namespace

// A failing round prints its number and what it was made of.
#define VERIFY_SAME(actual, expected, round)                                                                 \
    QVERIFY2(same(actual, expected), qPrintable(QStringLiteral("round %1").arg(round)))

class VTCVTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sizesAlignAtTheTopLeft()
    {
        Dice dice(1);
        for (int round = 0; round < 600; ++round) {
            const int type = dice.once(2) ? CV_8UC3 : CV_32FC1;
            const cv::Mat original = dice.picture(dice.size(), type);
            const cv::Size size = dice.once(5) ? original.size() : dice.size();
            const cv::Scalar fill(1, 2, 3);
            cv::Mat expected = original;
            plain::alignMatSize(expected, size.width, size.height, fill);

            cv::Mat byNumbers = original;
            VTCV::alignMatSize(byNumbers, size.width, size.height, fill);
            VERIFY_SAME(byNumbers, expected, round);
            const bool padded = size.width > original.cols || size.height > original.rows;
            QCOMPARE(byNumbers.data == original.data, !padded);
            cv::Mat bySize = original;
            VTCV::alignMatSize(bySize, size, fill);
            VERIFY_SAME(bySize, expected, round);
            cv::Mat byOther = original;
            VTCV::alignMatSize(byOther, cv::Mat(size, CV_8UC1), fill);
            VERIFY_SAME(byOther, expected, round);
            cv::Mat cropped = original;
            VTCV::alignMatMinSize(cropped, size, fill);
            VERIFY_SAME(cropped, expected, round);
            cropped = original;
            VTCV::alignMatMinSize(cropped, cv::Mat(size, CV_8UC1), fill);
            VERIFY_SAME(cropped, expected, round);

            cv::Mat grown = original;
            VTCV::alignMatMinSize(grown, size.width, size.height, fill);
            expected = original;
            plain::alignMatSize(
                expected, std::max(size.width, original.cols), std::max(size.height, original.rows), fill);
            VERIFY_SAME(grown, expected, round);
        }
    }

    // Fault: OpenCV pads a view with what lies beside it in the larger picture.
    void paddingOfAViewIsTheFillColour()
    {
        const cv::Mat whole(20, 20, CV_8UC1, cv::Scalar(9));
        cv::Mat view = whole(cv::Rect(5, 5, 4, 4));
        VTCV::alignMatSize(view, 6, 2, cv::Scalar(77));
        QCOMPARE(cv::Size(6, 2), view.size());
        QCOMPARE(countOf(view, 77), 4);
        QCOMPARE(countOf(view, 9), 8);
        QVERIFY_EXCEPTION_THROWN(VTCV::alignMatSize(view, -1, 2), cv::Exception);

        cv::Mat nothing;
        VTCV::alignMatSize(nothing, 3, 2, cv::Scalar(77));
        QCOMPARE(countOf(nothing, 77), 6);
    }

    void blendKnowsEveryPairOfValues()
    {
        // All 2 to the 24th triples of mask, old and new value, 256 rows at a time.
        cv::Mat src(256, 256, CV_8UC3);
        cv::Mat old(256, 256, CV_8UC3);
        for (int y = 0; y < 256; ++y) {
            src.row(y) = cv::Scalar::all(y);
            for (int x = 0; x < 256; ++x)
                old.at<cv::Vec3b>(y, x) = cv::Vec3b::all(uchar(x));
        }
        for (int m = 0; m < 256; ++m) {
            cv::Mat mask(256, 256, CV_8UC1, cv::Scalar(m));
            mask.col(0) = 255 - m; // or whole chunks would go the short ways only
            mask.col(200) = 7;
            cv::Mat expected = old.clone();
            plain::blend(src, expected, mask);
            for (const auto way : allInstructions) {
                const cv::Mat dst = old.clone();
                Composition::blend(src, dst, mask, way);
                VERIFY_SAME(dst, expected, m);
            }
        }
    }

    void blendTakesAnySizeStepAndMask()
    {
        Dice dice(2);
        for (int round = 0; round < 400; ++round) {
            const cv::Size size = dice.once(50) ? cv::Size(641, 479) : dice.size();
            const cv::Mat src = dice.picture(size, CV_8UC3);
            const cv::Mat mask = dice.mask(size);
            cv::Mat expected = dice.picture(size, CV_8UC3).clone();
            cv::Mat canvas(size + cv::Size(7, 2), CV_8UC3, cv::Scalar(1, 2, 3));
            for (const auto way : allInstructions) {
                const cv::Mat dst = canvas(cv::Rect({3, 1}, size));
                expected.copyTo(dst);
                Composition::blend(src, dst, mask, way);
                cv::Mat blended = expected.clone();
                plain::blend(src, blended, mask);
                VERIFY_SAME(dst, blended, round);
            }
            canvas(cv::Rect({3, 1}, size)) = cv::Scalar(1, 2, 3);
            VERIFY_SAME(canvas, cv::Mat(canvas.size(), CV_8UC3, cv::Scalar(1, 2, 3)), round);
        }
    }

    void copyMatEqualsThePlainSteps()
    {
        Dice dice(3);
        for (int round = 0; round < 1500; ++round) {
            const bool blend = dice.once(2);
            const int types[] = {CV_8UC1, CV_8UC3, CV_8UC4, CV_16UC1, CV_32FC3};
            const int type = blend ? CV_8UC3 : types[dice.from(0, 4)];
            const cv::Size size = dice.size();
            const cv::Mat src = dice.picture(dice.once(2) ? size : dice.size(), type);
            const int dstType = !blend && dice.once(8) ? CV_8UC3 : type;
            cv::Mat dst = dice.once(8) ? cv::Mat() : dice.picture(dice.once(2) ? size : dice.size(), dstType);
            cv::Size maskSize = dice.once(2) ? size : dice.size();
            if (!blend) {
                maskSize.width = std::min(maskSize.width, std::max(src.cols, dst.cols));
                maskSize.height = std::min(maskSize.height, std::max(src.rows, dst.rows));
            }
            const cv::Mat mask = dice.once(20) ? cv::Mat() : dice.mask(maskSize);

            cv::Mat expected = apart(dst);
            plain::copyMat(src.clone(), expected, apart(mask), blend);
            const cv::Mat srcBefore = src.clone();
            VTCV::copyMat(src, dst, mask, blend);
            VERIFY_SAME(dst, expected, round);
            VERIFY_SAME(src, srcBefore, round);
        }
    }

    // Laying a picture over itself reads what has been written before, or a padded copy, as the sizes have
    // it.
    void overlappingPicturesEqualThePlainSteps()
    {
        Dice dice(4);
        for (int round = 0; round < 400; ++round) {
            const bool blend = dice.once(2);
            const cv::Mat whole = dice.picture({90, 60}, CV_8UC3);
            const cv::Size size(dice.from(1, 50), dice.from(1, 40));
            const cv::Size dstSize = dice.once(2) ? size : cv::Size(dice.from(1, 50), dice.from(1, 40));
            const cv::Rect from({dice.from(0, 40), dice.from(0, 20)}, size);
            const cv::Rect to({dice.from(0, 40), dice.from(0, 20)}, dstSize);
            const Polygon polygon = dice.polygon(size, 4);
            const int blur = blend ? dice.from(1, 9) : 0;

            const cv::Mat mask = plain::createMask(size.width, size.height, polygon, 2, blur);
            cv::Mat expectedWhole = whole.clone();
            cv::Mat expected = expectedWhole(to);
            plain::copyMat(expectedWhole(from), expected, mask, blend);
            for (const bool byPolygon : {false, true}) {
                cv::Mat canvas = whole.clone();
                cv::Mat dst = canvas(to);
                if (byPolygon)
                    VTCV::copyMask(canvas(from), dst, polygon, 2, uchar(blur));
                else
                    VTCV::copyMat(canvas(from), dst, mask, blend);
                VERIFY_SAME(dst, expected, round);
                VERIFY_SAME(canvas, expectedWhole, round);
            }
        }
    }

    void copyMatRefusesWhatItCannotLay()
    {
        const cv::Mat colour(4, 4, CV_8UC3, cv::Scalar::all(200));
        const cv::Mat grey(4, 4, CV_8UC1, cv::Scalar(1));
        cv::Mat dst = grey.clone();
        QVERIFY_EXCEPTION_THROWN(VTCV::copyMat(colour, dst, grey, true), cv::Exception);
        QVERIFY_EXCEPTION_THROWN(VTCV::copyMat(grey, dst, grey, true), cv::Exception);
        QVERIFY_EXCEPTION_THROWN(
            VTCV::copyMat(grey, dst, cv::Mat(5, 4, CV_8UC1, cv::Scalar(1)), false), cv::Exception);
        VERIFY_SAME(dst, grey, 0);
        dst = colour.clone();
        QVERIFY_EXCEPTION_THROWN(VTCV::copyMat(colour, dst, colour, true), cv::Exception);

        dst = cv::Mat(1, 4, CV_8UC3, cv::Scalar::all(5));
        VTCV::copyMat(colour(cv::Rect(0, 0, 2, 2)), dst, cv::Mat(2, 4, CV_8UC1, cv::Scalar(255)));
        QCOMPARE(dst.size(), cv::Size(4, 2));
        QCOMPARE(dst.at<cv::Vec3b>(1, 1), cv::Vec3b::all(200));
        QCOMPARE(dst.at<cv::Vec3b>(1, 2), cv::Vec3b::all(0));
    }

    void coloursAreNormalised()
    {
        Dice dice(5);
        const cv::Mat grey = dice.picture({5, 4}, CV_8UC1);
        const cv::Mat colour = dice.picture({5, 4}, CV_8UC3);
        const cv::Mat alpha = dice.picture({5, 4}, CV_8UC4);
        cv::Mat expected;
        QVERIFY(VTCV::grayscale(grey).data == grey.data);
        cv::cvtColor(colour, expected, cv::COLOR_BGR2GRAY);
        VERIFY_SAME(VTCV::grayscale(colour), expected, 0);
        cv::cvtColor(alpha, expected, cv::COLOR_BGRA2GRAY);
        VERIFY_SAME(VTCV::grayscale(alpha), expected, 0);
        QVERIFY(VTCV::imageBGR(colour).data == colour.data);
        cv::merge(std::vector<cv::Mat>{grey, grey, grey}, expected);
        VERIFY_SAME(VTCV::imageBGR(grey), expected, 0);
        cv::cvtColor(alpha, expected, cv::COLOR_BGRA2BGR);
        VERIFY_SAME(VTCV::imageBGR(alpha), expected, 0);

        QVERIFY(VTCV::grayscale(cv::Mat()).empty()); // its type is that of a grey picture: no message
        for (const auto convert : {VTCV::grayscale, VTCV::imageBGR}) {
            QTest::ignoreMessage(QtDebugMsg, "Cannot process mat of type 5");
            QVERIFY(convert(cv::Mat(2, 2, CV_32FC1)).empty());
        }
    }

    void picturesTurnAboutTheirMiddle()
    {
        Dice dice(6);
        const cv::Mat picture = dice.picture({31, 20}, CV_8UC3);
        VERIFY_SAME(VTCV::rotateImage(picture, 0), picture, 0);

        cv::Mat dot(20, 40, CV_8UC1, cv::Scalar(0));
        dot(cv::Rect(28, 9, 3, 3)) = 255;
        const cv::Mat turned = VTCV::rotateImage(dot, 90); // from the right of (20, 10) to above it
        QCOMPARE(turned.size(), dot.size());
        QCOMPARE(cv::countNonZero(turned), 9);
        QCOMPARE(turned.at<uchar>(1, 20), uchar(255));
        const cv::Mat bright(20, 40, CV_8UC1, cv::Scalar(255));
        QCOMPARE(VTCV::rotateImage(bright, 90).at<uchar>(10, 2), uchar(0));
    }

    void masksHoldTheOutlineAndGrow()
    {
        QCOMPARE(countOf(VTCV::createMask(10, 10, square), 255), 36);
        QCOMPARE(countOf(VTCV::createMask(10, 10, square, 1), 255), 64);
        QCOMPARE(countOf(VTCV::createMask(10, 10, square, -1), 255), 16);
        QVERIFY(VTCV::createMask(-1, 10, square).empty());
        QVERIFY(VTCV::createMask(10, -1, square).empty());
        const cv::Mat flattened = VTCV::createMask(10, 10, {{-5, 20}});
        QCOMPARE(countOf(flattened, 255), 1);
        QCOMPARE(flattened.at<uchar>(9, 0), uchar(255));
        const cv::Mat soft = VTCV::createMask(10, 10, square, 0, 3);
        QCOMPARE(soft.at<uchar>(4, 4), uchar(255));
        QVERIFY(soft.at<uchar>(2, 4) > 0 && soft.at<uchar>(2, 4) < 255);
    }

    void createMaskEqualsThePlainSteps()
    {
        Dice dice(7);
        for (int round = 0; round < 3000; ++round) {
            const cv::Size size =
                dice.once(20) ? cv::Size(dice.from(250, 700), dice.from(100, 300)) : dice.size();
            const Polygon polygon = dice.polygon(size, dice.once(10) ? dice.from(1, 2) : dice.from(3, 9));
            const int grow = dice.grow();
            const int blur = dice.blur();
            VERIFY_SAME(VTCV::createMask(size.width, size.height, polygon, char(grow), uchar(blur)),
                plain::createMask(size.width, size.height, polygon, grow, blur),
                QStringLiteral("%1: grow %2 blur %3").arg(round).arg(grow).arg(blur));
        }
        VERIFY_SAME(VTCV::createMask(0, 5, square), plain::createMask(0, 5, square, 0, 0), 0);
    }

    void copyMaskEqualsThePlainSteps()
    {
        Dice dice(8);
        for (int round = 0; round < 1500; ++round) {
            const int blur = dice.blur();
            const int grow = dice.grow();
            const int type = blur != 0 || dice.once(2) ? CV_8UC3 : CV_16UC1;
            const cv::Mat src = dice.picture(dice.size(), type);
            cv::Mat dst =
                dice.once(5) ? cv::Mat() : dice.picture(dice.once(2) ? src.size() : dice.size(), type);
            const Polygon polygon = dice.polygon(src.size(), dice.from(3, 6));
            cv::Mat expected = apart(dst);
            plain::copyMask(src, expected, polygon, grow, blur);
            VTCV::copyMask(src, dst, polygon, char(grow), uchar(blur));
            VERIFY_SAME(dst, expected, round);

            expected = cv::Mat::zeros(src.size(), type);
            plain::copyMask(src, expected, polygon, grow, blur);
            VERIFY_SAME(VTCV::copyMask(src, polygon, char(grow), uchar(blur)), expected, round);
        }
    }

    void triangleAffineEqualsThePlainSteps()
    {
        QVERIFY2(Composition::WarpGrid::matchesOpenCv(),
            "this OpenCV rounds otherwise: pictures are warped whole");
        Dice dice(9);
        int reached = 0;
        for (int round = 0; round < 3000; ++round) {
            const int srcBlur = dice.blur();
            const int dstBlur = dice.blur();
            const int srcGrow = dice.grow();
            const int dstGrow = dice.grow();
            const int types[] = {CV_8UC1, CV_8UC3, CV_8UC4, CV_16UC1, CV_32FC1, CV_64FC2};
            const int type = srcBlur != 0 || dstBlur != 0 ? CV_8UC3 : types[dice.from(0, 5)];
            const cv::Mat src = dice.picture(dice.once(20) ? cv::Size(640, 300) : dice.size(), type);
            const Polygon from = dice.polygon(src.size(), 3);
            const Polygon to = dice.once(10) ? from : dice.polygon(src.size(), 3);
            const cv::Mat warped = VTCV::triangleAffine(src, from, to, char(srcGrow), uchar(srcBlur));
            VERIFY_SAME(warped, plain::triangleAffine(src, from, to, srcGrow, srcBlur), round);
            reached += cv::countNonZero(warped.reshape(1)) > 0 ? 1 : 0;

            cv::Mat dst = dice.once(8) ? cv::Mat()
                                       : dice.picture(dice.once(2) ? src.size() : dice.size(),
                                           dstBlur == 0 && dice.once(10) ? CV_8UC3 : type);
            if (dice.once(10) && dst.type() == src.type())
                dst = src;
            const cv::Mat srcBefore = src.clone();
            cv::Mat expected = apart(dst);
            plain::triangleAffine(srcBefore, from, to, expected, srcGrow, srcBlur, dstGrow, dstBlur);
            VTCV::triangleAffine(
                src, from, to, dst, char(srcGrow), uchar(srcBlur), char(dstGrow), uchar(dstBlur));
            VERIFY_SAME(dst, expected, round);
        }
        QVERIFY(reached > 1500); // or the rounds would compare black with black
    }

    void meshIsBuiltUpTriangleByTriangle()
    {
        Dice dice(10);
        const cv::Mat src = dice.picture({320, 200}, CV_8UC3);
        cv::Mat dst(100, 400, CV_8UC3, cv::Scalar(1, 2, 3));
        cv::Mat expected = dst.clone();
        for (int x = 0; x < 320; x += 40) {
            const Polygon from{{x, 10}, {x + 40, 15}, {x + 5, 60}};
            const Polygon to{{x + 3, 80}, {x + 38, 70}, {x, 120}};
            VTCV::triangleAffine(src, from, to, dst, 1, 0, 1, 3);
            plain::triangleAffine(src, from, to, expected, 1, 0, 1, 3);
        }
        QCOMPARE(dst.size(), cv::Size(400, 200));
        VERIFY_SAME(dst, expected, 0);
    }

    // What the grid cannot follow must go the plain way: types without interpolation are refused by OpenCV.
    void unusualPicturesGoThePlainWay()
    {
        const Polygon triangle{{1, 1}, {6, 1}, {1, 6}};
        QVERIFY(!Composition::WarpGrid::takes(cv::Mat(2, 2, CV_32SC1)));
        QVERIFY(!Composition::WarpGrid::takes(cv::Mat(1, 32767, CV_8UC1)));
        QVERIFY_EXCEPTION_THROWN(
            VTCV::triangleAffine(cv::Mat(9, 9, CV_32SC1, cv::Scalar(7)), triangle, triangle), cv::Exception);
        Dice dice(11);
        const cv::Mat wide = dice.picture({33000, 3}, CV_8UC1);
        QVERIFY_EXCEPTION_THROWN(plain::triangleAffine(wide, triangle, triangle, 0, 0), cv::Exception);
        QVERIFY_EXCEPTION_THROWN(VTCV::triangleAffine(wide, triangle, triangle), cv::Exception);
    }
};

QTEST_APPLESS_MAIN(VTCVTest)

#include "tst_vtcv.moc"
