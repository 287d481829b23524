#pragma once

#include "vtcv_export.h"

#include <opencv2/core.hpp>

#include <array>
#include <cstddef>

/**
 * Hands out matrices to write frames into, and takes a buffer up again once nobody else holds it.
 *
 * \thread One. Those who hold frames may let them go on any thread.
 */
class VTCV_TEST_EXPORT FramePool
{
public:
    /** A matrix of the given shape that shares its pixels with nobody but the pool. */
    cv::Mat take(cv::Size size, int type);

private:
    // The holder has one, a consumer works on one, one is filled and one is on its way through a queue.
    // Whoever keeps more of them costs an allocation a frame.
    std::array<cv::Mat, 4> buffers;
    std::size_t oldest = 0;
};
