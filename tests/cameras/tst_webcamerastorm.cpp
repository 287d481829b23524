#include "cameras/camerasettings.h"
#include "cameras/webcamera.h"
#include "support/virtualcameras.h"

#include <QCamera>
#include <QtTest>

#include <array>
#include <memory>
#include <random>

/** Four faulty cameras that are started, stopped, finished and deleted in random order. */
class WebCameraStormTest : public QObject
{
    Q_OBJECT

private:
    struct Slot
    {
        QCameraInfo info;
        std::unique_ptr<WebCamera> camera;
        bool deletesItself = false; // with its next frame, as a host may do
        int frames = 0;
    };

    void fill(Slot *slot)
    {
        slot->camera = std::make_unique<WebCamera>(slot->info, nullptr);
        devices << slot->camera->device();
        const WebCamera *const mine = slot->camera.get();
        connect(mine, &Camera::frameChanged, this, [this, slot, mine](const cv::Mat &frame) {
            ++slot->frames;
            ++allFrames;
            strangers += slot->camera.get() != mine; // a call of a camera that is gone
            strangers += frame.empty() || frame.at<cv::Vec3b>(0, 0)[0] > 63;
            if (std::exchange(slot->deletesItself, false))
                slot->camera.reset();
        });
    }

    QVector<QPointer<QCamera>> devices; // all that there have been
    int strangers = 0;
    int allFrames = 0;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(home.isValid());
        qputenv("HOME", QFile::encodeName(home.path()));
#ifdef VARNHOLD_TSAN
        cv::setNumThreads(0); // the sanitizer does not see how OpenCV's threads wait for each other
#endif
    }

    void camerasLiveThroughAThousandCalls()
    {
        using virtualcameras::Device;
        Device slow{QStringLiteral("slow"), {{64, 48}, {32, 24}}};
        slow.startBlocksMs = 15;
        slow.frameRate = 300;
        Device bad{QStringLiteral("bad"), {{64, 48}}, QVideoFrame::Format_RGB565};
        bad.invalidEvery = 4;
        bad.unmappableEvery = 3;
        bad.frameRate = 1000;
        Device mortal{QStringLiteral("mortal"), {{48, 64}}};
        mortal.diesAfter = 5;
        mortal.startBlocksMs = 3;
        mortal.frameRate = 500;
        Device onGui{QStringLiteral("GUI"), {{64, 48}}};
        onGui.onGuiThread = true;
        onGui.invalidEvery = 7;
        onGui.frameRate = 300;
        virtualcameras::setDevices({slow, bad, mortal, onGui});
        const QList<QCameraInfo> infos = QCameraInfo::availableCameras();
        std::array<Slot, 4> slots_;
        for (size_t i = 0; i < slots_.size(); ++i) {
            slots_[i].info = infos[int(i)];
            fill(&slots_[i]);
        }

        const unsigned seed = qEnvironmentVariableIsSet("VTCV_STORM_SEED")
            ? qEnvironmentVariableIntValue("VTCV_STORM_SEED")
            : std::random_device()();
        qInfo("VTCV_STORM_SEED=%u", seed);
        std::mt19937 random(seed);
        const auto upTo = [&](int count) { return int(random() % unsigned(count)); };
        QVector<qint64> startTimes;
        QElapsedTimer startTimer;
        QElapsedTimer timer;
        timer.start();
        for (int call = 0; call < 1000; ++call) {
            Slot &slot = slots_[size_t(upTo(4))];
            if (!slot.camera)
                fill(&slot);
            WebCamera *const camera = slot.camera.get();
            switch (upTo(10)) {
            case 0:
            case 1:
            case 2:
                startTimer.start();
                camera->start();
                startTimes << startTimer.nsecsElapsed();
                break;
            case 3:
                camera->stop();
                break;
            case 4:
                camera->finish();
                break;
            case 5:
                slot.camera.reset();
                break;
            case 6:
                slot.deletesItself = true;
                break;
            case 7:
                camera->setFrameSize(camera->getFrameSizeAt(upTo(2)));
                break;
            case 8:
                camera->useCVTColor(upTo(4) != 0);
                camera->getSettings()->setRotation(CameraSettings::CameraRotation(upTo(4)));
                break;
            case 9:
                slow.available = upTo(4) != 0;
                slow.name = "virtual0";
                virtualcameras::setDevices({slow, bad, mortal, onGui});
                break;
            }
            if (upTo(3) == 0)
                QTest::qWait(upTo(12));
        }
        QVERIFY(timer.elapsed() < 120'000);
        std::sort(startTimes.begin(), startTimes.end());
        const qint64 median = startTimes.value(startTimes.size() / 2);
        qInfo("%d cameras, %d frames; start() took %.3f ms, %.3f ms at most", devices.size(), allFrames,
            double(median) / 1e6, double(startTimes.last()) / 1e6);
        QVERIFY(median < 5'000'000);

        // Each can still be used, and each leaves nothing behind.
        slow.available = true;
        virtualcameras::setDevices({slow, bad, mortal, onGui});
        for (Slot &slot : slots_) {
            if (!slot.camera)
                fill(&slot);
            slot.deletesItself = false;
            slot.camera->useCVTColor(true);
            slot.camera->stop();
            slot.camera->start();
            slot.frames = 0;
        }
        for (const Slot &slot : slots_)
            QTRY_VERIFY(slot.frames > 1);
        for (Slot &slot : slots_)
            slot.camera.reset();
        QTRY_COMPARE(virtualcameras::streaming(), 0);
        QTRY_VERIFY(
            std::all_of(devices.cbegin(), devices.cend(), [](const auto &device) { return !device; }));
        QCOMPARE(strangers, 0);
        QCOMPARE(virtualcameras::framesWrittenTo(), 0);
    }

private:
    QTemporaryDir home;
};

QTEST_MAIN(WebCameraStormTest)

#include "tst_webcamerastorm.moc"
