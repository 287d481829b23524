#include "ffmpeg/ffmpegqueue.h"

#include "ffmpeg/ffmpegjobwatch.h"
#include "ffmpeg/ffmpegqueuenotifier_p.h"
#include "ffmpeg/fileinuse_p.h"
#include "recording/recordingtempfile_p.h"
#include "recording/videorecorder.h"
#include "support/fakeffmpeg.h"
#include "support/frames.h"
#include "support/host.h"
#include "support/metaface.h"
#include "support/table.h"

#include <QSignalSpy>

#include <cstring>
#include <functional>
#include <thread>

using host::contentOf;

namespace {

constexpr int endLimitMs = 30'000;

// As the one of the library: made before any application object, never deleted.
FFMpegQueue *const loadTimeQueue = new FFMpegQueue;

const char leaveRunning[] = "--leave-running";

// What a program does that ends while a job runs: it returns from main().
int endWithARunningChild(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QObject::connect(loadTimeQueue, &FFMpegQueue::jobFinished, &app, [] { QCoreApplication::exit(8); });
    QObject::connect(loadTimeQueue, &FFMpegQueue::jobProgress, &app, [] { QCoreApplication::exit(0); });
    QTimer::singleShot(60'000, &app, [] { QCoreApplication::exit(9); });
    loadTimeQueue->initAndStart();
    const QString video = QString::fromLocal8Bit(argv[2]);
    loadTimeQueue->addJob(Convert, video, video + ".mp4", {});
    return QCoreApplication::exec();
}

// Notes the signals of a queue in the order in which its worker emits them.
class Listener : public QObject
{
public:
    explicit Listener(const FFMpegQueue &queue)
    {
        connectTo(&queue, &FFMpegQueue::jobStarted, "started %1");
        connectTo(&queue, &FFMpegQueue::jobProgress, "progress %1 %2 %3");
        connectTo(&queue, &FFMpegQueue::jobFileFinished, "file %1");
        connectTo(&queue, &FFMpegQueue::jobFinished, "finished %1");
        connect(
            queue.notifier(), &FFMpegQueueNotifier::jobOver, this,
            [this](quint64 ticket, const FFMpegJobVerdict &verdict) {
                const char *const outcomes[] = {"done", "failed", "cancelled", "nothing", "held", "removed"};
                note(QString("%1 %2").arg(outcomes[verdict.outcome]).arg(ticket));
            },
            Qt::DirectConnection);
    }

    QString text() const
    {
        const QMutexLocker lock(&mutex);
        return noted.join(", ");
    }

private:
    template <class... Arguments>
    void connectTo(
        const FFMpegQueue *queue, void (FFMpegQueue::*signal)(Arguments...), const QString &pattern)
    {
        const auto write = [this, pattern](const auto &...arguments) {
            QString line = pattern;
            ((line = line.arg(arguments)), ...);
            note(line.section('/', -1).prepend(line.startsWith("file /") ? "file " : ""));
        };
        connect(queue, signal, this, write, Qt::DirectConnection);
    }

    void note(const QString &line)
    {
        const QMutexLocker lock(&mutex);
        noted << line;
    }

    mutable QMutex mutex; // guards noted
    QStringList noted;
};

std::function<void()> atJobStart; // called on the worker just before it starts a child

void watchForJobStart(QtMsgType, const QMessageLogContext &, const QString &text)
{
    if (atJobStart && text.startsWith("STARTING FFMPEG JOB"))
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

// Whether all are cancelled, what the child of the first job does about its end, how many jobs the call
// cancels, the signals, all files that are left.
using Cancels = Table<Moment, bool, QString, int, QString, QString>;

class FFMpegQueueTest : public QObject
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
        for (const char *name : {"a", "b", "c", "d"})
            place(name);
    }

    void facesAreAsSettled()
    {
        QCOMPARE(metaface::ofClass(FFMpegQueue::staticMetaObject),
            QStringList({"signal jobStarted(int)", "signal jobProgress(int,int,int)",
                "signal jobFinished(int)", "signal jobFileFinished(QString)"}));
        QCOMPARE(metaface::ofClass(FFMpegJobWatch::staticMetaObject),
            QStringList("signal jobEnded(FFMpegJobVerdict)"));
        QVERIFY(!loadTimeQueue->isRunning() && !loadTimeQueue->isWorking());
    }

    void jobsRunOneAfterTheOtherInOrder()
    {
        FakeFFMpeg ffmpeg("echo new > \"$out\"; printf 'frame=    3 fps=0.0' >&2; exit 0");
        FFMpegQueue queue;
        Listener listener(queue);
        place("c.wav");
        queue.addJob(Optimize, path("a"), "label", {});
        queue.addJob(Convert, path("b"), path("b.mp4"), {});
        queue.addJob(JoinVideoAndAudio, path("c"), path("c.mp4"), path("c.wav"));
        QCOMPARE(queue.jobsCount(), 3);
        queue.initAndStart();
        QTRY_COMPARE_WITH_TIMEOUT(listener.text(),
            QString("started 3, progress 3 3 5, done 1, file label, finished 2, "
                    "started 2, progress 2 3 5, done 2, file b.mp4, finished 1, "
                    "started 1, progress 1 3 5, done 3, file c.mp4, finished 0"),
            endLimitMs);
        QCOMPARE(contentOf(path("a")), QByteArray("new\n"));
        QCOMPARE(files(), QString("a.avi b.mp4 c.mp4 d.avi"));
    }

    void aJobIsFollowedByItsTicketToItsVerdict()
    {
        FakeFFMpeg ffmpeg(
            "await first; printf 'frame=    3 fps=0.0\\r' >&2; await second; seq 30 >&2; exit 3");
        FFMpegQueue queue;
        FFMpegQueueNotifier *const notifier = queue.notifier();
        Listener listener(queue);
        FFMpegJobWatch watch(&queue);
        QSignalSpy ended(&watch, &FFMpegJobWatch::jobEnded);
        queue.initAndStart();
        const quint64 running = notifier->appendJob({path("a"), {}, path("a.mp4"), Convert, {}});
        QTRY_COMPARE(listener.text(), QString("started 1"));
        QVERIFY(queue.jobsCount() == 0 && notifier->isPending(running) && notifier->isBusy());
        QVERIFY(!notifier->isPending(0) && notifier->currentTicket() == running);

        // The state at the moment of each end, which is what a listener on another thread may rely on.
        quint64 dropped = 0;
        QList<bool> pending;
        const auto askBoth = [&] { pending << notifier->isPending(running) << notifier->isPending(dropped); };
        connect(notifier, &FFMpegQueueNotifier::jobOver, this, askBoth, Qt::DirectConnection);
        dropped = notifier->appendJob({path("a"), path("none.wav"), path("b.mp4"), JoinVideoAndAudio, {}});
        QVERIFY(queue.jobsCount() == 1 && notifier->isPending(dropped));
        ffmpeg.letGo("first");
        QTRY_VERIFY(listener.text().endsWith("progress 2 3 5"));
        ffmpeg.letGo("second");
        QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 2, endLimitMs);
        QCOMPARE(listener.text(),
            QString("started 1, progress 2 3 5, failed 1, file a.mp4, finished 1, started 1, nothing 2"));
        QCOMPARE(pending, QList<bool>({false, true, false, false}));
        const auto failed = ended.first().first().value<FFMpegJobVerdict>();
        const auto nothing = ended.last().first().value<FFMpegJobVerdict>();
        QVERIFY(failed.exitCode == 3 && !failed.hasCrashed && failed.durationMs > 0);
        QVERIFY(failed.text.startsWith("11\n") && failed.text.endsWith("\n30"));
        QVERIFY(failed.job.dest == path("a.mp4") && failed.sourceSize == QFileInfo(path("a")).size());
        QVERIFY(nothing.exitCode == -1 && nothing.job.audio == path("none.wav"));
    }

