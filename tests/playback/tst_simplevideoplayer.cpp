#include "baselib/imageholderviewer.h"
#include "brokenvideos.h"
#include "image/imagebridge.h"
#include "playback/simplevideoplayer.h"
#include "support/metaface.h"

#include <QtTest>

#include <cmath>

class SimpleVideoPlayerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        avi = dir.filePath(QStringLiteral("Aufnahme №1.avi"));
        QVERIFY(frames::writeVideo(avi, 60));
    }

    void faceIsComplete()
    {
        QCOMPARE(metaface::ofClass(SimpleVideoPlayer::staticMetaObject),
            QStringList({"slot setVideo(QString)", "slot setPosition(int)", "slot setPositionMs(int)",
                "slot setPositionSeconds(double)", "slot clearImage()", "slot release()"}));
    }

    void orderShowsAFrameOrLeavesThePicture_data()
    {
        QTest::addColumn<std::function<void(SimpleVideoPlayer &)>>("order");
        QTest::addColumn<int>("shown");
        const auto add = [](const char *name, std::function<void(SimpleVideoPlayer &)> order, int shown) {
            QTest::newRow(name) << order << shown;
        };
        constexpr int before = 10;
        add(
            "last", [](auto &p) { p.setPosition(59); }, 59);
        add(
            "behind the last", [](auto &p) { p.setPosition(60); }, before);
        add(
            "negative", [](auto &p) { p.setPosition(-1); }, before);
        add(
            "ms, cut", [](auto &p) { p.setPositionMs(1039); }, 25);
        add(
            "ms, too large", [](auto &p) { p.setPositionMs(INT_MAX); }, before);
        add(
            "ms, negative", [](auto &p) { p.setPositionMs(-40); }, before);
        add(
            "seconds, cut", [](auto &p) { p.setPositionSeconds(0.999); }, 24);
        add(
            "seconds, behind the end", [](auto &p) { p.setPositionSeconds(2.4); }, before);
        for (const double wrong : {1e300, -1e300, double(NAN), double(INFINITY)})
            add(
                qPrintable(QStringLiteral("seconds, %1").arg(wrong)),
                [wrong](auto &p) { p.setPositionSeconds(wrong); }, before);
    }

    void orderShowsAFrameOrLeavesThePicture()
    {
        QFETCH(std::function<void(SimpleVideoPlayer &)>, order);
        QFETCH(int, shown);
        SimpleVideoPlayer player;
        order(player); // without a video
        QCOMPARE(numberIn(player), -1);
        player.setVideo(avi);
        QCOMPARE(numberIn(player), 0);
        player.setPosition(10);
        order(player);
        QCOMPARE(numberIn(player), shown);
        QCOMPARE(player.getPosition(), shown);
    }

    void pictureOutlastsTheVideo()
    {
        SimpleVideoPlayer player;
        player.setVideo(avi);
        QCOMPARE(player.getFps(), 25.0);
        player.setPosition(30);
        player.clearImage();
        QCOMPARE(numberIn(player), -1);
        QCOMPARE(player.getPosition(), -1);
        player.setPosition(30); // it stood there already
        QCOMPARE(numberIn(player), 30);
        player.setVideo(avi);
        QCOMPARE(numberIn(player), 0);
        player.setPosition(5);
        player.setVideo(dir.filePath(QStringLiteral("missing.avi")));
        QCOMPARE(player.getFrameCount(), 0);
        QCOMPARE(player.getFps(), 0.0);
        player.setPosition(7);
        player.setPositionMs(0);
        QCOMPARE(numberIn(player), 5);
        player.setVideo(avi);
        player.release();
        player.setPosition(7);
        QCOMPARE(numberIn(player), 0);
    }

    void brokenFileShowsWhatItHas_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("asked");
        QTest::addColumn<int>("shown");
        const QByteArray whole = brokenvideos::bytesOf(avi);
        QTest::newRow("garbage") << QByteArray(5000, 'x') << 0 << -1;
        QTest::newRow("killed writer, no length") << brokenvideos::killed(whole) << 5 << -1;
        QTest::newRow("cut, readable") << whole.left(whole.size() / 2) << 20 << 20;
        QTest::newRow("cut, lost") << whole.left(whole.size() / 2) << 50 << 0;
        QTest::newRow("length of 4e9, there") << brokenvideos::forged(whole, 0xfffffff0) << 50 << 50;
        QTest::newRow("length of 4e9, not there")
            << brokenvideos::forged(whole, 0xfffffff0) << 2000000000 << 0;
    }

    void brokenFileShowsWhatItHas()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, asked);
        QFETCH(int, shown);
        SimpleVideoPlayer player;
        player.setVideo(brokenvideos::write(dir.filePath(QStringLiteral("broken.avi")), bytes));
        player.setPosition(asked);
        QCOMPARE(numberIn(player), shown);
        player.setPosition(1); // a failed move leaves no trace
        QCOMPARE(numberIn(player), shown < 0 ? -1 : 1);
    }

private:
    static int numberIn(const SimpleVideoPlayer &player)
    {
        return frames::numberOf(QImageToCvMat(player.getPictureWidget()->imageHolder()->getImage(), true));
    }

    QTemporaryDir dir;
    QString avi;
};

Q_DECLARE_METATYPE(std::function<void(SimpleVideoPlayer &)>)

QTEST_MAIN(SimpleVideoPlayerTest)
#include "tst_simplevideoplayer.moc"
