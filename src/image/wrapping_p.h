#pragma once

#include <QRect>

#include <opencv2/core/types.hpp>

#include <algorithm>
#include <climits>
#include <cstdint>

/** Integer arithmetic with a defined result for every operand: coordinates come from files and from users. */
namespace Wrapping {

constexpr int add(int a, int b)
{
    return static_cast<int>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

constexpr int subtract(int a, int b)
{
    return static_cast<int>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

constexpr int multiply(int a, int b)
{
    return static_cast<int>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

/** The nearest int. */
constexpr int saturated(int64_t value)
{
    return static_cast<int>(std::clamp<int64_t>(value, INT_MIN, INT_MAX));
}

// A QRect stores its far edges and computes them without a guard, so it is built and read by these two.
inline QRect toQRect(const cv::Rect &rect)
{
    QRect result;
    result.setCoords(
        rect.x, rect.y, add(subtract(rect.x, 1), rect.width), add(subtract(rect.y, 1), rect.height));
    return result;
}

inline cv::Rect toCvRect(const QRect &rect)
{
    return {rect.x(), rect.y(), add(subtract(rect.right(), rect.left()), 1),
        add(subtract(rect.bottom(), rect.top()), 1)};
}

} // namespace Wrapping
