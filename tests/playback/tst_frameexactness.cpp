#include "baselib/imageholderviewer.h"
#include "image/imagebridge.h"
#include "playback/playerprogress_p.h"
#include "playback/simplevideoplayer.h"
#include "playback/videoplayerwidget.h"
#include "support/frames.h"
#include "support/programs.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QScrollBar>
#include <QStandardPaths>
#include <QtTest>

#include <functional>

namespace {

constexpr int count = 520; // two key frames behind the first one, where they lie 250 apart
constexpr double rate = 60000.0 / 1001;

using Indices = QVector<int>;

Indices steps(int first, int step, int amount)
{
    Indices indices;
    for (int i = 0; i < amount; ++i)
        indices << first + i * step;
    return indices;
}

Indices randomIndices()
{
    QRandomGenerator generator(7);
    Indices indices;
    for (int i = 0; i < 24; ++i)
        indices << generator.bounded(count);
    return indices;
}

int numberOf(QImage image)
{
    return frames::numberOf(QImageToCvMat(image, true));
}

} // namespace

/** Which frame each player shows, in files that number their frames, against reading them one by one. */
class FrameExactnessTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pictureIsTheFrameAskedFor_data()
    {
        QTest::addColumn<QString>("suffix");
        QTest::addColumn<QStringList>("encoding");
        const auto x264 = [](const char *parameters) {
            return QStringList{"-c:v", "libx264", "-pix_fmt", "yuv420p", "-x264-params", parameters};
        };
        QTest::newRow("MJPG AVI") << ".avi" << QStringList{};
        QTest::newRow("MPEG-4 AVI, GOP 12")
            << ".m4.avi" << QStringList{"-c:v", "mpeg4", "-g", "12", "-bf", "2"};
        QTest::newRow("H.264 MP4, GOP 30, B frames")
            << ".30.mp4" << x264("keyint=30:min-keyint=30:scenecut=0:bframes=3:b-adapt=0");
        QTest::newRow("H.264 MP4, GOP 250, B frames")
            << ".250.mp4"
            << x264("keyint=250:min-keyint=250:scenecut=0:bframes=3:b-adapt=0:b-pyramid=normal");
    }

    void pictureIsTheFrameAskedFor()
    {
        QFETCH(QString, suffix);
        QFETCH(QStringList, encoding);
        const QString source = dir.filePath(QStringLiteral("v.avi"));
        QVERIFY(QFile::exists(source) || frames::writeVideo(source, count, rate));
        const QString path = dir.filePath(QStringLiteral("v") + suffix);
        if (!encoding.isEmpty()) {
            SKIP_WITHOUT("ffmpeg");
            const QStringList arguments = QStringList{"-v", "error", "-i", source, "-vsync", "passthrough"}
                + encoding + QStringList{path};
            QCOMPARE(QProcess::execute(QStringLiteral("ffmpeg"), arguments), 0);
        }
        const QVector<int> sequential = frames::numbersIn(path);
        QCOMPARE(sequential, steps(0, 1, count));

        const std::pair<const char *, Indices> patterns[] = {
            {"first", {0}},
            {"forward by 1", steps(3, 1, 40)},
            {"forward by 5", steps(0, 5, 40)},
            {"forward by 40", steps(7, 40, 12)},
            {"last", {count - 1, count - 2, count - 1}},
            {"backwards", steps(count - 1, -1, 12) + steps(300, -41, 8)},
            {"random", randomIndices()},
            {"first and last", {0, count - 1, 0, 1, count - 1, 0}},
        };

        VideoPlayerWidget player(path, nullptr);
        SimpleVideoPlayer viewer;
        viewer.setVideo(path);
        auto *const progress = player.findChild<PlayerProgress *>();
        QSignalSpy shown(progress, &PlayerProgress::shown);
        QCOMPARE(player.getFrameCount(), count);
        QCOMPARE(viewer.getFrameCount(), count);
        for (const auto &pattern : patterns) {
            int played = 0;
            int viewed = 0;
            for (const int index : pattern.second) {
                player.setPosition(index);
                while (player.getPosition() != index)
                    QVERIFY(shown.wait(20000));
                played += numberOf(player.getImage()) == sequential[index];
                viewer.setPosition(index);
                viewed += frames::numberOf(viewerFrame(viewer)) == sequential[index];
            }
            qInfo("%-29s %-15s player %2d/%d viewer %2d/%d", QTest::currentDataTag(), pattern.first, played,
                pattern.second.size(), viewed, pattern.second.size());
            QCOMPARE(played, pattern.second.size());
            QCOMPARE(viewed, pattern.second.size());
        }

        // Playing, from the middle to the end.
        player.setPosition(400);
        while (player.getPosition() != 400)
            QVERIFY(shown.wait(20000));
        int wrong = 0;
        shown.clear();
        connect(progress, &PlayerProgress::shown, this, [&](int frame) {
            wrong += numberOf(player.getImage()) != frame || frame != player.getPosition();
        });
        player.setPlaying(true);
        QTRY_VERIFY_WITH_TIMEOUT(!player.isPlaying(), 60000);
        QCOMPARE(player.getPosition(), count - 1);
        QCOMPARE(player.findChild<QScrollBar *>()->value(), count - 1);
        QCOMPARE(wrong, 0);
        qInfo("%-29s played to the end, %d pictures shown", QTest::currentDataTag(), shown.size());
        QVERIFY(shown.size() > 10);
    }

private:
    static cv::Mat viewerFrame(SimpleVideoPlayer &viewer)
    {
        return QImageToCvMat(viewer.getPictureWidget()->imageHolder()->getImage(), true);
    }

    QTemporaryDir dir;
};

QTEST_MAIN(FrameExactnessTest)
#include "tst_frameexactness.moc"
