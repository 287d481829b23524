#include "visual/shadowmappainter.h"

#include "visual/stampkernels_p.h"
#include "visual/stampsum_p.h"

#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QRadialGradient>

#include <cstring>
#include <utility>
#include <vector>

namespace {

// A larger stamp would not fit into a QImage, whose bytes are counted by an int.
constexpr int largestRadius = 11584;

// Up to here a table of colours for each heat fits into the first level cache.
constexpr qint32 largestDirect = 8192;

QGradientStops stopsOf(ShadowMapPainter::ShadowMapType type)
{
    const QColor transparent(0, 0, 0, 0);
    switch (type) {
    case ShadowMapPainter::FadeFromBlack:
        return {{0.0, Qt::black}, {1.0, transparent}};
    case ShadowMapPainter::Spectrum:
        return {{0.05, Qt::blue}, {0.3, Qt::green}, {0.6, Qt::yellow}, {0.95, Qt::red}};
    case ShadowMapPainter::SpectrumFaded:
        return {{0.05, QColor(0, 0, 255, 0)}, {0.2, QColor(0, 0, 255, 128)}, {0.4, Qt::green},
            {0.6, Qt::yellow}, {0.95, Qt::red}};
    case ShadowMapPainter::FadeToWhite:
        return {{0.0, transparent}, {1.0, Qt::white}};
    case ShadowMapPainter::FadeFromWhite:
        return {{0.0, Qt::white}, {1.0, transparent}};
    case ShadowMapPainter::FadeToBlack:
        break;
    }
    return {{0.0, transparent}, {1.0, Qt::black}};
}

} // namespace

ShadowMapPainter::ShadowMapPainter(int radius, ShadowMapType type, float opacity)
{
    setRadius(radius);
    m_type = type;
    setOpacity(opacity);
}

ShadowMapPainter::ShadowMapPainter(const ShadowMapPainter &other) = default;
ShadowMapPainter::ShadowMapPainter(ShadowMapPainter &&other) noexcept = default;
ShadowMapPainter::~ShadowMapPainter() = default;
ShadowMapPainter &ShadowMapPainter::operator=(const ShadowMapPainter &other) = default;

ShadowMapPainter &ShadowMapPainter::operator=(ShadowMapPainter &&other) noexcept
{
    if (this == &other)
        return *this;
    m_type = other.m_type;
    m_palette = std::exchange(other.m_palette, {}); // Qt's own assignment would swap the two
    m_radius = other.m_radius;
    m_stamp = std::exchange(other.m_stamp, {});
    m_paletteSize = other.m_paletteSize;
    m_opacity = other.m_opacity;
    return *this;
}

void ShadowMapPainter::setRadius(int radius)
{
    if (radius < 0 || radius > largestRadius)
        radius = 0;
    if (radius == m_radius)
        return;
    m_radius = radius;
    const int size = 2 * radius + 1;
    QImage image(size, size, QImage::Format_RGBA8888);
    QRadialGradient gradient(QPointF(radius, radius), radius);
    gradient.setColorAt(0.0, QColor(255, 0, 0, 255));
    gradient.setColorAt(1.0, QColor(0, 0, 0, 255));
    QPainter painter(&image);
    painter.setPen(Qt::NoPen);
    painter.setBrush(gradient);
    painter.drawRect(0, 0, size, size);
    painter.end();

    m_stamp = cv::Mat::zeros(size, size, CV_8UC1);
    for (int j = 0; j < size; ++j) {
        const uchar *pixel = image.constScanLine(j);
        for (int i = 0; i < size; ++i, pixel += 4)
            m_stamp.at<uchar>(i, j) = pixel[0]; // red comes first
    }
}

