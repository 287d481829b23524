#include "recording/frametimelogreader.h"
#include "support/frames.h"

#include <QtTest>

#include <csignal>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace {

struct Outcome
{
    int exitCode = -1;
    QString output; // both channels
};

// Leads a process group of its own, as a program does that a shell starts, whatever the test was started by.
class ProgramGroup : public QProcess
{
protected:
    void setupChildProcess() override
    {
#ifdef Q_OS_UNIX
        setpgid(0, 0);
        for (const int number : {SIGINT, SIGTERM, SIGHUP})
            std::signal(number, SIG_DFL);
#endif
    }
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
        QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("folder.avi")) && QDir(folder.path()).mkdir(home()));
        QFile text(folder.filePath(QStringLiteral("text.mp4")));
        QVERIFY(text.open(QFile::WriteOnly) && text.write("no video") > 0);
        QVERIFY(QFile(folder.filePath(QStringLiteral("empty.avi"))).open(QFile::WriteOnly));
    }

    void recordsExactlyWhatWasAskedFor()
    {
        const QString out = folder.filePath(QStringLiteral("new folder/take.mkv"));
        const Outcome run =
            vtRecord({source(), QStringLiteral("--seconds"), QStringLiteral("1"), QStringLiteral("--rate"),
                QStringLiteral("20"), QStringLiteral("--out"), out, QStringLiteral("--frame-log"),
                QStringLiteral("--rotate"), QStringLiteral("0"), QStringLiteral("--password=x")});
        QVERIFY2(run.exitCode == 0, qPrintable(run.output));
        const QVector<int> numbers = frames::numbersIn(out);
        QCOMPARE(numbers.size(), 20);
        QVERIFY(std::count_if(numbers.begin(), numbers.end(), [](int n) { return n >= 0 && n < 50; }) == 20);
        QVERIFY(run.output.contains(QStringLiteral("20 frames at 20 Hz")));
        QVERIFY(run.output.contains(QStringLiteral("ffmpeg works")));
        FrameTimeLogReader log;
        QVERIFY(log.open(folder.filePath(QStringLiteral("new folder/take.log"))));
        QCOMPARE(log.count(), 20);
        // Neither the password nor the temporary folder is left.
        QCOMPARE(namesIn(home()), QStringList());
        QCOMPARE(namesIn(folder.filePath(QStringLiteral("new folder"))),
            QStringList({QStringLiteral("take.log"), QStringLiteral("take.mkv")}));
        for (const QString &line : run.output.split(QRegularExpression(QStringLiteral("[\r\n]"))))
            QVERIFY2(!line.contains(QRegularExpression(QStringLiteral("frame \\d+ of \\d+ *[^\\d\\s]"))),
                qPrintable(line));
    }

    void cutAndPlainCopyGiveTheNamedFrames()
    {
        const QString out = folder.filePath(QStringLiteral("cut.mkv"));
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
        row("two sources", "SOURCE SOURCE", "unknown argument");
        row("no such file", "/nowhere/clip.mkv", "there is no file");
        row("folder as source", "FOLDER/folder.avi", "is a folder");
        row("empty source", "FOLDER/empty.avi", "is empty");
        row("no video", "FOLDER/text.mp4", "holds no picture");
        row("no rtsp", "http://127.0.0.1/clip.mp4", "must begin with rtsp");
        row("no suffix", "SOURCE --out FOLDER/take", "has no suffix");
        row("unknown suffix", "SOURCE --out FOLDER/take.xyz", "suffix .xyz");
        row("suffix of a copy", "SOURCE --out FOLDER/take.webm --no-ffmpeg", "suffix .webm");
        row("temporary folder", "SOURCE --temp SOURCE/temp", "cannot be written");
        row("no frame in time", "--source rtsp://127.0.0.1:9/x", "gave no frame within");
        row("folder", "--source SOURCE --out SOURCE/take.mkv", "cannot be written");
        row("own source", "--source SOURCE --out SOURCE", "would be overwritten");
        row("no ffmpeg", "NOPATH --source SOURCE", "ffmpeg is not installed");
    }

    void faultsEndWithAMessage()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        arguments.replaceInStrings(QStringLiteral("SOURCE"), source());
        arguments.replaceInStrings(QStringLiteral("FOLDER"), folder.path());
        const bool noPath = arguments.removeAll(QStringLiteral("NOPATH")) > 0;
        const Outcome run = vtRecord(arguments, noPath);
        QVERIFY(run.exitCode > 0);
        QVERIFY2(run.output.contains(message), qPrintable(run.output));
        QVERIFY2(
            !QFile::exists(folder.filePath(QStringLiteral(".vt-record"))), "the temporary folder is left");
        QCOMPARE(frames::numbersIn(source()).size(), 50);
    }

    void signalsFinishTheRecording_data()
    {
        QTest::addColumn<int>("number");
        QTest::addColumn<QByteArray>("moment");
        QTest::addColumn<int>("exitCode");
#ifdef Q_OS_UNIX
        QTest::newRow("interrupt") << SIGINT << QByteArray("frame 20 of") << 0;
        QTest::newRow("hang-up") << SIGHUP << QByteArray("frame 20 of") << 0;
        QTest::newRow("interrupt before the first frame") << SIGINT << QByteArray("CAMERA URL") << 130;
#endif
    }

    void signalsFinishTheRecording()
    {
#ifdef Q_OS_UNIX
        QFETCH(int, number);
        QFETCH(QByteArray, moment);
        QFETCH(int, exitCode);
        const QString out = folder.filePath(QStringLiteral("interrupted.mkv"));
        ProgramGroup program;
        prepare(program);
        const QString from = exitCode == 0 ? source() : QStringLiteral("rtsp://127.0.0.1:9/x");
        program.start(QStringLiteral(VT_RECORD),
            {from, QStringLiteral("--seconds"), QStringLiteral("600"), QStringLiteral("--out"), out});
        QByteArray output;
        QTRY_VERIFY2_WITH_TIMEOUT((output += program.readAll()).contains(moment), output.constData(), 30'000);
        kill(-pid_t(program.processId()), number);
        QVERIFY(program.waitForFinished(30'000));
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), exitCode);
        QCOMPARE(frames::numbersIn(out).size() >= 20, exitCode == 0);
#else
        QSKIP("sends a signal");
#endif
    }

private:
    QString source() const
    {
        return folder.filePath(QStringLiteral("source.avi"));
    }

    QString home() const
    {
        return folder.filePath(QStringLiteral("home"));
    }

    static QStringList namesIn(const QString &path)
    {
        return QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    }

    void prepare(QProcess &program, bool withoutPath = false) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home());
        environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("default.debug=true"));
        if (withoutPath)
            environment.insert(QStringLiteral("PATH"), folder.path());
        program.setProcessEnvironment(environment);
        program.setWorkingDirectory(folder.path());
        program.setProcessChannelMode(QProcess::MergedChannels);
    }

    Outcome vtRecord(const QStringList &arguments, bool withoutPath = false) const
    {
        ProgramGroup program;
        prepare(program, withoutPath);
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
