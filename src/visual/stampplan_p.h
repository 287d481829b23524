#pragma once

#include "visual/stampkernels_p.h"

#include <vector>

/**
 * The work that a convolution with a stamp does for each pixel, as pairs of places in pairs of rows.
 *
 * A stamp is its own mirror image, left to right and top to bottom, so the field's rows above and below are
 * added once and then share their weights. A stamp that is no mirror image costs more, and nothing else.
 */
struct StampPlan
{
    struct Group
    {
        int rowA = 0;
        int rowB = -1; // -1: rowA alone
        std::vector<StampKernels::Pair> ones; // of weight 1
        std::vector<StampKernels::Pair> weighted; // of any other
    };

    static constexpr int strip = 1024; // pixels of a row that are worked on at once, so that all stays in L1

    /** \param stamp as StampSum takes it. \param differences of the stamp, both ways, instead of its weights.
     */
    StampPlan(const cv::Mat &stamp, bool differences);

    const bool differences;
    const int size; // rows and columns of the weights
    std::vector<Group> groups;
    int nowhere() const { return strip + size - 1; } // the place of a pair's missing half: a strip of zeros
    quint64 oneCount = 0;
    quint64 weightedCount = 0;
    quint64 reach = 0; // no result is larger than the largest sample times this
};
