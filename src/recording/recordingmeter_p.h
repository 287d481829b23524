#pragma once

#include "recording/recordingwatch.h"

#include <QVector>

#include <array>
#include <deque>

/**
 * Judges one recording by what is seen of it from time to time. It has no clock and touches no disk.
 *
 * \thread One object on one thread at a time.
 */
class VTCV_TEST_EXPORT RecordingMeter
{
public:
    /** What is seen at one moment. Sizes are -1 where they are unknown. */
    struct Sample
    {
        qint64 nowMs = 0; // on any clock that only goes forward
        bool isPaused = false;
        quint64 written = 0; // frames in the file
        quint64 passes = 0; // of them, those that the encoder was in time for
        qint64 fileBytes = -1; // of the temporary file
        qint64 freeTempBytes = -1;
        qint64 freeDestinationBytes = -1; // -1 as well where it is the temporary file's disk
        qint64 neededAtDestination = 0;
    };

    using Limit = RecordingWatch::Limit;

    /** A recording of \a rateHz begins. */
    void begin(double rateHz);

    /** Takes the next look at the recording. */
    const RecordingHealth &add(const Sample &sample);

    /** The recording ends; \a atLimit tells that it was ended because the stop limit is reached. */
    const RecordingHealth &end(bool atLimit);

    const RecordingHealth &health() const { return state; }

    /** The warnings that the last call has raised: each once, and again only after it was over. */
    const QVector<RecordingWatch::Warning> &raised() const { return newWarnings; }

    /** True if the disk has so little left that the recording is to be ended. */
    bool isAtStopLimit() const;

    /** The sentence for a warning, in the user's language or as it stands in the source. */
    QString text(RecordingWatch::Warning warning, bool isTranslated) const;

    Limit warningLimit{qint64(64) << 20, 60.0};
    Limit stopLimit; // none

private:
    static constexpr int warningCount = RecordingWatch::EndedAtLimit + 1;

    void measureGrowth(const Sample &sample);
    void measureRate(const Sample &sample);
    bool isWriterFailing(const Sample &sample);
    void judge(RecordingWatch::Warning warning, bool isTrue, qint64 nowMs);
    qint64 reserve() const;
    void listWarnings();

    RecordingHealth state;
    QVector<RecordingWatch::Warning> newWarnings;
    double rateHz = 0.0;
    std::deque<Sample> window; // without a pause in it
    quint64 written = 0;
    qint64 largestFile = 0;
    quint64 framesAtGrowth = 0; // written when the file grew last
    qint64 emptySinceMs = -1; // unpaused, and still no frame is written
    std::array<bool, warningCount> active{};
    std::array<qint64, warningCount> seenMs{}; // when each was true last
};
