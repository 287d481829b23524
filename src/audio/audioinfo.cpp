#include "audio/audioinfo.h"

#include <QAudioDeviceInfo>
#include <QAudioInput>
#include <QtEndian>

#include <algorithm>
#include <cmath>

namespace {

constexpr int lookMs = 250;
constexpr int silentLooks = 3; // so many without sound are half a second of silence at least

// The bytes of one integer sample, shifted up to the high end of 32 bits.
template <int bytes, bool isLittle> quint32 bits(const uchar *sample)
{
    quint32 value = 0;
    for (int i = 0; i < bytes; ++i)
        value |= quint32(sample[isLittle ? bytes - 1 - i : i]) << (24 - 8 * i);
    return value;
}

template <int bytes, bool isLittle, bool isSigned> double integer(const uchar *sample)
{
    // An unsigned sample differs in its highest bit alone.
    const quint32 value = bits<bytes, isLittle>(sample) ^ (isSigned ? 0U : 0x80000000U);
    return double(qint32(value)) / 2147483648.0;
}

template <bool isLittle> double real(const uchar *sample)
{
    const float value = isLittle ? qFromLittleEndian<float>(sample) : qFromBigEndian<float>(sample);
    return std::isnan(value) ? 0.0 : double(value);
}

using Decoder = double (*)(const uchar *);

template <int bytes> Decoder integerDecoder(bool isLittle, bool isSigned)
{
    if (isLittle)
        return isSigned ? integer<bytes, true, true> : integer<bytes, true, false>;
    return isSigned ? integer<bytes, false, true> : integer<bytes, false, false>;
}

QAudioDeviceInfo deviceOf(const QString &name)
{
    if (name.isEmpty())
        return QAudioDeviceInfo::defaultInputDevice();
    for (const QAudioDeviceInfo &info : QAudioDeviceInfo::availableDevices(QAudio::AudioInput)) {
        if (info.deviceName() == name)
            return info;
    }
    return {};
}

} // namespace

AudioInfo::AudioInfo(QObject *parent) : QIODevice(parent)
{
    look.setInterval(lookMs);
    connect(&look, &QTimer::timeout, this, &AudioInfo::lookForSound);
}

AudioInfo::~AudioInfo()
{
    stopListening();
}

double AudioInfo::toDecibels(double value)
{
    return value > 0.0 ? std::max(silenceDb, 20.0 * std::log10(value)) : silenceDb;
}

QAudioFormat AudioInfo::format() const
{
    const QMutexLocker locker(&mutex);
    return current;
}

AudioInfo::Decoder AudioInfo::decoderFor(const QAudioFormat &format)
{
    const bool isLittle = format.byteOrder() == QAudioFormat::LittleEndian;
    if (format.channelCount() < 1 || format.sampleRate() < 1)
        return nullptr;
    if (format.sampleType() == QAudioFormat::Float) {
        if (format.sampleSize() != 32)
            return nullptr;
        return isLittle ? real<true> : real<false>;
    }
    if (format.sampleType() == QAudioFormat::Unknown)
        return nullptr;
    const bool isSigned = format.sampleType() == QAudioFormat::SignedInt;
    switch (format.sampleSize()) {
    case 8:
        return integerDecoder<1>(isLittle, isSigned);
    case 16:
        return integerDecoder<2>(isLittle, isSigned);
    case 24:
        return integerDecoder<3>(isLittle, isSigned);
    case 32:
        return integerDecoder<4>(isLittle, isSigned);
    default:
        return nullptr;
    }
}

bool AudioInfo::setFormat(const QAudioFormat &format)
{
    {
        const QMutexLocker locker(&mutex);
        current = format;
        decode = decoderFor(format);
        const auto channels = size_t(decode ? format.channelCount() : 0);
        sampleBytes = format.sampleSize() / 8;
        windowFrames = std::max<qint64>(1, qint64(format.sampleRate()) * window / 1000);
        framesInWindow = 0;
        levels.assign(channels, {});
        shown.assign(channels, {});
        begun.clear();
        if (!decode)
            return false;
    }
    if (!isOpen())
        open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    return true;
}

int AudioInfo::windowMs() const
{
    const QMutexLocker locker(&mutex);
    return window;
}

void AudioInfo::setWindowMs(int ms)
{
    const QMutexLocker locker(&mutex);
    window = std::max(1, ms);
}

int AudioInfo::channelCount() const
{
    const QMutexLocker locker(&mutex);
    return int(shown.size());
}

