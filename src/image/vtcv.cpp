#include "image/vtcv.h"

#include "image/composition_p.h"

#include <QDebug>

#include <opencv2/imgproc.hpp>

#include <algorithm>

// Headers, colours and lists come by value, as settled: they cost no pixels.
// NOLINTBEGIN(performance-unnecessary-value-param)

namespace Composition {

namespace {

bool hasPixels(const cv::Mat &mat)
{
    return mat.data != nullptr && mat.total() > 0 && mat.dims > 0;
}

const uchar *endOf(const cv::Mat &mat)
{
    return mat.ptr(mat.rows - 1) + static_cast<size_t>(mat.cols) * mat.elemSize();
}

} // namespace

bool overlap(const cv::Mat &a, const cv::Mat &b)
{
    return hasPixels(a) && hasPixels(b) && a.data < endOf(b) && b.data < endOf(a);
}

void prepareCanvas(cv::Mat &dst, cv::Size size, int type)
{
    if (hasPixels(dst))
        VTCV::alignMatMinSize(dst, size.width, size.height);
    else
        dst = cv::Mat::zeros(size, type);
}

bool worksByParts(const cv::Mat &src, const cv::Mat &dst, bool blend)
{
    if (!hasPixels(src) || src.dims > 2 || dst.dims > 2 || overlap(src, dst))
        return false;
    // copyTo() replaces a destination of another type; blending refuses it.
    return (!hasPixels(dst) || src.type() == dst.type()) && (!blend || src.type() == CV_8UC3);
}

void lay(const cv::Mat &src, cv::Mat dst, const cv::Mat &mask, bool blend)
{
    if (!blend) {
        src.copyTo(dst, mask);
        return;
    }
    CV_Assert(src.type() == CV_8UC3 && dst.type() == CV_8UC3 && mask.type() == CV_8UC1);
    Composition::blend(src, dst, mask);
}

} // namespace Composition

