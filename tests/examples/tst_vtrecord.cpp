#include "recording/frametimelogreader.h"
#include "support/frames.h"

#include <QJsonDocument>
#include <QJsonObject>
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
public:
    void signalGroup(int number) const
    {
#ifdef Q_OS_UNIX
        if (processId() > 0)
            ::kill(-pid_t(processId()), number);
#else
        Q_UNUSED(number)
#endif
    }

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
        QVERIFY(frames::writeVideo(largeSource(), 50, 25.0, {1024, 768}));
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
        const Outcome run = vtRecord(arguments, noPath ? folder.path() : QString());
        QVERIFY(run.exitCode > 0);
        QVERIFY2(run.output.contains(message), qPrintable(run.output));
        QVERIFY2(
            !QFile::exists(folder.filePath(QStringLiteral(".vt-record"))), "the temporary folder is left");
        QCOMPARE(frames::numbersIn(source()).size(), 50);
    }

    // ffmpeg says that all is well, and so it counts for the library.
    void videoWithoutAllFramesIsNoSuccess()
    {
#ifdef Q_OS_UNIX
        QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("short")));
        QFile script(folder.filePath(QStringLiteral("short/ffmpeg")));
        QVERIFY(script.open(QFile::WriteOnly));
        script.write(
            "#!/bin/sh\nn=$#\nwhile [ $n -gt 0 ]; do\n  a=$1 n=$((n - 1))\n  shift\n  set -- \"$@\" \"$a\"\n"
            "  [ -z \"$isInput\" ] || set -- \"$@\" -frames:v 4\n  isInput=\n  [ \"$a\" != -i ] || "
            "isInput=1\n"
            "done\nexec "
            + QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).toLocal8Bit() + " \"$@\"\n");
        script.close();
        QVERIFY(script.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
        const QString out = folder.filePath(QStringLiteral("short.mkv"));
        const Outcome run = vtRecord(
            {source(), QStringLiteral("--seconds"), QStringLiteral("1"), QStringLiteral("--out"), out},
            folder.filePath(QStringLiteral("short")));
        QVERIFY2(run.exitCode == 1, qPrintable(run.output));
        QVERIFY2(run.output.contains(out + QStringLiteral(" is not whole: 4 of 25 frames")),
            qPrintable(run.output));
#else
        QSKIP("makes a shell script");
#endif
    }

    // All thirty with VTCV_SIGNALS=30.
    void signalsLoseNothing_data()
    {
        QTest::addColumn<int>("number");
        QTest::addColumn<QByteArray>("moment");
#ifdef Q_OS_UNIX
        const std::pair<int, const char *> numbers[] = {{SIGINT, "INT"}, {SIGTERM, "TERM"},
            { SIGHUP,
                "HUP" }};
        const char *const moments[] = {"CAMERA URL", "Start video", "frame 1 of", "frame 5 of", "frame 12 of",
            "frame 25 of", "Record finished", "ffmpeg works", "ffmpeg frame", "nominal"};
        const int all = int(std::size(numbers) * std::size(moments));
        const int count =
            qEnvironmentVariableIsSet("VTCV_SIGNALS") ? qEnvironmentVariableIntValue("VTCV_SIGNALS") : 5;
        for (int i = 0; i < qMin(all, count); ++i) {
            const int which = i * 7 % all; // a few are spread over both
            const auto &[number, name] = numbers[which % std::size(numbers)];
            const char *const moment = moments[which / std::size(numbers)];
            QTest::addRow("%s at %s", name, moment) << number << QByteArray(moment);
        }
#endif
    }

    void signalsLoseNothing()
    {
#ifdef Q_OS_UNIX
        QFETCH(int, number);
        QFETCH(QByteArray, moment);
        QTemporaryDir videos;
        const QString out = videos.filePath(QStringLiteral("take.mkv"));
        ProgramGroup program;
        const QByteArray output = startSlowly(program,
            {QStringLiteral("--seconds"), QStringLiteral("1"), QStringLiteral("--result"),
                QStringLiteral("--out"), out},
            moment);
        QVERIFY2(output.contains(moment), output.constData());
        program.signalGroup(number);
        QVERIFY(program.state() == QProcess::NotRunning || program.waitForFinished(60'000));
        const QByteArray told = output + program.readAll();
        if (program.exitStatus() == QProcess::NormalExit && program.exitCode() == 0) {
            const int counted = resultBeside(out).value(QStringLiteral("framesCounted")).toInt();
            QVERIFY2(counted > 0, told.constData());
            QCOMPARE(frames::numbersIn(out).size(), counted);
            QCOMPARE(namesIn(videos.path()),
                QStringList({QStringLiteral("take.json"), QStringLiteral("take.mkv")}));
            return;
        }
        for (const QString &folder : {videos.path(), videos.filePath(QStringLiteral(".vt-record"))}) {
            for (const QFileInfo &video : QDir(folder).entryInfoList({QStringLiteral("take*.mkv")}))
                QVERIFY2(told.contains(video.filePath().toLocal8Bit()), told.constData());
        }
#else
        QSKIP("sends a signal");
#endif
    }

    void interruptsAreTold_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<QByteArray>("moment");
        QTest::addColumn<bool>("isKept");
        QTest::newRow("before the first frame")
            << QStringLiteral("rtsp://127.0.0.1:9/x") << QByteArray("CAMERA URL") << false;
        QTest::newRow("again while ffmpeg works") << largeSource() << QByteArray("ffmpeg works") << true;
    }

    void interruptsAreTold()
    {
#ifdef Q_OS_UNIX
        QFETCH(QString, from);
        QFETCH(QByteArray, moment);
        QFETCH(bool, isKept);
        QTemporaryDir videos;
        ProgramGroup program;
        QByteArray output = startSlowly(program,
            {QStringLiteral("--seconds"), QStringLiteral("2"), QStringLiteral("--out"),
                videos.filePath(QStringLiteral("take.mkv"))},
            moment, from);
        program.signalGroup(SIGINT);
        if (isKept) {
            QTRY_VERIFY2_WITH_TIMEOUT(
                (output += program.readAll()).contains("interrupted;"), output.constData(), 30'000);
            program.signalGroup(SIGINT);
        }
        QVERIFY(program.waitForFinished(60'000));
        output += program.readAll();
        QVERIFY2(
            program.exitStatus() == QProcess::NormalExit && program.exitCode() == 130, output.constData());
        const QString kept = videos.filePath(QStringLiteral(".vt-record/take.mkv"));
        QCOMPARE(frames::numbersIn(kept).size(), isKept ? 50 : 0);
        QCOMPARE(output.contains("not delivered") && output.contains(kept.toLocal8Bit()), isKept);
        QVERIFY(!QFile::exists(videos.filePath(QStringLiteral("take.mkv"))));
#else
        QSKIP("sends a signal");
#endif
    }

private:
    QString source() const
    {
        return folder.filePath(QStringLiteral("source.avi"));
    }

    QString largeSource() const
    {
        return folder.filePath(QStringLiteral("large.avi"));
    }

    // What the program has said until it comes to the moment. Its ffmpeg takes some seconds, and hardly any
    // work.
    QByteArray startSlowly(QProcess &program, const QStringList &arguments, const QByteArray &moment,
        const QString &from = {}) const
    {
        prepare(program);
        program.start(QStringLiteral(VT_RECORD),
            QStringList{from.isEmpty() ? largeSource() : from, QStringLiteral("--delivery"),
                QStringLiteral("custom"), QStringLiteral("--encoder"),
                QStringLiteral("-vf realtime=speed=0.3 -c:v libx264 -preset ultrafast")}
                + arguments);
        QByteArray output;
        while (!output.contains(moment) && program.waitForReadyRead(60'000))
            output += program.readAll();
        return output;
    }

    static QJsonObject resultBeside(const QString &video)
    {
        const QFileInfo info(video);
        QFile json(info.dir().filePath(info.completeBaseName() + QStringLiteral(".json")));
        return json.open(QFile::ReadOnly) ? QJsonDocument::fromJson(json.readAll()).object() : QJsonObject();
    }

    QString home() const
    {
        return folder.filePath(QStringLiteral("home"));
    }

    static QStringList namesIn(const QString &path)
    {
        return QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    }

    void prepare(QProcess &program, const QString &path = {}) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home());
        environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("default.debug=true"));
        if (!path.isEmpty())
            environment.insert(QStringLiteral("PATH"), path);
        program.setProcessEnvironment(environment);
        program.setWorkingDirectory(folder.path());
        program.setProcessChannelMode(QProcess::MergedChannels);
    }

    Outcome vtRecord(const QStringList &arguments, const QString &path = {}) const
    {
        ProgramGroup program;
        prepare(program, path);
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
