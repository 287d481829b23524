#include "pipeline/imageprocessingalgorithm.h"
#include "pipeline/imageprocessingalgorithmsettings.h"
#include "support/metaface.h"

#include <QSignalSpy>
#include <QtTest>

namespace {

class Inverter : public ImageProcessingAlgorithm
{
public:
    Inverter() : ImageProcessingAlgorithm(QStringLiteral("inverter"), nullptr) { }

    using ImageProcessingAlgorithm::m_name;

    bool initialize() override { return true; }
    cv::Mat process(const cv::Mat &frame) override { return ~frame; }
    void reset() override { }
};

} // namespace

class AlgorithmsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void facesAreTheSettledOnes()
    {
        QCOMPARE(metaface::ofClass(ImageProcessingAlgorithm::staticMetaObject), QStringList());
        const QMetaObject &meta = ImageProcessingAlgorithmSettings::staticMetaObject;
        QCOMPARE(metaface::ofClass(meta),
            QStringList({
                "signal changedName(QString)",
                "method setName(QString)",
                "method QString getName()",
                "method resetName()",
                "property QString Name",
                "classinfo NameEditable=true",
                "classinfo NameDefault=\"test\"",
            }));
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
            QCOMPARE(meta.method(i).tag(), "PROPERTY_TAG");
        QVERIFY(meta.property(meta.propertyOffset()).isResettable());
    }

    void algorithmKeepsItsName() { QCOMPARE(Inverter().m_name, QStringLiteral("inverter")); }

    void nameIsKeptInTheFile()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("algorithm.xml"));
        ImageProcessingAlgorithmSettings settings(path, nullptr);
        QSignalSpy changed(&settings, &ImageProcessingAlgorithmSettings::changedName);
        QCOMPARE(settings.getName(), QStringLiteral("test"));
        settings.setName(QStringLiteral("test"));
        QCOMPARE(changed.count(), 0);
        QVERIFY(!QFile::exists(path));

        settings.setName(QStringLiteral("Kanten"));
        ImageProcessingAlgorithmSettings other(path, nullptr);
        QVERIFY(other.reload());
        QCOMPARE(other.getName(), QStringLiteral("Kanten"));

        settings.resetName();
        QCOMPARE(changed.count(), 2);
        QCOMPARE(changed.last().first().toString(), QStringLiteral("test"));
        QVERIFY(other.reload());
        QCOMPARE(other.getName(), QStringLiteral("test"));
    }
};

QTEST_GUILESS_MAIN(AlgorithmsTest)
#include "tst_algorithms.moc"
