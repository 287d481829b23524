#include "cameras/camerawatcher.h"
#include "cameras/webcamera.h"
#include "support/metaface.h"
#include "support/virtualcameras.h"

#include <QSignalSpy>
#include <QtTest>

#include <memory>

namespace {

class Watcher : public CameraWatcher
{
public:
    static CameraWatcher *current() { return static_instance; }
};

QVector<virtualcameras::Device> devices(const QStringList &descriptions)
{
    QVector<virtualcameras::Device> result;
    for (const QString &description : descriptions)
        result << virtualcameras::Device{description};
    return result;
}

} // namespace

class CameraWatcherTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(home.isValid());
        qputenv("HOME", QFile::encodeName(home.path()));
    }

    void cleanup()
    {
        CameraWatcher *const watcher = CameraWatcher::Instance();
        QList<Camera *> cameras;
        for (int i = 0; i < watcher->count(); ++i)
            cameras << watcher->at(i);
        watcher->removeWatcher();
        qDeleteAll(cameras);
    }

    void metaObjectIsComplete()
    {
        virtualcameras::setDevices({});
        QCOMPARE(metaface::ofClass(CameraWatcher::staticMetaObject),
            QStringList({
                "signal cameraPicked(QString,QString)",
                "signal cameraPicked(QString) [cloned]",
                "slot pickCamera(QString,QString)",
                "slot pickCamera(QString) [cloned]",
                "method int count()",
                "method int indexOf(Camera*)",
                "method Camera* getByIndex(int)",
                "method Camera* at(int)",
                "method Camera* getByName(QString)",
                "method QString getCameraNameByIndex(int)",
            }));
    }

    void nothingIsFoundWithoutDevices()
    {
        virtualcameras::setDevices({});
        QVERIFY(Watcher::current() == nullptr);
        CameraWatcher *const watcher = CameraWatcher::Instance();
        QVERIFY(watcher == Watcher::current() && watcher->parent() == nullptr);
        QCOMPARE(watcher->count(), 0);
        QVERIFY(watcher->at(0) == nullptr && watcher->getByName(QString()) == nullptr);
        QCOMPARE(watcher->indexOf(nullptr), -1);
        QVERIFY(!watcher->containsCamera(QString()));
    }

    void eachDeviceBecomesACamera()
    {
        virtualcameras::setDevices(devices(
            {"Front door", "Logi Capture", "Bühne", "Logi Capture HD", "logi capture", "Front door"}));
        CameraWatcher *const watcher = CameraWatcher::Instance();
        QStringList names;
        for (int i = -1; i <= watcher->count(); ++i)
            names << watcher->getCameraNameByIndex(i);
        QCOMPARE(names, QStringList({{}, "Front door", "Bühne", "logi capture", "Front door", {}}));
        QVERIFY(watcher->getCameraNameByIndex(-1).isNull());

        QVERIFY(qobject_cast<WebCamera *>(watcher->at(0)) != nullptr);
        QVERIFY(watcher->getByIndex(1) == watcher->at(1) && watcher->getByIndex(4) == nullptr);
        QVERIFY(watcher->at(0)->parent() == nullptr);
        QCOMPARE(watcher->indexOf(watcher->at(3)), 3);
        QVERIFY(watcher->getByName("Front door") == watcher->at(0));
        QVERIFY(watcher->getByName("front door") == nullptr);
        QVERIFY(watcher->containsCamera("BÜHNE"));
        QVERIFY(!watcher->containsCamera("Logi Capture HD"));
        QCOMPARE(virtualcameras::streaming(), 0);
    }

    void addedCamerasStandBehindTheDevices()
    {
        virtualcameras::setDevices(devices({"Front"}));
        CameraWatcher *const watcher = CameraWatcher::Instance();
        Camera gate;
        QVERIFY(!watcher->containsCamera(QString()));
        QCOMPARE(watcher->indexOf(&gate), -1);
        watcher->addCamera(&gate);
        QVERIFY(!watcher->containsCamera(QString())); // though its name is empty
        gate.setMoniker("Gate");
        watcher->addCamera(&gate);
        watcher->addCamera(nullptr);
        QCOMPARE(watcher->count(), 3);
        QCOMPARE(watcher->indexOf(&gate), 1);
        QVERIFY(watcher->getByName("Gate") == &gate);

        // A camera that is gone must not be handed out any more.
        delete watcher->at(0);
        QCOMPARE(watcher->count(), 2);
        QVERIFY(watcher->at(0) == &gate);
        watcher->removeWatcher();
    }

    void newInstanceLooksAnewAndLeavesFormerCamerasAlone()
    {
        virtualcameras::setDevices(devices({"Front"}));
        CameraWatcher *const watcher = CameraWatcher::Instance();
        const std::unique_ptr<Camera> former(watcher->at(0));
        virtualcameras::setDevices(devices({"Front", "Back"}));
        QCOMPARE(CameraWatcher::Instance()->count(), 1);
        watcher->removeWatcher();
        QVERIFY(Watcher::current() == nullptr);
        QCOMPARE(former->getMoniker(), QStringLiteral("Front"));
        QCOMPARE(CameraWatcher::Instance()->count(), 2);
        QCOMPARE(CameraWatcher::Instance()->indexOf(former.get()), -1);
    }

    void pickIsPassedOn()
    {
        virtualcameras::setDevices({});
        CameraWatcher *const watcher = CameraWatcher::Instance();
        QSignalSpy picks(watcher, &CameraWatcher::cameraPicked);
        watcher->pickCamera("Front", "list");
        QVERIFY(QMetaObject::invokeMethod(watcher, "pickCamera", Q_ARG(QString, "nobody")));
        QCOMPARE(picks, QList<QVariantList>({{"Front", "list"}, {"nobody", ""}}));
    }

private:
    QTemporaryDir home;
};

QTEST_MAIN(CameraWatcherTest)

#include "tst_camerawatcher.moc"
