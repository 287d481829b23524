#include "ffmpeg/ffmpegjobwatch.h"

#include "ffmpeg/ffmpegqueuenotifier_p.h"
#include "recording/recordingtempfile_p.h"
#include "recording/videorecorder.h"
#include "support/fakeffmpeg.h"
#include "support/frames.h"
#include "support/metaface.h"

#include <QSignalSpy>
#include <QtTest>

#include <functional>

namespace {

const char *const outcomes[] = {"done", "failed", "cancelled", "nothing"};

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// What the queue and a watch of it tell, in the order of their emission.
class Protocol : public QObject
{
public:
    explicit Protocol(FFMpegQueue &queue)
    {
        const auto now = Qt::DirectConnection;
        connect(
            &queue, &FFMpegQueue::jobStarted, this, [this](int n) { note("started", n); }, now);
        connect(
            &queue, &FFMpegQueue::jobFinished, this, [this](int n) { note("finished", n); }, now);
        connect(
            queue.notifier(), &FFMpegQueueNotifier::jobOver, this,
            [this](quint64 ticket, const FFMpegJobVerdict &verdict) {
                note(outcomes[verdict.outcome], int(ticket));
            },
            now);
    }

    QString text() const
    {
        const QMutexLocker lock(&mutex);
        return lines.join(QLatin1String(", "));
    }

private:
    void note(const char *what, int number)
    {
        const QMutexLocker lock(&mutex);
        lines << QStringLiteral("%1 %2").arg(QLatin1String(what)).arg(number);
    }

    mutable QMutex mutex; // guards lines
    QStringList lines;
};

std::function<void()> atJobStart; // called on the worker just before it starts a child

void watchForJobStart(QtMsgType, const QMessageLogContext &, const QString &text)
{
    if (atJobStart && text.startsWith(QLatin1String("STARTING FFMPEG JOB")))
        std::exchange(atJobStart, {})();
}

enum Moment
{
    WhileItRuns,
    WhileItStarts,
    BeforeItStarts,
    AfterItsEnd
};

} // namespace

Q_DECLARE_METATYPE(Moment)

class FFMpegJobWatchTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
#ifndef Q_OS_UNIX
        QSKIP("The stand-ins for ffmpeg are shell scripts");
