// What the providers add to the library calls that they consist of, and how soon a frame reaches an idle
// worker.

#include "pipeline/imagefolderprovider.h"
#include "pipeline/imageprocessingthread.h"
#include "pipeline/imageprocessingthread2.h"
#include "pipeline/imagevideoprovider.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSemaphore>
#include <QTemporaryDir>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int pictureCount = 8;

// Soft noise, which compresses about as well as a photograph does.
cv::Mat picture(int seed)
{
    cv::Mat frame(720, 1280, CV_8UC3);
    cv::RNG random(static_cast<uint64>(seed) + 1);
    random.fill(frame, cv::RNG::UNIFORM, 0, 256);
    cv::GaussianBlur(frame, frame, {9, 9}, 0);
    return frame;
}

bool same(const cv::Mat &left, const cv::Mat &right)
{
    return left.size() == right.size() && left.type() == right.type()
        && cv::norm(left, right, cv::NORM_INF) == 0.0;
}

// Frees each frame at once, as the baselines do: one that keeps a frame works on another memory each time.
class Receiver
{
public:
    explicit Receiver(ImageProviderBase &provider)
    {
        QObject::connect(
            &provider, &ImageProviderBase::nextFrameReady, &provider, [this](cv::Mat *frame, int) {
                const std::unique_ptr<cv::Mat> owned(frame);
                ++count;
                if (keeps)
                    kept = *owned;
            });
    }

    benchmark::IterationCount count = 0;
    bool keeps = false;
    cv::Mat kept;
};

void folderProvider(benchmark::State &state, const QString &folder)
{
    ImageFolderProvider provider;
    Receiver receiver(provider);
    provider.setFolder(folder);
    const std::string second = (folder + QStringLiteral("/1.%1").arg(folder.section('/', -1))).toStdString();
    receiver.keeps = true;
    provider.prepareFrame(1);
    receiver.keeps = false;
    if (provider.getFrameAmount() != pictureCount || !same(receiver.kept, cv::imread(second))) {
        state.SkipWithError("the picture differs from what imread() gives");
        return;
    }
    receiver.kept.release();
    int index = 0;
    for (auto _ : state) {
        provider.prepareFrame(index);
        index = (index + 1) % pictureCount;
    }
}

void folderBaseline(benchmark::State &state, const QString &folder)
{
    int index = 0;
    for (auto _ : state) {
        const QString path = folder + QStringLiteral("/%1.%2").arg(index).arg(folder.section('/', -1));
        if (QFile::exists(path))
            benchmark::DoNotOptimize(cv::imread(path.toStdString(), cv::IMREAD_COLOR).data);
        index = (index + 1) % pictureCount;
    }
}

void videoProvider(benchmark::State &state, const QString &path)
{
    ImageVideoProvider provider;
    Receiver receiver(provider);
    provider.setFile(path);
    int index = 0;
    for (auto _ : state) {
        provider.prepareFrame(index);
        index = (index + 1) % provider.getFrameAmount();
    }
    if (receiver.count != state.iterations())
        state.SkipWithError("frames are missing");
}

void videoBaseline(benchmark::State &state, const QString &path)
{
    cv::VideoCapture capture(path.toStdString(), cv::CAP_FFMPEG);
    const int count = static_cast<int>(capture.get(cv::CAP_PROP_FRAME_COUNT));
    int index = 0;
    for (auto _ : state) {
        if (index == 0)
            capture.set(cv::CAP_PROP_POS_FRAMES, 0);
        cv::Mat frame; // a new one each time, as whoever keeps frames needs
        if (!capture.read(frame))
            state.SkipWithError("no frame came");
        benchmark::DoNotOptimize(frame.data);
        index = (index + 1) % count;
    }
}

template <typename Base> class Worker : public Base
{
public:
    ~Worker() override { this->stopAndWait(); }

    Clock::time_point reached;
    QSemaphore done;

private:
    void processImage() override
    {
        reached = Clock::now();
        if constexpr (std::is_same_v<Base, ImageProcessingThread>)
            delete this->m_frame.take();
        done.release();
    }
};

