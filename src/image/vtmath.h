#pragma once

#include "vtcv_export.h"

#include <opencv2/core.hpp>

namespace VTMath {

/**
 * Tells whether a frame's size is sane: `cols` and `rows` are both in 1 to 9999.
 *
 * Neither the type nor the pixels are looked at.
 *
 * \thread Any.
 */
VTCV_EXPORT bool matIsValid(cv::Mat mat);

} // namespace VTMath