    void waitingJobsAreMovedHeldAndRemoved()
    {
        const host::ConsoleLines console;
        FakeFFMpeg ffmpeg("await \"$(basename \"$2\")\"; echo new > \"$out\"");
        FFMpegQueue queue;
        Listener listener(queue);
        QVector<std::weak_ptr<int>> held{{}};
        for (const QString name : {"a", "b", "c", "d"}) { // tickets 1 to 4
            const auto claim = std::make_shared<int>();
            held << claim;
            queue.notifier()->appendJob({path(name), {}, path(name + ".mp4"), Convert, {}}, claim);
        }
        const auto order = [&] {
            QString all;
            for (const FFMpegQueue::Entry &entry : queue.entries())
                all += QString::number(entry.ticket) + "rwh"[entry.state];
            return all;
        };
        QVERIFY(queue.moveJob(2, 0));
        QCOMPARE(order(), QString("2w1w3w4w"));
        queue.initAndStart();
        QTRY_COMPARE(listener.text(), QString("started 4"));
        QVERIFY(!queue.moveJob(2, 1) && !queue.holdJob(2) && !queue.removeJob(2)); // it runs
        QVERIFY(!queue.releaseJob(1) && !queue.holdJob(77));

        QVERIFY(queue.moveJob(1, 99) && queue.holdJob(1) && !queue.holdJob(1));
        QVERIFY(queue.moveJob(4, -1) && queue.removeJob(3));
        QCOMPARE(order(), QString("2r4w1h"));
        QCOMPARE(queue.jobsCount(), 1);
        QTRY_COMPARE(listener.text(), QString("started 4, held 1, removed 3"));
        QVERIFY(!queue.notifier()->isPending(1) && !queue.notifier()->isPending(3));
        QVERIFY(!held[1].expired() && held[3].expired());
        QCOMPARE(console.all(),
            QStringList("The job for " + path("c.mp4") + " was removed, the video stays in " + path("c")));

        QVERIFY(queue.holdJob(4));
        ffmpeg.letGo("b.avi");
        const QString first = "started 4, held 1, removed 3, held 4, done 2, file b.mp4, finished 0";
        QTRY_COMPARE_WITH_TIMEOUT(listener.text(), first, endLimitMs);
        QVERIFY(!queue.notifier()->isBusy() && queue.cancelAll() == 0 && queue.releaseJob(1));
        QTRY_COMPARE(listener.text(), first + ", started 1");
        QCOMPARE(order(), QString("1r4h"));
        ffmpeg.letGo("a.avi");
        QTRY_COMPARE_WITH_TIMEOUT(
            listener.text(), first + ", started 1, done 1, file a.mp4, finished 0", endLimitMs);
        QVERIFY(held[1].expired());
        QCOMPARE(files(), QString("a.mp4 b.mp4 c.avi d.avi"));
    }

