#include "image/vtmath.h"

namespace VTMath {

namespace {

constexpr int sizeLimit = 10000;

bool isSane(int length)
{
    return length >= 1 && length < sizeLimit;
}

} // namespace

// By value as settled; a header costs no pixels.
bool matIsValid(cv::Mat mat) // NOLINT(performance-unnecessary-value-param)
{
    return isSane(mat.cols) && isSane(mat.rows);
}

} // namespace VTMath
