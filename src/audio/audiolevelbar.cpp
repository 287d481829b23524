#include "audio/audiolevelbar.h"

#include "audio/audioinfo.h"

#include <QEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace {

constexpr int lowestDb = -60;
constexpr int marksDb[] = {-40, -20, -6};
constexpr double fallDbPerMs = 20.0 / 1700.0;
constexpr int fallMs = 40;
constexpr int clipMs = 2000;
constexpr double fullScale = 32767.0 / 32768.0; // the highest positive sample of 16 bits

// Each has a contrast of 3:1 at least with its kind of background, as shapes need it.
QColor fillColor(bool onDark)
{
    return onDark ? QColor(0x3fb950) : QColor(0x1a7f37);
}

QColor clipColor(bool onDark)
{
    return onDark ? QColor(0xf85149) : QColor(0xcf222e);
}

} // namespace

AudioLevelBar::AudioLevelBar(AudioInfo *source, QWidget *parent) : QProgressBar(parent)
{
    setRange(lowestDb, 0);
    setTextVisible(false);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    timer.setInterval(fallMs);
    connect(&timer, &QTimer::timeout, this, &AudioLevelBar::fall);
    setSource(source);
}

AudioInfo *AudioLevelBar::source() const
{
    return shown;
}

void AudioLevelBar::setSource(AudioInfo *source)
{
    if (shown)
        disconnect(shown, nullptr, this, nullptr);
    shown = source;
    stripes.clear();
    lastClip.invalidate();
    if (source)
        connect(source, &AudioInfo::update, this, &AudioLevelBar::takeLevels);
    tell();
    update();
}

double AudioLevelBar::peakDb(int channel) const
{
    return channel >= 0 && channel < int(stripes.size()) ? stripes[size_t(channel)].peakDb
                                                         : AudioInfo::silenceDb;
}

bool AudioLevelBar::isClipped() const
{
    return lastClip.isValid() && !lastClip.hasExpired(clipMs);
}

QSize AudioLevelBar::sizeHint() const
{
    return {fontMetrics().averageCharWidth() * 20, fontMetrics().height()};
}

QSize AudioLevelBar::minimumSizeHint() const
{
    return {fontMetrics().averageCharWidth() * 6, fontMetrics().height() / 2};
}

// Windows may end more often than anybody can look: what is loud stays until it falls.
void AudioLevelBar::takeLevels()
{
    if (!shown)
        return;
    stripes.resize(size_t(shown->channelCount()), {AudioInfo::silenceDb, AudioInfo::silenceDb});
    for (int i = 0; i < int(stripes.size()); ++i) {
        Stripe &stripe = stripes[size_t(i)];
        stripe.peakDb = std::max(stripe.peakDb, AudioInfo::toDecibels(shown->peak(i)));
        stripe.rmsDb = AudioInfo::toDecibels(shown->rms(i));
        if (shown->peak(i) >= fullScale)
            lastClip.start();
    }
    tell();
    update();
}

void AudioLevelBar::fall()
{
    const auto fallenDb = double(lastFall.restart()) * fallDbPerMs;
    for (Stripe &stripe : stripes)
        stripe.peakDb = std::max(stripe.peakDb - fallenDb, stripe.rmsDb);
    if (lastClip.isValid() && lastClip.hasExpired(clipMs))
        lastClip.invalidate();
    tell();
    update();
}

void AudioLevelBar::tell()
{
    double peak = AudioInfo::silenceDb;
    double rms = AudioInfo::silenceDb;
    for (const Stripe &stripe : stripes) {
        peak = std::max(peak, stripe.peakDb);
        rms = std::max(rms, stripe.rmsDb);
    }
    const auto shownDb = [](double db) { return std::max(lowestDb, int(std::lround(db))); };
    const QString trouble = shown ? shown->lastError() : QString();
    setAccessibleName(tr("Sound level"));
    setAccessibleDescription(trouble);
    if (!trouble.isEmpty())
        setToolTip(trouble);
    else if (stripes.empty())
        setToolTip(tr("No sound is measured"));
    else
        setToolTip(tr("Peak %1 dB, RMS %2 dB").arg(shownDb(peak)).arg(shownDb(rms)));
    setValue(shownDb(peak));
}

void AudioLevelBar::changeEvent(QEvent *event)
{
    QProgressBar::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        tell();
}

void AudioLevelBar::showEvent(QShowEvent *event)
{
    lastFall.start();
    timer.start();
    QProgressBar::showEvent(event);
}

void AudioLevelBar::hideEvent(QHideEvent *event)
{
    timer.stop();
    QProgressBar::hideEvent(event);
}

void AudioLevelBar::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const QPalette colors = palette();
    const bool onDark =
        colors.color(QPalette::Window).lightness() < colors.color(QPalette::WindowText).lightness();
    const QColor &frame = colors.color(QPalette::Disabled, QPalette::WindowText);
    // Whole device pixels, whatever the scale: the lines stay sharp.
    const qreal pixel = 1.0 / devicePixelRatioF();
    const QRectF box = QRectF(rect()).adjusted(pixel / 2, pixel / 2, -pixel / 2, -pixel / 2);
    painter.setPen(QPen(frame, pixel));
    painter.setBrush(colors.color(QPalette::Base));
    painter.drawRect(box);

    const QRectF inner = QRectF(rect()).adjusted(2, 2, -2, -2);
    const qreal clipWidth = std::max<qreal>(3, inner.height() / 3);
    const QRectF scale = inner.adjusted(0, 0, -clipWidth - 2, 0);
    const auto at = [&](double db) {
        return scale.left() + scale.width() * std::clamp((db - lowestDb) / -lowestDb, 0.0, 1.0);
    };
    const auto count = int(std::max<size_t>(1, stripes.size()));
    const qreal height = (scale.height() - (count - 1)) / count;
    for (int i = 0; i < int(stripes.size()); ++i) {
        const Stripe &stripe = stripes[size_t(i)];
        const qreal top = scale.top() + i * (height + 1);
        painter.fillRect(
            QRectF(QPointF(scale.left(), top), QPointF(at(stripe.rmsDb), top + height)), fillColor(onDark));
        if (stripe.peakDb > lowestDb) {
            painter.fillRect(QRectF(std::max(scale.left(), at(stripe.peakDb) - 2), top, 2, height),
                colors.color(QPalette::Text));
        }
    }
    for (int mark : marksDb)
        painter.fillRect(QRectF(at(mark), inner.top(), pixel, inner.height()), frame);
    const QRectF clip(inner.right() - clipWidth, inner.top(), clipWidth, inner.height());
    if (isClipped())
        painter.fillRect(clip, clipColor(onDark));
    else
        painter.fillRect(QRectF(clip.left(), clip.top(), pixel, clip.height()), frame);
}
