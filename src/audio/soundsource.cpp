#include "audio/soundsource_p.h"

#include <QAudioDeviceInfo>
#include <QAudioRecorder>

#include <algorithm>

namespace {

const char variable[] = "PULSE_SOURCE";

bool isRaw(const QString &codec)
{
    return codec == QLatin1String("audio/pcm") || codec == QLatin1String("audio/x-raw");
}

// Whether the sound server offers `device`, and not another layer of the system.
bool isServerSource(const QString &device)
{
    const QList<QAudioDeviceInfo> devices = QAudioDeviceInfo::availableDevices(QAudio::AudioInput);
    return std::any_of(devices.begin(), devices.end(), [&](const QAudioDeviceInfo &info) {
        return info.deviceName() == device && info.realm() != QLatin1String("alsa");
    });
}

} // namespace

namespace soundsource {

Input inputFor(const QAudioRecorder &recorder, const QString &device)
{
    const QString pulse = QStringLiteral("pulseaudio:");
    const QStringList inputs = recorder.audioInputs();
    if (inputs.contains(device))
        return {device, {}};
    // ALSA's name for the sound server stands for its default source.
    if (device == QLatin1String("pulse") && inputs.contains(pulse))
        return {pulse, {}};
    // "default" is best asked for as the system's default, which does not depend on one layer.
    if (inputs.contains(device + QLatin1Char(':')))
        return {device + QLatin1Char(':'), {}};
    for (const QString &input : inputs) {
        if (input.section(QLatin1Char(':'), 1) == device || recorder.audioInputDescription(input) == device)
            return {input, {}};
    }
    if (inputs.contains(pulse) && isServerSource(device))
        return {pulse, device};
    return {};
}

Encoding encodingFor(const QStringList &codecs, const QStringList &containers, const QString &codec)
{
    if (codec.isEmpty())
        return {};
    if (!isRaw(codec))
        return codecs.contains(codec) ? Encoding{codec, {}} : Encoding{{}, {}, false};

    // Raw samples always with a container named. Left to itself, GStreamer takes AIFF for them, and its AIFF
    // writer divides by zero, which ends the process, when the source cannot be opened.
    const QString wav = QStringLiteral("audio/x-wav");
    const auto raw = std::find_if(codecs.begin(), codecs.end(), isRaw);
    if (raw != codecs.end() && containers.contains(wav))
        return {*raw, wav};
    return {{}, {}, false};
}

PulseSource::PulseSource(const QString &name) : isSet(!name.isEmpty())
{
    if (!isSet)
        return;
    existed = qEnvironmentVariableIsSet(variable);
    former = qgetenv(variable);
    qputenv(variable, name.toUtf8());
}

PulseSource::~PulseSource()
{
    if (!isSet)
        return;
    if (existed)
        qputenv(variable, former);
    else
        qunsetenv(variable);
}

} // namespace soundsource
