#include "ffmpeg/ffmpeghelper.h"
#include "ffmpeg/ffmpegjobwatch.h"
#include "ffmpeg/ffmpegprocessor.h"
#include "support/frames.h"
#include "support/host.h"
#include "support/programs.h"
#include "support/table.h"

#include <QSignalSpy>

#include <memory>
#include <numeric>

#ifdef Q_OS_LINUX
#include <sys/mount.h>
#endif

using programs::outputOf;

namespace {

constexpr int clipFrames = 100;
constexpr int clipMs = 4000;
constexpr int limitMs = 120'000;

// "video codec,audio codec" and the length in s.
QString streamsOf(const QString &path)
{
    return QString::fromLatin1(programs::streamsOf(path, "codec_name"));
}

double secondsOf(const QString &path)
{
    return outputOf("ffprobe", {"-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0", path})
        .toDouble();
}

// Runs a job of FFMPEGHelper to its end.
struct Ended
{
    explicit Ended(FFMPEGHelperJob *begun) : job(begun)
    {
        QSignalSpy finished(begun, &FFMPEGHelperJob::finished);
        ok = finished.wait(limitMs) && finished.first().at(0).toBool();
        error = job->error();
    }
    std::unique_ptr<FFMPEGHelperJob> job;
    bool ok = false;
    QString error;
};

} // namespace

// Source, sound of a join, output, delivery, its streams (empty: the job fails, and nothing is lost).
using Products = Table<QString, QString, QString, RecordingDelivery, QString>;

