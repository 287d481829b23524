#include "image/imageutils.h"

#include "image/wrapping_p.h"

#include <QDebug>

namespace {

// One side of a region before it is an int again: a huge rectangle must not wrap into the picture.
struct Span
{
    int64_t start;
    int64_t length;
};

// Grows a span, moves it behind 0 and ends it one pixel short of the edge if it reaches beyond.
Span grown(int start, int length, int before, int after, int limit)
{
    Span span{int64_t(start) - before, int64_t(length) + before + after};
    if (span.start < 0)
        span.start = 0;
    if (span.start + span.length > limit)
        span.length = limit - span.start - 1;
    return span;
}

} // namespace

cv::Mat ImageUtils::safeRoi(const cv::Mat &mat, cv::Rect &rect)
{
    if (mat.cols < 1 || mat.rows < 1 || mat.data == nullptr || mat.total() == 0 || mat.dims == 0)
        return cv::Mat::zeros(1, 1, mat.type());

    rect.x = std::max(rect.x, 0);
    rect.y = std::max(rect.y, 0);
    if (int64_t(rect.x) + rect.width > mat.cols)
        rect.width = mat.cols - rect.x;
    if (int64_t(rect.y) + rect.height > mat.rows)
        rect.height = mat.rows - rect.y;
    if (rect.width >= 1 && rect.height >= 1)
        return cv::Mat(mat, rect);
    qDebug() << "Totally bad mat";
    return cv::Mat::zeros(1, 1, mat.type());
}

cv::Mat ImageUtils::safeRoi(const cv::Mat &mat, const QRect &rect)
{
    cv::Rect region = Wrapping::toCvRect(rect);
    return safeRoi(mat, region);
}

cv::Mat ImageUtils::extractRoi(const cv::Mat &mat, QRect rect, int left, int top, int right, int bottom)
{
    return extractRoi(mat, Wrapping::toCvRect(rect), left, top, right, bottom);
}

cv::Mat ImageUtils::extractRoi(const cv::Mat &mat, cv::Rect rect, int left, int top, int right, int bottom)
{
    const Span x = grown(rect.x, rect.width, left, right, mat.cols);
    const Span y = grown(rect.y, rect.height, top, bottom, mat.rows);
    cv::Rect region(Wrapping::saturated(x.start), Wrapping::saturated(y.start), Wrapping::saturated(x.length),
        Wrapping::saturated(y.length));
    return safeRoi(mat, region);
}

cv::Mat ImageUtils::extractRoiUniform(const cv::Mat &mat, QRect rect, int margin)
{
    return extractRoi(mat, rect, margin, margin, margin, margin);
}

cv::Mat ImageUtils::extractRoiUniform(const cv::Mat &mat, cv::Rect rect, int margin)
{
    return extractRoi(mat, rect, margin, margin, margin, margin);
}
