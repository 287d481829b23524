#pragma once

#include "image/vtmath.h"
#include "vtcv_export.h"

#include <QColor>
#include <QImage>
#include <QMetaType>
#include <QPixmap>
#include <QString>

#include <opencv2/core.hpp>

#include <string>

/**
 * \file
 * The border between Qt's pictures and OpenCV's: conversions in both directions, and the small services that
 * stand on it.
 *
 *     const cv::Mat frame = imgread(QStringLiteral("/data/Bühne 3.png"));
 *     label->setPixmap(cvMatToQPixmap(frame));
 *
 * A colour `cv::Mat` holds blue, green, red and then alpha, 8 bits each; a `cv::Scalar` that is a colour
 * holds blue, green, red and 0, from 0 to 255.
 *
 * Two words have an exact meaning here. A result that *wraps* refers to the source's pixels and takes no
 * reference on them: nothing is copied, a write through either side is seen by the other, and the source must
 * outlive the result, on any thread. A result that *copies* owns its pixels.
 *
 * All functions are free of state; two threads may call them at once on different pictures. What OpenCV
 * throws passes through.
 */

/** Frames travel through signals by value: a header and a raised reference count, never the pixels. */
Q_DECLARE_METATYPE(cv::Mat)

/**
 * Makes a `cv::Mat` of height x width pixels from \a image.
 *
 * | Format of \a image                | Result                             | \a clone false |
 * |-----------------------------------|------------------------------------|----------------|
 * | Indexed8 (colour table ignored)   | CV_8UC1                            | wraps          |
 * | Grayscale8                        | CV_8UC1                            | wraps          |
 * | RGB32                             | CV_8UC4, the fourth byte as it is  | wraps          |
 * | RGB888                            | CV_8UC3, blue, green, red          | copies, warns  |
 * | RGBA8888                          | CV_8UC4, blue, green, red, alpha   | copies, warns  |
 * | any other (ARGB32 and null too)   | empty, with a warning              | the same       |
 *
 * \param clone true: the result copies and is continuous. False: it wraps where the table says so, with the
 *              image's bytes per line as its row step, and must then not be written to while other QImages
 *              share the pixels.
 * \thread    Any.
 * \ownership A wrapping result needs \a image, or another QImage that shares its pixels, to live unchanged.
 */
VTCV_EXPORT cv::Mat QImageToCvMat(const QImage &image, bool clone = true);

/**
 * Makes a `cv::Mat` from a pixmap's image; see QImageToCvMat().
 *
 * With \a clone false the result is usable only while \a pixmap lives unchanged. Where the pixmap does not
 * share its pixels with anybody (it is being painted on), the result copies all the same.
 *
 * \thread GUI thread.
 */
VTCV_EXPORT cv::Mat QPixmapToCvMat(const QPixmap &pixmap, bool clone = true);

/**
 * Makes a QImage of cols x rows pixels from \a mat, whatever its row step.
 *
 * | Type of \a mat | \a swapChannels | Format of the result | Pixels                                      |
 * |----------------|-----------------|----------------------|---------------------------------------------|
 * | CV_8UC1        | ignored         | Grayscale8           | wraps                                       |
 * | CV_8UC3        | ignored         | RGB888               | copies                                      |
 * | CV_8UC4        | false           | RGB32                | wraps, the fourth channel is not looked at  |
 * | CV_8UC4        | true            | RGBA8888             | copies, alpha kept                          |
 * | any other      | ignored         | null                 | refused with a warning                      |
 *
 * An empty \a mat gives a null image without a message.
 *
 * \thread    Any.
 * \ownership A wrapping result is valid only as long as \a mat's pixels: keep the `cv::Mat`, or
 * QImage::copy().
 */
VTCV_EXPORT QImage cvMatToQImage(const cv::Mat &mat, bool swapChannels = false);

/**
 * Makes a pixmap that owns its pixels, in the format that cvMatToQImage() gives; null for what that refuses.
 *
 * \a mat may be changed or freed at once, also where cvMatToQImage() would have wrapped it.
 *
 * \thread GUI thread.
 */
VTCV_EXPORT QPixmap cvMatToQPixmap(const cv::Mat &mat);

/** The colour as blue, green, red, 0; its alpha is dropped. */
VTCV_EXPORT cv::Scalar QColorToCVScalar(QColor color);

/** The colour of a text such as "#102030" or "orange", any that QColor knows; all 0 for a text it doesn't. */
VTCV_EXPORT cv::Scalar cvScalarFromHex(QString hex);

/**
 * Reads and decodes the picture at \a path, which may hold any Unicode characters or name a Qt resource.
 *
 * \return CV_8UC3 whatever the file holds; empty, without a message, for a file that is missing, unreadable,
 *         empty, of 2 GiB or more, or no picture.
 * \thread Any.
 */
VTCV_EXPORT cv::Mat imgread(QString path);

/**
 * Turns \a mat clockwise by \a rotation quarter turns, 1 to 3; any other number does nothing.
 *
 * Works in place where the size allows it (half turns, square frames), so that everybody who shares the
 * pixels sees it. Clone first a frame that others hold, or that wraps foreign memory.
 */
VTCV_EXPORT void rot90(cv::Mat &mat, int rotation);

/** The text's UTF-8 bytes, as OpenCV takes paths and names. */
VTCV_EXPORT std::string toOpenCvString(QString text);

/** Writes the name and number of each OpenCV type to the debug log, one a line. */
VTCV_EXPORT void printTypes();

/**
 * Makes sure that a cascade file stands at \a path, if need be by copying the application's resource
 * ":/resources/" + the file name of \a path. Folders are not made.
 *
 * \return true if the file is there now.
 */
VTCV_EXPORT bool CheckLoadCascade(const QString &path);
