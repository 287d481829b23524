#include "image/framestamp.h"

#include <chrono>

qint64 FrameStamp::nowUs()
{
    // steady_clock reads CLOCK_MONOTONIC on Linux, in the C++ libraries of GCC and of Clang alike.
    const auto sinceOrigin = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(sinceOrigin).count();
}

FrameStamp FrameStamp::now(const QString &camera, qint64 sequence)
{
    return {nowUs(), sequence, camera};
}
