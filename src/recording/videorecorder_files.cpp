#include "recording/videorecorder.h"

#include "common/samefile_p.h"
#include "image/capturesource_p.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/videoio/registry.hpp>

#include <algorithm>
#include <climits>

namespace {

// Other back ends open sizes and containers that nothing can read afterwards, or hang on them.
int writerBackend()
{
    static const int backend = [] {
        const std::vector<cv::VideoCaptureAPIs> backends = cv::videoio_registry::getWriterBackends();
        const bool present = std::find(backends.begin(), backends.end(), cv::CAP_FFMPEG) != backends.end();
        return present ? cv::CAP_FFMPEG : cv::CAP_ANY;
    }();
    return backend;
}

bool hasPixels(const cv::Mat &frame)
{
    return frame.data && frame.total() > 0 && frame.dims > 0;
}

cv::Size sizeOf(const cv::VideoCapture &capture)
{
    return {CaptureSource::toCount(capture.get(cv::CAP_PROP_FRAME_WIDTH)),
        CaptureSource::toCount(capture.get(cv::CAP_PROP_FRAME_HEIGHT))};
}

// A forged or missing frame count must neither keep us reading for ever nor lose what is there.
void appendAllFrames(cv::VideoCapture &capture, cv::VideoWriter &writer)
{
    const int told = CaptureSource::frameCount(capture);
    const int count = told > 0 ? told : INT_MAX;
    cv::Mat frame;
    for (int i = 0; i < count && capture.read(frame); ++i)
        writer << frame;
}

} // namespace

cv::VideoWriter VideoRecorder::createWriter(std::string path, double frameRate, cv::Size size)
{
    return cv::VideoWriter(
        path, writerBackend(), cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), frameRate, size, true);
}

cv::VideoWriter VideoRecorder::createWriter(const QString &path, double frameRate, QSize size)
{
    return createWriter(path.toStdString(), frameRate, cv::Size(size.width(), size.height()));
}

bool VideoRecorder::prepareFrame(cv::Mat &frame, cv::Size size)
{
    if (!hasPixels(frame) || frame.cols < 1 || frame.rows < 1 || size.width < 1 || size.height < 1)
        return false;
    if (frame.type() == CV_8UC1)
        cv::cvtColor(frame, frame, cv::COLOR_GRAY2BGR);
    else if (frame.type() == CV_8UC4)
        cv::cvtColor(frame, frame, cv::COLOR_BGRA2BGR);
    if (frame.size() != size)
        cv::resize(frame, frame, size, 0.0, 0.0, cv::INTER_LINEAR);
    return true;
}

bool VideoRecorder::createVideoFromImages(
    const QString &path, QList<cv::Mat> &frames, double frameRate, QSize size)
{
    if (!(frameRate > 0.0) || frames.isEmpty())
        return false;
    if (size.width() == 0 || size.height() == 0) {
        const cv::Mat &first = frames.constFirst();
        if (!hasPixels(first))
            return false;
        size = QSize(first.cols, first.rows);
    }
    const cv::Size target(size.width(), size.height());
    cv::VideoWriter writer = createWriter(path, frameRate, size);
    for (const cv::Mat &given : qAsConst(frames)) {
        cv::Mat frame = given; // a header; what prepareFrame() changes gets pixels of its own
        if (prepareFrame(frame, target))
            writer.write(frame);
    }
    writer.release();
    return true;
}

bool VideoRecorder::createVideoFromImages(
    const QString &path, QStringList files, double frameRate, QSize size)
{
    cv::Size target(size.width(), size.height());
    cv::VideoWriter writer;
    bool writerMade = false;
    for (const QString &file : qAsConst(files)) {
        const QImage image(file);
        if (image.isNull())
            continue;
        cv::Mat frame = QImageToCvMat(image, false);
        if (!hasPixels(frame) || frame.cols <= 0 || frame.rows <= 0)
            continue;
        if (target.width < 1 || target.height < 1)
            target = frame.size();
        if (!writerMade) {
            writer = createWriter(path.toStdString(), frameRate, target);
            writerMade = true;
        }
        if (prepareFrame(frame, target))
            writer.write(frame);
    }
    writer.release();
    return writerMade;
}

size_t VideoRecorder::cutVideo(
    const QString &input, const QString &output, const std::vector<VideoInterval> &intervals)
{
    cv::VideoCapture capture;
    if (SameFile::isSameAbsolutePath(input, output) || !CaptureSource::open(capture, input))
        return 0;
    cv::VideoWriter writer =
        createWriter(output.toStdString(), capture.get(cv::CAP_PROP_FPS), sizeOf(capture));
    if (!writer.isOpened())
        return 0;
    const unsigned int total = static_cast<unsigned int>(CaptureSource::frameCount(capture));
    size_t counted = 0;
    cv::Mat frame;
    for (const auto &[first, last] : intervals) {
        if (first > last || first >= total || last >= total)
            continue;
        capture.set(cv::CAP_PROP_POS_FRAMES, first);
        for (unsigned int number = first; number <= last; ++number) {
            capture >> frame;
            if (frame.empty())
                break; // the count promised more than there is
            if (frame.isContinuous())
                writer << frame;
        }
        ++counted;
    }
    return counted;
}

bool VideoRecorder::joinVideo(const QString &first, const QString &second, const QString &output)
{
    cv::VideoCapture firstCapture;
    cv::VideoCapture secondCapture;
    if (SameFile::isSameAbsolutePath(first, output) || SameFile::isSameAbsolutePath(second, output)
        || !CaptureSource::open(firstCapture, first) || !CaptureSource::open(secondCapture, second))
        return false;
    const double rate = firstCapture.get(cv::CAP_PROP_FPS);
    if (sizeOf(firstCapture) != sizeOf(secondCapture) || rate != secondCapture.get(cv::CAP_PROP_FPS))
        return false;
    cv::VideoWriter writer = createWriter(output.toStdString(), rate, sizeOf(firstCapture));
    if (!writer.isOpened())
        return false;
    appendAllFrames(firstCapture, writer);
    appendAllFrames(secondCapture, writer);
    return true;
}
