#include "pipeline/imagevideoprovider.h"

#include "image/capturesource_p.h"

#include <QDebug>

#include <climits>
#include <cmath>

namespace {

// OpenCV's own seek goes back this far and grabs its way up, so nearer frames are reached sooner without it.
constexpr int seekDistance = 16;

// A file that ends in the midst of a frame has a last frame or two that cannot be decoded.
constexpr int triedFrames = 16;

// Packets of the video stream, which are read but not decoded where the back end can do that.
int countPackets(const QString &path)
{
    cv::VideoCapture capture;
    if (!CaptureSource::open(capture, path))
        return 0;
    capture.set(cv::CAP_PROP_FORMAT, -1);
    int count = 0;
    while (count < INT_MAX && capture.grab())
        ++count;
    return count;
}

} // namespace

ImageVideoProvider::ImageVideoProvider(QObject *parent) : ImageProviderBase(parent) { }

ImageVideoProvider::~ImageVideoProvider() = default;

bool ImageVideoProvider::isSourceStreaming()
{
    return false;
}

double ImageVideoProvider::getFrameRate() const
{
    const double rate = m_capture.isOpened() ? m_capture.get(cv::CAP_PROP_FPS) : 0.0;
    return std::isfinite(rate) && rate > 0.0 ? rate : 0.0;
}

void ImageVideoProvider::prepareFrame(int index)
{
    if (index < 0 || index >= m_frameAmount || !m_capture.isOpened())
        return;
    auto frame = std::make_unique<cv::Mat>();
    // A new matrix each time: the capture's own buffer is overwritten by the next frame.
    if (goTo(index) && m_capture.retrieve(*frame) && !frame->empty())
        deliverFrame(index, std::move(frame));
}

void ImageVideoProvider::setFile(const QString &value)
{
    if (value == m_file)
        return;
    m_file = value;
    Q_EMIT fileChanged(value);

    m_capture.release();
    int amount = 0;
    if (!m_file.isEmpty()) {
        if (open())
            amount = countFrames();
        else
            qWarning() << "ImageVideoProvider: this cannot be opened as a video file:" << m_file;
    }
    setFrameAmount(amount);
    setCurrentFrameIndex(0);
}

QString ImageVideoProvider::getFile() const
{
    return m_file;
}

bool ImageVideoProvider::open()
{
    m_nextIndex = 0;
    m_seekable = true;
    return !CaptureSource::isNetworkAddress(m_file) && CaptureSource::open(m_capture, m_file);
}

int ImageVideoProvider::countFrames()
{
    const int told = CaptureSource::frameCount(m_capture);
    if (told > 0 && goTo(told - 1) && !m_capture.grab()) {
        m_nextIndex = -1;
        return told;
    }
    int count = countPackets(m_file);
    for (int i = 0; i < triedFrames && count > 0; ++i, --count) {
        // From the start, as the place of a capture that has met the end is not to be trusted. Without
        // seeking the try would decode the whole file.
        if (!open() || !seek(count - 1) || goTo(count - 1))
            break;
    }
    return open() ? count : 0;
}

bool ImageVideoProvider::seek(int index)
{
    // The back end seeks within the length that the file tells. Where that is wrong or missing it ends up
    // somewhere else, says so in its position only, and can no longer be believed at all.
    m_seekable = m_seekable && m_capture.set(cv::CAP_PROP_POS_FRAMES, index)
        && CaptureSource::toCount(m_capture.get(cv::CAP_PROP_POS_FRAMES)) == index;
    m_nextIndex = m_seekable ? index : -1;
    return m_seekable;
}

bool ImageVideoProvider::goTo(int index)
{
    const bool isBehind = m_nextIndex < 0 || index < m_nextIndex;
    const bool isFar = m_seekable && index - m_nextIndex > seekDistance;
    if ((isBehind || isFar) && !seek(index)) {
        if (!open())
            return false;
        m_seekable = false;
    }
    // The frame of the position is the one that the next grab gives.
    while (m_nextIndex <= index) {
        if (!m_capture.grab()) {
            m_nextIndex = -1;
            return false;
        }
        ++m_nextIndex;
    }
    return true;
}
