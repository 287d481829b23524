#pragma once

#include "vtcv_export.h"

#include <QAudioFormat>
#include <QByteArray>
#include <QIODevice>
#include <QMutex>
#include <QString>
#include <QTimer>

#include <memory>
#include <vector>

class QAudioInput;

/**
 * Measures the level of raw sound that is written to it: peak and RMS of each channel.
 *
 *     AudioInfo meter;
 *     connect(&meter, &AudioInfo::update, this, [&] { show(meter.peak(0), meter.rms(0)); });
 *     meter.listen(microphones->getDevice()); // an AudioRecorderWidget
 *
 * listen() opens a microphone; a host that has samples already sets their format and writes them. Sound is
 * measured in windows that follow each other without a gap, and update() comes at the end of each one.
 *
 * A sample s of n bits becomes x = s / 2^(n-1), an unsigned one x = (s - 2^(n-1)) / 2^(n-1); floats are taken
 * as they are, and what is no number is silence. Over the N samples of a channel in a window:
 *
 *     peak = max |x|             the peak value of IEC 60050-103
 *     rms  = sqrt(sum(x^2) / N)  the root-mean-square value of IEC 60050-103
 *
 * Both are bounded by 1, full scale. toDecibels() gives 20 lg(value), in dB below full scale, so a sine of
 * full scale has an RMS of -3.01 dB. (AES17 calls that 0 dBFS and adds the difference.)
 *
 * \thread Samples may be written on any thread, one at a time; levels may be read on any. update() comes on
 * the writing one. listen() and what goes with it: the object's own thread.
 */
class VTCV_EXPORT AudioInfo : public QIODevice
{
    Q_OBJECT

public:
    /** No sound has a level below this one, in dB. */
    static constexpr double silenceDb = -144.0;

    explicit AudioInfo(QObject *parent = nullptr);
    ~AudioInfo() override;

    /** 20 lg(\a value), silenceDb at least. */
    static double toDecibels(double value);

    QAudioFormat format() const;

    /**
     * Settles what is written from now on, opens the device and sets the levels to 0.
     *
     * \param format 8, 16, 24 (packed in 3 bytes) or 32 bit integers, signed or not, or 32 bit floats, in
     * either byte order, with any number of interleaved channels.
     * \return false for any other one; what is written then is not measured.
     */
    bool setFormat(const QAudioFormat &format);

    /** Length of a window in ms, 50 at first; 1 at least. A new length counts from the next setFormat() or
     * listen(). */
    int windowMs() const;
    void setWindowMs(int ms);

    /** 0 without a format. */
    int channelCount() const;

    /** From 0 to 1, over the last whole window; 0 for a channel that does not exist. */
    double peak(int channel) const;
    double rms(int channel) const;

    /**
     * Measures the microphone of that name (see AudioRecorder::getMicrophones()), or the default one if it is
     * empty, until stopListening(). Recording from it at the same time works where the system shares it.
     *
     * If the microphone stops, or gives nothing for half a second (0.75 s at most), the levels become 0 with
     * an update(), and lastError() tells. If it only paused, the levels follow it again as soon as it gives
     * sound; one that stopped takes another listen().
     *
     * \return false where there is none, or where it cannot be opened.
     */
    bool listen(const QString &device = QString());
    void stopListening();

    /** True while a microphone is heard: after listen(), unless lastError() says why not. */
    bool isListening() const;

    /** Why the microphone of listen() is not heard, as a text for users; empty if it is, or if none is
     * wanted. \thread Any. */
    QString lastError() const;

    bool isSequential() const override;

Q_SIGNALS:
    /** The levels of another window are there. */
    void update();

protected:
    /** There is nothing to read. */
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 size) override;

private:
    struct Level
    {
        double peak = 0.0;
        double sumOfSquares = 0.0;
    };
    struct Shown
    {
        double peak = 0.0;
        double rms = 0.0;
    };
    using Decoder = double (*)(const uchar *);

    static Decoder decoderFor(const QAudioFormat &format);
    void addFrame(const uchar *frame);
    bool endWindow();
    void lookForSound();
    void fallSilent(const QString &reason);

    mutable QMutex mutex; // guards all below but the last two
    QAudioFormat current;
    Decoder decode = nullptr;
    int sampleBytes = 0;
    int window = 50; // ms
    qint64 windowFrames = 0;
    qint64 framesInWindow = 0;
    std::vector<Level> levels; // of the window that is under way
    std::vector<Shown> shown; // of the last whole one
    QByteArray begun; // the bytes of a frame that has not come whole
    QString error;
    int looksWithoutSound = 0;
    std::unique_ptr<QAudioInput> microphone;
    QTimer look{this}; // runs while the microphone is open
};
