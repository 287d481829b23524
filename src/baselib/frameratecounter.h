#pragma once

#include "varnhold_export.h"

#include <QMutex>
#include <QObject>

#include <chrono>

/**
 * Turns the ticks of a frame source into a rate in Hz.
 *
 * The rate is that of the frames that came since the last report, measured from frame to frame and not over a
 * fixed second, so it is exact for slow sources as well. A report comes with the first frame that is a second
 * or more after the last report: once a second for a camera at 25 Hz, with each frame at 0.2 Hz. While no
 * frames come there is no report.
 *
 * \thread Any. frameRateChanged() comes on the thread of the frame that completes a report.
 */
class VARNHOLD_EXPORT FrameRateCounter : public QObject
{
    Q_OBJECT

public:
    explicit FrameRateCounter(QObject *parent = nullptr);

    /** Counts a frame that has come just now. */
    void nextFrame();

    /**
     * Counts a frame that came at \a time on any steady clock, which has to be the same for all frames since
     * restart(). For sources that stamp their frames.
     */
    void nextFrameAt(std::chrono::nanoseconds time);

    /** Forgets the frames so far; the next one is the first. Nothing is emitted. */
    void restart();

Q_SIGNALS:
    void frameRateChanged(double frameRate);

private:
    QMutex mutex; // guards the two below
    std::chrono::nanoseconds firstFrame{0}; // the frame that the intervals are counted from
    qint64 intervals = -1; // complete ones since firstFrame; -1 before the first frame
};
