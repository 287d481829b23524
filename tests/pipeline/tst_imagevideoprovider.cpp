#include "pipeline/imagevideoprovider.h"
#include "receivedframes.h"
#include "support/metaface.h"
#include "support/programs.h"

#include <QProcess>
#include <QStandardPaths>
#include <QtTest>

using Entries = QVector<ReceivedFrames::Entry>;

class ImageVideoProviderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        avi = dir.filePath(QStringLiteral("Aufnahme №1.avi"));
        QVERIFY(frames::writeVideo(avi, 150));
    }

    void faceIsComplete()
    {
        QCOMPARE(metaface::ofClass(ImageVideoProvider::staticMetaObject),
            QStringList({
                "signal fileChanged(QString)",
                "slot prepareFrame(int)",
                "slot prepareFrame() [cloned]",
                "method setFile(QString)",
                "method QString getFile()",
                "property QString file",
                "classinfo fileSpecialType=file",
                "classinfo fileEditable=true",
            }));
    }

    void framesAreExactInAnyOrder_data()
    {
        QTest::addColumn<QStringList>("encoding");
        QTest::addColumn<QString>("suffix");
        QTest::newRow("as written") << QStringList() << ".avi";
        QTest::newRow("H.264, key frame each 60, B frames")
            << QStringList{"-c:v", "libx264", "-g", "60", "-bf", "3"} << ".mp4";
        QTest::newRow("H.264, one key frame") << QStringList{"-c:v", "libx264", "-g", "250"} << ".mkv";
        QTest::newRow("MPEG-4") << QStringList{"-c:v", "mpeg4"} << ".avi";
        QTest::newRow("no index, no length") << QStringList{"-c:v", "copy", "-f", "mjpeg"} << ".raw";
    }

    void framesAreExactInAnyOrder()
    {
        QFETCH(QStringList, encoding);
        QFETCH(QString, suffix);
        QString path = avi;
        if (!encoding.isEmpty()) {
            path = dir.filePath(QStringLiteral("coded") + suffix);
            SKIP_WITHOUT("ffmpeg");
            const QStringList arguments =
                QStringList{"-v", "error", "-y", "-i", avi} + encoding + QStringList{path};
            QCOMPARE(QProcess::execute(QStringLiteral("ffmpeg"), arguments), 0);
        }

        ImageVideoProvider provider;
        ReceivedFrames received(provider);
        provider.setFile(path);
        QCOMPARE(provider.getFrameAmount(), 150);
        for (const int index : {149, 0, 1, 2, 40, 41, 20, 36, 37, 53, 149, 60, 59, 58, 0, 61, 149})
            provider.prepareFrame(index);
        for (const Entries::value_type &entry : received.entries)
            QCOMPARE(entry.second, entry.first);
        QCOMPARE(received.entries.size(), 17);
        QCOMPARE(received.last->type(), CV_8UC3);

        received.take();
        for (const int outside : {-1, 150, INT_MAX})
            provider.prepareFrame(outside);
        QVERIFY(received.entries.isEmpty());
    }

    void frameIsNotOverwrittenByTheNext()
    {
        ImageVideoProvider provider;
        ReceivedFrames received(provider);
        provider.setFile(avi);
        provider.prepareFrame(7);
        const cv::Mat seventh = *received.last;
        provider.prepareFrame(8);
        QCOMPARE(frames::numberOf(seventh), 7);
    }

    void cutFileGivesTheFramesThatItHas()
    {
        QFile whole(avi);
        QVERIFY(whole.open(QIODevice::ReadOnly));
        const QString path = dir.filePath(QStringLiteral("cut.avi"));
        QFile cut(path);
        QVERIFY(cut.open(QIODevice::WriteOnly));
        cut.write(whole.read(whole.size() / 2));
        cut.close();

        ImageVideoProvider provider;
        ReceivedFrames received(provider);
        provider.setFile(path);
        const int amount = provider.getFrameAmount();
        QVERIFY2(amount > 50 && amount < 100, qPrintable(QString::number(amount)));
        provider.prepareFrame(amount - 2);
        provider.prepareFrame(3);
        QCOMPARE(received.take(), Entries({{amount - 2, amount - 2}, {3, 3}}));
    }

    void whatIsNoVideoHasNoFrames_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("garbage") << QByteArray(5000, 'x');
    }

    void whatIsNoVideoHasNoFrames()
    {
        QFETCH(QByteArray, bytes);
        const QString path = dir.filePath(QStringLiteral("broken.avi"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();

        ImageVideoProvider provider;
        ReceivedFrames received(provider);
        provider.setFile(avi);
        provider.setCurrentFrameIndex(3);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("broken.avi")));
        provider.setFile(path);
        QCOMPARE(provider.getFrameAmount(), 0);
        QCOMPARE(provider.getFrameRate(), 0.0);
        provider.prepareFrame(0);
        QCOMPARE(received.take(), Entries({{3, 3}}));
        provider.setFile(avi);
        QCOMPARE(provider.getFrameAmount(), 150);
        QCOMPARE(provider.getFrameRate(), 25.0);
        provider.setFile(QString());
        QCOMPARE(provider.getFrameAmount(), 0);
    }

private:
    QTemporaryDir dir;
    QString avi;
};

QTEST_GUILESS_MAIN(ImageVideoProviderTest)
#include "tst_imagevideoprovider.moc"
