#pragma once

#include "vtcv_export.h"

#include <QList>
#include <QPoint>
#include <QRect>

/**
 * \file
 * Fills in what lies between two frames on which an object was marked by hand.
 *
 * Everything moves in a straight line at an even speed: each coordinate, and each size of a rectangle, on its
 * own. Numbers are rounded to the nearest, halves upwards, so that a motion across 0 is as smooth as any
 * other and a size that does not change stays the same. On the two frames themselves the result is what
 * stands there.
 *
 * \thread Any.
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
