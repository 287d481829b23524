#pragma once

#include "varnhold_export.h"

#include <QPointer>
#include <QTimer>
#include <QWidget>

class FrameRateCounter;
class QLabel;

/**
 * Shows a frame rate as a number.
 *
 *     auto *rate = new FPSWidget;
 *     connect(camera, &Camera::frameRateChanged, rate, &FPSWidget::frameRateChanged);
 *
 * Before the first rate there is a dash. A rate that is not followed by another one, for 3 s or for three
 * frames at that rate, whichever is longer, goes grey: frames have stopped. The width is the same for all
 * rates below 1000 Hz.
 *
 * \thread GUI thread. A signal of any thread may be connected to the slot.
 */
class VARNHOLD_EXPORT FPSWidget : public QWidget
{
    Q_OBJECT

public:
    /** \param counter whose rate is shown; null to be connected, or not, by hand. \ownership The caller's. */
    explicit FPSWidget(FrameRateCounter *counter = nullptr, QWidget *parent = nullptr);

    /** What is shown, such as "25.0 fps". */
    QString text() const;

    /** No rate has come for a while, or none at all yet. */
    bool isStale() const;

public Q_SLOTS:
    /** Shows \a frameRate, in Hz. A negative one, or one that is no number, shows the dash again. */
    void frameRateChanged(double frameRate);

protected:
    void changeEvent(QEvent *event) override;

private:
    void showRate();
    void setStale(bool value);

    QLabel *label;
    QTimer silence; // runs since the last rate
    double rate = -1; // in Hz; negative while there is none
};
