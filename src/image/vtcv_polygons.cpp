#include "image/vtcv.h"

#include "image/composition_p.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <vector>

// Headers and lists come by value, as settled: they cost no pixels.
// NOLINTBEGIN(performance-unnecessary-value-param)

namespace Composition {

namespace {

// OpenCV's box filter rounds in float in its vector loop and in double in the rest of a row. A part that
// starts and ends at a multiple of every vector's length, or at the picture's edge, meets the same rounding.
constexpr int columnUnit = 64;

using Contour = std::vector<cv::Point>;

Contour clamped(const VList<QPoint> &polygon, cv::Size size)
{
    Contour contour;
    contour.reserve(static_cast<size_t>(polygon.size()));
    for (const QPoint &point : polygon)
        contour.emplace_back(std::max(0, std::min(point.x(), size.width - 1)),
            std::max(0, std::min(point.y(), size.height - 1)));
    return contour;
}

// The part of the picture outside of which the mask is 0.
cv::Rect placeOf(const Contour &contour, cv::Size size, int grow, int blur)
{
    const cv::Rect picture({}, size);
    if (contour.empty() || picture.empty())
        return picture;
    // Erosion counts what is beyond its input as inside, so a shrinking polygon takes a frame of 0 along.
    const int reach = (grow < 0 ? 1 : grow) + blur / 2;
    const cv::Rect bounds = cv::boundingRect(contour);
    return picture
        & cv::Rect(bounds.x - reach, bounds.y - reach, bounds.width + 2 * reach, bounds.height + 2 * reach);
}

cv::Rect withWholeUnits(const cv::Rect &place, int width)
{
    const int left = place.x / columnUnit * columnUnit;
    const int right = std::min((place.br().x + columnUnit - 1) / columnUnit * columnUnit, width);
    return {left, place.y, right - left, place.height};
}

// Draws into `mask`, which is 0 and lies at `place` in the whole mask.
void draw(cv::Mat mask, const Contour &contour, const cv::Rect &place, int grow, int blur)
{
    cv::drawContours(mask, std::vector<Contour>{contour}, 0, cv::Scalar(255), cv::FILLED, cv::LINE_8,
        cv::noArray(), INT_MAX, -place.tl());
    if (grow != 0) {
        const int s = std::abs(grow);
        const cv::Mat square =
            cv::getStructuringElement(cv::MORPH_RECT, cv::Size(2 * s + 1, 2 * s + 1), cv::Point(s, s));
        if (grow > 0)
            cv::dilate(mask, mask, square, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT);
        else
            cv::erode(mask, mask, square, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT);
    }
    if (blur != 0)
        cv::blur(mask, mask, cv::Size(blur, blur), cv::Point(-1, -1), cv::BORDER_CONSTANT);
}

} // namespace

PolygonMask polygonMask(cv::Size size, const VList<QPoint> &polygon, int grow, int blur)
{
    const Contour contour = clamped(polygon, size);
    const cv::Rect place = placeOf(contour, size, grow, blur);
    const cv::Rect canvas = blur != 0 ? withWholeUnits(place, size.width) : place;
    const cv::Mat mask = cv::Mat::zeros(canvas.size(), CV_8UC1);
    draw(mask, contour, canvas, grow, blur);
    return {place, place == canvas ? mask : mask(place - canvas.tl())};
}

} // namespace Composition

