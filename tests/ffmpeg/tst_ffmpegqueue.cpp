#include "ffmpeg/ffmpegqueue.h"

#include "baselib/globalconsole.h"
#include "ffmpeg/ffmpegqueuenotifier_p.h"
#include "support/fakeffmpeg.h"
#include "support/frames.h"
#include "support/metaface.h"

#include <QSignalSpy>
#include <QtTest>

#include <cstring>
#include <thread>

namespace {

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

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Notes the signals of a queue in the order in which its worker emits them, and the state that goes with
// each.
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
                note(QString("%1 %2 %3").arg(outcomes[verdict.outcome]).arg(ticket).arg(verdict.exitCode));
                const QMutexLocker lock(&mutex);
                if (!verdict.text.isEmpty())
                    lastText = verdict.text;
            },
            Qt::DirectConnection);
    }

    QStringList lines() const
    {
        const QMutexLocker lock(&mutex);
        return noted;
    }

    QString text() const
    {
        const QMutexLocker lock(&mutex);
        return lastText;
    }

private:
    template <class Sender, class... Arguments>
    void connectTo(const Sender *sender, void (Sender::*signal)(Arguments...), const QString &pattern)
    {
        connect(
            sender, signal, this,
            [this, pattern](const auto &...arguments) {
                QString line = pattern;
                ((line = line.arg(arguments)), ...);
                note(line);
            },
            Qt::DirectConnection);
    }

    void note(const QString &line)
    {
        const QMutexLocker lock(&mutex);
        noted << line;
    }

    mutable QMutex mutex; // guards the two below
    QStringList noted;
    QString lastText;
};

} // namespace

class FFMpegQueueTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
#ifndef Q_OS_UNIX
        QSKIP("The stand-ins for ffmpeg are shell scripts");