    void missingProgramAndUnknownTypeDoNotStopTheQueue()
    {
        const host::ConsoleLines console;
        FakeFFMpeg ffmpeg({});
        ffmpeg.vanish();
        FFMpegQueue queue;
        Listener listener(queue);
        queue.addJob(FFMpegJobType(7), path("a"), "none", {});
        queue.addJob(Convert, path("a"), path("b.mp4"), {});
        queue.initAndStart();
        QTRY_COMPARE_WITH_TIMEOUT(listener.text(),
            QString("started 2, nothing 1, started 1, failed 2, file b.mp4, finished 0"), endLimitMs);
        QCOMPARE(console.all().size(), 1);
    }

    void jobsMayBeAddedAndMovedOnManyThreads()
    {
        FFMpegQueue queue;
        const auto addJobs = [&] {
            for (int i = 0; i < 100; ++i)
                queue.moveJob(queue.addJob({"source", {}, "dest", Convert, {}}), i % 3);
        };
        std::vector<std::thread> callers;
        for (int i = 0; i < 4; ++i)
            callers.emplace_back(addJobs);
        for (std::thread &caller : callers)
            caller.join();
        QSet<quint64> distinct;
        for (const FFMpegQueue::Entry &entry : queue.entries())
            distinct << entry.ticket;
        QVERIFY(distinct.size() == 400 && !distinct.contains(0) && queue.jobsCount() == 400);
    }

    void destructionEndsTheChildAndKeepsTheSources()
    {
        FakeFFMpeg ffmpeg("echo new > \"$out\"; exec sleep 100");
        {
            FFMpegQueue queue;
            queue.addJob(Convert, path("a"), path("a.mp4"), {});
            queue.addJob(Convert, path("b"), path("b.mp4"), {});
            queue.initAndStart();
            QTRY_COMPARE(contentOf(path("a.mp4")), QByteArray("new\n"));
        }
        QVERIFY(!FakeFFMpeg::processExists(ffmpeg.lastPid()));
        QCOMPARE(files(), QString("a.avi a.mp4 b.avi c.avi d.avi"));
    }

