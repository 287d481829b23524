#pragma once

#include "ffmpeg/recordingdelivery.h"
#include "vtcv_export.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>

class FFMpegChild; // ffmpeg/ffmpegchild_p.h

/** What FFMpegProcessor::getVideoInfo() tells of a video file; all zeros and empty where `isValid` is false.
 */
struct VideoInfo
{
    bool isValid = false; // the file exists and could be opened for reading
    int frameCount = 0; // as the container tells it; 0 where it does not know
    double frameRate = 0.0; // Hz
    QString suffix; // of the path, without the dot
    qint64 fileSize = 0; // bytes
    int width = 0; // px
    int height = 0; // px
};

/**
 * Runs one `ffmpeg` child process at a time without blocking, and cleans up after it.
 *
 *     FFMpegProcessor processor;
 *     connect(&processor, &FFMpegProcessor::progress, this, &Window::showProgress);
 *     connect(&processor, &FFMpegProcessor::finished, this, &Window::showResult);
 *     processor.convert(QStringLiteral("/videos/raw.avi"), QStringLiteral("/videos/take1.mp4"));
 *
 * `ffmpeg` is looked up on the search path and is given the names of its files alone: container and codecs
 * follow from the suffix of the output. Paths name files, whatever they look like: relative ones are passed
 * as absolute ones.
 *
 * **A job that succeeds consumes its input.** convert() and joinVideoAndAudio() then remove the input video
 * (and the audio), and a file that was rewritten in place is replaced by its new version. After any other
 * end, a crash included, no file is touched: the input stays, and what `ffmpeg` has written stays as well.
 *
 * **Exit code 0 alone is no success**, since `ffmpeg` may end with it on a full disk. Besides, it must not
 * have reported a failed write, and the output must exist, not be empty and, if it can be read as a video,
 * hold as many frames as `ffmpeg` has counted. Otherwise the job fails with one console line, and exitCode()
 * is 1.
 *
 * Input and output are the same file where their paths are equal without regard to case, or where they lead
 * to one and the same existing file. `ffmpeg` then writes a side file with "_temp" in its name, which takes
 * the place of the input at the end. In the name of the side file every occurrence of the suffix is replaced,
 * in the names of folders too.
 *
 * `ffmpeg` gets no answer on its input: where it would ask a question, it fails. A join never overwrites its
 * output (nor an old side file); a convert does.
 *
 * cancel() asks the child to end and kills it where it has not ended within 2 s (on Windows nothing else ends
 * it). The job then ends as one that failed, whatever the child's exit code is, so that the input is kept;
 * what the child has written is removed.
 *
 * Where `ffmpeg` cannot be started, a job ends as one that failed: one console line, and finished() as soon
 * as events are delivered.
 *
 * \thread The one that created the object, which must deliver events; getVideoInfo(): any.
 */
class VTCV_EXPORT FFMpegProcessor : public QObject
{
    Q_OBJECT

public:
    explicit FFMpegProcessor(QObject *parent = nullptr);

    /** Ends a child that still runs, by force after two seconds. Its input is kept. */
    ~FFMpegProcessor() override;

    /** Opens the video at \a path to see what it is; decodes no frame. \thread Any. */
    static VideoInfo getVideoInfo(const QString &path);

    /** True while a job is under way, until just before finished(). No job may be started meanwhile. */
    bool isRunning() const;

    /** The exit code of the last job that has ended, the number of the signal after a crash, -1 where
     * `ffmpeg` could not be started. 0 only after success: a run that `ffmpeg` ended with 0 has 255 after
     * cancel(), and 1 if its output is not whole. */
    int exitCode() const;

    /** True where the child of the last job did not end by itself (killed, crashed). */
    bool hasCrashed() const;

    /** True where the job under way, or the last one, was ended by cancel(). */
    bool wasCancelled() const;

    /** The last 20 lines that `ffmpeg` has written to its error channel in the last job: the reason of a
     * failure. A line on an output that is not whole follows them. */
    QString lastText() const;

    /**
     * Makes \a output from \a input, which is removed after success. An existing \a output is overwritten.
     *
     * \return true if \a input is a video and `ffmpeg` was started; false, without any signal, otherwise.
     */
    bool convert(const QString &input, const QString &output);

    /**
     * Does the same in the way of \a delivery.
     *
     * If the arguments of RecordingDelivery::Custom fail, one console line says so, and the job goes on with
     * RecordingDelivery::Quality.
     */
    bool convert(const QString &input, const QString &output, const RecordingDelivery &delivery);

    /** Rewrites \a file in place; the same as convert(file, file). */
    bool optimize(const QString &file);

    /**
     * Makes \a output from \a video with \a audio as its sound; both are removed after success.
     *
     * \return true if \a video is a video. Where \a audio does not exist, nothing is started and no signal
     * comes, but the result tells of the video only: look at isRunning().
     */
    bool joinVideoAndAudio(const QString &video, const QString &audio, const QString &output);

    /** Does the same in the way of \a delivery, as the second convert() does. */
    bool joinVideoAndAudio(
        const QString &video, const QString &audio, const QString &output, const RecordingDelivery &delivery);

    /** Ends the job under way; finished() tells when that is done. Returns at once, and does nothing where no
     * job is under way. A file that lay at the output and that the child has not touched stays. */
    void cancel();

Q_SIGNALS:
    /** \a frame of \a frameCount frames of the input are done. Not emitted where the input's number of frames
     * is unknown. From 100 000 frames on, \a frame lacks its last digit. */
    void progress(int frame, int frameCount);

    /** The child process runs. */
    void started();

    /** The job has ended, with success or not; a new one may be started from the connected slot. */
    void finished();

protected Q_SLOTS:
    /** Cleans up after the child. */
    void ffmpegFinished(int exitCode);

private:
    void resetJob();
    void setFiles(const QString &input, const QString &output);
    void setVideo(const VideoInfo &info);
    void startChild(const RecordingDelivery &delivery);
    void showProgress(const QByteArray &chunk);
    void childFinished();
    void replaceInput();

    std::unique_ptr<FFMpegChild> child; // one for all jobs
    int frameCount = 0; // of the input; what progress is measured by
    QString inputFile;
    QString audioFile; // of a join, empty otherwise
    QString outputFile; // what ffmpeg writes
    QString finalFile; // not empty exactly where the output is a side file that replaces the input
    bool sizeIsEven = true; // of the input's frames, in both directions
    bool fallsBack = false; // the child runs with arguments of the host; if they fail, others are tried
    bool running = false;
    int lastExitCode = 0;
    bool lastCrashed = false;
    bool lastCancelled = false;
    QString text; // of the error channel in the last job
};
