#include "ffmpeg/ffmpegchild_p.h"

#include "ffmpeg/fileinuse_p.h"
#include "support/fakeffmpeg.h"
#include "support/frames.h"
#include "support/table.h"
#include "video/packetcount_p.h"

#include <opencv2/imgcodecs.hpp>
#include <QSignalSpy>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace {

constexpr int clipFrames = 12;
constexpr int endLimitMs = 30'000;

} // namespace

// Commands; exit code, "crashed", fault.
using Ends = Table<QString, QString>;
// What the child does about its end, how it is ended, its exit code.
using Hangs = Table<QString, QString, int>;

class FFMpegChildTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
#ifndef Q_OS_UNIX
        QSKIP("The stand-ins for ffmpeg are shell scripts");
#endif
        QVERIFY(frames::writeVideo(path("clip.avi"), clipFrames));
        QVERIFY(cv::imwrite(path("clip.png").toStdString(), frames::numbered(1)));
    }

    void init()
    {
        QFile::remove(path("out"));
    }

    void endOfARun_data()
    {
        const Ends row;
        const QString made = "echo new > \"$out\"; ";
        const auto text = [&](const QString &line) { return made + "printf '" + line + "\\n' >&2"; };
        const auto copied = [&](const QString &clip, int frames) {
            return QString("cp '%1' \"$out\"; printf 'frame=    1 fps=0\\rframe=%2 fps=0\\n' >&2")
                .arg(path(clip))
                .arg(frames, 5);
        };
        row("success", made, "0");
        row("failure", made + "exit 3", "3");
        row("killed", made + "kill -9 $$", "9 crashed");
        row("question", "if read answer; then exit 0; else exit 7; fi", "7");
        row("no output", "exit 0", "0 there is no file");
        row("empty output", ": > \"$out\"", "0 the file is empty");
        const QString trailer = "Error writing trailer of /x.avi: No space left on device";
        const QString closing = "[out#0/mp4 @ 0x5581] Error closing file: Disk quota exceeded";
        const QString muxing = "[vost#0:0/libx264 @ 0x1] Error submitting a packet to the muxer: -28";
        row("trailer not written", text(trailer + "\\nlast"), "0 " + trailer);
        row("file not closed", text(closing), "0 " + closing);
        row("packet not written", text(muxing), "0 " + muxing);
        row("input not read", text("/x.avi: Input/output error"), "0 /x.avi: Input/output error");
        row("words in a title", text("    title           : Error writing trailer of x"), "0");
        row("all frames", copied("clip.avi", clipFrames), "0");
        row("a frame less", copied("clip.avi", clipFrames + 1), "0 it holds 12 of 13 frames");
        row("single picture", copied("clip.png", clipFrames), "0");
        row("no video", text("frame=   99 fps=0"), "0");
    }

    void endOfARun()
    {
        const auto &[commands, end] = Ends::fetch();
        FakeFFMpeg ffmpeg(commands);
        FFMpegChild child;
        QSignalSpy finished(&child, &FFMpegChild::finished);
        child.start({path("out")}, {path("out"), {}});
        QVERIFY(child.isRunning() && finished.wait(endLimitMs) && !child.isRunning());
        const FFMpegChild::Result &result = child.result();
        QString found = QString::number(result.code) + (result.crashed ? " crashed" : "");
        found += (result.fault.isEmpty() ? "" : " ") + result.fault;
        QCOMPARE(found, end);
        QCOMPARE(result.ok, end == "0");
    }

    void missingProgramEndsTheRun()
    {
        FakeFFMpeg ffmpeg({});
        ffmpeg.vanish();
        FFMpegChild child;
        QVERIFY((child.start({}, {}), !child.waitFor(endLimitMs)));
        QSignalSpy finished(&child, &FFMpegChild::finished);
        child.start({}, {});
        QCOMPARE(finished.count(), 0);
        QTRY_VERIFY(!finished.isEmpty());
        QVERIFY(!child.result().ok && child.result().code == -1 && !child.result().text.isEmpty());
    }

    void floodIsDrainedAndTheLastLinesAreKept()
    {
        FakeFFMpeg ffmpeg("head -c 3000000 /dev/zero | tr '\\0' x\n"
                          "head -c 3000000 /dev/zero | tr '\\0' y >&2; echo >&2\n"
                          "for i in $(seq 1 30); do echo \"line $i\" >&2; done\n"
                          "for i in $(seq 1 500); do printf 'frame=%5d fps=25\\r' $i >&2; done\n"
                          "printf 'the\\r\\nreason' >&2; exit 1");
        FFMpegChild child;
        qint64 printed = 0;
        connect(&child, &FFMpegChild::printed, [&](const QByteArray &chunk) { printed += chunk.size(); });
        child.start({}, {});
        QVERIFY(child.waitFor(endLimitMs) && child.result().code == 1);
        QStringList expected;
        for (int i = 13; i <= 30; ++i)
            expected << QString("line %1").arg(i);
        QCOMPARE(child.result().text,
            (expected << "the"
                      << "reason")
                .join('\n'));
        QCOMPARE(printed, qint64(3'000'000));
    }

    void childThatRunsIsEnded_data()
    {
        const Hangs row;
        for (const QString way : {"cancel", "destroy", "limit", "asked", "kill"}) {
            const bool killed = way == "kill";
            row(way + ", obeys", "", way, killed ? 9 : 15);
            row(way + ", succeeds", "trap 'exit 0' TERM; ", way, killed ? 9 : 0);
            row(way + ", ignores", "trap '' TERM; ", way, 9);
        }
    }

    void childThatRunsIsEnded()
    {
        const auto &[whenTold, way, code] = Hangs::fetch();
        FakeFFMpeg ffmpeg("echo new > \"$out\"; " + whenTold + "touch \"$dir/ready\"; "
            + (whenTold.isEmpty() ? "exec sleep 100" : "await never"));
        auto child = std::make_unique<FFMpegChild>();
        QSignalSpy finished(child.get(), &FFMpegChild::finished);
        child->start({path("out")}, {path("out"), {}});
        QVERIFY(way == "limit" || way == "asked"
            || QTest::qWaitFor([&] { return ffmpeg.hasFile("ready"); }, endLimitMs));
        if (way == "cancel") {
            child->cancel();
            child->cancel();
            QVERIFY(child->isRunning() && finished.wait(endLimitMs));
        } else if (way == "kill") {
            child->kill();
        } else if (way == "limit") {
            QVERIFY(!child->waitFor(3000)); // long enough for the stand-in to be there
        } else if (way == "asked") {
            QVERIFY(!child->waitFor(-1, [&] { return ffmpeg.hasFile("ready"); }));
        } else {
            child.reset();
        }
        QVERIFY(!FakeFFMpeg::processExists(ffmpeg.lastPid()));
        QCOMPARE(finished.count(), child ? 1 : 0);
        if (!child)
            return;
        QVERIFY(!child->result().ok && child->result().cancelled == (way != "kill"));
        QCOMPARE(child->result().code, code);
        child->removeTouchedOutput();
        QVERIFY(!QFile::exists(path("out")));
        if (way == "cancel" && code == 0) { // the kill that waited is not meant for the next child
            ffmpeg.setCommands("sleep 3; exit 5");
            child->start({}, {});
            QVERIFY(finished.wait(endLimitMs));
            QCOMPARE(child->result().code, 5);
        }
    }

    void packetsAreCounted()
    {
        QFile cut(path("cut.avi"));
        QFile clip(path("clip.avi"));
        QVERIFY(clip.open(QIODevice::ReadOnly) && cut.open(QIODevice::WriteOnly));
        QVERIFY(cut.write(clip.read(clip.size() * 2 / 3)) > 0); // its header promises all frames
        cut.close();
        QCOMPARE(PacketCount::ofVideo(path("clip.avi")), qint64(clipFrames));
        const qint64 found = PacketCount::ofVideo(path("cut.avi"));
        QVERIFY2(found >= clipFrames / 2 && found <= clipFrames * 3 / 4, qPrintable(QString::number(found)));
        for (const char *none : {"clip.png", "missing", ""})
            QCOMPARE(PacketCount::ofVideo(*none ? path(none) : QString()), qint64(-1));
        QCOMPARE(PacketCount::ofVideo(path("clip.avi"), [] { return true; }), qint64(-1));
    }

    void childHasAGroupOfItsOwnAndLocksItsSource()
    {
        FakeFFMpeg ffmpeg("touch \"$dir/ready\"; await end");
        FFMpegChild child;
        QVERIFY(!FileInUse::isReadByChild(path("clip.avi")) && !FileInUse::isReadByChild(path("none")));
        child.start({}, {{}, path("clip.avi")});
        QTRY_VERIFY(ffmpeg.hasFile("ready"));
#ifdef Q_OS_UNIX
        QCOMPARE(qint64(::getpgid(pid_t(ffmpeg.lastPid()))), ffmpeg.lastPid());
#endif
        QVERIFY(FileInUse::isReadByChild(path("clip.avi")) && !FileInUse::isReadByChild(path("clip.png")));
        ffmpeg.letGo("end");
        QVERIFY(child.waitFor(endLimitMs) && !FileInUse::isReadByChild(path("clip.avi")));
    }

private:
    QString path(const QString &name) const
    {
        return dir.filePath(name);
    }

    QTemporaryDir dir;
};

QTEST_GUILESS_MAIN(FFMpegChildTest)

#include "tst_ffmpegchild.moc"
