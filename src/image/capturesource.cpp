#include "image/capturesource_p.h"

#include <opencv2/videoio/registry.hpp>

#include <algorithm>
#include <climits>
#include <cmath>

namespace CaptureSource {

namespace {

bool ffmpegIsBuiltIn()
{
    static const bool present = [] {
        const std::vector<cv::VideoCaptureAPIs> backends = cv::videoio_registry::getStreamBackends();
        return std::find(backends.begin(), backends.end(), cv::CAP_FFMPEG) != backends.end();
    }();
    return present;
}

} // namespace

bool open(cv::VideoCapture &capture, const QString &source, Bounds bounds)
{
    std::vector<int> parameters;
    if (isNetworkAddress(source)) {
        if (bounds.openMs > 0)
            parameters.insert(parameters.end(), {cv::CAP_PROP_OPEN_TIMEOUT_MSEC, bounds.openMs});
        if (bounds.readMs > 0)
            parameters.insert(parameters.end(), {cv::CAP_PROP_READ_TIMEOUT_MSEC, bounds.readMs});
    }
    const int backend = ffmpegIsBuiltIn() ? cv::CAP_FFMPEG : cv::CAP_ANY;
    // Other back ends refuse parameters that they do not know.
    if (backend != cv::CAP_FFMPEG)
        parameters.clear();
    return capture.open(source.toStdString(), backend, parameters);
}

bool open(cv::VideoCapture &capture, int device)
{
    return capture.open(device, cv::CAP_ANY);
}

int toCount(double value)
{
    if (!std::isfinite(value) || value < 0.0)
        return 0;
    return value >= INT_MAX ? INT_MAX : static_cast<int>(value);
}

int frameCount(const cv::VideoCapture &capture)
{
    return toCount(capture.get(cv::CAP_PROP_FRAME_COUNT));
}

double frameRate(const cv::VideoCapture &capture)
{
    const double rate = capture.isOpened() ? capture.get(cv::CAP_PROP_FPS) : 0.0;
    return std::isfinite(rate) && rate > 0.0 ? rate : 0.0;
}

bool isNetworkAddress(const QString &source)
{
    return source.contains(QLatin1String("://"));
}

} // namespace CaptureSource
