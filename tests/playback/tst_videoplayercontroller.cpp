#include "image/imagebridge.h"
#include "playback/videoplayercontroller.h"
#include "playback/videoplayerwidget.h"
#include "support/frames.h"

#include <QtTest>
#include <QtWidgets>

#include <memory>

namespace {

constexpr int frameCount = 60;
constexpr double frameRate = 25;

} // namespace

class VideoPlayerControllerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(folder.isValid());
        path = folder.filePath(QStringLiteral("take.avi"));
        QVERIFY(frames::writeVideo(path, frameCount, frameRate));
    }

    void init()
    {
        player = std::make_unique<VideoPlayerWidget>(path);
        controller = std::make_unique<VideoPlayerController>(player.get());
        player->resize(400, 300);
        player->show();
        QTRY_COMPARE(controller->getPosition(), 0);
    }

    void cleanup()
    {
        controller.reset();
        player.reset();
    }

    void commandsShowTheFrameThatTheyMean()
    {
        const auto shows = [this](int frame) {
            return controller->getPosition() == frame
                && frames::numberOf(QImageToCvMat(player->getImage())) == frame;
        };
        QSignalSpy positions(controller.get(), &VideoPlayerController::positionChanged);
        controller->seek(17);
        QTRY_VERIFY(shows(17));
        QCOMPARE(positions.last().first().toInt(), 17);
        controller->step(-2);
        QTRY_VERIFY(shows(15));
        for (int i = 0; i < 3; ++i)
            controller->step(); // nobody waits for the picture
        QTRY_VERIFY(shows(18));
        controller->jump(1000);
        QTRY_VERIFY(shows(25));
        controller->seek(frameCount + 1000);
        QTRY_VERIFY(shows(frameCount - 1));
        controller->step(-std::numeric_limits<int>::max());
        QTRY_VERIFY(shows(0));
        for (int frame = 0; frame < frameCount; ++frame)
            QCOMPARE(controller->frameAt(controller->timeOf(frame)), frame);
        controller->setProperty("position", 3);
        QTRY_VERIFY(shows(3));
    }

    void playingIsToldAndEndsWithTheVideo()
    {
        QSignalSpy playing(controller.get(), &VideoPlayerController::playingChanged);
        QSignalSpy positions(controller.get(), &VideoPlayerController::positionChanged);
        controller->seek(frameCount - 15);
        controller->play();
        QVERIFY(controller->isPlaying());
        QTRY_COMPARE(controller->getPosition(), frameCount - 1);
        QTRY_VERIFY(!controller->isPlaying());
        QCOMPARE(playing.count(), 2);
        QVERIFY(positions.count() > 2);
        controller->seek(0);
        controller->togglePlaying();
        controller->step(); // pauses
        QVERIFY(!controller->isPlaying());
    }

    void keysGoToTheFrame_data()
    {
        QTest::addColumn<QByteArray>("on"); // whose focus it is
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("expected"); // from frame 30
        QTest::newRow("left") << QByteArray("player") << int(Qt::Key_Left) << 29;
        QTest::newRow("right") << QByteArray("player") << int(Qt::Key_Right) << 31;
        QTest::newRow("page up") << QByteArray("player") << int(Qt::Key_PageUp) << 5;
        QTest::newRow("page down") << QByteArray("player") << int(Qt::Key_PageDown) << 55;
        QTest::newRow("home") << QByteArray("player") << int(Qt::Key_Home) << 0;
        QTest::newRow("end") << QByteArray("player") << int(Qt::Key_End) << frameCount - 1;
        QTest::newRow("right on the button") << QByteArray("button") << int(Qt::Key_Right) << 31;
        QTest::newRow("right on the slider") << QByteArray("slider") << int(Qt::Key_Right) << 31;
        QTest::newRow("home on the slider") << QByteArray("slider") << int(Qt::Key_Home) << 0;
    }

    void keysGoToTheFrame()
    {
        QFETCH(QByteArray, on);
        QFETCH(int, key);
        QFETCH(int, expected);
        controller->seek(30);
        QTRY_COMPARE(controller->getPosition(), 30);
        QTest::keyClick(target(on), Qt::Key(key), Qt::ControlModifier); // the host's
        QTest::keyClick(target(on), Qt::Key(key));
        QTRY_COMPARE(controller->getPosition(), expected);
    }

    void spacePlaysOnceWhereverTheFocusIs()
    {
        for (const char *on : {"player", "button", "slider"}) {
            controller->seek(0);
            QTest::keyClick(target(on), Qt::Key_Space);
            QVERIFY2(controller->isPlaying(), on);
            QTest::keyClick(target(on), Qt::Key_Space);
            QVERIFY2(!controller->isPlaying(), on);
        }
    }

    void labelTellsTimeFrameAndCapture()
    {
        const std::unique_ptr<QLabel> label(controller->createLabel());
        QCOMPARE(label->text(), QStringLiteral("00:00.000 / 00:02.360   Frame 0 / 59"));
        controller->setCaptureTimes([](int frame) { return frame == 1 ? -1 : 61000 + frame; });
        QVERIFY(label->text().endsWith(QStringLiteral("Captured 01:01.000")));
        controller->step();
        QTRY_COMPARE(label->text(), QStringLiteral("00:00.040 / 00:02.360   Frame 1 / 59"));
        controller->setCaptureTimes(
            [](int) { return 1500; }, QDateTime(QDate(2026, 11, 24), QTime(20, 1, 2)));
        QVERIFY(label->text().endsWith(QStringLiteral("Captured 2026-11-24 20:01:03.500")));
        controller->setPlayer(nullptr);
        QVERIFY(label->text().isEmpty());
        QCOMPARE(controller->captureTimeOf(0), -1);
    }

    void snapshotIsTheFrameInTheSizeOfTheVideo()
    {
        controller->seek(21);
        QTRY_COMPARE(controller->getPosition(), 21);
        QSignalSpy saved(controller.get(), &VideoPlayerController::snapshotSaved);
        QSignalSpy errors(controller.get(), &VideoPlayerController::errorOccurred);
        const QString png = folder.filePath(QStringLiteral("shot.png"));
        controller->saveSnapshot(png);
        QVERIFY(saved.wait());
        const QImage picture(png);
        QCOMPARE(picture.size(), QSize(320, 240));
        QCOMPARE(frames::numberOf(QImageToCvMat(picture.convertToFormat(QImage::Format_RGB32))), 21);

        for (const char *name : {"shot.nothing", "shot", "no/such/folder.png"}) {
            controller->saveSnapshot(folder.filePath(QLatin1String(name)));
            QVERIFY2(errors.wait(), name);
            QVERIFY2(!errors.last().first().toString().isEmpty(), name);
        }
        QCOMPARE(saved.count(), 1);

        const QString late = folder.filePath(QStringLiteral("late.jpg"));
        controller->saveSnapshot(late);
        controller.reset(); // waits for the file
        QVERIFY(!QImage(late).isNull());
    }

    void controllerAndPlayerMayGoInAnyOrder()
    {
        QSignalSpy players(controller.get(), &VideoPlayerController::playerChanged);
        controller->play();
        player.reset();
        QCOMPARE(players.count(), 1);
        QVERIFY(!controller->isPlaying());
        QCOMPARE(controller->getPosition(), -1);
        controller->step();
        controller->togglePlaying();
        QSignalSpy errors(controller.get(), &VideoPlayerController::errorOccurred);
        controller->saveSnapshot(folder.filePath(QStringLiteral("none.png")));
        QCOMPARE(errors.count(), 1);

        VideoPlayerWidget other(path);
        controller->setPlayer(&other);
        QTRY_COMPARE(controller->getPosition(), 0);
        controller.reset();
        QTest::keyClick(&other, Qt::Key_Right); // nobody's
        other.setPosition(2);
        QTRY_COMPARE(other.getPosition(), 2);
    }

private:
    QWidget *target(const QByteArray &name) const
    {
        if (name == "button")
            return player->findChild<QAbstractButton *>();
        return name == "slider" ? player->findChild<QScrollBar *>() : static_cast<QWidget *>(player.get());
    }

    QTemporaryDir folder;
    QString path;
    std::unique_ptr<VideoPlayerWidget> player;
    std::unique_ptr<VideoPlayerController> controller;
};

QTEST_MAIN(VideoPlayerControllerTest)
#include "tst_videoplayercontroller.moc"