void ShadowMapPainter::setType(ShadowMapType type)
{
    m_type = type;
    QImage image(m_paletteSize, 10, QImage::Format_RGBA8888);
    image.fill(Qt::transparent);
    QLinearGradient gradient(0, 0, m_paletteSize, 0);
    gradient.setStops(stopsOf(type));
    QPainter painter(&image);
    painter.fillRect(image.rect(), QBrush(gradient));
    painter.end();

    m_palette.clear();
    m_palette.reserve(m_paletteSize);
    for (int i = 0; i < m_paletteSize; ++i) {
        const QColor color = image.pixelColor(i, 1);
        const auto alpha = static_cast<uchar>(color.alpha() * m_opacity);
        const uchar bytes[] = {static_cast<uchar>(color.blue()), static_cast<uchar>(color.green()),
            static_cast<uchar>(color.red()), alpha};
        quint32 entry;
        std::memcpy(&entry, bytes, sizeof(entry)); // as it lies in a pixel, whatever the byte order
        m_palette.append(entry);
    }
}

void ShadowMapPainter::setOpacity(double opacity)
{
    m_opacity = qBound(0.0, opacity, 1.0);
    setType(m_type);
}

cv::Mat ShadowMapPainter::draw(const cv::Mat &values, int stepX, int stepY) const
{
    if (values.cols < 1 || values.rows < 1)
        return cv::Mat();
    CV_Assert(values.type() == CV_32SC1);
    return drawSamples(values, values.cols, values.rows, stepX, stepY);
}

cv::Mat ShadowMapPainter::draw(const QVector<int> &values, int width, int height, int stepX, int stepY) const
{
    if (width < 1 || height < 1)
        return cv::Mat();
    if (values.size() >= static_cast<qint64>(width) * height) {
        // Only read, so the vector's own memory will do.
        return draw(cv::Mat(height, width, CV_32SC1, const_cast<int *>(values.constData())), stepX, stepY);
    }
    cv::Mat field = cv::Mat::zeros(height, width, CV_32SC1);
    std::copy(values.begin(), values.end(), field.ptr<int>());
    return draw(field, stepX, stepY);
}

cv::Mat ShadowMapPainter::draw(
    const QVector<QPoint> &points, int width, int height, int stepX, int stepY) const
{
    if (width < 1 || height < 1)
        return cv::Mat();
    return drawSamples(points, width, height, stepX, stepY);
}

template <typename Samples>
cv::Mat ShadowMapPainter::drawSamples(
    const Samples &samples, int width, int height, int stepX, int stepY) const
{
    cv::Mat result(height, width, CV_8UC4);
    if (m_palette.isEmpty()) {
        result = cv::Scalar::all(0);
        return result;
    }
    // Heat and colour take 32 bits each, so the heat is summed up in the picture and then replaced in place.
    cv::Mat heat(height, width, CV_32SC1, result.data, result.step);
    const qint32 largest = StampSum(m_stamp).add(samples, stepX, stepY, heat);
    if (largest <= 0) {
        // No heat at all; or sums that have wrapped to below 0 everywhere, all of them beyond the ramp's end.
        heat = static_cast<qint32>(largest == 0 ? m_palette.first() : m_palette.last());
        return result;
    }
    const double scale = static_cast<double>(m_paletteSize) / largest;
    // Where few stamps lie on one another there are fewer heats than pixels: a colour for each saves the
    // scaling.
    const bool direct = largest < largestDirect && largest < static_cast<qint64>(heat.total()) / 16;
    std::vector<quint32> colors;
    if (direct) {
        colors.reserve(largest + 1);
        for (qint32 value = 0; value <= largest; ++value)
            colors.push_back(m_palette[StampKernels::rampIndex(value, scale, m_paletteSize)]);
    }
    const quint32 *ramp = direct ? colors.data() : m_palette.constData();
    StampKernels::inParallel(heat.rows, static_cast<double>(heat.total()), [&](const cv::Range &range) {
        for (int y = range.start; y < range.end; ++y) {
            const auto row = heat.ptr<qint32>(y);
            if (direct)
                StampKernels::run<StampKernels::LookUpRow<true>>(row, heat.cols, ramp, m_paletteSize, scale);
            else
                StampKernels::run<StampKernels::LookUpRow<false>>(row, heat.cols, ramp, m_paletteSize, scale);
        }
    });
    return result;
}
