#include "audio/audiorecorderwidget.h"

#include <QAudioDeviceInfo>
#include <QComboBox>
#include <QEvent>
#include <QHBoxLayout>
#include <QSet>

#include <functional>

namespace {

constexpr int preferredRateHz = 44100;

// The row overrides no handler of events of its own.
class LanguageWatch : public QObject
{
public:
    LanguageWatch(QWidget *watched, std::function<void()> changed)
        : QObject(watched), changed(std::move(changed))
    {
        watched->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::LanguageChange)
            changed();
        return false;
    }

private:
    std::function<void()> changed;
};

} // namespace

AudioRecorderWidget::AudioRecorderWidget(QWidget *parent)
    : QWidget(parent), deviceBox(new QComboBox), codecBox(new QComboBox), rateBox(new QComboBox)
{
    codecBox->setVisible(false);
    QSet<QString> seen;
    for (const QAudioDeviceInfo &info : QAudioDeviceInfo::availableDevices(QAudio::AudioInput)) {
        if (seen.contains(info.deviceName()))
            continue;
        seen << info.deviceName();
        deviceBox->addItem(info.deviceName(), QVariant::fromValue(info));
    }
    const auto indexChanged = qOverload<int>(&QComboBox::currentIndexChanged);
    connect(deviceBox, indexChanged, this, &AudioRecorderWidget::showDevice);
    Q_EMIT deviceBox->currentIndexChanged(0);

    auto *const row = new QHBoxLayout;
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(deviceBox);
    row->addWidget(codecBox);
    row->addWidget(rateBox);
    setLayout(row);

    retranslate();
    new LanguageWatch(this, [this] { retranslate(); });
}

AudioRecorderWidget::~AudioRecorderWidget() = default;

QString AudioRecorderWidget::getDevice() const
{
    return deviceBox->currentText();
}

QString AudioRecorderWidget::getCodec() const
{
    return codecBox->currentData().toString();
}

int AudioRecorderWidget::getSampleRate() const
{
    return rateBox->currentData().toInt();
}

void AudioRecorderWidget::showDevice(int index)
{
    const auto info = deviceBox->itemData(index).value<QAudioDeviceInfo>();
    codecBox->clear();
    rateBox->clear();
    for (const QString &codec : info.supportedCodecs())
        codecBox->addItem(codec, codec);
    int preferred = -1;
    for (int rate : info.supportedSampleRates()) {
        if (rate == preferredRateHz)
            preferred = rateBox->count();
        rateBox->addItem(QString::number(rate), rate);
    }
    rateBox->setCurrentIndex(preferred);
}

void AudioRecorderWidget::retranslate()
{
    deviceBox->setAccessibleName(tr("Microphone"));
    deviceBox->setToolTip(tr("The microphone to record from"));
    codecBox->setAccessibleName(tr("Sound codec"));
    rateBox->setAccessibleName(tr("Sample rate"));
    rateBox->setToolTip(tr("The sample rate of the sound in Hz"));
}
