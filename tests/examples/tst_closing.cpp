#include "support/frames.h"
#include "support/programs.h"
#include "support/soundserver.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

// The window of an example, closed while it records: in a process of its own, which ends with it.
class ClosingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        SKIP_WITHOUT("ffmpeg");
        QVERIFY(folder.isValid());
        QVERIFY(frames::writeVideo(folder.filePath(QStringLiteral("source.avi")), 50, 25.0));
        if (SoundServer::whyMissing().isEmpty()) {
            server = std::make_unique<SoundServer>(QStringList{QStringLiteral("closing")});
            QVERIFY(server->start());
        }
    }

    void closedWindowLosesNothing_data()
    {
        QTest::addColumn<bool>("withSound");
        QTest::addColumn<QString>("moment");
        QTest::addColumn<bool>("hasFFMpeg");
        const QStringList moments{
            QStringLiteral("recording"), QStringLiteral("finishing"), QStringLiteral("ffmpeg")};
        const int count =
            qEnvironmentVariableIsSet("VTCV_CLOSINGS") ? qEnvironmentVariableIntValue("VTCV_CLOSINGS") : 3;
        for (const bool withSound : {false, true}) {
            for (int i = 0; i < count; ++i) {
                const QString moment = moments.at(i % moments.size());
                QTest::addRow("%s, %s, %d", withSound ? "sound" : "picture", qPrintable(moment), i)
                    << withSound << moment << true;
            }
        }
        QTest::newRow("no ffmpeg") << false << moments.first() << false;
    }

    void closedWindowLosesNothing()
    {
        QFETCH(bool, withSound);
        QFETCH(QString, moment);
        QFETCH(bool, hasFFMpeg);
        if (withSound && !server)
            QSKIP(qPrintable(SoundServer::whyMissing()));
        QTemporaryDir videos;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (!withSound)
            environment.insert(QStringLiteral("PULSE_SERVER"), QStringLiteral("unix:/nowhere"));
        if (!hasFFMpeg)
            environment.insert(QStringLiteral("PATH"), videos.path());
        if (withSound)
            server->play(QStringLiteral("closing"), SoundServer::tone(440.0, 60.0));
        QProcess host;
        host.setProcessEnvironment(environment);
        host.setProcessChannelMode(QProcess::MergedChannels);
        host.start(QStringLiteral(CLOSING_HOST),
            {folder.filePath(QStringLiteral("source.avi")), videos.path(), moment,
                withSound ? QStringLiteral("60")
                          : QStringLiteral("10")}); // a microphone takes a second to begin
        QVERIFY(host.waitForFinished(60'000));
        if (server)
            server->stopPlaying();
        const QString output = QString::fromLocal8Bit(host.readAll());
        QVERIFY2(host.exitStatus() == QProcess::NormalExit && host.exitCode() == 0, qPrintable(output));

        // Delivered, or kept and told.
        const QDir where(hasFFMpeg ? videos.path() : videos.filePath(QStringLiteral(".recording")));
        const QStringList results = where.entryList({QStringLiteral("*.json")});
        QVERIFY2(results.size() == 1, qPrintable(output));
        QFile json(where.filePath(results.first()));
        QVERIFY(json.open(QFile::ReadOnly));
        const QJsonObject result = QJsonDocument::fromJson(json.readAll()).object();
        const QString video = result.value(QStringLiteral("video")).toString();
        QCOMPARE(QFileInfo(video).dir(), where);
        const int counted = result.value(QStringLiteral("framesCounted")).toInt();
        QVERIFY(counted >= 10);
        QCOMPARE(frames::numbersIn(video).size(), counted);
        QVERIFY(result.value(QStringLiteral("whole")).toBool());
        QCOMPARE(output.contains(QStringLiteral("told: ")) && output.contains(video), !hasFFMpeg);
        QVERIFY2(sound::samplesIn(video).empty() != withSound, qPrintable(output));
    }

private:
    QTemporaryDir folder;
    std::unique_ptr<SoundServer> server;
};

QTEST_GUILESS_MAIN(ClosingTest)
#include "tst_closing.moc"