namespace VTCV {

namespace {

using Composition::PolygonMask;
using Composition::polygonMask;
using Composition::WarpGrid;
using Triangle = std::array<cv::Point2f, 3>;

Triangle firstThree(const VList<QPoint> &points)
{
    Triangle triangle;
    for (int i = 0; i < 3; ++i)
        triangle[static_cast<size_t>(i)] = {
            static_cast<float>(points[i].x()), static_cast<float>(points[i].y())};
    return triangle;
}

cv::Mat affineMap(const VList<QPoint> &from, const VList<QPoint> &to)
{
    const Triangle source = firstThree(from);
    const Triangle destination = firstThree(to);
    return cv::getAffineTransform(source.data(), destination.data());
}

// What copyMask() cuts out, without the black round it.
cv::Mat cut(const cv::Mat &src, const PolygonMask &part, bool blend)
{
    cv::Mat result = cv::Mat::zeros(part.place.size(), src.type());
    Composition::lay(src(part.place), result, part.mask, blend);
    return result;
}

bool worksByParts(const cv::Mat &src)
{
    return !src.empty() && WarpGrid::takes(src) && WarpGrid::matchesOpenCv();
}

cv::Mat warpWhole(const cv::Mat &src, const VList<QPoint> &srcTriangle, const cv::Mat &map, signed char grow,
    unsigned char blur)
{
    const cv::Mat masked = copyMask(src, srcTriangle, grow, blur);
    cv::Mat result = cv::Mat::zeros(masked.rows, masked.cols, masked.type());
    cv::warpAffine(masked, result, map, result.size(), cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar());
    return result;
}

} // namespace

cv::Mat createMask(int width, int height, VList<QPoint> polygon, signed char grow, unsigned char blur)
{
    if (width < 0 || height < 0)
        return {};
    const cv::Size size(width, height);
    const PolygonMask part = polygonMask(size, polygon, grow, blur);
    if (part.place.size() == size)
        return part.mask;
    cv::Mat mask = cv::Mat::zeros(size, CV_8UC1);
    part.mask.copyTo(mask(part.place));
    return mask;
}

void copyMask(cv::Mat src, cv::Mat &dst, VList<QPoint> polygon, signed char grow, unsigned char blur)
{
    const bool blend = blur != 0;
    if (!Composition::worksByParts(src, dst, blend)) {
        copyMat(src, dst, createMask(src.cols, src.rows, polygon, grow, blur), blend);
        return;
    }
    const PolygonMask part = polygonMask(src.size(), polygon, grow, blur);
    Composition::prepareCanvas(dst, src.size(), src.type());
    Composition::lay(src(part.place), dst(part.place), part.mask, blend);
}

cv::Mat copyMask(cv::Mat src, VList<QPoint> polygon, signed char grow, unsigned char blur)
{
    cv::Mat result = cv::Mat::zeros(src.rows, src.cols, src.type());
    copyMask(src, result, polygon, grow, blur);
    return result;
}

cv::Mat triangleAffine(
    cv::Mat src, VList<QPoint> srcTriangle, VList<QPoint> dstTriangle, signed char grow, unsigned char blur)
{
    const cv::Mat map = affineMap(srcTriangle, dstTriangle);
    if (!worksByParts(src))
        return warpWhole(src, srcTriangle, map, grow, blur);

    const PolygonMask part = polygonMask(src.size(), srcTriangle, grow, blur);
    const cv::Mat piece = cut(src, part, blur != 0);
    cv::Mat result = cv::Mat::zeros(src.rows, src.cols, src.type());
    const WarpGrid grid(map);
    const cv::Rect place = grid.reachOf(part.place, result.size());
    if (!place.empty())
        grid.warp(piece, part.place.tl(), result(place), place);
    return result;
}

void triangleAffine(cv::Mat src, VList<QPoint> srcTriangle, VList<QPoint> dstTriangle, cv::Mat &dst,
    signed char srcGrow, unsigned char srcBlur, signed char dstGrow, unsigned char dstBlur)
{
    const bool blend = dstBlur != 0;
    if (!worksByParts(src) || !Composition::worksByParts(src, dst, blend)) {
        copyMask(triangleAffine(src, srcTriangle, dstTriangle, srcGrow, srcBlur), dst, dstTriangle, dstGrow,
            dstBlur);
        return;
    }
    const cv::Mat map = affineMap(srcTriangle, dstTriangle);
    const PolygonMask from = polygonMask(src.size(), srcTriangle, srcGrow, srcBlur);
    const PolygonMask to = polygonMask(src.size(), dstTriangle, dstGrow, dstBlur);
    // The piece is a copy, so the pictures may share their pixels.
    const cv::Mat piece = cut(src, from, srcBlur != 0);
    cv::Mat warped(to.place.size(), src.type());
    WarpGrid(map).warp(piece, from.place.tl(), warped, to.place);
    Composition::prepareCanvas(dst, src.size(), src.type());
    Composition::lay(warped, dst(to.place), to.mask, blend);
}

} // namespace VTCV

// NOLINTEND(performance-unnecessary-value-param)
