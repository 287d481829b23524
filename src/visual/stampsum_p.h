#pragma once

#include "vtcv_export.h"

#include <QPoint>
#include <QVector>

#include <opencv2/core.hpp>

/** The ways to add up stamps. They differ in speed only. */
enum class StampWay
{
    Measured, /**< whichever costs less for the work at hand */
    Rows, /**< each sample adds the rows of the stamp */
    Weights, /**< each pixel gathers the field, weighted by the stamp */
    Differences, /**< as Weights, with the differences of the stamp, most of which are 0, 1 or -1; summed up
                    after */
};

/**
 * Adds up one stamp for each sample of a field, the core of a heat map.
 *
 * The sum at column x, row y is that of v * stamp(radius + x - sx, radius + y - sy) over all samples v > 0 at
 * (sx, sy) that are nearer than the stamp reaches: -radius to radius - 1 on both axes. It is taken modulo
 * 2^32.
 *
 * \thread Any; works on OpenCV's threads as well.
 */
class VTCV_TEST_EXPORT StampSum
{
public:
    /** \param stamp CV_8UC1, square, its row the distance in x; empty: nothing is added. */
    explicit StampSum(const cv::Mat &stamp, StampWay way = StampWay::Measured);

    /**
     * Writes the sum over \a values, CV_32SC1, to \a heat, CV_32SC1 of the same size, in any state before.
     *
     * With a step above 1, only the last sample of each cell counts, at the cell's middle, and not at all if
     * that falls outside.
     *
     * \return the largest sum.
     */
    qint32 add(const cv::Mat &values, int stepX, int stepY, cv::Mat &heat) const;

    /** The same for the field that counts \a points at each pixel; points outside are ignored. */
    qint32 add(const QVector<QPoint> &points, int stepX, int stepY, cv::Mat &heat) const;

private:
    cv::Mat stamp;
    StampWay way;
};
