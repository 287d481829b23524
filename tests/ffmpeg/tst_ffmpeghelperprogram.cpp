#include "ffmpeg/ffmpeghelper.h"
#include "support/programs.h"

#include <QSignalSpy>
#include <QtTest>

#include <memory>

namespace {

constexpr int limitMs = 60'000;

// What a program writes, to both channels; empty where it fails.
QByteArray outputOf(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    const bool done = process.waitForFinished(limitMs) && process.exitCode() == 0;
    return done ? process.readAllStandardOutput() : QByteArray();
}

QByteArray probe(const QString &path, const QString &entries)
{
    return outputOf("ffprobe", {"-loglevel", "error", "-show_entries", entries, "-of", "csv=p=0", path})
        .simplified();
}

double secondsOf(const QString &path)
{
    return probe(path, "format=duration").toDouble();
}

double meanVolumeOf(const QString &path)
{
    const QByteArray text =
        outputOf("ffmpeg", {"-nostdin", "-i", path, "-filter:a", "volumedetect", "-f", "null", "-"});
    return QRegularExpression("mean_volume: (-?[0-9.]+) dB").match(text).captured(1).toDouble();
}

} // namespace

// Each tool once with the real ffmpeg; the forms differ in nothing that it sees.
class FFMPEGHelperProgramTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        SKIP_WITHOUT("ffmpeg", "ffprobe");
        const QStringList tone{"-nostdin", "-f", "lavfi", "-i", "sine=frequency=440:duration=3"};
        const QStringList picture{"-f", "lavfi", "-i", "testsrc=duration=4", "-c:v", "mjpeg"};
        QVERIFY(!outputOf("ffmpeg", tone + QStringList(stored("tone.wav"))).isEmpty());
        QVERIFY(!outputOf("ffmpeg", tone + picture + QStringList(stored("clip.avi"))).isEmpty());
    }

    void init()
    {
        dir = std::make_unique<QTemporaryDir>(QDir::temp().filePath("it's a\nfolder-XXXXXX"));
        QVERIFY(QDir::setCurrent(dir->path()));
        for (const char *file : {"tone.wav", "clip.avi"})
            QVERIFY(QFile::copy(stored(file), file));
    }

    void cleanup() { QDir::setCurrent(QDir::rootPath()); }

    void convertPassesItsParametersOn()
    {
        QString from("clip.avi");
        QString to("small.mkv");
        QVERIFY2(FFMPEGHelper::convert(from, to, "-an -r 10"), qPrintable(FFMPEGHelper::lastError));
        QCOMPARE(probe(to, "stream=codec_type,r_frame_rate"), QByteArray("video,10/1"));
        QVERIFY(qAbs(secondsOf(to) - 4.0) < 0.5); // whole frames at either end
    }

    void mp4HasPictureAndSound()
    {
        QString path("clip.avi");
        QVERIFY2(FFMPEGHelper::convertVideoToMP4(path, true), qPrintable(FFMPEGHelper::lastError));
        QCOMPARE(path, QString("clip.mp4"));
        QVERIFY(FFMPEGHelper::convertVideoToMP4(path)); // and once more, in its place
        QCOMPARE(QDir().entryList(QDir::Files), QStringList({"clip.mp4", "tone.wav"}));
        QCOMPARE(probe(path, "stream=codec_type"), QByteArray("video audio"));
        QVERIFY(qAbs(secondsOf(path) - 4.0) < 0.5);
    }

    void changeVolumeHalvesTheSound()
    {
        QVERIFY(FFMPEGHelper::changeVolume("tone.wav", "quiet.wav", 0.5F));
        const double change = meanVolumeOf("quiet.wav") - meanVolumeOf("tone.wav");
        QVERIFY2(qAbs(change + 6.02) < 0.2, qPrintable(QString::number(change)));
        QVERIFY(qAbs(secondsOf("quiet.wav") - 3.0) < 0.01);
    }

    void cropKeepsTheBegin()
    {
        QVERIFY(FFMPEGHelper::crop("tone.wav", "begin.wav", 1250));
        QVERIFY(qAbs(secondsOf("begin.wav") - 1.25) < 0.01);
        // An equal name ffmpeg refuses by itself; a job tells it.
        QVERIFY(FFMPEGHelper::crop("tone.wav", "tone.wav", 1000));
        const Ended same(FFMPEGHelper::cropAsync("tone.wav", "tone.wav", 1000));
        QVERIFY(!same.ok && !same.error.isEmpty());
        QVERIFY(!FFMPEGHelper::crop("tone.wav", "./tone.wav", 1000)); // fault: ffmpeg empties it
        QVERIFY(qAbs(secondsOf("tone.wav") - 3.0) < 0.01);
    }

    void joinTakesNamesThatAListCannotHold_data()
    {
        QTest::addColumn<bool>("safe");
        QTest::addColumn<QString>("folder");
        QTest::newRow("relative") << false << "";
        QTest::newRow("relative, safe") << true << "";
        QTest::newRow("absolute") << false << "/";
    }

    void joinTakesNamesThatAListCannotHold()
    {
        QFETCH(bool, safe);
        QFETCH(QString, folder);
        QStringList sources{"tone.wav", "it's.wav", "two\nlines.wav", "two\r\nfile 'tone.wav'"};
        for (int i = 1; i < sources.size(); ++i)
            QVERIFY(QFile::copy("tone.wav", sources.at(i)));
        for (QString &source : sources)
            source.prepend(folder.isEmpty() ? folder : QDir::currentPath() + folder);
        const QStringList before = filesHere();
        QVERIFY(FFMPEGHelper::joinAudio(sources, "all.wav", safe));
        QVERIFY(qAbs(secondsOf("all.wav") - 12.0) < 0.01);
        QVERIFY(QFile::remove("all.wav"));
        const Ended job(FFMPEGHelper::joinAudioAsync(sources, "all.wav", safe));
        QVERIFY2(job.ok, qPrintable(job.error));
        QVERIFY(qAbs(secondsOf("all.wav") - 12.0) < 0.01);
        QVERIFY(QFile::remove("all.wav"));
        QCOMPARE(filesHere(), before);
    }

    void joinsSideBySideKeepTheirLists()
    {
        QVERIFY(FFMPEGHelper::crop("tone.wav", "short.wav", 1000));
        std::unique_ptr<FFMPEGHelperJob> jobs[6];
        int good = 0;
        int ended = 0;
        QStringList sources;
        for (auto &job : jobs) {
            sources << "short.wav";
            job.reset(FFMPEGHelper::joinAudioAsync(sources, QString("%1.wav").arg(sources.size())));
            connect(job.get(), &FFMPEGHelperJob::finished, this, [&](bool ok) {
                good += ok ? 1 : 0;
                ++ended;
            });
        }
        QTRY_COMPARE_WITH_TIMEOUT(ended, 6, limitMs);
        QCOMPARE(good, 6);
        for (int i = 1; i <= 6; ++i)
            QVERIFY(qAbs(secondsOf(QString("%1.wav").arg(i)) - i) < 0.01);
        QCOMPARE(QDir().entryList({"list*"}), QStringList());
        // An older destination is no success of a job, and no wait for an answer.
        QVERIFY(FFMPEGHelper::joinAudio({"short.wav"}, "3.wav", false, limitMs));
        const Ended again(FFMPEGHelper::joinAudioAsync({"short.wav"}, "3.wav"));
        QVERIFY(!again.ok && again.error.contains("failed"));
        QVERIFY(qAbs(secondsOf("3.wav") - 3.0) < 0.01);
    }

    void jobTellsItsProgressAndCanBeCancelled()
    {
        const QString slowly("-filter:v scale=1920:1080 -c:v libx264 -preset veryslow -b:v 30M");
        std::unique_ptr<FFMPEGHelperJob> job(FFMPEGHelper::convertAsync("clip.avi", "slow.mp4", slowly));
        QSignalSpy progress(job.get(), &FFMPEGHelperJob::progress);
        QSignalSpy finished(job.get(), &FFMPEGHelperJob::finished);
        QTRY_VERIFY_WITH_TIMEOUT(progress.count() > 1, limitMs);
        if (finished.isEmpty()) { // fast machines may be through
            job->cancel();
            QVERIFY(finished.wait(limitMs));
            QCOMPARE(finished.first().at(0).toBool(), false);
            QVERIFY(!QFile::exists("slow.mp4"));
        }
        QVERIFY(QFile::exists("clip.avi"));

        const Ended quick(FFMPEGHelper::convertAsync("clip.avi", "quick.mp4"));
        QVERIFY2(quick.ok, qPrintable(quick.error));
        double last = -1.0;
        for (const QVariantList &arguments : quick.progress) {
            QVERIFY(arguments.first().toDouble() > last);
            last = arguments.first().toDouble();
        }
        QCOMPARE(last, 1.0);
        const Ended unknown(FFMPEGHelper::convertAsync("clip.avi", "b.nonsense"));
        QVERIFY2(!unknown.ok && unknown.error.contains("b.nonsense"), qPrintable(unknown.error));
    }

private:
    struct Ended
    {
        explicit Ended(FFMPEGHelperJob *begun) : job(begun), progress(begun, &FFMPEGHelperJob::progress)
        {
            QSignalSpy finished(begun, &FFMPEGHelperJob::finished);
            ok = finished.wait(limitMs) && finished.first().at(0).toBool();
            error = job->error();
        }
        std::unique_ptr<FFMPEGHelperJob> job;
        QSignalSpy progress;
        bool ok = false;
        QString error;
    };

    QString stored(const QString &name) const { return store.filePath(name); }

    static QStringList filesHere()
    {
        return QDir().entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System);
    }

    QTemporaryDir store;
    std::unique_ptr<QTemporaryDir> dir; // the current one
};

QTEST_GUILESS_MAIN(FFMPEGHelperProgramTest)

#include "tst_ffmpeghelperprogram.moc"
