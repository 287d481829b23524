#include "cameras/ipcamerasettings_p.h"
#include "cameras/webcamerasettings_p.h"
#include "support/metaface.h"

#include <QSignalSpy>
#include <QtTest>

namespace {

QString settingsFile(const QString &name)
{
    return QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation)
        + QStringLiteral("/Varnhold/GantryView/Cameras/%1Settings.xml").arg(name);
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class CameraSettingsTest : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void countChange() { ++changes; }

private Q_SLOTS:
    void initTestCase()
    {
        // The documents folder follows HOME, so this keeps it inside the test's own folder.
        QVERIFY(home.isValid());
        qputenv("HOME", QFile::encodeName(home.path()));
        QVERIFY(settingsFile(QString()).startsWith(home.path()));
    }

    void metaObjectsAreComplete()
    {
        QCOMPARE(metaface::ofClass(CameraSettings::staticMetaObject),
            QStringList({
                "signal changedRotation(CameraRotation)",
                "signal changedFlip(CameraFlip)",
                "method setRotation(CameraRotation)",
                "method CameraRotation getRotation()",
                "method resetRotation()",
                "method setFlip(CameraFlip)",
                "method CameraFlip getFlip()",
                "method resetFlip()",
                "property CameraRotation Rotation",
                "property CameraFlip Flip",
                "classinfo RotationEditable=true",
                "classinfo RotationDefault=CameraSettings::CameraRotation::Rotate0",
                "classinfo FlipEditable=true",
                "classinfo FlipDefault=CameraSettings::CameraFlip::FlipNone",
            }));
        QCOMPARE(metaface::ofClass(WebCameraSettings::staticMetaObject),
            QStringList({
                "signal changedExposure(int)",
                "signal changedUseCalibration(bool)",
                "signal changedCalibrationFile(QString)",
                "method int getExposure()",
                "method setExposure(int)",
                "method resetExposure()",
                "method setUseCalibration(bool)",
                "method bool getUseCalibration()",
                "method setCalibrationFile(QString)",
                "method QString getCalibrationFile()",
                "property int Exposure",
                "property bool UseCalibration",
                "property QString CalibrationFile",
                "classinfo ExposureNotVisible=true",
                "classinfo UseCalibrationNotVisible=true",
                "classinfo CalibrationFileNotVisible=true",
                "classinfo ExposureEditable=true",
                "classinfo ExposureDefault=-6",
                "classinfo ExposureMinimum=-12",
                "classinfo ExposureMaximum=0",
                "classinfo ExposureStep=1",
                "classinfo UseCalibrationEditable=true",
                "classinfo CalibrationFileEditable=true",
            }));
        QCOMPARE(metaface::ofClass(IPCameraSettings::staticMetaObject),
            QStringList({
                "signal changedIp(QString)",
                "signal changedLogin(QString)",
                "signal changedPassword(QString)",
                "method setIp(QString)",
                "method QString getIp()",
                "method setLogin(QString)",
                "method QString getLogin()",
                "method setPassword(QString)",
                "method QString getPassword()",
                "property QString Ip",
                "property QString Login",
                "property QString Password",
                "classinfo IpEditable=true",
                "classinfo LoginEditable=true",
                "classinfo PasswordEditable=true",
            }));
    }

