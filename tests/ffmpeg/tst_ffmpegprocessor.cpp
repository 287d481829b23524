#include "ffmpeg/ffmpegprocessor.h"

#include "support/fakeffmpeg.h"
#include "support/frames.h"
#include "support/host.h"
#include "support/metaface.h"
#include "support/table.h"

#include <opencv2/imgcodecs.hpp>
#include <QSignalSpy>

namespace {

constexpr int clipFrames = 12;

QStringList debugLines;

void keepDebugLines(QtMsgType, const QMessageLogContext &, const QString &text)
{
    debugLines << text.trimmed().remove(QDir::currentPath() + '/');
}

// Commands of a stand-in.
QString makesOutput(const QString &end = "exit 0")
{
    return "echo new > \"$out\"; " + end;
}

// A processor with one job: input, (audio,) output.
struct Job
{
    explicit Job(const QString &job, const RecordingDelivery &delivery = {})
    {
        const bool isPlain = delivery.kind == RecordingDelivery::AsFFMpegChooses;
        const QStringList files = job.split(' ');
        const QString &from = files.first();
        const QString &to = files.last();
        if (files.size() == 3)
            result = isPlain ? processor.joinVideoAndAudio(from, files.at(1), to)
                             : processor.joinVideoAndAudio(from, files.at(1), to, delivery);
        else if (isPlain)
            result = from == to ? processor.optimize(from) : processor.convert(from, to);
        else
            result = processor.convert(from, to, delivery);
    }

