#include "pipeline/imageprocessingthread.h"
#include "pipeline/imageprocessingthread2.h"
#include "support/frames.h"
#include "support/metaface.h"

#include <QRegularExpression>
#include <QSemaphore>
#include <QtTest>

#include <functional>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

// Its operation notes the number of the frame and then does what the test says.
template <typename Base> class Worker : public Base
{
public:
    using Operation = std::function<void(Worker &)>;

    explicit Worker(Operation operation = {}) : operation(std::move(operation)) { }
    ~Worker() override { this->stopAndWait(); }

    using Base::m_frame;
    using VTThread::stopAndWait;

    bool isOccupied() const
    {
        if constexpr (std::is_same_v<Base, ImageProcessingThread>)
            return this->m_busy;
        else
            return this->m_hasFrame;
    }

    std::atomic<int> runs{0};
    std::atomic<int> lastNumber{-2};

private:
    void processImage() override
    {
        if constexpr (std::is_same_v<Base, ImageProcessingThread>)
            lastNumber = frames::numberOf(*m_frame);
        else
            lastNumber = frames::numberOf(m_frame);
        ++runs;
        if (operation)
            operation(*this);
    }

    Operation operation;
};

using Newest = Worker<ImageProcessingThread>;
using Oldest = Worker<ImageProcessingThread2>;

void freeTaken(Newest &worker)
{
    delete worker.m_frame.take();
}

// Holds the operation up in its midst until the test lets it go on.
class Gate
{
public:
    void pass()
    {
        entered.release();
        leave.acquire();
    }
    bool awaitEntry() { return entered.tryAcquire(1, 10'000); }
    void open() { leave.release(); }

private:
    QSemaphore entered;
    QSemaphore leave;
};

bool isIdle(PipelineStatistics &statistics)
{
    const PipelineStatistics::Figures figures = statistics.figures();
    return figures.offered == figures.processed + figures.dropped;
}

// All bytes of such a frame are the same, so one that was written or freed under the reader's hands shows.
bool isWhole(const cv::Mat &frame)
{
    double least = 0.0;
    double most = 0.0;
    cv::minMaxLoc(frame, &least, &most);
    return least == most;
}

} // namespace

class ProcessingThreadsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void workersHaveNoMetaObjectEntriesOfTheirOwn()
    {
        QCOMPARE(metaface::ofClass(ImageProcessingThread::staticMetaObject), QStringList());
        QCOMPARE(metaface::ofClass(ImageProcessingThread2::staticMetaObject), QStringList());
        static_assert(std::is_base_of_v<VTThread, ImageProcessingThread>);
        static_assert(sizeof(FrameSlot) == sizeof(quint64));
    }

    void newestOfTwoFramesWins()
    {
        Newest worker(freeTaken);
        worker.processFrame(frames::numbered(1));
        worker.processFrame(frames::numbered(2));
        worker.initAndStart();
        QTRY_VERIFY(isIdle(worker.statistics()));
        QCOMPARE(worker.lastNumber.load(), 2);
        QCOMPARE(worker.runs.load(), 1);
    }

    void oldestOfTwoFramesWinsAndRunsOnce()
    {
        Oldest worker;
        worker.processFrame(frames::numbered(1));
        worker.processFrame(frames::numbered(2));
        worker.initAndStart();
        QTRY_VERIFY(isIdle(worker.statistics()));
        QTest::qWait(50); // some passes in which nothing may happen
        QCOMPARE(worker.lastNumber.load(), 1);
        QCOMPARE(worker.runs.load(), 1);
    }

    void framesOfABusyWorkerAreDropped_data()
    {
        QTest::addColumn<bool>("second");
        QTest::newRow("ImageProcessingThread") << false;
        QTest::newRow("ImageProcessingThread2") << true;
    }

    void framesOfABusyWorkerAreDropped()
    {
        QFETCH(bool, second);
        if (second)
            dropsWhileBusy<Oldest>([](Oldest &) {});
        else
            dropsWhileBusy<Newest>(freeTaken);
    }

    void frameRunsAgainUntilTheOperationTakesIt()
    {
        Newest worker([](Newest &self) {
            if (self.runs == 3)
                delete self.m_frame.take();
        });
        worker.processFrame(frames::numbered(7));
        worker.initAndStart();
        QTRY_COMPARE(worker.runs.load(), 3);
        QTest::qWait(50);
        QCOMPARE(worker.runs.load(), 3);
        QCOMPARE(worker.statistics().figures().processed, quint64(1));
    }

