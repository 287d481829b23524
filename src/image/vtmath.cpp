#include "image/vtmath.h"

#include "image/wrapping_p.h"

#include <QBuffer>

#include <algorithm>
#include <cmath>

namespace VTMath {

namespace {

constexpr int sizeLimit = 10000;

// A bounding rectangle starts at most here; its far edge starts from 0.
constexpr int boundingLimit = 65536;

bool isSane(int length)
{
    return length >= 1 && length < sizeLimit;
}

int truncated(float value)
{
    if (std::isnan(value))
        return 0;
    // 2 to the 31st, the first float beyond the range, has no int; the least int is a float.
    constexpr float beyond = 2147483648.0F;
    return value >= beyond ? INT_MAX : value < -beyond ? INT_MIN : static_cast<int>(value);
}

QPoint rounded(const cv::Point2f &point)
{
    return {cvRound(point.x), cvRound(point.y)};
}

cv::Point2f toFloat(const cv::Point &point)
{
    return {static_cast<float>(point.x), static_cast<float>(point.y)};
}

template <typename To, typename From, typename Convert>
VList<To> converted(const From &points, const Convert &convert)
{
    VList<To> result;
    result.reserve(static_cast<int>(points.size()));
    for (const auto &point : points)
        result.append(convert(point));
    return result;
}

// The length that is left from `start` to `end`, where a length that fits stays.
int limited(int start, int length, int end)
{
    return int64_t(length) + start < end ? length : Wrapping::subtract(end, start);
}

} // namespace

// By value as settled; a header costs no pixels.
bool matIsValid(cv::Mat mat) // NOLINT(performance-unnecessary-value-param)
{
    return isSane(mat.cols) && isSane(mat.rows);
}

cv::Rect biggestRect(const std::vector<cv::Rect> &rects, int maxSize)
{
    cv::Rect best;
    int bestArea = 0;
    for (const cv::Rect &rect : rects) {
        if (maxSize > 0 && (rect.height > maxSize || rect.width > maxSize))
            continue;
        const int area = Wrapping::multiply(rect.width, rect.height);
        if (area > bestArea) {
            bestArea = area;
            best = rect;
        }
    }
    return best;
}

cv::Rect boundingRectangle(const QList<QPoint> &points)
{
    QPoint least(boundingLimit, boundingLimit);
    QPoint greatest(0, 0);
    for (const QPoint &point : points) {
        least = {std::min(least.x(), point.x()), std::min(least.y(), point.y())};
        greatest = {std::max(greatest.x(), point.x()), std::max(greatest.y(), point.y())};
    }
    return {least.x(), least.y(), Wrapping::subtract(greatest.x(), least.x()),
        Wrapping::subtract(greatest.y(), least.y())};
}

cv::Rect boundingRectangle(const VList<QPoint> &points)
{
    return boundingRectangle(static_cast<const QList<QPoint> &>(points));
}

cv::Rect boundingRectangle(const std::vector<cv::Point> &points)
{
    return boundingRectangle(toQPointList(points));
}

cv::Rect boundingRectangle(const std::vector<QPoint> &points)
{
    return boundingRectangle(toQPointList(points));
}

cv::Rect expand(cv::Rect rect, int margin)
{
    return expand(rect, margin, margin, margin, margin);
}

QRect expand(QRect rect, int margin)
{
    return expand(rect, margin, margin, margin, margin);
}

cv::Rect expand(cv::Rect rect, int left, int top, int right, int bottom)
{
    return {Wrapping::subtract(rect.x, left), Wrapping::subtract(rect.y, top),
        Wrapping::add(rect.width, Wrapping::add(left, right)),
        Wrapping::add(rect.height, Wrapping::add(top, bottom))};
}

QRect expand(QRect rect, int left, int top, int right, int bottom)
{
    return toQRect(expand(toCvRect(rect), left, top, right, bottom));
}

cv::Rect limitRect(cv::Rect rect, int minX, int minY, int maxX, int maxY)
{
    const int x = std::max(rect.x, minX);
    const int y = std::max(rect.y, minY);
    return {x, y, limited(x, rect.width, maxX), limited(y, rect.height, maxY)};
}

QRect limitRect(QRect rect, int minX, int minY, int maxX, int maxY)
{
    return toQRect(limitRect(toCvRect(rect), minX, minY, maxX, maxY));
}

cv::Point middlePoint(const cv::Point &a, const cv::Point &b)
{
    return {Wrapping::add(a.x, b.x) / 2, Wrapping::add(a.y, b.y) / 2};
}

cv::Point2f middlePoint(const cv::Point2f &a, const cv::Point2f &b)
{
    return {(a.x + b.x) * 0.5F, (a.y + b.y) * 0.5F};
}

cv::Point toPoint(const QPoint &point)
{
    return {point.x(), point.y()};
}

QPoint toQPoint(const cv::Point &point)
{
    return {point.x, point.y};
}

QPoint toQPoint(const cv::Point2f &point)
{
    return {truncated(point.x), truncated(point.y)};
}

cv::Point2f toPoint2f(const QPoint &point)
{
    return toFloat(toPoint(point));
}

cv::Rect toCvRect(const QRect &rect)
{
    return Wrapping::toCvRect(rect);
}

QRect toQRect(const cv::Rect &rect)
{
    return Wrapping::toQRect(rect);
}

VList<cv::Point2f> toPoint2fList(const VList<QPoint> &points)
{
    return converted<cv::Point2f>(points, toPoint2f);
}

VList<cv::Point2f> toPoint2fList(const QList<QPoint> &points)
{
    return converted<cv::Point2f>(points, toPoint2f);
}

VList<QPoint> toQPointList(const VList<cv::Point> &points)
{
    return converted<QPoint>(points, [](const cv::Point &point) { return rounded(toFloat(point)); });
}

VList<QPoint> toQPointList(const VList<cv::Point2f> &points)
{
    return converted<QPoint>(points, rounded);
}

VList<QPoint> toQPointList(const std::vector<cv::Point> &points)
{
    return converted<QPoint>(points, [](const cv::Point &point) { return toQPoint(toFloat(point)); });
}

VList<QPoint> toQPointList(const std::vector<QPoint> &points)
{
    return converted<QPoint>(points, [](const QPoint &point) { return point; });
}

QString toBase64(const QImage &image, bool dataUrl, QString format)
{
    format = format.toLower();
    const bool jpeg = format == QLatin1String("jpeg") || format == QLatin1String("jpg");
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, jpeg ? "jpg" : "png");

    const QByteArray text = bytes.toBase64();
    if (!dataUrl)
        return QString::fromLatin1(text);
    const QLatin1String prefix(jpeg ? "data:image/jpeg;base64," : "data:image/png;base64,");
    QString url;
    url.reserve(prefix.size() + text.size());
    url += prefix;
    url += QLatin1String(text);
    return url;
}

} // namespace VTMath
