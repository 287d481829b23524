#pragma once

#include "vtcv_export.h"

#include <QAudioEncoderSettings>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

class AudioInfo;
class QAudioProbe;
class QAudioRecorder;

/**
 * Records sound from a microphone into a file, through Qt Multimedia's QAudioRecorder.
 *
 *     AudioRecorder recorder;
 *     recorder.setOutputLocation(QStringLiteral("/sounds/take1.wav"));
 *     recorder.setDevice(microphones->getDevice()); // an AudioRecorderWidget
 *     recorder.setCodec(microphones->getCodec());
 *     recorder.setSampleRate(microphones->getSampleRate());
 *     recorder.startRecord();
 *
 * The names of devices and codecs are those of AudioRecorderWidget and getMicrophones(). Qt Multimedia's
 * recorder knows most of them under other names, or not at all, and then records from the default device
 * without a word. startRecord() therefore looks up what the recorder calls the picked one:
 *
 * - A device by its name, by its name under a scheme such as "alsa:", or by its description. A source of
 *   PulseAudio (or PipeWire) is chosen through the variable PULSE_SOURCE of the environment, which is set for
 *   the length of that one call and then put back. Qt Multimedia leaves no other way: its recorder offers the
 *   sound server as the one input "pulseaudio:", sets no device on GStreamer's source, and does not hand that
 *   source out; the server's default source is the setting of every program of the user. A device that cannot
 *   be found gives a console line, and the default device is recorded.
 * - "audio/pcm" and "audio/x-raw" become a WAV file, whatever the suffix of the path. A codec that the
 *   recorder does not know gives a console line, and the recorder's own one is used. With no codec set, codec
 *   and container are the recorder's choice too: MP3 in a QuickTime file with GStreamer.
 *
 * Neither signal says that something worked. Errors go to the console, each text once a recording, and to
 * lastError().
 *
 * \thread The one that created the object, which must deliver events; getMicrophones(): any.
 */
class VTCV_EXPORT AudioRecorder : public QObject
{
    Q_OBJECT

public:
    explicit AudioRecorder(QObject *parent = nullptr);

    /** Stops a recording that is under way and waits until its file is closed, 5 s at most; no signal comes.
     */
    ~AudioRecorder() override;

    /** The names of all input devices; a name comes twice if two devices have it. Takes up to a second. */
    static QStringList getMicrophones();

    QString getOutputLocation() const;

    /** Sets the file to write, an absolute path. An existing one is overwritten. */
    void setOutputLocation(QString path);

    /** Sets the codec, by a name of the widget's or of the recorder's own. Acts on the next recording. */
    void setCodec(QString codec);

    /** Sets the sample rate in Hz. Acts on the next recording. */
    void setSampleRate(int rate);

    /** Sets the device, by a name of getMicrophones(); an empty one is the default. Acts on the next
     * recording. */
    void setDevice(QString device);

    /**
     * What went wrong in the last recording, as a text for users; empty if nothing has so far.
     *
     * Of several errors it is the first, since the others follow from it.
     */
    QString lastError() const;

    /** True while sound is recorded: from startRecord(), unless that fails, to stopRecord() or an error. */
    bool isRecording() const;

    /**
     * True if no file is open. Back ends that encode on threads of their own write the end of a file after
     * stopRecord(), while events are delivered; the file can be read once this is true.
     */
    bool isClosed() const;

    /** Delivers events, but for the user's input, until isClosed(), and returns that. */
    bool waitForClosed(int timeoutMs = 5000);

    /**
     * The recorder behind this one, for its signals (statusChanged() and durationChanged() above all).
     *
     * After an error, or a stop before sound came, the next startRecord() makes another one, so ask again at
     * each recordStarted(). startRecord() may be called in a slot that is connected to it. \ownership This
     * object's.
     */
    const QAudioRecorder *backEnd() const;

    /**
     * Measures what is being recorded, without a second stream, for an AudioLevelBar say; its levels are 0
     * while nothing is. Null where the back end of Qt Multimedia cannot tell (GStreamer's can).
     * \ownership This object's.
     */
    AudioInfo *meter() const;

Q_SIGNALS:
    /** startRecord() was called; see isRecording(). */
    void recordStarted();
    /** stopRecord() was called; \a outputLocation is what was last set. See isClosed(). */
    void recordFinished(QString outputLocation);

public Q_SLOTS:
    /** Starts a recording; a file that is still being closed is waited for. */
    void startRecord();
    void stopRecord();

private:
    void watchRecorder();
    void noteSignal();
    void renewRecorder();
    void report(const QString &text);

    QAudioRecorder *recorder; // ours; freed in the destructor
    QString outputLocation;
    QString container; // always empty: the recorder's choice, except where the codec settles it
    QAudioEncoderSettings encoderSettings;
    QString device; // as last given
    bool isSpent = false; // the next recording needs another recorder
    QPointer<QObject> emission; // lives while a signal of the recorder may be on its way
    QAudioProbe *probe; // a child
    AudioInfo *level; // a child
    bool isMetered = false;
    QStringList errors; // of the last recording, each text once
};
