#include "baselib/globalconsole.h"
#include "cameras/camerahotplugwatch.h"
#include "cameras/camerawatcher.h"
#include "cameras/devicemonitor_p.h"
#include "cameras/webcamera.h"
#include "support/virtualcameras.h"

#include <QSignalSpy>
#include <QtEndian>
#include <QtTest>

#ifdef VTCV_WITH_UDEV
#include <cerrno>
#include <cstring>
#include <linux/netlink.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

namespace {

// Plugs in what `list` names, such as "Front@1 Back@2", and nothing else. The part behind the @ is the name
// in the system.
void plugIn(const QString &list)
{
    QVector<virtualcameras::Device> devices;
    for (const QString &entry : list.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        virtualcameras::Device device{
            entry.section(QLatin1Char('@'), 0, 0).replace(QLatin1Char('_'), QLatin1Char(' '))};
        device.name = entry.section(QLatin1Char('@'), 1).toLatin1();
        devices.append(device);
    }
    virtualcameras::setDevices(devices);
}

QList<Camera *> listed()
{
    QList<Camera *> cameras;
    for (int i = 0; i < CameraWatcher::Instance()->count(); ++i)
        cameras.append(CameraWatcher::Instance()->at(i));
    return cameras;
}

#ifdef VTCV_WITH_UDEV
quint32 murmur2(const QByteArray &text)
{
    constexpr quint32 factor = 0x5bd1e995;
    quint32 hash = quint32(text.size());
    int i = 0;
    for (; text.size() - i >= 4; i += 4) {
        quint32 part = qFromUnaligned<quint32>(text.constData() + i) * factor;
        part = (part ^ (part >> 24)) * factor;
        hash = (hash * factor) ^ part;
    }
    quint32 rest = 0;
    for (int byte = text.size() - 1; byte >= i; --byte)
        rest = (rest << 8) | quint8(text[byte]);
    if (i < text.size())
        hash = (hash ^ rest) * factor;
    hash = (hash ^ (hash >> 13)) * factor;
    return hash ^ (hash >> 15);
}

// Reports a device as the daemon of udev does. False, with the reason, where that is not allowed.
bool report(const QByteArray &subsystem, QString *reason)
{
    QByteArray properties;
    for (const QByteArray &entry : {QByteArray("ACTION=add"), QByteArray("DEVPATH=/devices/virtual/test0"),
             QByteArray("SEQNUM=1"), "SUBSYSTEM=" + subsystem})
        properties += entry + '\0';
    struct Header
    {
        char prefix[8] = "libudev";
        quint32 magic = qToBigEndian(0xfeedcafe);
        quint32 size = sizeof(Header);
        quint32 propertiesOffset = sizeof(Header);
        quint32 propertiesLength = 0;
        quint32 subsystemHash = 0;
        quint32 others[3] = {};
    } header;
    header.propertiesLength = quint32(properties.size());
    header.subsystemHash = qToBigEndian(murmur2(subsystem));
    const QByteArray message =
        QByteArray(reinterpret_cast<const char *>(&header), sizeof(header)) + properties;

    const int handle = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT);
    sockaddr_nl everybody{};
    everybody.nl_family = AF_NETLINK;
    everybody.nl_groups = 2;
    const auto *const address = reinterpret_cast<const sockaddr *>(&everybody);
    pollfd arrival{socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT), POLLIN, 0};
    const bool isSent = handle >= 0 && arrival.fd >= 0 && bind(arrival.fd, address, sizeof(everybody)) == 0
        && sendto(handle, message.constData(), size_t(message.size()), 0, address, sizeof(everybody))
            == message.size();
    *reason = isSent ? QStringLiteral("the system keeps it back") : QString::fromLocal8Bit(strerror(errno));
    const bool hasArrived = isSent && poll(&arrival, 1, 1000) == 1;
    close(handle);
    close(arrival.fd);
    return hasArrived;
}
#endif

} // namespace

class CameraHotplugWatchTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(home.isValid());
        qputenv("HOME", QFile::encodeName(home.path())); // settings files go there
    }

    void cleanup()
    {
        const QList<Camera *> cameras = listed();
        CameraWatcher::Instance()->removeWatcher();
        qDeleteAll(cameras);
        GlobalConsole::setSink({});
        QTRY_COMPARE(virtualcameras::streaming(), 0);
    }

    // + is new, - is gone, = is back
    void camerasComeAndGo_data()
    {
        QTest::addColumn<QStringList>("plugged"); // one entry a look
        QTest::addColumn<QString>("log");
        QTest::addColumn<QString>("cameras"); // all that are listed at the end
        QTest::newRow("nothing") << QStringList{"", ""} << ""
                                 << "";
        QTest::newRow("the same") << QStringList{"A@1 B@2", "A@1 B@2"} << ""
                                  << "A B";
        QTest::newRow("another order") << QStringList{"A@1 B@2", "B@2 A@1"} << ""
                                       << "A B";
        QTest::newRow("the first") << QStringList{"", "A@1"} << "+A"
                                   << "A";
        QTest::newRow("one more") << QStringList{"B@2", "A@1 B@2"} << "+A"
                                  << "B A";
        QTest::newRow("gone") << QStringList{"A@1 B@2", "B@2", "B@2"} << "-A"
                              << "A B";
        QTest::newRow("gone and back") << QStringList{"A@1 B@2", "B@2", "A@1 B@2"} << "-A =A"
                                       << "A B";
        QTest::newRow("twice") << QStringList{"", "A@1", "", "A@1", ""} << "+A -A =A -A"
                               << "A";
        QTest::newRow("all at once") << QStringList{"A@1 B@2", "B@2", "A@1 C@3"} << "-A -B =A +C"
                                     << "A B C";
        QTest::newRow("back under another name") << QStringList{"A@1", "", "A@2"} << "-A +A"
                                                 << "A A";
        QTest::newRow("another in its place") << QStringList{"A@1", "B@1", "A@1"} << "-A +B -B =A"
                                              << "A B";
        QTest::newRow("its twin") << QStringList{"A@1", "A@1 A@2", "A@2"} << "+A -A"
                                  << "A A";
        QTest::newRow("left out") << QStringList{"A@1", "A@1 Logi_Capture@2", "A@1"} << ""
                                  << "A";
    }

    void camerasComeAndGo()
    {
        QFETCH(QStringList, plugged);
        QFETCH(QString, log);
        QFETCH(QString, cameras);
        plugIn(plugged.takeFirst());
        CameraHotplugWatch watch;
        const QList<Camera *> former = listed();
        QStringList seen;
        QStringList console;
        const auto note = [&](char sign) {
            return [&seen, sign](Camera *camera) { seen << QLatin1Char(sign) + camera->getMoniker(); };
        };
        connect(&watch, &CameraHotplugWatch::cameraAdded, note('+'));
        connect(&watch, &CameraHotplugWatch::cameraGone, note('-'));
        connect(&watch, &CameraHotplugWatch::cameraReturned, note('='));
        GlobalConsole::setSink([&](const QString &text, const QDateTime &) { console << text; });
        for (const QString &list : qAsConst(plugged)) {
            plugIn(list);
            watch.look();
        }
        QCOMPARE(seen.join(QLatin1Char(' ')), log);
        QCOMPARE(console.size(), seen.size());

        QStringList names;
        for (Camera *const camera : listed())
            names << camera->getMoniker();
        QCOMPARE(names.join(QLatin1Char(' ')), cameras);
        QCOMPARE(listed().mid(0, former.size()), former); // the same objects at the same places
        for (Camera *const camera : listed()) {
            const bool isThere =
                QCameraInfo::availableCameras().contains(qobject_cast<WebCamera *>(camera)->deviceInfo());
            QCOMPARE(watch.isPresent(camera), isThere);
            QCOMPARE(watch.goneCameras().contains(camera), !isThere);
        }
    }

    void runningCameraGoesOnWhenItIsBack_data()
    {
        QTest::addColumn<bool>("restarts");
        QTest::newRow("by itself") << true;
        QTest::newRow("not at all") << false;
    }

    void runningCameraGoesOnWhenItIsBack()
    {
        QFETCH(bool, restarts);
        plugIn(QStringLiteral("Front@1"));
        CameraHotplugWatch watch;
        watch.setRestartsCameras(restarts);
        QSignalSpy returned(&watch, &CameraHotplugWatch::cameraReturned);
        Camera *const camera = CameraWatcher::Instance()->at(0);
        camera->start();
        QTRY_VERIFY(virtualcameras::framesTaken("1") > 0);
        plugIn({});
        QTRY_COMPARE(virtualcameras::streaming(), 0);
        watch.look();
        QVERIFY(camera->getIsRunning());

        plugIn(QStringLiteral("Front@1"));
        watch.look();
        QCOMPARE(returned.size(), 1);
        QVERIFY(camera->getIsRunning());
        if (restarts)
            QTRY_VERIFY(virtualcameras::framesTaken("1") > 0);
        else
            QCOMPARE(virtualcameras::streaming(), 0);
        camera->stop();
        plugIn({});
        watch.look();
        plugIn(QStringLiteral("Front@1"));
        watch.look();
        QVERIFY(!camera->getIsRunning());
    }

    void timerFindsCameras()
    {
        plugIn({});
        CameraHotplugWatch watch;
        QCOMPARE(watch.intervalMs(), watch.isToldBySystem() ? 30000 : 3000);
        QSignalSpy added(&watch, &CameraHotplugWatch::cameraAdded);
        watch.setIntervalMs(1);
        plugIn(QStringLiteral("Front@1"));
        QTRY_COMPARE(added.size(), 1);
        watch.setIntervalMs(0);
        plugIn(QStringLiteral("Front@1 Back@2"));
        QVERIFY(!added.wait(100));
    }

    void deletedCameraIsMadeAgainWithItsDevice()
    {
        plugIn(QStringLiteral("Front@1"));
        CameraHotplugWatch watch;
        QSignalSpy added(&watch, &CameraHotplugWatch::cameraAdded);
        delete CameraWatcher::Instance()->at(0);
        watch.look();
        QCOMPARE(CameraWatcher::Instance()->count(), 0);
        plugIn({});
        watch.look();
        plugIn(QStringLiteral("Front@1"));
        watch.look();
        QCOMPARE(added.size(), 1);
    }

    void receiversMayDeleteCameras()
    {
        plugIn(QStringLiteral("A@1 B@2"));
        CameraHotplugWatch watch;
        Camera networkCamera;
        CameraWatcher::Instance()->addCamera(&networkCamera);
        const auto removeAll = [&] {
            while (CameraWatcher::Instance()->count() > 1)
                delete CameraWatcher::Instance()->at(0);
        };
        connect(&watch, &CameraHotplugWatch::cameraGone, removeAll);
        plugIn({});
        watch.look();
        QVERIFY(watch.goneCameras().isEmpty());
        QVERIFY(watch.isPresent(&networkCamera));
        QCOMPARE(listed(), QList<Camera *>{&networkCamera});
        CameraWatcher::Instance()->removeWatcher();
    }

    void systemTellsOfDevices()
    {
#ifdef VTCV_WITH_UDEV
        DeviceMonitor monitor("video4linux");
        QSignalSpy changed(&monitor, &DeviceMonitor::changed);
        QString reason;
        if (!report("sound", &reason) || !report("video4linux", &reason))
            QSKIP(qPrintable("no device can be reported here: " + reason));
        QVERIFY(changed.wait());
        QVERIFY(changed.wait()); // once more, later
        QVERIFY(report("sound", &reason));
        QVERIFY(!changed.wait(500));
#else
        QSKIP("built without udev");
#endif
    }

private:
    QTemporaryDir home;
};

QTEST_MAIN(CameraHotplugWatchTest)

#include "tst_camerahotplugwatch.moc"
