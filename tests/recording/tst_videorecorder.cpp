#include "ffmpeg/ffmpegqueue.h"
#include "recording/framepacer_p.h"
#include "recording/frametimelog_p.h"
#include "recording/frametimelogreader.h"
#include "recording/recordingresult.h"
#include "support/metaface.h"
#include "support/recorderfixture.h"
#include "support/table.h"

// The life of a recording up to the stop request; what follows stands in tst_videorecorderfinish.
class VideoRecorderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { fixture = std::make_unique<RecorderFixture>(); }
    void cleanup() { fixture.reset(); }

    void faceIsSettled()
    {
        QCOMPARE(metaface::ofClass(VideoRecorder::staticMetaObject),
            (QStringList{"signal recordPrepareToFinish()", "signal recordFinished(QString,int)",
                "signal recordStarted()", "signal frameCountChanged(qulonglong)", "slot startRecord(QString)",
                "slot startRecord() [cloned]", "slot setFramerate(double)", "slot stopRecord(bool)",
                "slot stopRecord() [cloned]", "slot stopAndCut(VideoInterval)", "slot setFrame(cv::Mat)",
                "slot setFrame(QImage)", "slot pauseRecord()", "slot resumeRecord()", "slot sync(int)"}));
        VideoRecorder recorder;
        QCOMPARE(recorder.getFrameRate(), 24.0);
        QVERIFY(VideoRecorder::ffmpegQueue && !VideoRecorder::ffmpegQueue->isRunning());
        QVERIFY(!recorder.isRunning());
    }

    void startNeedsARateAndAPath_data()
    {
        const Table<double, QString, QString> row;
        row("rate 0", 0.0, fixturePath(), "VIDEORECORDER: Frame rate is invalid 0");
        row("negative", -5.0, fixturePath(), "VIDEORECORDER: Frame rate is invalid -5");
        row("no number", qQNaN(), fixturePath(), "VIDEORECORDER: Frame rate is invalid nan");
        row("short path", 25.0, "ab", "VIDEORECORDER: Filepath is not provided");
    }

    void startNeedsARateAndAPath()
    {
        const auto &[rate, path, message] = Table<double, QString, QString>::fetch();
        VideoRecorder recorder(QString(), rate);
        QTest::ignoreMessage(QtDebugMsg, qPrintable(message));
        recorder.startRecord(path);
        QVERIFY(!recorder.getIsRecording());
        QVERIFY(recorder.isWorking()); // the thread exists all the same
    }

    void stopWhileArmedTellsNothingAndLeavesNothing()
    {
        QFile old(fixture->out());
        QVERIFY(old.open(QIODevice::WriteOnly));
        VideoRecorder recorder(QString(), 50.0);
        QSignalSpy started(&recorder, &VideoRecorder::recordStarted);
        QSignalSpy preparing(&recorder, &VideoRecorder::recordPrepareToFinish);
        QSignalSpy finished(&recorder, &VideoRecorder::recordFinished);
        recorder.startRecord(fixture->out());
        QVERIFY(!old.exists()); // the older file goes at the start
        QVERIFY(recorder.getIsRecording() && !recorder.getFrameSizeCalculated());
        QCOMPARE(recorder.getTempFilePath(), fixture->inTemp("take.avi"));
        recorder.stopRecord();
        QTRY_COMPARE(fixture->tempEntries(), QStringList()); // the claim is let go, too
        QCOMPARE(started.count() + preparing.count() + finished.count(), 0);
        QVERIFY(!QFile::exists(fixture->out()));
    }

    void firstFrameLocksTheSizeAndOthersAreRefused()
    {
        VideoRecorder recorder(fixture->out(), 50.0);
        recorder.setFrame(frames::numbered(99, {640, 480})); // left from before the start: never written
        recorder.startRecord();
        cv::Mat mine = frames::numbered(1);
        recorder.setFrame(mine);
        mine.setTo(cv::Scalar::all(128)); // the slot holds a copy
        QTRY_VERIFY(recorder.getFrameCount() >= 2);
        QCOMPARE(recorder.getFrameSize(), cv::Size(320, 240));
        recorder.setFrame(frames::numbered(2, {640, 480}));
        recorder.setFrame(cv::Mat());
        const int count = recorder.getFrameCount();
        QTRY_VERIFY(recorder.getFrameCount() >= count + 2);
        recorder.setFrame(QImage()); // as in a format that cannot be taken over
        finish(recorder);
        const QVector<int> numbers = frames::numbersIn(fixture->out());
        QCOMPARE(numbers.count(1), numbers.size());
        const VideoRecorder::Report report = recorder.getReport();
        QCOMPARE(report.offered, quint64(2));
        QCOMPARE(report.refused, quint64(1));
        QCOMPARE(report.written, quint64(numbers.size()));
        QCOMPARE(report.repeated, quint64(numbers.size() - 1));
    }

    void everyTypeOfFrameIsWrittenOrLeftOut_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("written");
        QTest::newRow("grey") << CV_8UC1 << true;
        QTest::newRow("colour") << CV_8UC3 << true;
        QTest::newRow("alpha") << CV_8UC4 << true;
        QTest::newRow("16 bits") << CV_16UC3 << false; // the writer would throw
        QTest::newRow("two channels") << CV_8UC2 << false; // the writer would drop it in silence
        QTest::newRow("float") << CV_32FC1 << false;
    }

    void everyTypeOfFrameIsWrittenOrLeftOut()
    {
        QFETCH(int, type);
        QFETCH(bool, written);
        VideoRecorder recorder(fixture->out(), 100.0);
        QSignalSpy passes(&recorder, &VideoRecorder::frameCountChanged);
        recorder.startRecord();
        recorder.setFrame(cv::Mat(240, 320, type, cv::Scalar::all(0)));
        QTRY_VERIFY(passes.count() >= 4);
        QCOMPARE(recorder.getFrameCount() > 0, written);
        finish(recorder);
    }

    void dueTimesFollowTheClock_data()
    {
        const Table<QVector<int>, int, int> row;
        row("in time", QVector<int>{0, 40, 80}, 5, 120);
        row("a little late: the grid stays", QVector<int>{0, 47, 95}, 5, 120);
        row("a whole period late: a new grid", QVector<int>{0, 90}, 5, 130);
        row("passes take too long: at once", QVector<int>{0, 60}, 60, 120);
    }

    void dueTimesFollowTheClock()
    {
        const auto &[begins, lengthMs, due] = Table<QVector<int>, int, int>::fetch();
        constexpr qint64 ms = 1'000'000;
        FramePacer pacer;
        pacer.start(0, 40 * ms);
        for (int begin : begins) {
            QCOMPARE(pacer.untilDueNs(begin * ms), 0);
            pacer.begin(begin * ms);
            pacer.end((begin + lengthMs) * ms);
        }
        const qint64 end = begins.last() + lengthMs;
        QCOMPARE(pacer.untilDueNs(end * ms), (due - end) * ms);
        QCOMPARE(FramePacer::missing(1000 * ms, 25.0, 20), quint64(5));
        QCOMPARE(FramePacer::missing(1000 * ms, 25.0, 26), quint64(0));
    }

    void framesComeAtTheNominalPaceWhateverTheSource()
    {
        VideoRecorder recorder(fixture->out(), 25.0);
        QElapsedTimer clock;
        QVector<qint64> times; // the worker's
        std::atomic<int> passes{0};
        const auto note = [&] {
            times << clock.nsecsElapsed();
            ++passes;
        };
        connect(&recorder, &VideoRecorder::frameCountChanged, &recorder, note, Qt::DirectConnection);
        clock.start();
        recorder.startRecord();
        for (int number = 1; passes < 21; ++number) {
            recorder.setFrame(frames::numbered(number));
            QTest::qWait(3);
        }
        finish(recorder);
        // The smallest gap: a busy machine can make any of them longer.
        qint64 smallest = times[2] - times[1];
        for (int i = 3; i < times.size(); ++i)
            smallest = qMin(smallest, times[i] - times[i - 1]);
        QVERIFY2(smallest > 20'000'000 && smallest < 48'000'000, qPrintable(QString::number(smallest)));
        QVERIFY((times[20] - times[0]) / 20 > 37'000'000);

        const VideoRecorder::Report report = recorder.getReport();
        const QVector<int> numbers = frames::numbersIn(fixture->out());
        QCOMPARE(numbers.size(), times.size());
        QVERIFY(std::is_sorted(numbers.begin(), numbers.end()) && numbers.first() >= 1);
        // Every frame was either written, replaced, or lies in the slot.
        QVERIFY(report.written - report.repeated + report.overwritten + 1 >= report.offered);
        QVERIFY(report.measuredRateHz > 0.0 && report.measuredRateHz < 26.0);
    }

    void paceIsKeptWhereThatIsWanted_data()
    {
        QTest::addColumn<bool>("keeps");
        QTest::newRow("kept") << true;
        QTest::newRow("settled") << false;
    }

    void paceIsKeptWhereThatIsWanted()
    {
        QFETCH(bool, keeps);
        VideoRecorder recorder(fixture->out(), 50.0);
        recorder.setKeepPace(keeps);
        recorder.useFrameLog = true;
        std::atomic<int> stalls{0};
        QElapsedTimer sinceStall; // the worker's
        sinceStall.start();
        // Stands for an encoder that is held up for three periods, ten times.
        const auto encode = [&] {
            if (stalls < 10 && sinceStall.elapsed() > 100) {
                QThread::msleep(60);
                ++stalls;
                sinceStall.start();
            }
        };
        connect(&recorder, &VideoRecorder::frameCountChanged, &recorder, encode, Qt::DirectConnection);
        recorder.startRecord();
        recorder.setFrame(frames::numbered(1));
        QTRY_VERIFY(stalls >= 10);
        finish(recorder);
        const VideoRecorder::Report report = recorder.getReport();
        const double missing = report.wallClockSeconds * 50.0 - double(report.written);
        QVERIFY2(keeps ? missing < 8.0 : missing > 15.0, qPrintable(QString::number(missing)));
        QCOMPARE(report.pacedRepeats > 0, keeps);
        FrameTimeLogReader log;
        QVERIFY(log.open(fixture->out("take.log")));
        QCOMPARE(quint64(log.count()), report.written);
        QCOMPARE(quint64(frames::numbersIn(fixture->out()).size()), report.written);
    }

    void imageKeepsItsColours()
    {
        VideoRecorder recorder(fixture->out(), 50.0);
        QImage image(320, 240, QImage::Format_RGB32);
        image.fill(QColor(200, 20, 40));
        recorder.startRecord();
        recorder.setFrame(image);
        QTRY_VERIFY(recorder.getFrameCount() >= 2);
        finish(recorder);
        cv::Mat frame;
        QVERIFY(cv::VideoCapture(fixture->out().toStdString(), cv::CAP_FFMPEG).read(frame));
        const cv::Vec3b pixel = frame.at<cv::Vec3b>(120, 160);
        QVERIFY(pixel[0] < 70 && pixel[1] < 50 && pixel[2] > 170);
    }

    void pauseHoldsTheFileAndLeavesNoTraceInTheReport()
    {
        VideoRecorder recorder(QString(), 100.0);
        QSignalSpy started(&recorder, &VideoRecorder::recordStarted);
        recorder.startRecord(fixture->out());
        recorder.pauseRecord();
        recorder.setFrame(frames::numbered(1)); // opens the file all the same
        QTRY_COMPARE(started.count(), 1);
        QCOMPARE(recorder.getFrameCount(), 0);
        recorder.resumeRecord();
        QTRY_VERIFY(recorder.getFrameCount() >= 3);

        QSignalSpy passes(&recorder, &VideoRecorder::frameCountChanged);
        recorder.pauseRecord();
        QTRY_VERIFY(!passes.wait(200)); // the pass that ran when we asked is over
        const int held = recorder.getFrameCount();
        const VideoRecorder::Report before = recorder.getReport();
        for (int number = 2; number <= 7; ++number)
            recorder.setFrame(frames::numbered(number));
        QTest::qWait(1000);
        QCOMPARE(recorder.getFrameCount(), held);
        QVERIFY(recorder.getIsPaused() && recorder.getIsRecording());
        recorder.resumeRecord();
        QTRY_VERIFY(recorder.getFrameCount() >= held + 3);
        const VideoRecorder::Report after = recorder.getReport();
        QCOMPARE(after.overwritten, before.overwritten);
        QVERIFY(after.longestGapMs < 1000.0);
        QVERIFY(after.wallClockSeconds < before.wallClockSeconds + 1.0);

        const int count = recorder.getFrameCount();
        recorder.setFramerate(200.0); // the duration follows at once, the file does not
        QVERIFY(recorder.getDurationSeconds() >= count / 200.0
            && recorder.getDurationSeconds() < count / 100.0 + 1.0);
        finish(recorder);
        const QVector<int> numbers = frames::numbersIn(fixture->out());
        QCOMPARE(numbers.mid(0, held), QVector<int>(held, 1));
        QCOMPARE(numbers.last(), 7);
        cv::VideoCapture file(fixture->out().toStdString(), cv::CAP_FFMPEG);
        QCOMPARE(file.get(cv::CAP_PROP_FPS), 100.0);
    }

    void logThatLiesThereIsContinuedOrReplaced_data()
    {
        QTest::addColumn<bool>("isValid");
        QTest::newRow("valid, alone") << true;
        QTest::newRow("damaged") << false;
    }

    void logThatLiesThereIsContinuedOrReplaced()
    {
        QFETCH(bool, isValid);
        {
            FrameTimeLog left(fixture->inTemp("take.log"));
            QVERIFY(left.load());
            for (quint32 frame = 0; frame < 3; ++frame)
                QVERIFY(left.write(frame, 1'000'000 + frame, true));
        }
        if (!isValid) {
            QFile file(fixture->inTemp("take.log"));
            QVERIFY(file.open(QIODevice::Append) && file.write("abc") == 3);
        }
        VideoRecorder recorder(QString(), 50.0);
        recorder.useFrameLog = true;
        QVERIFY(fixture->record(recorder, fixture->out(), 6));
        finish(recorder);
        FrameTimeLogReader log;
        QVERIFY2(log.open(fixture->out("take.log")), qPrintable(log.errorString()));
        QCOMPARE(log.count(), frames::numbersIn(fixture->out()).size());
        for (quint32 frame = 0; frame < 6; ++frame)
            QCOMPARE(log.timeOf(frame) >= 1'000'000, isValid && frame < 3);
    }

    void insertedFramesComeFirstAndReplaceAWaitingBatch()
    {
        VideoRecorder recorder(QString(), 20.0);
        recorder.useFrameLog = true;
        recorder.startRecord(fixture->out());
        recorder.insertFramesOverride({frames::numbered(50)});
        QList<cv::Mat> batch{frames::numbered(60, {640, 480}), cv::Mat(), frames::numbered(61)};
        recorder.insertFramesOverride(batch);
        batch.first().setTo(cv::Scalar::all(0));
        recorder.sync(-3); // no log yet
        recorder.setFrame(frames::numbered(1));
        QTRY_VERIFY(recorder.getFrameCount() >= 4);
        recorder.sync(123456);
        const int synced = recorder.getFrameCount();
        QTRY_VERIFY(recorder.getFrameCount() >= synced + 2);
        finish(recorder);
        const QVector<int> numbers = frames::numbersIn(fixture->out());
        QCOMPARE(numbers.mid(0, 4), (QVector<int>{60, 61, 1, 1}));

        FrameTimeLogReader log;
        QVERIFY2(log.open(fixture->out("take.log")), qPrintable(log.errorString()));
        QCOMPARE(log.count(), numbers.size());
        QCOMPARE(log.timeOf(0), 0);
        QCOMPARE(log.timeOf(1), 0);
        QVERIFY(log.timeOf(3) > 0);
        const auto entries = log.entries();
        QCOMPARE(
            std::count_if(entries.begin(), entries.end(), [](const auto &e) { return e.timeMs == 123456; }),
            1);
    }

    void writerThatCannotOpenStallsWithoutHarm()
    {
        VideoRecorder recorder(QString(), 50.0);
        QSignalSpy started(&recorder, &VideoRecorder::recordStarted);
        QSignalSpy finished(&recorder, &VideoRecorder::recordFinished);
        recorder.startRecord(fixture->out());
        recorder.setFrame(cv::Mat(1, 70000, CV_8UC1, cv::Scalar(0))); // no Motion-JPEG of that width
        QTRY_COMPARE(started.count(), 1);
        recorder.setFrame(cv::Mat(1, 70000, CV_8UC1, cv::Scalar(0)));
        QVERIFY(fixture->consoleHas("cannot be written, nothing is recorded"));
        recorder.stopRecord();
        QTRY_COMPARE(finished.count(), 1);
        QCOMPARE(recorder.getFrameCount(), 0);
        QCOMPARE(fixture->tempEntries(), QStringList());
    }

    void suffixThatCannotHoldTheVideoGrowsAsAvi()
    {
        VideoRecorder recorder(QString(), 50.0);
        QVERIFY(fixture->record(recorder, fixture->out("take.ts"), 2));
        QCOMPARE(recorder.getTempFilePath(), fixture->inTemp("take.avi"));
        finish(recorder);
        QVERIFY(frames::numbersIn(fixture->out("take.ts")).size() >= 2);
    }

    void recordingThatWasNotStoppedKeepsItsVideo()
    {
        {
            VideoRecorder recorder(QString(), 50.0);
            QVERIFY(fixture->record(recorder, fixture->out(), 3));
        }
        QVERIFY(!QFile::exists(fixture->out()));
        QVERIFY(frames::numbersIn(fixture->inTemp("take.avi")).size() >= 3);
        QVERIFY(fixture->consoleHas("was not stopped, its video stays in"));
    }

    void framesFromSeveralThreadsAreNeverTorn()
    {
        VideoRecorder recorder(QString(), 200.0);
        recorder.startRecord(fixture->out());
        std::atomic<bool> go{true};
        std::vector<std::unique_ptr<QThread>> sources;
        for (int number : {1, 2, 3}) {
            sources.emplace_back(QThread::create([&recorder, &go, number] {
                cv::Mat own = frames::numbered(number);
                while (go) {
                    recorder.setFrame(own);
                    recorder.insertFramesOverride({own});
                    own.setTo(cv::Scalar::all(0));
                    own = frames::numbered(number);
                }
            }));
            sources.back()->start();
        }
        QTRY_VERIFY(recorder.getFrameCount() >= 100);
        go = false;
        for (const auto &source : sources)
            source->wait();
        finish(recorder);
        for (int number : frames::numbersIn(fixture->out()))
            QVERIFY(number >= 1 && number <= 3);
    }

private:
    static QString fixturePath() { return QDir::temp().filePath("vt-recorder-never-made.avi"); }

    static void finish(VideoRecorder &recorder)
    {
        QSignalSpy finished(&recorder, &VideoRecorder::recordFinished);
        recorder.stopRecord();
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 20'000);
    }

    std::unique_ptr<RecorderFixture> fixture;
};

QTEST_GUILESS_MAIN(VideoRecorderTest)
#include "tst_videorecorder.moc"
