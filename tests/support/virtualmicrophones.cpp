#include "support/virtualmicrophones.h"

#include "support/backends.h"

#include <QAudioSystemPlugin>

#include <mutex>

namespace virtualmicrophones {

static QVector<Device> &store()
{
    static QVector<Device> devices;
    return devices;
}

class Info : public QAbstractAudioDeviceInfo
{
public:
    explicit Info(const Device &device) : device(device) { }

    QAudioFormat preferredFormat() const override { return {}; }
    bool isFormatSupported(const QAudioFormat &) const override { return false; }
    QString deviceName() const override { return device.name; }
    QStringList supportedCodecs() override { return device.codecs; }
    QList<int> supportedSampleRates() override { return device.rates; }
    QList<int> supportedChannelCounts() override { return {1}; }
    QList<int> supportedSampleSizes() override { return {16}; }
    QList<QAudioFormat::Endian> supportedByteOrders() override { return {QAudioFormat::LittleEndian}; }
    QList<QAudioFormat::SampleType> supportedSampleTypes() override { return {QAudioFormat::SignedInt}; }

private:
    Device device;
};

// A device's handle is its place in the list.
class MicrophonePlugin : public QAudioSystemPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.qt-project.qt.audiosystemfactory/5.0" FILE "virtualmicrophones.json")

public:
    QList<QByteArray> availableDevices(QAudio::Mode mode) const override
    {
        QList<QByteArray> handles;
        for (int i = 0; mode == QAudio::AudioInput && i < store().size(); ++i)
            handles << QByteArray::number(i);
        return handles;
    }
    QAbstractAudioInput *createInput(const QByteArray &) override { return nullptr; }
    QAbstractAudioOutput *createOutput(const QByteArray &) override { return nullptr; }
    QAbstractAudioDeviceInfo *createDeviceInfo(const QByteArray &handle, QAudio::Mode) override
    {
        return new Info(store().value(handle.toInt()));
    }
};

void setDevices(const QVector<Device> &devices)
{
    static std::once_flag once;
    std::call_once(once, hideBackEnds, QStringLiteral("audio"));
    store() = devices;
}

} // namespace virtualmicrophones

using virtualmicrophones::MicrophonePlugin;
Q_IMPORT_PLUGIN(MicrophonePlugin)

#include "virtualmicrophones.moc"
