#pragma once

#include "baselib/vtthread.h"
#include "pipeline/frameslot.h"
#include "pipeline/pipelinestatistics.h"
#include "vtcv_export.h"

#include <QMutex>

#include <opencv2/core.hpp>

#include <atomic>
#include <chrono>
#include <memory>

/**
 * Runs an application's image operation on a thread of its own, on the newest frame there is.
 *
 *     class Detector : public ImageProcessingThread
 *     {
 *     public:
 *         ~Detector() override { stopAndWait(); }
 *
 *     private:
 *         void processImage() override
 *         {
 *             detect(*m_frame);
 *             delete m_frame.take();
 *         }
 *     };
 *
 *     Detector detector;
 *     connect(camera, &Camera::frameChanged, &detector,
 *         [&detector](const cv::Mat &frame) { detector.processFrame(frame); }, Qt::DirectConnection);
 *     detector.initAndStart();
 *
 * A frame that comes while the operation runs is dropped. Otherwise it takes the place of the frame that
 * waits, and the worker starts on it at once. Producers never wait: neither for the operation nor on a lock.
 *
 * A frame stays in `m_frame` until the operation takes it out or a newer one replaces it, and as long as it
 * lies there the operation runs on it again, once per pass (10 ms, see VTThread). A frame without rows or
 * columns never reaches the operation; it replaces the frame that waits all the same.
 *
 * Who frees a frame: what lies in `m_frame` and was made by the by-value form of processFrame(), or came
 * through offerFrame(), is freed when a newer frame replaces it and in the destructor. What the operation has
 * taken out is the subclass's. A pointer that was handed to processFrame() is never freed here.
 *
 * Every subclass ends the loop in its own destructor, with stopAndWait().
 */
class VTCV_EXPORT ImageProcessingThread : public VTThread
{
    Q_OBJECT

public:
    ImageProcessingThread();
    ~ImageProcessingThread() override;

    /**
     * Hands \a frame over as it is, if the operation does not run just now. Null takes back the frame that
     * waits.
     *
     * \thread    Any; never waits.
     * \ownership The subclass's, once the operation has begun on it. A frame that is dropped or replaced
     * before is freed by nobody here, and nothing tells: where that matters, offerFrame() is the safer way.
     */
    void processFrame(cv::Mat *frame);

    /**
     * Hands a deep copy of \a frame over, if the operation does not run just now. The copy is made on the
     * calling thread, and only if the operation does not run.
     *
     * \param frame any type; rows x columns.
     *
     * \thread    Any; never waits.
     * \ownership The caller keeps \a frame and may reuse its buffer on return.
     */
    void processFrame(cv::Mat frame);

    /**
     * Hands \a frame over without a copy, and its ownership with it. For frames of
     * ImageProviderBase::nextFrameReady():
     *
     *     detector.offerFrame(std::unique_ptr<cv::Mat>(frame));
     *
     * \return false if the operation runs just now, or if there is no frame or no pixel; \a frame is freed
     * then. \thread Any; never waits.
     */
    bool offerFrame(std::unique_ptr<cv::Mat> frame);

    /** What became of the frames so far. */
    PipelineStatistics &statistics();

protected:
    FrameSlot m_frame; // the frame to work on
    std::atomic<bool> m_busy{false}; // processImage() runs
    QMutex m_mutex; // held by the worker for the whole of a pass; producers never take it

private:
    void process() override;

protected:
    /** Works on `m_frame`, which is not null and not empty. \thread The worker's; never call it yourself. */
    virtual void processImage() = 0;

private:
    using Clock = std::chrono::steady_clock;

    bool isBusy() const;
    bool handOver(cv::Mat *frame, FrameSlot::Owner owner, Clock::time_point offered);
    bool handOverOwned(std::unique_ptr<cv::Mat> frame, Clock::time_point offered);

    std::atomic<Clock::time_point> m_offered{}; // when the frame in the slot was handed over
    PipelineStatistics m_statistics;
};