    void metaObjectsCarryTagsEnumsAndResets()
    {
        for (const QMetaObject *meta : {&CameraSettings::staticMetaObject,
                 &WebCameraSettings::staticMetaObject, &IPCameraSettings::staticMetaObject}) {
            for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
                const bool accessor = meta->method(i).methodType() == QMetaMethod::Method;
                QCOMPARE(meta->method(i).tag(), accessor ? "PROPERTY_TAG" : "");
            }
            for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
                const QMetaProperty property = meta->property(i);
                const bool resets =
                    QList<QByteArray>{"Rotation", "Flip", "Exposure"}.contains(property.name());
                QCOMPARE(property.isResettable(), resets);
                QVERIFY(property.isWritable());
                QCOMPARE(property.notifySignal().name(), QByteArray("changed") + property.name());
            }
        }

        CameraSettings settings(QStringLiteral("enums"), nullptr);
        const QMetaObject &meta = CameraSettings::staticMetaObject;
        const auto keys = [&meta](const char *name) {
            const QMetaEnum values = meta.enumerator(meta.indexOfEnumerator(name));
            QStringList list;
            for (int i = 0; i < values.keyCount(); ++i)
                list << QStringLiteral("%1=%2").arg(values.key(i)).arg(values.value(i));
            return list;
        };
        QCOMPARE(
            keys("CameraRotation"), QStringList({"Rotate0=0", "Rotate90=1", "Rotate180=2", "Rotate270=3"}));
        QCOMPARE(keys("CameraFlip"), QStringList({"FlipNone=0", "FlipX=1", "FlipY=2", "FlipXY=3"}));
        QVERIFY(QMetaType::type("CameraSettings::CameraRotation") != QMetaType::UnknownType);
        QVERIFY(QMetaType::type("CameraSettings::CameraFlip") != QMetaType::UnknownType);
    }

    void everyPropertyIsComparedAnnouncedAndSaved_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QByteArray>("property");
        QTest::addColumn<QVariant>("initial");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QVariant>("stored");

        const auto row = [](const char *kind, const char *property, const QVariant &initial,
                             const QVariant &value, const QVariant &stored) {
            QTest::addRow("%s %s", kind, property)
                << QString(kind) << QByteArray(property) << initial << value << stored;
        };
        row("web", "Rotation", 0, 3, 3);
        row("web", "Flip", 0, 2, 2);
        row("web", "Exposure", -6, -20, -12);
        row("web", "UseCalibration", false, true, true);
        row("web", "CalibrationFile", QString(), QStringLiteral("/tmp/a & <b>.xml"),
            QStringLiteral("/tmp/a & <b>.xml"));
        row("ip", "Rotation", 0, 1, 1);
        row("ip", "Flip", 0, 3, 3);
        row("ip", "Ip", QString(), QStringLiteral("10.0.0.5/live"), QStringLiteral("10.0.0.5/live"));
        row("ip", "Login", QString(), QStringLiteral("J\u00f6rg"), QStringLiteral("J\u00f6rg"));
        row("ip", "Password", QString(), QStringLiteral("  p@:/ss "), QStringLiteral("  p@:/ss "));
    }

    void everyPropertyIsComparedAnnouncedAndSaved()
    {
        QFETCH(QString, kind);
        QFETCH(QByteArray, property);
        QFETCH(QVariant, initial);
        QFETCH(QVariant, value);
        QFETCH(QVariant, stored);
        const QString name = QString::fromLatin1(QTest::currentDataTag());
        const auto make = [&]() -> std::unique_ptr<CameraSettings> {
            if (kind == QLatin1String("web"))
                return std::make_unique<WebCameraSettings>(name, nullptr);
            return std::make_unique<IPCameraSettings>(name, nullptr);
        };

        const auto settings = make();
        QVERIFY(!settings->reload());
        QCOMPARE(settings->property(property), initial);
        changes = 0;
        const QMetaProperty meta =
            settings->metaObject()->property(settings->metaObject()->indexOfProperty(property));
        QVERIFY(connect(settings.get(), meta.notifySignal(), this,
            metaObject()->method(metaObject()->indexOfSlot("countChange()"))));

        QVERIFY(settings->setProperty(property, initial));
        QCOMPARE(changes, 0);
        QVERIFY(!QFile::exists(settingsFile(name)));

        QVERIFY(settings->setProperty(property, value));
        QVERIFY(settings->setProperty(property, value));
        QCOMPARE(changes, 1);
        QCOMPARE(settings->property(property), stored);
        QVERIFY(QFile::exists(settingsFile(name)));

        const auto other = make();
        QVERIFY(other->reload());
        QCOMPARE(other->property(property), stored);
    }

    void resetsGoToTheDefaultOnce()
    {
        WebCameraSettings settings(QStringLiteral("reset"), nullptr);
        QSignalSpy exposures(&settings, &WebCameraSettings::changedExposure);
        settings.resetExposure();
        QCOMPARE(exposures.size(), 0);
        settings.setExposure(5);
        QCOMPARE(settings.getExposure(), 0);
        settings.resetExposure();
        QCOMPARE(settings.getExposure(), -6);
        QCOMPARE(exposures.size(), 2);

        settings.setRotation(CameraSettings::Rotate270);
        settings.setFlip(CameraSettings::FlipXY);
        settings.resetRotation();
        settings.resetFlip();
        QCOMPARE(settings.getRotation(), CameraSettings::Rotate0);
        QCOMPARE(settings.getFlip(), CameraSettings::FlipNone);
    }

    void fileIsNamedAfterTheCameraAndItsOwnersAlone()
    {
        const QString name = QStringLiteral("Front door \u0434\u0432\u0435\u0440\u044c \u7b2c1");
        {
            IPCameraSettings settings(name, nullptr);
            settings.setPassword(QStringLiteral("secret"));
            settings.setRotation(CameraSettings::Rotate90);
        }
        const QString path = settingsFile(name);
        QVERIFY(QFile::exists(path));
        QCOMPARE(QFile::permissions(path)
                & (QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther),
            QFile::Permissions());
        // By key, so that a reader of the file knows what it says.
        QVERIFY(contentOf(path).contains("Rotate90"));
    }

    void camerasOfOneNameShareTheFile()
    {
        const QString name = QStringLiteral("shared");
        IPCameraSettings network(name, nullptr);
        WebCameraSettings local(name, nullptr);
        network.setIp(QStringLiteral("10.0.0.7"));
        local.setExposure(-3);
        local.setFlip(CameraSettings::FlipX);

        IPCameraSettings network2(name, nullptr);
        WebCameraSettings local2(name, nullptr);
        QVERIFY(network2.reload());
        QVERIFY(local2.reload());
        QCOMPARE(network2.getIp(), QStringLiteral("10.0.0.7"));
        QCOMPARE(network2.getFlip(), CameraSettings::FlipX);
        QCOMPARE(local2.getExposure(), -3);
    }

private:
    QTemporaryDir home;
    int changes = 0;
};

QTEST_GUILESS_MAIN(CameraSettingsTest)

#include "tst_camerasettings.moc"
