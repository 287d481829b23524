#include "cameras/framepool_p.h"

cv::Mat FramePool::take(cv::Size size, int type)
{
    if (size.empty())
        return {};
    for (const cv::Mat &buffer : buffers) {
        // Read as an atomic, so that whatever the last other holder did with the pixels is over.
        if (buffer.u && buffer.size() == size && buffer.type() == type
            && CV_XADD(&buffer.u->refcount, 0) == 1)
            return buffer;
    }
    cv::Mat &replaced = buffers[oldest];
    oldest = (oldest + 1) % buffers.size();
    replaced = cv::Mat(size, type);
    return replaced;
}
