#pragma once

#include "visual/shadowmappainter.h"
#include "vtcv_export.h"

#include <QCoreApplication>
#include <QFont>
#include <QPoint>
#include <QRectF>
#include <QSize>
#include <QVector>

#include <opencv2/core.hpp>

class QPainter;

/**
 * Collects what happens from frame to frame into one heat map, in which old events can fade.
 *
 *     HeatMapAccumulator heat(QSize(1280, 720));
 *     heat.setHalfLife(30.0);
 *     heat.addPoints(feet, frameTime);             // for each frame
 *     label->setPixmap(cvMatToQPixmap(heat.over(frame)));
 *
 * The clock is the caller's: seconds from any beginning, such as the time of a frame in its video, so the
 * same calls give the same picture. A time before the latest one counts as the latest; the events' order does
 * not matter then.
 *
 * The hottest place always takes the ramp's last colour. Fading therefore shifts the weight from old events
 * to new ones; while nothing new comes, the picture stays as it is, and weightAtHottest() tells how much is
 * left.
 *
 * Adding points costs nothing for the other pixels, with a half-life too.
 *
 * \thread A value: any thread, one at a time.
 */
class VTCV_EXPORT HeatMapAccumulator
{
    Q_DECLARE_TR_FUNCTIONS(HeatMapAccumulator)

public:
    /** \param size of the frames, in pixels. The others: see ShadowMapPainter. */
    explicit HeatMapAccumulator(const QSize &size, int radius = 20,
        ShadowMapPainter::ShadowMapType type = ShadowMapPainter::SpectrumFaded, float opacity = 0.7f);
    HeatMapAccumulator(const HeatMapAccumulator &other);
    HeatMapAccumulator &operator=(const HeatMapAccumulator &other);

    QSize size() const;

    /** 0 if nothing fades. */
    double halfLife() const { return halfLifeSeconds; }

    /** The latest time that was told, in seconds; 0 before any. */
    double seconds() const { return nowSeconds; }

    /** What the events at the heaviest pixel weigh now; each weighed 1 (in a field: its value) when it came.
     */
    double weightAtHottest() const;

    void setRadius(int radius);
    void setType(ShadowMapPainter::ShadowMapType type);
    void setOpacity(double opacity);

    /** Halves the weight of each event every \a seconds, from now on. 0, less, or no number: nothing fades.
     */
    void setHalfLife(double seconds);

    /** Forgets all events, not the time. */
    void clear();

    /** Lets the time pass without an event. */
    void advanceTo(double seconds);

    /** Adds an event at each of \a points; those outside are ignored. */
    void addPoints(const QVector<QPoint> &points, double seconds);

    /**
     * Adds \a values, one channel of any depth, rows x columns as size(); those of 0 and below (and NaN) add
     * nothing, and one adds no more than 10^15.
     *
     * \return false, and nothing is added and no time passes, if type or size is another.
     */
    bool addField(const cv::Mat &values, double seconds);

    /**
     * Draws the heat map through a ShadowMapPainter: CV_8UC4, rows x columns as size(), which the caller
     * owns.
     *
     * While nothing fades and sums fit into 32 bits, it is the picture that the painter draws of the summed
     * up field, bit for bit. Otherwise weights are rounded to steps fine enough not to be seen.
     */
    cv::Mat draw() const;

    /**
     * Draws the heat map over \a frame, which stays as it is.
     *
     * \param frame CV_8UC1, CV_8UC3 or CV_8UC4, of size().
     * \return a new picture, CV_8UC3, or CV_8UC4 with the alpha of a frame that has one; empty if \a frame is
     * of another type or size.
     */
    cv::Mat over(const cv::Mat &frame) const;

    /** The room that a legend needs at least in \a font, in the painter's units. */
    static QSizeF legendSize(const QFont &font);

    /**
     * Draws a legend into \a rect in the painter's font: the ramp from no heat (bottom) to the most (top), in
     * per cent of the hottest place, on a dark panel that is readable over any frame.
     *
     * \param rect at least legendSize(); a higher one stretches the ramp. In the painter's units, so that a
     *             scaled painter gives a sharp legend on a screen of any resolution.
     */
    void drawLegend(QPainter *painter, const QRectF &rect) const;

private:
    void settle();

    int stampRadius;
    ShadowMapPainter::ShadowMapType type;
    ShadowMapPainter painter;
    double opacity;
    double halfLifeSeconds = 0.0;
    double nowSeconds = 0.0;
    double settledSeconds = 0.0; // when an event of weight 1 was 1 in the field
    bool hasTime = false;
    cv::Mat field; // CV_32FC1, weights of settledSeconds: younger events stand there larger, instead of old
                   // ones smaller
};
