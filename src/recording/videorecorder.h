#pragma once

#include "baselib/vtthread.h"
#include "image/imagebridge.h"
#include "vtcv_export.h"

#include <opencv2/core.hpp>
#include <opencv2/videoio.hpp>
#include <QDateTime>
#include <QElapsedTimer>
#include <QImage>
#include <QList>
#include <QMutex>
#include <QPointer>
#include <QSize>
#include <QStringList>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class FFMpegQueue;
class FrameTimeLog; // recording/frametimelog_p.h
class RecordingTempFile; // recording/recordingtempfile_p.h

/** The numbers of the first and of the last frame of a stretch of video, both included, counted from 0. */
typedef std::pair<unsigned int, unsigned int> VideoInterval;
Q_DECLARE_METATYPE(VideoInterval)

/**
 * Writes frames that arrive at any rate, on any thread, into a video of one fixed rate.
 *
 * The recorder samples, it does not queue: setFrame() fills a single slot, and the recorder's worker writes
 * whatever lies there once per frame period. Surplus frames are lost, missing ones repeated. The file's
 * duration is its number of frames divided by the nominal rate.
 *
 *     VideoRecorder recorder(QStringLiteral("/videos/take1.avi"), 25.0);
 *     connect(camera, &Camera::frameChanged, &recorder, qOverload<const cv::Mat &>(&VideoRecorder::setFrame),
 *         Qt::DirectConnection);
 *     connect(&recorder, &VideoRecorder::recordFinished, this, &Window::showVideo);
 *     recorder.startRecord();
 *
 * States: Idle, Armed (startRecord), Recording (first frame) or Paused, Finishing (stopRecord), Idle again. A
 * recorder that is stopped while Armed goes back to Idle without a signal. A recorder that is started again
 * before the finish of the former recording has begun finishes that recording first, with its own paths.
 *
 * Files: the recording grows in a temporary file of the destination's name in tempFolder(). The finish hands
 * it to ffmpeg, which makes the destination from it, or copies it. A ".wav" of the same name beside the
 * temporary file is joined into the result. What could not be delivered stays in the temporary folder, and a
 * console line says where. While recording, ".avi" and ".mkv" files survive a crash of the program up to the
 * last 256 KiB of video; ".mp4" and ".mov" files do not. A destination with another suffix is recorded into
 * an ".avi" file first.
 *
 * A temporary file is never shared: a name that another recorder (of this program or of another one) or a
 * waiting job still uses, or that is a symbolic link, is passed over for the next free numbered one, such as
 * "take1_2.avi". A video that a crashed program left behind is moved aside ("take1_aside1.avi"), together
 * with its log and its sound.
 *
 * Threads: slots may be called from any thread. Signals come from the worker; connect widgets queued. Connect
 * a camera directly, so that frames do not pile up in an event queue.
 */
class VTCV_EXPORT VideoRecorder : public VTThread
{
    Q_OBJECT

public:
    /** What a recording was like so far, or the last one where none runs. Counts start anew with
     * startRecord(). */
    struct Report
    {
        quint64 offered = 0; // frames with pixels given to setFrame()
        quint64 written = 0; // frames in the file, inserted ones included
        quint64 repeated = 0; // of them, how often a picture was written again because no newer one had come
        quint64 overwritten = 0; // frames that a newer one replaced before they were written, pauses left out
        quint64 refused = 0; // frames of another size than the recording
        double longestGapMs = 0.0; // longest time between two writing passes, pauses left out
        double measuredRateHz = 0.0; // writing passes a second, pauses left out; 0 before the second pass
        double wallClockSeconds = 0.0; // from the first writing pass to the last one, pauses left out
    };

    /** What a finish tells of a recording when it asks for its sound. */
    struct SoundRequest
    {
        QString audioPath; // a WAV file that stands here afterwards is joined, unless isRemoved or isCopied
        QString destination; // of the video
        bool isRemoved = false; // the recording is thrown away
        bool isCopied = false; // the video is delivered without ffmpeg
        std::optional<VideoInterval> cut; // the frames that are left, if not all
    };

    /** The object has no Qt parent, whatever \a parent is, and starts no thread. */
    explicit VideoRecorder(QString path = QString(), double frameRate = 24.0, QObject *parent = nullptr);

    /**
     * Ends the worker. A recording that has not been stopped is not finished: its video stays in the
     * temporary folder, and a console line says where. A worker that does not come back within 10 s is
     * terminated.
     */
    ~VideoRecorder() override;

    /** True at load: recordings are delivered through the ffmpeg queue. False: by plain copy, and sound plays
     * no part. */
    static bool UseFFMPEGOptimization;

    /** The process-wide queue, made at load; its thread starts with the first job. */
    static FFMpegQueue *ffmpegQueue;

