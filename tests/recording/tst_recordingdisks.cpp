// Recordings while the log's disk stalls, and while somebody sets the clock. The functions of the C library
// that Qt calls for these are replaced in this program, so that no real disk or clock is needed.
#include "recording/frametimelogreader.h"
#include "support/recorderfixture.h"

#include <algorithm>

#ifdef Q_OS_LINUX
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr int stallMs = 200;
std::atomic<bool> logStalls{false};
std::atomic<int> stalls{0};
std::atomic<qint64> clockShiftS{0};

bool isLog(int file)
{
    char path[4096];
    const ssize_t length =
        readlink(qPrintable(QStringLiteral("/proc/self/fd/%1").arg(file)), path, sizeof path);
    return length > 4 && QByteArray(path, int(length)).endsWith(".log");
}

} // namespace

extern "C" Q_DECL_EXPORT ssize_t write(int file, const void *data, size_t size)
{
    if (logStalls && isLog(file)) {
        ++stalls;
        usleep(stallMs * 1000);
    }
    return syscall(SYS_write, file, data, size);
}

extern "C" Q_DECL_EXPORT int gettimeofday(struct timeval *time, void *)
{
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    time->tv_sec = now.tv_sec + clockShiftS;
    time->tv_usec = now.tv_nsec / 1000;
    return 0;
}
#endif

class RecordingDisksTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
#ifndef Q_OS_LINUX
        QSKIP("replaces functions of the C library of Linux");
#endif
    }

#ifdef Q_OS_LINUX
    void stallingLogDoesNotStallTheCamera()
    {
        RecorderFixture fixture;
        VideoRecorder recorder(fixture.out(), 100.0);
        recorder.useFrameLog = true;
        QVERIFY(fixture.record(recorder, fixture.out(), 2));
        logStalls = true;
        const cv::Mat frame = frames::numbered(2);
        QVector<qint64> waits;
        QElapsedTimer clock;
        clock.start();
        while (stalls < 5 && clock.elapsed() < 30'000) {
            QElapsedTimer timer;
            timer.start();
            recorder.setFrame(frame);
            waits << timer.nsecsElapsed();
            QTest::qWait(1);
        }
        logStalls = false;
        QVERIFY(stalls >= 5);
        QVERIFY(recorder.finishAndWait(20'000));
        std::sort(waits.begin(), waits.end());
        // A busy machine adds its share; a lock that the log holds would add whole stalls.
        const qint64 p99 = waits[waits.size() * 99 / 100];
        qInfo() << "setFrame p99" << double(p99) / 1e6 << "ms of" << waits.size() << "calls";
        QVERIFY2(p99 < stallMs * 1'000'000LL / 4, qPrintable(QString::number(p99)));
        FrameTimeLogReader log;
        QVERIFY(log.open(fixture.out("take.log")));
        QCOMPARE(log.count(), frames::numbersIn(fixture.out()).size());
    }

    void timesDoNotFollowTheWallClock()
    {
        RecorderFixture fixture;
        VideoRecorder recorder(fixture.out(), 100.0);
        recorder.useFrameLog = true;
        QVERIFY(fixture.record(recorder, fixture.out(), 5));
        for (const int shift : {30, -30}) {
            clockShiftS = shift;
            QVERIFY(qAbs(QDateTime::currentMSecsSinceEpoch() / 1000 - time(nullptr) - shift) <= 1);
            const int count = recorder.getFrameCount();
            QTRY_VERIFY(recorder.getFrameCount() > count + 3);
        }
        clockShiftS = 0;
        QVERIFY(recorder.finishAndWait(20'000));
        FrameTimeLogReader log;
        QVERIFY(log.open(fixture.out("take.log")));
        QVERIFY(log.gaps(20'000).isEmpty());
        const auto &entries = log.entries();
        QVERIFY(std::is_sorted(entries.begin(), entries.end(),
            [](const auto &a, const auto &b) { return a.timeMs < b.timeMs; }));
        QVERIFY(entries.first().timeMs >= 0 && entries.last().timeMs < 20'000);
    }
#endif
};

QTEST_GUILESS_MAIN(RecordingDisksTest)
#include "tst_recordingdisks.moc"