#endif
        QVERIFY(frames::writeVideo(path("clip"), 5));
    }

    void faceIsAsSettled()
    {
        QCOMPARE(metaface::ofClass(FFMpegQueue::staticMetaObject),
            QStringList({"signal jobStarted(int)", "signal jobProgress(int,int,int)",
                "signal jobFinished(int)", "signal jobFileFinished(QString)"}));
    }

    void queueMadeBeforeTheApplicationHasNoThread()
    {
        QVERIFY(!loadTimeQueue->isRunning());
        QVERIFY(!loadTimeQueue->isWorking());
    }

    void jobsRunOneAfterTheOtherInOrder()
    {
        FakeFFMpeg ffmpeg("echo new > \"$out\"; printf 'frame=    3 fps=0.0' >&2; exit 0");
        FFMpegQueue queue;
        Listener listener(queue);
        for (const char *name : {"a", "b", "c"})
            place(name);
        QFile::copy(path("clip"), path("c.wav"));
        queue.addJob(Optimize, path("a"), "label", {});
        queue.addJob(Convert, path("b"), path("b.mp4"), {});
        queue.addJob(JoinVideoAndAudio, path("c"), path("c.mp4"), path("c.wav"));
        QCOMPARE(queue.jobsCount(), 3);
        queue.initAndStart();
        QTRY_VERIFY_WITH_TIMEOUT(listener.lines().contains("finished 0"), 30'000);

        QCOMPARE(listener.lines(),
            QStringList({"started 3", "progress 3 3 5", "done 1 0", "file label", "finished 2", //
                "started 2", "progress 2 3 5", "done 2 0", "file " + path("b.mp4"), "finished 1", //
                "started 1", "progress 1 3 5", "done 3 0", "file " + path("c.mp4"), "finished 0"}));
        QCOMPARE(ffmpeg.calls().size(), 3);
        QCOMPARE(contentOf(path("a.avi")), QByteArray("new\n"));
        QVERIFY(!QFile::exists(path("b")) && !QFile::exists(path("c")) && !QFile::exists(path("c.wav")));
    }

    void aJobIsFollowedByItsTicket()
    {
        FakeFFMpeg ffmpeg(
            "await first; printf 'frame=    3 fps=0.0\\r' >&2; await second; echo why >&2; exit 3");
        FFMpegQueue queue;
        FFMpegQueueNotifier *const notifier = queue.notifier();
        Listener listener(queue);
        place("a");
        queue.initAndStart();
        const quint64 running = notifier->appendJob({path("a"), {}, path("a.mp4"), Convert, {}});
        QVERIFY(running > 0);
        QTRY_COMPARE(listener.lines(), QStringList("started 1"));
        QCOMPARE(queue.jobsCount(), 0);
        QVERIFY(notifier->isPending(running));

        // The state at the moment of each end, which is what a listener on another thread may rely on.
        quint64 dropped = 0;
        QList<bool> pending;
        const auto askBoth = [&] { pending << notifier->isPending(running) << notifier->isPending(dropped); };
        connect(notifier, &FFMpegQueueNotifier::jobOver, this, askBoth, Qt::DirectConnection);
        dropped = notifier->appendJob({path("a"), path("missing.wav"), path("b.mp4"), JoinVideoAndAudio, {}});
        QCOMPARE(queue.jobsCount(), 1);
        QVERIFY(notifier->isPending(dropped));
        QVERIFY(!notifier->isPending(0));
        ffmpeg.letGo("first");
        QTRY_VERIFY(listener.lines().contains("progress 2 3 5"));
        ffmpeg.letGo("second");

        const QString wasDropped = QStringLiteral("nothing %1 -1").arg(dropped);
        QTRY_VERIFY_WITH_TIMEOUT(listener.lines().contains(wasDropped), 30'000);
        QCOMPARE(listener.lines(),
            QStringList({"started 1", "progress 2 3 5", QStringLiteral("failed %1 3").arg(running),
                "file " + path("a.mp4"), "finished 1", "started 1", wasDropped}));
        QCOMPARE(listener.text(), QStringLiteral("why"));
        QCOMPARE(pending, QList<bool>({false, true, false, false}));
        QVERIFY(QFile::exists(path("a")));
    }

    void waitingJobsAreMovedHeldAndRemoved()
    {
        QStringList console;
        GlobalConsole::setSink([&](const QString &text, const QDateTime &) { console << text; });
        const auto restore = qScopeGuard([] { GlobalConsole::setSink({}); });
        FakeFFMpeg ffmpeg("await \"$(basename \"$2\")\"; echo new > \"$out\"");
        FFMpegQueue queue;
        Listener listener(queue);
        QHash<QString, quint64> tickets;
        QHash<QString, std::weak_ptr<int>> held;
        for (const QString name : {"a", "b", "c", "d"}) {
            place(name);
            const auto claim = std::make_shared<int>();
            held[name] = claim;
            tickets[name] =
                queue.notifier()->appendJob({path(name), {}, path(name + ".mp4"), Convert, {}}, claim);
        }
        const auto order = [&] {
            QString all;
            for (const FFMpegQueue::Entry &entry : queue.entries())
                all += tickets.key(entry.ticket) + "rwh"[entry.state];
            return all;
        };
        QVERIFY(queue.moveJob(tickets["b"], 0));
        QCOMPARE(order(), QString("bwawcwdw"));
        queue.initAndStart();
        QTRY_COMPARE(listener.lines(), QStringList("started 4"));
        QVERIFY(!queue.moveJob(tickets["b"], 1) && !queue.holdJob(tickets["b"]));
        QVERIFY(!queue.removeJob(tickets["b"]) && !queue.releaseJob(tickets["a"]) && !queue.holdJob(77));

        QVERIFY(
            queue.moveJob(tickets["a"], 99) && queue.holdJob(tickets["a"]) && !queue.holdJob(tickets["a"]));
        QVERIFY(queue.moveJob(tickets["d"], -1) && queue.removeJob(tickets["c"]));
        QCOMPARE(order(), QString("brdwah"));
        QCOMPARE(queue.jobsCount(), 1);
        QTRY_COMPARE(listener.lines(), QStringList({"started 4", "held 1 -1", "removed 3 -1"}));
        QVERIFY(!queue.notifier()->isPending(tickets["a"]) && !queue.notifier()->isPending(tickets["c"]));
        QVERIFY(!held["a"].expired() && held["c"].expired());
        QCOMPARE(console,
            QStringList("The job for " + path("c.mp4") + " was removed, the video stays in " + path("c")));

        QVERIFY(queue.holdJob(tickets["d"]));
        ffmpeg.letGo("b.avi");
        QTRY_VERIFY_WITH_TIMEOUT(listener.lines().contains("finished 0"), 30'000);
        QVERIFY(!queue.notifier()->isBusy());
        QVERIFY(queue.cancelAll() == 0 && queue.releaseJob(tickets["a"]));
        QTRY_COMPARE(listener.lines().mid(3),
            QStringList({"held 4 -1", "done 2 0", "file " + path("b.mp4"), "finished 0", "started 1"}));
        QCOMPARE(order(), QString("ardh"));
        ffmpeg.letGo("a.avi");
        QTRY_COMPARE_WITH_TIMEOUT(listener.lines().last(), QString("finished 0"), 30'000);
        QVERIFY(QFile::remove(path("a.mp4")) && held["a"].expired());
        QVERIFY(QFile::exists(path("c")) && QFile::exists(path("d")));
    }

    void missingProgramAndUnknownTypeDoNotStopTheQueue()
    {
        GlobalConsole::setSink([](const QString &, const QDateTime &) {});
        const auto restore = qScopeGuard([] { GlobalConsole::setSink({}); });
        FakeFFMpeg ffmpeg({});
        ffmpeg.vanish();
        FFMpegQueue queue;
        Listener listener(queue);
        queue.addJob(FFMpegJobType(7), path("clip"), "none", {});
        queue.addJob(Convert, path("clip"), path("b.mp4"), {});
        queue.initAndStart();
        QTRY_VERIFY_WITH_TIMEOUT(listener.lines().contains("finished 0"), 30'000);
        QCOMPARE(listener.lines(),
            QStringList({"started 2", "nothing 1 -1", "started 1", "failed 2 -1", "file " + path("b.mp4"),
                "finished 0"}));
        QVERIFY(!listener.text().isEmpty());
        QVERIFY(QFile::exists(path("clip")));
    }

    void jobsMayBeAddedAndAskedForOnManyThreads()
    {
        FFMpegQueue queue;
        constexpr int threads = 4;
        constexpr int jobsEach = 100;
        QVector<QVector<quint64>> tickets(threads);
        std::vector<std::thread> callers;
        for (QVector<quint64> &mine : tickets) {
            callers.emplace_back([&queue, &mine] {
                for (int i = 0; i < jobsEach; ++i) {
                    mine << queue.notifier()->appendJob({"source", {}, "dest", Convert, {}});
                    if (!queue.notifier()->isPending(mine.last()) || queue.jobsCount() <= i)
                        mine << 0;
                }
            });
        }
        for (std::thread &caller : callers)
            caller.join();
        QCOMPARE(queue.jobsCount(), threads * jobsEach);
        QSet<quint64> distinct;
        for (const QVector<quint64> &mine : qAsConst(tickets)) {
            QVERIFY(std::is_sorted(mine.begin(), mine.end()));
            distinct.unite(QSet<quint64>(mine.begin(), mine.end()));
        }
        QVERIFY(!distinct.contains(0));
        QCOMPARE(distinct.size(), threads * jobsEach);
    }

    void destructionEndsTheChildAndKeepsTheSources()
    {
        FakeFFMpeg ffmpeg("echo new > \"$out\"; exec sleep 100");
        place("a");
        {
            FFMpegQueue queue;
            queue.addJob(Convert, path("a"), path("a.mp4"), {});
            queue.addJob(Convert, path("clip"), path("b.mp4"), {});
            queue.initAndStart();
            QTRY_COMPARE(contentOf(path("a.mp4")), QByteArray("new\n"));
            QVERIFY(FakeFFMpeg::processExists(ffmpeg.lastPid()));
        }
        QVERIFY(!FakeFFMpeg::processExists(ffmpeg.lastPid()));
        QCOMPARE(contentOf(path("a")), contentOf(path("clip")));
        QCOMPARE(ffmpeg.calls().size(), 1);
    }

    void programMayEndWhileAJobRuns()
    {
        FakeFFMpeg ffmpeg("printf 'frame=    3 fps=0.0' >&2; await end");
        place("a");
        QProcess program;
        program.setProcessChannelMode(QProcess::MergedChannels);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("QT_LOGGING_RULES", "*.debug=false");
        program.setProcessEnvironment(environment);
        program.start(QCoreApplication::applicationFilePath(), {leaveRunning, path("a")});
        QVERIFY(program.waitForFinished(100'000));
        const QByteArray output = program.readAll();
        QCOMPARE(output, QByteArray());
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), 0);
        QVERIFY(FakeFFMpeg::processExists(ffmpeg.lastPid()));
        ffmpeg.letGo("end");
        QTRY_VERIFY(!FakeFFMpeg::processExists(ffmpeg.lastPid()));
        QVERIFY(QFile::exists(path("a")));
    }

private:
    // "a" stands for the video a.avi; a name with a suffix for itself.
    QString path(const QString &name) const
    {
        return dir.path() + '/' + (name.contains('.') ? name : name + ".avi");
    }

    void place(const QString &name)
    {
        QFile::remove(path(name));
        QVERIFY(QFile::copy(path("clip"), path(name)));
    }

    QTemporaryDir dir;
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
