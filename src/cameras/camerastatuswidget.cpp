#include "cameras/camerastatuswidget.h"

#include "baselib/texthelper.h"
#include "cameras/camera.h"
#include "cameras/camerahealthwatch.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>

namespace {

constexpr int refreshMs = 500;

QString clockText(qint64 ms)
{
    return TextHelper::TimeToText(double(ms) / 1000, false);
}

// Each has a contrast of 3:1 at least with its kind of background, as shapes need it.
QColor stateColor(CameraHealthWatch::State state, bool onDark)
{
    switch (state) {
    case CameraHealthWatch::Starting:
        return onDark ? QColor(0x58a6ff) : QColor(0x0969da);
    case CameraHealthWatch::Live:
        return onDark ? QColor(0x3fb950) : QColor(0x1a7f37);
    case CameraHealthWatch::Stalled:
        return onDark ? QColor(0xd29922) : QColor(0x9a6700);
    case CameraHealthWatch::Offline:
        return onDark ? QColor(0xf85149) : QColor(0xcf222e);
    case CameraHealthWatch::Off:
        break;
    }
    return onDark ? QColor(0x8b949e) : QColor(0x6e7781);
}

} // namespace

// A disc, or a ring where no frames are expected yet.
class CameraStatusWidget::Dot : public QWidget
{
public:
    void show(CameraHealthWatch::State newState)
    {
        state = newState;
        update();
    }

    QColor color() const
    {
        const QPalette colors = palette();
        const bool onDark =
            colors.color(QPalette::Window).lightness() < colors.color(QPalette::WindowText).lightness();
        return stateColor(state, onDark);
    }

    QSize sizeHint() const override
    {
        const int side = fontMetrics().ascent();
        return {side, side};
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const bool isRing = state == CameraHealthWatch::Off || state == CameraHealthWatch::Starting;
        const qreal side = sizeHint().width();
        const qreal line = side / 6;
        QRectF circle(0, 0, side, side);
        circle.moveCenter(QRectF(rect()).center());
        circle.adjust(line, line, -line, -line);
        painter.setPen(QPen(color(), line));
        painter.setBrush(isRing ? QBrush(Qt::NoBrush) : QBrush(color()));
        painter.drawEllipse(circle);
    }

private:
    CameraHealthWatch::State state = CameraHealthWatch::Off;
};

CameraStatusWidget::CameraStatusWidget(CameraHealthWatch *watch, QWidget *parent)
    : QWidget(parent), dot(new Dot), label(new QLabel)
{
    auto *const layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(fontMetrics().horizontalAdvance(QLatin1Char(' ')));
    layout->addWidget(dot);
    layout->addWidget(label, 1);
    dot->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    label->setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    timer.setInterval(refreshMs);
    connect(&timer, &QTimer::timeout, this, &CameraStatusWidget::refresh);
    setWatch(watch);
}

CameraHealthWatch *CameraStatusWidget::watch() const
{
    return shown;
}

void CameraStatusWidget::setWatch(CameraHealthWatch *watch)
{
    if (shown)
        disconnect(shown, nullptr, this, nullptr);
    shown = watch;
    if (watch) {
        connect(watch, &CameraHealthWatch::stateChanged, this, &CameraStatusWidget::refresh);
        connect(watch, &CameraHealthWatch::cameraChanged, this, &CameraStatusWidget::refresh);
        connect(watch, &CameraHealthWatch::errorOccurred, this, &CameraStatusWidget::refresh);
        connect(watch, &QObject::destroyed, this, &CameraStatusWidget::refresh);
    }
    refresh();
}

QString CameraStatusWidget::text() const
{
    return label->text();
}

QColor CameraStatusWidget::color() const
{
    return dot->color();
}

void CameraStatusWidget::refresh()
{
    Camera *const camera = shown ? shown->camera() : nullptr;
    const CameraHealthWatch::State state = camera ? shown->state() : CameraHealthWatch::Off;
    QString text;
    switch (state) {
    case CameraHealthWatch::Off:
        text = camera ? tr("Off") : tr("No camera");
        break;
    case CameraHealthWatch::Starting:
        text = tr("Starting");
        break;
    case CameraHealthWatch::Live:
        text = tr("Live");
        break;
    case CameraHealthWatch::Stalled:
        text = tr("Stalled %1", "time without frames").arg(clockText(shown->outageMs()));
        break;
    case CameraHealthWatch::Offline:
        text = tr("Offline %1", "time without frames").arg(clockText(shown->outageMs()));
        break;
    }

    QStringList details;
    if (camera) {
        details << camera->getMoniker();
        const qint64 ageMs = shown->frameAgeMs();
        details << (ageMs < 0 ? tr("No frame yet") : tr("Last frame %1 ago").arg(clockText(ageMs)));
        if (shown->outageCount() > 0) {
            details << tr("%n outage(s), %1 in all", nullptr, shown->outageCount())
                           .arg(clockText(shown->totalOutageMs()));
        }
        if (!shown->lastError().isEmpty())
            details << tr("Last error: %1").arg(shown->lastError());
        details.removeAll({});
    }

    dot->show(state);
    label->setText(text);
    setToolTip(
        details.join(QLatin1Char('\n')).toHtmlEscaped().replace(QLatin1Char('\n'), QLatin1String("<br>")));
    setAccessibleName(tr("Camera status"));
    setAccessibleDescription(text);
}

void CameraStatusWidget::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        refresh();
    else if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        dot->updateGeometry();
}

void CameraStatusWidget::showEvent(QShowEvent *event)
{
    refresh();
    timer.start();
    QWidget::showEvent(event);
}

void CameraStatusWidget::hideEvent(QHideEvent *event)
{
    timer.stop();
    QWidget::hideEvent(event);
}
