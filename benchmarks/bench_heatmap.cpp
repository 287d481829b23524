// ShadowMapPainter against its plain steps, written down one after the other and built with the same options.

#include "support/plainheatmap.h"
#include "visual/shadowmappainter.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <string>

namespace {

constexpr int width = 1280;
constexpr int height = 720;
const QGradientStops fadeToBlack{{0.0, QColor(0, 0, 0, 0)}, {1.0, Qt::black}};

QVector<QPoint> randomPoints(int count)
{
    cv::RNG random(1);
    QVector<QPoint> points;
    for (int i = 0; i < count; ++i)
        points.append({random.uniform(0, width), random.uniform(0, height)});
    return points;
}

cv::Mat fieldOf(const QVector<QPoint> &points)
{
    cv::Mat field = cv::Mat::zeros(height, width, CV_32SC1);
    for (const QPoint &point : points)
        ++field.at<int>(point.y(), point.x());
    return field;
}

cv::Mat fullField(int largest)
{
    cv::Mat field(height, width, CV_32SC1);
    cv::RNG random(2);
    random.fill(field, cv::RNG::UNIFORM, 1, largest);
    return field;
}

using Draw = std::function<cv::Mat()>;

// Registers `name` and `name/baseline`. Both give a picture; they are compared once before the clock runs.
void compare(const std::string &name, const Draw &ours, const Draw &baseline, bool slow = false)
{
    const auto measure = [](benchmark::internal::Benchmark *benchmark) {
        benchmark->Unit(benchmark::kMicrosecond)->MeasureProcessCPUTime()->UseRealTime();
    };
    // The plain steps can take many seconds, so their picture is drawn once for all repetitions.
    const auto expected = std::make_shared<cv::Mat>();
    measure(benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
        if (expected->empty())
            *expected = baseline();
        const cv::Mat picture = ours();
        if (picture.size() != expected->size() || cv::norm(picture, *expected, cv::NORM_INF) != 0.0) {
            state.SkipWithError("picture differs from the plain steps");
            return;
        }
        for (auto _ : state)
            benchmark::DoNotOptimize(ours());
        state.SetItemsProcessed(state.iterations() * width * height);
    }));
    const auto plainly =
        benchmark::RegisterBenchmark((name + "/baseline").c_str(), [=](benchmark::State &state) {
            for (auto _ : state)
                benchmark::DoNotOptimize(baseline());
        });
    measure(plainly);
    if (slow)
        plainly->Iterations(1)->Repetitions(3);
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    for (const int radius : {5, 20, 50}) {
        const auto painter = std::make_shared<ShadowMapPainter>(radius);
        const auto plain = std::make_shared<PlainHeatMap>(radius, fadeToBlack, 1.0);
        const std::string prefix = "BM_HeatMap/radius" + std::to_string(radius);
        const auto compareField = [=](const std::string &name, const cv::Mat &field, bool slow = false) {
            compare(
                prefix + name, [=] { return painter->draw(field, 1, 1); },
                [=] { return plain->draw(field, 1, 1); }, slow);
        };
        for (const int count : {100, 10'000}) {
            const QVector<QPoint> points = randomPoints(count);
            compare(
                prefix + "/points" + std::to_string(count),
                [=] { return painter->draw(points, width, height, 1, 1); },
                [=] { return plain->draw(points, width, height, 1, 1); });
            compareField("/field" + std::to_string(count), fieldOf(points));
        }
        compareField("/everyPixel", fullField(2), radius >= 20);
        compareField("/everyPixelTo1000", fullField(1000), radius >= 20);
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
