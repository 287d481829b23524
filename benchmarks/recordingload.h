#pragma once

// A source of a camera's rate for the recorder's benchmarks.

#include "recording/videorecorder.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <chrono>
#include <thread>

namespace recordingload {

using Clock = std::chrono::steady_clock;

constexpr double sourceHz = 60.0;
constexpr double recordHz = 30.0;
inline const cv::Size size(1280, 720);

// Pictures with edges, gradients and grain, which Motion-JPEG finds neither trivial nor impossible.
inline const std::vector<cv::Mat> &pictures()
{
    static const std::vector<cv::Mat> made = [] {
        std::vector<cv::Mat> all;
        for (int i = 0; i < 8; ++i) {
            cv::Mat picture(size, CV_8UC3);
            for (int y = 0; y < size.height; ++y)
                picture.row(y).setTo(cv::Scalar(y * 255 / size.height, 128, 255 - y * 255 / size.height));
            for (int k = 0; k < 40; ++k)
                cv::circle(picture, {(k * 211 + i * 16) % size.width, (k * 97) % size.height}, 20 + k,
                    cv::Scalar::all(k * 6), -1);
            cv::Mat grain(size, CV_8UC3);
            cv::randn(grain, 8, 6);
            all.push_back(picture + grain);
        }
        return all;
    }();
    return made;
}

struct Waits
{
    std::vector<double> ms;
    double percentile(double part)
    {
        std::sort(ms.begin(), ms.end());
        return ms.empty() ? 0.0 : ms[std::min(ms.size() - 1, size_t(part * ms.size()))];
    }
    template <typename Work> void time(Work work)
    {
        const auto before = Clock::now();
        work();
        ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - before).count());
    }
};

// Feeds the recorder at the source's rate until it has written that many frames.
inline void feed(
    VideoRecorder &recorder, int wantedFrames, Waits *setFrameWaits = nullptr, Waits *copyWaits = nullptr)
{
    cv::Mat copy;
    auto next = Clock::now();
    for (size_t i = 0; recorder.getFrameCount() < wantedFrames; ++i) {
        const cv::Mat &picture = pictures()[i % pictures().size()];
        if (setFrameWaits) {
            copyWaits->time([&] { picture.copyTo(copy); });
            setFrameWaits->time([&] { recorder.setFrame(picture); });
        } else {
            recorder.setFrame(picture);
        }
        next += std::chrono::microseconds(int(1e6 / sourceHz));
        std::this_thread::sleep_until(next);
    }
}

} // namespace recordingload
