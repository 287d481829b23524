#pragma once

#include "vtcv_export.h"

#include <opencv2/core.hpp>

/**
 * Where the pixels of a delivered frame go: rows and columns are mirrored first, then both change places.
 * Every rotation by quarter turns with every flip behind it is one of the eight.
 */
struct FrameOrientation
{
    bool mirrorRows = false; // the last row becomes the first: upside down
    bool mirrorColumns = false; // left and right change places
    bool transpose = false; // rows become columns

    bool isIdentity() const { return !mirrorRows && !mirrorColumns && !transpose; }

    /** The size that a delivered frame of \a size has afterwards. */
    cv::Size of(cv::Size size) const { return transpose ? cv::Size(size.height, size.width) : size; }
};

/**
 * What a local camera does for its settings: a value of CameraSettings::CameraRotation, then one of
 * CameraSettings::CameraFlip. Rotate0 turns the frame upside down and Rotate180 leaves it as it was
 * delivered, Rotate90 turns it counterclockwise and Rotate270 clockwise. Other values do nothing.
 */
VTCV_TEST_EXPORT FrameOrientation frameOrientation(int rotation, int flip);

/**
 * Fills \a frame, CV_8UC3 (blue, green, red), from \a delivered, CV_8UC4 with any row step, in a single pass
 * over the pixels. A frame of another size or type gets new pixels.
 *
 * \thread Any. Uses OpenCV's threads.
 */
VTCV_TEST_EXPORT void takeColours(const cv::Mat &delivered, FrameOrientation orientation, cv::Mat &frame);

/** Makes a new frame of the type of \a delivered, which must not have the identity as \a orientation. */
VTCV_TEST_EXPORT cv::Mat reoriented(const cv::Mat &delivered, FrameOrientation orientation);
