#include "visual/heatmapaccumulator.h"

#include "image/imagebridge.h"
#include "visual/stampkernels_p.h"

#include <QFontMetricsF>
#include <QImage>
#include <QLocale>
#include <QPainter>

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace {

// New events stand in the field larger by two to the power of this at most, then it is written anew. A float
// holds up to 2^127, and what is 64 half-lives old has long been lost beside anything new.
constexpr double largestExponent = 64.0;
constexpr double largestValue = 1e15; // of an element of an added field; leaves room for 1000 times 2^64

// Sums of heat stay below half of this, however the weights round.
constexpr double largestHeat = 1 << 30;
constexpr double largestStampWeight = 255.0;

double exponentOf(double seconds, double halfLife)
{
    return halfLife > 0.0 ? seconds / halfLife : 0.0;
}

// Both pictures' rows, pixel by pixel: the colours of `heat` over those of `frame`, rounded.
void blendRow(const uchar *heat, uchar *frame, int cols, int channels)
{
    for (int x = 0; x < cols; ++x, heat += 4, frame += channels) {
        const int alpha = heat[3];
        for (int c = 0; c < 3; ++c)
            frame[c] = static_cast<uchar>((heat[c] * alpha + frame[c] * (255 - alpha) + 127) / 255);
    }
}

// The measures of a legend, all from its font.
struct Legend
{
    explicit Legend(const QFont &font)
        : metrics(font), line(metrics.height()), margin(line * 0.6), bar(line * 1.4)
    {
    }

    QString title() const { return HeatMapAccumulator::tr("Heat"); }
    QString label(int percent) const
    {
        return HeatMapAccumulator::tr("%1 %").arg(QLocale().toString(percent));
    }

    QFontMetricsF metrics;
    double line;
    double margin;
    double bar; // its width
    static constexpr int labels = 5;
};

} // namespace

HeatMapAccumulator::HeatMapAccumulator(
    const QSize &size, int radius, ShadowMapPainter::ShadowMapType type, float opacity)
    : stampRadius(radius), type(type), painter(radius, type, opacity), opacity(opacity),
      field(cv::Mat::zeros(qMax(size.height(), 0), qMax(size.width(), 0), CV_32FC1))
{
}

HeatMapAccumulator::HeatMapAccumulator(const HeatMapAccumulator &other) : HeatMapAccumulator(QSize())
{
    *this = other;
}

HeatMapAccumulator &HeatMapAccumulator::operator=(const HeatMapAccumulator &other)
{
    if (this != &other) {
        stampRadius = other.stampRadius;
        type = other.type;
        opacity = other.opacity;
        halfLifeSeconds = other.halfLifeSeconds;
        nowSeconds = other.nowSeconds;
        settledSeconds = other.settledSeconds;
        hasTime = other.hasTime;
        painter = other.painter;
        field = other.field.clone(); // which is written to in place
    }
    return *this;
}

QSize HeatMapAccumulator::size() const
{
    return QSize(field.cols, field.rows);
}

double HeatMapAccumulator::weightAtHottest() const
{
    if (field.empty())
        return 0.0;
    double largest = 0.0;
    cv::minMaxLoc(field, nullptr, &largest);
    return largest * std::exp2(-exponentOf(nowSeconds - settledSeconds, halfLifeSeconds));
}

void HeatMapAccumulator::setRadius(int radius)
{
    stampRadius = radius;
    painter.setRadius(radius);
}

void HeatMapAccumulator::setType(ShadowMapPainter::ShadowMapType type)
{
    this->type = type;
    painter.setType(type);
}

void HeatMapAccumulator::setOpacity(double opacity)
{
    this->opacity = opacity;
    painter.setOpacity(opacity);
}

void HeatMapAccumulator::setHalfLife(double seconds)
{
    settle();
    halfLifeSeconds = std::isfinite(seconds) && seconds > 0.0 ? seconds : 0.0;
}

void HeatMapAccumulator::clear()
{
    field = 0.0;
    settledSeconds = nowSeconds;
}

void HeatMapAccumulator::advanceTo(double seconds)
{
    if (!std::isfinite(seconds))
        return;
    if (!hasTime) {
        settledSeconds = nowSeconds = seconds;
        hasTime = true;
    }
    nowSeconds = qMax(nowSeconds, seconds);
    if (exponentOf(nowSeconds - settledSeconds, halfLifeSeconds) > largestExponent)
        settle();
}

void HeatMapAccumulator::addPoints(const QVector<QPoint> &points, double seconds)
{
    advanceTo(seconds);
    const auto weight =
        static_cast<float>(std::exp2(exponentOf(nowSeconds - settledSeconds, halfLifeSeconds)));
    for (const QPoint &point : points) {
        if (point.x() >= 0 && point.y() >= 0 && point.x() < field.cols && point.y() < field.rows)
            field.at<float>(point.y(), point.x()) += weight;
    }
}

