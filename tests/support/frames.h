#pragma once

#include <opencv2/core.hpp>
#include <QString>
#include <QVector>

/** Frames that carry their number in their pixels, so that "which frame is this" is read back, not guessed.
 */
namespace frames {

/**
 * A CV_8UC3 picture that shows \a number (0 to 65535) as 16 large black or white blocks, which survive
 * Motion-JPEG and other lossy codecs. \a size at least 64x16.
 */
cv::Mat numbered(int number, cv::Size size = {320, 240});

/** The number that a frame of numbered() shows, also after lossy coding or scaling; -1 if it shows none. */
int numberOf(const cv::Mat &frame);

/** Writes \a count numbered frames, starting at \a first, as Motion-JPEG; false if the file could not be
 * opened. */
bool writeVideo(
    const QString &path, int count, double frameRate = 25.0, cv::Size size = {320, 240}, int first = 0);

/** The numbers of all frames of the video at \a path in order; -1 stands for a frame without a number. */
QVector<int> numbersIn(const QString &path);

} // namespace frames
