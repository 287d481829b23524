#pragma once

#include "vtcv_export.h"

#include <QRect>

#include <opencv2/core.hpp>

/**
 * Cuts regions out of pictures without ever failing, whatever the rectangle.
 *
 *     cv::Mat face = ImageUtils::extractRoiUniform(frame, found, 20); // with 20 pixels round it
 *
 * The result is never empty: it is a view that shares the picture's pixels and holds a reference on them, or
 * a black picture of 1x1 pixels and the same type where nothing of the region lies inside.
 *
 * \thread Any. Several threads may cut from one picture at once.
 */
class VTCV_EXPORT ImageUtils
{
public:
    ImageUtils() = default;
    ImageUtils(const ImageUtils &) = default;
    ImageUtils(ImageUtils &&) = default;
    // Nothing to assign.
    ImageUtils &operator=(const ImageUtils &) { return *this; } // NOLINT(cert-oop54-cpp)
    ImageUtils &operator=(ImageUtils &&) noexcept { return *this; }

    /**
     * Gives the part of \a mat that \a rect names, and corrects \a rect to what is inside.
     *
     * A negative x or y becomes 0, with the width and height kept; then what reaches beyond the right or
     * bottom edge is cut. \a rect keeps these corrections also if nothing is left of it, which gives the
     * black pixel and the debug line "Totally bad mat". An empty \a mat gives the black pixel at once.
     */
    static cv::Mat safeRoi(const cv::Mat &mat, cv::Rect &rect);
    /** The same, but \a rect stays as it is. */
    static cv::Mat safeRoi(const cv::Mat &mat, const QRect &rect);

    /**
     * Gives \a rect with margins in pixels on its four sides; see safeRoi().
     *
     * A region that reaches beyond the right or bottom edge ends one column or row before that edge; one that
     * ends exactly there keeps its last column or row. A near edge before the picture is moved to 0, with the
     * width and height kept.
     */
    static cv::Mat extractRoi(const cv::Mat &mat, QRect rect, int left, int top, int right, int bottom);
    static cv::Mat extractRoi(const cv::Mat &mat, cv::Rect rect, int left, int top, int right, int bottom);
    /** extractRoi() with the same margin on all sides. */
    static cv::Mat extractRoiUniform(const cv::Mat &mat, QRect rect, int margin);
    static cv::Mat extractRoiUniform(const cv::Mat &mat, cv::Rect rect, int margin);
};
