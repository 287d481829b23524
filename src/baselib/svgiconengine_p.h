#pragma once

#include <QIconEngine>
#include <QPointer>
#include <QSvgRenderer>
#include <QWidget>

#include <memory>

/**
 * Draws an SVG file in the pixels of the device, at any scale factor.
 *
 * An icon of a single grey is drawn in the colour that its widget writes its texts in, so that it can be read
 * on a light and on a dark background; any other icon keeps its colours.
 *
 * \thread GUI thread.
 */
class SvgIconEngine : public QIconEngine
{
public:
    /** \param widget whose palette counts; the application's does once it is gone. */
    SvgIconEngine(std::shared_ptr<QSvgRenderer> renderer, QWidget *widget);

    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override;
    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override;
    QIconEngine *clone() const override;

private:
    QImage render(const QSize &pixels) const;
    bool isOfOneGrey() const;

    std::shared_ptr<QSvgRenderer> renderer; // shared by the clones; null for a file that cannot be shown
    QPointer<QWidget> widget;
    bool takesTextColor;
};
