#include "recording/frametimelogreader.h"
#include "support/frames.h"

#include <QtTest>

#include <csignal>

namespace {

struct Outcome
{
    int exitCode = -1;
    QString output; // both channels
};

} // namespace

// The recording program as its user runs it.
class VtRecordTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(folder.isValid());
        QVERIFY(frames::writeVideo(source(), 50, 25.0));
    }

    void recordsExactlyWhatWasAskedFor()
    {
        const QString out = folder.filePath(QStringLiteral("new folder/take.avi"));
        const Outcome run = vtRecord({QStringLiteral("--source"), source(), QStringLiteral("--seconds"),
            QStringLiteral("1"), QStringLiteral("--rate"), QStringLiteral("20"), QStringLiteral("--out"), out,
            QStringLiteral("--frame-log"), QStringLiteral("--rotate"), QStringLiteral("0")});
        QVERIFY2(run.exitCode == 0, qPrintable(run.output));
        const QVector<int> numbers = frames::numbersIn(out);
        QCOMPARE(numbers.size(), 20);
        QVERIFY(std::count_if(numbers.begin(), numbers.end(), [](int n) { return n >= 0 && n < 50; }) == 20);
        QVERIFY(run.output.contains(QStringLiteral("20 frames at 20 Hz")));
        QVERIFY(run.output.contains(QStringLiteral("ffmpeg works")));
        FrameTimeLogReader log;
        QVERIFY(log.open(folder.filePath(QStringLiteral("new folder/take.log"))));
        QCOMPARE(log.count(), 20);
    }

    void cutAndPlainCopyGiveTheNamedFrames()
    {
        const QString out = folder.filePath(QStringLiteral("cut.avi"));
        const Outcome run = vtRecord({QStringLiteral("--source"), source(), QStringLiteral("--seconds"),
            QStringLiteral("1"), QStringLiteral("--out"), out, QStringLiteral("--cut"),
            QStringLiteral("5:14"), QStringLiteral("--no-ffmpeg")});
        QVERIFY2(run.exitCode == 0, qPrintable(run.output));
        QCOMPARE(frames::numbersIn(out).size(), 10);
    }

    void faultsEndWithAMessage_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        const auto row = [](const char *name, const char *arguments, const char *message) {
            QTest::newRow(name) << QString::fromLatin1(arguments).split(QLatin1Char(' '))
                                << QString::fromLatin1(message);
        };
        row("unknown option", "--nonsense", "nonsense");
        row("rate", "--rate fast", "--rate takes a number");
        row("rate 0", "--rate 0", "--rate takes a number");
        row("cut", "--cut 9:3", "--cut takes");
        row("flip", "--flip 4", "--flip takes");
        row("stray argument", "take.avi", "unknown argument");
        row("no such file", "--source /nowhere/clip.avi", "there is no file");
        row("no frame in time", "--source rtsp://127.0.0.1:9/x", "gave no frame within");
        row("folder", "--source SOURCE --out SOURCE/take.avi", "cannot be written");
        row("own source", "--source SOURCE --out SOURCE", "would be overwritten");
        row("no ffmpeg", "NOPATH --source SOURCE", "ffmpeg is not installed");
    }

    void faultsEndWithAMessage()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        arguments.replaceInStrings(QStringLiteral("SOURCE"), source());
        const bool noPath = arguments.removeAll(QStringLiteral("NOPATH")) > 0;
        const Outcome run = vtRecord(arguments, noPath);
        QVERIFY(run.exitCode > 0);
        QVERIFY2(run.output.contains(message), qPrintable(run.output));
        QCOMPARE(frames::numbersIn(source()).size(), 50);
    }

    void interruptFinishesTheRecording()
    {
#ifdef Q_OS_UNIX
        const QString out = folder.filePath(QStringLiteral("interrupted.avi"));
        QProcess program;
        program.setProcessChannelMode(QProcess::MergedChannels);
        program.start(QStringLiteral(VT_RECORD),
            {QStringLiteral("--source"), source(), QStringLiteral("--seconds"), QStringLiteral("600"),
                QStringLiteral("--out"), out});
        QByteArray output;
        QTRY_VERIFY2_WITH_TIMEOUT(
            (output += program.readAll()).contains("frame 20 of"), output.constData(), 30'000);
        kill(pid_t(program.processId()), SIGINT);
        QVERIFY(program.waitForFinished(30'000));
        QCOMPARE(program.exitCode(), 0);
        QVERIFY(frames::numbersIn(out).size() >= 20);
#else
        QSKIP("sends a signal");
#endif
    }

private:
    QString source() const
    {
        return folder.filePath(QStringLiteral("source.avi"));
    }

    Outcome vtRecord(const QStringList &arguments, bool withoutPath = false) const
    {
        QProcess program;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (withoutPath)
            environment.insert(QStringLiteral("PATH"), folder.path());
        program.setProcessEnvironment(environment);
        program.setWorkingDirectory(folder.path());
        program.setProcessChannelMode(QProcess::MergedChannels);
        program.start(QStringLiteral(VT_RECORD), arguments);
        Outcome outcome;
        if (program.waitForFinished(60'000))
            outcome.exitCode = program.exitStatus() == QProcess::NormalExit ? program.exitCode() : -1;
        outcome.output = QString::fromLocal8Bit(program.readAll());
        return outcome;
    }

    QTemporaryDir folder;
};

QTEST_GUILESS_MAIN(VtRecordTest)
#include "tst_vtrecord.moc"
