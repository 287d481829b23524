#pragma once

#include "baselib/vtthread.h"
#include "pipeline/pipelinestatistics.h"
#include "vtcv_export.h"

#include <opencv2/core.hpp>

#include <atomic>
#include <chrono>

/**
 * Runs an application's image operation on a thread of its own, once for each frame that it accepts, without
 * copying pixels.
 *
 *     class Counter : public ImageProcessingThread2
 *     {
 *     public:
 *         ~Counter() override { stopAndWait(); }
 *
 *     private:
 *         void processImage() override { count(m_frame); }
 *     };
 *
 * From the moment one frame is accepted until the operation on it has returned, all others are dropped. So
 * the oldest frame wins, where ImageProcessingThread takes the newest. Empty frames reach the operation as
 * well.
 *
 * Producers never wait: neither for the operation nor on a lock. There may be several of them.
 *
 * Every subclass ends the loop in its own destructor, with stopAndWait().
 */
class VTCV_EXPORT ImageProcessingThread2 : public VTThread
{
    Q_OBJECT

public:
    ImageProcessingThread2();
    ~ImageProcessingThread2() override;

    /**
     * Hands \a frame over, or drops it if the worker has one.
     *
     * \param frame any type, empty too.
     *
     * \thread    Any; never waits.
     * \ownership The pixels are shared. A producer that writes into the same buffer later changes what the
     * worker sees; `m_frame` holds on to them until the next frame is accepted, or releases them in
     * processImage().
     */
    void processFrame(cv::Mat frame);

    /** What became of the frames so far. */
    PipelineStatistics &statistics();

protected:
    cv::Mat m_frame; // the frame to work on; of the producer that has set m_hasFrame, then of the worker
    std::atomic<bool> m_hasFrame{false}; // from the acceptance of a frame until the operation has returned

private:
    void process() override;

protected:
    /** Works on `m_frame`. \thread The worker's; never call it yourself. */
    virtual void processImage() = 0;

private:
    std::atomic<bool> m_frameIsWhole{false}; // m_frame is stored, the worker may look at it
    std::chrono::steady_clock::time_point m_offered; // changes hands together with m_frame
    PipelineStatistics m_statistics;
};
