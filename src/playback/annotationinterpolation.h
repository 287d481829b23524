#pragma once

#include "playback/frameinfo.h"
#include "vtcv_export.h"

#include <QList>
#include <QPoint>
#include <QRect>

class VideoAnnotations;

/**
 * \file
 * Fills in what lies between two frames on which an object was marked by hand.
 *
 * Everything moves in a straight line at an even speed: each coordinate, and each size of a rectangle, on its
 * own. Numbers are rounded to the nearest, halves upwards, so that a motion across 0 is as smooth as any
 * other and a size that does not change stays the same. On the two frames themselves the result is what
 * stands there.
 *
 * \thread Any; for fillBetween() that of the annotations.
 */

/**
 * The rectangle on \a frame, between \a from on \a fromFrame and \a to on \a toFrame.
 *
 * \param ok if given, false where \a frame lies outside of the two, or they are the same frame with different
 *           rectangles.
 * \return the null QRect where \a ok is false.
 */
VTCV_EXPORT QRect interpolatedRect(
    const QRect &from, int fromFrame, const QRect &to, int toFrame, int frame, bool *ok = nullptr);

/**
 * The points on \a frame; the n-th of one list moves to the n-th of the other.
 *
 * \param ok if given, false where interpolatedRect() gives false, and where the lists differ in length: which
 *           point has come or gone is not known.
 * \return an empty list where \a ok is false.
 */
VTCV_EXPORT QList<QPoint> interpolatedPoints(const QList<QPoint> &from, int fromFrame,
    const QList<QPoint> &to, int toFrame, int frame, bool *ok = nullptr);

/**
 * Sets the entry \a name on each frame between two that have it, as one step of undo.
 *
 * \param type       Rect or Points; other kinds fill nothing.
 * \param longestGap in frames: where more than so many lack the entry, the object was away and nothing is
 * filled. Nor is anything filled between points of different number. \return the number of frames that were
 * filled.
 */
VTCV_EXPORT int fillBetween(
    VideoAnnotations &annotations, FrameInfo::InfoDataType type, const QString &name, int longestGap);