    /**
     * The folder of the temporary files, with a slash at the end: "Temp/" under the file system root, unless
     * set otherwise.
     *
     * Where that cannot be made or written, recordings go to a folder of their own under the system's
     * temporary location, readable by its owner alone, and a console line says so. \thread Any.
     */
    static QString tempFolder();

    /** Chooses the folder for recordings that start from now on; an empty text goes back to the default.
     * \thread Any. */
    static void setTempFolder(const QString &folder);

    /** Opens a Motion-JPEG writer; ask isOpened(). \a size in pixels, \a frameRate in Hz. */
    static cv::VideoWriter createWriter(std::string path, double frameRate, cv::Size size);
    static cv::VideoWriter createWriter(const QString &path, double frameRate, QSize size);

    /**
     * Brings \a frame into the form that the writer needs, in place: three channels, scaled to \a size (the
     * aspect ratio is not kept).
     *
     * \param frame CV_8UC1 or CV_8UC4 are converted, alpha is dropped; any other type keeps its channels.
     * \return false for a frame without pixels or a \a size below 1x1.
     */
    static bool prepareFrame(cv::Mat &frame, cv::Size size);

    /**
     * Makes a video of \a frames; blocks until it is written. The caller's frames stay as they were.
     *
     * \param size a width or height of 0 takes the first frame's size.
     * \return false for a rate of 0 or less, an empty list or a first frame without pixels. True does not say
     * that the file could be written: test it where that matters.
     */
    static bool createVideoFromImages(
        const QString &path, QList<cv::Mat> &frames, double frameRate, QSize size);

    /** The same from image files; unreadable ones are skipped. Any size below 1 takes the first readable
     * image's. */
    static bool createVideoFromImages(const QString &path, QStringList files, double frameRate, QSize size);

    /**
     * Writes the given stretches of \a input to \a output, in the order given; blocks until that is done.
     *
     * \return how many stretches counted; one that runs backwards or reaches beyond the end does not. 0 also
     * if a file could not be opened.
     */
    static size_t cutVideo(
        const QString &input, const QString &output, const std::vector<VideoInterval> &intervals);

    /** Writes \a first and then \a second to \a output; false unless both have the same size and rate.
     * Blocks. */
    static bool joinVideo(const QString &first, const QString &second, const QString &output);

    /**
     * Writes \a frames ahead of the next sampled one, scaled to the recording's size; a batch that still
     * waits is replaced.
     *
     * \thread Any. \ownership Deep copies are taken.
     */
    void insertFramesOverride(QList<cv::Mat> frames);

    /**
     * Has \a maker called in each finish, with the video closed and cut and not yet delivered; an empty one
     * ends that. The finish waits for it.
     *
     * \thread Any; \a maker is called on the worker, and may be under way when this returns. It must come
     * back within 10 s of the recorder's destruction.
     */
    void setSoundMaker(std::function<void(const SoundRequest &)> maker);

    /** Frames divided by the nominal rate, not the time that passed. */
    double getDurationSeconds() const;
    /** The low 32 bits of the number of frames. */
    int getFrameCount() const;
    double getFrameRate() const;
    cv::Size getFrameSize() const;
    /** False from startRecord() until the first accepted frame. */
    bool getFrameSizeCalculated() const;
    bool getIsPaused() const;
    bool getIsRecording() const;
    /** True while the finish closes, cuts and copies files. The job in the ffmpeg queue comes after that. */
    bool isSavingFile() const;
    /** True while a recordFinished() is still to come: from the moment in which the worker opens the video
     * until just before that signal. After stopRecord(), false says that there was nothing to finish. */
    bool isFinishPending() const;
    QString getPath() const;
    /** Where the recording grows. Settled by startRecord(); place a ".wav" of this name to have it joined. */
    QString getTempFilePath() const;
    void setPath(QString path);
    void removeTempFile();

    /** \thread Any; a consistent snapshot. */
    Report getReport() const;

    bool useFrameLog = false; // leaves a frame time log beside the video; set it before startRecord()

public Q_SLOTS:
    /**
     * Arms the recorder; the first frame starts the recording. A file at the destination is removed here and
     * now.
     *
     * \param path destination; an empty one keeps the former. Shorter than 3 characters, or with a rate of 0
     * or less, the recorder stays Idle and writes a debug line.
     */
    void startRecord(QString path = QString());

    /** Sets the nominal rate in Hz. The pace and the file's header follow at the next startRecord() only. */
    void setFramerate(double frameRate);

    /** Ends the recording; with \a remove it is thrown away. Returns at once, recordFinished() tells the end.
     */
    void stopRecord(bool remove = false);

    /**
     * Ends the recording and keeps only the frames of \a interval. The duration that recordFinished() tells
     * is 0 then. The frame time log, if there is one, keeps the numbers of the uncut video.
     */
    void stopAndCut(VideoInterval interval);

