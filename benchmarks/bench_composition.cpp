// Blending, masks, triangles and the reading and writing of pictures, against their plain steps.

#include "image/imagebridge.h"
#include "image/vtcv.h"

#include "support/plainsteps.h"

#include <benchmark/benchmark.h>

#include <QBuffer>
#include <QFile>
#include <QTemporaryDir>

#include <opencv2/imgcodecs.hpp>

#include <cstring>
#include <functional>
#include <string>

namespace {

using Work = std::function<void()>;
using Check = std::function<bool()>;

cv::Mat noise(cv::Size size, int type)
{
    cv::Mat picture(size, type);
    cv::RNG random(1);
    random.fill(picture, cv::RNG::UNIFORM, 0, 256);
    return picture;
}

bool same(const cv::Mat &a, const cv::Mat &b)
{
    return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0.0;
}

// Registers `name` and `name/baseline`, and lets the check speak before the clock runs.
void compare(const std::string &name, const Check &equal, const Work &ours, const Work &baseline)
{
    const auto measure = [](benchmark::internal::Benchmark *benchmark) {
        benchmark->Unit(benchmark::kMicrosecond)->MeasureProcessCPUTime()->UseRealTime();
    };
    measure(benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
        if (!equal()) {
            state.SkipWithError("result differs from the reference");
            return;
        }
        for (auto _ : state)
            ours();
    }));
    measure(benchmark::RegisterBenchmark((name + "/baseline").c_str(), [=](benchmark::State &state) {
        for (auto _ : state)
            baseline();
    }));
}

// A disc whose edge fades over 250 pixels: all values, some of the picture whole and some untouched.
cv::Mat softMask(cv::Size size)
{
    cv::Mat mask(size, CV_8UC1);
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            const double distance = std::hypot(x - size.width / 2, y - size.height / 2);
            mask.at<uchar>(y, x) = cv::saturate_cast<uchar>(size.width / 2.5 - distance);
        }
    }
    return mask;
}

void compareBlend()
{
    const cv::Size size(1920, 1080);
    const cv::Mat src = noise(size, CV_8UC3);
    cv::Mat old;
    cv::flip(src, old, -1);
    const std::pair<const char *, cv::Mat> masks[] = {{"full", cv::Mat(size, CV_8UC1, cv::Scalar(255))},
        {"soft", softMask(size)}, {"random", noise(size, CV_8UC1)}, {"empty", cv::Mat::zeros(size, CV_8UC1)}};
    for (const auto &[kind, mask] : masks) {
        cv::Mat dst = old.clone();
        const Check equal = [src, old, mask = mask] {
            cv::Mat ours = old.clone();
            cv::Mat expected = old.clone();
            VTCV::copyMat(src, ours, mask, true);
            plain::copyMat(src, expected, mask, true);
            return same(ours, expected);
        };
        const Work ours = [src, dst = dst, mask = mask]() mutable { VTCV::copyMat(src, dst, mask, true); };
        compare("BM_Blend/1920x1080/" + std::string(kind), equal, ours,
            [src, dst = dst, mask = mask]() mutable { plain::copyMat(src, dst, mask, true); });
        if (std::strcmp(kind, "empty") == 0) {
            const auto bytes = src.total() * src.elemSize();
            compare("BM_Blend/1920x1080/empty_memcpy", equal, ours, [src, dst, bytes] {
                std::memcpy(dst.data, src.data, bytes);
                benchmark::ClobberMemory();
            });
        }
    }
}

