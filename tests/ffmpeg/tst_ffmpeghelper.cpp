#include "ffmpeg/ffmpeghelper.h"

#include "baselib/texthelper.h"
#include "support/fakeffmpeg.h"
#include "support/host.h"
#include "support/metaface.h"
#include "support/table.h"

#include <QSignalSpy>

#include <functional>
#include <memory>

using host::contentOf;

namespace {

constexpr int endLimitMs = 30'000;

// What one tool does, in its two forms.
struct Tool
{
    std::function<bool()> blocking;
    std::function<FFMPEGHelperJob *()> job;
};

Tool convert(QString from, QString to, const QString &parameters = {}, bool overwrite = true,
    unsigned int limit = FFMPEGHelper::noTimeLimit)
{
    return {[=]() mutable { return FFMPEGHelper::convert(from, to, parameters, overwrite, limit); },
        [=] { return FFMPEGHelper::convertAsync(from, to, parameters, overwrite, limit); }};
}

Tool changeVolume(const QString &from, const QString &to, float volume)
{
    return {[=] { return FFMPEGHelper::changeVolume(from, to, volume); },
        [=] { return FFMPEGHelper::changeVolumeAsync(from, to, volume); }};
}

Tool crop(
    const QString &from, const QString &to, int durationMs, unsigned int limit = FFMPEGHelper::noTimeLimit)
{
    return {[=] { return FFMPEGHelper::crop(from, to, durationMs, limit); },
        [=] { return FFMPEGHelper::cropAsync(from, to, durationMs, limit); }};
}

Tool join(const QStringList &from, const QString &to, bool safe = false)
{
    return {[=] { return FFMPEGHelper::joinAudio(from, to, safe); },
        [=] { return FFMPEGHelper::joinAudioAsync(from, to, safe); }};
}

bool put(const QString &path, const QByteArray &content = "content")
{
    return host::put(path, content);
}

QStringList filesHere()
{
    return QDir().entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System, QDir::Name);
}

// Waits for the end of a job and deletes it.
struct Result
{
    explicit Result(FFMPEGHelperJob *begun) : job(begun)
    {
        QSignalSpy finished(begun, &FFMPEGHelperJob::finished);
        const bool isEarly = !job->isRunning() || !job->error().isEmpty();
        ended = finished.wait(endLimitMs) && !job->isRunning() && !isEarly;
        QCoreApplication::processEvents();
        error = job->error();
        ok = ended && finished == QList<QVariantList>({{true, QString()}});
        ended = ended && finished == QList<QVariantList>({{error.isEmpty(), error}});
    }
    std::unique_ptr<FFMPEGHelperJob> job;
    QSignalSpy progress{job.get(), &FFMPEGHelperJob::progress};
    bool ended = false; // once, and not before the caller was back at its event loop
    bool ok = false;
    QString error;
};

} // namespace

Q_DECLARE_METATYPE(Tool)

// Paths below the current folder begin with "@".
using Arguments = Table<Tool, QString, QByteArray>;
using Failures = Table<Tool, QString, QString>;
using Codes = Table<QString, QString, QByteArray>; // the last: what a job leaves of the destination
// Path, whether it is removed, commands, the path afterwards (empty: failed, and as before), files.
using Moves = Table<QString, bool, QString, QString, QString>;
using Progress = Table<Tool, QString, double>; // the last: before the end; 0: not known

// The tools against a stand-in for ffmpeg, in a current folder of their own.
class FFMPEGHelperTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
#ifndef Q_OS_UNIX
        QSKIP("The stand-ins for ffmpeg are shell scripts");
