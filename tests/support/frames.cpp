#include "support/frames.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

namespace frames {

namespace {

// Two rows of eight blocks. Each row of the picture's lower half shows the complement, which tells a number
// from noise.
constexpr int columns = 8;
constexpr int rows = 4;

cv::Rect block(int index, cv::Size size)
{
    const int x = index % columns;
    const int y = index / columns;
    const cv::Point topLeft(x * size.width / columns, y * size.height / rows);
    const cv::Point bottomRight((x + 1) * size.width / columns, (y + 1) * size.height / rows);
    return {topLeft, bottomRight};
}

double brightness(const cv::Mat &frame, int index)
{
    const cv::Rect whole = block(index, frame.size());
    const cv::Rect middle(whole.x + whole.width / 4, whole.y + whole.height / 4, std::max(1, whole.width / 2),
        std::max(1, whole.height / 2));
    const cv::Scalar mean = cv::mean(frame(middle));
    return frame.channels() == 1 ? mean[0] : (mean[0] + mean[1] + mean[2]) / 3.0;
}

} // namespace

cv::Mat numbered(int number, cv::Size size)
{
    cv::Mat frame(size, CV_8UC3, cv::Scalar(0, 0, 0));
    for (int bit = 0; bit < 16; ++bit) {
        const bool set = (number >> bit) & 1;
        frame(block(set ? bit : bit + 16, size)).setTo(cv::Scalar(255, 255, 255));
    }
    return frame;
}

int numberOf(const cv::Mat &frame)
{
    if (frame.empty() || frame.cols < 64 || frame.rows < 16)
        return -1;
    int number = 0;
    for (int bit = 0; bit < 16; ++bit) {
        const double plain = brightness(frame, bit);
        const double complement = brightness(frame, bit + 16);
        if (std::abs(plain - complement) < 100.0)
            return -1;
        number |= (plain > complement ? 1 : 0) << bit;
    }
    return number;
}

bool writeVideo(const QString &path, int count, double frameRate, cv::Size size, int first)
{
    cv::VideoWriter writer(
        path.toStdString(), cv::CAP_FFMPEG, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), frameRate, size);
    if (!writer.isOpened())
        return false;
    for (int i = 0; i < count; ++i)
        writer.write(numbered(first + i, size));
    return true;
}

QVector<int> numbersIn(const QString &path)
{
    QVector<int> numbers;
    cv::VideoCapture capture(path.toStdString(), cv::CAP_FFMPEG);
    cv::Mat frame;
    while (capture.read(frame))
        numbers << numberOf(frame);
    return numbers;
}

} // namespace frames
