#include "brokenvideos.h"
#include "image/imagebridge.h"
#include "playback/playerdelivery_p.h"
#include "playback/playerprogress_p.h"
#include "playback/videoplayerwidget.h"
#include "playback/videoplayerworker_p.h"
#include "support/metaface.h"

#include <QLabel>
#include <QPushButton>
#include <QScrollBar>
#include <QtTest>

#include <climits>
#ifdef Q_OS_UNIX
#include <pthread.h>
#include <time.h>
#endif

namespace {

constexpr int count = 60;

int numberOf(QImage image)
{
    return frames::numberOf(QImageToCvMat(image.convertToFormat(QImage::Format_RGB32), true));
}

// Runs code on the thread of a player, between two passes.
class Visitor : public QObject
{
public:
    explicit Visitor(const VideoPlayerWidget &player) { moveToThread(player.findChild<QThread *>()); }

    template <typename Code> void run(const Code &code)
    {
        QMetaObject::invokeMethod(this, code, Qt::BlockingQueuedConnection);
    }
};

struct Player : VideoPlayerWidget
{
    explicit Player(const QString &path)
        : VideoPlayerWidget(path, nullptr), label(findChild<QLabel *>()), button(findChild<QPushButton *>()),
          slider(findChild<QScrollBar *>()), progress(findChild<PlayerProgress *>())
    {
    }

    QLabel *label;
    QPushButton *button;
    QScrollBar *slider;
    PlayerProgress *progress;
};

} // namespace

class VideoPlayerWidgetTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        avi = dir.filePath(QStringLiteral("Aufnahme №1.avi"));
        fast = dir.filePath(QStringLiteral("fast.avi"));
        slow = dir.filePath(QStringLiteral("slow.avi"));
        QVERIFY(frames::writeVideo(avi, count));
        whole = brokenvideos::bytesOf(avi);
        brokenvideos::write(fast, brokenvideos::forged(whole, count, 1000));
        brokenvideos::write(slow, brokenvideos::forged(whole, count, 1, 10));
    }

    void facesAreComplete()
    {
        QCOMPARE(metaface::ofClass(VideoPlayerWidget::staticMetaObject), QStringList());
        QCOMPARE(metaface::ofClass(VideoPlayerWorker::staticMetaObject),
            QStringList({"signal finished()", "signal frameReady(QImage)", "signal playedOnPosition(int)",
                "slot process()", "slot togglePlay(bool)", "slot changePosition(int)", "slot activateSeek()",
                "slot deactivateSeek()"}));
    }

    void newPlayerStandsPausedOnTheFirstFrame()
    {
        Player player(avi);
        QVERIFY(player.getImage().isNull());
        QCOMPARE(player.getPosition(), -1);
        QTRY_COMPARE(player.getPosition(), 0);
        QCOMPARE(numberOf(player.getImage()), 0);
        QVERIFY(!player.isPlaying());
        QCOMPARE(player.button->text(), QStringLiteral(">"));
        QCOMPARE(player.slider->minimum(), 0);
        QCOMPARE(player.slider->maximum(), count - 1);
        QCOMPARE(player.slider->value(), 0);
        QVERIFY(player.getError().isEmpty());
    }

    // What the worker hands out is kept to the end: a buffer that is written to again would show it.
    void workerReadsEachFrameOnceAndStopsAtTheEnd()
    {
        VideoPlayerWorker worker(fast);
        QThread thread;
        QVector<QImage> images; // by the worker's thread until it ends
        QVector<int> positions;
        std::atomic<int> played{0};
        connect(
            &worker, &VideoPlayerWorker::frameReady, this, [&](const QImage &image) { images << image; },
            Qt::DirectConnection);
        connect(
            &worker, &VideoPlayerWorker::playedOnPosition, this,
            [&](int position) {
                positions << position;
                ++played;
            },
            Qt::DirectConnection);
        connect(&thread, &QThread::started, &worker, &VideoPlayerWorker::process);
        worker.moveToThread(&thread);
        thread.start();
        const auto call = [&](const char *slot) {
            QVERIFY(QMetaObject::invokeMethod(&worker, slot, Qt::QueuedConnection, Q_ARG(bool, false)));
        };
        call("togglePlay");
        call("togglePlay"); // both in one pass, which is nothing
        call("togglePlay");
        QTRY_COMPARE(played.load(), count);
        call("togglePlay"); // does not play again
        QTRY_COMPARE(played.load(), count + 1);
        worker.stop();
        thread.exit(0);
        QVERIFY(thread.wait(20000));
        QCOMPARE(images.size(), count);
        for (int i = 0; i < count; ++i) {
            QCOMPARE(numberOf(images[i]), i);
            QCOMPARE(positions[i], qMin(i + 1, count - 1));
        }
        QCOMPARE(positions.last(), count - 1);
    }

    void onlyTheNewestPictureWaits()
    {
        int calls = 0;
        PlayerDelivery::News news;
        PlayerDelivery *out = nullptr;
        PlayerDelivery delivery(this, [&] {
            ++calls;
            news = out->take();
        });
        out = &delivery;
        QVector<std::shared_ptr<int>> pixels;
        for (int i = 0; i < 5; ++i) {
            pixels << std::make_shared<int>(i);
            const auto release = [](void *kept) { delete static_cast<std::shared_ptr<int> *>(kept); };
            auto *const kept = new std::shared_ptr<int>(pixels.last());
            delivery.putImage(QImage(reinterpret_cast<uchar *>(pixels.last().get()), 1, 1,
                                  QImage::Format_RGBA8888, release, kept),
                i);
            delivery.putSliderPosition(i, 0);
        }
        for (int i = 0; i < 5; ++i)
            QCOMPARE(pixels[i].use_count(), i == 4 ? 2L : 1L);
        QTRY_COMPARE(calls, 1);
        QCOMPARE(news.frame, 4);
        QCOMPARE(news.image.value.constBits(), reinterpret_cast<uchar *>(pixels[4].get())); // no copy
        QCOMPARE(news.sliderPosition.value, 4);
        QVERIFY(!news.playing.isNew);
    }

    void playingMovesTheSliderWithoutAnOrder()
    {
        Player player(fast);
        QSignalSpy moved(player.slider, &QScrollBar::valueChanged);
        QSignalSpy playing(player.progress, &PlayerProgress::playingChanged);
        player.button->click();
        QVERIFY(player.isPlaying());
        QTRY_VERIFY(!player.isPlaying());
        QCOMPARE(player.slider->value(), count - 1);
        QCOMPARE(player.getPosition(), count - 1);
        QCOMPARE(moved.size(), 0);
        QCOMPARE(playing.size(), 2);
        player.button->click();
        QTRY_VERIFY(!player.isPlaying());
        QCOMPARE(player.getPosition(), count - 1);
        QSignalSpy shown(player.progress, &PlayerProgress::shown);
        player.setPosition(0);
        player.setPlaying(true);
        QTRY_VERIFY(!player.isPlaying());
        QCOMPARE(player.getPosition(), count - 1);
        QVERIFY(shown[0][0].toInt() < count - 1);
    }

    void arrowKeysGoTheWayTheyPoint()
    {
        Player player(avi);
        QTest::keyClick(player.slider, Qt::Key_Right);
        QTest::keyClick(player.slider, Qt::Key_Right);
        QTRY_COMPARE(player.getPosition(), 2);
        QTest::keyClick(player.slider, Qt::Key_Left);
        QTRY_COMPARE(player.getPosition(), 1);
    }

    void toggleTwiceChangesNothing()
    {
        Player player(slow);
        QTRY_COMPARE(player.getPosition(), 0);
        player.button->click();
        player.button->click();
        player.setPosition(5);
        QTRY_COMPARE(player.getPosition(), 5);
        QVERIFY(!player.isPlaying());
        player.setPlaying(true);
        QTRY_COMPARE(player.getPosition(), 6); // and the next one only in 10 s
        player.setPlaying(false);
        player.setPosition(9);
        QTRY_COMPARE(player.getPosition(), 9);
    }

    void dragHoldsPlayingAndThePictureFollows()
    {
        Player player(avi);
        player.setPlaying(true);
        QTRY_VERIFY(player.getPosition() > 0);
        player.slider->setSliderDown(true);
        for (const int frame : {50, 3, 30, 20}) {
            player.slider->setSliderPosition(frame);
            QTRY_COMPARE(player.getPosition(), frame);
            QCOMPARE(numberOf(player.getImage()), frame);
        }
        QSignalSpy shown(player.progress, &PlayerProgress::shown);
        QVERIFY(!shown.wait(200));
        QVERIFY(player.isPlaying());
        player.slider->setSliderDown(false);
        QTRY_VERIFY(shown.size() >= 2);
        QCOMPARE(shown[0][0].toInt(), 21);
        QVERIFY(player.slider->value() > 20);
    }

    void brokenFileDoesNoHarm_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("sliderEnd");
        QTest::addColumn<int>("lastFrame");
        QTest::newRow("killed writer, no length") << brokenvideos::killed(whole) << 0 << count - 1;
        QTest::newRow("length of 4e9")
            << brokenvideos::forged(whole, 0xfffffff0, 1000) << INT_MAX - 1 << count - 1;
        QTest::newRow("rate of 4e9") << brokenvideos::forged(whole, count, 0xffffffff) << count - 1
                                     << count - 1;
        QTest::newRow("rate of 0") << brokenvideos::forged(whole, count, 0) << count - 1 << count - 1;
        QTest::newRow("cut") << brokenvideos::forged(whole, count, 1000).left(whole.size() / 2) << count - 1
                             << -1;
    }

    // Also: a position that cannot be reached is given up, playing goes on behind the frame shown.
    void brokenFileDoesNoHarm()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, sliderEnd);
        QFETCH(int, lastFrame);
        const QString path = brokenvideos::write(dir.filePath(QStringLiteral("broken.avi")), bytes);
        if (lastFrame < 0)
            lastFrame = frames::numbersIn(path).size() - 1;
        Player player(path);
        QCOMPARE(player.slider->maximum(), sliderEnd);
        QVERIFY(player.getFrameRate() >= 0.0 && player.getFrameRate() < 1e6);
        player.setPosition(lastFrame - 3);
        QTRY_COMPARE(player.getPosition(), lastFrame - 3);
        if (player.getFrameCount() > lastFrame + 1) {
            player.setPosition(INT_MAX);
            QTRY_COMPARE(player.slider->value(), lastFrame - 3);
            QVERIFY(shareOfACore(player) < 0.05);
        }
        player.setPlaying(true);
        QTRY_VERIFY(!player.isPlaying());
        QCOMPARE(player.getPosition(), lastFrame);
        if (count == lastFrame + 1) // the last one of a cut file may be cut itself
            QCOMPARE(numberOf(player.getImage()), lastFrame);
    }

    void unreadableFileIsBlackAndSaysWhy_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("reason");
        QTest::newRow("missing") << dir.filePath(QStringLiteral("none.avi")) << "no file";
        QTest::newRow("no path") << QString() << "chosen";
        QTest::newRow("folder") << dir.path() << "not a file";
        QTest::newRow("empty") << brokenvideos::write(dir.filePath(QStringLiteral("e.avi")), "") << "empty";
        QTest::newRow("text") << brokenvideos::write(
            dir.filePath(QStringLiteral("t.avi")), QByteArray(5000, 'x'))
                              << "not a video";
        const QByteArray without = QByteArray(whole).replace("\xff\xc0", "..").replace("\xff\xda", "..");
        QTest::newRow("no frame can be decoded")
            << brokenvideos::write(dir.filePath(QStringLiteral("h.avi")), without) << "No picture";
    }

    void unreadableFileIsBlackAndSaysWhy()
    {
        QFETCH(QString, path);
        QFETCH(QString, reason);
        Player player(path);
        player.resize(300, 200);
        QTRY_VERIFY2(player.getError().contains(reason), qPrintable(player.getError()));
        QCOMPARE(player.label->accessibleDescription(), player.getError());
        player.button->click();
        player.setPosition(3);
        QTRY_VERIFY(!player.isPlaying());
        QVERIFY(player.getImage().isNull());
        QVERIFY(player.getPictureRect().isEmpty());
        const QImage look = player.label->grab().toImage();
        QCOMPARE(look.pixelColor(look.rect().center()), QColor(Qt::black));
        QVERIFY(shareOfACore(player) < 0.05);
    }

    void destructionDoesNotWaitForTheNextFrame()
    {
        QElapsedTimer timer;
        {
            Player player(slow);
            player.setPlaying(true);
            QTRY_COMPARE(player.getPosition(), 1);
            timer.start();
        }
        QVERIFY(timer.elapsed() < 5000); // of the 10 s that the frame lasts
        for (int i = 0; i < 20; ++i) {
            Player player(avi); // at any moment of its start
            player.setPlaying(true);
        }
    }

    void pausedPlayerCostsNothing()
    {
        Player player(avi);
        QTRY_COMPARE(player.getPosition(), 0);
        const double used = shareOfACore(player);
        QVERIFY2(used < 0.01, qPrintable(QString::number(used)));
    }

    void pictureFollowsTheSizeOfThePlayer()
    {
        Player player(avi);
        player.show();
        QTRY_COMPARE(player.getPosition(), 0);
        QSignalSpy shown(player.progress, &PlayerProgress::shown);
        for (const QSize size : {QSize(900, 300), QSize(200, 500), QSize(100, 100), QSize(500, 500)}) {
            player.resize(size);
            QCOMPARE(player.size(), size);
            const QRect place = player.getPictureRect();
            QCOMPARE(player.getPictureWidget(), player.label);
            QCOMPARE(place.size(), QSize(320, 240).scaled(player.label->size(), Qt::KeepAspectRatio));
            QVERIFY((place.center() - player.label->rect().center()).manhattanLength() <= 2);
            const QImage picture = player.label->grab(place).toImage();
            if (place.width() >= 64)
                QCOMPARE(numberOf(picture), 0);
        }
        QCOMPARE(shown.size(), 0);
        QVERIFY(player.minimumSizeHint().width() < 200);
    }

private:
    // Processor time of the player's thread, which does not depend on what else runs here; 0 where unknown.
    static double shareOfACore(const VideoPlayerWidget &player)
    {
        double used = 0.0;
#ifdef Q_OS_UNIX
        Visitor visitor(player);
        clockid_t clock;
        visitor.run([&] { pthread_getcpuclockid(pthread_self(), &clock); });
        timespec before, after;
        clock_gettime(clock, &before);
        QTest::qWait(300);
        clock_gettime(clock, &after);
        used = ((after.tv_sec - before.tv_sec) + (after.tv_nsec - before.tv_nsec) / 1e9) / 0.3;
        visitor.run([&] { visitor.moveToThread(qApp->thread()); });
#endif
        return used;
    }

    QTemporaryDir dir;
    QString avi;
    QString fast; // 1000 Hz
    QString slow; // 10 s a frame
    QByteArray whole;
};

QTEST_MAIN(VideoPlayerWidgetTest)
#include "tst_videoplayerwidget.moc"
