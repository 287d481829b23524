#pragma once

#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPoint>
#include <QRadialGradient>
#include <QVector>

#include <opencv2/core.hpp>

/**
 * A heat map made step by step, without any of the library's code: what every way of ShadowMapPainter must
 * equal, and what the benchmarks compare it with.
 */
class PlainHeatMap
{
public:
    PlainHeatMap(int radius, const QGradientStops &stops, double opacity)
        : stamp(stampOf(radius)), ramp(rampOf(stops, opacity))
    {
    }

    static cv::Mat heatOf(const cv::Mat &values, const cv::Mat &stamp, int stepX, int stepY)
    {
        const int radius = (stamp.rows - 1) / 2;
        const int cols = values.cols;
        const int rows = values.rows;
        cv::Mat grid = cv::Mat::zeros(rows, cols, CV_32SC1);
        cv::Mat heat = cv::Mat::zeros(rows, cols, CV_32SC1);
        for (int y = 0; y < rows; ++y) {
            for (int x = 0; x < cols; ++x) {
                const int targetX = stepX > 1 ? x + stepX / 2 - x % stepX : x;
                const int targetY = stepY > 1 ? y + stepY / 2 - y % stepY : y;
                if (targetX < cols && targetY < rows)
                    grid.at<int>(targetY, targetX) = values.at<int>(y, x);
            }
        }
        for (int y = 0; y < rows; ++y) {
            for (int x = 0; x < cols; ++x) {
                const int value = grid.at<int>(y, x);
                if (value <= 0)
                    continue;
                for (int dx = -radius; dx < radius; ++dx) {
                    for (int dy = -radius; dy < radius; ++dy) {
                        if (x + dx >= 0 && x + dx < cols && y + dy >= 0 && y + dy < rows)
                            heat.ptr<unsigned>(y + dy)[x + dx] +=
                                static_cast<unsigned>(value) * stamp.at<uchar>(radius + dx, radius + dy);
                    }
                }
            }
        }
        return heat;
    }

    cv::Mat draw(const cv::Mat &values, int stepX, int stepY) const
    {
        const cv::Mat heat = heatOf(values, stamp, stepX, stepY);
        const int cols = values.cols;
        const int rows = values.rows;
        double maximum = 0;
        cv::minMaxLoc(heat, nullptr, &maximum);
        const double scale = 1024.0 / maximum;
        cv::Mat result(rows, cols, CV_8UC4);
        for (int y = 0; y < rows; ++y) {
            for (int x = 0; x < cols; ++x) {
                const double index = maximum == 0.0 ? 0.0 : heat.at<int>(y, x) * scale;
                const int entry = index < 0.0 ? 0 : index >= 1024.0 ? 1023 : static_cast<int>(index);
                result.at<cv::Vec4b>(y, x) = ramp[entry];
            }
        }
        return result;
    }

    cv::Mat draw(const QVector<QPoint> &points, int width, int height, int stepX, int stepY) const
    {
        cv::Mat field = cv::Mat::zeros(height, width, CV_32SC1);
        for (const QPoint &point : points) {
            if (point.x() >= 0 && point.x() < width && point.y() >= 0 && point.y() < height)
                field.at<int>(point.y(), point.x()) += 1;
        }
        return draw(field, stepX, stepY);
    }

    static cv::Mat stampOf(int radius)
    {
        const int size = 2 * radius + 1;
        QImage image(size, size, QImage::Format_RGBA8888);
        image.fill(Qt::black);
        QPainter painter(&image);
        QRadialGradient gradient(QPointF(radius, radius), radius);
        gradient.setColorAt(0.0, QColor(255, 0, 0, 255));
        gradient.setColorAt(1.0, QColor(0, 0, 0, 255));
        painter.setPen(Qt::NoPen);
        painter.setBrush(gradient);
        painter.drawRect(0, 0, size, size);
        painter.end();
        cv::Mat stamp = cv::Mat::zeros(size, size, CV_8UC1);
        for (int i = 0; i < size; ++i) {
            for (int j = 0; j < size; ++j)
                stamp.at<uchar>(i, j) = static_cast<uchar>(image.pixelColor(i, j).red());
        }
        return stamp;
    }

    static QVector<cv::Vec4b> rampOf(const QGradientStops &stops, double opacity)
    {
        QImage image(1024, 10, QImage::Format_RGBA8888);
        image.fill(Qt::transparent);
        QLinearGradient gradient(0, 0, 1024, 0);
        gradient.setStops(stops);
        QPainter painter(&image);
        painter.fillRect(image.rect(), QBrush(gradient));
        painter.end();
        QVector<cv::Vec4b> ramp;
        for (int i = 0; i < 1024; ++i) {
            const QColor color = image.pixelColor(i, 1);
            const auto byte = [](int value) { return static_cast<uchar>(value); };
            ramp.append(cv::Vec4b(byte(color.blue()), byte(color.green()), byte(color.red()),
                byte(static_cast<int>(color.alpha() * opacity))));
        }
        return ramp;
    }

private:
    const cv::Mat stamp;
    const QVector<cv::Vec4b> ramp;
};
