#pragma once

#include "vtcv_export.h"

#include <QMutex>

#include <opencv2/core.hpp>

#include <list>
#include <memory>

/**
 * Takes the distortion of a lens out of frames.
 *
 *     const auto undistorter = std::make_shared<FrameUndistorter>(
 *         camera->getCameraMatrix(), camera->getDistortionCoeffs());
 *     connect(camera, &Camera::frameChanged, this,
 *         [=](const cv::Mat &frame) { measure(undistorter->undistort(frame)); });
 *
 * A calibration belongs to one frame size and one orientation: calibrate with frames that have the size,
 * rotation and flip that will be used. The result has the size and the camera matrix of the frame; what lies
 * outside of the delivered picture is black.
 *
 * Cameras do not use this class themselves.
 *
 * \thread Any, also at once.
 */
class VTCV_EXPORT FrameUndistorter
{
public:
    /**
     * \param cameraMatrix 3x3, CV_32F or CV_64F, in pixels.
     * \param distortionCoeffs 4, 5, 8, 12 or 14 of them, CV_32F or CV_64F, in OpenCV's order.
     */
    FrameUndistorter(const cv::Mat &cameraMatrix, const cv::Mat &distortionCoeffs);
    ~FrameUndistorter();
    FrameUndistorter(const FrameUndistorter &) = delete;
    FrameUndistorter &operator=(const FrameUndistorter &) = delete;

    /** False for empty or impossible values, such as a focal length of 0 or below. */
    bool isValid() const { return valid; }

    /**
     * Makes an undistorted copy of \a frame, of up to four channels and at most 32766 rows and columns.
     *
     * \return \a frame itself, sharing its pixels, if isValid() is false or there are no pixels.
     * The first frame of a size takes about ten times as long as the others. The last four sizes are kept.
     */
    cv::Mat undistort(const cv::Mat &frame) const;

private:
    struct Maps;

    std::shared_ptr<const Maps> mapsFor(cv::Size size) const;

    const cv::Mat cameraMatrix;
    const cv::Mat distortionCoeffs;
    const bool valid;
    mutable QMutex mutex; // guards maps
    mutable std::list<std::shared_ptr<const Maps>> maps; // the size used last in front
};
