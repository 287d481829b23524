#include "ffmpeg/sourcelock_p.h"
#include "recording/frametimelogreader.h"
#include "recording/recordingrecoveryjob.h"
#include "recording/recordingtempfile_p.h"
#include "support/fakeffmpeg.h"
#include "support/host.h"
#include "support/programs.h"
#include "support/recorderfixture.h"

#ifdef Q_OS_UNIX
#include <sys/file.h>
#include <unistd.h>
#endif

#include <cstdio>

using host::contentOf;
using programs::streamsOf;

namespace {

// Commands of the stand-in for ffmpeg: the input is "$2" after this.
const char toInput[] = "while [ \"$1\" != -i ]; do shift; done; ";

using Set = RecordingRecovery::Set;
using Result = RecordingRecovery::Result;

constexpr double writerBlock = 262144; // bytes that FFmpeg collects before it writes

cv::Mat pictureOf(bool isTextured)
{
    cv::Mat frame(240, 320, CV_8UC3, cv::Scalar::all(90));
    if (isTextured)
        cv::randu(frame, cv::Scalar::all(0), cv::Scalar::all(255));
    return frame;
}

// The program that is killed: records until then.
int recordForEver(QCoreApplication &app)
{
    const QStringList arguments = app.arguments();
    VideoRecorder::setTempFolder(arguments.at(2));
    VideoRecorder recorder(arguments.at(3), 50.0);
    recorder.useFrameLog = true;
    const bool isTextured = arguments.at(4) == QLatin1String("textured");
    QObject::connect(&recorder, &VideoRecorder::recordStarted, [] {
        std::puts("started");
        std::fflush(stdout);
    });
    QTimer source;
    QObject::connect(&source, &QTimer::timeout, [&] { recorder.setFrame(pictureOf(isTextured)); });
    source.start(15);
    recorder.startRecord();
    return app.exec();
}

// Bytes that one frame takes in the file, without the index that a killed writer never writes.
double frameBytes(bool isTextured)
{
    const auto sizeOf = [&](int count) {
        const QTemporaryDir dir;
        const QString path = dir.filePath("a.avi");
        QList<cv::Mat> frames;
        for (int i = 0; i < count; ++i)
            frames << pictureOf(isTextured);
        VideoRecorder::createVideoFromImages(path, frames, 50.0, QSize(320, 240));
        return double(QFileInfo(path).size());
    };
    return (sizeOf(60) - sizeOf(20)) / 40 - 16;
}

} // namespace

class RecordingRecoveryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { SKIP_WITHOUT("ffmpeg", "ffprobe"); }
    void init() { fixture = std::make_unique<RecorderFixture>(); }
    void cleanup() { fixture.reset(); }

    void setsThatNobodyUsesAreListed()
    {
        QVERIFY(place("whole.mkv", "video") && place("whole.log", "log")
            && place("whole.frames.csv", "frames") && place("whole.wav", "sound")
            && place("whole.json", "{}"));
        QVERIFY(place("empty.avi", "") && place("empty.lock", "")); // of a killed program
        QVERIFY(place("lone.log", QByteArray("\0\0\1\1", 4)) && place("notes.log", "other")
            && place("other.json", "{}"));
        QVERIFY(place("gone_aside1.wav", "sound") && place("text.txt", "text"));
        QVERIFY(QFile::link(fixture->inTemp("whole.mkv"), fixture->inTemp("link.avi")));
        const auto growing = RecordingTempFile::claim("growing.avi");
        QVERIFY(place("growing.avi", "video") && place("converted.mkv", "video")
            && place("stranger.avi", "video"));
        QFile read(fixture->inTemp("converted.mkv")); // by a child that has outlived its program
        QVERIFY(read.open(QIODevice::ReadOnly));
        QStringList expected{"empty interrupted 0", "gone_aside1 5", "lone 4", "whole 21"};
#ifdef Q_OS_UNIX
        QCOMPARE(flock(read.handle(), LOCK_SH), 0);
        if (lchown(QFile::encodeName(fixture->inTemp("stranger.avi")).constData(), 65534, 65534) != 0)
            expected << "stranger 5";
#else
        expected << "converted 5"
                 << "stranger 5";
#endif
        for (int round = 0; round < 2; ++round) {
            QStringList found;
            for (const Set &set : RecordingRecovery::list(fixture->temp.path()))
                found << set.name + (set.isInterrupted ? " interrupted " : " ") + QString::number(set.bytes);
            found.sort();
            QCOMPARE(found, expected); // the second time as well: a list changes nothing
        }
        QVERIFY(!RecordingRecovery::list().isEmpty()); // the folders of this user
        const Set whole = only("whole");
        QCOMPARE(whole.files().size(), 5);
        QCOMPARE(whole.videoPath, fixture->inTemp("whole.mkv"));

        Set inUse = whole;
        inUse.name = "growing";
        inUse.videoPath = fixture->inTemp("growing.avi");
        for (const Result &refused : {RecordingRecovery::remove(inUse), RecordingRecovery::repair(inUse),
                 RecordingRecovery::deliver(inUse, fixture->out())})
            QVERIFY(!refused.ok && refused.reason.contains("is in use"));
        QVERIFY(RecordingRecovery::remove(whole).ok);
        QVERIFY(fixture->tempEntries().filter("whole").isEmpty());
        QVERIFY(QFile::exists(fixture->inTemp("growing.avi")));
    }

    void setIsDeliveredOrStays_data()
    {
        // What stands at the destination afterwards; empty where the set has to stay as it is.
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("ffmpeg");
        QTest::addColumn<QString>("streams");
        QTest::addColumn<QString>("delivered");
        const auto row = [](const char *tag, const char *source, const char *target, const char *ffmpeg,
                             const char *streams, const char *delivered) {
            QTest::newRow(tag) << source << target << ffmpeg << streams << delivered;
        };
        row("cut video", "cut.avi", "a.avi", "", "video", "a.avi a.frames.csv a.json a.log");
        row("whole video moves", "whole.avi", "a.avi", "exit 1", "video", "a.avi a.frames.csv a.json a.log");
        row("other container", "cut.avi", "a.mkv", "", "video", "a.frames.csv a.json a.log a.mkv");
        row("with sound", "cut.avi sound", "a.mkv", "", "video audio", "a.frames.csv a.json a.log a.mkv");
        row("sound is coded", "cut.avi sound", "a.mp4", "", "video audio", "a.frames.csv a.json a.log a.mp4");
        row("sound is broken", "cut.avi noise", "a.avi", "", "video",
            "a.avi a.frames.csv a.json a.log a.wav");
        row("no program", "cut.avi", "a.avi", "exit 127", "video", "a.avi a.frames.csv a.json a.log");
        row("no program, other suffix", "cut.avi", "a.mkv", "exit 127", "", "");
        row("half is made", "cut.avi", "a.mkv", "head -c $(($(wc -c < \"$2\") / 2)) \"$2\" > \"$out\"", "",
            "");
        row("sound is lost", "cut.avi sound", "a.avi",
            "case \"$all\" in *take.wav*progress*) echo out_time_us=3000000;; *progress*) ;;"
            "*) cp \"$2\" \"$out\";; esac",
            "video", "a.avi a.frames.csv a.json a.log a.wav");
        row("video is taken", "cut.avi", "taken.avi", "", "", "");
        row("log is taken", "cut.avi", "takenlog.avi", "", "", "");
        row("no frame", "empty.avi", "a.avi", "", "", "");
    }

    void setIsDeliveredOrStays()
    {
        QFETCH(QString, source);
        QFETCH(QString, target);
        QFETCH(QString, ffmpeg);
        QFETCH(QString, streams);
        QFETCH(QString, delivered);
        QVERIFY(leaveSet(source));
        QFile taken(fixture->out(target.startsWith("takenlog") ? "takenlog.log" : "taken.avi"));
        const QStringList before = fixture->tempEntries();
        QVERIFY(!delivered.isEmpty() || taken.open(QIODevice::WriteOnly));

        const Set set = only("take");
        Result result;
        {
            std::unique_ptr<FakeFFMpeg> fake;
            if (!ffmpeg.isEmpty())
                fake = std::make_unique<FakeFFMpeg>(QString("all=\"$*\"; ") + toInput + ffmpeg);
            double told = 0.0;
            result = RecordingRecovery::deliver(set, fixture->out(qPrintable(target)), [&](double done) {
                told = done >= told ? done : 2.0;
                return true;
            });
            QVERIFY(told <= 1.0);
        }
        QCOMPARE(result.ok, !delivered.isEmpty());
        const QStringList there =
            QDir(fixture->folder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        if (delivered.isEmpty()) {
            QVERIFY(!result.reason.isEmpty());
            QCOMPARE(fixture->tempEntries(), before);
            QCOMPARE(there, QStringList(QFileInfo(taken.fileName()).fileName()));
            return;
        }
        QCOMPARE(there.join(QLatin1Char(' ')), delivered);
        QCOMPARE(fixture->tempEntries(), QStringList());
        const QVector<int> numbers = frames::numbersIn(result.files.videoPath);
        QVERIFY(numbers.size() >= 30 && numbers.size() == result.contents.frames);
        for (int i = 0; i < numbers.size(); ++i)
            QCOMPARE(numbers.at(i), i);
        QCOMPARE(contentOf(result.files.logPath), QByteArray("log"));
        QCOMPARE(streamsOf(result.files.videoPath), streams.toUtf8());
        QCOMPARE(result.files.soundPath.isEmpty(), !delivered.contains(QLatin1String(".wav")));
    }

    void repairedVideoTellsItsFrames()
    {
        QVERIFY(leaveSet("cut.avi"));
        const Set set = only("take");
        const Result seen = RecordingRecovery::inspect(set);
        QVERIFY(seen.ok && !seen.contents.hasHeader && seen.contents.frames >= 30);
        QCOMPARE(seen.contents.lengthS, double(seen.contents.frames) / 25.0);
        {
            const FakeFFMpeg half(QString(toInput) + "head -c $(($(wc -c < \"$2\") / 2)) \"$2\" > \"$out\"");
            const QByteArray before = contentOf(set.videoPath);
            QVERIFY(!RecordingRecovery::repair(set).ok);
            QVERIFY(contentOf(set.videoPath) == before);
        }
        QVERIFY(RecordingRecovery::repair(set).ok);
        const Result repaired = RecordingRecovery::inspect(set);
        QVERIFY(repaired.contents.hasHeader);
        QCOMPARE(repaired.contents.frames, seen.contents.frames);
        QCOMPARE(only("take").files().size(), 4);
    }

    void jobTellsItsEndOnceAndCanBeCancelled_data()
    {
        QTest::addColumn<QString>("kind");
        for (const char *kind : {"runs", "is cancelled", "is deleted"})
            QTest::newRow(kind) << QString::fromLatin1(kind);
    }

    void jobTellsItsEndOnceAndCanBeCancelled()
    {
        QFETCH(QString, kind);
        const bool runs = kind == QLatin1String("runs");
        QVERIFY(leaveSet("cut.avi"));
        const QStringList before = fixture->tempEntries();
        std::unique_ptr<FakeFFMpeg> fake;
        if (!runs)
            fake = std::make_unique<FakeFFMpeg>("touch \"$dir/runs\"; echo part > \"$out\"; await never");
        auto *job = RecordingRecovery::deliverAsync(only("take"), fixture->out());
        const QPointer<RecordingRecoveryJob> guard(job);
        QSignalSpy progress(job, &RecordingRecoveryJob::progress);
        QSignalSpy finished(job, &RecordingRecoveryJob::finished);
        if (!runs)
            QTRY_VERIFY(fake->hasFile("runs"));
        if (kind == QLatin1String("is cancelled"))
            job->cancel();
        if (kind == QLatin1String("is deleted")) {
            delete job;
        } else {
            QTRY_COMPARE(finished.count(), 1);
            QCOMPARE(job->result().ok, runs);
            QVERIFY(runs || job->result().reason.contains("was cancelled"));
            QVERIFY(!job->isRunning() && progress.count() > 0);
            delete job;
        }
        const QStringList left = runs ? QStringList() : before;
        QTRY_COMPARE(fixture->tempEntries(), left); // the lock has gone as well
        QCOMPARE(QDir(fixture->folder.path()).entryList(QDir::Files).contains("take.avi"), runs);
        QCOMPARE(QDir(fixture->folder.path()).entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot),
            QStringList());
    }

    // VTCV_KILLS sets the number of kills, 4 otherwise.
    void killedRecordingsAreRecovered()
    {
#ifndef Q_OS_UNIX
        QSKIP("needs signals");
#endif
        const int kills = qMax(4, qEnvironmentVariableIntValue("VTCV_KILLS"));
        const double bytes[] = {frameBytes(false), frameBytes(true)};
        int delivered = 0;
        for (int i = 0; i < kills; ++i) {
            const bool isTextured = i % 2;
            const QString suffix = i / 2 % 2 ? ".mkv" : ".avi";
            const QString destination = fixture->out(qPrintable(QString("take") + suffix));
            const int waitMs = QRandomGenerator::global()->bounded(300, 2000);
            QProcess child;
            child.start(QCoreApplication::applicationFilePath(),
                {"--record", fixture->temp.path(), destination, isTextured ? "textured" : "flat"});
            QByteArray said;
            QTRY_VERIFY_WITH_TIMEOUT((said += child.readAllStandardOutput()).contains("started"), 30'000);
            QTest::qWait(waitMs);
            child.kill();
            QVERIFY(child.waitForFinished());

            const Set left = only("take");
            QVERIFY(left.isInterrupted && !left.logPath.isEmpty());
            VideoRecorder recorder(QString(), 50.0);
            recorder.useFrameLog = true;
            QVERIFY(fixture->record(recorder, destination, 3));
            QSignalSpy finished(&recorder, &VideoRecorder::recordFinished);
            recorder.stopRecord();
            QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 20'000);
            FrameTimeLogReader log;
            QVERIFY2(log.open(fixture->out("take.log")), qPrintable(log.errorString()));
            QCOMPARE(log.count(), frames::numbersIn(destination).size()); // and none of the dead one's

            const Set aside = only("take_aside1");
            const QString target = fixture->out(qPrintable(QString("recovered") + suffix));
            const Result result = RecordingRecovery::deliver(aside, target);
            const qint64 lost = result.contents.logRecords - result.contents.frames;
            const double bound = writerBlock / bytes[isTextured] + 2;
            qInfo("kill %d after %d ms, %s%s: %d frames logged, %lld recovered, %lld lost, at most %.0f",
                i + 1, waitMs, isTextured ? "textured" : "flat", qPrintable(suffix),
                result.contents.logRecords, result.contents.frames, lost, bound);
            QCOMPARE(result.ok, result.contents.frames > 0);
            QVERIFY(lost <= bound);
            if (result.ok) {
                ++delivered;
                QVERIFY(log.open(fixture->out("recovered.log"), FrameTimeLogReader::Damage::Salvage));
                QCOMPARE(log.count(), result.contents.logRecords);
                QCOMPARE(RecordingRecovery::inspect(result.files).contents.frames, result.contents.frames);
            }
            QVERIFY(RecordingRecovery::remove(result.files).ok
                && RecordingRecovery::list(fixture->temp.path()).isEmpty());
            QCOMPARE(fixture->tempEntries(), QStringList());
        }
        QVERIFY(delivered > 0);
    }

private:
    bool place(const char *name, const QByteArray &content) const
    {
        QFile file(fixture->inTemp(name));
        return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
    }

    // "cut.avi sound": a video that ends in the middle of a frame, its log, list, result and sound.
    bool leaveSet(const QString &kind) const
    {
        const QString video = fixture->inTemp("take.avi");
        bool isLeft =
            place("take.log", "log") && place("take.frames.csv", "frames") && place("take.json", "{}");
        if (kind.startsWith(QLatin1String("empty")))
            return isLeft && place("take.avi", "");
        isLeft = isLeft && frames::writeVideo(video, 60, 25.0);
        if (kind.startsWith(QLatin1String("cut")))
            isLeft = isLeft && QFile::resize(video, QFileInfo(video).size() * 3 / 4);
        if (kind.endsWith(QLatin1String("noise")))
            isLeft = isLeft && place("take.wav", "noise");
        if (kind.endsWith(QLatin1String("sound"))) {
            isLeft = isLeft
                && QProcess::execute("ffmpeg",
                       {"-v", "error", "-f", "lavfi", "-i", "sine=duration=3", fixture->inTemp("take.wav")})
                    == 0;
        }
        return isLeft;
    }

    // The set of that name; an empty one where there is none.
    Set only(const QString &name) const
    {
        for (const Set &set : RecordingRecovery::list(fixture->temp.path())) {
            if (set.name == name)
                return set;
        }
        return {};
    }

    std::unique_ptr<RecorderFixture> fixture;
};

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (app.arguments().value(1) == QLatin1String("--record"))
        return recordForEver(app);
    RecordingRecoveryTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_recordingrecovery.moc"
