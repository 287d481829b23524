#include "ffmpeg/ffmpegqueue.h"
#include "recording/frametimelogreader.h"
#include "recording/recordingnotifier_p.h"
#include "recording/recordingresult.h"
#include "support/programs.h"
#include "support/recorderfixture.h"
#include "support/table.h"

#include <QStorageInfo>

#ifdef Q_OS_LINUX
#include <sys/mount.h>
#endif

using programs::streamsOf;

namespace {

enum class Delivery
{
    Copy,
    Ffmpeg
};

#ifdef Q_OS_LINUX
int entriesOf(const char *folder)
{
    return QDir(QLatin1String(folder))
        .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System)
        .size();
}
#endif

} // namespace

Q_DECLARE_METATYPE(Delivery)

// From the stop request to recordFinished(), by plain copy and through the real ffmpeg.
class VideoRecorderFinishTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { SKIP_WITHOUT("ffmpeg"); }
    void init() { fixture = std::make_unique<RecorderFixture>(); }
    void cleanup() { fixture.reset(); }

    void discardedRecordingLeavesNothing()
    {
        VideoRecorder recorder(QString(), 50.0);
        recorder.useFrameLog = true;
        recorder.useFrameList = true;
        QVERIFY(fixture->record(recorder, fixture->out()));
        QVERIFY(fixture->leave("take.wav", "would be joined to the next recording"));
        recorder.stopRecord(true);
        QVERIFY(finished(recorder));
        QCOMPARE(fixture->tempEntries(), QStringList());
        QVERIFY(QDir(fixture->folder.path()).isEmpty());
        QVERIFY(fixture->consoleHas("Record removed"));
        QCOMPARE(recorder.lastResult().outcome, RecordingResult::Discarded);
    }

    void videoAndLogArriveAndAreAnnouncedOnceByTheWorker_data()
    {
        QTest::addColumn<Delivery>("delivery");
        QTest::newRow("copy") << Delivery::Copy;
        QTest::newRow("ffmpeg") << Delivery::Ffmpeg;
    }

    void videoAndLogArriveAndAreAnnouncedOnceByTheWorker()
    {
        QFETCH(Delivery, delivery);
        VideoRecorder::UseFFMPEGOptimization = delivery == Delivery::Ffmpeg;
        VideoRecorder recorder(QString(), 50.0);
        recorder.useFrameLog = true;
        recorder.useFrameList = true;
        recorder.useResultFile = true;
        QFile oldLog(fixture->out("take.log"));
        QVERIFY(oldLog.open(QIODevice::WriteOnly) && oldLog.write(QByteArray("\0\0\1\1old", 7)) == 7);
        oldLog.close();
        QStringList order; // the worker's
        const auto note = [&](const char *what) {
            order << QLatin1String(what);
            if (recorder.isSavingFile())
                order << "saving";
        };
        fixture->onLine = [&](const QString &line) {
            if (line.startsWith("Destfile"))
                note("deliver");
        };
        QThread *thread = nullptr;
        RecordingResult result;
        bool existed = false;
        connect(
            &recorder, &VideoRecorder::recordPrepareToFinish, &recorder, [&] { note("prepare"); },
            Qt::DirectConnection);
        connect(
            recorder.notifier(), &RecordingNotifier::ended, &recorder, [&] { note("ended"); },
            Qt::DirectConnection);
        connect(
            &recorder, &VideoRecorder::recordFinished, &recorder,
            [&](const QString &file) {
                note("finished");
                thread = QThread::currentThread();
                existed = QFile::exists(file);
                result = recorder.lastResult();
            },
            Qt::DirectConnection);
        QVERIFY(fixture->record(recorder, fixture->out()));
        recorder.stopRecord();
        QVERIFY(!recorder.getIsRecording());
        const QList<QVariant> told = finished(recorder).value_or(QList<QVariant>());
        fixture->onLine = {};
        QCOMPARE(order.join(QLatin1Char(' ')), "prepare deliver saving ended finished");
        QCOMPARE(told.value(0).toString(), fixture->out());
        QVERIFY(existed && thread == &recorder);
        const int frameCount = frames::numbersIn(fixture->out()).size();
        QCOMPARE(told.value(1).toInt(), frameCount * 20);
        FrameTimeLogReader log;
        QVERIFY(log.open(fixture->out("take.log")) && log.count() == frameCount);
        QCOMPARE(fixture->tempEntries(), QStringList());
        QCOMPARE(recorder.getFrameCount(), 0);

        QCOMPARE(result.outcome, RecordingResult::Delivered);
        QVERIFY2(result.isWhole && result.reason.isEmpty(), qPrintable(result.reason));
        QCOMPARE(QStringList({result.videoPath, result.logPath, result.framesPath}),
            QStringList({fixture->out(), fixture->out("take.log"), fixture->out("take.frames.csv")}));
        QCOMPARE(int(result.framesCounted), frameCount);
        QCOMPARE(int(result.framesFound), frameCount);
        QCOMPARE(result.job.has_value(), delivery == Delivery::Ffmpeg);
        QVERIFY(qAbs(result.startedAt.secsTo(QDateTime::currentDateTimeUtc())) < 60 && result.startedUs > 0);
        QFile json(fixture->out("take.json"));
        QVERIFY(json.open(QIODevice::ReadOnly));
        const QJsonObject written = QJsonDocument::fromJson(json.readAll()).object();
        QCOMPARE(written.value("outcome").toString(), "delivered");
        QCOMPARE(written.value("framesCounted").toInt(), frameCount);
        QFile list(fixture->out("take.frames.csv"));
        QVERIFY(list.open(QIODevice::ReadOnly));
        QCOMPARE(list.readAll().count('\n'), frameCount + 1);
    }

    void filesOfOthersAtTheDestinationStay()
    {
        QFile notes(fixture->out("take.log"));
        QVERIFY(notes.open(QIODevice::WriteOnly) && notes.write("rat 7, left paw") > 0);
        notes.close();
        QVERIFY(QFile::copy(notes.fileName(), fixture->out("take.json")));
        VideoRecorder recorder(QString(), 50.0);
        recorder.useFrameLog = true;
        recorder.useResultFile = true;
        QVERIFY(fixture->record(recorder, fixture->out()));
        QVERIFY(recorder.finishAndWait(20'000));
        QCOMPARE(recorder.lastResult().logPath, fixture->inTemp("take.log"));
        QCOMPARE(recorder.lastResult().videoPath, fixture->out());
        QCOMPARE(notes.size(), qint64(15));
        QCOMPARE(QFileInfo(fixture->out("take.json")).size(), qint64(15));

        // And the video of another recorder that grows there.
        VideoRecorder other(QString(), 50.0);
        QVERIFY(fixture->record(recorder, fixture->inTemp("grows.avi"), 3, 1));
        QVERIFY(fixture->record(other, fixture->inTemp("grows.avi"), 3, 2));
        QVERIFY(other.finishAndWait(20'000) && recorder.finishAndWait(20'000));
        QCOMPARE(frames::numbersIn(fixture->inTemp("grows.avi")).value(2), 1);
        QCOMPARE(other.lastResult().outcome, RecordingResult::KeptInTemporaryFolder);
        QCOMPARE(frames::numbersIn(other.lastResult().videoPath).value(2), 2);
    }

    void destructorFinishesWhatWasStopped_data()
    {
        QTest::addColumn<Delivery>("delivery");
        QTest::newRow("copy") << Delivery::Copy;
        QTest::newRow("ffmpeg") << Delivery::Ffmpeg;
    }

    void destructorFinishesWhatWasStopped()
    {
        QFETCH(Delivery, delivery);
        VideoRecorder::UseFFMPEGOptimization = delivery == Delivery::Ffmpeg;
        for (int round = 0; round < (delivery == Delivery::Copy ? 20 : 2); ++round) {
            {
                VideoRecorder recorder(QString(), 50.0);
                recorder.useFrameLog = true;
                QVERIFY(fixture->record(recorder, fixture->out(), 3));
                recorder.stopRecord();
            }
            QVERIFY(VideoRecorder::waitForDeliveries(20'000));
            QVERIFY(frames::numbersIn(fixture->out()).size() >= 3);
            QVERIFY(QFile::exists(fixture->out("take.log")));
            QCOMPARE(fixture->tempEntries(), QStringList());
        }
        QVERIFY(!fixture->consoleHas("was not stopped"));
    }

    void waitingDeliversEventsAndEndsInTime()
    {
        VideoRecorder::UseFFMPEGOptimization = true;
        VideoRecorder recorder(QString(), 50.0);
        QVERIFY(fixture->record(recorder, fixture->out()));
        int ticks = 0;
        QTimer timer;
        connect(&timer, &QTimer::timeout, this, [&] { ++ticks; });
        timer.start(1);
        QVERIFY(!recorder.finishAndWait(0)); // stops, and has no time
        QVERIFY(!recorder.getIsRecording());
        QVERIFY(recorder.finishAndWait(20'000) && ticks > 0);
        QCOMPARE(recorder.lastResult().outcome, RecordingResult::Delivered);
        QCOMPARE(VideoRecorder::pendingDeliveries(), 0);

        QVERIFY(fixture->record(recorder, fixture->out("other.avi")));
        bool arrived = false;
        const std::unique_ptr<QThread> waiting(QThread::create(
            [&] { arrived = recorder.finishAndWait(20'000) && QFile::exists(fixture->out("other.avi")); }));
        waiting->start();
        QVERIFY(waiting->wait(30'000) && arrived);
    }

    void soundMakerCannotHoldTheFinish()
    {
        VideoRecorder::UseFFMPEGOptimization = true;
        VideoRecorder recorder(QString(), 50.0);
        QVERIFY(recorder.setSoundMaker([](const VideoRecorder::SoundRequest &) { throw 1; }));
        QVERIFY(!recorder.setSoundMaker([](const VideoRecorder::SoundRequest &) {}));
        QVERIFY(fixture->consoleHas("another one is refused"));
        QVERIFY(fixture->record(recorder, fixture->out()));
        recorder.setSoundMaker({}); // the recording keeps its maker
        recorder.stopRecord();
        QVERIFY(finished(recorder));
        QVERIFY(!recorder.isSavingFile() && !recorder.isFinishPending());
        QVERIFY(frames::numbersIn(fixture->out()).size() >= 5);
    }

    void cutKeepsWhatItCan_data()
    {
        const Table<QString, VideoInterval, int> row;
        row("middle", "take.avi", VideoInterval(1, 3), 3);
        row("folder and name with .avi twice", "a.avi.d/take.avi.avi", VideoInterval(0, 0), 1);
        row("no .avi in the name", "take.mkv", VideoInterval(1, 2), 2);
        row("backwards", "take.avi", VideoInterval(3, 1), -1);
        row("beyond the end", "take.avi", VideoInterval(2, 1'000'000), -1);
    }

    void cutKeepsWhatItCan()
    {
        const auto &[name, interval, kept] = Table<QString, VideoInterval, int>::fetch();
        const QString path = fixture->folder.filePath(name);
        VideoRecorder recorder(QString(), 50.0);
        QVERIFY(fixture->record(recorder, path, 6));
        recorder.stopAndCut(interval);
        QCOMPARE(recorder.getDurationSeconds(), 0.0);
        const QList<QVariant> told = finished(recorder).value_or(QList<QVariant>{-1, -1});
        QCOMPARE(told.value(1).toInt(), 0);
        const int found = frames::numbersIn(path).size();
        QVERIFY2(kept < 0 ? found >= 6 : found == kept, qPrintable(QString::number(found)));
        QCOMPARE(fixture->tempEntries(), QStringList());
        const RecordingResult result = recorder.lastResult();
        QCOMPARE(int(result.framesCounted), found);
        QCOMPARE(result.logShift, kept < 0 ? quint64(0) : quint64(interval.first));
        QVERIFY(result.isWhole);
    }

    void destinationInTheTemporaryFolderStaysInPlace()
    {
        VideoRecorder::UseFFMPEGOptimization = true;
        VideoRecorder recorder(QString(), 50.0);
        QVERIFY(fixture->record(recorder, fixture->inTemp("take.avi")));
        recorder.stopRecord();
        QVERIFY(finished(recorder));
        QCOMPARE(fixture->tempEntries(), QStringList{"take.avi"});
        QVERIFY(frames::numbersIn(fixture->inTemp("take.avi")).size() >= 5);
    }

    void soundBesideTheVideoIsJoined()
    {
        VideoRecorder::UseFFMPEGOptimization = true;
        VideoRecorder recorder(QString(), 50.0);
        QVERIFY(fixture->record(recorder, fixture->out(), 25));
        programs::outputOf(
            "ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "sine=duration=0.5", fixture->inTemp("take.wav")});
        recorder.stopRecord();
        QVERIFY(finished(recorder));
        QCOMPARE(streamsOf(fixture->out()), QByteArray("video audio"));
        QCOMPARE(fixture->tempEntries(), QStringList());
    }

    void whatCannotBeDeliveredStaysAndIsAnnounced_data()
    {
        const Table<Delivery, QString, QString> row;
        row("copy, folder gone", Delivery::Copy, "folder", "cannot be copied to");
        row("copy, video gone", Delivery::Copy, "video", "gone or empty");
        row("ffmpeg, folder gone", Delivery::Ffmpeg, "folder", "ffmpeg failed");
        row("ffmpeg, video gone", Delivery::Ffmpeg, "video", "gone or empty");
        row("ffmpeg missing", Delivery::Ffmpeg, "program", "ffmpeg failed");
        row("ffmpeg killed", Delivery::Ffmpeg, "kill", "ffmpeg failed");
    }

    void whatCannotBeDeliveredStaysAndIsAnnounced()
    {
        const auto &[delivery, fault, line] = Table<Delivery, QString, QString>::fetch();
        VideoRecorder::UseFFMPEGOptimization = delivery == Delivery::Ffmpeg;
        QTemporaryDir programs;
        std::optional<programs::EnvironmentChange> path;
        if (fault == "program") {
            path.emplace("PATH", QFile::encodeName(programs.path()));
        } else if (fault == "kill") {
            // Stands for an ffmpeg that somebody kills in the middle of its work.
            QFile script(programs.filePath("ffmpeg"));
            QVERIFY(script.open(QIODevice::WriteOnly));
            script.write("#!/bin/sh\necho half > \"$3\"\nkill -9 $$\n");
            script.close();
            script.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
            path.emplace("PATH", QFile::encodeName(programs.path()) + ':' + qgetenv("PATH"));
        }
        VideoRecorder recorder(QString(), 50.0);
        const QString target = fixture->out("sub/take.avi");
        QVERIFY(fixture->record(recorder, target));
        if (fault == "folder")
            QVERIFY(QDir(fixture->out("sub")).removeRecursively());
        if (fault == "video")
            QVERIFY(QFile::remove(recorder.getTempFilePath()));
        recorder.stopRecord();
        QVERIFY(finished(recorder));
        const bool kept = frames::numbersIn(fixture->inTemp("take.avi")).size() >= 5;
        QCOMPARE(kept, fault != "video");
        QTRY_VERIFY(fixture->consoleHas(line));
        if (kept)
            QVERIFY(fixture->consoleHas(fixture->inTemp("take.avi")));
        const RecordingResult result = recorder.lastResult();
        QCOMPARE(result.outcome, kept ? RecordingResult::KeptInTemporaryFolder : RecordingResult::Empty);
        QCOMPARE(result.videoPath, kept ? fixture->inTemp("take.avi") : QString());
        QVERIFY(!result.reason.isEmpty() && result.isWhole == kept);

        // And the recorder goes on: the next one of the name keeps the old video beside it.
        path.reset();
        QVERIFY(fixture->record(recorder, target, 5, 2));
        recorder.stopRecord();
        QVERIFY(finished(recorder));
        QCOMPARE(frames::numbersIn(target).value(0), 2);
        QCOMPARE(frames::numbersIn(fixture->inTemp("take_aside1.avi")).value(0, 1), 1);
    }

    void fullDiskLosesNothingThatWasWritten()
    {
#ifdef Q_OS_LINUX
        const QByteArray disk = QFile::encodeName(fixture->inTemp("disk"));
        QVERIFY(QDir().mkdir(fixture->inTemp("disk")));
        if (mount("tmpfs", disk.constData(), "tmpfs", 0, "size=600k") != 0)
            QSKIP("a small file system cannot be mounted here (needs root)");
        VideoRecorder::setTempFolder(fixture->inTemp("disk"));
        VideoRecorder recorder(QString(), 100.0);
        cv::Mat noise(480, 640, CV_8UC3);
        cv::randu(noise, 0, 255);
        recorder.startRecord(fixture->out());
        recorder.setFrame(noise);
        const bool filled = QTest::qWaitFor(
            [&] { return QStorageInfo(fixture->inTemp("disk")).bytesAvailable() == 0; }, 20'000);
        recorder.stopRecord();
        const bool ended = finished(recorder).has_value();
        const QVector<int> kept = frames::numbersIn(fixture->out());
        VideoRecorder::setTempFolder(fixture->temp.path());
        umount2(disk.constData(), MNT_DETACH);
        QVERIFY(filled && ended);
        QVERIFY(!kept.isEmpty());
        QVERIFY(!recorder.lastResult().isWhole && !recorder.lastResult().reason.isEmpty());
        QCOMPARE(recorder.lastResult().framesFound, qint64(kept.size()));
        QVERIFY(fixture->consoleHas("is not whole (disk full?)"));
#else
        QSKIP("needs a file system of a chosen size");
#endif
    }

    void startBeforeTheFinishLosesNeitherRecording_data()
    {
        QTest::addColumn<bool>("removeFirst");
        QTest::newRow("both kept") << false;
        QTest::newRow("first discarded") << true;
    }

    void startBeforeTheFinishLosesNeitherRecording()
    {
        QFETCH(bool, removeFirst);
        VideoRecorder recorder(QString(), 50.0);
        QSignalSpy ends(&recorder, &VideoRecorder::recordFinished);
        for (int round = 0; round < 10; ++round) {
            recorder.setFramerate(50.0);
            QVERIFY(fixture->record(recorder, fixture->out("first.avi"), 5, 1));
            recorder.stopRecord(removeFirst);
            recorder.setFramerate(0.0);
            recorder.startRecord(
                fixture->out("second.avi")); // refused; the first is finished once all the same
            recorder.setFramerate(100.0);
            recorder.startRecord(fixture->out("second.avi"));
            recorder.setFrame(frames::numbered(2, {640, 480}));
            QTRY_VERIFY(recorder.getFrameCount() >= 3);
            recorder.stopRecord();
            QTRY_COMPARE(ends.count(), 2 * (round + 1));
            QCOMPARE(ends[2 * round][0].toString(), fixture->out("first.avi"));
            if (!removeFirst) {
                const QVector<int> numbers = frames::numbersIn(fixture->out("first.avi"));
                QCOMPARE(ends[2 * round][1].toInt(), numbers.size() * 20); // at its own rate
                QCOMPARE(numbers.value(0), 1);
            }
            QCOMPARE(QFile::exists(fixture->out("first.avi")), !removeFirst);
            QCOMPARE(frames::numbersIn(fixture->out("second.avi")).value(0), 2);
            QCOMPARE(fixture->tempEntries(), QStringList());
        }
    }

    void queuedRecordingsArriveInOrderAndReportTogether()
    {
        VideoRecorder::UseFFMPEGOptimization = true;
        // Each job takes the queue a second, so the hundred that were promised run on demand.
        const int wanted = qEnvironmentVariableIntValue("VTCV_QUEUED_RECORDINGS");
        const int count = wanted > 0 ? wanted : 4;
        QStringList order;
        QMutex orderMutex;
        const auto watch = connect(
            VideoRecorder::ffmpegQueue, &FFMpegQueue::jobFileFinished, this,
            [&](const QString &path) {
                const QMutexLocker locker(&orderMutex);
                order << path;
            },
            Qt::DirectConnection);
        QStringList expected;
        std::vector<std::unique_ptr<VideoRecorder>> recorders;
        std::atomic<int> ended{0};
        std::atomic<int> early{0}; // results that did not wait for the queue
        bool together = true;
        for (int i = 0; i < count; ++i) {
            recorders.push_back(std::make_unique<VideoRecorder>(QString(), 100.0));
            VideoRecorder &recorder = *recorders.back();
            connect(
                &recorder, &VideoRecorder::recordFinished, this,
                [&] {
                    const QMutexLocker locker(&orderMutex);
                    together = together && order.size() == count;
                    ++ended;
                },
                Qt::DirectConnection);
            connect(
                recorder.notifier(), &RecordingNotifier::ended, this,
                [&] { early += VideoRecorder::ffmpegQueue->jobsCount() > 0; }, Qt::DirectConnection);
            // All have one name, in a folder each.
            expected << fixture->out("sub") + QString("%1/take.avi").arg(i);
            QVERIFY(fixture->record(recorder, expected.last(), 2, i + 1));
            recorder.stopRecord();
            QTRY_VERIFY(recorder.getFrameCount() == 0 && !recorder.isSavingFile());
        }
        // The last one starts nothing; those before it must not wait for it for ever.
        VideoRecorder gone(QString(), 100.0);
        connect(
            &gone, &VideoRecorder::recordFinished, this, [&] { ++ended; }, Qt::DirectConnection);
        QVERIFY(fixture->record(gone, fixture->out("gone.avi"), 2));
        QVERIFY(QFile::remove(gone.getTempFilePath()));
        gone.stopRecord();
        QTRY_COMPARE_WITH_TIMEOUT(ended.load(), count + 1, 5'000 + count * 3'000);
        disconnect(watch);
        QCOMPARE(order, expected);
        QVERIFY(together && early > 0);
        for (int i = 0; i < count; ++i)
            QCOMPARE(frames::numbersIn(expected[i]).value(0), i + 1);
        QTRY_COMPARE(fixture->tempEntries(), QStringList());
    }

    void twoHundredCyclesLeaveNothingBehind()
    {
#ifdef Q_OS_LINUX
        int threads = 0;
        int handles = 0;
        for (int cycle = 0; cycle < 201; ++cycle) {
            if (cycle == 1) { // what libraries keep after their first use is not ours
                threads = entriesOf("/proc/self/task");
                handles = entriesOf("/proc/self/fd");
            }
            VideoRecorder recorder(fixture->out(), 500.0);
            recorder.useFrameLog = cycle % 2;
            recorder.startRecord();
            if (cycle % 5)
                recorder.setFrame(frames::numbered(cycle));
            if (cycle % 3) {
                QSignalSpy ends(&recorder, &VideoRecorder::recordFinished);
                QTRY_VERIFY(cycle % 5 == 0 || recorder.getFrameCount() > 0);
                recorder.stopRecord(cycle % 2);
                QTRY_COMPARE(ends.count(), cycle % 5 ? 1 : 0);
            }
            QFile::remove(fixture->out());
        }
        QTRY_VERIFY(entriesOf("/proc/self/task") <= threads);
        QVERIFY(entriesOf("/proc/self/fd") <= handles);
        for (const QString &name :
            fixture->tempEntries()) // recordings that were not stopped keep their video
            QVERIFY2(name.startsWith("take") && !name.endsWith(".lock"), qPrintable(name));
#else
        QSKIP("counts threads and handles through /proc");
#endif
    }

private:
    // The arguments of the one recordFinished() that follows, if it comes, and comes once.
    static std::optional<QList<QVariant>> finished(VideoRecorder &recorder)
    {
        QSignalSpy spy(&recorder, &VideoRecorder::recordFinished);
        if (!spy.wait(20'000))
            return std::nullopt;
        QTest::qWait(50);
        return spy.count() == 1 ? std::optional(spy.first()) : std::nullopt;
    }

    std::unique_ptr<RecorderFixture> fixture;
};

QTEST_GUILESS_MAIN(VideoRecorderFinishTest)
#include "tst_videorecorderfinish.moc"