#endif
        QVERIFY(frames::writeVideo(store.filePath("clip.avi"), 5));
    }

    void init()
    {
        dir = std::make_unique<QTemporaryDir>();
        for (const char *name : {"a.avi", "b.avi"})
            place(name);
    }

    void everyJobGetsItsVerdict()
    {
        QCOMPARE(metaface::ofClass(FFMpegJobWatch::staticMetaObject),
            QStringList("signal jobEnded(FFMpegJobVerdict)"));
        FakeFFMpeg ffmpeg("echo new > \"$out\"; seq 30 >&2; case \"$2\" in */b.avi) sleep 1.5; exit 3; esac");
        FFMpegQueue queue;
        FFMpegJobWatch watch(&queue);
        QSignalSpy ended(&watch, &FFMpegJobWatch::jobEnded);
        queue.addJob(Convert, path("a.avi"), path("a.mp4"), {});
        queue.addJob(Convert, path("b.avi"), path("b.mp4"), {});
        queue.addJob(JoinVideoAndAudio, path("b.avi"), path("b.mp4"), path("b.wav"));
        queue.initAndStart();
        QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 3, 30'000);

        const auto verdict = [&](int i) { return ended.at(i).first().value<FFMpegJobVerdict>(); };
        QCOMPARE(verdict(0).outcome, FFMpegJobVerdict::Done);
        QCOMPARE(verdict(0).exitCode, 0);
        QCOMPARE(verdict(0).sourceSize, qint64(-1));
        QCOMPARE(verdict(1).outcome, FFMpegJobVerdict::Failed);
        QCOMPARE(verdict(1).exitCode, 3);
        QVERIFY(verdict(1).durationMs >= 1500 && !verdict(1).hasCrashed);
        QVERIFY(verdict(1).text.startsWith("11\n") && verdict(1).text.endsWith("\n30"));
        QCOMPARE(verdict(1).job.dest, path("b.mp4"));
        QCOMPARE(verdict(2).outcome, FFMpegJobVerdict::NothingStarted);
        QCOMPARE(verdict(2).exitCode, -1);
        QCOMPARE(verdict(2).job.audio, path("b.wav"));
    }

    void jobsAreCancelledInAnyMoment_data()
    {
        QTest::addColumn<Moment>("moment");
        QTest::addColumn<bool>("all");
        QTest::addColumn<QString>("whenTold"); // what the child of the first job does about its end
        QTest::addColumn<int>("count"); // of jobs that are cancelled, by the call
        QTest::addColumn<QString>("protocol");
        QTest::addColumn<QString>("files"); // all that is left
        const QString dies = "exec sleep 100";
        const QString obeys = "trap 'exit 255' TERM; await never";
        const QString ignores = "trap '' TERM; await never";
        const QString nextRuns = "started 2, cancelled 1, finished 1, started 1, done 2, finished 0";
        const QString noneRuns = "started 2, cancelled 2, cancelled 1, finished 0";
        QTest::newRow("running") << WhileItRuns << false << dies << 1 << nextRuns << "a.avi b.mp4";
        QTest::newRow("running, all") << WhileItRuns << true << obeys << 2 << noneRuns << "a.avi b.avi";
        QTest::newRow("deaf, all") << WhileItRuns << true << ignores << 2 << noneRuns << "a.avi b.avi";
        QTest::newRow("starting") << WhileItStarts << false << obeys << 1 << nextRuns << "a.avi b.mp4";
        QTest::newRow("taken") << BeforeItStarts << false << dies << 1
                               << "started 2, cancelled 1, started 1, done 2, finished 0"
                               << "a.avi b.mp4";
        QTest::newRow("taken, all") << BeforeItStarts << true << dies << 2
                                    << "started 1, cancelled 1, cancelled 2"
                                    << "a.avi b.avi";
        QTest::newRow("between jobs") << AfterItsEnd << false << "exit 0" << 0
                                      << "started 2, done 1, finished 1, started 1, done 2, finished 0"
                                      << "a.mp4 b.mp4";
        QTest::newRow("between jobs, all")
            << AfterItsEnd << true << "exit 0" << 1 << "started 2, done 1, finished 1, cancelled 2"
            << "a.mp4 b.avi";
    }

    void jobsAreCancelledInAnyMoment()
    {
        QFETCH(Moment, moment);
        QFETCH(bool, all);
        QFETCH(QString, whenTold);
        QFETCH(int, count);
        QFETCH(QString, protocol);
        QFETCH(QString, files);
        FakeFFMpeg ffmpeg("echo half > \"$out\"; touch \"$dir/ready\"; case \"$2\" in */a.avi) " + whenTold
            + ";; esac; exit 0");
        const QtMessageHandler former = qInstallMessageHandler(watchForJobStart);
        const auto restore = qScopeGuard([=] { qInstallMessageHandler(former); });
        FFMpegQueue queue;
        Protocol told(queue);
        FFMpegJobWatch watch(&queue);
        QSignalSpy ended(&watch, &FFMpegJobWatch::jobEnded);
        int cancelled = -1;
        const auto cancel = [&] {
            if (cancelled < 0)
                cancelled = all ? queue.cancelAll() : int(queue.cancelCurrent());
        };
        QVERIFY(!queue.cancelCurrent() && queue.cancelAll() == 0);
        if (moment == BeforeItStarts)
            atJobStart = cancel;
        if (moment == WhileItStarts)
            connect(&queue, &FFMpegQueue::jobStarted, this, cancel, Qt::DirectConnection);
        if (moment == AfterItsEnd)
            connect(&queue, &FFMpegQueue::jobFinished, this, cancel, Qt::DirectConnection);
        queue.addJob(Convert, path("a.avi"), path("a.mp4"), {});
        queue.addJob(Convert, path("b.avi"), path("b.mp4"), {});
        queue.initAndStart();
        if (moment == WhileItRuns) {
            QTRY_VERIFY(ffmpeg.hasFile("ready"));
            cancel();
            if (whenTold.startsWith("trap ''")) // lives on for a while, so it is the same job
                QVERIFY(queue.cancelCurrent()); // once more does no harm
        }
        QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 2, 30'000);
        QTRY_COMPARE(told.text(), protocol); // jobFinished() comes after the verdict
        QCOMPARE(cancelled, count);
        QCOMPARE(QDir(dir->path()).entryList(QDir::Files).join(' '), files);
        QVERIFY(!queue.notifier()->isBusy());
        QVERIFY(!FakeFFMpeg::processExists(ffmpeg.lastPid()));
        for (const QList<QVariant> &arguments : ended) {
            const auto verdict = arguments.first().value<FFMpegJobVerdict>();
            QCOMPARE(verdict.outcome == FFMpegJobVerdict::Cancelled, verdict.sourceSize > 0);
        }
    }

    void failedJobIsQueuedAgain()
    {
        FakeFFMpeg ffmpeg("echo part > \"$out\"; exit 1");
        place("a.wav");
        auto queue = std::make_unique<FFMpegQueue>();
        FFMpegJobWatch watch(queue.get());
        QSignalSpy ended(&watch, &FFMpegJobWatch::jobEnded);
        queue->addJob(JoinVideoAndAudio, path("a.avi"), path("a.mp4"), path("a.wav"));
        queue->initAndStart();
        QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 1, 30'000);
        const auto verdict = ended.first().first().value<FFMpegJobVerdict>();
        QCOMPARE(contentOf(path("a.mp4")), QByteArray("part\n"));
        QVERIFY(!watch.requeue(verdict)); // a join overwrites nothing

        FFMpegJobVerdict intoItsSound = verdict;
        intoItsSound.job.dest = path("a.wav");
        QVERIFY(!watch.requeue(intoItsSound, FFMpegJobWatch::Replace));
        QVERIFY(QFile::exists(path("a.wav")));

        ffmpeg.setCommands("await go; echo whole > \"$out\"");
        {
            // A recording has been armed under this name and will move aside what it finds there.
            VideoRecorder::setTempFolder(dir->path());
            const auto armed = RecordingTempFile::claim(path("sub/a.avi"));
            QCOMPARE(armed->videoPath(), path("a.avi"));
            QVERIFY(!watch.requeue(verdict, FFMpegJobWatch::Replace));
        }
        QVERIFY(watch.requeue(verdict, FFMpegJobWatch::Replace));
        QTRY_VERIFY(!QFile::exists(path("a.mp4")));
        QCOMPARE(RecordingTempFile::claim(path("sub/a.avi"))->videoPath(), path("a_2.avi"));
        ffmpeg.letGo("go");
        QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 2, 30'000);
        QCOMPARE(ended.last().first().value<FFMpegJobVerdict>().outcome, FFMpegJobVerdict::Done);
        QCOMPARE(QDir(dir->path()).entryList(QDir::Files), QStringList({"a.mp4", "b.avi"}));
        QVERIFY(!watch.requeue(verdict)); // the source is consumed
        place("a.avi");
        place("a.wav");
        QVERIFY(!watch.requeue(verdict, FFMpegJobWatch::Replace)); // another recording of that name
        queue.reset();
        QVERIFY(!watch.requeue(verdict, FFMpegJobWatch::Replace));
        QCOMPARE(contentOf(path("a.mp4")), QByteArray("whole\n"));
        VideoRecorder::setTempFolder({});
    }

private:
    QString path(const QString &name) const
    {
        return dir->filePath(name);
    }

    void place(const QString &name)
    {
        QVERIFY(QFile::copy(store.filePath("clip.avi"), path(name)));
    }

    QTemporaryDir store;
    std::unique_ptr<QTemporaryDir> dir;
};

QTEST_GUILESS_MAIN(FFMpegJobWatchTest)

#include "tst_ffmpegjobwatch.moc"