// Runs of the real ffmpeg: what stand-ins only claim of it.
class FFMpegProgramTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        SKIP_WITHOUT("ffmpeg", "ffprobe");
        QVERIFY(frames::writeVideo(stored("clip.avi"), clipFrames));
        QVERIFY(!outputOf("ffmpeg",
            {"-nostdin", "-i", stored("clip.avi"), "-vf", "crop=319:239", "-c:v", "mjpeg", "-q:v", "2",
                stored("odd.avi")})
                     .isEmpty());
        const QStringList tone{"-nostdin", "-f", "lavfi", "-i", "sine=frequency=440:duration=4"};
        QVERIFY(!outputOf("ffmpeg", tone + QStringList(stored("tone.wav"))).isEmpty());
    }

    void init()
    {
        dir = std::make_unique<QTemporaryDir>(QDir::temp().filePath("it's a\nfolder-XXXXXX"));
        QVERIFY(QDir::setCurrent(dir->path()));
        for (const char *file : {"clip.avi", "odd.avi", "tone.wav"})
            QVERIFY(QFile::copy(stored(file), file));
    }

    void cleanup() { QDir::setCurrent(QDir::rootPath()); }

    void processorMakesItsFiles_data()
    {
        const Products table;
        const auto row = [&](const QString &source, const QString &sound, const QString &output,
                             const RecordingDelivery &delivery, const QString &streams) {
            const QString name = QString("%1 %2 to %3, %4").arg(source, sound, output).arg(delivery.kind);
            table(name, source, sound, output, delivery, streams);
        };
        const RecordingDelivery plain;
        const RecordingDelivery copy = RecordingDelivery::copy();
        const RecordingDelivery quality = RecordingDelivery::quality();
        const QString clip = "clip.avi";
        const QString wav = "tone.wav";
        row(clip, "", "b.mp4", plain, "h264");
        row(clip, "", "clip.avi", plain, "mpeg4");
        row(clip, wav, "tee:b.mp4", plain, "h264 aac");
        row(clip, wav, "clip.avi", quality, "h264 pcm_s16le");
        row("odd.avi", wav, "b.mkv", quality, "h264 aac");
        row("odd.avi", "", "b.mov", quality, "h264");
        for (const char *suffix : {"avi", "mkv", "mov"})
            row(clip, wav, QString("b.") + suffix, copy, "mjpeg pcm_s16le");
        row(clip, wav, "b.mp4", copy, "mjpeg aac");
        row(clip, wav, "b.webm", copy, "");
        row(clip, wav, "b.mkv", RecordingDelivery::custom({"-c:v", "ffv1", "-c:a", "flac"}), "ffv1 flac");
        row(clip, wav, "b.mkv", RecordingDelivery::custom({"-c:v", "no_such"}), "h264 aac");
        row(clip, wav, "b.nonsense", plain, "");
        row(clip, wav, "missing/b.mp4", plain, "");
        row(clip, wav, "odd.avi", plain, ""); // a join overwrites nothing
    }

    void processorMakesItsFiles()
    {
        const auto &[source, sound, output, delivery, streams] = Products::fetch();
        FFMpegProcessor processor;
        QSignalSpy progress(&processor, &FFMpegProcessor::progress);
        QSignalSpy finished(&processor, &FFMpegProcessor::finished);
        QVERIFY(sound.isEmpty() ? processor.convert(source, output, delivery)
                                : processor.joinVideoAndAudio(source, sound, output, delivery));
        QVERIFY(finished.wait(limitMs));
        const bool works = !streams.isEmpty();
        QVERIFY2((processor.exitCode() == 0) == works, qPrintable(processor.lastText()));
        QCOMPARE(QFile::exists(source), !works || source == output);
        QCOMPARE(sound.isEmpty() || QFile::exists(sound), !works || sound.isEmpty());
        QVERIFY(!QFile::exists("clip_temp.avi"));
        if (!works) {
            QVERIFY(host::contentOf("odd.avi") == host::contentOf(stored("odd.avi")));
            QVERIFY(processor.lastText().contains(QFileInfo(output).fileName()) || output.endsWith("webm"));
            return;
        }
        const QString made = QDir::current().absoluteFilePath(output);
        QCOMPARE(streamsOf(made), streams);
        QVector<int> allNumbers(clipFrames);
        std::iota(allNumbers.begin(), allNumbers.end(), 0);
        QCOMPARE(frames::numbersIn(made), allNumbers);
        QVERIFY(progress.count() > 0 && progress.last().at(1).toInt() == clipFrames);
    }

    void helperMakesItsFiles()
    {
        const auto isMade = [](const QString &path, const QString &streams, double seconds) {
            return streamsOf(path) == streams
                && qAbs(secondsOf(path) - seconds) < (streams.startsWith("pcm") ? 0.01 : 0.5);
        };
        QString path = "clip.avi";
        QString to = "b.mkv";
        QVERIFY2(
            FFMPEGHelper::convert(path, to, "-an -r 10 -c:v mpeg4"), qPrintable(FFMPEGHelper::lastError));
        QVERIFY(isMade("b.mkv", "mpeg4", 4.0));
        QVERIFY(FFMPEGHelper::convertVideoToMP4(path, true) && path == "clip.mp4");
        QVERIFY(FFMPEGHelper::convertVideoToMP4(path) && isMade(path, "h264", 4.0)); // in its place
        QVERIFY(!QFile::exists("clip.avi") && !QFile::exists("clip_.mp4"));

        QVERIFY(FFMPEGHelper::changeVolume("tone.wav", "b.wav", 0.5F) && isMade("b.wav", "pcm_s16le", 4.0));
        QVERIFY(FFMPEGHelper::crop("tone.wav", "short.wav", 1250) && isMade("short.wav", "pcm_s16le", 1.25));
        // An equal name ffmpeg refuses by itself; a job reports it.
        QVERIFY(FFMPEGHelper::crop("tone.wav", "tone.wav", 1000));
        QVERIFY(!Ended(FFMPEGHelper::cropAsync("tone.wav", "tone.wav", 1000)).ok);
        QVERIFY(!FFMPEGHelper::crop("tone.wav", "./tone.wav", 1000)); // fault: ffmpeg empties it
        QVERIFY(isMade("tone.wav", "pcm_s16le", 4.0));

        // An older destination is no success of a job, and no wait for an answer.
        QVERIFY(FFMPEGHelper::joinAudio({"tone.wav", "tone.wav"}, "long.wav"));
        QVERIFY(FFMPEGHelper::joinAudio({"tone.wav"}, "long.wav", false, limitMs));
        QVERIFY(!Ended(FFMPEGHelper::joinAudioAsync({"tone.wav"}, "long.wav")).ok);
        QVERIFY(isMade("long.wav", "pcm_s16le", 8.0));
        QVERIFY(Ended(FFMPEGHelper::convertAsync(path, "b.nonsense")).error.contains("b.nonsense"));
    }

    void joinTakesNamesThatAListCannotHold()
    {
        QStringList sources{"tone.wav", "it's.wav", "two\nlines.wav", "two\r\nfile 'tone.wav'"};
        for (int i = 1; i < sources.size(); ++i)
            QVERIFY(QFile::copy("tone.wav", sources.at(i)));
        const QStringList before = QDir().entryList(QDir::AllEntries);
        for (const int way : {0, 1, 2}) {
            const bool safe = way == 1;
            for (QString &source : sources)
                source = way == 2 ? QDir::current().filePath(source) : source;
            QVERIFY(FFMPEGHelper::joinAudio(sources, "all.wav", safe) && QFile::remove("all.wav"));
            QVERIFY(Ended(FFMPEGHelper::joinAudioAsync(sources, "all.wav", safe)).ok);
            QVERIFY(qAbs(secondsOf("all.wav") - 16.0) < 0.01 && QFile::remove("all.wav"));
            QCOMPARE(QDir().entryList(QDir::AllEntries), before);
        }
    }

    void diskThatIsTooSmallByLittleKeepsTheSource_data()
    {
        QTest::addColumn<QString>("suffix");
        for (const char *suffix : {"avi", "mkv", "mp4", "mov"})
            QTest::newRow(suffix) << suffix;
    }

    // ffmpeg 5.1 ends with exit code 0 all the same. All sizes with VTCV_ALL_FULL_DISKS=1.
    void diskThatIsTooSmallByLittleKeepsTheSource()
    {
        QFETCH(QString, suffix);
#ifdef Q_OS_LINUX
        const QString noise = "testsrc2=duration=3:size=320x240:rate=25,noise=alls=30:allf=t";
        QVERIFY(
            outputOf("ffmpeg", {"-nostdin", "-f", "lavfi", "-i", noise, "-c:v", "mjpeg", "n.avi"}).size());
        const QString whole = "whole." + suffix;
        QVERIFY(outputOf("ffmpeg", {"-nostdin", "-i", "n.avi", whole}).size());
        const qint64 blocks = (QFileInfo(whole).size() + 4095) / 4096;
        QVERIFY2(blocks > 20, qPrintable(QString::number(blocks)));
        QVERIFY(QDir().mkdir("disk"));
        const int sizes = qEnvironmentVariableIsSet("VTCV_ALL_FULL_DISKS") ? 10 : 1;
        for (int i = 1; i <= sizes; ++i) {
            const int missing = sizes == 1 ? 2 : i; // blocks of 4 KiB
            const QByteArray disk = QFile::encodeName(dir->filePath("disk"));
            const QByteArray size = "size=" + QByteArray::number((blocks - missing) * 4096);
            if (::mount("none", disk.constData(), "tmpfs", 0, size.constData()) != 0)
                QSKIP("Only root can mount a small disk");
            const auto unmount = qScopeGuard([&] { ::umount2(disk.constData(), MNT_DETACH); });
            FFMpegQueue queue;
            FFMpegJobWatch watch(&queue);
            QSignalSpy over(&watch, &FFMpegJobWatch::jobEnded);
            queue.initAndStart();
            queue.addJob(Convert, dir->filePath("n.avi"), disk + "/out." + suffix, {});
            QTRY_COMPARE_WITH_TIMEOUT(over.count(), 1, limitMs);
            const auto verdict = over.first().first().value<FFMpegJobVerdict>();
            QVERIFY2(verdict.outcome == FFMpegJobVerdict::Failed && QFile::exists("n.avi"),
                qPrintable(QString("%1 KiB: %2").arg(4 * missing).arg(verdict.text)));
        }
#else
        QSKIP("Needs tmpfs");
#endif
    }

private:
    QString stored(const QString &name) const
    {
        return store.filePath(name);
    }

    QTemporaryDir store;
    std::unique_ptr<QTemporaryDir> dir; // the current one
};

QTEST_GUILESS_MAIN(FFMpegProgramTest)

#include "tst_ffmpegprogram.moc"
