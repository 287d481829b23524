#pragma once

#include "vtcv_export.h"

#include <QtGlobal>

#include <algorithm>

/**
 * Decides when a recorder writes its next frame, and how many frames it lacks.
 *
 * Due times lie one interval apart. A pass that begins late by less than an interval does not move those that
 * follow, so the average rate is exact; a pass that is later, or that takes longer than the interval, starts
 * the grid again: nothing is made up for.
 *
 * All times are in ns, on one monotonic clock of the caller's.
 */
class VTCV_TEST_EXPORT FramePacer
{
public:
    /** Makes a frame due at \a nowNs, and the following ones each \a intervalNs later. */
    void start(qint64 nowNs, qint64 intervalNs)
    {
        interval = std::max<qint64>(1, intervalNs);
        due = nowNs;
    }

    /** How long the next frame is still ahead; 0 if it is due. */
    qint64 untilDueNs(qint64 nowNs) const { return std::max<qint64>(0, due - nowNs); }

    /** A pass that was due begins. */
    void begin(qint64 nowNs) { due = nowNs - due < interval ? due + interval : nowNs + interval; }

    /** Frames were written out of turn: the next one is due an interval from now. */
    void defer(qint64 nowNs) { due = nowNs + interval; }

    /** The pass has ended; if the next one should have begun already, it begins now. */
    void end(qint64 nowNs) { due = std::max(due, nowNs); }

    /** How many of the frames that \a rateHz asks for in \a elapsedNs are missing from \a written. */
    static quint64 missing(qint64 elapsedNs, double rateHz, quint64 written)
    {
        const double wanted = double(elapsedNs) * rateHz / 1e9;
        return wanted > double(written) ? quint64(wanted) - written : 0;
    }

private:
    qint64 interval = 1;
    qint64 due = 0;
};
