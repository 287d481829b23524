#include "baselib/frameratecounter.h"
#include "baselib/globalconsole.h"
#include "cameras/webcamera.h"
#include "cameras/webcamerasettings_p.h"
#include "support/metaface.h"
#include "support/virtualcameras.h"

#include <QCamera>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

using virtualcameras::Device;

namespace {

// Plugs in one device. Its description is used once, so that no test sees another one's settings file.
QCameraInfo plugIn(Device device)
{
    static int count = 0;
    device.description = QStringLiteral("Camera %1").arg(++count);
    virtualcameras::setDevices({device});
    return QCameraInfo::availableCameras().value(0);
}

int numberOf(const cv::Mat &frame)
{
    return frame.empty() ? -1 : frame.at<cv::Vec3b>(0, 0)[2];
}

// Counts the frames that come, and looks whether each is the successor of the one before.
class Consumer : public QObject
{
public:
    explicit Consumer(WebCamera *camera)
    {
        connect(camera, &Camera::frameChanged, this, [this](cv::Mat frame) {
            const int number = numberOf(frame);
            lost += count++ > 0 ? (number - last + 255) % 256 : 0;
            last = number;
            size = QSize(frame.cols, frame.rows);
        });
    }

    int count = 0;
    int lost = 0;
    int last = -1;
    QSize size;
};

} // namespace

class WebCameraTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(home.isValid());
        qputenv("HOME", QFile::encodeName(home.path())); // settings files go there
#ifdef VARNHOLD_TSAN
        cv::setNumThreads(0); // the sanitizer does not see how OpenCV's threads wait for each other