    void framesWithoutPixelsNeverReachTheOperation()
    {
        Newest worker(freeTaken);
        const auto hollow = std::make_unique<cv::Mat>(0, 5, CV_8UC3);
        worker.initAndStart();
        worker.processFrame(cv::Mat());
        worker.processFrame(static_cast<cv::Mat *>(nullptr));
        QVERIFY(!worker.offerFrame(std::make_unique<cv::Mat>()));
        QVERIFY(!worker.offerFrame(nullptr));
        worker.processFrame(hollow.get());
        QTRY_VERIFY(isIdle(worker.statistics()));
        QCOMPARE(worker.runs.load(), 0);
        QCOMPARE(worker.statistics().figures().dropped, quint64(3));

        Oldest other;
        other.initAndStart();
        other.processFrame(cv::Mat());
        QTRY_COMPARE(other.runs.load(), 1);
        QCOMPARE(other.lastNumber.load(), -1);
    }

    void nullTakesTheWaitingFrameBack()
    {
        Newest worker(freeTaken);
        worker.processFrame(frames::numbered(1));
        worker.processFrame(static_cast<cv::Mat *>(nullptr));
        QCOMPARE(static_cast<cv::Mat *>(worker.m_frame), nullptr);
        worker.initAndStart();
        worker.processFrame(frames::numbered(2));
        QTRY_COMPARE(worker.lastNumber.load(), 2);
        QCOMPARE(worker.runs.load(), 1);
    }

    void pointerIsHandedOverWithoutACopyAndNeverFreed()
    {
        cv::Mat onTheStack = frames::numbered(3);
        cv::Mat replaced = frames::numbered(4);
        std::atomic<cv::Mat *> seen{nullptr};
        {
            Newest worker([&seen](Newest &self) { seen = self.m_frame.take(); });
            worker.processFrame(&replaced);
            worker.processFrame(&onTheStack);
            QCOMPARE(static_cast<cv::Mat *>(worker.m_frame), &onTheStack);
            worker.initAndStart();
            QTRY_COMPARE(seen.load(), &onTheStack);
            QTRY_VERIFY(isIdle(worker.statistics()));
            worker.stopAndWait();
            worker.processFrame(&onTheStack); // still there at the end
        }
        QCOMPARE(frames::numberOf(onTheStack), 3);
        QCOMPARE(frames::numberOf(replaced), 4);
    }

    void copyIsIndependentOfTheProducersBuffer()
    {
        cv::Mat buffer = frames::numbered(5);
        Newest worker(freeTaken);
        worker.processFrame(buffer);
        frames::numbered(6).copyTo(buffer);
        worker.initAndStart();
        QTRY_COMPARE(worker.lastNumber.load(), 5);
    }

    void frameInTheSlotIsFreedWithItsWorkerButATakenOneIsNot()
    {
        // A second header on the pixels tells whether the frame is still there.
        cv::Mat waiting = frames::numbered(1);
        cv::Mat taken = frames::numbered(2);
        cv::Mat left = frames::numbered(3);
        const auto holders = [](const cv::Mat &frame) { return frame.u->refcount; };
        std::unique_ptr<cv::Mat> kept;
        {
            Newest worker([&kept](Newest &self) {
                if (self.lastNumber == 2)
                    kept.reset(self.m_frame.take());
            });
            worker.initAndStart();
            QVERIFY(worker.offerFrame(std::make_unique<cv::Mat>(taken)));
            QTRY_COMPARE(worker.lastNumber.load(), 2);
            QTRY_VERIFY(!worker.isOccupied());
            QVERIFY(worker.offerFrame(std::make_unique<cv::Mat>(left)));
            QTRY_COMPARE(worker.lastNumber.load(), 3);
            worker.stopAndWait();
            QCOMPARE(holders(left), 2);
            QVERIFY(worker.offerFrame(std::make_unique<cv::Mat>(waiting)));
            QCOMPARE(holders(left), 1);
            QCOMPARE(holders(waiting), 2);
        }
        QCOMPARE(holders(waiting), 1);
        QCOMPARE(holders(taken), 2);
        QCOMPARE(frames::numberOf(*kept), 2);
    }