    // Once, and when the job runs no more.
    bool ends()
    {
        bool runs = true;
        QObject::connect(&processor, &FFMpegProcessor::finished, [&] { runs = processor.isRunning(); });
        return finished.wait(30'000) && (QCoreApplication::processEvents(), finished.count() == 1) && !runs;
    }

    FFMpegProcessor processor;
    QSignalSpy started{&processor, &FFMpegProcessor::started};
    QSignalSpy progress{&processor, &FFMpegProcessor::progress};
    QSignalSpy finished{&processor, &FFMpegProcessor::finished};
    bool result = false;
};

} // namespace

// Input, (audio,) output; files that are there; arguments, none if nothing is started; the result.
using CommandLines = Table<QString, QString, QString, bool, RecordingDelivery>;
// Commands, exit code, what is left (file=new or file=old), debug lines behind "FFMPEG finished here".
using Ends = Table<QString, QString, int, QString, QString>;
using Chunks = Table<QString, QList<int>>;
// Files of the job, those that are there, commands, exit code, what is left.
using Cancels = Table<QString, QString, QString, int, QString>;

class FFMpegProcessorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
#ifndef Q_OS_UNIX
        QSKIP("The stand-ins for ffmpeg are shell scripts");
#endif
        QVERIFY(frames::writeVideo(stored("clip"), clipFrames));
        // Frames without a container, which holds them in any size and without their number.
        QFile raw(stored("raw"));
        QVERIFY(raw.open(QIODevice::WriteOnly));
        for (int i = 0; i < 5; ++i) {
            std::vector<uchar> jpeg;
            QVERIFY(cv::imencode(".jpg", frames::numbered(i, {321, 240}), jpeg));
            raw.write(reinterpret_cast<const char *>(jpeg.data()), qint64(jpeg.size()));
        }
    }

    void init()
    {
        dir = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir::setCurrent(dir->path()));
    }

    void cleanup()
    {
        QDir::setCurrent(QDir::rootPath());
    }

    void faceIsAsSettled()
    {
        QCOMPARE(metaface::ofClass(FFMpegProcessor::staticMetaObject),
            QStringList({"signal progress(int,int)", "signal started()", "signal finished()",
                "protected slot ffmpegFinished(int)"}));
    }

    void videoInfoTellsWhatTheFileIs()
    {
        place("clip.avi garbage.avi");
        const VideoInfo info = FFMpegProcessor::getVideoInfo("clip.avi");
        QVERIFY(info.isValid && info.frameCount == clipFrames && info.suffix == "avi");
        QCOMPARE(info.frameRate, 25.0);
        QCOMPARE(info.fileSize, QFileInfo("clip.avi").size());
        QCOMPARE(QSize(info.width, info.height), QSize(320, 240));
        QFile garbage("garbage.avi");
        QVERIFY(garbage.open(QIODevice::WriteOnly) && garbage.write(QByteArray(5000, 'x')) == 5000);
        garbage.close();
        for (const char *file : {"garbage.avi", "missing.avi", "."}) {
            const VideoInfo none = FFMpegProcessor::getVideoInfo(file);
            QVERIFY2(!none.isValid && none.suffix.isEmpty() && none.fileSize == 0, file);
        }
    }

    void commandLine_data()
    {
        const CommandLines table;
        const auto row = [&](const char *name, const QString &job, const QString &present,
                             const QString &arguments, bool result = true,
                             const RecordingDelivery &delivery = {}) {
            table(name, job, present, arguments, result, delivery);
        };
        row("convert", "a.avi b.mp4", "a.avi", "-i a.avi b.mp4");
        row("convert onto a file", "a.avi b.mp4", "a.avi b.mp4", "-i a.avi b.mp4 -y");
        row("optimize", "a.avi a.avi", "a.avi", "-i a.avi a_temp.avi");
        row("optimize with an old side file", "a.avi a.avi", "a.avi a_temp.avi", "-i a.avi a_temp.avi -y");
        row("other letter case", "a.avi A.avi", "a.avi", "-i a.avi A_temp.avi");
        row("suffix in other letter case", "a.avi a.AVI", "a.avi", "-i a.avi a.AVI");
        row("other spelling of one file", "a.avi ./a.avi", "a.avi", "-i a.avi ./a_temp.avi");
        row("suffix in a folder", "x.avi/a.avi x.avi/a.avi", "x.avi/a.avi",
            "-i x.avi/a.avi x_temp.avi/a_temp.avi");
        row("file without a suffix", "clip clip", "clip", "-i clip clip_temp");
        row("like a protocol", "pipe:a.avi tee:b.mp4", "pipe:a.avi", "-i pipe:a.avi tee:b.mp4");
        row("convert of nothing", "a.avi b.mp4", "b.mp4", "", false);
        row("join", "a.avi a.wav b.mp4", "a.avi a.wav", "-i a.avi -i a.wav b.mp4");
        row("join onto a file", "a.avi a.wav b.mp4", "a.avi a.wav b.mp4", "-i a.avi -i a.wav b.mp4");
        row("join in place", "a.avi a.wav a.avi", "a.avi a.wav a_temp.avi", "-i a.avi -i a.wav a_temp.avi");
        row("join without its audio", "a.avi a.wav b.mp4", "a.avi", "", true);
        row("join without its video", "a.avi a.wav b.mp4", "a.wav", "", false);
        const RecordingDelivery quality = RecordingDelivery::quality(23, "slow");
        const QString h264 = "-c:v libx264 -preset slow -crf 23 -pix_fmt yuv420p ";
        row("copy", "a.avi b.mkv", "a.avi", "-i a.avi -c copy b.mkv", true, RecordingDelivery::copy());
        row("quality of an odd size", "raw raw", "raw",
            "-i raw " + h264 + "-vf pad=ceil(iw/2)*2:ceil(ih/2)*2 -c:a aac -b:a 192k raw_temp", true,
            quality);
        row("joined quality", "a.avi a.wav b.MP4", "a.avi a.wav",
            "-i a.avi -i a.wav -map 0:v:0 -map 1:a:0 " + h264
                + "-c:a aac -b:a 192k -movflags +faststart b.MP4",
            true, quality);
    }

    void commandLine()
    {
        const auto &[files, present, arguments, result, delivery] = CommandLines::fetch();
        FakeFFMpeg ffmpeg("exit 1");
        place(present);
        const bool isStarted = !arguments.isEmpty();
        if (!isStarted) {
            QTest::ignoreMessage(QtDebugMsg,
                files.count(' ') == 2 ? "Invalid video and audio" : "STARTING FFMPEG CONVERTION false");
        }
        Job job(files, delivery);
        QCOMPARE(job.result, result);
        QCOMPARE(job.processor.isRunning(), isStarted);
        QVERIFY(isStarted ? job.ends() : !job.finished.wait(1));
        QStringList expected = arguments.split(' ', Qt::SkipEmptyParts);
        for (QString &argument : expected) {
            if (QRegularExpression(
                    "\\.(avi|wav|mp4|mkv)$|^(clip|raw)", QRegularExpression::CaseInsensitiveOption)
                    .match(argument)
                    .hasMatch())
                argument.prepend(dir->path() + '/'); // relative paths reach ffmpeg as absolute ones
        }
        QCOMPARE(ffmpeg.calls(), isStarted ? QList<QStringList>{expected} : QList<QStringList>());
    }

    void endOfAJob_data()
    {
        const Ends row;
        const QString convert = "a.avi b.mp4";
        const QString optimize = "a.avi a.avi";
        const QString join = "a.avi a.wav b.mp4";
        const QString removed = "Removed \"a.avi\" true";
        const QString swapped = "Removed FD \"a.avi\" true|Rename FD \"a_temp.avi\" -> \"a.avi\" true";
        const QString made = makesOutput();
        const QString fails = makesOutput("exit 1");
        const QString cut = makesOutput("echo 'Error closing file x: No space left on device' >&2");
        row("convert, 0", convert, made, 0, "b.mp4=new", removed);
        row("convert, 1", convert, fails, 1, "a.avi=old b.mp4=new", "");
        row("convert, killed", convert, makesOutput("kill -9 $$"), 9, "a.avi=old b.mp4=new", "");
        row("convert, input lost", convert, makesOutput("rm a.avi"), 0, "b.mp4=new",
            "Removed \"a.avi\" false");
        row("convert, 0 but not whole", convert, cut, 1, "a.avi=old b.mp4=new", "");
        row("optimize, 0", optimize, made, 0, "a.avi=new", swapped);
        row("optimize, 1", optimize, fails, 1, "a.avi=old a_temp.avi=new", "");
        row("optimize, 0 but not whole", optimize, cut, 1, "a.avi=old a_temp.avi=new", "");
        row("optimize, 0 without a side file", optimize, "exit 0", 1, "a.avi=old", "");
        row("join, 0", join, made, 0, "b.mp4=new", removed);
        row("join, 1", join, fails, 1, "a.avi=old a.wav=old b.mp4=new", "");
        row("join, 0 but not whole", join, cut, 1, "a.avi=old a.wav=old b.mp4=new", "");
        row("join in place, 0", "a.avi a.wav a.avi", made, 0, "a.avi=new", swapped);
    }

    void endOfAJob()
    {
        const auto &[files, commands, exitCode, left, lastLines] = Ends::fetch();
        FakeFFMpeg ffmpeg(commands);
        const bool isJoin = files.count(' ') == 2;
        place(isJoin ? "a.avi a.wav" : "a.avi");
        const host::ConsoleLines console;
        debugLines.clear();
        const QtMessageHandler former = qInstallMessageHandler(keepDebugLines);
        Job job(files);
        const bool ended = job.ends();
        qInstallMessageHandler(former);
        QVERIFY(ended);
        QCOMPARE(job.processor.exitCode(), exitCode);
        QCOMPARE(job.processor.hasCrashed(), exitCode == 9);
        QCOMPARE(filesLeft(), left);
        const bool inPlace = files.endsWith(" a.avi");
        const QString output = inPlace ? "a_temp.avi" : "b.mp4";
        const bool isNotWhole = exitCode == 1 && !commands.contains("exit 1");
        QCOMPARE(console.all().size(), isNotWhole ? 1 : 0);
        if (isNotWhole) {
            const QString line = console.all().first().remove(dir->path() + '/');
            QVERIFY2(line.startsWith(output + " is not whole (") && line.endsWith("), a.avi is kept"),
                qPrintable(line));
            QVERIFY(job.processor.lastText().contains(output + " is not whole: "));
        }
        QStringList expected{"STARTING to join true"};
        if (!isJoin) {
            expected = QStringList{"FFMPEG (\"-i\", \"a.avi\", \"" + output + "\") frames 12",
                "STARTING FFMPEG CONVERTION true"};
        }
        expected << QString("FFMPEG finished here %1 \"%2\" \"a.avi\" \"%3\"")
                        .arg(QString::number(isNotWhole ? 0 : exitCode), inPlace ? "a.avi" : "", output)
                 << lastLines.split('|', Qt::SkipEmptyParts);
        QCOMPARE(debugLines, expected);
    }

    void argumentsThatFailAreReplaced()
    {
        FakeFFMpeg ffmpeg("case \"$*\" in *no_such*) echo part > \"$out\"; echo unknown >&2; exit 1; esac; "
            + makesOutput());
        const host::ConsoleLines console;
        place("a.avi c.avi c.wav");
        for (const char *files : {"a.avi b.mp4", "c.avi c.wav d.mkv"}) {
            Job job(files, RecordingDelivery::custom({"-c:v", "no_such"}));
            QVERIFY(job.ends() && job.processor.exitCode() == 0);
        }
        QCOMPARE(filesLeft(), QString("b.mp4=new d.mkv=new"));
        QCOMPARE(ffmpeg.calls().size(), 4);
        QVERIFY(ffmpeg.calls().at(0).contains("no_such") && ffmpeg.calls().at(1).contains("libx264"));
        QVERIFY(!ffmpeg.calls().last().contains("-y"));
        QVERIFY(console.all().size() == 2 && console.all().first().contains("(unknown)"));
    }

    void missingProgramEndsTheJobAndTouchesNoFile()
    {
        const host::ConsoleLines console;
        FakeFFMpeg ffmpeg(makesOutput());
        ffmpeg.vanish();
        place("a.avi");
        Job job("a.avi b.mp4", RecordingDelivery::custom({"-an"}));
        QVERIFY(job.finished.isEmpty() && job.ends() && job.started.isEmpty());
        QVERIFY(job.processor.exitCode() == -1 && !job.processor.lastText().isEmpty());
        QVERIFY(console.all().size() == 1 && console.all().first().startsWith("ffmpeg cannot be started: "));
        QCOMPARE(filesLeft(), QString("a.avi=old"));
        ffmpeg.setCommands(makesOutput());
        QVERIFY(job.processor.convert("a.avi", "b.mp4") && job.finished.wait());
        QVERIFY(
            job.started.count() == 1 && job.processor.exitCode() == 0 && job.processor.lastText().isEmpty());
    }

    void progressIsReadFromTheStartOfAChunk_data()
    {
        const Chunks row;
        row("as ffmpeg writes it", "frame=   12 fps=0.0 q=2.0 size=1kB    \\r", {12});
        row("six digits lose the last", "frame=123456 fps=25", {12345});
        row("shortest", "frame=   12", {12});
        row("ten characters", "frame=  12", {});
        row("no number", "frame= none of it", {0});
        row("other letter case", "Frame=   12 fps=0.0", {});
        row("later in the chunk", "Output #0\\nframe=   12 fps=0.0", {});
        row("two in a chunk", "frame=   12 fps=0.0\\rframe=   13 fps=0.0", {12});
        row("input of unknown length", "frame=   12 fps=0.0", {});
    }

    void progressIsReadFromTheStartOfAChunk()
    {
        const auto &[chunk, expected] = Chunks::fetch();
        place("a.avi raw");
        FakeFFMpeg ffmpeg(QString("printf '%1' >&2; echo said; exit 1").arg(chunk));
        QTest::ignoreMessage(QtDebugMsg, "output:  \"said\\n\"");
        const bool isRaw = qstrcmp(QTest::currentDataTag(), "input of unknown length") == 0;
        Job job(isRaw ? "raw b.avi" : "a.avi b.avi");
        QVERIFY(job.ends());
        QList<int> reported;
        for (const QList<QVariant> &arguments : qAsConst(job.progress)) {
            reported << arguments.at(0).toInt();
            QCOMPARE(arguments.at(1).toInt(), clipFrames);
        }
        QCOMPARE(reported, expected);
    }

    void nextJobMayBeStartedFromTheEndOfTheLast()
    {
        FakeFFMpeg ffmpeg(makesOutput());
        place("a.avi b.avi");
        Job job("a.avi a.mp4");
        const auto startNext = [&] {
            disconnect(&job.processor, &FFMpegProcessor::finished, this, nullptr);
            QVERIFY(job.processor.convert("b.avi", "b.mp4"));
        };
        connect(&job.processor, &FFMpegProcessor::finished, this, startNext);
        QTRY_COMPARE(job.finished.count(), 2);
        QVERIFY(!job.processor.isRunning());
        QCOMPARE(filesLeft(), QString("a.mp4=new b.mp4=new"));
    }

    void cancelKeepsTheInputAndRemovesTheOutput_data()
    {
        const Cancels row;
        const QString ready = "touch \"$dir/ready\"; ";
        const QString fails = "trap 'exit 1' TERM; " + ready + "await never";
        const QString succeeds = makesOutput("trap 'exit 0' TERM; " + ready + "await never");
        row("convert", "a.avi b.mp4", "a.avi", makesOutput(fails), 1, "a.avi=old");
        row("success when told to end", "a.avi a.avi", "a.avi", succeeds, 255, "a.avi=old");
        row("join", "a.avi a.wav b.mp4", "a.avi a.wav", makesOutput(fails), 1, "a.avi=old a.wav=old");
        row("older file overwritten", "a.avi b.mp4", "a.avi b.mp4", makesOutput(fails), 1, "a.avi=old");
        row("older file untouched", "a.avi b.mp4", "a.avi b.mp4", fails, 1, "a.avi=old b.mp4=old");
        row("link to elsewhere", "a.avi link.mp4", "a.avi", makesOutput(fails), 1, "a.avi=old");
    }

    void cancelKeepsTheInputAndRemovesTheOutput()
    {
        const auto &[files, present, commands, exitCode, left] = Cancels::fetch();
        FakeFFMpeg ffmpeg(commands);
        place(present);
        QVERIFY(QFile::link(dir->filePath("target.mp4"), "link.mp4"));
        Job job(files);
        QTRY_VERIFY(ffmpeg.hasFile("ready"));
        QVERIFY(!job.processor.wasCancelled());
        job.processor.cancel();
        QVERIFY(job.processor.wasCancelled() && job.processor.isRunning());
        QVERIFY(job.ends() && job.processor.wasCancelled());
        QCOMPARE(job.processor.exitCode(), exitCode);
        QCOMPARE(filesLeft(), left);
    }

private:
    QString stored(const QString &name) const
    {
        return store.filePath(name + ".avi");
    }

    // Every file is the clip, so that any of them may serve as a video.
    void place(const QString &names)
    {
        for (const QString &name : names.split(' ', Qt::SkipEmptyParts)) {
            QDir().mkpath(QFileInfo(name).path());
            QVERIFY(QFile::copy(stored(name == "raw" ? "raw" : "clip"), name));
        }
    }

    QString filesLeft() const
    {
        QStringList found;
        for (const QString &file : QDir().entryList(QDir::Files))
            found << file + (host::contentOf(file) == host::contentOf(stored("clip")) ? "=old" : "=new");
        return found.join(' ');
    }

    QTemporaryDir store;
    std::unique_ptr<QTemporaryDir> dir; // the current one
};

QTEST_GUILESS_MAIN(FFMpegProcessorTest)

#include "tst_ffmpegprocessor.moc"
