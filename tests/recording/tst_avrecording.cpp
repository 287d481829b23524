#include "audio/audioinfo.h"
#include "audio/audiorecorder.h"
#include "ffmpeg/ffmpegqueue.h"
#include "recording/avrecording.h"
#include "support/fakeffmpeg.h"
#include "support/metaface.h"
#include "support/recorderfixture.h"
#include "support/soundserver.h"

#include <QAudioRecorder>
#include <QtTest>

namespace {

const QString sink = "desk";

// The seconds at which a video turns from dark to bright.
std::vector<double> flashes(const QString &path)
{
    std::vector<double> found;
    cv::VideoCapture video(path.toStdString(), cv::CAP_FFMPEG);
    const double rate = video.get(cv::CAP_PROP_FPS);
    bool wasBright = false;
    cv::Mat frame;
    for (int i = 0; video.read(frame); ++i) {
        const bool isBright = cv::mean(frame)[0] > 128;
        if (isBright && !wasBright)
            found.push_back(i / rate);
        wasBright = isBright;
    }
    return found;
}

// A tone of 440 Hz for 0.3 s at each of these seconds.
std::vector<qint16> beeps(const std::vector<double> &times)
{
    std::vector<qint16> all(size_t((times.back() + 1) * SoundServer::rateHz));
    const std::vector<qint16> beep = SoundServer::tone(440.0, 0.3);
    for (double time : times)
        std::copy(beep.begin(), beep.end(), all.begin() + std::ptrdiff_t(time * SoundServer::rateHz));
    return all;
}

} // namespace