#endif
    }

    void cleanup()
    {
        // Whatever a test did: no device runs on without a camera, and no mapped frame was written to.
        QTRY_COMPARE(virtualcameras::streaming(), 0);
        QCOMPARE(virtualcameras::framesWrittenTo(), 0);
        GlobalConsole::FullOptimization = false;
    }

    void metaObjectIsComplete()
    {
        QCOMPARE(metaface::ofClass(WebCamera::staticMetaObject), QStringList({"slot imageReady(cv::Mat)"}));
    }

    void sizesOfTheDevice_data()
    {
        QTest::addColumn<QList<QSize>>("offered");
        QTest::addColumn<QList<QSize>>("sizes");
        const QSize vga(640, 480);
        const QSize hd(1280, 720);
        const QSize full(1920, 1080);
        QTest::newRow("too wide and twice")
            << QList<QSize>{vga, {2560, 1440}, hd, hd} << QList<QSize>{hd, vga};
        QTest::newRow("just narrow enough") << QList<QSize>{full, {1921, 10}} << QList<QSize>{full};
        QTest::newRow("none of use") << QList<QSize>{{3840, 2160}, {2560, 1440}} << QList<QSize>{};
    }

    void sizesOfTheDevice()
    {
        QFETCH(QList<QSize>, offered);
        QFETCH(QList<QSize>, sizes);
        WebCamera camera(plugIn({{}, offered}), nullptr);
        QCOMPARE(camera.getFrameSizes(), sizes);
        QCOMPARE(camera.getFrameSize(), sizes.value(0, QSize()));
    }

    void newCameraWaits()
    {
        const QCameraInfo info = plugIn({});
        WebCamera camera(info, nullptr);
        QCOMPARE(camera.getMoniker(), info.description());
        QVERIFY(qobject_cast<WebCameraSettings *>(camera.getSettings()) != nullptr);
        QVERIFY(!camera.getIsRunning());
        QVERIFY(camera.getFrame().empty());
        QVERIFY(camera.getImage().isNull());
        QCOMPARE(camera.device()->state(), QCamera::LoadedState);
        QCOMPARE(virtualcameras::streaming(), 0);
    }

    void framesComeBetweenStartAndStop_data()
    {
        QTest::addColumn<bool>("onGuiThread");
        QTest::newRow("device thread") << false;
        QTest::newRow("GUI thread") << true;
    }

    void framesComeBetweenStartAndStop()
    {
        QFETCH(bool, onGuiThread);
        Device device{{}, {{64, 48}, {32, 24}}};
        device.onGuiThread = onGuiThread;
        WebCamera camera(plugIn(device), nullptr);
        Consumer consumer(&camera);
        QSignalSpy images(&camera, &ImageHolder::imageChanged);
        for (int round = 0; round < 2; ++round) {
            camera.start();
            QVERIFY(camera.getIsRunning());
            QTRY_VERIFY(consumer.count >= 3);
            QCOMPARE(consumer.size, QSize(64, 48));
            camera.stop();
            QVERIFY(!camera.getIsRunning());
            QCoreApplication::processEvents(); // frames that were on their way
            QCOMPARE(camera.device()->state(), QCamera::LoadedState);
            QCOMPARE(consumer.lost, 0);
            QCOMPARE(consumer.count, virtualcameras::framesTaken());
            QCOMPARE(images.size(), consumer.count);
            // Upside down: the device's last row is on top.
            QCOMPARE(camera.getImage().pixel(5, 1), qRgb(consumer.last, 46, 5));
            QCOMPARE(camera.getFrame().at<cv::Vec3b>(1, 5), cv::Vec3b(5, 46, uchar(consumer.last)));
            virtualcameras::setDevices({}); // the count begins anew, and so does the device
            QVERIFY(round == 1 || !camera.device()->isAvailable());
            device.name = "virtual0";
            virtualcameras::setDevices({device});
            consumer.count = 0;
            images.clear();
        }
    }

    void sizeAndOrientationMayChangeWhileRunning()
    {
        WebCamera camera(plugIn({{}, {{64, 48}, {32, 24}}}), nullptr);
        Consumer consumer(&camera);
        camera.start();
        QTRY_COMPARE(consumer.size, QSize(64, 48));
        QVERIFY(camera.setFrameSize(32, 24));
        QTRY_COMPARE(consumer.size, QSize(32, 24));
        camera.getSettings()->setRotation(CameraSettings::Rotate90);
        QTRY_COMPARE(consumer.size, QSize(24, 32));
        QCOMPARE(camera.getFrameSize(), QSize(32, 24));
        camera.getSettings()->setFlip(CameraSettings::FlipX);
        // Counterclockwise, then mirrored: the device's right upper corner.
        QTRY_COMPARE(camera.getFrame().at<cv::Vec3b>(0, 23)[1], uchar(0));
        QCOMPARE(camera.getFrame().at<cv::Vec3b>(0, 23)[0], uchar(31));

        QSignalSpy frames(&camera, &Camera::frameChanged);
        camera.useCVTColor(false);
        QTRY_COMPARE(camera.getFrame().type(), CV_8UC4);
        camera.getSettings()->resetFlip();
        camera.getSettings()->setRotation(CameraSettings::Rotate180);
        QTRY_COMPARE(camera.getFrame().size(), cv::Size(32, 24));
        const cv::Mat kept = camera.getFrame();
        const int number = kept.at<cv::Vec4b>(0, 0)[2];
        camera.useCVTColor(true);
        QTRY_COMPARE(camera.getFrame().type(), CV_8UC3);
        camera.finish();
        QCOMPARE(cv::norm(kept, virtualcameras::picture({32, 24}, number), cv::NORM_INF), 0.0);
    }

    void settingsOfTheFileCountFromTheStart()
    {
        const QCameraInfo info = plugIn({});
        WebCamera(info, nullptr).getSettings()->setRotation(CameraSettings::Rotate270);
        WebCamera camera(info, nullptr);
        Consumer consumer(&camera);
        camera.start();
        QTRY_COMPARE(consumer.size, QSize(48, 64));
    }

    void viewersAreLeftOutUnderFullOptimization()
    {
        WebCamera camera(plugIn({}), nullptr);
        QSignalSpy frames(&camera, &Camera::frameChanged);
        QSignalSpy images(&camera, &ImageHolder::imageChanged);
        QSignalSpy rates(&camera, &Camera::frameRateChanged);
        auto *const counter = camera.findChild<FrameRateCounter *>();
        using namespace std::chrono_literals;
        const auto now = [] { return std::chrono::steady_clock::now().time_since_epoch(); };
        counter->nextFrameAt(now() - 2s);
        GlobalConsole::FullOptimization = true;
        camera.imageReady(virtualcameras::picture({8, 8}, 1));
        QCOMPARE(frames.size(), 1);
        QCOMPARE(images.size(), 0);
        QCOMPARE(rates.size(), 0);

        GlobalConsole::FullOptimization = false;
        camera.setFrame(virtualcameras::picture({8, 8}, 2));
        QCOMPARE(frames.size(), 2);
        QCOMPARE(images.size(), 1);
        QCOMPARE(rates.size(), 1);
        // The frame has ticked twice, once before the report and once after it.
        counter->nextFrameAt(now() + 2s);
        QVERIFY(qAbs(camera.getFrameRate() - 1.0) < 0.2);
    }

    // What may come while a device takes its time to start. In each case start() is back before the device.
    void callsWhileTheDeviceStarts_data()
    {
        QTest::addColumn<QStringList>("calls");
        QTest::addColumn<bool>("runs");
        QTest::newRow("nothing") << QStringList{} << true;
        QTest::newRow("start again") << QStringList{"start"} << true;
        QTest::newRow("stop") << QStringList{"stop"} << false;
        QTest::newRow("finish") << QStringList{"finish"} << false;
        QTest::newRow("stop and start") << QStringList{"stop", "start"} << true;
        QTest::newRow("start, stop, size") << QStringList{"start", "stop", "size"} << false;
        QTest::newRow("size") << QStringList{"size"} << true;
        QTest::newRow("delete") << QStringList{"delete"} << false;
        QTest::newRow("stop and delete") << QStringList{"stop", "delete"} << false;
    }

    void callsWhileTheDeviceStarts()
    {
        QFETCH(QStringList, calls);
        QFETCH(bool, runs);
        Device device{{}, {{64, 48}, {32, 24}}};
        device.startBlocksMs = 700;
        auto camera = std::make_unique<WebCamera>(plugIn(device), nullptr);
        QPointer<QCamera> qCamera = camera->device();
        Consumer consumer(camera.get());

        QElapsedTimer timer;
        timer.start();
        camera->start();
        for (const QString &call : calls) {
            if (call == QLatin1String("start"))
                camera->start();
            else if (call == QLatin1String("stop"))
                camera->stop();
            else if (call == QLatin1String("finish"))
                camera->finish();
            else if (call == QLatin1String("size"))
                QVERIFY(camera->setFrameSize(32, 24));
            else
                camera.reset();
        }
        QVERIFY(timer.elapsed() < device.startBlocksMs); // nobody has waited for the device
        QCOMPARE(virtualcameras::streaming(), 0);

        if (runs) {
            QTRY_VERIFY(consumer.count > 2);
            QCOMPARE(consumer.size, calls.contains(QStringLiteral("size")) ? QSize(32, 24) : QSize(64, 48));
            QCOMPARE(qCamera->state(), QCamera::ActiveState);
            camera->stop();
        } else {
            // Nobody may leave the device running once it has started.
            QTRY_VERIFY(timer.elapsed() > device.startBlocksMs + 100 && virtualcameras::streaming() == 0);
            QVERIFY(calls.contains(QStringLiteral("delete")) == qCamera.isNull());
        }
        if (camera) {
            // And the camera can be started as ever.
            camera->start();
            const int before = consumer.count;
            QTRY_VERIFY(consumer.count > before);
        }
    }

    void absentDeviceGivesNoFrames()
    {
        Device device;
        device.available = false;
        const QCameraInfo info = plugIn(device);
        WebCamera camera(info, nullptr);
        Consumer consumer(&camera);
        camera.start();
        QVERIFY(camera.getIsRunning());
        QVERIFY(!QSignalSpy(&camera, &Camera::frameChanged).wait(200));
        QCOMPARE(virtualcameras::streaming(), 0);
        device.available = true;
        device.name = info.deviceName().toLatin1();
        virtualcameras::setDevices({device});
        camera.start();
        QTRY_VERIFY(consumer.count > 0);
    }

    void deviceThatDiesCanBeStartedAnew()
    {
        Device device;
        device.diesAfter = 5;
        WebCamera camera(plugIn(device), nullptr);
        Consumer consumer(&camera);
        QSignalSpy errors(camera.device(), QOverload<QCamera::Error>::of(&QCamera::error));
        for (int round = 1; round <= 2; ++round) {
            camera.start();
            QTRY_COMPARE(consumer.count, 5 * round);
            QTRY_COMPARE(errors.size(), round);
            QVERIFY(camera.getIsRunning()); // says what was asked for
        }
        // Unplugged while it runs.
        device = {};
        device.name = "virtual0";
        virtualcameras::setDevices({device});
        camera.start();
        QTRY_VERIFY(consumer.count > 10);
        virtualcameras::setDevices({});
        QTRY_COMPARE(errors.size(), 3);
    }

    void badFramesAreLeftOut()
    {
        Device device;
        device.frameRate = 200;
        device.invalidEvery = 5;
        device.unmappableEvery = 3;
        WebCamera camera(plugIn(device), nullptr);
        QSet<int> numbers;
        connect(&camera, &Camera::frameChanged, [&](cv::Mat frame) { numbers << numberOf(frame); });
        camera.start();
        QTRY_VERIFY(numbers.contains(30));
        QVERIFY(!numbers.contains(2) && !numbers.contains(4) && !numbers.contains(14));
        QVERIFY(numbers.contains(0) && numbers.contains(1) && numbers.contains(3) && numbers.contains(15));
    }

    void cameraMayBeDeletedByItsConsumer_data()
    {
        QTest::addColumn<bool>("byImage");
        QTest::newRow("frameChanged") << false;
        QTest::newRow("imageChanged") << true;
    }

    void cameraMayBeDeletedByItsConsumer()
    {
        QFETCH(bool, byImage);
        auto *camera = new WebCamera(plugIn({}), nullptr);
        const QPointer<QCamera> device = camera->device();
        const auto drop = [&] { delete std::exchange(camera, nullptr); };
        if (byImage)
            connect(camera, &ImageHolder::imageChanged, drop);
        else
            connect(camera, &Camera::frameChanged, drop);
        camera->start();
        QTRY_VERIFY(camera == nullptr);
        QVERIFY(device.isNull());
    }

    void framesThatNobodyTakesDoNotFillTheMemory()
    {
        QStringList lines;
        QMutex mutex;
        GlobalConsole::setSink([&](const QString &text, const QDateTime &) {
            const QMutexLocker lock(&mutex);
            lines << text;
        });
        Device device;
        device.frameRate = 2000;
        WebCamera camera(plugIn(device), nullptr);
        Consumer consumer(&camera);
        camera.start();
        // The event loop does not run meanwhile, as in a host that is busy.
        QElapsedTimer timer;
        timer.start();
        while (virtualcameras::framesTaken() < 300 && timer.elapsed() < 30'000)
            QThread::msleep(1);
        camera.stop();
        QTRY_VERIFY(consumer.count > 0 && virtualcameras::streaming() == 0);
        const int kept = consumer.count;
        GlobalConsole::setSink({});
        QCOMPARE(kept, 120);
        QCOMPARE(consumer.lost, 0); // of those before the limit
        QCOMPARE(lines.size(), 1);
        QVERIFY(lines.first().contains(camera.getMoniker()));
    }

    // VTCV_ROAD_SECONDS=30 for a long look.
    void everyFrameOfAFastDeviceArrives()
    {
        const int seconds = qEnvironmentVariableIsSet("VTCV_ROAD_SECONDS")
            ? qEnvironmentVariableIntValue("VTCV_ROAD_SECONDS")
            : 2;
        WebCamera camera(plugIn({{}, {{1920, 1080}}}), nullptr);
        Consumer consumer(&camera);
        camera.start();
        QTRY_VERIFY_WITH_TIMEOUT(consumer.count >= 60 * seconds, 1000 * (3 * seconds + 60));
        camera.stop();
        QTRY_COMPARE(consumer.count, virtualcameras::framesTaken());
        QCOMPARE(consumer.lost, 0);
        QCOMPARE(consumer.size, QSize(1920, 1080));
        qInfo("%d frames of 1920x1080 delivered, %d arrived", virtualcameras::framesTaken(), consumer.count);
    }

private:
    QTemporaryDir home;
};

QTEST_MAIN(WebCameraTest)

#include "tst_webcamera.moc"