    void programMayEndWhileAJobRuns()
    {
        FakeFFMpeg ffmpeg("printf 'frame=    3 fps=0.0' >&2; await end");
        const auto end = qScopeGuard([&] { ffmpeg.letGo("end"); });
        QProcess program;
        program.setProcessChannelMode(QProcess::MergedChannels);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("QT_LOGGING_RULES", "*.debug=false");
        program.setProcessEnvironment(environment);
        program.start(QCoreApplication::applicationFilePath(), {leaveRunning, path("a")});
        QVERIFY(program.waitForFinished(100'000));
        QCOMPARE(program.readAll(), QByteArray());
        QVERIFY(program.exitStatus() == QProcess::NormalExit && program.exitCode() == 0);
        // Whoever looks for recordings that were left has to know.
        QVERIFY(FakeFFMpeg::processExists(ffmpeg.lastPid()) && FileInUse::isReadByChild(path("a")));
        ffmpeg.letGo("end");
        QTRY_VERIFY(!FakeFFMpeg::processExists(ffmpeg.lastPid()));
        QVERIFY(QFile::exists(path("a")) && !FileInUse::isReadByChild(path("a")));
    }

    void jobsAreCancelledInAnyMoment_data()
    {
        const Cancels row;
        const QString dies = "exec sleep 100";
        const QString obeys = "trap 'exit 255' TERM; await never";
        const QString ignores = "trap '' TERM; await never";
        const QString second = ", started 1, done 2, file b.mp4, finished 0";
        const QString nextRuns = "started 2, cancelled 1, file a.mp4, finished 1" + second;
        const QString noneRuns = "started 2, cancelled 2, cancelled 1, file a.mp4, finished 0";
        row("running", WhileItRuns, false, dies, 1, nextRuns, "a.avi b.mp4");
        row("running, all", WhileItRuns, true, obeys, 2, noneRuns, "a.avi b.avi");
        row("deaf, all", WhileItRuns, true, ignores, 2, noneRuns, "a.avi b.avi");
        row("starting", WhileItStarts, false, obeys, 1, nextRuns, "a.avi b.mp4");
        row("taken", BeforeItStarts, false, dies, 1, "started 2, cancelled 1" + second, "a.avi b.mp4");
        row("taken, all", BeforeItStarts, true, dies, 2, "started 1, cancelled 1, cancelled 2",
            "a.avi b.avi");
        const QString firstRuns = "started 2, done 1, file a.mp4, finished 1";
        row("between jobs", AfterItsEnd, false, "exit 0", 0, firstRuns + second, "a.mp4 b.mp4");
        row("between jobs, all", AfterItsEnd, true, "exit 0", 1, firstRuns + ", cancelled 2", "a.mp4 b.avi");
    }

    void jobsAreCancelledInAnyMoment()
    {
        const Moment moment = std::get<0>(Cancels::fetch());
        const bool all = std::get<1>(Cancels::fetch());
        const QString whenTold = std::get<2>(Cancels::fetch());
        FakeFFMpeg ffmpeg("echo half > \"$out\"; touch \"$dir/ready\"; case \"$2\" in */a.avi) " + whenTold
            + ";; esac; exit 0");
        const QtMessageHandler former = qInstallMessageHandler(watchForJobStart);
        const auto restore = qScopeGuard([=] { qInstallMessageHandler(former); });
        FFMpegQueue queue;
        Listener listener(queue);
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
        queue.addJob(Convert, path("a"), path("a.mp4"), {});
        queue.addJob(Convert, path("b"), path("b.mp4"), {});
        queue.initAndStart();
        if (moment == WhileItRuns) {
            QTRY_VERIFY(ffmpeg.hasFile("ready"));
            cancel();
            if (whenTold.startsWith("trap ''")) // lives on for a while, so it is the same job
                QVERIFY(queue.cancelCurrent()); // once more does no harm
        }
        QTRY_COMPARE_WITH_TIMEOUT(listener.text(), std::get<4>(Cancels::fetch()), endLimitMs);
        QCOMPARE(cancelled, std::get<3>(Cancels::fetch()));
        QCOMPARE(files(), std::get<5>(Cancels::fetch()) + " c.avi d.avi");
        QVERIFY(!queue.notifier()->isBusy() && !FakeFFMpeg::processExists(ffmpeg.lastPid()));
        QTRY_COMPARE(ended.count(), 2);
        for (const QList<QVariant> &arguments : ended) {
            const auto verdict = arguments.first().value<FFMpegJobVerdict>();
            QCOMPARE(verdict.outcome == FFMpegJobVerdict::Cancelled, verdict.sourceSize > 0);
        }
    }

    void failedJobIsQueuedAgain()
    {
        FakeFFMpeg ffmpeg("echo part > \"$out\"; exit 1");
        place("a.wav");
        auto first = std::make_unique<FFMpegQueue>();
        FFMpegJobWatch firstWatch(first.get());
        QSignalSpy over(&firstWatch, &FFMpegJobWatch::jobEnded);
        first->addJob(JoinVideoAndAudio, path("a"), path("a.mp4"), path("a.wav"));
        first->initAndStart();
        QTRY_COMPARE_WITH_TIMEOUT(over.count(), 1, endLimitMs);
        const auto verdict = over.first().first().value<FFMpegJobVerdict>();
        first.reset();

        auto queue = std::make_unique<FFMpegQueue>(); // whose thread does not run yet
        FFMpegJobWatch watch(queue.get());
        QSignalSpy ended(&watch, &FFMpegJobWatch::jobEnded);
        QVERIFY(!watch.requeue(verdict)); // a join overwrites nothing
        FFMpegJobVerdict other = verdict;
        other.job.dest = path("a.wav");
        QVERIFY(!watch.requeue(other, FFMpegJobWatch::Replace)); // it would remove its sound
        other = verdict;
        other.outcome = FFMpegJobVerdict::Held;
        QVERIFY(!watch.requeue(other, FFMpegJobWatch::Replace)); // it is in the queue already

        ffmpeg.setCommands("[ -e \"$out\" ] && exit 1; await go; echo whole > \"$out\"");
        {
            // A recording has been armed under this name and will move aside what it finds there.
            VideoRecorder::setTempFolder(dir->path());
            const auto armed = RecordingTempFile::claim(path("sub/a.avi"));
            QCOMPARE(armed->videoPath(), path("a"));
            QVERIFY(!watch.requeue(verdict, FFMpegJobWatch::Replace));
        }
        QVERIFY(watch.requeue(verdict, FFMpegJobWatch::Replace));
        QCOMPARE(RecordingTempFile::claim(path("sub/a.avi"))->videoPath(), path("a_2.avi"));
        ffmpeg.letGo("go");
        QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 1, endLimitMs);
        QCOMPARE(ended.last().first().value<FFMpegJobVerdict>().outcome, FFMpegJobVerdict::Done);
        QCOMPARE(files(), QString("a.mp4 b.avi c.avi d.avi"));
        QVERIFY(!watch.requeue(verdict)); // the source is consumed
        place("a");
        place("a.wav");
        QVERIFY(!watch.requeue(verdict, FFMpegJobWatch::Replace)); // another recording of that name
        queue.reset();
        QVERIFY(!watch.requeue(verdict, FFMpegJobWatch::Replace));
        QCOMPARE(contentOf(path("a.mp4")), QByteArray("whole\n"));
        VideoRecorder::setTempFolder({});
    }

private:
    // "a" stands for the video a.avi; a name with a suffix for itself.
    QString path(const QString &name) const
    {
        return dir->filePath(name.contains('.') ? name : name + ".avi");
    }

    void place(const QString &name)
    {
        QVERIFY(QFile::copy(store.filePath("clip.avi"), path(name)));
    }

    QString files() const
    {
        return QDir(dir->path()).entryList(QDir::Files).join(' ');
    }

    QTemporaryDir store;
    std::unique_ptr<QTemporaryDir> dir;
};

int main(int argc, char **argv)
{
    if (argc == 3 && std::strcmp(argv[1], leaveRunning) == 0)
        return endWithARunningChild(argc, argv);
    QCoreApplication app(argc, argv);
    FFMpegQueueTest test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_ffmpegqueue.moc"
