#pragma once

#include "vtcv_export.h"

#include <QMetaType>
#include <QString>
#include <QtGlobal>

/**
 * Tells when and by which camera a frame was taken; travels beside the frame.
 *
 *     recorder.setFrame(frame, FrameStamp::now(QStringLiteral("left")));
 *
 * Times are microseconds on the monotonic clock of the system (`CLOCK_MONOTONIC` on Linux, which the V4L2
 * drivers use too), so stamps of several cameras of one computer can be compared. Setting the wall clock does
 * not move them.
 */
struct VTCV_EXPORT FrameStamp
{
    qint64 timeUs = -1; // when the frame was taken, us on the monotonic clock; -1 if unknown
    qint64 sequence = -1; // the source's number of the frame, gaps are frames that it lost; -1 if unknown
    QString camera; // name of the source; may be empty

    bool isValid() const { return timeUs >= 0; }

    /** The monotonic clock's present time in us. \thread Any. */
    static qint64 nowUs();

    /** A stamp with the present time: for sources that have none of their own. \thread Any. */
    static FrameStamp now(const QString &camera = QString(), qint64 sequence = -1);
};
Q_DECLARE_METATYPE(FrameStamp)
