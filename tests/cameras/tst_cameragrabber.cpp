#include "cameras/cameragrabber_p.h"
#include "cameras/camerasettings.h"
#include "support/metaface.h"
#include "support/virtualcameras.h"

#include <QSignalSpy>
#include <QtTest>
#include <QVideoSurfaceFormat>

namespace {

constexpr QSize delivered(61, 40); // not square, and small enough for each pixel to be another one

enum Corner
{
    TopLeft,
    TopRight,
    BottomRight,
    BottomLeft
};

cv::Point at(Corner corner, cv::Size size)
{
    return {corner == TopRight || corner == BottomRight ? size.width - 1 : 0,
        corner == BottomLeft || corner == BottomRight ? size.height - 1 : 0};
}

// The pixels of the source in another place: its left upper corner comes to `first`, its right upper one to
// `second`, and all others follow.
cv::Mat placed(const cv::Mat &source, Corner first, Corner second)
{
    const bool upright = first + second == TopLeft + TopRight || first + second == BottomLeft + BottomRight;
    cv::Mat target(upright ? source.size() : cv::Size(source.rows, source.cols), source.type());
    const cv::Point origin = at(first, target.size());
    const cv::Point right = (at(second, target.size()) - origin) / (source.cols - 1);
    // Opposite corners are two apart in the order above.
    const Corner third = Corner((second + 2) % 4);
    const cv::Point down = (at(third, target.size()) - origin) / (source.rows - 1);
    for (int y = 0; y < source.rows; ++y) {
        for (int x = 0; x < source.cols; ++x)
            target.at<cv::Vec3b>(origin + right * x + down * y) = source.at<cv::Vec3b>(y, x);
    }
    return target;
}

cv::Mat colours(const cv::Mat &bgra)
{
    cv::Mat bgr;
    cv::cvtColor(bgra, bgr, cv::COLOR_BGRA2BGR);
    return bgr;
}

double difference(const cv::Mat &a, const cv::Mat &b)
{
    return a.size() == b.size() && a.type() == b.type() ? cv::norm(a, b, cv::NORM_INF) : 1000.0;
}

QVideoSurfaceFormat format(QSize size, QVideoFrame::PixelFormat pixels,
    QAbstractVideoBuffer::HandleType handle = QAbstractVideoBuffer::NoHandle)
{
    return QVideoSurfaceFormat(size, pixels, handle);
}

} // namespace

class CameraGrabberTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaObjectIsComplete()
    {
        QCOMPARE(
            metaface::ofClass(CameraGrabber::staticMetaObject), QStringList({"signal imageReady(cv::Mat)"}));
    }

    void formatsOfTheSurface()
    {
        CameraGrabber grabber;
        QCOMPARE(grabber.supportedPixelFormats(QAbstractVideoBuffer::NoHandle),
            QList<QVideoFrame::PixelFormat>({QVideoFrame::Format_RGB32, QVideoFrame::Format_ARGB32,
                QVideoFrame::Format_ARGB32_Premultiplied, QVideoFrame::Format_RGB565,
                QVideoFrame::Format_RGB555}));
        QVERIFY(grabber.supportedPixelFormats(QAbstractVideoBuffer::GLTextureHandle).isEmpty());
        QVERIFY(grabber.isFormatSupported(format(delivered, QVideoFrame::Format_RGB24)));
        QVERIFY(!grabber.isFormatSupported(format(delivered, QVideoFrame::Format_YUV420P)));
        QVERIFY(!grabber.isFormatSupported(format(QSize(), QVideoFrame::Format_RGB32)));
        QVERIFY(!grabber.isFormatSupported(
            format(delivered, QVideoFrame::Format_RGB32, QAbstractVideoBuffer::GLTextureHandle)));

        QVERIFY(!grabber.start(format(delivered, QVideoFrame::Format_YUV420P)));
        QVERIFY(!grabber.start(format(QSize(0, 10), QVideoFrame::Format_RGB32)));
        QVERIFY(!grabber.isActive());
        QVERIFY(grabber.start(format(delivered, QVideoFrame::Format_RGB32)));
        QVERIFY(grabber.isActive());
    }

    void orientation_data()
    {
        QTest::addColumn<int>("rotation");
        QTest::addColumn<int>("flip");
        QTest::addColumn<int>("first"); // where the left upper corner of the device's picture goes
        QTest::addColumn<int>("second"); // where the right upper one goes
        struct Row
        {
            const char *name;
            CameraSettings::CameraRotation rotation;
            CameraSettings::CameraFlip flip;
            Corner first;
            Corner second;
        };
        using S = CameraSettings;
        static const Row rows[] = {
            {"0", S::Rotate0, S::FlipNone, BottomLeft, BottomRight},
            {"0 X", S::Rotate0, S::FlipX, BottomRight, BottomLeft},
            {"0 Y", S::Rotate0, S::FlipY, TopLeft, TopRight},
            {"0 XY", S::Rotate0, S::FlipXY, TopRight, TopLeft},
            {"90", S::Rotate90, S::FlipNone, BottomLeft, TopLeft},
            {"90 X", S::Rotate90, S::FlipX, BottomRight, TopRight},
            {"90 Y", S::Rotate90, S::FlipY, TopLeft, BottomLeft},
            {"90 XY", S::Rotate90, S::FlipXY, TopRight, BottomRight},
            {"180", S::Rotate180, S::FlipNone, TopLeft, TopRight},
            {"180 X", S::Rotate180, S::FlipX, TopRight, TopLeft},
            {"180 Y", S::Rotate180, S::FlipY, BottomLeft, BottomRight},
            {"180 XY", S::Rotate180, S::FlipXY, BottomRight, BottomLeft},
            {"270", S::Rotate270, S::FlipNone, TopRight, BottomRight},
            {"270 X", S::Rotate270, S::FlipX, TopLeft, BottomLeft},
            {"270 Y", S::Rotate270, S::FlipY, BottomRight, TopRight},
            {"270 XY", S::Rotate270, S::FlipXY, BottomLeft, TopLeft},
        };
        for (const Row &row : rows)
            QTest::newRow(row.name) << int(row.rotation) << int(row.flip) << int(row.first)
                                    << int(row.second);
        QTest::newRow("values that nobody knows") << 17 << -1 << int(TopLeft) << int(TopRight);
    }

    void orientation()
    {
        QFETCH(int, rotation);
        QFETCH(int, flip);
        QFETCH(int, first);
        QFETCH(int, second);
        CameraGrabber grabber;
        grabber.rotation = rotation;
        grabber.flip = flip;
        std::vector<cv::Mat> frames;
        connect(&grabber, &CameraGrabber::imageReady, [&](cv::Mat frame) { frames.push_back(frame); });

        const int number = 200;
        const cv::Mat source = virtualcameras::picture(delivered, number);
        const cv::Mat expected = placed(colours(source), Corner(first), Corner(second));
        QVERIFY(grabber.present(virtualcameras::videoFrame(source)));
        QVERIFY(grabber.present(virtualcameras::videoFrame(source, QVideoFrame::Format_RGB565)));
        grabber.useCVTColor = false;
        QVERIFY(grabber.present(virtualcameras::videoFrame(source, QVideoFrame::Format_ARGB32)));
        QVERIFY(grabber.present(virtualcameras::videoFrame(source, QVideoFrame::Format_RGB555)));
        QVERIFY(grabber.present(virtualcameras::videoFrame(source))); // the former memory is reused now
        QCOMPARE(frames.size(), size_t(5));

        QCOMPARE(difference(frames[0], expected), 0.0);
        QVERIFY(difference(frames[1], expected) < 8.0); // five or six bits of eight
        QCOMPARE(frames[2].type(), CV_8UC4);
        QCOMPARE(difference(colours(frames[2]), expected), 0.0);
        QCOMPARE(frames[3].type(), CV_8UC4);
        QVERIFY(difference(colours(frames[3]), expected) < 8.0);
        QCOMPARE(difference(colours(frames[4]), expected), 0.0);
        QCOMPARE(virtualcameras::framesWrittenTo(), 0);
    }

    void coloursOfTwoByteFramesHaveTheFullRange_data()
    {
        QTest::addColumn<QVideoFrame::PixelFormat>("pixels");
        QTest::newRow("565") << QVideoFrame::Format_RGB565;
        QTest::newRow("555") << QVideoFrame::Format_RGB555;
    }

    void coloursOfTwoByteFramesHaveTheFullRange()
    {
        QFETCH(QVideoFrame::PixelFormat, pixels);
        CameraGrabber grabber;
        cv::Mat frame;
        connect(&grabber, &CameraGrabber::imageReady, [&](cv::Mat value) { frame = value; });
        for (const cv::Vec4b &colour : {cv::Vec4b(255, 255, 255, 255), cv::Vec4b(255, 0, 0, 255),
                 cv::Vec4b(0, 255, 0, 255), cv::Vec4b(0, 0, 255, 255)}) {
            const cv::Mat source(5, 7, CV_8UC4, cv::Scalar(colour));
            QVERIFY(grabber.present(virtualcameras::videoFrame(source, pixels)));
            QCOMPARE(difference(frame, colours(source)), 0.0);
        }
    }

    void unconvertedFrameStaysMappedWhileSomebodyHoldsIt()
    {
        CameraGrabber grabber;
        grabber.useCVTColor = false;
        grabber.rotation = CameraSettings::Rotate180;
        cv::Mat held;
        const auto taking = connect(
            &grabber, &CameraGrabber::imageReady, [&](cv::Mat frame) { held = frame(cv::Rect(1, 2, 8, 9)); });
        const cv::Mat source = virtualcameras::picture(delivered, 3);
        QVideoFrame first = virtualcameras::videoFrame(source);
        QVERIFY(grabber.present(first));
        disconnect(taking);
        QVERIFY(held.ptr(0) == first.bits() + 2 * first.bytesPerLine() + 1 * 4); // nothing was copied
        QVERIFY(grabber.present(virtualcameras::videoFrame(source)));
        QVERIFY(first.isMapped());
        QCOMPARE(difference(colours(held), colours(source(cv::Rect(1, 2, 8, 9)))), 0.0);

        held = held.clone(); // pixels of its own
        QVERIFY(!first.isMapped());

        // A consumer on another thread may be the last.
        connect(&grabber, &CameraGrabber::imageReady, [&](cv::Mat frame) { held = frame; });
        QVERIFY(grabber.present(first = virtualcameras::videoFrame(source)));
        disconnect(&grabber, nullptr, nullptr, nullptr);
        QVERIFY(grabber.present(virtualcameras::videoFrame(source)));
        std::thread([frame = std::move(held)] { QVERIFY(!frame.empty()); }).join();
        QVERIFY(!first.isMapped());
        QCOMPARE(virtualcameras::framesWrittenTo(), 0);
    }

    void frameIsMappedUntilTheNextOne()
    {
        QVideoFrame first = virtualcameras::videoFrame(virtualcameras::picture(delivered, 1));
        QVideoFrame second = virtualcameras::videoFrame(virtualcameras::picture(delivered, 2));
        {
            CameraGrabber grabber;
            QVERIFY(grabber.present(first));
            QVERIFY(first.isMapped());
            QVERIFY(grabber.present(second));
            QVERIFY(!first.isMapped());
            QVERIFY(second.isMapped());
        }
        QVERIFY(!second.isMapped());
    }

    void badFrames_data()
    {
        QTest::addColumn<QVideoFrame>("frame");
        QTest::addColumn<bool>("stops");
        QTest::addColumn<int>("error");
        const cv::Mat source = virtualcameras::picture(delivered, 1);
        QTest::newRow("invalid") << QVideoFrame() << true << int(QAbstractVideoSurface::IncorrectFormatError);
        QTest::newRow("unmappable") << virtualcameras::videoFrame(source, QVideoFrame::Format_RGB32, false)
                                    << false << int(QAbstractVideoSurface::NoError);
        QTest::newRow("not a picture") << QVideoFrame(600, QSize(20, 20), 20, QVideoFrame::Format_YUV420P)
                                       << false << int(QAbstractVideoSurface::IncorrectFormatError);
        QTest::newRow("rows too short")
            << QVideoFrame(400 * 4, QSize(20, 20), 20 * 2, QVideoFrame::Format_RGB32) << false
            << int(QAbstractVideoSurface::IncorrectFormatError);
        QTest::newRow("memory too short")
            << QVideoFrame(100 * 4, QSize(20, 20), 20 * 4, QVideoFrame::Format_RGB32) << false
            << int(QAbstractVideoSurface::IncorrectFormatError);
    }

    void badFrames()
    {
        QFETCH(QVideoFrame, frame);
        QFETCH(bool, stops);
        QFETCH(int, error);
        CameraGrabber grabber;
        QSignalSpy images(&grabber, &CameraGrabber::imageReady);
        QVERIFY(grabber.start(format(delivered, QVideoFrame::Format_RGB32)));
        QVERIFY(!grabber.present(frame));
        QCOMPARE(int(grabber.error()), error);
        QCOMPARE(grabber.isActive(), !stops);
        QCOMPARE(images.size(), 0);
        // The next good one is taken as ever.
        QVERIFY(grabber.present(virtualcameras::videoFrame(virtualcameras::picture(delivered, 2))));
        QCOMPARE(images.size(), 1);
    }
};

QTEST_GUILESS_MAIN(CameraGrabberTest)

#include "tst_cameragrabber.moc"
