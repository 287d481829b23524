#pragma once

#include "baselib/vlist.h"
#include "vtcv_export.h"

#include <QPoint>

#include <opencv2/core.hpp>

/** The kernels of VTCV, which work on the part of a picture that can change. */
namespace Composition {

/** What the blend pass may use: what the library was built for, AVX2 as well, or all that it finds. */
enum class Instructions
{
    Portable,
    Avx2,
    Best
};

/** Blends \a src into \a dst by \a mask: CV_8UC3, CV_8UC3 and CV_8UC1 of one size, which do not overlap. */
VTCV_TEST_EXPORT void blend(const cv::Mat &src, const cv::Mat &dst, const cv::Mat &mask,
    Instructions instructions = Instructions::Best);

/** Makes \a dst ready to take a picture of the given size and type: it grows, or starts as a black one. */
void prepareCanvas(cv::Mat &dst, cv::Size size, int type);

/** Could writing one of the two change the other? Views side by side in one picture count as overlapping. */
bool overlap(const cv::Mat &a, const cv::Mat &b);

/** True if \a src can be laid over \a dst part by part, with the result of a pass over the whole. */
bool worksByParts(const cv::Mat &src, const cv::Mat &dst, bool blend);

/** Lays \a src over \a dst, of the same size and type, by \a mask of that size; throws where they do not fit.
 */
void lay(const cv::Mat &src, cv::Mat dst, const cv::Mat &mask, bool blend);

/** The part of a polygon's mask that is not all 0, and where it lies in the mask. */
struct PolygonMask
{
    cv::Rect place;
    cv::Mat mask;
};

/** Makes the mask of a polygon for a picture of \a size, without the part that is 0 for certain. */
PolygonMask polygonMask(cv::Size size, const VList<QPoint> &polygon, int grow, int blur);

/**
 * The inverse of an affine map on the grid on which `cv::warpAffine` computes: source coordinates in 32nds of
 * a pixel. It gives the bits of a warp of the whole picture for any part of it.
 */
class VTCV_TEST_EXPORT WarpGrid
{
public:
    /** \param forward The map from source to result, 2x3 of CV_64F. */
    explicit WarpGrid(const cv::Mat &forward);

    /** Can this build of OpenCV be followed to the bit? If not, warp the whole picture. */
    static bool matchesOpenCv();
    /** Is a source of this size and type within what the grid, and `cv::remap`, can take? */
    static bool takes(const cv::Mat &src);

    /** Where in a result of \a size the \a part of the source can show. */
    cv::Rect reachOf(const cv::Rect &part, cv::Size size) const;

    /**
     * Fills \a result, which lies at \a place in the whole result, from \a source, which lies at \a origin in
     * a source that is black elsewhere.
     */
    void warp(const cv::Mat &source, cv::Point origin, const cv::Mat &result, const cv::Rect &place) const;

private:
    double m[6]; // source x = m[0] x + m[1] y + m[2], source y = m[3] x + m[4] y + m[5]
};

} // namespace Composition
