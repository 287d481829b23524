#include "audio/audiorecorder.h"

#include "audio/soundsource_p.h"
#include "baselib/console_p.h"

#include <QAudioDeviceInfo>
#include <QAudioRecorder>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDebug>
#include <QEventLoop>
#include <QThread>
#include <QUrl>

namespace {

constexpr int closingPassMs = 10;

} // namespace

AudioRecorder::AudioRecorder(QObject *parent) : QObject(parent), recorder(new QAudioRecorder)
{
    watchRecorder();
}

AudioRecorder::~AudioRecorder()
{
    if (recorder->state() != QMediaRecorder::StoppedState)
        recorder->stop();
    if (!waitForClosed())
        writeConsole(QStringLiteral("The sound file %1 is not closed in time, its end may be missing")
                         .arg(outputLocation));
    delete recorder;
}

QStringList AudioRecorder::getMicrophones()
{
    QStringList names;
    for (const QAudioDeviceInfo &info : QAudioDeviceInfo::availableDevices(QAudio::AudioInput))
        names << info.deviceName();
    return names;
}

QString AudioRecorder::getOutputLocation() const
{
    return outputLocation;
}

void AudioRecorder::setOutputLocation(QString path)
{
    qDebug() << "boop" << path;
    outputLocation = path;
    recorder->setOutputLocation(QUrl::fromLocalFile(path));
}

void AudioRecorder::setCodec(QString codec)
{
    encoderSettings.setCodec(codec);
}

void AudioRecorder::setSampleRate(int rate)
{
    encoderSettings.setSampleRate(rate);
}

void AudioRecorder::setDevice(QString newDevice)
{
    device = newDevice;
    recorder->setAudioInput(newDevice);
}

QString AudioRecorder::lastError() const
{
    return errors.value(0);
}

bool AudioRecorder::isRecording() const
{
    return recorder->state() != QMediaRecorder::StoppedState;
}

bool AudioRecorder::isClosed() const
{
    return !isRecording() && recorder->status() != QMediaRecorder::FinalizingStatus;
}

bool AudioRecorder::waitForClosed(int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!isClosed() && !deadline.hasExpired() && QCoreApplication::instance()) {
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
        if (!isClosed())
            QThread::msleep(closingPassMs);
    }
    return isClosed();
}

const QAudioRecorder *AudioRecorder::backEnd() const
{
    return recorder;
}

void AudioRecorder::startRecord()
{
    // What is asked for while a recording runs is for the next one.
    if (isRecording()) {
        Q_EMIT recordStarted();
        return;
    }
    waitForClosed();
    if (!errors.isEmpty() || isSpent)
        renewRecorder();
    errors.clear();

    soundsource::Input input;
    if (!device.isEmpty()) {
        input = soundsource::inputFor(*recorder, device);
        if (input.name.isEmpty()) {
            input.name = recorder->defaultAudioInput();
            writeConsole(
                QStringLiteral("The microphone %1 cannot be found, the default one is recorded").arg(device));
        }
    }
    const soundsource::Encoding encoding = soundsource::encodingFor(
        recorder->supportedAudioCodecs(), recorder->supportedContainers(), encoderSettings.codec());
    if (!encoding.isKnown) {
        writeConsole(QStringLiteral("The codec %1 cannot be used for a sound file, the default one is used")
                         .arg(encoderSettings.codec()));
    }
    QAudioEncoderSettings settings = encoderSettings;
    settings.setCodec(encoding.codec);
    if (settings.sampleRate() <= 0)
        settings.setSampleRate(-1); // what a row without a picked rate gives: the recorder's choice

    if (!input.name.isEmpty())
        recorder->setAudioInput(input.name);
    recorder->setEncodingSettings(
        settings, QVideoEncoderSettings(), encoding.container.isEmpty() ? container : encoding.container);
    {
        const soundsource::PulseSource chosen(input.pulseSource);
        recorder->record();
    }
    if (!isRecording() && errors.isEmpty())
        report(tr("Sound cannot be recorded on this system"));
    Q_EMIT recordStarted();
}

void AudioRecorder::stopRecord()
{
    // A recording that is stopped before sound comes leaves the back end so that the next one gets no sound,
    // without a word.
    if (isRecording() && recorder->status() != QMediaRecorder::RecordingStatus)
        isSpent = true;
    recorder->stop();
    Q_EMIT recordFinished(outputLocation);
}

void AudioRecorder::watchRecorder()
{
    connect(recorder, qOverload<QMediaRecorder::Error>(&QMediaRecorder::error), this,
        [this] { report(recorder->errorString()); });
}

// After an error the back end keeps the pipeline that failed, its file included, and starts it again.
void AudioRecorder::renewRecorder()
{
    delete recorder;
    recorder = new QAudioRecorder;
    isSpent = false;
    watchRecorder();
    recorder->setOutputLocation(QUrl::fromLocalFile(outputLocation));
}

void AudioRecorder::report(const QString &text)
{
    if (errors.contains(text))
        return;
    errors << text;
    writeConsole(QStringLiteral("Sound recording: ") + text);
}
