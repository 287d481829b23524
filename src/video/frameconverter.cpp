#include "video/frameconverter_p.h"

#include <opencv2/imgproc.hpp>

namespace {

// Encoders read whole vectors, also behind the end of a row and of the last plane.
constexpr int alignment = 64;

constexpr int aligned(int bytes)
{
    return (bytes + alignment - 1) / alignment * alignment;
}

} // namespace

FrameConverter::FrameConverter(cv::Size size, AVPixelFormat format)
    : m_given(size), m_size(size.width / 2 * 2, size.height / 2 * 2), m_format(format),
      m_stride(aligned(m_size.width / 2) * 2),
      m_buffers(av_buffer_pool_init(std::size_t(m_stride) * m_size.height * 3 / 2 + alignment, nullptr))
{
}

bool FrameConverter::takes(const cv::Mat &frame) const
{
    const int type = frame.type();
    return frame.data && frame.dims == 2 && frame.size() == m_given
        && (type == CV_8UC1 || type == CV_8UC3 || type == CV_8UC4);
}

av::Frame FrameConverter::convert(const cv::Mat &frame)
try {
    av::Frame planes = emptyFrame();
    if (!planes)
        return {};
    const cv::Mat even = frame(cv::Rect(cv::Point(), m_size));
    if (m_format == AV_PIX_FMT_YUVJ420P) {
        fillFullRange(even, *planes);
        return planes;
    }
    return fillByScaler(even, *planes) ? std::move(planes) : av::Frame();
} catch (const std::exception &) { // OpenCV's, for lack of memory
    return {};
}

av::Frame FrameConverter::emptyFrame()
{
    av::Frame planes(av_frame_alloc());
    AVBufferRef *buffer = planes && m_buffers ? av_buffer_pool_get(m_buffers.get()) : nullptr;
    if (!buffer)
        return {};
    planes->buf[0] = buffer;
    planes->format = m_format;
    planes->width = m_size.width;
    planes->height = m_size.height;
    planes->color_range = m_format == AV_PIX_FMT_YUVJ420P ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    planes->colorspace = AVCOL_SPC_SMPTE170M;
    planes->linesize[0] = m_stride;
    planes->linesize[1] = planes->linesize[2] = m_stride / 2;
    planes->data[0] = buffer->data;
    planes->data[1] = planes->data[0] + std::ptrdiff_t(m_stride) * m_size.height;
    planes->data[2] = planes->data[1] + std::ptrdiff_t(m_stride) / 2 * m_size.height / 2;
    planes->extended_data = planes->data;
    return planes;
}

// JPEG's luma is OpenCV's grey, and its chroma is the difference to that, of a picture of half the size. Each
// of these steps is vectorised in OpenCV, which takes a fifth of the time of FFmpeg's general scaler.
void FrameConverter::fillFullRange(const cv::Mat &frame, AVFrame &planes)
{
    const cv::Size half = m_size / 2;
    cv::Mat luma(m_size, CV_8UC1, planes.data[0], std::size_t(planes.linesize[0]));
    cv::Mat chroma[] = {cv::Mat(half, CV_8UC1, planes.data[1], std::size_t(planes.linesize[1])),
        cv::Mat(half, CV_8UC1, planes.data[2], std::size_t(planes.linesize[2]))};
    if (frame.channels() == 1) {
        frame.copyTo(luma);
        chroma[0].setTo(cv::Scalar::all(128));
        chroma[1].setTo(cv::Scalar::all(128));
        return;
    }
    cv::cvtColor(frame, luma, frame.channels() == 3 ? cv::COLOR_BGR2GRAY : cv::COLOR_BGRA2GRAY);
    cv::resize(frame, m_half, half, 0.0, 0.0, cv::INTER_AREA);
    if (m_half.channels() == 4)
        cv::cvtColor(m_half, m_half, cv::COLOR_BGRA2BGR);
    cv::cvtColor(m_half, m_chroma, cv::COLOR_BGR2YCrCb);
    const int planeOfChannel[] = {2, 0, 1, 1};
    cv::mixChannels(&m_chroma, 1, chroma, 2, planeOfChannel, 2);
}

bool FrameConverter::fillByScaler(const cv::Mat &frame, AVFrame &planes)
{
    const cv::Mat *source = &frame;
    if (frame.channels() != 3) {
        cv::cvtColor(frame, m_bgr, frame.channels() == 1 ? cv::COLOR_GRAY2BGR : cv::COLOR_BGRA2BGR);
        source = &m_bgr;
    }
    if (!m_scaler)
        m_scaler.reset(sws_getContext(m_size.width, m_size.height, AV_PIX_FMT_BGR24, m_size.width,
            m_size.height, m_format, SWS_BICUBIC, nullptr, nullptr, nullptr));
    const uint8_t *const pixels[] = {source->data, nullptr, nullptr, nullptr};
    const int steps[] = {int(source->step), 0, 0, 0};
    return m_scaler
        && sws_scale(m_scaler.get(), pixels, steps, 0, m_size.height, planes.data, planes.linesize)
        == m_size.height;
}
