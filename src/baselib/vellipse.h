#pragma once

#include "varnhold_export.h"

#include <QColor>
#include <QString>
#include <QWidget>

/**
 * Shows an ellipse of one colour that fills its place, or a circle in the middle of it.
 *
 *     auto *dot = new VEllipse(QStringLiteral("red"));
 *     dot->setAsCircle(true);
 *
 * Its colour follows the palette as that of VRectangle does. The edge is smooth at any scale factor.
 *
 * \thread GUI thread.
 */
class VARNHOLD_EXPORT VEllipse : public QWidget
{
    Q_OBJECT

public:
    /** \param colorName see setColorName(). */
    explicit VEllipse(const QString &colorName = {}, QWidget *parent = nullptr);

    /** With true, as wide as high whatever the place is; false at first. */
    void setAsCircle(bool value);

    /** The same as VRectangle::setColorName(). */
    void setColorName(const QString &name);

    QString colorName() const;

    /** The colour that is shown now. */
    QColor color() const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString name;
    bool isCircle = false;
};