double AudioInfo::peak(int channel) const
{
    const QMutexLocker locker(&mutex);
    return channel >= 0 && channel < int(shown.size()) ? shown[size_t(channel)].peak : 0.0;
}

double AudioInfo::rms(int channel) const
{
    const QMutexLocker locker(&mutex);
    return channel >= 0 && channel < int(shown.size()) ? shown[size_t(channel)].rms : 0.0;
}

bool AudioInfo::listen(const QString &device)
{
    stopListening();
    const auto refuse = [this] {
        stopListening();
        fallSilent(tr("The microphone cannot be opened"));
        return false;
    };
    const QAudioDeviceInfo info = deviceOf(device);
    if (info.isNull())
        return refuse();
    QAudioFormat wanted = info.preferredFormat();
    if (!setFormat(wanted)) {
        wanted.setSampleSize(16);
        wanted.setSampleType(QAudioFormat::SignedInt);
        wanted = info.nearestFormat(wanted);
        if (!setFormat(wanted))
            return refuse();
    }
    microphone = std::make_unique<QAudioInput>(info, wanted);
    microphone->start(this);
    if (microphone->error() != QAudio::NoError)
        return refuse();
    connect(microphone.get(), &QAudioInput::stateChanged, this, [this](QAudio::State state) {
        if (state != QAudio::StoppedState)
            return;
        look.stop();
        fallSilent(tr("The microphone has stopped"));
    });
    look.start();
    return true;
}

void AudioInfo::stopListening()
{
    look.stop();
    {
        const QMutexLocker locker(&mutex);
        error.clear();
        looksWithoutSound = 0;
    }
    if (!microphone)
        return;
    microphone->disconnect(this);
    microphone->stop();
    microphone.reset();
    setFormat(format()); // nothing is heard any more
    Q_EMIT update();
}

bool AudioInfo::isListening() const
{
    return microphone && lastError().isEmpty();
}

QString AudioInfo::lastError() const
{
    const QMutexLocker locker(&mutex);
    return error;
}

// Looks are counted, not time: a thread that stood still finds one look and all the sound that came
// meanwhile.
void AudioInfo::lookForSound()
{
    {
        const QMutexLocker locker(&mutex);
        if (++looksWithoutSound != silentLooks)
            return;
    }
    fallSilent(tr("The microphone gives no sound"));
}

void AudioInfo::fallSilent(const QString &reason)
{
    {
        const QMutexLocker locker(&mutex);
        error = reason;
        levels.assign(levels.size(), {});
        shown.assign(shown.size(), {});
        framesInWindow = 0;
    }
    Q_EMIT update();
}

bool AudioInfo::isSequential() const
{
    return true;
}

qint64 AudioInfo::readData(char *, qint64)
{
    return 0;
}

qint64 AudioInfo::writeData(const char *data, qint64 size)
{
    const auto *next = reinterpret_cast<const uchar *>(data);
    const uchar *const end = next + size;
    while (next < end) {
        bool isWhole = false;
        {
            const QMutexLocker locker(&mutex);
            const qint64 frameBytes = sampleBytes * qint64(levels.size());
            if (!decode)
                return size;
            looksWithoutSound = 0;
            error.clear();
            while (next < end && !isWhole) {
                if (begun.isEmpty() && end - next >= frameBytes) {
                    addFrame(next);
                    next += frameBytes;
                } else {
                    begun.append(char(*next++));
                    if (begun.size() < frameBytes)
                        continue;
                    addFrame(reinterpret_cast<const uchar *>(begun.constData()));
                    begun.clear();
                }
                isWhole = endWindow();
            }
        }
        if (isWhole)
            Q_EMIT update();
    }
    return size;
}

// Called with the mutex held.
void AudioInfo::addFrame(const uchar *frame)
{
    for (Level &level : levels) {
        const double x = std::min(1.0, std::abs(decode(frame)));
        level.peak = std::max(level.peak, x);
        level.sumOfSquares += x * x;
        frame += sampleBytes;
    }
    ++framesInWindow;
}

// Called with the mutex held.
bool AudioInfo::endWindow()
{
    if (framesInWindow < windowFrames)
        return false;
    for (size_t i = 0; i < levels.size(); ++i)
        shown[i] = {levels[i].peak, std::sqrt(levels[i].sumOfSquares / double(framesInWindow))};
    levels.assign(levels.size(), {});
    framesInWindow = 0;
    return true;
}
