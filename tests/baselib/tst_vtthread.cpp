#include "baselib/vtthread.h"

#include <QProcess>
#include <QSignalSpy>
#include <QtTest>

#include <functional>

#ifdef Q_OS_UNIX
#include <ctime>
#endif

namespace {

// Counts its passes and leaves the rest to a function that each test supplies.
class Worker : public VTThread
{
public:
    explicit Worker(std::function<void(Worker &)> onPass = {}) : onPass(std::move(onPass)) { }
    ~Worker() override { stopAndWait(); }

    using VTThread::delayNextPass;
    using VTThread::stopAndWait;

    std::atomic<int> started{0};
    std::atomic<int> passes{0};
    std::atomic<int> ended{0};

private:
    void startwork() override { ++started; }
    void process() override
    {
        ++passes;
        if (onPass)
            onPass(*this);
    }
    void endwork() override { ++ended; }

    std::function<void(Worker &)> onPass;
};

// Lives through static initialisation and the end of the process, in which it is destroyed while it runs.
Worker staticWorker([](Worker &worker) { worker.delayNextPass(1); });

} // namespace

class VTThreadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void workerBuiltBeforeTheApplicationRuns()
    {
        QVERIFY(!staticWorker.isWorking());
        staticWorker.initAndStart();
        QTRY_VERIFY(staticWorker.passes > 3);
        // Left running on purpose: the process must end cleanly all the same.
    }

    void passesFollowEachOtherUntilTheLoopEnds()
    {
        Worker worker;
        QVERIFY(!worker.isWorking());
        worker.initAndStart();
        worker.initAndStart();
        QVERIFY(worker.isWorking());
        QTRY_VERIFY(worker.passes >= 3);
        QVERIFY(worker.stopAndWait());
        QVERIFY(!worker.isWorking());
        QCOMPARE(worker.started.load(), 1);
        QCOMPARE(worker.ended.load(), 1);

        const int before = worker.passes;
        worker.initAndStart();
        QTRY_VERIFY(worker.passes > before);
        QCOMPARE(worker.started.load(), 2);
    }

    void wakeEndsALongWait()
    {
        Worker worker([](Worker &self) { self.delayNextPass(600'000); });
        worker.initAndStart();
        for (int expected = 1; expected <= 50; ++expected) {
            QTRY_COMPARE(worker.passes.load(), expected);
            worker.wake();
        }
        QTRY_COMPARE(worker.passes.load(), 51);
        // And the destructor does not wait ten minutes either.
    }

    void suspendedWorkerDeliversEventsButMakesNoPass()
    {
        Worker worker;
        QObject receiver;
        worker.suspendProcessing();
        worker.initAndStart();
        receiver.moveToThread(&worker);
        QThread *calledOn = nullptr;
        QMetaObject::invokeMethod(
            &receiver, [&] { calledOn = QThread::currentThread(); }, Qt::BlockingQueuedConnection);
        QCOMPARE(calledOn, &worker);
        QCOMPARE(worker.passes.load(), 0);
        worker.startProcessing();
        QTRY_VERIFY(worker.passes > 0);
        worker.stopAndWait();
    }

    void processSignalsAndDeferredDeletesArriveBetweenPasses()
    {
        std::atomic<int> exitCode{-1};
        std::atomic<bool> deleted{false};
        Worker worker([&](Worker &self) {
            self.delayNextPass(600'000);
            auto *process = new QProcess;
            QObject::connect(process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), process,
                [&, process](int code) {
                    exitCode = code;
                    process->deleteLater();
                });
            process->start(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral("exit 3")});
            auto *object = new QObject;
            QObject::connect(object, &QObject::destroyed, [&] { deleted = true; });
            object->deleteLater();
        });
        worker.initAndStart();
        QTRY_COMPARE(exitCode.load(), 3);
        QTRY_VERIFY(deleted);
    }

    void exceptionInAPassDoesNotEndTheLoop()
    {
        Worker worker([](Worker &) { throw std::runtime_error("boom"); });
        QTest::ignoreMessage(
            QtWarningMsg, "VTThread: a pass ended with an exception, the loop goes on: \"boom\"");
        worker.initAndStart();
        QTRY_VERIFY(worker.passes > 3);
    }

    void restartWhileTheLoopEndsLosesNothing()
    {
        Worker worker;
        for (int i = 0; i < 200; ++i) {
            worker.initAndStart();
            worker.stopAndWait(0);
        }
        worker.initAndStart();
        const int before = worker.passes;
        QTRY_VERIFY(worker.passes > before + 2);
    }

#ifdef Q_OS_UNIX
    void idleWorkerNeitherSpinsNorBurnsProcessorTime()
    {
        std::atomic<clockid_t> clock{};
        std::atomic<bool> known{false};
        Worker worker([&](Worker &) {
            if (!known) {
                clockid_t own;
                pthread_getcpuclockid(pthread_self(), &own);
                clock = own;
                known = true;
            }
        });
        worker.initAndStart();
        QTRY_VERIFY(known);
        timespec before, after;
        clock_gettime(clock, &before);
        const int passesBefore = worker.passes;
        QTest::qWait(1000);
        clock_gettime(clock, &after);
        // At most a pass each 10 ms; processor time, unlike the wall clock, does not depend on what else runs
        // here.
        QVERIFY(worker.passes - passesBefore <= 110);
        const double used = (after.tv_sec - before.tv_sec) + (after.tv_nsec - before.tv_nsec) / 1e9;
        QVERIFY2(used < 0.05, qPrintable(QString::number(used)));
    }
#endif
};

QTEST_GUILESS_MAIN(VTThreadTest)
#include "tst_vtthread.moc"
