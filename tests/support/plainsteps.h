#pragma once

#include "baselib/vlist.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <QPoint>

#include <climits>
#include <cstdlib>
#include <vector>

/**
 * The composition of pictures in its plain steps, each over the whole picture: what VTCV must equal to the
 * bit, and what its benchmarks are set against.
 */
namespace plain {

inline bool hasPixels(const cv::Mat &mat)
{
    return mat.data != nullptr && mat.total() > 0 && mat.dims > 0;
}

inline void alignMatSize(cv::Mat &mat, int width, int height, const cv::Scalar &fill)
{
    const auto view = [&](int w, int h) { mat = cv::Mat(mat, cv::Rect(0, 0, w, h)); };
    const auto pad = [&](int right, int bottom) {
        if (mat.empty()) // OpenCV leaves the border of nothing as it finds the memory
            mat = cv::Mat(mat.rows + bottom, mat.cols + right, mat.type(), fill);
        else
            cv::copyMakeBorder(
                mat, mat, 0, bottom, 0, right, cv::BORDER_CONSTANT | cv::BORDER_ISOLATED, fill);
    };
    const int dw = width - mat.cols;
    const int dh = height - mat.rows;
    if (dw == 0 && dh == 0)
        return;
    if (dw < 0 && dh < 0) {
        view(width, height);
    } else if (dw < 0) {
        view(width, mat.rows);
        if (dh > 0)
            pad(0, dh);
    } else if (dh < 0) {
        view(mat.cols, height);
        if (dw > 0)
            pad(dw, 0);
    } else {
        pad(dw, dh);
    }
}

inline void blend(const cv::Mat &src, cv::Mat &dst, const cv::Mat &mask)
{
    for (int y = 0; y < dst.rows; ++y) {
        const uchar *from = src.ptr(y);
        uchar *to = dst.ptr(y);
        const uchar *masks = mask.ptr(y);
        for (int x = 0; x < dst.cols; ++x) {
            const int m = masks[x];
            if (m == 0)
                continue;
            for (int channel = 0; channel < 3; ++channel) {
                uchar &value = to[3 * x + channel];
                value = static_cast<uchar>(((255 - m) * value + m * from[3 * x + channel]) >> 8);
            }
        }
    }
}

inline void copyMat(cv::Mat src, cv::Mat &dst, cv::Mat mask, bool blended)
{
    const cv::Size size(std::max(src.cols, dst.cols), std::max(src.rows, dst.rows));
    if (hasPixels(dst)) {
        alignMatSize(src, size.width, size.height, {});
        alignMatSize(dst, size.width, size.height, {});
    } else {
        dst = cv::Mat::zeros(src.rows, src.cols, src.type());
    }
    alignMatSize(mask, std::max(mask.cols, dst.cols), std::max(mask.rows, dst.rows), {});
    if (blended)
        blend(src, dst, mask);
    else
        src.copyTo(dst, mask);
}

inline cv::Mat createMask(int width, int height, const VList<QPoint> &polygon, int grow, int blur)
{
    if (width < 0 || height < 0)
        return {};
    std::vector<std::vector<cv::Point>> contours(1);
    for (const QPoint &point : polygon)
        contours[0].emplace_back(
            std::max(0, std::min(point.x(), width - 1)), std::max(0, std::min(point.y(), height - 1)));
    cv::Mat mask = cv::Mat::zeros(height, width, CV_8UC1);
    cv::drawContours(mask, contours, 0, 255, -1, 8, cv::noArray(), INT_MAX, cv::Point());
    if (grow != 0) {
        const int s = std::abs(grow);
        const cv::Mat element =
            cv::getStructuringElement(cv::MORPH_RECT, cv::Size(2 * s + 1, 2 * s + 1), cv::Point(s, s));
        if (grow > 0)
            cv::dilate(mask, mask, element, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT,
                cv::morphologyDefaultBorderValue());
        else
            cv::erode(mask, mask, element, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT,
                cv::morphologyDefaultBorderValue());
    }
    if (blur != 0)
        cv::blur(mask, mask, cv::Size(blur, blur), cv::Point(-1, -1), cv::BORDER_CONSTANT);
    return mask;
}

inline void copyMask(const cv::Mat &src, cv::Mat &dst, const VList<QPoint> &polygon, int grow, int blur)
{
    copyMat(src, dst, createMask(src.cols, src.rows, polygon, grow, blur), blur != 0);
}

inline cv::Mat triangleAffine(
    const cv::Mat &src, const VList<QPoint> &from, const VList<QPoint> &to, int grow, int blur)
{
    cv::Point2f source[3];
    cv::Point2f destination[3];
    for (int i = 0; i < 3; ++i) {
        source[i] = {float(from[i].x()), float(from[i].y())};
        destination[i] = {float(to[i].x()), float(to[i].y())};
    }
    cv::Mat masked = cv::Mat::zeros(src.rows, src.cols, src.type());
    copyMask(src, masked, from, grow, blur);
    cv::Mat result = cv::Mat::zeros(masked.rows, masked.cols, masked.type());
    cv::warpAffine(masked, result, cv::getAffineTransform(source, destination), result.size(),
        cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar());
    return result;
}

inline void triangleAffine(const cv::Mat &src, const VList<QPoint> &from, const VList<QPoint> &to,
    cv::Mat &dst, int srcGrow, int srcBlur, int dstGrow, int dstBlur)
{
    copyMask(triangleAffine(src, from, to, srcGrow, srcBlur), dst, to, dstGrow, dstBlur);
}

} // namespace plain
