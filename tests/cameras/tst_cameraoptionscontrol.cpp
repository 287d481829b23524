#include "baselib/fpswidget.h"
#include "baselib/globalconsole.h"
#include "baselib/propertylistcontrol.h"
#include "cameras/cameraoptionscontrol.h"
#include "cameras/camerasettings.h"
#include "cameras/camerawatcher.h"
#include "cameras/webcamera.h"
#include "support/frames.h"
#include "support/metaface.h"
#include "support/virtualcameras.h"

#include <QSignalSpy>
#include <QtTest>

#include <memory>

namespace {

// The controls of the row, by their places in it.
class Row : public CameraOptionsControl
{
public:
    QComboBox *cameras() const { return at<QComboBox>(0); }
    QComboBox *sizes() const { return at<QComboBox>(1); }
    QPushButton *snapshot() const { return at<QPushButton>(2); }
    QPushButton *settings() const { return at<QPushButton>(3); }
    QComboBox *rotation() const { return at<QComboBox>(4); }
    FPSWidget *rate() const { return at<FPSWidget>(5); }

    QString visible() const
    {
        const QVector<QPair<const QWidget *, const char *>> all{{cameras(), "camera"}, {sizes(), "size"},
            {snapshot(), "snapshot"}, {settings(), "settings"}, {rotation(), "rotation"}, {rate(), "rate"}};
        QStringList names;
        for (const auto &[widget, name] : all) {
            if (!widget->isHidden())
                names << QLatin1String(name);
        }
        return names.join(QLatin1Char(' '));
    }

    static QStringList texts(const QComboBox *combo)
    {
        QStringList all;
        for (int i = 0; i < combo->count(); ++i)
            all << combo->itemText(i);
        return all;
    }

private:
    template <typename Widget> Widget *at(int place) const
    {
        return qobject_cast<Widget *>(QWidget::layout()->itemAt(place)->widget());
    }
};

Camera *asked(const QSignalSpy &queries)
{
    return queries.isEmpty() ? nullptr : queries.last().first().value<Camera *>();
}

} // namespace

class CameraOptionsControlTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(home.isValid());
        qputenv("HOME", QFile::encodeName(home.path())); // settings and snapshots go there
    }

    void init()
    {
        virtualcameras::setDevices(
            {{QStringLiteral("Front"), {{64, 48}, {128, 96}}}, {QStringLiteral("Back")}});
        front = CameraWatcher::Instance()->getByName(QStringLiteral("Front"));
        back = CameraWatcher::Instance()->getByName(QStringLiteral("Back"));
    }

    void cleanup()
    {
        GlobalConsole::setSink({});
        CameraWatcher *const registry = CameraWatcher::Instance();
        while (registry->count() > 0)
            delete registry->at(0);
        registry->removeWatcher();
        QDir(home.path()).removeRecursively();
    }

    void metaObjectIsComplete()
    {
        QCOMPARE(metaface::ofClass(CameraOptionsControl::staticMetaObject),
            QStringList({
                "signal cameraChangeQuery(Camera*)",
                "signal cameraChanged(Camera*)",
                "signal settingsShown(QDialog*)",
                "slot indexChanged(int)",
                "slot resolutionIndexChanged(int)",
                "slot cameraResolutionChanged(QSize)",
                "slot changeCamera(Camera*)",
                "slot takeSnapshot()",
                "slot showCameraSettings()",
                "slot changeRotation(int)",
                "slot selectCamera(QString)",
                "method setCamera(Camera*)",
                "method Camera* getCamera()",
                "property Camera* m_camera",
            }));
    }

    void newRowListsTheCameras()
    {
        Row row;
        QCOMPARE(row.visible(), QStringLiteral("camera"));
        QCOMPARE(Row::texts(row.cameras()), QStringList({"Not selected", "Front", "Back"}));
        QCOMPARE(row.cameras()->currentIndex(), 0);
        QVERIFY(row.getCamera() == nullptr);
        for (QWidget *const widget :
            {static_cast<QWidget *>(row.cameras()), static_cast<QWidget *>(row.sizes()),
                static_cast<QWidget *>(row.snapshot()), static_cast<QWidget *>(row.settings()),
                static_cast<QWidget *>(row.rotation()), static_cast<QWidget *>(row.rate())}) {
            QVERIFY(!widget->accessibleName().isEmpty());
            QVERIFY(!widget->toolTip().isEmpty());
        }
        QVERIFY(!row.snapshot()->icon().isNull() && !row.settings()->icon().isNull());

        Camera later;
        later.setMoniker(QStringLiteral("Later"));
        CameraWatcher::Instance()->addCamera(&later);
        QCOMPARE(row.cameras()->count(), 3);
        row.updateCameraList();
        QCOMPARE(row.cameras()->itemText(3), QStringLiteral("Later"));
    }

    void cameraIsShown()
    {
        Row row;
        QSignalSpy changed(&row, &CameraOptionsControl::cameraChanged);
        QSignalSpy queries(&row, &CameraOptionsControl::cameraChangeQuery);
        front->getSettings()->setRotation(CameraSettings::Rotate180);
        QVERIFY(front->setFrameSize(64, 48));
        QSignalSpy moves(front, &Camera::frameSizeChanged);

        QVERIFY(row.setProperty("m_camera", QVariant::fromValue(front)));
        QCOMPARE(row.property("m_camera").value<Camera *>(), front);
        QCOMPARE(changed.size(), 1);
        QCOMPARE(row.visible(), QStringLiteral("camera size snapshot settings rotation rate"));
        QCOMPARE(row.cameras()->currentText(), QStringLiteral("Front"));
        QCOMPARE(Row::texts(row.sizes()), QStringList({"128x96", "64x48"}));
        QCOMPARE(row.sizes()->currentText(), QStringLiteral("64x48"));
        QCOMPARE(Row::texts(row.rotation()), QStringList({u8"0°", u8"90°", u8"180°", u8"-90°"}));
        QCOMPARE(row.rotation()->currentIndex(), 2);
        Q_EMIT front->frameRateChanged(25.0);
        QVERIFY(row.rate()->text().startsWith(QLatin1String("25")));

        row.changeCamera(back);
        Q_EMIT front->frameRateChanged(15.0);
        QVERIFY(row.rate()->isStale());
        QCOMPARE(row.sizes()->currentText(), QStringLiteral("64x48"));
        QCOMPARE(row.rotation()->currentIndex(), 0);

        row.setCamera(nullptr);
        QCOMPARE(row.visible(), QStringLiteral("camera"));
        QCOMPARE(row.cameras()->currentIndex(), 0);
        QCOMPARE(row.sizes()->count(), 0);
        QCOMPARE(changed.size(), 3);
        QCOMPARE(queries.size(), 0); // showing is no wish
        QCOMPARE(moves.size(), 0);
        QCOMPARE(front->getSettings()->getRotation(), CameraSettings::Rotate180);
    }

    void anyCameraCanBeShown()
    {
        Row row;
        Camera plain; // not registered, no sizes, no settings
        plain.setMoniker(QStringLiteral("Plain"));
        row.setCamera(&plain);
        QCOMPARE(row.cameras()->currentIndex(), 0);
        QCOMPARE(row.sizes()->currentIndex(), -1);
        row.changeRotation(1);
        row.takeSnapshot();
        row.showCameraSettings();
        plain.setFrameSizes({{10, 10}, {20, 20}, {10, 10}});
        QVERIFY(plain.setFrameSize(10, 10));
        QCOMPARE(row.sizes()->currentIndex(), -1); // the list is that of setCamera()
        row.setCamera(&plain);
        QCOMPARE(row.sizes()->currentIndex(), 0);
    }

    void userPicksACamera()
    {
        Row row;
        QSignalSpy queries(&row, &CameraOptionsControl::cameraChangeQuery);
        QTest::keyClick(row.cameras(), Qt::Key_Down);
        QCOMPARE(queries.size(), 1);
        QCOMPARE(asked(queries), front);
        QVERIFY(row.getCamera() == nullptr);
        QCOMPARE(row.cameras()->currentIndex(), 1); // until the application answers
        row.setCamera(front);
        row.cameras()->setCurrentIndex(0);
        QCOMPARE(queries.size(), 2);
        QVERIFY(asked(queries) == nullptr);
        QCOMPARE(row.getCamera(), front);

        row.selectCamera(QStringLiteral("Back"));
        QCOMPARE(asked(queries), back);
        row.selectCamera(QStringLiteral("back"));
        QCOMPARE(queries.size(), 3);
    }

    void sizeGoesBothWays()
    {
        Row row;
        // Switching must neither lose nor pile up connections.
        for (Camera *const camera : {front, back, static_cast<Camera *>(nullptr), front, front})
            row.setCamera(camera);
        QSignalSpy moves(front, &Camera::frameSizeChanged);
        row.sizes()->setCurrentIndex(1);
        QCOMPARE(front->getFrameSize(), QSize(64, 48));
        QCOMPARE(moves.size(), 1);
        QVERIFY(front->setFrameSize(128, 96));
        QCOMPARE(row.sizes()->currentIndex(), 0);
        QCOMPARE(moves.size(), 2);
        row.sizes()->setCurrentIndex(1);
        QCOMPARE(moves.size(), 3);
        row.resolutionIndexChanged(7);
        QCOMPARE(moves.size(), 3);
        row.setCamera(back);
        QVERIFY(front->setFrameSize(128, 96));
        QCOMPARE(row.sizes()->currentText(), QStringLiteral("64x48"));
    }

    void rotationGoesToTheSettings()
    {
        Row row;
        row.changeRotation(3); // without a camera there is nothing to turn
        QCOMPARE(row.rotation()->currentIndex(), 3);
        row.setCamera(front);
        QSignalSpy turns(front->getSettings(), &CameraSettings::changedRotation);
        row.rotation()->setCurrentIndex(1);
        QCOMPARE(front->getSettings()->getRotation(), CameraSettings::Rotate90);
        row.changeRotation(2);
        QCOMPARE(row.rotation()->currentIndex(), 2);
        row.changeRotation(2);
        for (int wrong : {-1, 4})
            row.changeRotation(wrong);
        QCOMPARE(turns.size(), 2);
        front->getSettings()->setRotation(CameraSettings::Rotate0);
        QCOMPARE(row.rotation()->currentIndex(), 2);
    }

    void filterDisablesRows_data()
    {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("enabled");
        QTest::newRow("none") << ""
                              << "Not selected,Front,Back";
        QTest::newRow("part, other case") << "AC"
                                          << "Not selected,Back";
        QTest::newRow("nowhere") << "Not"
                                 << "Not selected";
    }

    void filterDisablesRows()
    {
        QFETCH(QString, filter);
        QFETCH(QString, enabled);
        Row row;
        row.setCameraFilter(QStringLiteral("Front"));
        row.setCameraFilter(filter);
        for (int round = 0; round < 2; ++round) {
            QStringList rows;
            for (int i = 0; i < row.cameras()->count(); ++i) {
                const Qt::ItemFlags flags =
                    row.cameras()->model()->flags(row.cameras()->model()->index(i, 0));
                QCOMPARE(flags.testFlag(Qt::ItemIsSelectable), flags.testFlag(Qt::ItemIsEnabled));
                if (flags.testFlag(Qt::ItemIsEnabled))
                    rows << row.cameras()->itemText(i);
            }
            QCOMPARE(rows.join(QLatin1Char(',')), enabled);
            row.updateCameraList(); // keeps the filter
        }
    }

    void partsCanBeHidden()
    {
        Row row;
        row.showSnapshotButton(false);
        row.showRotationCombo(false);
        row.showFPSLabel(false);
        row.setCamera(front);
        QCOMPARE(row.visible(), QStringLiteral("camera size settings"));
        row.showFPS(true);
        QCOMPARE(row.visible(), QStringLiteral("camera size settings rate"));
        row.showSnapshotButton(true);
        QCOMPARE(row.visible(), QStringLiteral("camera size snapshot settings"));
    }

    void settingsAreShownInADialog()
    {
        Row row;
        QSignalSpy shown(&row, &CameraOptionsControl::settingsShown);
        row.showCameraSettings();
        QCOMPARE(shown.size(), 0);
        row.setCamera(front);
        for (bool isCameraDeleted : {false, true}) {
            row.settings()->click();
            QPointer<QDialog> dialog = shown.takeLast().first().value<QDialog *>();
            QVERIFY(dialog->isVisible() && dialog->isModal());
            QCOMPARE(dialog->windowTitle(), QStringLiteral("Front"));
            QVERIFY(dialog->minimumSize() == QSize(200, 300)
                && dialog->contentsMargins() == QMargins(10, 10, 10, 10));
            auto *const form = dialog->findChild<PropertyListControl *>();
            QCOMPARE(form->settings(), front->getSettings());
            QCOMPARE(form->properties(), QStringList({"Rotation", "Flip"}));
            if (isCameraDeleted)
                delete front;
            else
                QTest::keyClick(dialog, Qt::Key_Escape);
            QTRY_VERIFY(!dialog);
        }
    }

    void snapshotGoesToThePicturesFolder()
    {
        Row row;
        row.setCamera(front);
        const QDir pictures(QStandardPaths::writableLocation(QStandardPaths::PicturesLocation));
        QVERIFY(!pictures.exists());
        row.takeSnapshot();
        QVERIFY(!pictures.exists()); // no frame yet
        front->setFrame(frames::numbered(77));
        row.snapshot()->click();
        const QStringList files = pictures.entryList(QDir::Files);
        QCOMPARE(files.size(), 1);
        QVERIFY(QRegularExpression(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d_\\d\\d-\\d\\d-\\d\\d-\\d{3}\\.jpg$"))
                    .match(files.first())
                    .hasMatch());
        const cv::Mat picture = imgread(pictures.filePath(files.first()));
        QCOMPARE(frames::numberOf(picture), 77);
    }

    void snapshotGoesWhereTheUserWants_data()
    {
        QTest::addColumn<QString>("name"); // empty: the dialog is cancelled
        QTest::addColumn<QByteArray>("format");
        QTest::newRow("png") << "shot.png" << QByteArray("png");
        QTest::newRow("bmp") << "shot.BMP" << QByteArray("bmp");
        QTest::newRow("cancelled") << "" << QByteArray();
        QTest::newRow("unknown ending") << "shot.xyz" << QByteArray();
        QTest::newRow("file in the way") << "file/shot.png" << QByteArray();
    }

    void snapshotGoesWhereTheUserWants()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, format);
        QStringList console;
        GlobalConsole::setSink([&](const QString &text, const QDateTime &) { console << text; });
        QVERIFY(QDir().mkpath(home.path()));
        QFile inTheWay(home.filePath(QStringLiteral("file")));
        QVERIFY(inTheWay.open(QIODevice::WriteOnly));
        const QString path = home.filePath(name);

        Row row;
        row.setCamera(front);
        row.setUserPicksSnapshotPath(true);
        front->setFrame(frames::numbered(5));
        QTimer::singleShot(0, this, [&] {
            auto *const dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            dialog->selectFile(path);
            static_cast<QDialog *>(dialog)->done(name.isEmpty() ? QDialog::Rejected : QDialog::Accepted);
        });
        row.takeSnapshot();
        if (format.isEmpty()) {
            QVERIFY(name.isEmpty() || !QFileInfo(path).isFile());
            QCOMPARE(console.size(), name.isEmpty() ? 0 : 1);
            QVERIFY(console.value(0).contains(name));
        } else {
            QCOMPARE(QImageReader(path).format(), format);
            QCOMPARE(frames::numberOf(imgread(path)), 5);
            QCOMPARE(console, QStringList());
        }
        QCOMPARE(QDir(home.path()).entryList({QStringLiteral("shot*")}).size(), format.isEmpty() ? 0 : 1);
    }

    void deletedCameraIsShownNoLonger()
    {
        Row row;
        row.setCamera(back);
        QSignalSpy changed(&row, &CameraOptionsControl::cameraChanged);
        QSignalSpy queries(&row, &CameraOptionsControl::cameraChangeQuery);
        delete back;
        QVERIFY(row.getCamera() == nullptr);
        QCOMPARE(row.visible(), QStringLiteral("camera"));
        QCOMPARE(changed.size(), 1);
        row.setCamera(front);
        delete CameraWatcher::Instance()->at(0);
        QCOMPARE(Row::texts(row.cameras()), QStringList({"Not selected"}));
        QCOMPARE(queries.size(), 0);
        row.takeSnapshot();
        row.showCameraSettings();
        row.resolutionIndexChanged(0);
    }

    void languageMayChange()
    {
        Row row;
        QTranslator russian;
        QVERIFY(russian.load(QStringLiteral(":/translations/VTCV_ru_RU.qm")));
        QCoreApplication::installTranslator(&russian);
        QCoreApplication::processEvents();
        QCOMPARE(row.cameras()->itemText(0), QString::fromUtf8("Не выбрано"));
        QCOMPARE(row.cameras()->toolTip(), QString::fromUtf8("Камера"));
        QCoreApplication::removeTranslator(&russian);
        QCoreApplication::processEvents();
        QCOMPARE(row.cameras()->itemText(0), QStringLiteral("Not selected"));
    }

private:
    QTemporaryDir home;
    Camera *front = nullptr;
    Camera *back = nullptr;
};

QTEST_MAIN(CameraOptionsControlTest)

#include "tst_cameraoptionscontrol.moc"