bool HeatMapAccumulator::addField(const cv::Mat &values, double seconds)
{
    if (values.empty() || values.dims != 2 || values.channels() != 1 || values.size() != field.size())
        return false;
    advanceTo(seconds);
    const double weight = std::exp2(exponentOf(nowSeconds - settledSeconds, halfLifeSeconds));
    cv::Mat added;
    values.convertTo(added, CV_32F, weight);
    added.setTo(0.0, ~(added > 0.0)); // NaN is not above 0 either
    cv::min(added, largestValue * weight, added);
    field += added;
    return true;
}

// Writes the field anew in today's weights.
void HeatMapAccumulator::settle()
{
    if (const double exponent = exponentOf(nowSeconds - settledSeconds, halfLifeSeconds); exponent > 0.0)
        field *= std::exp2(-exponent);
    settledSeconds = nowSeconds;
}

cv::Mat HeatMapAccumulator::draw() const
{
    if (field.empty())
        return cv::Mat();
    double largest = 0.0;
    cv::minMaxLoc(field, nullptr, &largest);
    // A pixel collects no more than all there is, and no more than the heaviest all over a stamp.
    const double stampPixels = 4.0 * stampRadius * stampRadius;
    const double heat = largestStampWeight * qMin(cv::sum(field)[0], largest * stampPixels);
    double scale = heat > 0.0 ? largestHeat / 2 / heat : 1.0;
    if (halfLifeSeconds <= 0.0)
        scale = qMin(scale, 1.0); // counts are whole already
    cv::Mat values;
    field.convertTo(values, CV_32S, scale);
    return painter.draw(values, 1, 1);
}

cv::Mat HeatMapAccumulator::over(const cv::Mat &frame) const
{
    if (frame.empty() || frame.dims != 2 || frame.size() != field.size())
        return cv::Mat();
    cv::Mat picture;
    switch (frame.type()) {
    case CV_8UC1:
        cv::cvtColor(frame, picture, cv::COLOR_GRAY2BGR);
        break;
    case CV_8UC3:
    case CV_8UC4:
        picture = frame.clone();
        break;
    default:
        return cv::Mat();
    }
    const cv::Mat heat = draw();
    StampKernels::inParallel(picture.rows, 10.0 * picture.total(), [&](const cv::Range &range) {
        for (int y = range.start; y < range.end; ++y)
            blendRow(heat.ptr(y), picture.ptr(y), picture.cols, picture.channels());
    });
    return picture;
}

QSizeF HeatMapAccumulator::legendSize(const QFont &font)
{
    const Legend legend(font);
    const double labelWidth = legend.metrics.horizontalAdvance(legend.label(100));
    const double ramp = legend.bar + legend.margin + labelWidth;
    const double title = legend.metrics.horizontalAdvance(legend.title());
    return QSizeF(qMax(ramp, title) + 2 * legend.margin, // title, ramp, and half a line for the outer labels
        legend.line * (2.0 + 1.5 * Legend::labels) + 2 * legend.margin);
}

void HeatMapAccumulator::drawLegend(QPainter *target, const QRectF &rect) const
{
    const Legend legend(target->font());
    target->save();
    target->setRenderHint(QPainter::Antialiasing);
    target->setPen(Qt::NoPen);
    target->setBrush(QColor(20, 20, 20, 225));
    target->drawRoundedRect(rect, legend.margin / 2, legend.margin / 2);

    const QRectF inner = rect.adjusted(legend.margin, legend.margin, -legend.margin, -legend.margin);
    target->setPen(Qt::white);
    target->drawText(QRectF(inner.left(), inner.top(), inner.width(), legend.line),
        Qt::AlignLeft | Qt::AlignVCenter, legend.title());

    // Samples of rising weight that share their heat with one neighbour run through the whole ramp.
    constexpr int steps = 256;
    cv::Mat rising(1, steps + 1, CV_32SC1);
    for (int i = 0; i <= steps; ++i)
        rising.at<int>(i) = i;
    ShadowMapPainter rampPainter(1, type);
    rampPainter.setOpacity(opacity);
    cv::Mat ramp = rampPainter.draw(rising, 1, 1).colRange(0, steps);
    cv::rotate(ramp, ramp, cv::ROTATE_90_COUNTERCLOCKWISE);

    const QRectF bar(
        inner.left(), inner.top() + 1.5 * legend.line, legend.bar, inner.height() - 2.0 * legend.line);
    // In place of the frame, which shows through the ramp where that is transparent.
    target->fillRect(bar, QColor(170, 170, 170));
    target->drawImage(bar, cvMatToQImage(ramp, true));
    target->setBrush(Qt::NoBrush);
    target->setPen(QPen(Qt::white, 0));
    target->drawRect(bar);

    for (int i = 0; i < Legend::labels; ++i) {
        const double share = double(i) / (Legend::labels - 1);
        const double y = bar.bottom() - share * bar.height();
        const double tick = legend.margin / 2;
        target->drawLine(QPointF(bar.right(), y), QPointF(bar.right() + tick, y));
        const QRectF place(bar.right() + legend.margin, y - legend.line / 2,
            inner.right() - bar.right() - legend.margin, legend.line);
        target->drawText(place, Qt::AlignRight | Qt::AlignVCenter, legend.label(qRound(share * 100)));
    }
    target->restore();
}
