#include "baselib/connectionhelper.h"
#include "baselib/frameratecounter.h"
#include "baselib/imageholder.h"
#include "baselib/vlist.h"
#include "support/metaface.h"

#include <QSignalSpy>
#include <QtTest>

#include <thread>
#include <type_traits>

namespace {

using namespace std::chrono;

// Keeps its picture elsewhere, as a holder of camera frames does.
class ForeignHolder : public ImageHolder
{
public:
    QImage getImage() override { return shown; }
    using ImageHolder::m_image;
    QImage shown{2, 2, QImage::Format_RGB32};
};

} // namespace

class BaseHelpersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void connectionsEndWithClearWithTheHelperAndWithAssignment()
    {
        static_assert(!std::is_copy_constructible_v<ConnectionHelper>);
        QObject sender;
        int calls = 0;
        const auto connection = [&] {
            return connect(&sender, &QObject::objectNameChanged, [&] { ++calls; });
        };
        const auto callsOfOneChange = [&] {
            calls = 0;
            sender.setObjectName(sender.objectName() + 'x');
            return calls;
        };
        {
            ConnectionHelper helper;
            helper << connection() << connection() << QMetaObject::Connection();
            QCOMPARE(callsOfOneChange(), 2);
            helper.clear();
            QCOMPARE(callsOfOneChange(), 0);

            helper << connection();
            ConnectionHelper other;
            other << connection() << connection();
            other = std::move(helper);
            QCOMPARE(callsOfOneChange(), 1);
            {
                auto temporary = std::make_unique<QObject>();
                other << connect(temporary.get(), &QObject::destroyed, [] {});
            }
        }
        QCOMPARE(callsOfOneChange(), 0);
    }

    void listBehavesLikeAQListButSurvivesABadIndex()
    {
        static_assert(sizeof(VList<QPoint>) == sizeof(QList<QPoint>));
        VList<QPoint> list{{1, 2}, {3, 4}};
        const QList<QPoint> plain = list;
        QCOMPARE(VList<QPoint>(plain), list);
        list[1] = {5, 6};
        QCOMPARE(std::as_const(list)[1], QPoint(5, 6));
        QCOMPARE(plain[1], QPoint(3, 4));

        for (int index : {-1, 2, 2}) {
            const QByteArray line = "[ " + QByteArray::number(index) + " ] index of out range 2";
            QTest::ignoreMessage(QtDebugMsg, line);
            QTest::ignoreMessage(QtDebugMsg, line);
            QCOMPARE(std::as_const(list)[index], QPoint());
            list[index] = {9, 9}; // goes nowhere
        }
        QCOMPARE(list, (VList<QPoint>{{1, 2}, {5, 6}}));
    }

    void ratesAreMeasuredFromFrameToFrame_data()
    {
        QTest::addColumn<double>("rate");
        QTest::addColumn<int>("reports"); // within 20 s
        QTest::newRow("a frame in five seconds") << 0.2 << 4;
        QTest::newRow("two in three seconds") << 2 / 3.0 << 13;
        QTest::newRow("camera") << 25.0 << 20;
        QTest::newRow("fast") << 1000.0 << 20;
    }
    void ratesAreMeasuredFromFrameToFrame()
    {
        QFETCH(double, rate);
        QFETCH(int, reports);
        FrameRateCounter counter;
        QSignalSpy spy(&counter, &FrameRateCounter::frameRateChanged);
        const auto run = [&](duration<double> start) {
            for (int i = 0; i <= 20 * rate; ++i)
                counter.nextFrameAt(duration_cast<nanoseconds>(start + duration<double>(i / rate)) + 1ns);
        };
        run(100s);
        QVERIFY2(qAbs(spy.size() - reports) <= 1, qPrintable(QString::number(spy.size())));
        counter.restart(); // what lies between is no frame interval
        run(5000s);
        for (const auto &report : spy)
            QVERIFY(qAbs(report.first().toDouble() - rate) < rate * 1e-6);
    }

    void clockThatStepsBackGivesNoNonsense()
    {
        FrameRateCounter counter;
        QSignalSpy spy(&counter, &FrameRateCounter::frameRateChanged);
        for (seconds time : {10s, 9s, 10s, 12s})
            counter.nextFrameAt(time);
        QCOMPARE(spy.size(), 1);
        QCOMPARE(spy.first().first().toDouble(), 1.5);
    }

    void framesOfSeveralThreadsAllCount()
    {
        FrameRateCounter counter;
        std::atomic<double> rate{0};
        connect(
            &counter, &FrameRateCounter::frameRateChanged, this, [&](double value) { rate = value; },
            Qt::DirectConnection);
        counter.nextFrameAt(0s);
        const auto tick = [&] {
            for (int i = 0; i < 5000; ++i)
                counter.nextFrameAt(500ms);
        };
        std::thread first(tick);
        std::thread second(tick);
        first.join();
        second.join();
        counter.nextFrameAt(1s);
        QCOMPARE(rate.load(), 10001.0);
        QCOMPARE(metaface::ofClass(FrameRateCounter::staticMetaObject),
            QStringList{"signal frameRateChanged(double)"});
    }

    void holderFillsItsPictureAndTellsOfIt()
    {
        ImageHolder holder;
        QSignalSpy changes(&holder, &ImageHolder::imageChanged);
        QVERIFY(holder.getImage().isNull());
        holder.setEmptyImage(Qt::red);
        QCOMPARE(holder.getImage().size(), QSize(640, 480));
        QCOMPARE(holder.getImage().format(), QImage::Format_RGB32);
        QCOMPARE(holder.getImage().pixelColor(639, 479), QColor(Qt::red));
        QCOMPARE(changes.size(), 1);

        QImage picture(3, 2, QImage::Format_Grayscale8);
        picture.fill(7);
        holder.setImage(picture);
        QCOMPARE(holder.getImage(), picture);
        QCOMPARE(changes.size(), 2);
        holder.setEmptyImage(QColor(1, 2, 3, 4));
        QCOMPARE(holder.getImage().size(), QSize(3, 2));
        QCOMPARE(holder.getImage().format(), QImage::Format_RGBA8888);
        QCOMPARE(holder.getImage().pixelColor(2, 1), QColor(1, 2, 3, 4));
        QCOMPARE(picture.pixelColor(0, 0), QColor(7, 7, 7));
        QCOMPARE(metaface::ofClass(ImageHolder::staticMetaObject), QStringList{"signal imageChanged()"});
    }

    void holderOfAForeignPictureAnnouncesThatOneOnly()
    {
        ForeignHolder holder;
        QSignalSpy changes(&holder, &ImageHolder::imageChanged);
        holder.setEmptyImage(Qt::blue);
        QCOMPARE(holder.m_image.pixelColor(0, 0), QColor(Qt::blue));
        QCOMPARE(changes.size(), 0); // what viewers fetch is still the same
    }
};

QTEST_GUILESS_MAIN(BaseHelpersTest)
#include "tst_basehelpers.moc"