void compareTriangles()
{
    const cv::Size size(3840, 2160);
    const cv::Mat src = noise(size, CV_8UC3);
    const VList<QPoint> from{{1000, 700}, {1040, 700}, {1020, 735}};
    const VList<QPoint> to{{3000, 1500}, {3035, 1520}, {3000, 1540}};
    for (const int blur : {0, 3}) {
        const cv::Mat old(size, CV_8UC3, cv::Scalar(1, 2, 3));
        cv::Mat dst = old.clone();
        compare(
            "BM_TriangleAffine/3840x2160/" + std::string(blur == 0 ? "hard" : "soft"),
            [=] {
                cv::Mat ours = old.clone();
                cv::Mat expected = old.clone();
                VTCV::triangleAffine(src, from, to, ours, 1, 0, 0, static_cast<unsigned char>(blur));
                plain::triangleAffine(src, from, to, expected, 1, 0, 0, blur);
                return same(ours, expected) && !same(ours, old);
            },
            [=]() mutable {
                VTCV::triangleAffine(src, from, to, dst, 1, 0, 0, static_cast<unsigned char>(blur));
            },
            [=]() mutable { plain::triangleAffine(src, from, to, dst, 1, 0, 0, blur); });
    }
}

// The baseline of "clear" makes a mask without a polygon: what is left is the price of the polygon.
void compareMasks()
{
    const cv::Size size(3840, 2160);
    const VList<QPoint> polygon{{2000, 1000}, {2100, 960}, {2200, 1000}, {2180, 1120}, {2020, 1100}};
    for (const int shape : {0, 3}) {
        const auto grow = static_cast<signed char>(shape);
        const auto blur = static_cast<unsigned char>(shape);
        const Check equal = [=] {
            return same(VTCV::createMask(size.width, size.height, polygon, grow, blur),
                plain::createMask(size.width, size.height, polygon, shape, shape));
        };
        const Work ours = [=] {
            benchmark::DoNotOptimize(VTCV::createMask(size.width, size.height, polygon, grow, blur).data);
        };
        const std::string name = std::string("BM_CreateMask/3840x2160/") + (shape == 0 ? "hard" : "soft");
        compare(name, equal, ours, [=] {
            benchmark::DoNotOptimize(plain::createMask(size.width, size.height, polygon, shape, shape).data);
        });
        compare(name + "_clear", equal, ours, [=] {
            const cv::Mat mask = cv::Mat::zeros(size, CV_8UC1);
            benchmark::DoNotOptimize(mask.data);
        });
    }
}

// Against the calls of Qt and OpenCV that they consist of.
void compareFiles(const QTemporaryDir &folder)
{
    const cv::Mat frame = noise({1280, 720}, CV_8UC3);
    const QImage image = cvMatToQImage(frame);
    for (const char *format : {"png", "jpg"}) {
        const auto libraries = [=] {
            QByteArray bytes;
            QBuffer buffer(&bytes);
            buffer.open(QIODevice::WriteOnly);
            image.save(&buffer, format);
            return QString::fromLatin1(bytes.toBase64());
        };
        const QString name = QLatin1String(format);
        compare(
            "BM_ToBase64/1280x720/" + std::string(format),
            [=] { return VTMath::toBase64(image, false, name) == libraries(); },
            [=] { benchmark::DoNotOptimize(VTMath::toBase64(image, false, name)); },
            [=] { benchmark::DoNotOptimize(libraries()); });

        const std::string path = folder.filePath(QStringLiteral("frame.") + name).toStdString();
        cv::imwrite(path, frame);
        compare(
            "BM_Imgread/1280x720/" + std::string(format),
            [=] { return same(imgread(QString::fromStdString(path)), cv::imread(path)); },
            [=] { benchmark::DoNotOptimize(imgread(QString::fromStdString(path)).data); },
            [=] {
                QFile file(QString::fromStdString(path));
                file.open(QIODevice::ReadOnly);
                std::vector<uchar> bytes(static_cast<size_t>(file.size()));
                file.read(reinterpret_cast<char *>(bytes.data()), file.size());
                benchmark::DoNotOptimize(cv::imdecode(bytes, cv::IMREAD_COLOR).data);
            });
    }
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    const QTemporaryDir folder;
    compareBlend();
    compareTriangles();
    compareMasks();
    compareFiles(folder);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
