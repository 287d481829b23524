#include "pipeline/imageprocessingthread2.h"

#include <QScopeGuard>

#include <utility>

ImageProcessingThread2::ImageProcessingThread2() = default;

ImageProcessingThread2::~ImageProcessingThread2()
{
    stopAndWait();
}

void ImageProcessingThread2::processFrame(cv::Mat frame)
{
    m_statistics.countOffered();
    if (m_hasFrame.exchange(true))
        return m_statistics.countDropped();
    m_offered = std::chrono::steady_clock::now();
    m_frame = std::move(frame);
    m_frameIsWhole = true;
    wake();
}

PipelineStatistics &ImageProcessingThread2::statistics()
{
    return m_statistics;
}

void ImageProcessingThread2::process()
{
    if (!m_frameIsWhole)
        return;
    // Also when an exception leaves the operation, or no frame would be accepted ever again. The claim goes
    // last: from then on a producer may write all that stands before it.
    const auto empty = qScopeGuard([this] {
        m_statistics.countProcessed(m_offered);
        m_frameIsWhole = false;
        m_hasFrame = false;
    });
    processImage();
}
