#include "audio/audioinfo.h"
#include "audio/audiorecorder.h"
#include "audio/soundsource_p.h"
#include "baselib/globalconsole.h"
#include "support/metaface.h"
#include "support/soundserver.h"

#include <QAudioRecorder>
#include <QtTest>

namespace {

const QString deskSink = QStringLiteral("desk");
const QString headSink = QStringLiteral("head");

QByteArray head(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.read(12) : QByteArray();
}

} // namespace

// Real sound through Qt Multimedia's own back end, from a sound server without hardware: 1000 Hz in the
// default microphone, 440 Hz and half as loud in another one.
class AudioRecorderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        const QString reason = SoundServer::whyMissing();
        if (!reason.isEmpty())
            QSKIP(qPrintable(reason));
        server = std::make_unique<SoundServer>(QStringList{deskSink, headSink});
        QVERIFY(startServer());
        if (QAudioRecorder().supportedContainers().isEmpty())
            QSKIP("Qt Multimedia has no back end for recording here");
    }

    void init()
    {
        GlobalConsole::setSink([this](const QString &text, const QDateTime &) { lines << text; });
        lines.clear();
    }
    void cleanup() { GlobalConsole::setSink({}); }
    void cleanupTestCase() { server.reset(); }

    void metaObjectIsComplete()
    {
        QCOMPARE(metaface::ofClass(AudioRecorder::staticMetaObject),
            QStringList({"signal recordStarted()", "signal recordFinished(QString)", "slot startRecord()",
                "slot stopRecord()"}));
    }

    void pickedSourceAndCodecAreWhatEndsInTheFile_data()
    {
        QTest::addColumn<QString>("device");
        QTest::addColumn<QString>("codec");
        QTest::addColumn<double>("hertz");
        QTest::addColumn<QByteArray>("format");
        QTest::addColumn<QString>("line");
        const QString pcm = QStringLiteral("audio/pcm");
        const QString none;
        QTest::newRow("nothing picked") << none << none << 1000.0 << QByteArray("ftyp") << none;
        QTest::newRow("microphone, the widget's codec")
            << SoundServer::microphone(headSink) << pcm << 440.0 << QByteArray("RIFF") << none;
        QTest::newRow("default microphone by name")
            << SoundServer::microphone(deskSink) << pcm << 1000.0 << QByteArray("RIFF") << none;
        QTest::newRow("default of another layer")
            << QStringLiteral("default") << pcm << 1000.0 << QByteArray("RIFF") << none;
        QTest::newRow("back end's own names")
            << QStringLiteral("pulseaudio:") << QStringLiteral("audio/x-raw") << 1000.0 << QByteArray("RIFF")
            << none;
        QTest::newRow("coded") << SoundServer::microphone(headSink) << QStringLiteral("audio/x-vorbis")
                               << 440.0 << QByteArray("\x1a\x45\xdf\xa3") << none;
        QTest::newRow("unknown microphone") << QStringLiteral("gone") << pcm << 1000.0 << QByteArray("RIFF")
                                            << QStringLiteral("microphone gone cannot be found");
        QTest::newRow("unknown codec")
            << SoundServer::microphone(headSink) << QStringLiteral("audio/odd") << 440.0 << QByteArray("ftyp")
            << QStringLiteral("codec audio/odd cannot be used");
    }

    void pickedSourceAndCodecAreWhatEndsInTheFile()
    {
        QFETCH(QString, device);
        QFETCH(QString, codec);
        QFETCH(double, hertz);
        QFETCH(QByteArray, format);
        QFETCH(QString, line);
        AudioRecorder recorder;
        recorder.setDevice(device);
        recorder.setCodec(codec);
        recorder.setSampleRate(codec.contains(QStringLiteral("raw")) ? 16000 : 0); // 0: nothing picked
        const std::vector<float> samples = record(recorder);
        QCOMPARE(recorder.lastError(), QString());
        QVERIFY2(head(out()).contains(format), head(out()).toHex());
        const double heard = sound::hertz(samples);
        QVERIFY2(std::abs(heard - hertz) <= 2, qPrintable(QString::number(heard)));
        QVERIFY2(std::abs(metered - (hertz < 500 ? 0.25 : 0.5)) < 0.02, qPrintable(QString::number(metered)));
        QCOMPARE(recorder.meter()->peak(0), 0.0);
        QCOMPARE(lines.size(), line.isEmpty() ? 0 : 1);
        QVERIFY(lines.value(0).contains(line));
        QVERIFY(!qEnvironmentVariableIsSet("PULSE_SOURCE"));
    }

    void signalsTellOfTheCallsInAnyOrder()
    {
        AudioRecorder recorder;
        QSignalSpy starts(&recorder, &AudioRecorder::recordStarted);
        QSignalSpy ends(&recorder, &AudioRecorder::recordFinished);
        recorder.stopRecord();
        QCOMPARE(ends.value(0).value(0).toString(), QString());
        recorder.setOutputLocation(out());
        recorder.setCodec(QStringLiteral("audio/pcm"));
        recorder.startRecord();
        recorder.setCodec(QStringLiteral("audio/x-vorbis")); // for the next one
        recorder.setDevice(SoundServer::microphone(headSink));
        QVERIFY(hears(recorder));
        recorder.startRecord();
        QVERIFY(recorder.isRecording());
        QVERIFY(hears(recorder, 800));
        recorder.stopRecord();
        QCOMPARE(starts.count(), 2);
        QCOMPARE(ends.value(1).value(0).toString(), out());
        QVERIFY(recorder.waitForClosed());
        QVERIFY(head(out()).startsWith("RIFF"));
        QVERIFY(std::abs(sound::hertz(sound::samplesIn(out())) - 1000) <= 2);
    }

    void recordingsThatFollowEachOtherAreAllWhole()
    {
        AudioRecorder recorder;
        recorder.setOutputLocation(out());
        recorder.startRecord();
        recorder.stopRecord(); // before any sound could come
        for (int round = 0; round < 3; ++round) {
            const QString path = folder.filePath(QStringLiteral("round%1").arg(round));
            recorder.setOutputLocation(path);
            recorder.startRecord();
            QVERIFY(hears(recorder));
            recorder.stopRecord();
        }
        QVERIFY(recorder.waitForClosed());
        for (int round = 0; round < 3; ++round)
            QVERIFY(!sound::samplesIn(folder.filePath(QStringLiteral("round%1").arg(round))).empty());
    }

    void recorderThatGoesClosesItsFile()
    {
        auto recorder = std::make_unique<AudioRecorder>();
        recorder->setOutputLocation(out());
        recorder->startRecord(); // a container that cannot be read unless it is closed
        QVERIFY(hears(*recorder, 800));
        recorder.reset();
        const double hertz = sound::hertz(sound::samplesIn(out()));
        QVERIFY2(std::abs(hertz - 1000) <= 2, qPrintable(QString::number(hertz)));
    }

    void faultsAreToldAndEndNothingElse_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("codec");
        QTest::addColumn<bool>("isRestarted"); // in a slot that the error is connected to
        const QString raw = QStringLiteral("audio/x-raw");
        QTest::newRow("unwritable path") << QStringLiteral("path") << QString() << false;
        QTest::newRow("server gone") << QStringLiteral("gone") << raw << false;
        QTest::newRow("server killed meanwhile") << QStringLiteral("killed") << QString() << false;
        QTest::newRow("killed and restarted by its signal") << QStringLiteral("killed") << QString() << true;
        QTest::newRow("killed and restarted by its signal, raw") << QStringLiteral("killed") << raw << true;
    }

    void faultsAreToldAndEndNothingElse()
    {
        QFETCH(QString, fault);
        QFETCH(QString, codec);
        QFETCH(bool, isRestarted);
        AudioRecorder recorder;
        recorder.setCodec(codec);
        const bool isUnwritable = fault == QStringLiteral("path");
        recorder.setOutputLocation(isUnwritable ? folder.filePath(QStringLiteral("none/take")) : out());
        if (fault == QStringLiteral("gone"))
            server->kill();
        recorder.startRecord();
        int restarts = 0;
        bool hasOutlivedItsSignal = !isRestarted;
        if (fault == QStringLiteral("killed")) {
            QVERIFY(hears(recorder));
            QCOMPARE(recorder.lastError(), QString());
            if (isRestarted) {
                connect(
                    recorder.backEnd(), qOverload<QMediaRecorder::Error>(&QMediaRecorder::error), this, [&] {
                        if (restarts++ != 0)
                            return;
                        const QPointer<const QAudioRecorder> failed(recorder.backEnd());
                        recorder.stopRecord(); // in case that the error leaves it running
                        recorder.startRecord();
                        hasOutlivedItsSignal = failed && failed != recorder.backEnd();
                    });
            }
            server->kill();
        }
        const bool isTold = QTest::qWaitFor(
            [&] { return !recorder.lastError().isEmpty() && restarts >= int(isRestarted); }, 20'000);
        const bool hasEnded = QTest::qWaitFor([&] { return !recorder.isRecording(); }, 20'000);
        recorder.stopRecord();
        const bool isClosed = recorder.waitForClosed();
        if (!isUnwritable)
            QVERIFY(startServer());
        QVERIFY(isTold && hasEnded && isClosed && hasOutlivedItsSignal);
        QVERIFY(lines.join(QLatin1Char('\n')).contains(recorder.lastError()));
        QVERIFY(isRestarted || QSet<QString>(lines.begin(), lines.end()).size() == lines.size());

        // The same object records again, and has forgotten the error.
        const double hertz = sound::hertz(record(recorder));
        QVERIFY2(std::abs(hertz - 1000) <= 2, qPrintable(QString::number(hertz)));
        QCOMPARE(recorder.lastError(), QString());
    }

    void meterHearsItsMicrophoneUntilThatStops()
    {
        AudioInfo meter;
        const auto hearsPeak = [&](double peak) {
            return QTest::qWaitFor([&] { return std::abs(meter.peak(0) - peak) < 0.02; }, 10'000);
        };
        QVERIFY(meter.listen());
        QVERIFY(hearsPeak(0.5));
        QVERIFY(meter.listen(SoundServer::microphone(headSink)));
        QVERIFY(hearsPeak(0.25) && meter.isListening());
        // One that only pauses.
        QVERIFY(SoundServer::suspend(headSink, true));
        QVERIFY(hearsPeak(0));
        QTRY_VERIFY(!meter.lastError().isEmpty() && !meter.isListening());
        QVERIFY(SoundServer::suspend(headSink, false));
        QVERIFY(hearsPeak(0.25));
        QVERIFY(meter.lastError().isEmpty() && meter.isListening());
        QSignalSpy updates(&meter, &AudioInfo::update);
        server->kill();
        const bool isSilent = hearsPeak(0);
        QVERIFY(startServer());
        QVERIFY(isSilent && !meter.lastError().isEmpty() && !meter.isListening() && !updates.isEmpty());
        QTRY_VERIFY(meter.listen(SoundServer::microphone(headSink)));
        QVERIFY(hearsPeak(0.25));
    }

    void rawSoundIsNeverLeftToTheBackEndsContainer()
    {
        using soundsource::encodingFor;
        const QStringList codecs{QStringLiteral("audio/x-flac"), QStringLiteral("audio/x-raw")};
        const QStringList wav{QStringLiteral("audio/x-wav")};
        for (const char *raw : {"audio/pcm", "audio/x-raw"}) {
            const auto encoding = encodingFor(codecs, wav, QLatin1String(raw));
            QCOMPARE(encoding.codec + encoding.container, QStringLiteral("audio/x-rawaudio/x-wav"));
            QVERIFY(encodingFor(codecs, {}, QLatin1String(raw)).codec.isEmpty());
            QVERIFY(!encodingFor({}, wav, QLatin1String(raw)).isKnown);
        }
    }

private:
    QString out() const { return folder.filePath(QStringLiteral("take")); }

    bool startServer()
    {
        return server->start() && server->play(deskSink, SoundServer::tone(1000.0, 300.0))
            && server->play(headSink, SoundServer::tone(440.0, 300.0, 0.25));
    }

    static bool hears(const AudioRecorder &recorder, qint64 ms = 400)
    {
        return QTest::qWaitFor([&] { return recorder.backEnd()->duration() >= ms; }, 20'000);
    }

    std::vector<float> record(AudioRecorder &recorder)
    {
        recorder.setOutputLocation(out());
        recorder.startRecord();
        const bool hasSound = hears(recorder, 600);
        metered = recorder.meter() ? recorder.meter()->peak(0) : 0;
        recorder.stopRecord();
        return recorder.waitForClosed() && hasSound ? sound::samplesIn(out()) : std::vector<float>();
    }

    std::unique_ptr<SoundServer> server;
    QTemporaryDir folder;
    QStringList lines;
    double metered = 0; // the peak while record() ran
};

QTEST_GUILESS_MAIN(AudioRecorderTest)
#include "tst_audiorecorder.moc"
