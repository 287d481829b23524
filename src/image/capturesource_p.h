#pragma once

#include "vtcv_export.h"

#include <opencv2/videoio.hpp>
#include <QString>

/**
 * The one place in which the library opens a `cv::VideoCapture`.
 *
 * Files and network addresses are opened with the FFmpeg back end alone where OpenCV has it. Asking "any"
 * back end instead passes exactly the damaged files that FFmpeg rejects on to back ends that may wait for
 * ever on them, ignores the time bounds and prints an address with its password. Where FFmpeg is not built
 * in, and for device numbers, any back end will do.
 */
namespace CaptureSource {

/** Limits for a network source, in ms; 0 leaves a limit to the back end (30 s in FFmpeg's). */
struct Bounds
{
    int openMs = 0;
    int readMs = 0;
};

/** Opens a file path or an address; false if it cannot be opened. Blocks for as long as the back end takes.
 */
VTCV_TEST_EXPORT bool open(cv::VideoCapture &capture, const QString &source, Bounds bounds = {});

/** Opens the device of the given number with any back end. */
VTCV_TEST_EXPORT bool open(cv::VideoCapture &capture, int device);

/** A property that counts or measures, as an int: 0 for what is not finite or negative, cut at INT_MAX. */
VTCV_TEST_EXPORT int toCount(double value);

/** The number of frames as the container tells it, 0 if it does not know. Files of killed writers do not
 * know. */
VTCV_TEST_EXPORT int frameCount(const cv::VideoCapture &capture);

/** The nominal rate in Hz; 0 if the file tells none, or none that makes sense. */
VTCV_TEST_EXPORT double frameRate(const cv::VideoCapture &capture);

/** True for an address ("rtsp://...", "http://..."), false for a file path. */
VTCV_TEST_EXPORT bool isNetworkAddress(const QString &source);

} // namespace CaptureSource
