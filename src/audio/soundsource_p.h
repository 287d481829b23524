#pragma once

#include "vtcv_export.h"

#include <QAudioEncoderSettings>
#include <QString>
#include <QStringList>

class QAudioRecorder;

/** What the names of devices and codecs are called by QAudioRecorder's back end. */
namespace soundsource {

/** An input of the back end. */
struct Input
{
    QString name; // one of QAudioRecorder::audioInputs(); empty where there is none
    QString pulseSource; // the source of the sound server that is meant by it; empty for the default one
};

/** What the back end calls \a device, a name of QAudioDeviceInfo. Asks for the devices where it must. */
VTCV_TEST_EXPORT Input inputFor(const QAudioRecorder &recorder, const QString &device);

/** How a recording is encoded. */
struct Encoding
{
    QString codec;
    QString container; // empty: the back end's choice
    bool isKnown = true; // false: the wanted codec is none of the back end's, the back end's own is used
};

/** What the back end calls \a codec, a name of QAudioDeviceInfo or its own. */
VTCV_TEST_EXPORT Encoding encodingFor(
    const QStringList &codecs, const QStringList &containers, const QString &codec);

/** While it lives, streams that connect to PulseAudio take this source, if it is not empty. */
class PulseSource
{
public:
    explicit PulseSource(const QString &name);
    ~PulseSource();
    PulseSource(const PulseSource &) = delete;
    PulseSource &operator=(const PulseSource &) = delete;

private:
    bool isSet;
    bool existed = false;
    QByteArray former;
};

} // namespace soundsource
