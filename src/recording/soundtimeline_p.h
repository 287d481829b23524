#pragma once

#include "vtcv_export.h"

#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <optional>
#include <utility>
#include <vector>

/**
 * Knows when each frame of a recording was written, and which part of a sound belongs under it.
 *
 * Video time (frames times the nominal period) and wall-clock time run apart: a pause leaves no trace in the
 * video, inserted frames take no wall-clock time, a period cut to whole milliseconds makes the video longer,
 * a slow encoder makes it shorter. The recording is therefore kept as pieces in which both run evenly. A new
 * piece begins where they part by more than jumpS from one pass to the next; otherwise a piece grows as long
 * as one straight line stays within the tolerance of all its passes. Memory grows with the pieces, not with
 * the frames.
 *
 * \thread One at a time.
 */
class VTCV_TEST_EXPORT SoundTimeline
{
public:
    /** A stretch of the video and the wall-clock time at its ends, all in s. */
    struct Piece
    {
        double videoBegin;
        double videoEnd;
        double wallBegin;
        double wallEnd;
    };

    /** How the time in a sound file follows from wall-clock time. */
    struct SoundClock
    {
        double startS = 0.0; // wall-clock time of the first sample
        double speed = 1.0; // seconds of sound in a second of wall-clock time
        double lengthS = 0.0; // of the sound
    };

    /** What `ffmpeg` is asked to do. */
    struct Conversion
    {
        std::vector<double> inputs; // where to begin reading the file, in s, for each time that it is opened
        QString filters; // from those inputs to "[out]"

        /** The options that open \a file as those inputs. */
        QStringList inputArguments(const QString &file) const;
    };

    /**
     * Finds the clock of a sound file.
     *
     * \param begins when the file seemed to begin, from its length at moments of the recording, in order.
     * Each is too late by the time that sound takes through the encoder, and a little more. \param stopS when
     * the recording was stopped, if it was not by an error. \param lengthS the length that the file has then,
     * which tells how much too late. A sound card whose clock runs differently, or lost samples, count where
     * they add up to something.
     */
    static SoundClock clockOf(const std::vector<double> &begins, std::optional<double> stopS, double lengthS);

    explicit SoundTimeline(double frameRateHz = 0.0);

    /** A pass has written a frame at \a wallS, the last one of \a frames so far. */
    void addPass(quint64 frames, double wallS);

    /** When the first frame was written; none before that. */
    std::optional<double> firstFrameS() const;

    /** The pieces so far, in order; those of the frames \a first to \a last of the video, from 0 on, where
     * they are given. */
    std::vector<Piece> pieces(std::optional<std::pair<double, double>> frames = {}) const;

    /**
     * How `ffmpeg` makes the sound of \a pieces from a file. Where the file has no sound there is silence.
     *
     * Each filter sees all that its input gives, so a file is opened anew for some pieces at a time: a
     * recording in a thousand pieces takes no longer than one in a few.
     */
    static Conversion conversion(const std::vector<Piece> &pieces, const SoundClock &clock);

private:
    struct Pass
    {
        double video;
        double wall;
    };

    double tolerance() const;
    void begin(Pass pass);
    void close(std::vector<Piece> &to) const;

    double period; // of a frame, s
    std::vector<Piece> done;
    std::optional<Pass> first; // of all
    Pass start{}; // of the piece that grows
    Pass last{};
    double lowest = 0.0; // slopes, wall-clock time by video time, of the lines that are still possible
    double highest = 0.0;
};
