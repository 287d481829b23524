#include "pipeline/imagevideoprovider.h"

#include "image/capturesource_p.h"
#include "image/frameseeker_p.h"

#include <QDebug>

#include <climits>

namespace {

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

ImageVideoProvider::ImageVideoProvider(QObject *parent)
    : ImageProviderBase(parent), m_seeker(std::make_unique<FrameSeeker>())
{
}

ImageVideoProvider::~ImageVideoProvider() = default;

bool ImageVideoProvider::isSourceStreaming()
{
    return false;
}

double ImageVideoProvider::getFrameRate() const
{
    return CaptureSource::frameRate(m_capture);
}

void ImageVideoProvider::prepareFrame(int index)
{
    if (index < 0 || index >= m_frameAmount || !m_capture.isOpened())
        return;
    auto frame = std::make_unique<cv::Mat>();
    // A new matrix each time: the capture's own buffer is overwritten by the next frame.
    if (m_seeker->goTo(index) && m_seeker->retrieve(*frame))
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
    const bool isOpen = !CaptureSource::isNetworkAddress(m_file) && CaptureSource::open(m_capture, m_file);
    m_seeker->attach(&m_capture, m_file);
    return isOpen;
}

int ImageVideoProvider::countFrames()
{
    const int told = CaptureSource::frameCount(m_capture);
    if (told > 0 && m_seeker->goTo(told - 1) && !m_seeker->next())
        return told;
    int count = countPackets(m_file);
    for (int i = 0; i < triedFrames && count > 0; ++i, --count) {
        // From the start, as the place of a capture that has met the end is not to be trusted. Without
        // seeking the try would decode the whole file.
        if (!open() || !m_seeker->isSeekable() || m_seeker->goTo(count - 1))
            break;
    }
    return open() ? count : 0;
}
