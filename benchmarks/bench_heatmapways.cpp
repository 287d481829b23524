// What each way of adding up stamps costs on one core, from which ShadowMapPainter's choice between them is
// made: rows for a sample, the convolutions for a picture in narrow and in wide numbers.

#include "support/plainheatmap.h"
#include "visual/stampsum_p.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <string>

namespace {

const cv::Size size(1280, 720);
constexpr int sampleCount = 10'000;

cv::Mat sparseField()
{
    cv::Mat field = cv::Mat::zeros(size, CV_32SC1);
    cv::RNG random(1);
    for (int i = 0; i < sampleCount; ++i)
        field.at<int>(random.uniform(0, size.height), random.uniform(0, size.width)) = 2;
    return field;
}

void measure(const std::string &name, int radius, StampWay way, const cv::Mat &field)
{
    benchmark::RegisterBenchmark(("BM_StampWay/radius" + std::to_string(radius) + '/' + name).c_str(),
        [=](benchmark::State &state) {
            cv::setNumThreads(1);
            const StampSum sum(PlainHeatMap::stampOf(radius), way);
            cv::Mat heat(size, CV_32SC1);
            for (auto _ : state)
                benchmark::DoNotOptimize(sum.add(field, 1, 1, heat));
        })
        ->Unit(benchmark::kMicrosecond);
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    const cv::Mat ones(size, CV_32SC1, cv::Scalar(1));
    const cv::Mat large(size, CV_32SC1, cv::Scalar(100'000));
    for (const int radius : {2, 5, 10, 20, 50}) {
        measure("rows", radius, StampWay::Rows, sparseField());
        for (const auto &[name, field] : {std::pair("narrow", ones), std::pair("wide", large)}) {
            measure(std::string("weights/") + name, radius, StampWay::Weights, field);
            measure(std::string("differences/") + name, radius, StampWay::Differences, field);
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
