#include "ffmpeg/ffmpegprocessor.h"

#include "baselib/globalconsole.h"
#include "support/fakeffmpeg.h"
#include "support/frames.h"
#include "support/metaface.h"

#include <opencv2/imgcodecs.hpp>
#include <QSignalSpy>
#include <QtTest>

namespace {

constexpr int clipFrames = 12;

QStringList debugLines;

void keepDebugLines(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtDebugMsg)
        debugLines << text.trimmed();
    else
        fprintf(stderr, "%s\n", qPrintable(text));
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString makesOutput(const QString &end = QStringLiteral("exit 0"))
{
    return QStringLiteral("echo new > \"$out\"; ") + end;
}

} // namespace

class FFMpegProcessorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
#ifndef Q_OS_UNIX
        QSKIP("The stand-ins for ffmpeg are shell scripts");
#endif
        QVERIFY(frames::writeVideo(clip(), clipFrames));
    }

    void init()
    {
        dir = std::make_unique<QTemporaryDir>();
    }

    void faceIsAsSettled()
    {
        QCOMPARE(metaface::ofClass(FFMpegProcessor::staticMetaObject),
            QStringList({QStringLiteral("signal progress(int,int)"), QStringLiteral("signal started()"),
                QStringLiteral("signal finished()"), QStringLiteral("protected slot ffmpegFinished(int)")}));
    }

    void videoInfoTellsWhatTheFileIs()
    {
        const VideoInfo info = FFMpegProcessor::getVideoInfo(clip());
        QVERIFY(info.isValid);
        QCOMPARE(info.frameCount, clipFrames);
        QCOMPARE(info.frameRate, 25.0);
        QCOMPARE(info.suffix, QStringLiteral("avi"));
        QCOMPARE(info.fileSize, QFileInfo(clip()).size());
        QCOMPARE(QSize(info.width, info.height), QSize(320, 240));

        QFile garbage(path("garbage.avi"));
        QVERIFY(garbage.open(QIODevice::WriteOnly) && garbage.write(QByteArray(5000, 'x')) == 5000);
        garbage.close();
        for (const QString &file : {garbage.fileName(), path("missing.avi"), dir->path()}) {
            const VideoInfo none = FFMpegProcessor::getVideoInfo(file);
            QVERIFY2(!none.isValid && none.suffix.isEmpty() && none.fileSize == 0, qPrintable(file));
        }
    }

    void commandLine_data()
    {
        QTest::addColumn<QStringList>("job"); // input, output; a join has the audio between them
        QTest::addColumn<QStringList>("present"); // files beside the input
        QTest::addColumn<QString>("arguments"); // none: nothing is started
        QTest::addColumn<bool>("result");
        const auto row = [](const char *name, const QString &job, const QString &present,
                             const QString &arguments, bool result = true) {
            QTest::newRow(name) << job.split(QLatin1Char(' '))
                                << present.split(QLatin1Char(' '), Qt::SkipEmptyParts) << arguments << result;
        };
        const QString none;
        row("convert", "a.avi b.mp4", "a.avi", "-i a.avi b.mp4");
        row("convert onto a file", "a.avi b.mp4", "a.avi b.mp4", "-i a.avi b.mp4 -y");
        row("optimize", "a.avi a.avi", "a.avi", "-i a.avi a_temp.avi");
        row("optimize with an old side file", "a.avi a.avi", "a.avi a_temp.avi", "-i a.avi a_temp.avi -y");
        row("other letter case", "a.avi A.avi", "a.avi", "-i a.avi A_temp.avi");
        row("suffix in other letter case", "a.avi a.AVI", "a.avi", "-i a.avi a.AVI");
        row("other spelling of one file", "a.avi ./a.avi", "a.avi", "-i a.avi ./a_temp.avi");
        row("suffix in the folder's name", "x.avi/a.avi x.avi/a.avi", "x.avi/a.avi",
            "-i x.avi/a.avi x_temp.avi/a_temp.avi");
        row("file without a suffix", "clip clip", "clip", "-i clip clip_temp");
        row("convert of nothing", "a.avi b.mp4", "b.mp4", none, false);
        row("join", "a.avi a.wav b.mp4", "a.avi a.wav", "-i a.avi -i a.wav b.mp4");
        row("join onto a file", "a.avi a.wav b.mp4", "a.avi a.wav b.mp4", "-i a.avi -i a.wav b.mp4");
        row("join in place", "a.avi a.wav a.avi", "a.avi a.wav a_temp.avi", "-i a.avi -i a.wav a_temp.avi");
        row("join without its audio", "a.avi a.wav b.mp4", "a.avi", none, true);
        row("join without its video", "a.avi a.wav b.mp4", "a.wav", none, false);
    }

    void commandLine()
    {
        QFETCH(QStringList, job);
        QFETCH(QStringList, present);
        QFETCH(QString, arguments);
        QFETCH(bool, result);
        FakeFFMpeg ffmpeg(QStringLiteral("exit 1"));
        for (const QString &file : present)
            place(file);
        for (QString &file : job)
            file = path(file);

        FFMpegProcessor processor;
        QSignalSpy finished(&processor, &FFMpegProcessor::finished);
        if (arguments.isEmpty()) {
            QTest::ignoreMessage(
                QtDebugMsg, job.size() == 3 ? "Invalid video and audio" : "STARTING FFMPEG CONVERTION false");
        }
        QCOMPARE(start(processor, job), result);
        QCOMPARE(processor.isRunning(), !arguments.isEmpty());
        if (processor.isRunning())
            QVERIFY(finished.wait());
        QCOMPARE(finished.count(), arguments.isEmpty() ? 0 : 1);
        QStringList expected = arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        for (QString &argument : expected) {
            if (!argument.startsWith(QLatin1Char('-')))
                argument = path(argument);
        }
        QCOMPARE(ffmpeg.calls(), expected.isEmpty() ? QList<QStringList>() : QList<QStringList>{expected});
    }

    void endOfAJob_data()
    {
        QTest::addColumn<QStringList>("job");
        QTest::addColumn<QString>("commands");
        QTest::addColumn<QStringList>("left"); // file=new or file=old
        QTest::addColumn<QString>("lastLines"); // debug lines behind "FFMPEG finished here"
        const auto row = [](const char *name, const QString &job, const QString &commands,
                             const QString &left, const QString &lastLines = {}) {
            QTest::newRow(name) << job.split(QLatin1Char(' ')) << commands << left.split(QLatin1Char(' '))
                                << lastLines;
        };
        const QString convert = QStringLiteral("a.avi b.mp4");
        const QString optimize = QStringLiteral("a.avi a.avi");
        const QString join = QStringLiteral("a.avi a.wav b.mp4");
        const QString swapped = QStringLiteral("Removed FD \"a.avi\" true|"
                                               "Rename FD \"a_temp.avi\" -> \"a.avi\" true");
        row("convert, 0", convert, makesOutput(), "b.mp4=new", "Removed \"a.avi\" true");
        row("convert, 1", convert, makesOutput("exit 1"), "a.avi=old b.mp4=new");
        row("convert, killed", convert, makesOutput("kill -9 $$"), "a.avi=old b.mp4=new");
        row("convert, input lost meanwhile", convert, makesOutput("rm \"$2\"; exit 0"), "b.mp4=new",
            "Removed \"a.avi\" false");
        row("optimize, 0", optimize, makesOutput(), "a.avi=new", swapped);
        row("optimize, 1", optimize, makesOutput("exit 1"), "a.avi=old a_temp.avi=new");
        row("optimize, killed", optimize, makesOutput("kill -15 $$"), "a.avi=old a_temp.avi=new");
        row("optimize, 0 without a side file", optimize, "exit 0", "a.avi=old",
            "Removed FD \"a.avi\" false|Rename FD \"a_temp.avi\" -> \"a.avi\" false");
        row("join, 0", join, makesOutput(), "b.mp4=new", "Removed \"a.avi\" true");
        row("join, 1", join, makesOutput("exit 1"), "a.avi=old a.wav=old b.mp4=new");
        row("join in place, 0", "a.avi a.wav a.avi", makesOutput(), "a.avi=new", swapped);
    }

    void endOfAJob()
    {
        QFETCH(QStringList, job);
        QFETCH(QString, commands);
        QFETCH(QStringList, left);
        QFETCH(QString, lastLines);
        FakeFFMpeg ffmpeg(commands);
        place(QStringLiteral("a.avi"));
        if (job.size() == 3)
            place(QStringLiteral("a.wav"));
        for (QString &file : job)
            file = path(file);

        debugLines.clear();
        const QtMessageHandler former = qInstallMessageHandler(keepDebugLines);
        FFMpegProcessor processor;
        QSignalSpy finished(&processor, &FFMpegProcessor::finished);
        bool runsAtTheEnd = true;
        connect(&processor, &FFMpegProcessor::finished, [&] { runsAtTheEnd = processor.isRunning(); });
        const bool begun = start(processor, job) && (finished.wait() || finished.count() > 0);
        qInstallMessageHandler(former);

        QVERIFY(begun);
        QCOMPARE(finished.count(), 1);
        QVERIFY(!runsAtTheEnd);
        QCOMPARE(processor.hasCrashed(), commands.contains(QLatin1String("kill")));
        QStringList found;
        for (const QString &file : QDir(dir->path()).entryList(QDir::Files)) {
            const bool isOld = contentOf(path(file)) == contentOf(clip());
            found << file + (isOld ? QStringLiteral("=old") : QStringLiteral("=new"));
        }
        QCOMPARE(found, left);

        QStringList lines;
        for (QString line : qAsConst(debugLines))
            lines << line.remove(dir->path() + QLatin1Char('/'));
        const bool inPlace = job.first() == job.last();
        const QString output = inPlace ? QStringLiteral("a_temp.avi") : QStringLiteral("b.mp4");
        QStringList expected;
        if (job.size() == 3) {
            expected << QStringLiteral("STARTING to join true");
        } else {
            expected << QStringLiteral("FFMPEG (\"-i\", \"a.avi\", \"%1\") frames 12").arg(output)
                     << QStringLiteral("STARTING FFMPEG CONVERTION true");
        }
        expected << QStringLiteral("FFMPEG finished here %1 \"%2\" \"a.avi\" \"%3\"")
                        .arg(processor.exitCode())
                        .arg(inPlace ? QStringLiteral("a.avi") : QString(), output)
                 << lastLines.split(QLatin1Char('|'), Qt::SkipEmptyParts);
        QCOMPARE(lines, expected);
    }

    void missingProgramEndsTheJobAndTouchesNoFile()
    {
        QStringList console;
        GlobalConsole::setSink([&](const QString &text, const QDateTime &) { console << text; });
        const auto restore = qScopeGuard([] { GlobalConsole::setSink({}); });
        FakeFFMpeg ffmpeg(makesOutput());
        ffmpeg.vanish();
        place(QStringLiteral("a.avi"));

        FFMpegProcessor processor;
        QSignalSpy finished(&processor, &FFMpegProcessor::finished);
        QSignalSpy started(&processor, &FFMpegProcessor::started);
        QVERIFY(processor.convert(path("a.avi"), path("b.mp4")));
        QCOMPARE(finished.count(), 0);
        QVERIFY(finished.wait());
        QCoreApplication::processEvents();
        QCOMPARE(finished.count(), 1);
        QCOMPARE(started.count(), 0);
        QVERIFY(!processor.isRunning());
        QCOMPARE(processor.exitCode(), -1);
        QVERIFY(!processor.lastText().isEmpty());
        QCOMPARE(console.size(), 1);
        QVERIFY(console.first().startsWith(QLatin1String("ffmpeg cannot be started: ")));
        QCOMPARE(QDir(dir->path()).entryList(QDir::Files), QStringList(QStringLiteral("a.avi")));

        ffmpeg.setCommands(makesOutput());
        QVERIFY(processor.convert(path("a.avi"), path("b.mp4")));
        QVERIFY(finished.wait());
        QCOMPARE(started.count(), 1);
        QCOMPARE(processor.exitCode(), 0);
        QVERIFY(processor.lastText().isEmpty());
    }

    void questionGetsNoAnswerButAnEnd()
    {
        FakeFFMpeg ffmpeg(QStringLiteral("if read answer; then exit 0; else exit 7; fi"));
        place(QStringLiteral("a.avi"));
        place(QStringLiteral("a.wav"));
        FFMpegProcessor processor;
        QSignalSpy finished(&processor, &FFMpegProcessor::finished);
        QVERIFY(processor.joinVideoAndAudio(path("a.avi"), path("a.wav"), path("b.avi")));
        QVERIFY(finished.wait());
        QCOMPARE(processor.exitCode(), 7);
        QVERIFY(processor.convert(path("a.avi"), path("b.avi")));
        QVERIFY(finished.wait());
        QCOMPARE(processor.exitCode(), 7);
    }

    void progressIsReadFromTheStartOfAChunk_data()
    {
        QTest::addColumn<QString>("chunk");
        QTest::addColumn<QList<int>>("expected");
        const QList<int> nothing;
        QTest::newRow("as ffmpeg writes it") << "frame=   12 fps=0.0 q=2.0 size=1kB    \\r" << QList<int>{12};
        QTest::newRow("five digits") << "frame=12345 fps=25" << QList<int>{12345};
        QTest::newRow("six digits lose the last") << "frame=123456 fps=25" << QList<int>{12345};
        QTest::newRow("shortest") << "frame=   12" << QList<int>{12};
        QTest::newRow("ten characters") << "frame=  12" << nothing;
        QTest::newRow("eight characters") << "frame=12" << nothing;
        QTest::newRow("no number") << "frame= none of it" << QList<int>{0};
        QTest::newRow("other letter case") << "Frame=   12 fps=0.0" << nothing;
        QTest::newRow("later in the chunk") << "Output #0\\nframe=   12 fps=0.0" << nothing;
        QTest::newRow("two in a chunk") << "frame=   12 fps=0.0\\rframe=   13 fps=0.0" << QList<int>{12};
    }

    void progressIsReadFromTheStartOfAChunk()
    {
        QFETCH(QString, chunk);
        QFETCH(QList<int>, expected);
        FakeFFMpeg ffmpeg(QStringLiteral("printf '%1' >&2; echo said; exit 1").arg(chunk));
        FFMpegProcessor processor;
        QSignalSpy progress(&processor, &FFMpegProcessor::progress);
        QSignalSpy finished(&processor, &FFMpegProcessor::finished);
        QTest::ignoreMessage(QtDebugMsg, "output:  \"said\\n\"");
        QVERIFY(processor.convert(clip(), path("b.avi")));
        QVERIFY(finished.wait());
        QList<int> reported;
        for (const QList<QVariant> &arguments : qAsConst(progress)) {
            reported << arguments.at(0).toInt();
            QCOMPARE(arguments.at(1).toInt(), clipFrames);
        }
        QCOMPARE(reported, expected);
    }

    void inputOfUnknownLengthGivesNoProgress()
    {
        const QString raw = path(QStringLiteral("raw.mjpeg"));
        QFile file(raw);
        QVERIFY(file.open(QIODevice::WriteOnly));
        for (int i = 0; i < 5; ++i) {
            std::vector<uchar> jpeg;
            QVERIFY(cv::imencode(".jpg", frames::numbered(i), jpeg));
            file.write(reinterpret_cast<const char *>(jpeg.data()), qint64(jpeg.size()));
        }
        file.close();
        FakeFFMpeg ffmpeg(QStringLiteral("printf 'frame=    3 fps=0.0' >&2; exit 0"));
        FFMpegProcessor processor;
        QSignalSpy progress(&processor, &FFMpegProcessor::progress);
        QSignalSpy finished(&processor, &FFMpegProcessor::finished);
        QVERIFY(processor.convert(raw, path("b.avi")));
        QVERIFY(finished.wait());
        QCOMPARE(progress.count(), 0);
        QVERIFY(!QFile::exists(raw));
    }

    void floodOnBothChannelsIsDrainedAndTheLastLinesAreKept()
    {
        FakeFFMpeg ffmpeg(
            QStringLiteral("head -c 3000000 /dev/zero | tr '\\0' x\n"
                           "head -c 3000000 /dev/zero | tr '\\0' y >&2; echo >&2\n"
                           "for i in $(seq 1 30); do echo \"line $i\" >&2; done\n"
                           "for i in $(seq 1 500); do printf 'frame=%5d fps=25\\r' $i >&2; done\n"
                           "printf 'the\\r\\nreason' >&2; exit 1"));
        const QtMessageHandler former = qInstallMessageHandler(keepDebugLines);
        FFMpegProcessor processor;
        QSignalSpy finished(&processor, &FFMpegProcessor::finished);
        const bool begun = processor.convert(clip(), path("b.avi")) && finished.wait(30'000);
        qInstallMessageHandler(former);
        QVERIFY(begun);
        QStringList expected;
        for (int i = 13; i <= 30; ++i)
            expected << QStringLiteral("line %1").arg(i);
        expected << QStringLiteral("the") << QStringLiteral("reason");
        QCOMPARE(processor.lastText(), expected.join(QLatin1Char('\n')));
    }

    void nextJobMayBeStartedFromTheEndOfTheLast()
    {
        FakeFFMpeg ffmpeg(makesOutput());
        place(QStringLiteral("a.avi"));
        place(QStringLiteral("b.avi"));
        FFMpegProcessor processor;
        QSignalSpy finished(&processor, &FFMpegProcessor::finished);
        const auto startNext = [&] {
            disconnect(&processor, &FFMpegProcessor::finished, this, nullptr);
            QVERIFY(processor.convert(path("b.avi"), path("b.mp4")));
        };
        connect(&processor, &FFMpegProcessor::finished, this, startNext);
        QVERIFY(processor.convert(path("a.avi"), path("a.mp4")));
        QTRY_COMPARE(finished.count(), 2);
        QVERIFY(!processor.isRunning());
        QCOMPARE(QDir(dir->path()).entryList(QDir::Files), QStringList({"a.mp4", "b.mp4"}));
    }

    void destructionEndsTheChildAndKeepsTheInput_data()
    {
        QTest::addColumn<QString>("commands");
        QTest::newRow("child that obeys") << makesOutput("exec sleep 100");
        QTest::newRow("child that ends with success when told to")
            << makesOutput("trap 'exit 0' TERM; while :; do sleep 0.02; done");
        QTest::newRow("child that ignores") << makesOutput("trap '' TERM; while :; do sleep 0.02; done");
    }

    void destructionEndsTheChildAndKeepsTheInput()
    {
        QFETCH(QString, commands);
        FakeFFMpeg ffmpeg(commands);
        place(QStringLiteral("a.avi"));
        auto processor = std::make_unique<FFMpegProcessor>();
        bool told = false;
        connect(processor.get(), &FFMpegProcessor::finished, [&] { told = true; });
        QVERIFY(processor->convert(path("a.avi"), path("b.avi")));
        QTRY_VERIFY(contentOf(path("b.avi")) == "new\n");
        const qint64 child = ffmpeg.lastPid();
        QVERIFY(FakeFFMpeg::processExists(child));
        processor.reset();
        QVERIFY(!FakeFFMpeg::processExists(child));
        QVERIFY(!told);
        QCOMPARE(contentOf(path("a.avi")), contentOf(clip()));
    }

    void cancelKeepsTheInputAndRemovesTheOutput_data()
    {
        QTest::addColumn<QString>("job");
        QTest::addColumn<QString>("commands");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("left"); // file=new or file=old
        const QString loop = QStringLiteral("touch \"$dir/ready\"; while :; do sleep 0.02; done");
        QTest::newRow("child that obeys")
            << "a.avi b.mp4" << makesOutput("touch \"$dir/ready\"; exec sleep 100") << 15 << "a.avi=old";
        QTest::newRow("child that ends with success when told to")
            << "a.avi b.mp4" << makesOutput("trap 'exit 0' TERM; " + loop) << 255 << "a.avi=old";
        QTest::newRow("child that ignores")
            << "a.avi a.avi" << makesOutput("trap '' TERM; " + loop) << 9 << "a.avi=old";
        QTest::newRow("join") << "a.avi a.wav b.mp4" << makesOutput("trap 'exit 1' TERM; " + loop) << 1
                              << "a.avi=old a.wav=old";
        QTest::newRow("older file overwritten")
            << "a.avi b.mp4 -y" << makesOutput("trap 'exit 1' TERM; " + loop) << 1 << "a.avi=old";
        QTest::newRow("older file untouched") << "a.avi b.mp4 -y"
                                              << "trap 'exit 1' TERM; " + loop << 1 << "a.avi=old b.mp4=old";
        QTest::newRow("link to elsewhere") << "a.avi link.mp4" << makesOutput("trap 'exit 1' TERM; " + loop)
                                           << 1 << "a.avi=old"; // and no target of it
    }

    void cancelKeepsTheInputAndRemovesTheOutput()
    {
        QFETCH(QString, job);
        QFETCH(QString, commands);
        QFETCH(int, exitCode);
        QFETCH(QString, left);
        FakeFFMpeg ffmpeg(commands);
        QStringList files = job.split(QLatin1Char(' '));
        place(files.first());
        if (files.removeAll(QStringLiteral("-y")) > 0)
            place(files.last());
        if (files.size() == 3)
            place(files.at(1));
        QVERIFY(QFile::link(path("target.mp4"), path("link.mp4")));
        for (QString &file : files)
            file = path(file);

        FFMpegProcessor processor;
        QSignalSpy finished(&processor, &FFMpegProcessor::finished);
        processor.cancel(); // of nothing
        QVERIFY(start(processor, files) && !processor.wasCancelled());
        QTRY_VERIFY(ffmpeg.hasFile(QStringLiteral("ready")));
        processor.cancel();
        processor.cancel();
        QVERIFY(processor.wasCancelled() && processor.isRunning());
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 30'000);
        QCOMPARE(processor.exitCode(), exitCode);
        QVERIFY(!FakeFFMpeg::processExists(ffmpeg.lastPid()));
        QStringList found;
        for (const QString &file : QDir(dir->path()).entryList(QDir::Files)) {
            found << file
                    + (contentOf(path(file)) == contentOf(clip()) ? QStringLiteral("=old")
                                                                  : QStringLiteral("=new"));
        }
        QCOMPARE(found.join(QLatin1Char(' ')), left);

        if (exitCode == 255) { // the kill that waited is not meant for the next child
            ffmpeg.setCommands(QStringLiteral("sleep 4; exit 0"));
            QVERIFY(start(processor, files) && !processor.wasCancelled());
            QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 2, 30'000);
            QVERIFY(processor.exitCode() == 0 && !processor.hasCrashed());
        }
    }

private:
    QString clip() const
    {
        return store.filePath(QStringLiteral("clip.avi"));
    }
    QString path(const QString &name) const
    {
        return dir->path() + QLatin1Char('/') + name;
    }

    // Every file is the clip, so that any of them may serve as a video.
    void place(const QString &name)
    {
        QDir().mkpath(QFileInfo(path(name)).path());
        QVERIFY(QFile::copy(clip(), path(name)));
    }

    static bool start(FFMpegProcessor &processor, const QStringList &job)
    {
        if (job.size() == 3)
            return processor.joinVideoAndAudio(job.at(0), job.at(1), job.at(2));
        return job.at(0) == job.at(1) ? processor.optimize(job.at(0))
                                      : processor.convert(job.at(0), job.at(1));
    }

    QTemporaryDir store;
    std::unique_ptr<QTemporaryDir> dir;
};

QTEST_GUILESS_MAIN(FFMpegProcessorTest)

#include "tst_ffmpegprocessor.moc"
