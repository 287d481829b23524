#include "ffmpeg/ffmpegprocessor.h"
#include "ffmpeg/ffmpegqueue.h"
#include "support/frames.h"
#include "support/programs.h"

#include <QSignalSpy>
#include <QtTest>

#include <numeric>

namespace {

constexpr int clipFrames = 150;
constexpr int jobLimitMs = 60'000;

bool run(const QString &program, const QStringList &arguments, QByteArray *output = nullptr)
{
    QProcess process;
    process.start(program, arguments);
    const bool done = process.waitForFinished(jobLimitMs);
    if (output)
        *output = process.readAllStandardOutput();
    return done && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

// Jobs of the real ffmpeg: what stand-ins only claim of it.
class FFMpegProgramTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        SKIP_WITHOUT("ffmpeg", "ffprobe");
        QVERIFY(frames::writeVideo(store.filePath("clip.avi"), clipFrames));
        QVERIFY(run("ffmpeg",
            {"-loglevel", "error", "-f", "lavfi", "-i", "sine=duration=6", store.filePath("clip.wav")}));
        allNumbers.resize(clipFrames);
        std::iota(allNumbers.begin(), allNumbers.end(), 0);
    }

    void init()
    {
        dir = std::make_unique<QTemporaryDir>();
        QVERIFY(QFile::copy(store.filePath("clip.avi"), path("a.avi")));
        QVERIFY(QFile::copy(store.filePath("clip.wav"), path("a.wav")));
    }

    void convertKeepsEveryFrameAndConsumesTheInput()
    {
        FFMpegProcessor processor;
        QSignalSpy progress(&processor, &FFMpegProcessor::progress);
        QSignalSpy finished(&processor, &FFMpegProcessor::finished);
        QVERIFY(processor.convert(path("a.avi"), path("b.mp4")));
        QVERIFY(finished.wait(jobLimitMs));
        QVERIFY2(processor.exitCode() == 0, qPrintable(processor.lastText()));
        QCOMPARE(frames::numbersIn(path("b.mp4")), allNumbers);
        QVERIFY(!QFile::exists(path("a.avi")));
        QVERIFY(progress.count() > 0);
        for (const QList<QVariant> &arguments : qAsConst(progress)) {
            QVERIFY(arguments.at(0).toInt() >= 0 && arguments.at(0).toInt() <= clipFrames);
            QCOMPARE(arguments.at(1).toInt(), clipFrames);
        }
    }

    void optimizeReplacesTheFileAndAnOldSideFile()
    {
        QFile old(path("a_temp.avi"));
        QVERIFY(old.open(QIODevice::WriteOnly) && old.write("left by a failed run") > 0);
        old.close();
        FFMpegProcessor processor;
        QSignalSpy finished(&processor, &FFMpegProcessor::finished);
        QVERIFY(processor.optimize(path("a.avi")));
        QVERIFY(finished.wait(jobLimitMs));
        QVERIFY2(processor.exitCode() == 0, qPrintable(processor.lastText()));
        QVERIFY(contentOf(path("a.avi")) != contentOf(store.filePath("clip.avi")));
        QCOMPARE(frames::numbersIn(path("a.avi")), allNumbers);
        QVERIFY(!QFile::exists(path("a_temp.avi")));
    }

    void joinPutsTheSoundIntoTheVideo()
    {
        FFMpegProcessor processor;
        QSignalSpy finished(&processor, &FFMpegProcessor::finished);
        QVERIFY(processor.joinVideoAndAudio(path("a.avi"), path("a.wav"), path("b.mp4")));
        QVERIFY(finished.wait(jobLimitMs));
        QVERIFY2(processor.exitCode() == 0, qPrintable(processor.lastText()));
        QByteArray streams;
        QVERIFY(run("ffprobe",
            {"-loglevel", "error", "-show_entries", "stream=codec_type", "-of", "csv=p=0", path("b.mp4")},
            &streams));
        QCOMPARE(streams.simplified(), QByteArray("video audio"));
        QCOMPARE(frames::numbersIn(path("b.mp4")), allNumbers);
        QVERIFY(!QFile::exists(path("a.avi")) && !QFile::exists(path("a.wav")));
    }

    void failureOfFfmpegKeepsAllFiles_data()
    {
        QTest::addColumn<QString>("output");
        QTest::addColumn<bool>("isThere");
        QTest::newRow("join onto a file") << "b.mp4" << true;
        QTest::newRow("unknown suffix") << "b.nonsense" << false;
        QTest::newRow("missing folder") << "missing/b.mp4" << false;
    }

    void failureOfFfmpegKeepsAllFiles()
    {
        QFETCH(QString, output);
        QFETCH(bool, isThere);
        if (isThere)
            QVERIFY(QFile::copy(store.filePath("clip.avi"), path(output)));
        FFMpegProcessor processor;
        QSignalSpy finished(&processor, &FFMpegProcessor::finished);
        QVERIFY(processor.joinVideoAndAudio(path("a.avi"), path("a.wav"), path(output)));
        QVERIFY(finished.wait(jobLimitMs));
        QVERIFY(processor.exitCode() != 0 && !processor.hasCrashed());
        QVERIFY2(
            processor.lastText().contains(QFileInfo(output).fileName()), qPrintable(processor.lastText()));
        QVERIFY(QFile::exists(path("a.avi")) && QFile::exists(path("a.wav")));
        QCOMPARE(contentOf(path(output)), isThere ? contentOf(store.filePath("clip.avi")) : QByteArray());
    }

    void queueDeliversItsFilesInOrder()
    {
        FFMpegQueue queue;
        QSignalSpy files(&queue, &FFMpegQueue::jobFileFinished);
        queue.initAndStart();
        queue.addJob(JoinVideoAndAudio, path("a.avi"), path("b.mkv"), path("a.wav"));
        queue.addJob(Convert, path("b.mkv"), path("c.avi"), {});
        QTRY_COMPARE_WITH_TIMEOUT(files.count(), 2, jobLimitMs);
        QCOMPARE(files.at(0).at(0).toString(), path("b.mkv"));
        QCOMPARE(files.at(1).at(0).toString(), path("c.avi"));
        QCOMPARE(frames::numbersIn(path("c.avi")), allNumbers);
        QCOMPARE(QDir(dir->path()).entryList(QDir::Files), QStringList("c.avi"));
    }

private:
    QString path(const QString &name) const { return dir->path() + '/' + name; }

    QTemporaryDir store;
    std::unique_ptr<QTemporaryDir> dir;
    QVector<int> allNumbers;
};

QTEST_GUILESS_MAIN(FFMpegProgramTest)

#include "tst_ffmpegprogram.moc"