namespace VTCV {

namespace {

using Composition::hasPixels;

bool isBlendable(const cv::Mat &src, const cv::Mat &dst, const cv::Mat &mask)
{
    return src.type() == CV_8UC3 && (!hasPixels(dst) || dst.type() == CV_8UC3) && mask.type() == CV_8UC1;
}

// Pixel by pixel in reading order, which is what counts where the pictures overlap.
void blendInOrder(const cv::Mat &src, cv::Mat &dst, const cv::Mat &mask)
{
    for (int y = 0; y < dst.rows; ++y) {
        for (int x = 0; x < dst.cols; ++x) {
            const int m = mask.at<uchar>(y, x);
            if (m == 0)
                continue;
            const cv::Vec3b &from = src.at<cv::Vec3b>(y, x);
            cv::Vec3b &to = dst.at<cv::Vec3b>(y, x);
            for (int channel = 0; channel < 3; ++channel)
                to[channel] = static_cast<uchar>(((255 - m) * to[channel] + m * from[channel]) >> 8);
        }
    }
}

// The settled steps on the whole canvas, for what cannot be done by parts.
void copyWhole(cv::Mat src, cv::Mat &dst, cv::Mat mask, bool blend)
{
    const int width = std::max(src.cols, dst.cols);
    const int height = std::max(src.rows, dst.rows);
    if (hasPixels(dst))
        alignMatSize(src, width, height);
    Composition::prepareCanvas(dst, src.size(), src.type());
    alignMatMinSize(mask, dst.cols, dst.rows);
    if (blend)
        blendInOrder(src, dst, mask);
    else
        src.copyTo(dst, mask);
}

// What the mask allows beyond the end of the source: there the source counts as black.
void layBlack(cv::Mat &dst, const cv::Mat &mask, const cv::Rect &place, bool blend)
{
    if (!place.empty())
        Composition::lay(cv::Mat::zeros(place.size(), dst.type()), dst(place), mask(place), blend);
}

cv::Mat refused(const cv::Mat &mat)
{
    qDebug() << "Cannot process mat of type" << mat.type();
    return {};
}

cv::Mat inColours(const cv::Mat &mat, int conversion)
{
    cv::Mat result;
    cv::cvtColor(mat, result, conversion);
    return result;
}

} // namespace

void alignMatSize(cv::Mat &mat, int width, int height, cv::Scalar fill)
{
    const int dw = width - mat.cols;
    const int dh = height - mat.rows;
    if (dw == 0 && dh == 0)
        return;
    if (dw < 0 || dh < 0)
        mat = cv::Mat(mat, cv::Rect(0, 0, std::min(width, mat.cols), std::min(height, mat.rows)));
    if (dw <= 0 && dh <= 0)
        return;
    // OpenCV leaves the border of nothing as it finds the memory.
    if (mat.empty())
        mat = cv::Mat(height, width, mat.type(), fill);
    else
        cv::copyMakeBorder(mat, mat, 0, std::max(dh, 0), 0, std::max(dw, 0),
            cv::BORDER_CONSTANT | cv::BORDER_ISOLATED, fill);
}

void alignMatSize(cv::Mat &mat, cv::Mat other, cv::Scalar fill)
{
    alignMatSize(mat, other.cols, other.rows, fill);
}

void alignMatSize(cv::Mat &mat, cv::Size size, cv::Scalar fill)
{
    alignMatSize(mat, size.width, size.height, fill);
}

void alignMatMinSize(cv::Mat &mat, int width, int height, cv::Scalar fill)
{
    alignMatSize(mat, std::max(mat.cols, width), std::max(mat.rows, height), fill);
}

void alignMatMinSize(cv::Mat &mat, cv::Mat other, cv::Scalar fill)
{
    alignMatSize(mat, other, fill);
}

void alignMatMinSize(cv::Mat &mat, cv::Size size, cv::Scalar fill)
{
    alignMatSize(mat, size, fill);
}

void copyMat(cv::Mat src, cv::Mat &dst, cv::Mat mask, bool blend)
{
    if (blend)
        CV_Assert(isBlendable(src, dst, mask));
    const bool maskFits = blend
        || (mask.channels() == 1 && mask.cols <= std::max(src.cols, dst.cols)
            && mask.rows <= std::max(src.rows, dst.rows));
    if (!maskFits || mask.dims > 2 || !Composition::worksByParts(src, dst, blend)
        || Composition::overlap(dst, mask)) {
        copyWhole(src, dst, mask, blend);
        return;
    }

    Composition::prepareCanvas(dst, src.size(), src.type());
    const cv::Rect reached = cv::Rect(0, 0, mask.cols, mask.rows) & cv::Rect(0, 0, dst.cols, dst.rows);
    const cv::Rect covered = reached & cv::Rect(0, 0, src.cols, src.rows);
    if (!covered.empty())
        Composition::lay(src(covered), dst(covered), mask(covered), blend);
    layBlack(dst, mask, {covered.width, 0, reached.width - covered.width, covered.height}, blend);
    layBlack(dst, mask, {0, covered.height, reached.width, reached.height - covered.height}, blend);
}

cv::Mat grayscale(cv::Mat mat)
{
    switch (mat.type()) {
    case CV_8UC1:
        return mat;
    case CV_8UC3:
        return inColours(mat, cv::COLOR_BGR2GRAY);
    case CV_8UC4:
        return inColours(mat, cv::COLOR_BGRA2GRAY);
    default:
        return refused(mat);
    }
}

cv::Mat imageBGR(cv::Mat mat)
{
    switch (mat.type()) {
    case CV_8UC1:
        return inColours(mat, cv::COLOR_GRAY2BGR);
    case CV_8UC3:
        return mat;
    case CV_8UC4:
        return inColours(mat, cv::COLOR_BGRA2BGR);
    default:
        return refused(mat);
    }
}

cv::Mat rotateImage(const cv::Mat &mat, double angle)
{
    const cv::Point2f centre(static_cast<float>(mat.cols) * 0.5F, static_cast<float>(mat.rows) * 0.5F);
    cv::Mat result;
    cv::warpAffine(mat, result, cv::getRotationMatrix2D(centre, angle, 1.0), mat.size(), cv::INTER_LINEAR,
        cv::BORDER_CONSTANT, cv::Scalar());
    return result;
}

} // namespace VTCV

// NOLINTEND(performance-unnecessary-value-param)
