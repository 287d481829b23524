#include "cameras/frameorientation_p.h"

#include "cameras/camerasettings.h"

#include <opencv2/imgproc.hpp>

namespace {

constexpr int rowsPerStripe =
    64; // small enough to share the work evenly, large enough to be worth a hand-over

} // namespace

FrameOrientation frameOrientation(int rotation, int flip)
{
    FrameOrientation result;
    switch (rotation) {
    case CameraSettings::Rotate0:
        result.mirrorRows = true;
        break;
    case CameraSettings::Rotate90:
        result.mirrorColumns = true;
        result.transpose = true;
        break;
    case CameraSettings::Rotate270:
        result.mirrorRows = true;
        result.transpose = true;
        break;
    default:
        break;
    }
    const bool leftRight = flip == CameraSettings::FlipX || flip == CameraSettings::FlipXY;
    const bool upsideDown = flip == CameraSettings::FlipY || flip == CameraSettings::FlipXY;
    // A flip comes after the transposition, so there it exchanges what were columns and rows before.
    result.mirrorRows ^= result.transpose ? leftRight : upsideDown;
    result.mirrorColumns ^= result.transpose ? upsideDown : leftRight;
    return result;
}

cv::Mat withoutAlpha(const cv::Mat &delivered, FrameOrientation orientation)
{
    CV_Assert(delivered.type() == CV_8UC4);
    cv::Mat frame(delivered.size(), CV_8UC3);
    if (!orientation.mirrorRows && !orientation.mirrorColumns) {
        cv::cvtColor(delivered, frame, cv::COLOR_BGRA2BGR);
    } else {
        const auto convertRows = [&](const cv::Range &range) {
            cv::Mat mirrored;
            for (int y = range.start; y < range.end; ++y) {
                cv::Mat source = delivered.row(orientation.mirrorRows ? delivered.rows - 1 - y : y);
                if (orientation.mirrorColumns) {
                    // Four bytes a pixel are mirrored much faster than three, and a row stays in the cache.
                    cv::flip(source, mirrored, 1);
                    source = mirrored;
                }
                cv::Mat target = frame.row(y);
                cv::cvtColor(source, target, cv::COLOR_BGRA2BGR);
            }
        };
        cv::parallel_for_(
            cv::Range(0, frame.rows), convertRows, std::max(1.0, double(frame.rows) / rowsPerStripe));
    }
    if (!orientation.transpose)
        return frame;
    cv::Mat transposed;
    cv::transpose(frame, transposed);
    return transposed;
}

cv::Mat reoriented(const cv::Mat &delivered, FrameOrientation orientation)
{
    CV_Assert(!orientation.isIdentity());
    cv::Mat frame = delivered;
    if (orientation.mirrorRows || orientation.mirrorColumns) {
        const int code = orientation.mirrorRows && orientation.mirrorColumns ? -1 : orientation.mirrorColumns;
        cv::Mat flipped;
        cv::flip(frame, flipped, code);
        frame = flipped;
    }
    if (orientation.transpose) {
        cv::Mat transposed;
        cv::transpose(frame, transposed);
        frame = transposed;
    }
    return frame;
}