    void exceptionDoesNotBlockTheWorkerForEver()
    {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("boom")));
        Newest newest([](Newest &self) {
            delete self.m_frame.take();
            if (self.runs == 1)
                throw std::runtime_error("boom");
        });
        newest.initAndStart();
        newest.processFrame(frames::numbered(1));
        QTRY_VERIFY(isIdle(newest.statistics()));
        QTRY_VERIFY(!newest.isOccupied());
        QVERIFY(newest.offerFrame(std::make_unique<cv::Mat>(frames::numbered(2))));
        QTRY_COMPARE(newest.runs.load(), 2);

        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("boom")));
        Oldest oldest([](Oldest &self) {
            if (self.runs == 1)
                throw std::runtime_error("boom");
        });
        oldest.initAndStart();
        oldest.processFrame(frames::numbered(1));
        QTRY_VERIFY(oldest.runs == 1 && !oldest.isOccupied());
        oldest.processFrame(frames::numbered(2));
        QTRY_COMPARE(oldest.lastNumber.load(), 2);
    }

    void manyProducersNeitherTearNorLoseNorLeakFrames_data()
    {
        QTest::addColumn<bool>("second");
        QTest::newRow("ImageProcessingThread") << false;
        QTest::newRow("ImageProcessingThread2") << true;
    }

    void manyProducersNeitherTearNorLoseNorLeakFrames()
    {
        QFETCH(bool, second);
        std::atomic<int> torn{0};
        if (second) {
            Oldest worker([&torn](Oldest &self) { torn += isWhole(self.m_frame) ? 0 : 1; });
            produce(worker, [&worker](const cv::Mat &frame) { worker.processFrame(frame.clone()); });
        } else {
            // Now and then a frame is left in the slot, so that it is replaced after the operation has seen
            // it.
            Newest worker([&torn](Newest &self) {
                torn += isWhole(*self.m_frame) ? 0 : 1;
                if (self.runs % 3 != 0)
                    delete self.m_frame.take();
            });
            produce(worker, [&worker](const cv::Mat &frame) {
                if (frame.at<uchar>(0, 0) % 2 == 0)
                    worker.processFrame(frame);
                else
                    worker.offerFrame(std::make_unique<cv::Mat>(frame.clone()));
            });
        }
        QCOMPARE(torn.load(), 0);
    }

    void statisticsTellRateAndLatency()
    {
        PipelineStatistics statistics;
        const PipelineStatistics::Figures none = statistics.figures();
        QCOMPARE(none.rate, 0.0);
        QCOMPARE(none.latencyMedianMs, 0.0);
        QCOMPARE(none.latency95Ms, 0.0);

        // Latencies of 1 to 1000 s, the last 512 of which count; small errors of the clock do not matter.
        const auto now = std::chrono::steady_clock::now;
        const auto begin = now();
        for (int i = 1; i <= 1000; ++i) {
            statistics.countOffered();
            statistics.countProcessed(now() - std::chrono::seconds(i));
        }
        statistics.countOffered();
        statistics.countDropped();
        const PipelineStatistics::Figures figures = statistics.figures();
        const double seconds = std::chrono::duration<double>(now() - begin).count();
        QCOMPARE(figures.offered, quint64(1001));
        QCOMPARE(figures.processed, quint64(1000));
        QCOMPARE(figures.dropped, quint64(1));
        QCOMPARE(qRound(figures.latencyMedianMs / 1000), 488 + 256);
        QCOMPARE(qRound(figures.latency95Ms / 1000), 488 + 487);
        QVERIFY2(figures.rate > 511 / seconds, qPrintable(QString::number(figures.rate)));

        QTRY_VERIFY(statistics.figures().rate < figures.rate / 2); // nothing comes any more
        statistics.restart();
        QCOMPARE(statistics.figures().processed, quint64(0));
        QCOMPARE(statistics.figures().rate, 0.0);
    }

private:
    template <typename Kind> static void dropsWhileBusy(const std::function<void(Kind &)> &end)
    {
        Gate gate;
        Kind worker([&](Kind &self) {
            gate.pass();
            end(self);
        });
        worker.initAndStart();
        worker.processFrame(frames::numbered(1));
        QVERIFY(gate.awaitEntry());
        worker.processFrame(frames::numbered(2));
        QCOMPARE(worker.statistics().figures().dropped, quint64(1));
        gate.open();
        QTRY_VERIFY(isIdle(worker.statistics()));

        // The next one is accepted. The figures tell of the end an instant before that.
        gate.open();
        QTRY_VERIFY(!worker.isOccupied());
        worker.processFrame(frames::numbered(3));
        QTRY_COMPARE(worker.lastNumber.load(), 3);
        QTRY_COMPARE(worker.statistics().figures().processed, quint64(2));
        QCOMPARE(worker.runs.load(), 2);
    }

    template <typename Kind>
    static void produce(Kind &worker, const std::function<void(const cv::Mat &)> &handOver)
    {
        worker.initAndStart();
        std::vector<std::thread> producers;
        for (int producer = 0; producer < 3; ++producer) {
            producers.emplace_back([&handOver, producer] {
                for (int i = 0; i < 2000; ++i) {
                    handOver(cv::Mat(48, 64, CV_8UC1, cv::Scalar((i * 3 + producer) % 256)));
                    if (i % 16 == 0)
                        std::this_thread::yield();
                }
            });
        }
        for (std::thread &producer : producers)
            producer.join();
        QTRY_VERIFY(isIdle(worker.statistics()));
        const PipelineStatistics::Figures figures = worker.statistics().figures();
        QCOMPARE(figures.offered, quint64(6000));
        QVERIFY(figures.processed > 0);
        QVERIFY(figures.dropped > 0);
        worker.stopAndWait();
    }
};

QTEST_GUILESS_MAIN(ProcessingThreadsTest)
#include "tst_processingthreads.moc"
