#pragma once

#include "vtcv_export.h"

#include <QtGlobal>

#include <array>
#include <atomic>
#include <chrono>

/**
 * Counts what becomes of the frames of a processing worker, and how long they take.
 *
 *     const PipelineStatistics::Figures figures = worker.statistics().figures();
 *     label->setText(tr("%1 Hz, %2 dropped").arg(figures.rate, 0, 'f', 1).arg(figures.dropped));
 *
 * Takes no lock, so that a producer never waits for somebody who reads the figures.
 *
 * \thread Any; countProcessed() one thread at a time. Figures that are read while frames pass may be one
 * frame apart from each other.
 */
class VTCV_EXPORT PipelineStatistics
{
public:
    struct Figures
    {
        quint64 offered = 0; ///< frames that were handed over
        quint64 processed = 0; ///< frames that have been worked on, each counted once
        /** Frames that never were: refused because the worker was busy, replaced by a newer one, or without
         * pixels where such are left out. A frame that waits or is being worked on is in neither count. */
        quint64 dropped = 0;
        /** Processed frames in Hz, of the last 10 s and at most 512 frames. 0 for less than two of these. It
         * sinks when frames stop coming. */
        double rate = 0.0;
        double latencyMedianMs = 0.0; ///< from hand-over to the end of the operation, of the last 512 frames
        double latency95Ms = 0.0; ///< the 95th percentile of the same; nearest rank, as is the median
    };

    Figures figures() const;

    /** Starts all figures from 0. */
    void restart();

    void countOffered();
    void countDropped();

    /** Counts a frame whose operation ends now, and which was handed over at \a handedOver. */
    void countProcessed(std::chrono::steady_clock::time_point handedOver);

private:
    struct Run
    {
        std::atomic<qint64> endNs{0};
        std::atomic<qint64> latencyNs{0};
    };
    static constexpr quint64 keptRuns = 512;

    std::atomic<quint64> offered{0};
    std::atomic<quint64> processed{0}; // also tells where the next run goes
    std::atomic<quint64> dropped{0};
    std::array<Run, keptRuns> runs; // a ring
};