void handOver(ImageProcessingThread &worker, const cv::Mat &frame)
{
    worker.offerFrame(std::make_unique<cv::Mat>(frame));
}

void handOver(ImageProcessingThread2 &worker, const cv::Mat &frame)
{
    worker.processFrame(frame);
}

// The time shown is the median over many frames, each of which finds the worker asleep.
template <typename Base> void handOverLatency(benchmark::State &state)
{
    const cv::Mat frame = picture(0);
    Worker<Base> worker;
    worker.initAndStart();
    for (auto _ : state) {
        std::vector<double> seconds;
        for (int i = 0; i < 101; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
            const Clock::time_point begin = Clock::now();
            handOver(worker, frame);
            if (!worker.done.tryAcquire(1, 10'000)) {
                state.SkipWithError("a frame did not reach the operation");
                return;
            }
            seconds.push_back(std::chrono::duration<double>(worker.reached - begin).count());
        }
        std::nth_element(seconds.begin(), seconds.begin() + 50, seconds.end());
        state.SetIterationTime(seconds[50]);
        if (seconds[50] >= 1e-3)
            state.SkipWithError("the median is not under 1 ms");
    }
}

// What a producer pays for a frame that is dropped.
class BusyWorker : public ImageProcessingThread
{
public:
    ~BusyWorker() override { stopAndWait(); }

    QSemaphore entered;
    QSemaphore leave;

private:
    void processImage() override
    {
        entered.release();
        leave.acquire();
        delete m_frame.take();
    }
};

void droppedFrame(benchmark::State &state)
{
    const cv::Mat frame = picture(0);
    BusyWorker worker;
    worker.initAndStart();
    worker.processFrame(frame);
    worker.entered.acquire();
    for (auto _ : state)
        worker.processFrame(frame);
    worker.leave.release();
}

void measure(const std::string &name, void (*ours)(benchmark::State &, const QString &),
    void (*baseline)(benchmark::State &, const QString &), const QString &path)
{
    const auto add = [&path](const std::string &full, void (*function)(benchmark::State &, const QString &)) {
        benchmark::RegisterBenchmark(full.c_str(), [=](benchmark::State &state) { function(state, path); })
            ->Unit(benchmark::kMicrosecond)
            ->MeasureProcessCPUTime()
            ->UseRealTime();
    };
    add(name, ours);
    add(name + "/baseline", baseline);
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    QCoreApplication application(argc, argv);
    const QTemporaryDir dir;
    for (const QString suffix : {"jpg", "png", "bmp"}) {
        const QString folder = dir.filePath(suffix);
        QDir().mkpath(folder);
        for (int i = 0; i < pictureCount; ++i)
            cv::imwrite((folder + QStringLiteral("/%1.%2").arg(i).arg(suffix)).toStdString(), picture(i));
        measure("BM_ImageFolderProvider/1280x720/" + suffix.toStdString(), folderProvider, folderBaseline,
            folder);
    }
    const QString video = dir.filePath(QStringLiteral("video.avi"));
    {
        cv::VideoWriter writer(video.toStdString(), cv::CAP_FFMPEG,
            cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 25.0, {1280, 720});
        for (int i = 0; i < 50; ++i)
            writer.write(picture(i % pictureCount));
    }
    measure("BM_ImageVideoProvider/1280x720", videoProvider, videoBaseline, video);

    const auto latency = [](const char *name, void (*function)(benchmark::State &)) {
        benchmark::RegisterBenchmark(name, function)
            ->Unit(benchmark::kMicrosecond)
            ->UseManualTime()
            ->Iterations(1);
    };
    latency("BM_HandOverToIdleWorker/ImageProcessingThread", handOverLatency<ImageProcessingThread>);
    latency("BM_HandOverToIdleWorker/ImageProcessingThread2", handOverLatency<ImageProcessingThread2>);
    benchmark::RegisterBenchmark("BM_DroppedFrame/1280x720", droppedFrame)->Unit(benchmark::kNanosecond);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
