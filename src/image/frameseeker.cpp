#include "image/frameseeker_p.h"

#include "image/capturesource_p.h"

#include <climits>

namespace {

// OpenCV's seek goes to the key frame before the frame that lies 16 before the wanted one, and decodes its
// way up from there. Reading on decodes as well but converts nothing, so the even point is where both decode
// the same number of frames. Measured: 17 frames in Motion-JPEG, where each frame is a key frame. In files
// with frames between the key frames it depends on how far apart these are: 26 in MPEG-4 with one in 12, 48
// in H.264 with one in 48, above 100 with one in 250. In between, the loss is at most a third on either side.
constexpr int farAheadAmongKeyFrames = 17;
constexpr int farAheadOtherwise = 32;

bool hasOnlyKeyFrames(const cv::VideoCapture &capture)
{
    const int code = CaptureSource::toCount(capture.get(cv::CAP_PROP_FOURCC));
    return code == cv::VideoWriter::fourcc('M', 'J', 'P', 'G')
        || code == cv::VideoWriter::fourcc('m', 'j', 'p', 'g');
}

} // namespace

void FrameSeeker::attach(cv::VideoCapture *capture, const QString &source)
{
    const bool isOpen = capture && capture->isOpened();
    m_capture = isOpen ? capture : nullptr;
    m_source = source;
    // Without a length the back end says that it stands at frame 0 and has moved nowhere.
    m_seekable = isOpen && CaptureSource::frameCount(*capture) > 1;
    m_farAhead = isOpen && hasOnlyKeyFrames(*capture) ? farAheadAmongKeyFrames : farAheadOtherwise;
    m_next = isOpen ? 0 : -1;
    m_current = -1;
    m_end = INT_MAX;
}

void FrameSeeker::setGoOn(const std::atomic<bool> *flag)
{
    m_goOn = flag;
}

bool FrameSeeker::isSeekable() const
{
    return m_seekable;
}

int FrameSeeker::current() const
{
    return m_current;
}

bool FrameSeeker::goTo(int index)
{
    if (!m_capture || index < 0 || index >= m_end)
        return false;
    if (index == m_current)
        return true;
    const bool isBehind = m_next < 0 || index < m_next;
    const bool isFar = m_seekable && index - m_next >= m_farAhead;
    if ((isBehind || isFar) && !jumpTo(index))
        return false;
    while (m_next <= index) {
        if ((m_goOn && !*m_goOn) || !grab())
            return false;
    }
    return true;
}

bool FrameSeeker::next()
{
    return m_capture && m_next >= 0 && m_next < m_end && grab();
}

bool FrameSeeker::retrieve(cv::Mat &frame)
{
    return m_current >= 0 && m_capture->retrieve(frame) && !frame.empty();
}

// Afterwards the next grab gives the frame of `index`, or one before it.
bool FrameSeeker::jumpTo(int index)
{
    m_next = -1;
    m_current = -1;
    if (m_seekable && m_capture->set(cv::CAP_PROP_POS_FRAMES, index)) {
        // It stands elsewhere only where the file ends before that frame, whatever length it tells.
        if (CaptureSource::toCount(m_capture->get(cv::CAP_PROP_POS_FRAMES)) != index)
            return false;
        m_next = index;
        return true;
    }
    m_seekable = false;
    if (CaptureSource::isNetworkAddress(m_source) || !CaptureSource::open(*m_capture, m_source))
        return false;
    m_next = 0;
    return true;
}

bool FrameSeeker::grab()
{
    if (m_capture->grab()) {
        m_current = m_next++;
        return true;
    }
    m_end = m_next;
    m_next = -1;
    m_current = -1;
    return false;
}
