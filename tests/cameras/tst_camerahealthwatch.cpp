#include "baselib/globalconsole.h"
#include "cameras/camera.h"
#include "cameras/camerahealthwatch.h"
#include "cameras/camerastatuswidget.h"
#include "cameras/webcamera.h"
#include "support/frames.h"
#include "support/virtualcameras.h"

#include <QCamera>
#include <QSignalSpy>
#include <QtTest>

#include <atomic>
#include <thread>

using std::chrono::milliseconds;

namespace {

// A camera of the host's own and its watch, on a clock that is moved by hand.
class Bench
{
public:
    Bench()
    {
        watch.setCheckIntervalMs(0);
        watch.setClock([this] { return milliseconds(nowMs); });
        camera.setMoniker(QStringLiteral("Bench"));
        watch.setCamera(&camera);
        QObject::connect(&watch, &CameraHealthWatch::stateChanged, [this](CameraHealthWatch::State state) {
            note(QMetaEnum::fromType<CameraHealthWatch::State>().key(state));
        });
        QObject::connect(&watch, &CameraHealthWatch::outageBegan,
            [this](const CameraHealthWatch::Outage &) { note("out"); });
        QObject::connect(
            &watch, &CameraHealthWatch::outageEnded, [this](const CameraHealthWatch::Outage &outage) {
                note("back " + QByteArray::number(outage.lengthMs));
            });
        GlobalConsole::setSink([this](const QString &text, const QDateTime &) { console << text; });
    }

    ~Bench() { GlobalConsole::setSink({}); }

    // "start", "stop", "frame", "error", "check", or a number of milliseconds that go by.
    void run(const QString &steps)
    {
        for (const QString &step : steps.split(QLatin1Char(' '))) {
            if (step == QLatin1String("start"))
                camera.start();
            else if (step == QLatin1String("stop"))
                camera.stop();
            else if (step == QLatin1String("frame"))
                camera.setFrame(frames::numbered(1));
            else if (step == QLatin1String("error"))
                watch.reportError(QStringLiteral("no power"));
            else if (step == QLatin1String("check"))
                watch.check();
            else
                nowMs = nowMs + step.toInt();
        }
    }

    std::atomic<int> nowMs{5000};
    Camera camera;
    CameraHealthWatch watch; // goes before the camera
    QStringList log;
    QStringList console;

private:
    void note(const QByteArray &text) { log << QString::fromLatin1(text); }
};

} // namespace

class CameraHealthWatchTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void statesAndOutages_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("log");
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("totalMs");
        const auto row = [](const char *name, const char *steps, const char *log, int count, int totalMs) {
            QTest::newRow(name) << QString(steps) << QString(log) << count << totalMs;
        };
        row("frames of a camera that is off", "frame check 9000 check", "", 0, 0);
        row("slow start", "start 9999 check frame check", "Starting,Live", 0, 0);
        row("no start", "start 10000 check 500 frame check", "Starting,out,Offline,back 10500,Live", 1,
            10500);
        row("no start, seen late", "start 10500 frame check", "Starting,out,back 10500,Live", 1, 10500);
        row("just in time", "start frame 1999 check frame 1999 frame check", "Starting,Live", 0, 0);
        row("late", "start frame check 2000 check 1 frame 7 check",
            "Starting,Live,out,Stalled,back 2001,Live", 1, 2001);
        row("late, seen late", "start frame check 2500 frame 5 frame check", "Starting,Live,out,back 2500", 1,
            2500);
        row("gone", "start frame check 2000 check 8000 check 5000 check", "Starting,Live,out,Stalled,Offline",
            1, 15000);
        row("gone and back", "start frame check 12000 check frame check 3000 check",
            "Starting,Live,out,Offline,back 12000,Live,out,Stalled", 2, 15000);
        row("stopped meanwhile", "start frame check 3000 check 1000 stop 5000 check",
            "Starting,Live,out,Stalled,back 4000,Off", 1, 4000);
        row("stopped before it was seen", "start frame check 3000 stop",
            "Starting,Live,out,Stalled,back 3000,Off", 1, 3000);
        row("started anew meanwhile", "start frame check 3000 check start 1000 check frame check",
            "Starting,Live,out,Stalled,back 4000,Live", 1, 4000);
        row("pause is no outage", "start frame check stop 60000 start 10 frame check",
            "Starting,Live,Off,Starting,Live", 0, 0);
        row("error", "start frame check 100 error check 50 frame check",
            "Starting,Live,out,Offline,back 150,Live", 1, 150);
        row("error that changes nothing", "start frame check 100 error frame check", "Starting,Live", 0, 0);
        row("error while it stalls", "start frame check 2000 check error check",
            "Starting,Live,out,Stalled,Offline", 1, 2000);
        row("error of a camera that is off", "error start frame check", "Starting,Live", 0, 0);
        row("error of the start", "start 10 error check 10 frame check", "Starting,out,Offline,back 20,Live",
            1, 20);
    }

    void statesAndOutages()
    {
        QFETCH(QString, steps);
        QFETCH(QString, log);
        QFETCH(int, count);
        QFETCH(int, totalMs);
        Bench bench;
        bench.run(steps);
        QCOMPARE(bench.log.join(QLatin1Char(',')), log);
        QCOMPARE(bench.watch.outageCount(), count);
        QCOMPARE(bench.watch.totalOutageMs(), qint64(totalMs));
        qint64 sum = 0;
        for (const CameraHealthWatch::Outage &outage : bench.watch.outages())
            sum += outage.lengthMs;
        QCOMPARE(sum, qint64(totalMs));
    }

    void boundsAreTheHosts()
    {
        Bench bench;
        QCOMPARE(bench.watch.frameAgeMs(), qint64(-1));
        bench.watch.setStalledAfterMs(20000);
        bench.watch.setOfflineAfterMs(60000);
        bench.run(QStringLiteral("start frame 19999 check"));
        QCOMPARE(bench.watch.state(), CameraHealthWatch::Live);
        QCOMPARE(bench.watch.frameAgeMs(), qint64(19999));
        bench.run(QStringLiteral("1 check 39999 check"));
        QCOMPARE(bench.watch.state(), CameraHealthWatch::Stalled);
        bench.watch.setOfflineAfterMs(0); // becomes 1
        bench.run(QStringLiteral("frame check 1 check"));
        QCOMPARE(bench.watch.offlineAfterMs(), 1);
        QCOMPARE(bench.watch.state(), CameraHealthWatch::Offline);
    }

    void outageTellsItsBeginAndItsError()
    {
        Bench bench;
        bench.run(QStringLiteral("start frame 5000 check"));
        const CameraHealthWatch::Outage lasting = bench.watch.outages().value(0);
        QVERIFY(!lasting.isOver);
        QCOMPARE(lasting.lengthMs, qint64(5000));
        const qint64 agoMs = lasting.began.msecsTo(QDateTime::currentDateTime());
        QVERIFY2(agoMs >= 5000 && agoMs < 65000, qPrintable(QString::number(agoMs)));
        QCOMPARE(bench.console, QStringList());

        bench.run(QStringLiteral("error check 1000 frame check"));
        const CameraHealthWatch::Outage over = bench.watch.outages().value(0);
        QVERIFY(over.isOver);
        QCOMPARE(over.error, QStringLiteral("no power"));
        QCOMPARE(bench.watch.lastError(), QStringLiteral("no power"));
        QCOMPARE(bench.console,
            QStringList({"Camera Bench: no power", "Camera Bench: gives frames again, after 6.0 s"}));

        bench.watch.setCamera(nullptr);
        QCOMPARE(bench.watch.outageCount(), 0);
        QVERIFY(bench.watch.lastError().isEmpty());
    }

    void onlyTheLatestOutagesAreListed()
    {
        Bench bench;
        bench.run(QStringLiteral("start frame"));
        for (int i = 1; i <= 1010; ++i)
            bench.run(QStringLiteral("%1 frame check").arg(2000 + i));
        QCOMPARE(bench.watch.outages().size(), 1000);
        QCOMPARE(bench.watch.outages().first().lengthMs, qint64(2011));
        QCOMPARE(bench.watch.outageCount(), 1010);
        QCOMPARE(bench.watch.totalOutageMs(), qint64(1010 * 2000 + 1010 * 1011 / 2));
    }

    void receiversMayTakeTheCameraAway()
    {
        Bench bench;
        Camera other;
        connect(&bench.watch, &CameraHealthWatch::outageBegan, &bench.camera, &Camera::stop);
        bench.run(QStringLiteral("start frame 2000 frame 2000 check"));
        QCOMPARE(bench.watch.state(), CameraHealthWatch::Off);
        connect(
            &bench.watch, &CameraHealthWatch::outageEnded, &other, [&] { bench.watch.setCamera(&other); });
        bench.run(QStringLiteral("start frame 2000 check"));
        QCOMPARE(bench.watch.camera(), &other);
        QCOMPARE(bench.watch.state(), CameraHealthWatch::Off);
        QCOMPARE(bench.watch.outageCount(), 0);
    }

    void framesMayComeOnAnyThread()
    {
        Camera camera;
        std::atomic<bool> ended{false};
        std::thread source;
        {
            CameraHealthWatch watch(&camera);
            watch.setCheckIntervalMs(1);
            camera.start();
            source = std::thread([&] {
                while (!ended)
                    camera.setFrame(cv::Mat(4, 4, CV_8UC3, cv::Scalar::all(0)));
            });
            QTRY_COMPARE(watch.state(), CameraHealthWatch::Live);
        } // while frames come
        ended = true;
        source.join();
    }

    void cameraMayBeDeleted()
    {
        auto camera = std::make_unique<Camera>();
        CameraHealthWatch watch(camera.get());
        CameraStatusWidget widget(&watch);
        camera->start();
        QCOMPARE(watch.state(), CameraHealthWatch::Starting);
        QCOMPARE(widget.text(), QStringLiteral("Starting"));
        camera.reset();
        QCOMPARE(watch.state(), CameraHealthWatch::Off);
        QVERIFY(watch.camera() == nullptr);
        QCOMPARE(widget.text(), QStringLiteral("No camera"));
    }

    void errorsOfTheDeviceCount()
    {
        virtualcameras::Device device{QStringLiteral("Dying camera")};
        device.diesAfter = 3;
        virtualcameras::setDevices({device});
        WebCamera camera(QCameraInfo::availableCameras().value(0));
        CameraHealthWatch watch(&camera);
        watch.setCheckIntervalMs(1);
        camera.start();
        QTRY_COMPARE(watch.state(), CameraHealthWatch::Offline);
        QVERIFY(watch.frameAgeMs() >= 0);
        QVERIFY(!watch.lastError().isEmpty());
        QCOMPARE(watch.outages().value(0).error, watch.lastError());
        camera.stop();
        camera.start();
        QTRY_COMPARE(watch.state(), CameraHealthWatch::Live);
        QVERIFY(watch.outages().value(0).isOver);
        camera.finish();
    }

    void statusIsShown_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("details");
        QTest::newRow("off") << "check"
                             << "Off"
                             << "Bench<br>No frame yet";
        QTest::newRow("live") << "start frame check"
                              << "Live"
                              << "Bench<br>Last frame 00:00 ago";
        QTest::newRow("stalled") << "start frame 3000 check"
                                 << "Stalled 00:03"
                                 << "Bench<br>Last frame 00:03 ago<br>1 outage, 00:03 in all";
        QTest::newRow("offline")
            << "start frame 2000 frame 1000 error 64000 check"
            << "Offline 01:05"
            << "Bench<br>Last frame 01:05 ago<br>2 outages, 01:07 in all<br>Last error: no power";
    }

    void statusIsShown()
    {
        QFETCH(QString, steps);
        QFETCH(QString, text);
        QFETCH(QString, details);
        QTranslator english; // for the plural
        QVERIFY(english.load(QStringLiteral(":/translations/VTCV_en_US.qm")));
        QCoreApplication::installTranslator(&english);
        Bench bench;
        CameraStatusWidget widget(&bench.watch);
        bench.run(steps);
        QCOMPARE(widget.text(), text);
        QCOMPARE(widget.accessibleDescription(), text);
        QCOMPARE(widget.toolTip(), details);
        QCoreApplication::removeTranslator(&english);
    }

    void dotSuitsThePalette()
    {
        Bench bench;
        CameraStatusWidget widget(&bench.watch);
        bench.run(QStringLiteral("start frame check"));
        const QColor onLight = widget.color();
        QPalette dark;
        dark.setColor(QPalette::Window, Qt::black);
        dark.setColor(QPalette::WindowText, Qt::white);
        widget.setPalette(dark);
        QVERIFY(widget.color().lightness() > onLight.lightness());
        const QImage image = widget.grab().toImage();
        const QSize dot = widget.findChild<QWidget *>()->size();
        QCOMPARE(image.pixelColor(dot.width() / 2, image.height() / 2), widget.color());
    }
};

QTEST_MAIN(CameraHealthWatchTest)

#include "tst_camerahealthwatch.moc"
