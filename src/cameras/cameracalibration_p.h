#pragma once

#include "vtcv_export.h"

#include <QString>

#include <opencv2/core.hpp>

/** Reads the file in which the intrinsic calibration of a lens is kept. */
namespace CameraCalibration {

/**
 * Fills \a distortion (4x1, CV_32F) and \a matrix (3x3, CV_32F) from the file at \a path.
 *
 * The file is XML: in the document element `IntrinsicCameraParameters` stand `DistortionCoeffs` with the four
 * coefficients and one element of any name with the nine entries of the matrix, column by column. Both are
 * numbers with ";" between, with a decimal point or comma. What is not a number is passed over, and so are
 * numbers beyond the fourth and the ninth; elements without a number keep what they held. Only the first
 * 64 KiB are looked at.
 *
 * \return false for what cannot be opened or is no regular file; true otherwise, also if nothing was found,
 *         and for a file that is not there.
 */
VTCV_TEST_EXPORT bool read(const QString &path, cv::Mat *distortion, cv::Mat *matrix);

} // namespace CameraCalibration
