#pragma once

#include "video/avsupport_p.h"
#include "vtcv_export.h"

#include <opencv2/core.hpp>

/**
 * Turns OpenCV's frames into the planes (4:2:0) that encoders take.
 *
 * An odd width or height loses its last column or row. Not for use by two threads at a time.
 */
class VTCV_TEST_EXPORT FrameConverter
{
public:
    /** \a format is AV_PIX_FMT_YUVJ420P or AV_PIX_FMT_YUV420P; \a size is that of the frames to come. */
    FrameConverter(cv::Size size, AVPixelFormat format);

    /** The size of the planes: even. */
    cv::Size size() const { return m_size; }

    /** Whether \a frame is of the size and of a type that convert() takes: CV_8UC1, CV_8UC3, CV_8UC4. */
    bool takes(const cv::Mat &frame) const;

    /** The planes of \a frame in a buffer of their own; null if memory is short. */
    av::Frame convert(const cv::Mat &frame);

private:
    av::Frame emptyFrame();
    void fillFullRange(const cv::Mat &frame, AVFrame &planes);
    bool fillByScaler(const cv::Mat &frame, AVFrame &planes);

    const cv::Size m_given;
    const cv::Size m_size;
    const AVPixelFormat m_format;
    const int m_stride; // of the luma plane in bytes
    av::BufferPool m_buffers;
    av::Scaler m_scaler; // of the limited range
    cv::Mat m_bgr; // scratch, as are the next two
    cv::Mat m_half;
    cv::Mat m_chroma;
};
