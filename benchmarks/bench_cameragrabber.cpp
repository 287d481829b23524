// CameraGrabber::present() against the same work in two passes: conversion of the whole frame, then a flip in
// place.

#include "cameras/cameragrabber_p.h"
#include "cameras/camerasettings.h"

#include <benchmark/benchmark.h>
#include <QVideoFrame>

#include <opencv2/imgproc.hpp>

#include <optional>
#include <string>

namespace {

struct Size
{
    const char *name;
    int width;
    int height;
};

struct Setting
{
    const char *name;
    int rotation;
    int flip;
    std::optional<int> rotationCode; // of cv::flip()
    std::optional<int> flipCode;
};

constexpr Size sizes[] = {{"640x480", 640, 480}, {"1920x1080", 1920, 1080}};

constexpr Setting settings[] = {
    {"Rotate0", CameraSettings::Rotate0, CameraSettings::FlipNone, 0, {}},
    {"Rotate0_FlipX", CameraSettings::Rotate0, CameraSettings::FlipX, 0, 1},
    {"Rotate0_FlipY", CameraSettings::Rotate0, CameraSettings::FlipY, 0, 0},
    {"Rotate0_FlipXY", CameraSettings::Rotate0, CameraSettings::FlipXY, 0, -1},
    {"Rotate180", CameraSettings::Rotate180, CameraSettings::FlipNone, {}, {}},
    {"Rotate180_FlipX", CameraSettings::Rotate180, CameraSettings::FlipX, {}, 1},
    {"Rotate180_FlipXY", CameraSettings::Rotate180, CameraSettings::FlipXY, {}, -1},
};

// Memory of a device, which mapping neither copies nor allocates.
class DeviceBuffer : public QAbstractVideoBuffer
{
public:
    explicit DeviceBuffer(cv::Mat pixels) : QAbstractVideoBuffer(NoHandle), pixels(std::move(pixels)) { }
    MapMode mapMode() const override { return mode; }
    uchar *map(MapMode wanted, int *numBytes, int *bytesPerLine) override
    {
        mode = wanted;
        *numBytes = int(pixels.total() * pixels.elemSize());
        *bytesPerLine = int(pixels.step[0]);
        return pixels.data;
    }
    void unmap() override { mode = NotMapped; }

private:
    cv::Mat pixels;
    MapMode mode = NotMapped;
};

cv::Mat noise(const Size &size)
{
    cv::Mat frame(size.height, size.width, CV_8UC4);
    cv::RNG random(1);
    random.fill(frame, cv::RNG::UNIFORM, 0, 256);
    return frame;
}

cv::Mat twoPasses(const cv::Mat &delivered, const Setting &setting, bool inPlace)
{
    cv::Mat image;
    if (inPlace)
        image = delivered; // a header, as on the mapped frame
    cv::cvtColor(inPlace ? image : delivered, image, cv::COLOR_BGRA2BGR);
    if (setting.rotationCode)
        cv::flip(image, image, *setting.rotationCode);
    if (setting.flipCode)
        cv::flip(image, image, *setting.flipCode);
    return image;
}

void compare(const Size &size, const Setting &setting, bool inPlace)
{
    const std::string name =
        std::string(inPlace ? "BM_Present_" : "BM_PresentOutOfPlace_") + setting.name + '/' + size.name;
    const cv::Mat delivered = noise(size);
    const auto bytes = static_cast<int64_t>(delivered.total() * delivered.elemSize());
    const auto measure = [](benchmark::internal::Benchmark *benchmark) {
        benchmark->Unit(benchmark::kMicrosecond)->MeasureProcessCPUTime()->UseRealTime();
    };
    measure(benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
        CameraGrabber grabber;
        grabber.rotation = setting.rotation;
        grabber.flip = setting.flip;
        cv::Mat received;
        QObject::connect(
            &grabber, &CameraGrabber::imageReady, [&](const cv::Mat &frame) { received = frame; });
        const QVideoFrame frame(
            new DeviceBuffer(delivered), QSize(size.width, size.height), QVideoFrame::Format_RGB32);
        const cv::Mat expected = twoPasses(delivered, setting, inPlace);
        if (!grabber.present(frame) || received.type() != expected.type()
            || received.size() != expected.size() || cv::norm(received, expected, cv::NORM_INF) != 0.0) {
            state.SkipWithError("result differs from two passes");
            return;
        }
        for (auto _ : state)
            benchmark::DoNotOptimize(grabber.present(frame));
        state.SetBytesProcessed(state.iterations() * bytes);
    }));
    measure(benchmark::RegisterBenchmark((name + "/baseline").c_str(), [=](benchmark::State &state) {
        cv::Mat received;
        for (auto _ : state)
            received = twoPasses(delivered, setting, inPlace);
        state.SetBytesProcessed(state.iterations() * bytes);
    }));
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    for (const Size &size : sizes) {
        for (const Setting &setting : settings)
            compare(size, setting, true);
    }
    compare(sizes[1], settings[0], false);
    compare(sizes[1], settings[1], false);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
