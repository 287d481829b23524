#pragma once

#include "baselib/vlist.h"
#include "vtcv_export.h"

#include <QImage>
#include <QPoint>
#include <QRect>
#include <QString>

#include <opencv2/core.hpp>

#include <vector>

/**
 * Point and rectangle arithmetic, and the conversions between Qt's coordinates and OpenCV's.
 *
 *     const cv::Rect face = VTMath::biggestRect(found, 400);
 *     const cv::Rect cut = VTMath::limitRect(VTMath::expand(face, 20), 0, 0, frame.cols, frame.rows);
 *
 * Coordinates and sizes are whole pixels. Rectangles are x, y, width, height, QRect included: its far edges,
 * which are one pixel short, play no part. No function refuses anything or writes a message; sums that leave
 * 32 bits wrap round.
 *
 * \thread Any. Nothing here has a state.
 */
namespace VTMath {

/**
 * Tells whether a frame's size is sane: `cols` and `rows` are both in 1 to 9999.
 *
 * Neither the type nor the pixels are looked at.
 */
VTCV_EXPORT bool matIsValid(cv::Mat mat);

/**
 * Picks the rectangle of the largest area, width x height in 32 bits; of equal ones the first.
 *
 * \param maxSize Above 0: rectangles with a side longer than this are passed over, in pixels.
 * \return (0, 0, 0, 0) if none has an area above 0.
 */
VTCV_EXPORT cv::Rect biggestRect(const std::vector<cv::Rect> &rects, int maxSize = 0);

/**
 * Spans the points: from the least x and y, by the differences to the greatest. A single point gives a width
 * and height of 0.
 *
 * The origin never lies beyond 65536 and the far edge never before 0, so points outside of that range stretch
 * the rectangle to it: (-5, -7) alone gives (-5, -7, 5, 7). No points give (65536, 65536, -65536, -65536).
 */
VTCV_EXPORT cv::Rect boundingRectangle(const QList<QPoint> &points);
VTCV_EXPORT cv::Rect boundingRectangle(const VList<QPoint> &points);
/** Points of this form go through `float`: they are exact up to 2 to the 24th. */
VTCV_EXPORT cv::Rect boundingRectangle(const std::vector<cv::Point> &points);
VTCV_EXPORT cv::Rect boundingRectangle(const std::vector<QPoint> &points);

/** Moves all four edges outward by \a margin pixels, or inward by a negative one. Nothing is clamped. */
VTCV_EXPORT cv::Rect expand(cv::Rect rect, int margin);
VTCV_EXPORT QRect expand(QRect rect, int margin);
/** Moves each edge outward by its own number of pixels. */
VTCV_EXPORT cv::Rect expand(cv::Rect rect, int left, int top, int right, int bottom);
VTCV_EXPORT QRect expand(QRect rect, int left, int top, int right, int bottom);

/**
 * Keeps \a rect inside the frame from (\a minX, \a minY) to its far edges \a maxX and \a maxY.
 *
 * A near edge that lies before the frame is moved, with the width kept: (-10, 0, 30, 30) in 0, 0, 100, 100
 * becomes (0, 0, 30, 30). What then reaches beyond the far edge is cut. A rectangle that starts beyond it
 * comes out with a width or height of 0 or less.
 */
VTCV_EXPORT cv::Rect limitRect(cv::Rect rect, int minX, int minY, int maxX, int maxY);
VTCV_EXPORT QRect limitRect(QRect rect, int minX, int minY, int maxX, int maxY);

/** The point half way from \a a to \a b; whole coordinates are cut toward zero. */
VTCV_EXPORT cv::Point middlePoint(const cv::Point &a, const cv::Point &b);
VTCV_EXPORT cv::Point2f middlePoint(const cv::Point2f &a, const cv::Point2f &b);

VTCV_EXPORT cv::Point toPoint(const QPoint &point);
VTCV_EXPORT QPoint toQPoint(const cv::Point &point);
/** Cuts toward zero, unlike the list form. What an int cannot hold becomes the nearest int, NaN becomes 0. */
VTCV_EXPORT QPoint toQPoint(const cv::Point2f &point);
VTCV_EXPORT cv::Point2f toPoint2f(const QPoint &point);
VTCV_EXPORT cv::Rect toCvRect(const QRect &rect);
VTCV_EXPORT QRect toQRect(const cv::Rect &rect);

VTCV_EXPORT VList<cv::Point2f> toPoint2fList(const VList<QPoint> &points);
VTCV_EXPORT VList<cv::Point2f> toPoint2fList(const QList<QPoint> &points);
/** Goes through `float` and rounds as `cvRound` does: exact up to 2 to the 24th. */
VTCV_EXPORT VList<QPoint> toQPointList(const VList<cv::Point> &points);
/** Rounds to the nearest, and halves to the even number, as `cvRound` does. */
VTCV_EXPORT VList<QPoint> toQPointList(const VList<cv::Point2f> &points);
/** Goes through `float` and cuts toward zero: exact up to 2 to the 24th. */
VTCV_EXPORT VList<QPoint> toQPointList(const std::vector<cv::Point> &points);
VTCV_EXPORT VList<QPoint> toQPointList(const std::vector<QPoint> &points);

/**
 * Encodes \a image as Base64 text: the standard alphabet, padded, in one line.
 *
 * \param dataUrl true: the text starts with "data:image/png;base64," or "data:image/jpeg;base64,", as HTML
 *                takes it.
 * \param format  "png", "jpg" or "jpeg", in any case; whatever else means "png". JPEG is written in the
 *                writer's default quality.
 * \return An empty text, or the prefix alone, for an image that cannot be saved.
 */
VTCV_EXPORT QString toBase64(
    const QImage &image, bool dataUrl = false, QString format = QStringLiteral("png"));

} // namespace VTMath
