#include "pipeline/imageprocessingthread.h"

#include <QScopeGuard>

#include <utility>

ImageProcessingThread::ImageProcessingThread() = default;

ImageProcessingThread::~ImageProcessingThread()
{
    stopAndWait();
}

void ImageProcessingThread::processFrame(cv::Mat *frame)
{
    if (frame)
        m_statistics.countOffered();
    if (!isBusy())
        handOver(frame, FrameSlot::Owner::Other, Clock::now());
    else if (frame)
        m_statistics.countDropped();
}

void ImageProcessingThread::processFrame(cv::Mat frame)
{
    const Clock::time_point offered = Clock::now();
    m_statistics.countOffered();
    if (isBusy())
        m_statistics.countDropped();
    else
        handOverOwned(std::make_unique<cv::Mat>(frame.clone()), offered);
}

bool ImageProcessingThread::offerFrame(std::unique_ptr<cv::Mat> frame)
{
    if (!frame)
        return false;
    m_statistics.countOffered();
    if (!isBusy())
        return handOverOwned(std::move(frame), Clock::now());
    m_statistics.countDropped();
    return false;
}

PipelineStatistics &ImageProcessingThread::statistics()
{
    return m_statistics;
}

bool ImageProcessingThread::isBusy() const
{
    return m_busy || m_frame.isClaimed();
}

bool ImageProcessingThread::handOver(cv::Mat *frame, FrameSlot::Owner owner, Clock::time_point offered)
{
    // Ahead of the frame, or the worker might find the frame with the time of the one before. The other way
    // round is possible too, if the worker starts on the frame before at this very moment: that one's latency
    // is then measured from here, which is off by no more than the worker takes to wake up.
    m_offered = offered;
    const FrameSlot::Offer result = m_frame.offer(frame, owner);
    if (result == FrameSlot::Offer::ReplacedWaiting || (result == FrameSlot::Offer::Refused && frame))
        m_statistics.countDropped();
    if (result == FrameSlot::Offer::Refused)
        return false;
    wake();
    return true;
}

bool ImageProcessingThread::handOverOwned(std::unique_ptr<cv::Mat> frame, Clock::time_point offered)
{
    if (frame->rows < 1 || frame->cols < 1) {
        // Kept out of the slot: a look at it with each pass would make us seem busy for a moment.
        m_statistics.countDropped();
        handOver(nullptr, FrameSlot::Owner::Other, offered);
        return false;
    }
    if (!handOver(frame.get(), FrameSlot::Owner::Slot, offered))
        return false;
    frame.release(); // NOLINT(bugprone-unused-return-value): the slot's now
    return true;
}

void ImageProcessingThread::process()
{
    const QMutexLocker lock(&m_mutex);
    if (m_busy)
        return;
    const FrameSlot::Claim claim = m_frame.claim();
    if (claim == FrameSlot::Claim::Nothing)
        return;

    // In this order: whoever sees that we are not busy any more can hand the next frame over. It also has to
    // happen when an exception leaves the operation.
    const auto idle = qScopeGuard([this] {
        m_frame.release();
        m_busy = false;
    });
    const bool isNew = claim == FrameSlot::Claim::NewFrame;
    if (m_frame->rows < 1 || m_frame->cols < 1) {
        if (isNew)
            m_statistics.countDropped();
        return;
    }
    m_busy = true;
    const Clock::time_point offered = m_offered;
    const auto done = qScopeGuard([this, isNew, offered] {
        if (isNew)
            m_statistics.countProcessed(offered);
    });
    processImage();
}
