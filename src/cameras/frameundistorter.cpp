#include "cameras/frameundistorter.h"

#include "image/racecheck_p.h"

#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace {

constexpr size_t maxSizes = 4; // 6 bytes a pixel each

cv::Mat asDoubles(const cv::Mat &values)
{
    cv::Mat doubles;
    values.convertTo(doubles, CV_64F);
    return doubles;
}

bool isPossible(const cv::Mat &cameraMatrix, const cv::Mat &distortionCoeffs)
{
    static constexpr size_t counts[] = {4, 5, 8, 12, 14};
    return cameraMatrix.rows == 3 && cameraMatrix.cols == 3 && cameraMatrix.channels() == 1
        && cv::checkRange(cameraMatrix) && cameraMatrix.at<double>(0, 0) > 0.0
        && cameraMatrix.at<double>(1, 1) > 0.0 && distortionCoeffs.channels() == 1
        && std::min(distortionCoeffs.rows, distortionCoeffs.cols) == 1
        && std::find(std::begin(counts), std::end(counts), distortionCoeffs.total()) != std::end(counts)
        && cv::checkRange(distortionCoeffs);
}

} // namespace

struct FrameUndistorter::Maps
{
    cv::Size size;
    cv::Mat places; // whole pixels
    cv::Mat fractions;
};

FrameUndistorter::FrameUndistorter(const cv::Mat &cameraMatrix, const cv::Mat &distortionCoeffs)
    : cameraMatrix(asDoubles(cameraMatrix)), distortionCoeffs(asDoubles(distortionCoeffs)),
      valid(isPossible(this->cameraMatrix, this->distortionCoeffs))
{
}

FrameUndistorter::~FrameUndistorter() = default;

cv::Mat FrameUndistorter::undistort(const cv::Mat &frame) const
{
    if (!valid || frame.empty())
        return frame;
    const auto found = mapsFor(frame.size());
    cv::Mat result;
    cv::remap(frame, result, found->places, found->fractions, cv::INTER_LINEAR);
    return result;
}

std::shared_ptr<const FrameUndistorter::Maps> FrameUndistorter::mapsFor(cv::Size size) const
{
    // Held while the maps are built, so that threads with the first frames do not all build them.
    const RaceCheck::Locker lock(&mutex);
    const auto known =
        std::find_if(maps.begin(), maps.end(), [&](const auto &entry) { return entry->size == size; });
    if (known != maps.end()) {
        maps.splice(maps.begin(), maps, known);
        return maps.front();
    }
    const auto built = std::make_shared<Maps>();
    built->size = size;
    cv::initUndistortRectifyMap(cameraMatrix, distortionCoeffs, cv::noArray(), cameraMatrix, size, CV_16SC2,
        built->places, built->fractions);
    maps.push_front(built);
    if (maps.size() > maxSizes)
        maps.pop_back();
    return built;
}
