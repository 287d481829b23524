#include "audio/audiorecorder.h"

#include "audio/audioinfo.h"
#include "audio/soundsource_p.h"
#include "common/console_p.h"

#include <QAudioDeviceInfo>
#include <QAudioProbe>
#include <QAudioRecorder>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDebug>
#include <QEventLoop>
#include <QFileInfo>
#include <QThread>
#include <QUrl>

namespace {

constexpr int closingPassMs = 10;

} // namespace

AudioRecorder::AudioRecorder(QObject *parent)
    : QObject(parent), recorder(new QAudioRecorder), probe(new QAudioProbe(this)), level(new AudioInfo(this))
{
    connect(probe, &QAudioProbe::audioBufferProbed, this, [this](const QAudioBuffer &sound) {
        if (!isRecording())
            return;
        if (level->format() != sound.format())
            level->setFormat(sound.format());
        level->write(sound.constData<char>(), sound.byteCount());
    });
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

AudioInfo *AudioRecorder::meter() const
{
    return isMetered ? level : nullptr;
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
    // First of all slots, so that those of others are called with the emission noted.
    connect(recorder, &QMediaRecorder::statusChanged, this, &AudioRecorder::noteSignal);
    connect(recorder, &QMediaRecorder::durationChanged, this, &AudioRecorder::noteSignal);
    connect(recorder, qOverload<QMediaRecorder::Error>(&QMediaRecorder::error), this, [this] {
        noteSignal();
        report(recorder->errorString());
    });
    connect(recorder, &QMediaRecorder::stateChanged, this, [this](QMediaRecorder::State state) {
        noteSignal();
        if (state != QMediaRecorder::StoppedState || level->channelCount() == 0)
            return;
        level->setFormat(level->format()); // levels of 0
        Q_EMIT level->update();
    });
    isMetered = probe->setSource(recorder);
}

// A deferred deletion waits for the event loop that this signal came from, also if a slot runs another one.
void AudioRecorder::noteSignal()
{
    if (emission)
        return;
    emission = new QObject(this);
    emission->deleteLater();
}

// After an error the back end keeps the pipeline that failed, its file and its device included, and starts it
// again.
void AudioRecorder::renewRecorder()
{
    recorder->disconnect(this);
    if (emission) {
        // Its own signal may have led here. Until it goes, what it writes is kept out of the next file.
        recorder->setParent(this);
        recorder->deleteLater();
        const QFileInfo file(outputLocation);
        if (file.isFile() && !file.isSymLink())
            QFile::remove(outputLocation);
    } else {
        delete recorder;
    }
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
