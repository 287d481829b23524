#pragma once

#include "vtcv_export.h"

#include <QPointer>
#include <QTimer>
#include <QWidget>

class CameraHealthWatch;
class QLabel;

/**
 * Shows the state of a camera in a row: a coloured dot and a few words, with the time without frames.
 *
 *     layout->addWidget(new CameraStatusWidget(new CameraHealthWatch(camera, this)));
 *
 * The tool tip tells the age of the last frame, the outages and the last error. The colours suit light and
 * dark palettes, and no state is told by its colour alone.
 *
 * \thread GUI thread.
 */
class VTCV_EXPORT CameraStatusWidget : public QWidget
{
    Q_OBJECT

public:
    explicit CameraStatusWidget(CameraHealthWatch *watch = nullptr, QWidget *parent = nullptr);

    CameraHealthWatch *watch() const;

    /** Shows what \a watch finds, or "No camera" for null. \ownership The caller's; it may be deleted. */
    void setWatch(CameraHealthWatch *watch);

    /** The words that are shown, such as "Stalled 00:03". */
    QString text() const;

    /** The colour of the dot. */
    QColor color() const;

protected:
    void changeEvent(QEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    class Dot;

    void refresh();

    QPointer<CameraHealthWatch> shown;
    Dot *dot;
    QLabel *label;
    QTimer timer; // for the times; runs while the widget is visible
};
