// The swapped conversions between frames and Qt images against QImage::rgbSwapped() of the same picture.

#include "image/imagebridge.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <string>

namespace {

struct Size
{
    const char *name;
    int width;
    int height;
};

constexpr Size sizes[] = {{"640x480", 640, 480}, {"1920x1080", 1920, 1080}, {"3840x2160", 3840, 2160}};

// Owns its pixels, as a decoded or grabbed picture does.
cv::Mat noise(const Size &size, int type)
{
    cv::Mat frame(size.height, size.width, type);
    cv::RNG random(1);
    random.fill(frame, cv::RNG::UNIFORM, 0, 256);
    return frame;
}

QImage wrapped(const cv::Mat &frame, QImage::Format format)
{
    return QImage(frame.data, frame.cols, frame.rows, static_cast<int>(frame.step[0]), format);
}

using Conversion = std::function<QImage()>;

// Registers `name/size` and `name/size/baseline`. Both give a QImage; they are compared once before the clock
// runs.
void compare(const std::string &name, const Conversion &check, const std::function<void()> &ours,
    const Conversion &baseline, qint64 bytes)
{
    // OpenCV works on all cores, so the wall clock counts for the speed and the whole process for the cost.
    const auto measure = [](benchmark::internal::Benchmark *benchmark) {
        benchmark->Unit(benchmark::kMicrosecond)->MeasureProcessCPUTime()->UseRealTime();
    };
    measure(benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
        if (check() != baseline()) {
            state.SkipWithError("result differs from rgbSwapped()");
            return;
        }
        for (auto _ : state)
            ours();
        state.SetBytesProcessed(state.iterations() * bytes);
    }));
    measure(benchmark::RegisterBenchmark((name + "/baseline").c_str(), [=](benchmark::State &state) {
        for (auto _ : state)
            benchmark::DoNotOptimize(baseline());
        state.SetBytesProcessed(state.iterations() * bytes);
    }));
}

void compareConversions(
    const Size &size, int type, QImage::Format format, const std::string &toImage, const std::string &toMat)
{
    const cv::Mat frame = noise(size, type);
    const QImage image = wrapped(frame, format).copy();
    const auto bytes = static_cast<qint64>(frame.total() * frame.elemSize());
    compare(
        toImage + '/' + size.name, [=] { return cvMatToQImage(frame, true); },
        [=] { benchmark::DoNotOptimize(cvMatToQImage(frame, true)); }, [=] { return image.rgbSwapped(); },
        bytes);
    compare(
        toMat + '/' + size.name, [=] { return wrapped(QImageToCvMat(image, true), format).copy(); },
        [=] { benchmark::DoNotOptimize(QImageToCvMat(image, true)); }, [=] { return image.rgbSwapped(); },
        bytes);
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    for (const Size &size : sizes) {
        compareConversions(
            size, CV_8UC3, QImage::Format_RGB888, "BM_CvMatToQImage", "BM_QImageToCvMat_RGB888");
        compareConversions(
            size, CV_8UC4, QImage::Format_RGBA8888, "BM_CvMatToQImage_RGBA8888", "BM_QImageToCvMat_RGBA8888");
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
