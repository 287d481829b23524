#pragma once

#include "vtcv_export.h"

#include <QString>

#include <opencv2/videoio.hpp>

#include <atomic>

/**
 * Knows at which frame a capture of a file stands, and moves it to any other one.
 *
 *     FrameSeeker seeker;
 *     seeker.attach(&capture, path);
 *     if (seeker.goTo(40) && seeker.retrieve(frame)) ...
 *
 * Frame n is the one that comes n-th when the file is read from its start, for files of a constant rate.
 * A few frames ahead are reached by reading on, which is the faster way; for the rest the back end seeks. In
 * a file that does not know its length the back end cannot seek: there a move backwards opens the file anew
 * and reads on from its start.
 *
 * Nobody else moves the capture meanwhile.
 */
class VTCV_TEST_EXPORT FrameSeeker
{
public:
    /** Takes up \a capture, just opened from \a source: before its first frame. Null takes none. */
    void attach(cv::VideoCapture *capture, const QString &source);

    /** Gives up a move that reads on, once \a flag is false. */
    void setGoOn(const std::atomic<bool> *flag);

    /** Whether the back end can seek in the file; without that a move backwards takes its time. */
    bool isSeekable() const;

    /** The frame that retrieve() gives; -1 if there is none. */
    int current() const;

    /** Goes to the frame of number \a index; false if it cannot be reached. The next move finds its way. */
    bool goTo(int index);

    /** Goes to the frame behind the current one. */
    bool next();

    /** Writes the current frame into \a frame; false if there is none or it cannot be decoded. */
    bool retrieve(cv::Mat &frame);

private:
    bool jumpTo(int index);
    bool grab();

    cv::VideoCapture *m_capture = nullptr;
    QString m_source;
    const std::atomic<bool> *m_goOn = nullptr;
    bool m_seekable = false;
    int m_farAhead = 0; // from this distance on a seek is the faster way
    int m_next = -1; // of the frame that a grab gives; -1 if nobody knows
    int m_current = -1;
    int m_end = 0; // no frame from here on can be read
};
