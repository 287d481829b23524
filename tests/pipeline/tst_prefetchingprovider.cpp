#include "pipeline/prefetchingprovider.h"
#include "receivedframes.h"
#include "support/metaface.h"

#include <QSemaphore>
#include <QtTest>

#include <stdexcept>

using Entries = QVector<ReceivedFrames::Entry>;

namespace {

// Notes what it was asked for, and can be held up.
class Source : public ImageProviderBase
{
public:
    explicit Source(int amount) { setFrameAmount(amount); }

    using ImageProviderBase::setFrameAmount;

    bool isSourceStreaming() override { return streaming; }
    void prepareFrame(int index = 0) override
    {
        if (held)
            gate.acquire();
        const QMutexLocker lock(&mutex);
        asked << index;
        readElsewhere = readElsewhere || QThread::currentThread() != thread();
        if (index == failing)
            throw std::runtime_error("unreadable");
        if (index == missing)
            return;
        const int number = streaming ? 100 + streamed++ : index;
        deliverFrame(number, std::make_unique<cv::Mat>(frames::numbered(number, {64, 16})));
    }

    QVector<int> askedSoFar()
    {
        const QMutexLocker lock(&mutex);
        return asked;
    }

    bool streaming = false;
    int streamed = 0;
    int missing = -1;
    int failing = -1;
    std::atomic<bool> held{false};
    std::atomic<bool> readElsewhere{false};
    QSemaphore gate;

private:
    QMutex mutex; // guards asked
    QVector<int> asked;
};

QVector<int> range(int from, int end, int step = 1)
{
    QVector<int> numbers;
    for (int i = from; step > 0 ? i < end : i > end; i += step)
        numbers << i;
    return numbers;
}

} // namespace

class PrefetchingProviderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasNoMetaObjectEntriesBeyondItsSlot()
    {
        QCOMPARE(metaface::ofClass(PrefetchingProvider::staticMetaObject),
            QStringList({"slot prepareFrame(int)", "slot prepareFrame() [cloned]"}));
    }

    void requestsAreAnsweredInOrder_data()
    {
        QTest::addColumn<QVector<int>>("requests");
        QTest::newRow("forward") << range(0, 40);
        QTest::newRow("backward") << range(39, -1, -1);
        QTest::newRow("in steps") << range(0, 40, 7);
        QTest::newRow("all over the place") << QVector<int>{5, 5, 0, 39, 38, 2, 3, 4, 20, 3, 3, 39, 0};
    }

    void requestsAreAnsweredInOrder()
    {
        QFETCH(QVector<int>, requests);
        Entries expected;
        for (const int index : requests)
            expected.append({index, index});

        auto *source = new Source(40);
        PrefetchingProvider provider{std::unique_ptr<ImageProviderBase>(source)};
        ReceivedFrames received(provider);
        QCOMPARE(provider.getFrameAmount(), 40);
        for (const int index : requests)
            provider.prepareFrame(index);
        QVERIFY(received.entries.isEmpty());
        QTRY_COMPARE(received.entries.size(), requests.size());
        QCOMPARE(received.take(), expected);
        QVERIFY(source->readElsewhere);

        // And once more, each request from within the answer to the one before.
        int next = 0;
        connect(&provider, &PrefetchingProvider::nextFrameReady, this, [&] {
            if (next < requests.size())
                provider.prepareFrame(requests[next++]);
        });
        provider.prepareFrame(requests[next++]);
        QTRY_COMPARE(received.entries.size(), requests.size());
        QCOMPARE(received.take(), expected);
        QCOMPARE(provider.getCurrentFrameIndex(), requests.last());
    }

    void readsAheadAsFarAsAllowed_data()
    {
        QTest::addColumn<QVector<int>>("requests");
        QTest::addColumn<QVector<int>>("read");
        QTest::newRow("forward") << QVector<int>{10} << QVector<int>{10, 11, 12, 13};
        QTest::newRow("backward") << QVector<int>{10, 9} << QVector<int>{9, 8, 7, 6};
        QTest::newRow("in steps") << QVector<int>{10, 15, 20} << QVector<int>{20, 25, 30, 35};
        QTest::newRow("up to the end") << QVector<int>{38} << QVector<int>{38, 39};
        QTest::newRow("down to the start") << QVector<int>{2, 1} << QVector<int>{1, 0};
    }

    void readsAheadAsFarAsAllowed()
    {
        QFETCH(QVector<int>, requests);
        QFETCH(QVector<int>, read);
        auto *source = new Source(40);
        PrefetchingProvider provider(std::unique_ptr<ImageProviderBase>(source), 3);
        ReceivedFrames received(provider);
        for (const int index : requests) {
            provider.prepareFrame(index);
            QTRY_COMPARE(received.entries.size(), 1);
            received.take();
        }
        const auto last = [&] {
            return source->askedSoFar().mid(source->askedSoFar().lastIndexOf(read.first()));
        };
        QTRY_COMPARE(last(), read);
        QTest::qWait(50); // nothing more
        QCOMPARE(last(), read);
    }

    void missingAndFailingFramesDoNotHoldUpTheRest()
    {
        auto *source = new Source(10);
        source->missing = 2;
        source->failing = 4;
        PrefetchingProvider provider{std::unique_ptr<ImageProviderBase>(source)};
        ReceivedFrames received(provider);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("frame 4 .*unreadable")));
        for (int i = -1; i <= 10; ++i)
            provider.prepareFrame(i);
        const Entries expected{{0, 0}, {1, 1}, {3, 3}, {5, 5}, {6, 6}, {7, 7}, {8, 8}, {9, 9}};
        QTRY_COMPARE(received.entries, expected);
    }

    void streamingSourceGivesItsFramesOneAfterTheOther()
    {
        auto owned = std::make_unique<Source>(0);
        owned->streaming = true;
        PrefetchingProvider provider(std::move(owned), 2);
        ReceivedFrames received(provider);
        for (int i = 0; i < 5; ++i)
            provider.prepareFrame();
        QTRY_COMPARE(received.entries, Entries({{100, 100}, {101, 101}, {102, 102}, {103, 103}, {104, 104}}));
        QCOMPARE(provider.getCurrentFrameIndex(), 0);
    }

    void changeOfTheSourceDropsWhatWasRead()
    {
        auto *source = new Source(10);
        PrefetchingProvider provider{std::unique_ptr<ImageProviderBase>(source)};
        ReceivedFrames received(provider);
        provider.setCurrentFrameIndex(3);
        QTRY_COMPARE(received.entries, Entries({{3, 3}}));
        received.take();
        for (int i = 4; i < 8; ++i)
            provider.prepareFrame(i);
        QThread *changedOn = nullptr;
        provider.withSource([&](ImageProviderBase &same) {
            QCOMPARE(&same, source);
            changedOn = QThread::currentThread();
            source->missing = 0; // what it reads from now on is another series
            source->setFrameAmount(5);
        });
        QCOMPARE(changedOn, QThread::currentThread());
        QCOMPARE(provider.getFrameAmount(), 5);
        QCOMPARE(provider.getCurrentFrameIndex(), 0);
        provider.prepareFrame(1);
        QTRY_COMPARE(received.entries, Entries({{1, 1}}));
    }

    void cancelledRequestsAreNotAnswered()
    {
        auto *source = new Source(40);
        source->held = true;
        PrefetchingProvider provider{std::unique_ptr<ImageProviderBase>(source)};
        ReceivedFrames received(provider);
        for (int i = 0; i < 10; ++i)
            provider.prepareFrame(i);
        provider.cancelRequests();
        provider.prepareFrame(30);
        source->held = false;
        source->gate.release(2);
        QTRY_COMPARE(received.entries, Entries({{30, 30}}));
    }

    void mayBeDestroyedByItsReceiverAndWhileItReads()
    {
        auto *provider = new PrefetchingProvider(std::make_unique<Source>(1000));
        bool destroyed = false;
        connect(provider, &PrefetchingProvider::nextFrameReady, provider, [&](cv::Mat *frame, int index) {
            delete frame;
            if (index == 3) {
                delete provider;
                destroyed = true;
            }
        });
        for (int i = 0; i < 10; ++i)
            provider->prepareFrame(i);
        QTRY_VERIFY(destroyed);

        for (int i = 0; i < 200; ++i) {
            PrefetchingProvider shortLived(std::make_unique<Source>(1000), 1 + i % 5);
            shortLived.prepareFrame(i);
            shortLived.prepareFrame(2 * i);
            if (i % 3 == 0)
                QCoreApplication::processEvents();
        }
    }
};

QTEST_GUILESS_MAIN(PrefetchingProviderTest)
#include "tst_prefetchingprovider.moc"
