#pragma once

#include "varnhold_export.h"

#include <QColor>
#include <QFrame>
#include <QString>

/**
 * Shows a rectangle of one colour that fills the place inside its frame.
 *
 *     auto *square = new VRectangle(QStringLiteral("black"));
 *     square->setFixedSize(14, 14);
 *     UIHelper::InsertToWidget(stopButton, square);
 *
 * The colour is named, or that of the palette's texts. A named colour that would be lost on the background of
 * the palette (a contrast below 3:1) gets lighter, such as red in a dark theme. Black and other colours
 * without a hue give way to the colour of texts, and so does every colour while the widget is disabled. The
 * edges are sharp at any scale factor.
 *
 * \thread GUI thread.
 */
class VARNHOLD_EXPORT VRectangle : public QFrame
{
    Q_OBJECT

public:
    /** \param colorName see setColorName(). There is no frame at first. */
    explicit VRectangle(const QString &colorName = {}, QWidget *parent = nullptr);

    /** Chooses the colour: a name or "#rrggbb", as QColor knows them. Any other text, also an empty one,
     * stands for the colour of texts. */
    void setColorName(const QString &name);

    QString colorName() const;

    /** The colour that is shown now. */
    QColor color() const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString name;
};
