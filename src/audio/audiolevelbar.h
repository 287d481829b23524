#pragma once

#include "vtcv_export.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QProgressBar>
#include <QTimer>

#include <vector>

class AudioInfo;

/**
 * Shows the level that an AudioInfo measures as a bar, a stripe for each channel.
 *
 *     auto *const meter = new AudioInfo(this);
 *     row->addWidget(new AudioLevelBar(meter));
 *     meter->listen(microphones->getDevice());
 *
 * The bar reaches from -60 to 0 dB below full scale: its filled part is the RMS, a line the peak, which falls
 * by 20 dB in 1.7 s (as that of a programme meter of type I of IEC 60268-10), and a block at the right end
 * says that full scale was reached in the last 2 s. The tool tip has the figures. value(), which screen
 * readers tell, is the peak of the loudest channel in whole dB. If a microphone has stopped
 * (AudioInfo::lastError()), the bar falls to silence, and tool tip and accessible description say so. The
 * colours suit light and dark palettes.
 *
 * \thread GUI thread; the samples may come on another one.
 */
class VTCV_EXPORT AudioLevelBar : public QProgressBar
{
    Q_OBJECT

public:
    explicit AudioLevelBar(AudioInfo *source = nullptr, QWidget *parent = nullptr);

    AudioInfo *source() const;

    /** Shows what \a source measures; an empty bar for null. \ownership The caller's; it may be deleted. */
    void setSource(AudioInfo *source);

    /** The peak line of a channel, in dB; AudioInfo::silenceDb if there is none. */
    double peakDb(int channel) const;

    /** True while the block for full scale is shown. */
    bool isClipped() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void changeEvent(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    struct Stripe
    {
        double peakDb;
        double rmsDb;
    };

    void takeLevels();
    void fall();
    void tell();

    QPointer<AudioInfo> shown;
    std::vector<Stripe> stripes;
    QTimer timer; // lets the peaks fall; runs while the bar is visible
    QElapsedTimer lastFall;
    QElapsedTimer lastClip; // valid exactly while the block is shown
};
