#pragma once

#include "vtcv_export.h"

#include <QPoint>
#include <QVector>

#include <opencv2/core.hpp>

/**
 * Turns a field of counts, or a bag of points, into a coloured, partly transparent picture to lay over a
 * frame: where many events fell, the picture is hot.
 *
 *     ShadowMapPainter painter(20, ShadowMapPainter::SpectrumFaded, 0.7f);
 *     const cv::Mat heatMap = painter.draw(footprints, frame.cols, frame.rows, 1, 1);
 *
 * Each sample above 0 adds a round stamp, a cone that falls from the sample's value to 0 at the radius. The
 * largest sum anywhere is mapped to the end of the colour ramp, so only the shape of a field matters, not its
 * height. Sums are 32-bit and wrap beyond that.
 *
 * A draw costs about as much as copying the picture where samples are few, and never more than a fixed amount
 * for each pixel, which grows with the area of the stamp; it uses all of OpenCV's threads.
 *
 * \thread A value: any thread, but nobody may set while another draws. Copies share nothing that changes.
 */
class VTCV_EXPORT ShadowMapPainter
{
public:
    /** The colour ramp, from no heat to the most. Any other value draws as FadeToBlack. */
    enum ShadowMapType : qint32
    {
        FadeToBlack = 0, /**< transparent to black */
        FadeFromBlack = 1, /**< black to transparent: lights up what is hot */
        Spectrum = 2, /**< blue, green, yellow, red */
        SpectrumFaded = 3, /**< the same, from transparent blue */
        FadeToWhite = 4, /**< transparent to white */
        FadeFromWhite = 5, /**< white to transparent */
    };

    /** See setRadius(), setType() and setOpacity(). */
    explicit ShadowMapPainter(int radius = 5, ShadowMapType type = FadeToBlack, float opacity = 1.0f);
    ShadowMapPainter(const ShadowMapPainter &other);

    /**
     * Takes the tables away from \a other, which can then be assigned to, or given a ramp by setType().
     *
     * Until then it draws transparent pixels only, and until it gets another radius it draws no heat.
     */
    ShadowMapPainter(ShadowMapPainter &&other) noexcept;
    ~ShadowMapPainter();

    ShadowMapPainter &operator=(const ShadowMapPainter &other);
    /** As the move constructor. */
    ShadowMapPainter &operator=(ShadowMapPainter &&other) noexcept;

    /**
     * Sets the stamp's radius in pixels. With 0 nothing gets hot; a negative radius counts as 0, and so does
     * one above 11584, whose stamp is larger than a QImage can be.
     */
    void setRadius(int radius);
    void setType(ShadowMapType type);

    /** Sets the factor on the ramp's alpha, from 0.0 to 1.0; values outside count as the nearest of these. */
    void setOpacity(double opacity);

    /**
     * Draws the heat of \a values, CV_32SC1, of any row step; elements of 0 and below count for nothing.
     *
     * With a step above 1 the field is cut into cells of that many pixels, counted from the left and the top,
     * and of each cell only its last element counts, the bottom right one, 0 included, at the cell's middle.
     * At the right and bottom edge a cell can be so short that its middle lies outside; it is then dropped.
     * A step of 1 or less leaves its axis as it is.
     *
     * \return CV_8UC4 (blue, green, red, alpha) of the same rows x columns, which the caller owns; empty if
     *         \a values is. Throws cv::Exception if \a values is of another type.
     */
    cv::Mat draw(const cv::Mat &values, int stepX, int stepY) const;

    /**
     * Draws a field of \a height x \a width given row by row. Excess values are ignored, missing ones are 0.
     *
     * \return as above; empty if \a width or \a height is below 1.
     */
    cv::Mat draw(const QVector<int> &values, int width, int height, int stepX, int stepY) const;

    /** Draws the field that counts \a points at each pixel; points outside of it are ignored. \return as
     * above. */
    cv::Mat draw(const QVector<QPoint> &points, int width, int height, int stepX, int stepY) const;

private:
    template <typename Samples>
    cv::Mat drawSamples(const Samples &samples, int width, int height, int stepX, int stepY) const;

    ShadowMapType m_type = FadeToBlack;
    QVector<quint32> m_palette; // bytes blue, green, red, alpha, from the low one up
    qint32 m_radius = 0;
    cv::Mat m_stamp; // 2 * m_radius + 1 square, CV_8UC1; never changed in place, since copies share it
    qint32 m_paletteSize = 1024;
    double m_opacity = 1.0;
};
