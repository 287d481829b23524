#include "cameras/frameorientation_p.h"

#include "cameras/camerasettings.h"

#include <QtGlobal>

#include <opencv2/core/hal/intrin.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/imgproc/hal/hal.hpp>

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

constexpr int bandRows = 16; // of a band that is converted and transposed while it is in the cache
constexpr size_t lineSize = 64; // of the cache, in bytes
constexpr int pixelsPerLine = 16;
constexpr double pixelsPerTask = 1 << 18; // less is not worth the hand-over to another thread

void prefetch(const uchar *address)
{
#ifdef __GNUC__
    __builtin_prefetch(address);
#else
    Q_UNUSED(address)
#endif
}

// Rows of a device may begin at any address. The row `next` is fetched meanwhile.
void mirror(const uchar *from, const uchar *next, quint32 *to, int count)
{
    int i = 0;
#if CV_SIMD128
    const auto load = [&](int at) { return cv::v_load(reinterpret_cast<const quint32 *>(from) + at); };
    const auto store = [&](int at, const cv::v_uint32x4 &pixels) {
        cv::v_store(to + (count - 4 - at), cv::v_reverse(pixels));
    };
    for (; i <= count - pixelsPerLine; i += pixelsPerLine) {
        prefetch(next + size_t(4) * size_t(i));
        const cv::v_uint32x4 first = load(i);
        const cv::v_uint32x4 second = load(i + 4);
        const cv::v_uint32x4 third = load(i + 8);
        const cv::v_uint32x4 fourth = load(i + 12);
        store(i, first);
        store(i + 4, second);
        store(i + 8, third);
        store(i + 12, fourth);
    }
#endif
    for (; i < count; ++i)
        std::memcpy(to + (count - 1 - i), from + size_t(4) * size_t(i), 4);
}

// Asks for the beginning of each page of a row. The processor foresees that memory is read upwards within a
// page, but not the jump to the row above, which costs as much time again as the conversion.
void prefetchPages(const uchar *row, size_t bytes)
{
    constexpr size_t pageSize = 4096;
    constexpr size_t wanted = 8 * lineSize;
    size_t page = 0;
    while (page < bytes) {
        for (size_t line = page; line < std::min(page + wanted, bytes); line += lineSize)
            prefetch(row + line);
        page += pageSize - reinterpret_cast<quintptr>(row + page) % pageSize;
    }
}

// Fills `target` with the rows that come to `rows`, before any transposition. They are converted one by one,
// below the level of cv::cvtColor(), whose checks would cost more than a row's pixels.
void convertRows(const cv::Mat &delivered, FrameOrientation orientation, cv::Range rows, cv::Mat target,
    std::vector<quint32> &mirrored)
{
    const auto sourceRow = [&](int y) {
        return delivered.ptr(orientation.mirrorRows ? delivered.rows - 1 - y : y);
    };
    for (int y = rows.start; y < rows.end; ++y) {
        const uchar *source = sourceRow(y);
        const uchar *const next = sourceRow(std::min(y + 1, delivered.rows - 1));
        if (orientation.mirrorColumns) {
            // Four bytes a pixel are mirrored much faster than three, and a row stays in the cache.
            mirror(source, next, mirrored.data(), delivered.cols);
            source = reinterpret_cast<const uchar *>(mirrored.data());
        } else if (orientation.mirrorRows) {
            prefetchPages(next, delivered.elemSize() * size_t(delivered.cols));
        }
        cv::hal::cvtBGRtoBGR(source, delivered.step, target.ptr(y - rows.start), target.step, delivered.cols,
            1, CV_8U, 4, 3, false);
    }
}

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

void takeColours(const cv::Mat &delivered, FrameOrientation orientation, cv::Mat &frame)
{
    CV_Assert(delivered.type() == CV_8UC4);
    frame.create(orientation.of(delivered.size()), CV_8UC3);
    const auto convertBands = [&](const cv::Range &bands) {
        std::vector<quint32> mirrored(orientation.mirrorColumns ? size_t(delivered.cols) : 0);
        cv::Mat upright; // a band that has yet to be transposed
        for (int band = bands.start; band < bands.end; ++band) {
            const cv::Range rows(band * bandRows, std::min((band + 1) * bandRows, delivered.rows));
            if (!orientation.transpose) {
                convertRows(delivered, orientation, rows, frame.rowRange(rows), mirrored);
                continue;
            }
            upright.create(rows.size(), delivered.cols, CV_8UC3);
            convertRows(delivered, orientation, rows, upright, mirrored);
            cv::transpose(upright, frame.colRange(rows));
        }
    };
    const int bands = (delivered.rows + bandRows - 1) / bandRows;
    cv::parallel_for_(
        cv::Range(0, bands), convertBands, std::max(1.0, double(delivered.total()) / pixelsPerTask));
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
