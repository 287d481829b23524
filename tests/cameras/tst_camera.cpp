#include "baselib/frameratecounter.h"
#include "cameras/camera.h"
#include "support/frames.h"
#include "support/metaface.h"

#include <QSignalSpy>
#include <QtTest>

#include <chrono>
#include <thread>

using namespace std::chrono_literals;

namespace {

// Writes down the order in which hooks are called and signals come.
class RecordingCamera : public Camera
{
public:
    explicit RecordingCamera(QStringList *log) : log(log)
    {
        connect(this, &Camera::isRunningChanged,
            [log](bool value) { *log << (value ? QStringLiteral("running") : QStringLiteral("stopped")); });
        connect(this, &Camera::frameSizeChanged,
            [log](QSize size) { *log << QStringLiteral("size %1x%2").arg(size.width()).arg(size.height()); });
        connect(this, &Camera::frameSizesChanged, [log] { *log << QStringLiteral("sizes"); });
    }

private:
    void internalSetFrameSize(int width, int height) override
    {
        *log << QStringLiteral("resize %1x%2").arg(width).arg(height);
    }
    void internalStart() override { *log << QStringLiteral("start"); }
    void internalStop() override { *log << QStringLiteral("stop"); }
    void internalFinish() override { *log << QStringLiteral("finish"); }

    QStringList *log;
};

QStringList taken(QStringList &log)
{
    QStringList lines;
    lines.swap(log);
    return lines;
}

FrameRateCounter *counterOf(const Camera &camera)
{
    return camera.findChild<FrameRateCounter *>(QString(), Qt::FindDirectChildrenOnly);
}

// True if a frame at 0 s and one at 2 s, with `between` in the middle, make a rate.
bool countsOver(Camera &camera, const std::function<void()> &between)
{
    FrameRateCounter *counter = counterOf(camera);
    counter->restart();
    QSignalSpy rates(&camera, &Camera::frameRateChanged);
    counter->nextFrameAt(0s);
    between();
    counter->nextFrameAt(2s);
    return rates.size() == 1 && rates.first().first().toDouble() == 0.5;
}

} // namespace

class CameraTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaObjectsAreComplete()
    {
        QCOMPARE(metaface::ofClass(ImageCvMatHolder::staticMetaObject),
            QStringList({
                "signal frameChanged(cv::Mat)",
                "method setFrame(cv::Mat)",
                "method cv::Mat getFrame()",
                "property cv::Mat frame",
            }));
        QCOMPARE(metaface::ofClass(Camera::staticMetaObject),
            QStringList({
                "signal frameRateChanged(double)",
                "signal frameSizeChanged(QSize)",
                "signal monikerChanged(QString)",
                "signal frameSizesChanged(QList<QSize>)",
                "signal isRunningChanged(bool)",
                "slot frameRateCounted(double)",
                "method start()",
                "method stop()",
                "method finish()",
                "method setIsRunning(bool)",
                "method bool getIsRunning()",
                "method setFrameRate(double)",
                "method double getFrameRate()",
                "method setMoniker(QString)",
                "method QString getMoniker()",
                "property bool isRunning",
                "property double frameRate",
                "property QSize frameSize",
                "property QList<QSize> frameSizes",
                "property QString moniker",
            }));
    }

    void frameIsSharedAndAnnounced()
    {
        ImageCvMatHolder holder;
        QVERIFY(QMetaType::type("cv::Mat") != QMetaType::UnknownType);
        QVERIFY(holder.getFrame().empty());
        QVERIFY(holder.getImage().isNull());

        QStringList order;
        cv::Mat carried;
        connect(&holder, &ImageCvMatHolder::frameChanged, [&](cv::Mat value) {
            order << QStringLiteral("frame");
            carried = value;
        });
        connect(&holder, &ImageHolder::imageChanged, [&] { order << QStringLiteral("image"); });

        const cv::Mat frame = frames::numbered(7);
        holder.setFrame(frame);
        QVERIFY(carried.data == frame.data);
        QVERIFY(holder.getFrame().data == frame.data);
        QCOMPARE(frame.u->refcount, 3); // ours, the held one and the carried one
        QCOMPARE(order, QStringList({"frame", "image"}));

        QVERIFY(holder.setProperty("frame", QVariant::fromValue(frames::numbered(8))));
        QCOMPARE(frames::numberOf(holder.property("frame").value<cv::Mat>()), 8);
        QCOMPARE(frame.u->refcount, 1);
    }

    void heldFrameSetAgainIsAnnouncedAgain()
    {
        class Holder : public ImageCvMatHolder
        {
        public:
            void setHeldFrame() { setFrame(frame); }
        } holder;
        holder.setFrame(frames::numbered(3));
        QSignalSpy framesCame(&holder, &ImageCvMatHolder::frameChanged);
        QSignalSpy imagesCame(&holder, &ImageHolder::imageChanged);
        holder.setHeldFrame();
        QCOMPARE(framesCame.size(), 1);
        QCOMPARE(imagesCame.size(), 1);
        QCOMPARE(frames::numberOf(holder.getFrame()), 3);
    }

    void imageOutlivesTheFrame_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("wraps");
        QTest::newRow("grey") << CV_8UC1 << true;
        QTest::newRow("colour") << CV_8UC3 << false;
        QTest::newRow("four channels") << CV_8UC4 << true;
    }

    void imageOutlivesTheFrame()
    {
        QFETCH(int, type);
        QFETCH(bool, wraps);
        QImage image;
        QImage expected;
        {
            ImageCvMatHolder holder;
            holder.setFrame(cv::Mat(5, 6, type, cv::Scalar(10, 20, 30, 40)));
            image = holder.getImage();
            expected = cvMatToQImage(holder.getFrame(), false).copy();
            QCOMPARE(holder.getFrame().data == static_cast<const QImage &>(image).constBits(), wraps);
            holder.setFrame(cv::Mat(5, 6, type, cv::Scalar(0, 0, 0, 0)));
        }
        QCOMPARE(image, expected);
    }

    void emptyImageBecomesTheFrame()
    {
        ImageCvMatHolder holder;
        QSignalSpy framesCame(&holder, &ImageCvMatHolder::frameChanged);
        QSignalSpy imagesCame(&holder, &ImageHolder::imageChanged);
        holder.setEmptyImage(QColor(1, 2, 3));
        QCOMPARE(framesCame.size(), 1);
        QCOMPARE(imagesCame.size(), 1);
        const cv::Mat frame = holder.getFrame();
        QVERIFY(!frame.empty());
        QVERIFY(frame.u != nullptr); // owns its pixels
        QCOMPARE(cv::mean(frame)[0], 3.0);
        QCOMPARE(cv::mean(frame)[2], 1.0);

        // A picture given as QImage is the base class's affair.
        holder.setImage(QImage(3, 3, QImage::Format_RGB32));
        QVERIFY(holder.getFrame().data == frame.data);
    }

    void framesMayBeFetchedWhileAnotherThreadSetsThem()
    {
        ImageCvMatHolder holder;
        std::atomic<bool> ended{false};
        std::thread source([&] {
            for (int i = 0; i < 50000; ++i)
                holder.setFrame(cv::Mat(16, 16, i % 2 ? CV_8UC1 : CV_8UC3, cv::Scalar::all(i % 256)));
            ended = true;
        });
        bool whole = true;
        while (!ended) {
            const QImage image = holder.getImage();
            const QRgb corner = image.isNull() ? 0 : image.pixel(0, 0);
            whole = whole && (image.isNull() || image.pixel(15, 15) == corner);
        }
        source.join();
        QVERIFY(whole);
    }

    void startsWithNothing()
    {
        Camera camera;
        QVERIFY(camera.getSettings() == nullptr);
        QVERIFY(!camera.getIsRunning());
        QCOMPARE(camera.getFrameSize(), QSize());
        QCOMPARE(camera.getFrameSizeCount(), 0);
        QCOMPARE(camera.getFrameRate(), 0.0);
        QVERIFY(camera.getMoniker().isEmpty());
        QVERIFY(counterOf(camera) != nullptr);
    }

    void hooksRunInOrderWhateverTheFlagSays()
    {
        QStringList log;
        {
            RecordingCamera camera(&log);
            camera.start();
            QVERIFY(camera.getIsRunning());
            camera.start();
            QCOMPARE(taken(log), QStringList({"start", "running", "start", "running"}));
            camera.stop();
            camera.stop();
            QCOMPARE(taken(log), QStringList({"stop", "stopped", "stop", "stopped"}));
            camera.finish();
            QCOMPARE(taken(log), QStringList({"stop", "stopped", "finish"}));
            camera.setIsRunning(true);
            QVERIFY(camera.getIsRunning());
            QCOMPARE(taken(log), QStringList({"running"}));
        }
        // The subclass is gone by then; only the base class's part of finish() is left.
        QCOMPARE(taken(log), QStringList({"stopped"}));
    }

    void frameSizeComesFromTheList()
    {
        QStringList log;
        RecordingCamera camera(&log);
        const QList<QSize> sizes{{640, 480}, {1280, 720}, {640, 360}};
        camera.setFrameSizes(sizes);
        camera.setFrameSizes(camera.getFrameSizes());
        QCOMPARE(taken(log), QStringList({"sizes", "sizes"}));
        QCOMPARE(camera.getFrameSize(), QSize());

        QVERIFY(!camera.setFrameSize(640, 720));
        QCOMPARE(taken(log), QStringList());
        QTest::ignoreMessage(QtDebugMsg, "New frame size QSize(1280, 720)");
        QVERIFY(camera.setFrameSize(1280, 720));
        QVERIFY(camera.setFrameSize(QSize(1280, 720)));
        QCOMPARE(taken(log),
            QStringList({"resize 1280x720", "size 1280x720", "resize 1280x720", "size 1280x720"}));
        QVERIFY(!camera.setFrameSize(QSize()));
        QCOMPARE(camera.getFrameSize(), QSize(1280, 720));

        QCOMPARE(camera.getFrameSizeAt(-1), QSize());
        QCOMPARE(camera.getFrameSizeAt(2), QSize(640, 360));
        QCOMPARE(camera.getFrameSizeAt(3), QSize());
        QCOMPARE(camera.frameSizeIndex(QSize(640, 360)), 2);
        QCOMPARE(camera.frameSizeIndex(QSize(360, 640)), -1);

        camera.setFrameSizes({QSize(1, 2)});
        QCOMPARE(camera.getFrameSize(), QSize(1280, 720));
    }

    void removedFrameSize_data()
    {
        QTest::addColumn<QList<QSize>>("sizes");
        QTest::addColumn<QSize>("removed");
        QTest::addColumn<QList<QSize>>("left");
        QTest::addColumn<QSize>("current"); // 640x480 before
        const QSize vga(640, 480);
        const QSize wide(640, 360);
        const QSize hd(1280, 720);
        QTest::newRow("another width") << QList<QSize>{vga, hd} << hd << QList<QSize>{vga} << vga;
        QTest::newRow("same width") << QList<QSize>{hd, wide, vga} << wide << QList<QSize>{hd, vga} << hd;
        QTest::newRow("the current one") << QList<QSize>{vga, wide} << vga << QList<QSize>{wide} << wide;
        QTest::newRow("the last one") << QList<QSize>{vga} << vga << QList<QSize>{} << vga;
        QTest::newRow("the first of two") << QList<QSize>{vga, hd, vga} << vga << QList<QSize>{hd, vga} << hd;
        QTest::newRow("unknown") << QList<QSize>{vga} << wide << QList<QSize>{vga} << vga;
    }

    void removedFrameSize()
    {
        QFETCH(QList<QSize>, sizes);
        QFETCH(QSize, removed);
        QFETCH(QList<QSize>, left);
        QFETCH(QSize, current);
        Camera camera;
        camera.removeFrameSize(removed);
        camera.setFrameSizes(sizes);
        QVERIFY(camera.setFrameSize(640, 480));
        QSignalSpy lists(&camera, &Camera::frameSizesChanged);
        QSignalSpy moves(&camera, &Camera::frameSizeChanged);
        camera.removeFrameSize(removed);
        QCOMPARE(camera.getFrameSizes(), left);
        QCOMPARE(camera.getFrameSize(), current);
        QCOMPARE(moves.size(), current == QSize(640, 480) ? 0 : 1);
        QCOMPARE(lists.size(), 0);
    }

    void monikerIsComparedAndTheRateIsNot()
    {
        Camera camera;
        QSignalSpy monikers(&camera, &Camera::monikerChanged);
        QSignalSpy rates(&camera, &Camera::frameRateChanged);
        for (int i = 0; i < 2; ++i) {
            camera.setMoniker(QStringLiteral("Front door"));
            camera.setFrameRate(25.0);
            camera.frameRateCounted(25.0);
        }
        QCOMPARE(camera.getMoniker(), QStringLiteral("Front door"));
        QCOMPARE(camera.getFrameRate(), 25.0);
        QCOMPARE(monikers.size(), 1);
        QCOMPARE(rates.size(), 4);
    }

    void rateCountsTheFrames()
    {
        Camera camera;
        counterOf(camera)->nextFrameAt(std::chrono::steady_clock::now().time_since_epoch() - 2s);
        QSignalSpy rates(&camera, &Camera::frameRateChanged);
        // On a worker, as network cameras do: the rate arrives through the event loop.
        std::thread([&] { camera.setFrame(frames::numbered(1)); }).join();
        QCOMPARE(rates.size(), 0);
        QTRY_COMPARE(rates.size(), 1);
        QVERIFY(camera.getFrameRate() > 0.0 && camera.getFrameRate() <= 0.5);
    }

    void rateStartsAnewWithTheSource()
    {
        Camera camera;
        camera.setFrameSizes({QSize(640, 480)});
        QVERIFY(countsOver(camera, [] {}));
        QVERIFY(countsOver(camera, [&] { camera.setFrameSize(1, 1); }));
        QVERIFY(countsOver(camera, [&] { camera.stop(); }));
        QVERIFY(!countsOver(camera, [&] { camera.start(); }));
        QVERIFY(!countsOver(camera, [&] { camera.setFrameSize(640, 480); }));
    }
};

QTEST_MAIN(CameraTest)

#include "tst_camera.moc"