#endif
    }

    void init()
    {
        notes = std::make_unique<QTemporaryDir>();
        dir = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir::setCurrent(dir->path()));
        FFMPEGHelper::lastError = QStringLiteral("former");
    }

    void cleanup()
    {
        QDir::setCurrent(QDir::rootPath());
    }

    void faceOfAJob()
    {
        QCOMPARE(metaface::ofClass(FFMPEGHelperJob::staticMetaObject),
            QStringList({"signal progress(double)", "signal finished(bool,QString)", "slot cancel()"}));
    }

    void argumentsOfBothForms_data()
    {
        const Arguments table;
        const auto row = [&](const char *name, const Tool &tool, const QString &arguments,
                             const QByteArray &list = {}) { table(name, tool, arguments, list); };
        row("convert", convert("a.avi", "b.mp4"), "<-i><@a.avi><@b.mp4><-y>");
        row("blanks", convert("a.avi", "b", "-r 5  -an", false), "<-i><@a.avi><-r><5><><-an><@b><-y>");
        row("louder", changeVolume("a.avi", "b", 1.25F), "<-i><@a.avi><-filter:a><volume=1.25><@b><-y>");
        row("too loud", changeVolume("a.avi", "b", 5.0F), "<-i><@a.avi><-filter:a><volume=2><@b><-y>");
        row("negative", changeVolume("a.avi", "b", -1.0F), "<-i><@a.avi><-filter:a><volume=0><@b><-y>");
        row("third", changeVolume("a.avi", "b", 1.0F / 3),
            "<-i><@a.avi><-filter:a><volume=0.333333><@b><-y>");
        row("same volume", changeVolume("a.avi", "b", 1.0F), "<-i><@a.avi><@b><-y>");
        row("nothing to do", changeVolume("a.avi", "A.avi", 1.0F), "");
        row("crop", crop("a.avi", "b", 1500), "<-t><1.5><-i><@a.avi><@b><-y>");
        row("long crop", crop("a.avi", "b", 12345678), "<-t><12345.7><-i><@a.avi><@b><-y>");
        row("join", join({"a.avi", "x y.wav"}, "b"), "<-f><concat><-safe><0><-i><@LIST><-c><copy><@b>",
            "file 'a.avi' \r\nfile 'x y.wav' \r\n");
        row("safe join", join({QString::fromUtf8("\u0437.wav")}, "b", true),
            "<-f><concat><-i><@LIST><-c><copy><@b>", "file '\xd0\xb7.wav' \r\n");
        row("join of nothing", join({}, "b"), "<-f><concat><-safe><0><-i><@LIST><-c><copy><@b>");
    }

    void argumentsOfBothForms()
    {
        const auto &[tool, arguments, list] = Arguments::fetch();
        FakeFFMpeg ffmpeg(recording("echo made > \"$out\""));
        QVERIFY(put("a.avi"));
        QString from("a.avi");
        QString to("b.mp4");
        QVERIFY(FFMPEGHelper::convert(from, to, "-an")); // fault: a literal prefers to become a bool
        QVERIFY(noted().contains("<-an>") && QFile::remove(to));
        for (const bool asJob : {false, true}) {
            QFile::remove(note("list"));
            QVERIFY(asJob ? Result(tool.job()).ok : tool.blocking());
            QCOMPARE(noted(), arguments);
            QCOMPARE(contentOf(note("list")), list);
            const QString made = filesHere().join(' ');
            QVERIFY2(QStringList({"a.avi", "a.avi b", "a.avi b.mp4"}).contains(made), qPrintable(made));
        }
    }

    void missingProgramIsReported()
    {
        FakeFFMpeg ffmpeg({});
        ffmpeg.vanish();
        QTest::ignoreMessage(QtDebugMsg, "FFMPEG failed");
        QVERIFY(!changeVolume("a.avi", "c", 2.0F).blocking());
        const Result result(crop("a.avi", "c", 1).job());
        QVERIFY(result.ended && result.error.startsWith("ffmpeg cannot be started: "));
    }

    void convertTellsWhyItFails_data()
    {
        const Failures row;
        const QString begin("FFMPEG convert error: ");
        const QString works("echo made > \"$out\"");
        row("one path", convert("x.avi", "x.avi"), works, begin + "Source = Destination = x.avi");
        row("missing", convert("x.avi", ""), works, begin + "Source file does not existx.avi");
        row("no destination", convert("a.avi", ""), "gone", begin + "Too small destination filename ");
        row("no program", convert("a.avi", "folder"), "gone", "ffmpeg not found");
        row("undeletable", convert("a.avi", "folder"), works, begin + "File folder cannot be deleted");
        row("spelling", convert("a.avi", "./a.avi", "", false), works,
            begin + "Source = Destination = a.avi");
        row("no time", convert("a.avi", "b", "", true, 0), "exec sleep 60", "FFMPEG timeout exceeded: 0ms");
        row("nothing made", convert("a.avi", "b.mp4"), "exit 0", "");
        row("folder left", convert("a.avi", "folder", "", false), "exit 0", "fine");
    }

    void convertTellsWhyItFails()
    {
        const auto &[tool, commands, error] = Failures::fetch();
        FakeFFMpeg ffmpeg(commands);
        if (commands == "gone")
            ffmpeg.vanish();
        QVERIFY(put("a.avi") && put("folder/file"));
        const bool fine = error == "fine";
        if (!error.isEmpty() && !fine)
            QTest::ignoreMessage(QtDebugMsg, qPrintable('"' + error + '"'));
        QCOMPARE(tool.blocking(), fine);
        QCOMPARE(FFMPEGHelper::lastError, fine ? QString() : error);
        FFMPEGHelper::lastError = "former";
        const Result result(tool.job());
        QVERIFY(result.ended);
        QCOMPARE(result.ok, fine);
        QCOMPARE(result.error,
            fine                  ? QString()
                : error.isEmpty() ? "ffmpeg has not made the file b.mp4"
                                  : error);
        QCOMPARE(FFMPEGHelper::lastError, QString("former"));
        QCOMPARE(contentOf("a.avi"), QByteArray("content"));
    }

    void jobsLookAtTheExitCodeToo_data()
    {
        const Codes row;
        const QString half = "echo half > \"$out\"; ";
        row("old file left alone", "echo no room >&2; exit 1", "ffmpeg has failed with code 1: no room",
            "old");
        row("cut short", half + "echo disk full >&2; exit 1", "ffmpeg has failed with code 1: disk full", "");
        row("crash", half + "kill -9 $$", "ffmpeg has crashed: ", "");
        const QString full = "Error closing file x: No space left on device";
        row("code 0", half + "echo '" + full + "' >&2", "The file b.wav is not whole: " + full, "");
    }

    void jobsLookAtTheExitCodeToo()
    {
        const auto &[commands, error, left] = Codes::fetch();
        FakeFFMpeg ffmpeg(commands);
        for (const Tool &tool : {changeVolume("a.avi", "b.wav", 2.0F), crop("a.avi", "b.wav", 1),
                 join({"a.avi"}, "b.wav"), convert("a.avi", "b.wav", {}, false)}) {
            QVERIFY(put("a.avi") && put("b.wav", "old"));
            QVERIFY(tool.blocking());
            QVERIFY(put("b.wav", "old"));
            const Result result(tool.job());
            QVERIFY(result.ended);
            QCOMPARE(result.error, error);
            QCOMPARE(contentOf("b.wav"), left);
            QCOMPARE(contentOf("a.avi"), QByteArray("content"));
        }
    }

    void convertToMP4MovesTheFiles_data()
    {
        const Moves row;
        const QString works("echo made > \"$out\"");
        row("keep", "clip.avi", false, works, "clip.mp4", "clip.avi clip.mp4");
        row("remove", "clip.avi", true, works, "clip.mp4", "clip.mp4");
        row("failure", "clip.avi", true, "exit 1", "", "clip.avi");
        row("in place", "clip.mp4", true, works, "clip.mp4", "clip.mp4");
        row("upper case", "clip.MP4", false, works, "clip.MP4", "clip.MP4");
        row("failure in place", "clip.mp4", false, "exit 1", "", "clip.mp4");
        row("no suffix", "clip", true, works, "", "clip");
        row("folder", "a.avi/b.avi", true, "mkdir a.mp4; " + works, "a.mp4/b.mp4", "a.avi a.mp4");
        row("missing", "", true, works, "", "");
    }

    void convertToMP4MovesTheFiles()
    {
        const auto &[path, remove, commands, pathAfter, files] = Moves::fetch();
        FakeFFMpeg ffmpeg(commands);
        for (const bool asJob : {false, true}) {
            QVERIFY(dir->remove());
            QVERIFY(QDir().mkpath(dir->path()) && QDir::setCurrent(dir->path()));
            if (!path.isEmpty())
                QVERIFY(put(path));
            QString after = path;
            if (asJob) {
                const Result result(FFMPEGHelper::convertVideoToMP4Async(path, remove));
                QVERIFY(result.ended);
                QCOMPARE(result.ok, !pathAfter.isEmpty());
                after = result.ok ? result.job->destination() : path;
            } else {
                QCOMPARE(FFMPEGHelper::convertVideoToMP4(after, remove), !pathAfter.isEmpty());
            }
            QCOMPARE(after, pathAfter.isEmpty() ? path : pathAfter);
            QCOMPARE(filesHere().join(' '), files);
            if (!path.isEmpty())
                QCOMPARE(contentOf(after), QByteArray(pathAfter.isEmpty() ? "content" : "made\n"));
        }
    }

    void runsEndAtTheirLimitByCancelOrWithTheirParent()
    {
        constexpr unsigned int limit = 2000; // long enough for the stand-in to be there
        FakeFFMpeg ffmpeg("echo half > \"$out\"; exec sleep 60");
        QVERIFY(put("a.avi"));
        const auto nothingIsLeft = [&] {
            return !FakeFFMpeg::processExists(ffmpeg.lastPid()) && filesHere() == QStringList("a.avi");
        };
        QVERIFY(!convert("a.avi", "b.mp4", {}, true, limit).blocking());
        QCOMPARE(FFMPEGHelper::lastError, QString("FFMPEG timeout exceeded: 2000ms"));
        const Result result(crop("a.avi", "b.mp4", 1000, limit).job());
        QVERIFY(result.ended && nothingIsLeft());
        QCOMPARE(result.error, QString("FFMPEG timeout exceeded: 2000ms"));

        std::unique_ptr<FFMPEGHelperJob> job(FFMPEGHelper::convertAsync("a.avi", "b.mp4"));
        QSignalSpy finished(job.get(), &FFMPEGHelperJob::finished);
        QTRY_VERIFY(QFileInfo("b.mp4").size() > 0);
        job->cancel();
        job->cancel();
        QVERIFY(finished.wait(endLimitMs) && job->isCancelled());
        QCOMPARE(finished, QList<QVariantList>({{false, "Cancelled"}}));
        QVERIFY(nothingIsLeft());
        job->cancel();
        QVERIFY(!finished.wait(1));

        auto *parent = new QObject;
        FFMPEGHelper::joinAudioAsync({"a.avi"}, "b.mp4", false, FFMPEGHelper::noTimeLimit, parent);
        QTRY_VERIFY(QFileInfo("b.mp4").size() > 0);
        delete parent;
        QVERIFY(nothingIsLeft());
    }

    void jobsWaitInLine()
    {
        FakeFFMpeg ffmpeg(
            "name=$(basename \"$out\"); touch \"$dir/started-$name\"; await $name; echo made > \"$out\"");
        QVERIFY(put("a.avi") && put("3", "old"));
        std::vector<std::unique_ptr<FFMPEGHelperJob>> jobs;
        QStringList ends;
        for (int i = 0; i < 7; ++i) {
            jobs.emplace_back(FFMPEGHelper::convertAsync("a.avi", QString::number(i)));
            connect(jobs.back().get(), &FFMPEGHelperJob::finished, this,
                [&ends, i](bool ok) { ends << QString::number(i) + (ok ? " ok" : " no"); });
        }
        const auto started = [&] {
            QString all;
            for (const char *name : {"0", "1", "2", "3", "4", "5", "6"})
                all += ffmpeg.hasFile(QString("started-") + name) ? name : "";
            return all;
        };
        QTRY_COMPARE(started(), QString("01"));
        jobs[3]->cancel();
        jobs[4].reset();
        QTRY_COMPARE(ends, QStringList("3 no"));
        QCOMPARE(contentOf("3"), QByteArray("old"));
        ffmpeg.letGo("1");
        QTRY_COMPARE(ends, QStringList({"3 no", "1 ok"}));
        QTRY_COMPARE(started(), QString("012"));
        jobs[0].reset(); // dies with its place
        QTRY_COMPARE(started(), QString("0125"));
        FFMPEGHelper::setMaxParallelJobs(3);
        QTRY_COMPARE(started(), QString("01256"));
        FFMPEGHelper::setMaxParallelJobs(2);
        for (const char *name : {"2", "5", "6"})
            ffmpeg.letGo(name);
        QTRY_COMPARE(ends.size(), 5);
    }

    void progressOfAJob_data()
    {
        const Progress row;
        row("convert", convert("a.avi", "b"), "00:00:10.00", 0.25);
        row("crop", crop("a.avi", "b", 5000), "00:00:10.00", 0.5);
        row("crop beyond the end", crop("a.avi", "b", 50000), "00:00:10.00", 0.25);
        row("join, by bytes", join({"a.avi", "a.avi"}, "b"), "N/A", 0.75);
        row("unknown", convert("a.avi", "b"), "N/A", 0.0);
    }

    void progressOfAJob()
    {
        const auto &[tool, length, done] = Progress::fetch();
        FakeFFMpeg ffmpeg(QString(R"(printf '  Duration: %1, start: 0.000000, bitrate: 705 kb/s\n' >&2
            printf 'size=       0kB time=N/A bitrate=N/A speed=N/A    \r' >&2
            printf 'frame=    9 fps=0 size=       3kB time=00:00:02.50 bitrate= 719.0kbits/s    \r' >&2
            printf 'frame=    9 fps=0 size=       2kB time=-00:00:01.00 bitrate= 719.0kbits/s    \r' >&2
            echo made > "$out")")
                              .arg(length));
        QVERIFY(put("a.avi", QByteArray(2048, 'x')));
        const Result result(tool.job());
        QVERIFY(result.ended && result.ok);
        QVector<double> told{0.0};
        for (const QVariantList &arguments : result.progress) {
            if (arguments.first().toDouble() > 0)
                told << arguments.first().toDouble();
        }
        QCOMPARE(told, done > 0 ? QVector<double>({0.0, done, 1.0}) : QVector<double>({0.0, 1.0}));

        FFMPEGHelperJob *job = tool.job();
        QSignalSpy destroyed(job, &QObject::destroyed);
        connect(job, &FFMPEGHelperJob::progress, this, [job] { delete job; });
        QVERIFY(destroyed.wait(endLimitMs));
    }

    void joinNeverTakesAListThatIsThere()
    {
        FakeFFMpeg ffmpeg(recording("echo made > \"$out\""));
        const QDateTime now = QDateTime::currentDateTime();
        QStringList taken;
        for (int ms = 0; ms < 500; ++ms) {
            taken << QString("list%1.txt").arg(TextHelper::DateTimeFileString(now.addMSecs(ms), true));
            QVERIFY(put(taken.last(), "of another join"));
        }
        QVERIFY(FFMPEGHelper::joinAudio({"x.wav"}, "b.wav"));
        QCOMPARE(contentOf(note("list")), QByteArray("file 'x.wav' \r\n"));
        for (const QString &list : qAsConst(taken))
            QCOMPARE(contentOf(list), QByteArray("of another join"));
    }

private:
    QString note(const QString &name) const
    {
        return notes->filePath(name);
    }

    // Commands that note the arguments and the list of a join first.
    QString recording(const QString &commands) const
    {
        return QString(R"(printf '<%s>' "$@" > '%1'
            for a; do case "$a" in */list*.txt) cat "$a" > '%2';; esac; done
            )")
                   .arg(note("arguments"), note("list"))
            + commands;
    }

    QString noted() const
    {
        QString arguments = QString::fromUtf8(contentOf(note("arguments")));
        QFile::remove(note("arguments"));
        arguments.replace('<' + dir->path() + '/', "<@");
        return arguments.replace(
            QRegularExpression("<@list\\d{4}-\\d\\d-\\d\\d_\\d\\d-\\d\\d-\\d\\d-\\d{3}\\.txt>"), "<@LIST>");
    }

    std::unique_ptr<QTemporaryDir> notes;
    std::unique_ptr<QTemporaryDir> dir; // the current one
};

QTEST_GUILESS_MAIN(FFMPEGHelperTest)

#include "tst_ffmpeghelper.moc"
