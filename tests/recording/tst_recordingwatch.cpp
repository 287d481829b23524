#include "ffmpeg/ffmpegqueue.h"
#include "recording/recordingmeter_p.h"
#include "support/fakeffmpeg.h"
#include "support/recorderfixture.h"

#include <QtTest>

#include <cmath>
#include <utility>

#ifdef Q_OS_LINUX
#include <sys/mount.h>
#endif

namespace {

constexpr int lookMs = 500;
constexpr qint64 block = 256 << 10;
constexpr qint64 plenty = qint64(1) << 40;

using Sample = RecordingMeter::Sample;

// A recording of 25 Hz with 40,000 bytes a frame, as it is seen at each look, and what a case changes in it.
struct Case
{
    const char *name;
    QString expected; // warnings with the look at which they come
    std::function<void(int look, Sample &sample)> change = [](int, Sample &) {};
    int looks = 40;
};

QString nameOf(RecordingWatch::Warning warning)
{
    return QLatin1String(QMetaEnum::fromType<RecordingWatch::Warning>().valueToKey(warning));
}

qint64 onDisk(double bytes)
{
    return qint64(bytes) / block * block;
}

Sample steady(int look)
{
    Sample sample;
    sample.nowMs = 7'000 + qint64(look) * lookMs;
    sample.written = quint64(1 + look * 12.5);
    sample.passes = sample.written;
    sample.fileBytes = onDisk(double(sample.written) * 40'000);
    sample.freeTempBytes = plenty;
    return sample;
}

} // namespace

class RecordingWatchTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void warningsComeOnceAndInTime()
    {
        const std::vector<Case> cases{
            {"all is well", ""},
            {"disk fills", "TempDiskNearlyFull@22", // about 60 s of 1 MB a second and the reserve are left
                [](int, Sample &sample) { sample.freeTempBytes = 72'600'000 - sample.fileBytes; }},
            {"disk is full", "TempDiskNearlyFull@1 WriterFails@6",
                [](int look, Sample &sample) {
                    sample.fileBytes = qMin(sample.fileBytes, 12 * block);
                    sample.freeTempBytes = look < 6 ? 70'000 : 0;
                }},
            {"file does not grow", "WriterFails@9", // 1 MiB of frames is missing
                [](int, Sample &sample) { sample.fileBytes = qMin(sample.fileBytes, 10 * block); }},
            {"file is gone", "WriterFails@9",
                [](int look, Sample &sample) { sample.fileBytes = look < 9 ? sample.fileBytes : -1; }},
            {"no file", "WriterFails@4",
                [](int, Sample &sample) { sample.written = sample.passes = 0, sample.fileBytes = -1; }},
            {"flat pictures", "",
                [](int, Sample &sample) { sample.fileBytes = onDisk(double(sample.written) * 650); }, 80},
            {"pause", "",
                [](int look, Sample &sample) {
                    sample = steady(look < 10 ? look : qMax(10, look - 30));
                    sample.nowMs = look * lookMs;
                    sample.isPaused = look >= 10 && look < 40;
                },
                60},
            {"encoder is behind twice", "EncoderIsBehind@12 EncoderIsBehind@32",
                [](int look, Sample &sample) {
                    // Four looks of half the frames, and that again 10 s later.
                    const int late = qBound(0, look - 10, 4) + qBound(0, look - 30, 4);
                    sample.passes = sample.written = quint64(1 + look * 12.5 - late * 6.0);
                },
                50},
            {"repeated to keep the pace", "EncoderIsBehind@4",
                [](int look, Sample &sample) { sample.passes = quint64(1 + look * 7); }},
            {"looks come late", "", [](int look, Sample &sample) { sample.nowMs += look % 4 * 30; }},
            {"destination is small", "DestinationNearlyFull@3",
                [](int look, Sample &sample) { sample.freeDestinationBytes = look < 3 ? plenty : 1000; }},
            {"destination takes no copy", "DestinationNearlyFull@17", // of 8 MB
                [](int, Sample &sample) {
                    sample.freeDestinationBytes = 7'900'000;
                    sample.neededAtDestination = sample.fileBytes;
                }},
            {"counts start anew", "",
                [](int look, Sample &sample) {
                    sample = steady(look % 20);
                    sample.nowMs = look * lookMs;
                }},
        };
        QStringList wrong;
        for (const Case &one : cases) {
            RecordingMeter meter;
            meter.warningLimit = {one.expected.contains("@17") ? 1000 : 60'000, 60.0};
            meter.begin(25.0);
            QStringList told;
            for (int look = 0; look < one.looks; ++look) {
                Sample sample = steady(look);
                one.change(look, sample);
                const RecordingHealth health = meter.add(sample);
                for (RecordingWatch::Warning warning : meter.raised()) {
                    told << nameOf(warning) + '@' + QString::number(look);
                    QVERIFY(health.warnings.contains(meter.text(warning, true)));
                }
                QCOMPARE(meter.isAtStopLimit(), false);
            }
            told.sort();
            if (told.join(' ') != one.expected)
                wrong << one.name + (": " + told.join(' '));
        }
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong.join(" | ")));
    }

    void growthIsPredictedAndEndsTheRecordingInTime()
    {
        for (const RecordingWatch::Limit limit :
            {RecordingWatch::Limit{0, 5.0}, {4'000'000, 0.0}, {1, 0.0}}) {
            RecordingMeter meter;
            meter.stopLimit = limit;
            meter.begin(25.0);
            int look = 0;
            Sample sample;
            for (; !meter.isAtStopLimit(); ++look) {
                sample = steady(look);
                sample.freeTempBytes = 30'000'000 - sample.fileBytes;
                QVERIFY(sample.freeTempBytes > 0);
                const RecordingHealth health = meter.add(sample);
                if (look >= 10)
                    QVERIFY2(std::abs(health.bytesPerSecond - 1e6) < 1e5,
                        qPrintable(QString::number(health.bytesPerSecond)));
            }
            QVERIFY(sample.freeTempBytes > 2 * block); // what the writer has in hand still fits
            if (limit.secondsLeft > 0.0)
                QVERIFY(std::abs(double(sample.freeTempBytes) - 2 * block - 5e6) < 1e6);
            QVERIFY(sample.freeTempBytes < qMax(limit.freeBytes, qint64(7'000'000)));
            QVERIFY(meter.end(true).isEndedAtLimit);
            QCOMPARE(meter.raised(), QVector<RecordingWatch::Warning>{RecordingWatch::EndedAtLimit});
        }
    }

    void endsAreToldOneByOne()
    {
        FakeFFMpeg ffmpeg("echo half > \"$out\"; await $(basename \"$2\")");
        RecorderFixture fixture;
        VideoRecorder::UseFFMPEGOptimization = true;
        FFMpegQueue queue;
        FFMpegQueue *const former = std::exchange(VideoRecorder::ffmpegQueue, &queue);
        const auto restore = qScopeGuard([former] { VideoRecorder::ffmpegQueue = former; });
        std::unique_ptr<VideoRecorder> recorders[2];
        std::unique_ptr<RecordingWatch> watches[2];
        QStringList ends;
        QStringList progress;
        for (int i : {0, 1}) {
            recorders[i] = std::make_unique<VideoRecorder>();
            watches[i] = std::make_unique<RecordingWatch>(recorders[i].get());
            connect(
                watches[i].get(), &RecordingWatch::delivered, this,
                [&](const RecordingResult &result) {
                    QCOMPARE(QThread::currentThread(), thread());
                    QCOMPARE(result.outcome, RecordingResult::Delivered);
                    ends << QFileInfo(result.videoPath).fileName();
                },
                Qt::DirectConnection); // so that the thread is the watch's
        }
        connect(watches[0].get(), &RecordingWatch::finishing, this,
            [&](int done, int all) { progress << QString::number(done) + '/' + QString::number(all); });
        QSignalSpy announced(recorders[0].get(), &VideoRecorder::recordFinished);
        const char *const names[] = {"a.avi", "b.avi"};
        for (int i : {0, 1}) {
            QVERIFY(fixture.record(*recorders[i], fixture.out(names[i])));
            QTRY_VERIFY(watches[i]->health().isRecording);
            recorders[i]->stopRecord();
            QTRY_VERIFY(!watches[i]->health().isRecording);
            QTRY_COMPARE(progress.last(), QString("0/%1").arg(i + 1));
        }
        ffmpeg.letGo(names[0]);
        QTRY_COMPARE_WITH_TIMEOUT(ends, QStringList(names[0]), 60'000);
        QTRY_COMPARE(progress.last(), "1/2");
        QVERIFY(announced.isEmpty()); // since the queue still works
        recorders[0].reset(); // with its watch alive
        ffmpeg.letGo(names[1]);
        QTRY_COMPARE_WITH_TIMEOUT(ends, QStringList({names[0], names[1]}), 60'000);
        QTRY_COMPARE(progress, QStringList({"0/1", "0/2", "1/2", "2/2"}));
    }

#ifdef Q_OS_LINUX
    void fullDiskIsToldInTime_data()
    {
        QTest::addColumn<bool>("hasLimit");
        QTest::newRow("warned") << false;
        QTest::newRow("ended in good order") << true;
    }

    void fullDiskIsToldInTime()
    {
        QFETCH(bool, hasLimit);
        RecorderFixture fixture;
        const QByteArray disk = QFile::encodeName(fixture.temp.path());
        if (mount("none", disk.constData(), "tmpfs", 0, "size=8m") != 0)
            QSKIP("a disk of its own needs the rights to mount one");
        const auto unmount = qScopeGuard([&] { umount2(disk.constData(), MNT_DETACH); });
        {
            VideoRecorder recorder(fixture.out(), 25.0);
            RecordingWatch watch(&recorder);
            QStringList told;
            qint64 freeAtFirst = -1;
            connect(&watch, &RecordingWatch::warned, this, [&](RecordingWatch::Warning warning) {
                told << nameOf(warning);
                if (freeAtFirst < 0)
                    freeAtFirst = QStorageInfo(fixture.temp.path()).bytesAvailable();
            });
            if (hasLimit)
                watch.setStopLimit(4 << 20, 0.0);
            cv::Mat noise(240, 320, CV_8UC3);
            cv::randu(noise, 0, 255);
            recorder.startRecord();
            recorder.setFrame(noise);
            const QString last = hasLimit ? "EndedAtLimit" : "WriterFails";
            QTRY_VERIFY_WITH_TIMEOUT(told.contains(last), 60'000);
            told.removeAll("EncoderIsBehind"); // as it may be
            QCOMPARE(told, QStringList({"TempDiskNearlyFull", last}));
            QVERIFY(freeAtFirst > 2 * block);
            QCOMPARE(recorder.getIsRecording(), !hasLimit);
            QVERIFY(fixture.consoleHas("Disk nearly full: "));
            QVERIFY(!watch.health().warnings.isEmpty());
            recorder.stopRecord();
            QTRY_VERIFY_WITH_TIMEOUT(!recorder.isFinishPending(), 60'000);
            if (hasLimit)
                QCOMPARE(frames::numbersIn(fixture.out()).size(), int(recorder.getReport().written));
        }
    }
#endif
};

QTEST_GUILESS_MAIN(RecordingWatchTest)
#include "tst_recordingwatch.moc"
