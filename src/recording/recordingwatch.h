#pragma once

#include "recording/recordingresult.h"
#include "vtcv_export.h"

#include <QMetaType>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTimer>

#include <memory>

class RecordingDisks; // recording/recordingdisks_p.h
class RecordingMeter; // recording/recordingmeter_p.h

/** How a recording is doing at present; see RecordingWatch. A value: copy it as you like. */
struct VTCV_EXPORT RecordingHealth
{
    bool isRecording = false;
    qint64 freeTempBytes = -1; // on the disk of the temporary file; -1 if unknown
    qint64 freeDestinationBytes = -1; // on the destination's disk if it is another one; -1 if not, or unknown
    qint64 fileBytes = -1; // size of the temporary file, which grows by 256 KiB at once; -1 if unknown
    double bytesPerSecond = 0.0; // growth of the temporary file; 0 until it has grown
    double secondsLeft = -1.0; // until the disk of the temporary file is full; -1 if unknown
    double measuredRateHz = -1.0; // frames a second that the encoder has managed of late; -1 if unknown

    bool isWriterFailing = false;
    bool isTempDiskNearlyFull = false;
    bool isDestinationNearlyFull = false;
    bool isBehind = false; // the encoder does not keep up with the nominal rate
    bool isEndedAtLimit = false; // the watch has ended the recording; until the next one begins

    QStringList warnings; // a text for users for each of these flags that is set, the most serious first
};
Q_DECLARE_METATYPE(RecordingHealth)

/**
 * Watches a VideoRecorder: tells how each of its recordings ended, and warns while it can still be saved.
 *
 *     auto *const watch = new RecordingWatch(recorder, this);
 *     watch->setStopLimit(0, 5.0);
 *     connect(watch, &RecordingWatch::delivered, this, &Window::showResult);
 *     strip->setWatch(watch); // shows the warnings
 *
 * While a recording runs, the watch looks at it twice a second, and ten times a second when the disk is
 * nearly full. It warns before the disk is full, when the file does not grow although frames are counted, and
 * when the encoder has fallen behind the nominal rate for 2 s. Each warning is given once, with one console
 * line, and again only after it was over for 3 s.
 *
 * The disks are asked on a thread of their own, so a network disk that does not answer blocks nothing; no
 * warning about that disk comes then.
 *
 * \thread The thread on which it is made, which needs an event loop and must be the one that deletes the
 * recorder. Signals come there.
 */
class VTCV_EXPORT RecordingWatch : public QObject
{
    Q_OBJECT

public:
    /** What can be wrong, the most serious first. */
    enum Warning
    {
        WriterFails, // the disk is full or gone, or the file could not be opened: frames are being lost
        TempDiskNearlyFull,
        DestinationNearlyFull,
        EncoderIsBehind, // the video plays faster than life
        EndedAtLimit // stopRecord() was called, see setStopLimit()
    };
    Q_ENUM(Warning)

    /** A limit on the disk of the temporary file; the first of the two that is reached counts. 0 is none. */
    struct Limit
    {
        qint64 freeBytes = 0;
        double secondsLeft = 0.0; // predicted by the growth of the file
    };

    /** \ownership The caller keeps \a recorder and may delete it at any time. */
    explicit RecordingWatch(VideoRecorder *recorder, QObject *parent = nullptr);
    ~RecordingWatch() override;

    /** When the watch warns that a disk is nearly full: with 64 MiB or 60 s left, unless set otherwise. The
     * bytes are those of either disk. */
    void setWarningLimit(qint64 freeBytes, double secondsLeft);

    /**
     * When the watch ends the recording by VideoRecorder::stopRecord(), so that the file is closed while
     * there is room for its end; never, unless set. With a limit set, the recording is also ended where the
     * room that closing the file takes is reached.
     */
    void setStopLimit(qint64 freeBytes, double secondsLeft);

    Limit warningLimit() const;
    Limit stopLimit() const;

    /** What the last look at the recording has shown. */
    RecordingHealth health() const;

Q_SIGNALS:
    /**
     * A recording has ended, and its own file is ready, or nothing more can be done for it. Comes as soon as
     * that is so, also while the queue still works for other recordings, and again when a job that was held
     * has been released.
     */
    void delivered(RecordingResult result);

    /**
     * \a done of \a all recordings that were stopped since the last quiet moment are finished; of all
     * recorders of the program. Equal numbers end the round.
     */
    void finishing(int done, int all);

    /** After each look at the recording, and when it ends. */
    void healthChanged(RecordingHealth health);

    /** Something has begun to be wrong; \a text is a sentence for users. */
    void warned(RecordingWatch::Warning warning, QString text);

private:
    void begin();
    void end(bool atLimit);
    void look();
    void judge();
    void tell();

    QPointer<VideoRecorder> recorder; // not owned
    std::unique_ptr<RecordingMeter> meter;
    std::unique_ptr<RecordingDisks> disks;
    QTimer timer; // runs while a recording is watched
};