// Pictures of the test's own, sound from a server without hardware, and the real ffmpeg.
class AvRecordingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        const QString reason = SoundServer::whyMissing();
        if (!reason.isEmpty())
            QSKIP(qPrintable(reason));
        server = std::make_unique<SoundServer>(QStringList{sink});
        QVERIFY(server->start());
        QVERIFY(meter.listen(SoundServer::microphone(sink)));
        meter.stopListening();
    }

    void init()
    {
        fixture = std::make_unique<RecorderFixture>();
        VideoRecorder::UseFFMPEGOptimization = true;
        video = std::make_unique<VideoRecorder>(fixture->out(), 25.0);
        audio = std::make_unique<AudioRecorder>();
        audio->setDevice(SoundServer::microphone(sink));
        audio->setCodec("audio/pcm");
        both = std::make_unique<AvRecording>(video.get(), audio.get());
        // A sink that plays nothing makes its monitor begin up to 2 s late.
        QVERIFY(server->play(sink, std::vector<qint16>(300 * SoundServer::rateHz)));
    }

    void cleanup()
    {
        camera.stop();
        camera.disconnect();
        meter.disconnect();
        meter.stopListening();
        both.reset();
        audio.reset();
        video.reset();
        fixture.reset();
        server->stopPlaying();
    }
    void cleanupTestCase() { server.reset(); }

    void metaObjectIsComplete()
    {
        QCOMPARE(metaface::ofClass(AvRecording::staticMetaObject),
            QStringList({"signal soundStarted()", "signal soundAligned(double)",
                "signal soundFailed(QString)", "signal soundSilent(bool)", "slot startRecord(QString)",
                "slot startRecord() [cloned]", "slot stopRecord(bool)", "slot stopRecord() [cloned]"}));
    }

    void soundLiesUnderItsPicture_data()
    {
        QTest::addColumn<double>("rate");
        QTest::addColumn<bool>("byItself"); // the video recorder is started and stopped without the companion
        QTest::addColumn<bool>("isPaused");
        QTest::addColumn<QString>("codec");
        QTest::addColumn<double>("offsetMs");
        const QString pcm = "audio/pcm";
        QTest::newRow("coded sound") << 25.0 << false << false << QString() << 0.0;
        QTest::newRow("by itself, with a pause and a period that is too short, 300 ms later")
            << 30.0 << true << true << pcm << 300.0;
    }

    void soundLiesUnderItsPicture()
    {
        QFETCH(double, rate);
        QFETCH(bool, byItself);
        QFETCH(bool, isPaused);
        QFETCH(QString, codec);
        QFETCH(double, offsetMs);
        both->setOffsetMs(offsetMs);
        video->setFramerate(rate);
        audio->setCodec(codec);
        QSignalSpy aligned(both.get(), &AvRecording::soundAligned);
        QSignalSpy failed(both.get(), &AvRecording::soundFailed);
        flashWithTheSound();
        byItself ? video->startRecord() : both->startRecord();
        QTRY_VERIFY(video->getFrameCount() > 2 && audio->isRecording());
        QTest::qWait(1000); // what a server plays first may come late
        QVERIFY(server->play(sink, beeps({0.3, 0.9, 2.6, 3.2})));
        if (isPaused) {
            QTRY_VERIFY(seen == 2 && !isLoud);
            video->pauseRecord();
            QTest::qWait(500);
            video->resumeRecord();
        }
        QTRY_VERIFY_WITH_TIMEOUT(seen == 4 && !isLoud, 20'000);
        byItself ? video->stopRecord() : both->stopRecord();
        QVERIFY(finished());
        QCOMPARE(failed.count(), 0);
        QTRY_COMPARE(aligned.count(), 1);
        QCOMPARE(fixture->tempEntries(), QStringList());

        const std::vector<float> samples = sound::samplesIn(fixture->out());
        const double hertz = sound::hertz(samples);
        QVERIFY2(std::abs(hertz - 440) <= 2, qPrintable(QString::number(hertz)));
        const std::vector<double> seenAt = flashes(fixture->out());
        const std::vector<double> heardAt = sound::onsets(samples);
        qInfo() << "offset" << aligned[0][0].toDouble() << "ms; flashes" << seenAt << "beeps" << heardAt;
        QCOMPARE(int(seenAt.size()), 4);
        QCOMPARE(heardAt.size(), seenAt.size());
        // A single flash may be late on a machine that has other things to do.
        std::vector<double> apart;
        for (size_t i = 0; i < seenAt.size(); ++i)
            apart.push_back(seenAt[i] - heardAt[i] + offsetMs / 1000);
        std::sort(apart.begin(), apart.end());
        QVERIFY(std::abs(apart[1]) <= 0.1 && std::abs(apart[2]) <= 0.1);
    }

    void videoIsNeverLostBecauseOfTheSound_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<bool>("hasSound");
        QTest::addColumn<int>("failures");
        QTest::newRow("no server") << "no server" << false << 1;
        QTest::newRow("codec refused") << "codec" << false << 1;
        QTest::newRow("server killed meanwhile") << "killed" << true << 1;
        QTest::newRow("sound switched off") << "off" << false << 0;
        QTest::newRow("companion goes before the stop") << "companion" << true << 0;
    }

    void videoIsNeverLostBecauseOfTheSound()
    {
        QFETCH(QString, fault);
        QFETCH(bool, hasSound);
        QFETCH(int, failures);
        QSignalSpy failed(both.get(), &AvRecording::soundFailed);
        if (fault == "no server")
            server->kill();
        if (fault == "codec") { // by the back end, in a sentence with a full stop
            audio->setCodec("audio/x-opus");
            audio->setSampleRate(44100);
        }
        both->setSoundEnabled(fault != "off");
        record();
        if (fault == "killed")
            server->kill();
        QTRY_COMPARE_WITH_TIMEOUT(failed.count(), failures, 20'000);
        if (fault == "companion")
            both.reset();
        both ? both->stopRecord() : video->stopRecord();
        const bool isFinished = finished();
        if (failures > 0)
            QVERIFY(server->start());
        QVERIFY(isFinished);
        QVERIFY(frames::numbersIn(fixture->out()).size() > 20);
        QCOMPARE(!sound::samplesIn(fixture->out()).empty(), hasSound);
        QCOMPARE(fixture->tempEntries(), QStringList());
        QCOMPARE(fixture->consoleHas("The video is recorded all the same"), failures > 0);
        QVERIFY(!fixture->consoleHas(".. "));
    }

    void soundThatCannotBeMadeStays()
    {
        QSignalSpy failed(both.get(), &AvRecording::soundFailed);
        VideoRecorder::UseFFMPEGOptimization = false;
        record();
        {
            const FakeFFMpeg ffmpeg("echo wrong >&2; exit 1");
            both->stopRecord();
            QVERIFY(finished());
        }
        QTRY_COMPARE(failed.count(), 1);
        QVERIFY(frames::numbersIn(fixture->out()).size() > 20);
        QCOMPARE(fixture->tempEntries(), QStringList{"take.wav.part"});
        QVERIFY(!sound::samplesIn(fixture->inTemp("take.wav.part")).empty());
        QVERIFY(fixture->consoleHas("The sound is not joined: wrong"));

        // The next one leaves it alone, and gets its sound beside the video that is copied.
        record();
        both->stopRecord();
        QVERIFY(finished());
        QVERIFY(!sound::samplesIn(fixture->out("take.wav")).empty());
        QCOMPARE(fixture->tempEntries(), QStringList{"take.wav.part"});
    }

    void discardedRecordingsLeaveNothing()
    {
        // Before the first frame, and after some.
        both->startRecord();
        QVERIFY(audio->isRecording());
        both->stopRecord();
        QVERIFY(!audio->isRecording());
        QTRY_COMPARE(fixture->tempEntries(), QStringList());
        record();
        both->stopRecord(true);
        QVERIFY(finished());
        QVERIFY(!audio->isRecording());
        QCOMPARE(fixture->tempEntries(), QStringList());
        QVERIFY(QDir(fixture->folder.path()).isEmpty());
    }

    void cutIsFollowed()
    {
        QVERIFY(server->play(sink, SoundServer::tone(440.0, 60.0)));
        record();
        server->stopPlaying();
        QVERIFY(server->play(sink, SoundServer::tone(1000.0, 60.0, 0.25)));
        QTRY_VERIFY(std::abs(audio->meter()->peak(0) - 0.25) < 0.02);
        const auto first = uint(video->getFrameCount() + 5);
        QTRY_VERIFY(video->getFrameCount() > int(first) + 25);
        video->stopAndCut({first, first + 19});
        QVERIFY(finished());
        QCOMPARE(frames::numbersIn(fixture->out()).size(), 20);
        const std::vector<float> samples = sound::samplesIn(fixture->out());
        const double seconds = double(samples.size()) / sound::rateHz;
        QVERIFY2(std::abs(seconds - 0.8) < 0.1, qPrintable(QString::number(seconds)));
        QVERIFY2(
            std::abs(sound::hertz(samples) - 1000) <= 2, qPrintable(QString::number(sound::hertz(samples))));
    }

    void stoppedRecordingIsDeliveredByWhoeverGoesFirst_data()
    {
        QTest::addColumn<QString>("order"); // video, audio, companion; b: the video on another thread
        QTest::addColumn<bool>("hasBegun"); // the sound
        for (const char *order : {"vca", "cva", "avc", "bca"})
            QTest::newRow(order) << QString::fromLatin1(order) << true;
        QTest::newRow("sound not begun") << "vca" << false;
    }

    void stoppedRecordingIsDeliveredByWhoeverGoesFirst()
    {
        QFETCH(QString, order);
        QFETCH(bool, hasBegun);
        if (hasBegun) {
            record(20);
            both->stopRecord();
        } else {
            video->startRecord();
            video->setFrame(frames::numbered(1));
            while (video->getFrameCount() < 20)
                QThread::msleep(10); // with nothing delivered to the companion
            video->stopRecord();
        }
        for (const QChar which : order) {
            if (which == QLatin1Char('v'))
                video.reset();
            if (which == QLatin1Char('a'))
                audio.reset();
            if (which == QLatin1Char('c'))
                both.reset();
            if (which == QLatin1Char('b')) {
                const std::unique_ptr<QThread> other(QThread::create([this] { video.reset(); }));
                other->start();
                QTRY_VERIFY_WITH_TIMEOUT(other->isFinished(), 20'000);
            }
        }
        QTRY_COMPARE_WITH_TIMEOUT(fixture->tempEntries(), QStringList(), 20'000);
        QVERIFY(frames::numbersIn(fixture->out()).size() >= 20);
        QCOMPARE(!sound::samplesIn(fixture->out()).empty(), hasBegun);
    }

    void silenceIsTold()
    {
        QSignalSpy silent(both.get(), &AvRecording::soundSilent);
        both->setSilenceLimit(0.6);
        record(5);
        QTRY_COMPARE(silent.value(0).value(0).toBool(), true);
        QVERIFY(fixture->consoleHas("has been silent for 0.6 s"));
        QVERIFY(server->play(sink, SoundServer::tone(440.0, 60.0)));
        QTRY_COMPARE(silent.count(), 2);
        QCOMPARE(silent.value(1).value(0).toBool(), false);
        // A second companion of the same recorder gives no sound, and leaves that of the first alone.
        AvRecording other(video.get(), audio.get());
        QVERIFY(fixture->consoleHas("is refused"));
        QSignalSpy refused(&other, &AvRecording::soundFailed);
        both->stopRecord();
        QVERIFY(finished());
        other.startRecord();
        QCOMPARE(refused.count(), 1);
        video->setFrame(frames::numbered(1));
        QTRY_VERIFY(video->getFrameCount() > 40 && audio->backEnd()->duration() > 700);
        other.stopRecord();
        QVERIFY(finished());
        QVERIFY(!sound::samplesIn(fixture->out()).empty());
        QCOMPARE(silent.count(), 2);
    }

private:
    void record(int frameCount = 40)
    {
        both->startRecord();
        video->setFrame(frames::numbered(1));
        QTRY_VERIFY_WITH_TIMEOUT(video->getFrameCount() >= frameCount
                && (!audio->isRecording() || audio->backEnd()->duration() > 700),
            20'000);
    }

    // Frames at 50 Hz that are bright while the microphone hears something.
    void flashWithTheSound()
    {
        seen = 0;
        isLoud = false;
        meter.setWindowMs(4);
        QVERIFY(meter.listen(SoundServer::microphone(sink)));
        connect(&meter, &AudioInfo::update, this, [this] {
            // A busy server stutters: what is silent for less than a fifth of a second is still the same
            // beep.
            silentWindows = meter.peak(0) > 0.1 ? 0 : silentWindows + 1;
            const bool wasLoud = std::exchange(isLoud, silentWindows == 0 || (isLoud && silentWindows < 50));
            seen += isLoud && !wasLoud;
            showFrame();
        });
        connect(&camera, &QTimer::timeout, this, [this] { showFrame(); });
        camera.start(20);
    }

    void showFrame() { video->setFrame(cv::Mat(48, 64, CV_8UC3, cv::Scalar::all(isLoud ? 255 : 0))); }

    bool finished()
    {
        QSignalSpy spy(video.get(), &VideoRecorder::recordFinished);
        return spy.wait(60'000);
    }

    std::unique_ptr<SoundServer> server;
    std::unique_ptr<RecorderFixture> fixture;
    std::unique_ptr<VideoRecorder> video;
    std::unique_ptr<AudioRecorder> audio;
    std::unique_ptr<AvRecording> both; // goes first
    AudioInfo meter;
    QTimer camera;
    bool isLoud = false;
    int silentWindows = 0; // of 4 ms
    int seen = 0; // beeps
};

QTEST_GUILESS_MAIN(AvRecordingTest)
#include "tst_avrecording.moc"
