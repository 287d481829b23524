#include "image/composition_p.h"

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <vector>

namespace Composition {

namespace {

// The fixed-point numbers of cv::warpAffine: sums in 1024ths of a pixel, interpolation in 32nds.
constexpr int sumBits = 10;
constexpr int sumScale = 1 << sumBits;
constexpr int fractionBits = 5;
constexpr int fractions = 1 << fractionBits;
constexpr int roundDelta = sumScale / fractions / 2;

// Beyond this many pixels sums may leave 32 bits, and the grid is no straight one any more.
constexpr double straightLimit = 1 << 20;

// Pixels of a map that is made at a time: small enough for the first cache.
constexpr int blockPixels = 4096;

// OpenCV's vector loops wrap round.
int wrappingSum(int a, int b)
{
    return static_cast<int>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

// The part of 0 to `length` in which `low` <= slope * t + offset <= `high`, with one pixel to spare.
cv::Range solve(double slope, double offset, double low, double high, int length)
{
    if (slope == 0.0)
        return low <= offset && offset <= high ? cv::Range(0, length) : cv::Range(0, 0);
    const double a = (low - offset) / slope;
    const double b = (high - offset) / slope;
    const double first = std::clamp(std::floor(std::min(a, b)) - 1, 0.0, double(length));
    const double last = std::clamp(std::ceil(std::max(a, b)) + 2, 0.0, double(length));
    return {static_cast<int>(first), static_cast<int>(last)};
}

cv::Range common(const cv::Range &a, const cv::Range &b)
{
    const int start = std::max(a.start, b.start);
    return {start, std::max(start, std::min(a.end, b.end))};
}

// Warps noise in both ways, with maps that turn, stretch and leave the picture.
bool warpsLikeOpenCv()
{
    const cv::Size size(131, 67);
    cv::RNG random(1);
    for (const int type : {CV_8UC1, CV_8UC3, CV_16UC1, CV_32FC1}) {
        cv::Mat noise(size, type);
        random.fill(noise, cv::RNG::UNIFORM, 0, 256);
        for (int i = 0; i < 8; ++i) {
            cv::Mat map = cv::getRotationMatrix2D(
                cv::Point2f(40, 30), random.uniform(0.0, 360.0), random.uniform(0.3, 3.0));
            map.at<double>(0, 0) *= random.uniform(0.5, 2.0);
            map.at<double>(1, 2) += random.uniform(-20.0, 20.0);
            cv::Mat expected;
            cv::warpAffine(noise, expected, map, size);
            const cv::Mat warped(size, type);
            WarpGrid(map).warp(noise, {}, warped, {{}, size});
            if (cv::norm(warped, expected, cv::NORM_INF) != 0.0)
                return false;
        }
    }
    return true;
}

} // namespace

WarpGrid::WarpGrid(const cv::Mat &forward)
{
    // In OpenCV's order of operations: another order differs in the last bits.
    std::copy_n(forward.ptr<double>(), 6, m);
    double d = m[0] * m[4] - m[1] * m[3];
    d = d != 0 ? 1. / d : 0;
    const double a11 = m[4] * d;
    const double a22 = m[0] * d;
    m[0] = a11;
    m[1] *= -d;
    m[3] *= -d;
    m[4] = a22;
    const double b1 = -m[0] * m[2] - m[1] * m[5];
    const double b2 = -m[3] * m[2] - m[4] * m[5];
    m[2] = b1;
    m[5] = b2;
}

bool WarpGrid::matchesOpenCv()
{
    // Builds with vendor libraries, and versions to come, may round otherwise.
    static const bool matches = warpsLikeOpenCv();
    return matches;
}

bool WarpGrid::takes(const cv::Mat &src)
{
    switch (src.depth()) {
    case CV_8U:
    case CV_16U:
    case CV_16S:
    case CV_32F:
    case CV_64F:
        break;
    default:
        return false;
    }
    return src.dims <= 2 && src.channels() <= 4 && src.cols < SHRT_MAX && src.rows < SHRT_MAX;
}

cv::Rect WarpGrid::reachOf(const cv::Rect &part, cv::Size size) const
{
    for (const double x : {0.0, double(size.width)}) {
        for (const double y : {0.0, double(size.height)}) {
            const double sx = m[0] * x + m[1] * y + m[2];
            const double sy = m[3] * x + m[4] * y + m[5];
            if (!(std::abs(sx) < straightLimit && std::abs(sy) < straightLimit)) // NaN too
                return {{}, size};
        }
    }
    // Interpolation reaches one pixel beyond the part, and the grid is off by less than another.
    const cv::Point2d low(part.x - 2, part.y - 2);
    const cv::Point2d high(part.br().x + 1, part.br().y + 1);
    cv::Rect reach;
    for (int y = 0; y < size.height; ++y) {
        const cv::Range xs = common(solve(m[0], m[1] * y + m[2], low.x, high.x, size.width),
            solve(m[3], m[4] * y + m[5], low.y, high.y, size.width));
        if (!xs.empty())
            reach |= cv::Rect(xs.start, y, xs.size(), 1);
    }
    return reach;
}

void WarpGrid::warp(
    const cv::Mat &source, cv::Point origin, const cv::Mat &result, const cv::Rect &place) const
{
    std::vector<int> dx(static_cast<size_t>(place.width));
    std::vector<int> dy(static_cast<size_t>(place.width));
    for (int x = 0; x < place.width; ++x) {
        dx[size_t(x)] = cv::saturate_cast<int>(m[0] * (x + place.x) * sumScale);
        dy[size_t(x)] = cv::saturate_cast<int>(m[3] * (x + place.x) * sumScale);
    }

    const int blockRows = std::clamp(blockPixels / std::max(place.width, 1), 1, std::max(place.height, 1));
    const auto block = [&](int first, int last) {
        cv::Mat pixels(last - first, place.width, CV_16SC2);
        cv::Mat weights(last - first, place.width, CV_16UC1);
        for (int row = first; row < last; ++row) {
            const int y = row + place.y;
            const int x0 = wrappingSum(cv::saturate_cast<int>((m[1] * y + m[2]) * sumScale), roundDelta);
            const int y0 = wrappingSum(cv::saturate_cast<int>((m[4] * y + m[5]) * sumScale), roundDelta);
            auto *pixel = pixels.ptr<cv::Vec2s>(row - first);
            auto *weight = weights.ptr<ushort>(row - first);
            for (int x = 0; x < place.width; ++x) {
                const int sx = wrappingSum(x0, dx[size_t(x)]) >> (sumBits - fractionBits);
                const int sy = wrappingSum(y0, dy[size_t(x)]) >> (sumBits - fractionBits);
                // Saturated for the whole source first, as OpenCV does, then moved to the piece.
                pixel[x] = {cv::saturate_cast<short>(cv::saturate_cast<short>(sx >> fractionBits) - origin.x),
                    cv::saturate_cast<short>(cv::saturate_cast<short>(sy >> fractionBits) - origin.y)};
                weight[x] = static_cast<ushort>((sy & (fractions - 1)) * fractions + (sx & (fractions - 1)));
            }
        }
        cv::Mat target = result.rowRange(first, last);
        cv::remap(source, target, pixels, weights, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar());
    };
    const int blocks = (place.height + blockRows - 1) / blockRows;
    const auto some = [&](const cv::Range &range) {
        for (int i = range.start; i < range.end; ++i)
            block(i * blockRows, std::min((i + 1) * blockRows, place.height));
    };
    if (blocks < 8)
        some({0, blocks});
    else
        cv::parallel_for_({0, blocks}, some);
}

} // namespace Composition
