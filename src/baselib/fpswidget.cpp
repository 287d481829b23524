#include "baselib/fpswidget.h"

#include "baselib/frameratecounter.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>

#include <cmath>

namespace {

constexpr double leastSilenceMs = 3000;
constexpr double greatestSilenceMs = 3600000;
constexpr double silentFrames = 3;

QString widestNumber(const QFontMetrics &metrics, const QLocale &locale)
{
    QString widest;
    for (int digit = 1; digit <= 9; ++digit) {
        const QString number = locale.toString(111.1 * digit, 'f', 1);
        if (metrics.horizontalAdvance(number) > metrics.horizontalAdvance(widest))
            widest = number;
    }
    return widest;
}

} // namespace

FPSWidget::FPSWidget(FrameRateCounter *counter, QWidget *parent) : QWidget(parent), label(new QLabel)
{
    auto *const layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(label);
    label->setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    silence.setSingleShot(true);
    connect(&silence, &QTimer::timeout, this, [this] { setStale(true); });
    if (counter)
        connect(counter, &FrameRateCounter::frameRateChanged, this, &FPSWidget::frameRateChanged);
    setStale(true);
    showRate();
}

QString FPSWidget::text() const
{
    return label->text();
}

bool FPSWidget::isStale() const
{
    return !label->isEnabledTo(this);
}

void FPSWidget::frameRateChanged(double frameRate)
{
    rate = std::isfinite(frameRate) ? frameRate : -1;
    setStale(rate < 0);
    showRate();
    if (rate < 0)
        silence.stop();
    else
        silence.start(int(qBound(leastSilenceMs, silentFrames * 1000 / rate, greatestSilenceMs)));
}

void FPSWidget::setStale(bool value)
{
    label->setEnabled(!value);
    setToolTip(value ? tr("Frame rate; no frames at the moment") : tr("Frame rate"));
}

void FPSWidget::showRate()
{
    const auto withUnit = [](const QString &number) { return tr("%1 fps", "frames per second").arg(number); };
    setAccessibleName(tr("Frame rate"));
    const QFontMetrics metrics(label->font());
    label->setMinimumWidth(metrics.horizontalAdvance(withUnit(widestNumber(metrics, locale()))));
    label->setText(withUnit(rate < 0 ? QStringLiteral("\u2013") : locale().toString(rate, 'f', 1)));
}

void FPSWidget::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    switch (event->type()) {
    case QEvent::LanguageChange:
    case QEvent::LocaleChange:
    case QEvent::FontChange:
    case QEvent::StyleChange:
        setStale(isStale());
        showRate();
        break;
    default:
        break;
    }
}
