#pragma once

#include "baselib/vlist.h"
#include "vtcv_export.h"

#include <QPoint>

#include <opencv2/core.hpp>

/**
 * Puts pictures of different sizes together: pads and crops, lays one over another through a mask, cuts and
 * warps polygons and triangles.
 *
 *     cv::Mat canvas(background.clone());
 *     for (int i = 0; i < from.size(); ++i) // a mesh, triangle by triangle
 *         VTCV::triangleAffine(picture, from[i], to[i], canvas, 0, 0, 1, 3);
 *
 * Every change of size anchors at the top left corner: padding goes to the right and bottom, cropping takes
 * away there, nothing is centred or scaled. Padding is the fill colour also for a view into a larger picture,
 * whose neighbouring pixels stay out of it. Colours are blue, green, red (then alpha).
 *
 * Masks are CV_8UC1, 0 outside and 255 inside. Two numbers shape the mask of a polygon: `grow`, the pixels by
 * which the filled polygon grows (1 to 127) or shrinks (-1 to -128), and `blur`, the side in pixels (1 to
 * 255) of the box filter that softens its edge afterwards; 0 leaves either out.
 *
 * The work is done inside the polygon's surroundings only, and large passes run on all cores. The results are
 * the same to the bit as those of the plain steps on the whole picture.
 *
 * What OpenCV throws passes through: for negative sizes, empty pictures where it needs pixels, and types that
 * it cannot handle.
 *
 * \thread Any, and several at once; a picture that is written to takes one writer and no reader.
 */
namespace VTCV {

/**
 * Makes \a mat exactly \a width x \a height pixels.
 *
 * A pure crop is a view that shares the former pixels; padding moves them to a new buffer. A picture of the
 * size already is not touched; an empty one becomes all fill.
 */
VTCV_EXPORT void alignMatSize(cv::Mat &mat, int width, int height, cv::Scalar fill = {});
/** Takes the size of \a other. */
VTCV_EXPORT void alignMatSize(cv::Mat &mat, cv::Mat other, cv::Scalar fill = {});
VTCV_EXPORT void alignMatSize(cv::Mat &mat, cv::Size size, cv::Scalar fill = {});

/** Pads \a mat to at least \a width x \a height pixels; it never crops. */
VTCV_EXPORT void alignMatMinSize(cv::Mat &mat, int width, int height, cv::Scalar fill = {});
/** The same as alignMatSize(): unlike the form with two numbers, it crops what is larger. */
VTCV_EXPORT void alignMatMinSize(cv::Mat &mat, cv::Mat other, cv::Scalar fill = {});
/** The same as alignMatSize(): unlike the form with two numbers, it crops what is larger. */
VTCV_EXPORT void alignMatMinSize(cv::Mat &mat, cv::Size size, cv::Scalar fill = {});

/**
 * Lays \a src over \a dst at the top left corner, where \a mask allows.
 *
 * \a dst grows to the size of \a src with black if it is smaller, and becomes a black picture of that size if
 * it is empty. Where \a src ends before the mask does, black is laid; where the mask ends, nothing is.
 *
 * \param mask  CV_8UC1 of any size; with \a blend false not larger than both pictures.
 * \param blend false: pixels are copied where the mask is not 0, for any type of picture; a \a dst of another
 *              type than \a src's is replaced by a black one. True: a pixel becomes
 *              ((255 - m) x old + m x new) / 256, rounded down, with m the mask's value, and stays where that
 *              is 0. A full mask therefore gives values lower by 1 than the source's, 0 excepted.
 *
 * Throws `cv::Exception` if \a blend is true and the pictures are not CV_8UC3 or the mask not CV_8UC1.
 *
 * \ownership Writes into the pixels of \a dst, also for those who share them; \a src and \a mask stay.
 */
VTCV_EXPORT void copyMat(cv::Mat src, cv::Mat &dst, cv::Mat mask, bool blend = false);

/**
 * Gives CV_8UC1 of a CV_8UC1 (the same pixels, shared), CV_8UC3 or CV_8UC4 picture; for any other type an
 * empty one and the debug line "Cannot process mat of type" with the number.
 */
VTCV_EXPORT cv::Mat grayscale(cv::Mat mat);

/**
 * Gives CV_8UC3 of a CV_8UC1, CV_8UC3 (the same pixels, shared) or CV_8UC4 picture, without the alpha; for
 * any other type an empty one and the debug line "Cannot process mat of type" with the number.
 */
VTCV_EXPORT cv::Mat imageBGR(cv::Mat mat);

/**
 * Turns \a mat about the point (cols / 2, rows / 2) by \a angle degrees, counter-clockwise on screen.
 *
 * The size stays: corners that turn out of it are lost, what turns in is black. Bilinear.
 */
VTCV_EXPORT cv::Mat rotateImage(const cv::Mat &mat, double angle);

/**
 * Makes the mask of a filled polygon, CV_8UC1 of \a height x \a width; empty if one of them is negative.
 *
 * \param polygon Its points in drawing order, not closed by a repeated one. The outline belongs to the area.
 *                Points outside are moved to the nearest pixel inside: what reaches beyond the picture is
 *                flattened along its edge. No points give a mask without an area.
 * \param blur    A softened edge fades toward the picture's edge as well.
 */
VTCV_EXPORT cv::Mat createMask(
    int width, int height, VList<QPoint> polygon, signed char grow = 0, unsigned char blur = 0);

/**
 * Lays the inside of \a polygon of \a src over \a dst in its place; see createMask() and copyMat().
 *
 * Without \a blur pixels are copied as they are; with it they are blended, for CV_8UC3 only.
 */
VTCV_EXPORT void copyMask(
    cv::Mat src, cv::Mat &dst, VList<QPoint> polygon, signed char grow = 0, unsigned char blur = 0);
/** Gives a picture like \a src, black outside of the polygon's mask. */
VTCV_EXPORT cv::Mat copyMask(
    cv::Mat src, VList<QPoint> polygon, signed char grow = 0, unsigned char blur = 0);

/**
 * Moves the part of \a src in \a srcTriangle to where \a dstTriangle lies, on a black picture of src's size.
 *
 * Bilinear. \a grow and \a blur shape the cut in \a src. Each list must hold three points at least, of which
 * the first three count; a shorter one has no defined result. Points on one line give what OpenCV makes of
 * the affine map.
 */
VTCV_EXPORT cv::Mat triangleAffine(cv::Mat src, VList<QPoint> srcTriangle, VList<QPoint> dstTriangle,
    signed char grow = 0, unsigned char blur = 0);

/**
 * Moves the part of \a src in \a srcTriangle into \a dst: of the warped part, what lies in \a dstTriangle.
 *
 * \a dst keeps everything else, and grows to the size of \a src with black if it is smaller. \a dstTriangle
 * is held inside the size of \a src. Small triangles cost no pass over the pictures, so that a mesh may be
 * drawn triangle by triangle.
 */
VTCV_EXPORT void triangleAffine(cv::Mat src, VList<QPoint> srcTriangle, VList<QPoint> dstTriangle,
    cv::Mat &dst, signed char srcGrow = 0, unsigned char srcBlur = 0, signed char dstGrow = 0,
    unsigned char dstBlur = 0);

} // namespace VTCV