    /**
     * Puts a deep copy of \a frame into the slot, in place of the frame that waits there.
     *
     * \param frame CV_8UC1, CV_8UC3 (blue, green, red) or CV_8UC4 (with alpha); rows x columns, any row step.
     *
     * The first frame after startRecord() locks getFrameSize(). A frame without pixels, or of another size
     * than the locked one, is ignored without a message.
     *
     * \thread    Any. Holds the recorder's mutex for one frame copy; never waits for the encoder.
     * \ownership The caller keeps \a frame and may reuse its buffer on return.
     */
    void setFrame(const cv::Mat &frame);
    /** The same for an image in one of the formats of QImageToCvMat(). */
    void setFrame(QImage img);

    void pauseRecord();
    void resumeRecord();

    /** Stores \a timestamp, in ms, as the time of the next frame in the frame time log, in place of the
     * clock's. */
    void sync(int timestamp);

Q_SIGNALS:
    /** The finish begins. */
    void recordPrepareToFinish();
    /**
     * The recording is at its end, and comes once for each finish: the queue has nothing more to do, or the
     * file is copied, or nothing could be delivered. \a durationMs is the nominal length.
     */
    void recordFinished(QString file, int durationMs);
    /** The writer was opened, or could not be: see getFrameCount(). */
    void recordStarted();
    /** At the end of each writing pass. */
    void frameCountChanged(qulonglong frames);

private:
    void process() override;
    void copyFile();
    void reset();

    // What a finish works on; taken when it begins, so that the next recording can be prepared meanwhile.
    struct Delivery
    {
        QString path;
        QString tempFilePath;
        QString logPath;
        QString tempLogPath;
        std::shared_ptr<RecordingTempFile> tempFile;
        bool remove = false;
        bool cut = false;
        VideoInterval cutInterval{0, 0};
        quint64 frames = 0;
        quint64 ticket = 0; // of the job in the queue; 0 if there is none
    };

    Delivery currentDelivery() const;
    void openWriter();
    bool passIsDue();
    void writeInsertedFrames();
    void writeSampledFrame();
    bool writeFrame(cv::Mat &frame, bool prepared);
    void countFrame(qint64 logValue);
    void notePass();
    void pace();
    void finish();
    void discard(const Delivery &delivery);
    bool cutTempFile(Delivery &delivery);
    void askForSound(const Delivery &delivery, bool isCut);
    void deliver(Delivery &delivery);
    void deliverLog(const Delivery &delivery);
    void checkTempFile(const Delivery &delivery);
    void tellEnd(const QString &file, int durationMs);
    void announceEnd(const Delivery &delivery, int durationMs);

    mutable QMutex
        mutex; // guards the slot, the paths, the log, insertedFrames, report and what else says so below
    std::unique_ptr<FrameTimeLog> frameLog;
    cv::VideoWriter writer; // the worker's
    cv::Size frameSize; // guarded
    cv::Mat frame; // the slot
    std::atomic<double> frameRate{24.0};
    std::atomic<quint64> frameCount{0};
    QDateTime writerStart; // the worker's
    VideoInterval cutInterval{0, 0}; // guarded
    QList<cv::Mat> insertedFrames; // guarded
    std::atomic<bool> cutOnStop{false};
    std::atomic<bool> isRecording{false};
    std::atomic<bool> isPaused{false};
    std::atomic<bool> frameSizeCalculated{false};
    std::atomic<bool> writerOpened{false};
    std::atomic<int> frameInterval{10};
    QString path;
    QString logPath;
    QString tempFilePath;
    QString tempLogPath;
    std::atomic<bool> removeOnStop{false};
    std::atomic<bool> savingFile{false};
    QElapsedTimer frameTimer; // guarded; paces the worker

    std::shared_ptr<RecordingTempFile> tempFile; // guarded; our claim on tempFilePath
    std::atomic<int> pendingFinishes{
        0}; // recordings that were opened and whose end is not announced; grows guarded
    std::optional<Delivery> abandoned; // guarded; a recording that startRecord() found still open
    quint64 resets = 0; // guarded; tells the worker that its frame belongs to the former count
    bool slotIsFresh = false; // guarded; the slot's frame has not been written yet
    Report report; // guarded
    std::function<void(const SoundRequest &)> soundMaker; // guarded
    std::optional<qint64> lastPassNs; // guarded; on passClock, none before the first pass and after a pause
    quint64 timedPasses = 0; // guarded; passes that wallClockSeconds covers

    // The worker's own.
    cv::Mat sampled; // the frame written last, ready for the writer
    bool sampledIsUsable = false; // and whether the writer takes it
    bool waitsForDue = false; // the last pass asked for a wait
    qint64 lateNs = 0; // how much later than asked for that wait ended
    quint64 passResets = 0; // the value of resets that this pass began with
    QElapsedTimer passClock;
    std::vector<QPointer<QObject>> endWatchers; // contexts of recordings whose jobs are under way
};
