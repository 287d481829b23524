#pragma once

#include "baselib/vtthread.h"
#include "ffmpeg/recordingdelivery.h"
#include "image/framestamp.h"
#include "image/imagebridge.h"
#include "vtcv_export.h"

#include <opencv2/core.hpp>
#include <opencv2/videoio.hpp>
#include <QElapsedTimer>
#include <QImage>
#include <QList>
#include <QMutex>
#include <QSize>
#include <QStringList>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class FFMpegQueue;
class RecorderLink; // recording/recordingdeliveries_p.h
struct Recording; // recording/recording_p.h
class RecordingNotifier; // recording/recordingnotifier_p.h
struct RecordingResult;

/** The numbers of the first and of the last frame of a stretch of video, both included, counted from 0. */
typedef std::pair<unsigned int, unsigned int> VideoInterval;
Q_DECLARE_METATYPE(VideoInterval)

/**
 * Writes frames that arrive at any rate, on any thread, into a video of one fixed rate.
 *
 * The recorder samples, it does not queue: setFrame() fills a single slot, and the recorder's worker writes
 * the frame in the slot once per frame period. Surplus frames are lost, missing ones repeated. The file's
 * duration is its number of frames divided by the nominal rate.
 *
 *     VideoRecorder recorder(QStringLiteral("/videos/take1.mkv"), 25.0);
 *     recorder.setDelivery(RecordingDelivery::quality());
 *     connect(camera, &Camera::frameChanged, &recorder, qOverload<const cv::Mat &>(&VideoRecorder::setFrame),
 *         Qt::DirectConnection);
 *     connect(&recorder, &VideoRecorder::recordFinished, this, &Window::showVideo);
 *     recorder.startRecord();
 *
 * States: Idle, Armed (startRecord), Recording (first frame) or Paused, Finishing (stopRecord), Idle again. A
 * recorder that is stopped while Armed goes back to Idle without a signal. A recorder that is started again
 * before it has finished the former recording finishes that one first, with its own paths.
 *
 * Files: the recording grows in a temporary file of the destination's name in tempFolder(). The finish hands
 * it to ffmpeg, which makes the destination from it as setDelivery() says, or moves it. A ".wav" of the same
 * name beside the temporary file is joined into the result. A recording that cannot be delivered stays in the
 * temporary folder; a console line and lastResult() say where, and RecordingRecovery lists it. While
 * recording, ".avi" and ".mkv" files survive a crash of the program up to the last 256 KiB of video; ".mp4"
 * and ".mov" files do not. A destination with another suffix is recorded into an ".avi" file first.
 *
 * A temporary file is never shared: a name that another recorder (of this program or of another one) or a
 * waiting job still uses, or that is a symbolic link, is passed over for the next free numbered one, such as
 * "take1_2.avi". A video that a crashed program left behind is moved aside ("take1_aside1.avi"), together
 * with its log and its sound.
 *
 * The worker's period is cut to whole milliseconds: a nominal 15, 24, 30 or 60 Hz gives 15.15, 24.39, 30.30
 * or 62.5 passes a second, so the video is longer than the time that passed. The frame time log holds the
 * real times.
 *
 * Threads: slots may be called from any thread. Signals come from the worker; connect widgets queued. Connect
 * a camera directly, so that frames do not pile up in an event queue.
 */
class VTCV_EXPORT VideoRecorder : public VTThread
{
    Q_OBJECT

public:
    /** Statistics of the recording that runs, or of the last one. startRecord() sets all counts to 0. */
    struct Report
    {
        quint64 offered = 0; // frames with pixels given to setFrame()
        quint64 written = 0; // frames in the file, inserted and repeated ones included
        quint64 repeated = 0; // of them, how often a picture was written again because no newer one had come
        quint64 overwritten = 0; // frames that a newer one replaced before they were written, pauses left out
        quint64 refused = 0; // frames of another size than the recording
        double longestGapMs = 0.0; // longest time between two writing passes, pauses left out
        double measuredRateHz = 0.0; // writing passes a second, pauses left out; 0 before the second pass
        double wallClockSeconds = 0.0; // from the first writing pass to the last one, pauses left out
        quint64 inserted = 0; // of the frames written, those from insertFramesOverride()
        quint64 pacedRepeats = 0; // of the frames written, repetitions that setKeepPace() asked for
    };

    /** What the finish of a recording passes to the sound maker. */
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
     * Ends the worker, which first finishes recordings that were stopped. A recording that has not been
     * stopped is not finished: its video stays in the temporary folder, and a console line says where. A
     * worker that does not come back within 10 s is terminated. Jobs of the ffmpeg queue go on.
     *
     * Call finishAndWait() first, so that nothing is left over.
     */
    ~VideoRecorder() override;

    /** True at load: recordings are delivered through the ffmpeg queue. False: the recorded file itself is
     * moved to the destination, and sound plays no part. */
    static bool UseFFMPEGOptimization;

    /** The process-wide queue, made at load; its thread starts with the first job. */
    static FFMpegQueue *ffmpegQueue;

    /**
     * The folder of the temporary files, with a slash at the end: "Temp/" under the file system root, unless
     * set otherwise.
     *
     * Where that cannot be made or written, recordings go to a private folder under the user's data location,
     * and a console line says so. \thread Any.
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

    using SoundMaker = std::function<void(const SoundRequest &)>;

    /**
     * Calls \a maker in each finish, when the video is closed and cut and not yet delivered. The finish waits
     * for it. An empty \a maker takes the present one away; recordings under way keep theirs.
     *
     * \param closer is called in the destructor before it waits for the worker, on the destroying thread: it
     * closes what \a maker would otherwise wait for that thread to close.
     * \return false, with a console line, if another maker is in place: it stays.
     * \thread Any; \a maker is called on the worker, and may be under way when this returns. It must come
     * back within 10 s of the recorder's destruction.
     */
    bool setSoundMaker(SoundMaker maker, std::function<void()> closer = {});

    /** Sets how ffmpeg makes the destinations of recordings that are stopped from now on;
     * RecordingDelivery::AsFFMpegChooses at first. \thread Any. */
    void setDelivery(const RecordingDelivery &delivery);

    /**
     * With true, the last frame is written again where the encoder was late, so that ten seconds of real time
     * give ten seconds of video. False at first: the video is shorter then. \thread Any.
     *
     * Report::pacedRepeats counts these frames.
     */
    void setKeepPace(bool keeps);

    /**
     * How the last recording ended; a default one before the first end. In a slot that is connected directly
     * to recordFinished() it is the result of that recording. \thread Any.
     */
    RecordingResult lastResult() const;

    /**
     * Stops the recording that runs, and waits until the files of all recordings of this recorder lie where
     * they stay.
     *
     * \return false if \a limitMs have passed; the work goes on then.
     * \thread Any but the worker. On the GUI thread events are delivered meanwhile, except for the user's
     * input.
     */
    bool finishAndWait(int limitMs);

    /**
     * Waits until the stopped recordings of all recorders are finished and the ffmpeg queue has no job.
     * Recordings that run are not waited for.
     *
     * \return and \thread as for finishAndWait().
     */
    static bool waitForDeliveries(int limitMs);

    /** The number of stopped recordings of all recorders that are not finished. \thread Any. */
    static int pendingDeliveries();

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
    /** True from the moment when the worker opens a video until just before its recordFinished(). After
     * stopRecord(), false means that there is nothing to finish. */
    bool isFinishPending() const;
    QString getPath() const;
    /** Where the recording grows. Settled by startRecord(); place a ".wav" of this name to have it joined. */
    QString getTempFilePath() const;
    void setPath(QString path);
    void removeTempFile();

    /** \thread Any; a consistent snapshot. */
    Report getReport() const;

    /**
     * Puts a copy of \a frame into the slot like the slot of that name; \a stamp says when it was taken and
     * is written into the list of frames (useFrameList). \thread Any.
     */
    void setFrame(const cv::Mat &frame, const FrameStamp &stamp);

    /** For this library's companions: what happens to the recordings. Its class is not part of the interface.
     */
    RecordingNotifier *notifier() const;

    bool useFrameLog = false; // leaves a frame time log beside the video; set it before startRecord()
    bool useFrameList = false; // leaves a list of frames (take.frames.csv): real time, origin, capture stamp
    bool useResultFile = false; // leaves the RecordingResult beside the video (take.json)

public Q_SLOTS:
    /**
     * Arms the recorder; the first frame starts the recording. A file at the destination is removed here and
     * now.
     *
     * \param path destination; an empty one keeps the former. Shorter than 3 characters, or with a rate of 0
     * or less, the recorder stays Idle and writes a debug line. If another recording grows at \a path, that
     * file is left alone, and the new recording stays in the temporary folder at its end.
     */
    void startRecord(QString path = QString());

    /** Sets the nominal rate in Hz. The pace and the file's header follow at the next startRecord() only. */
    void setFramerate(double frameRate);

    /** Ends the recording; with \a remove it is thrown away. Returns at once, recordFinished() tells the end.
     */
    void stopRecord(bool remove = false);

    /**
     * Ends the recording and keeps only the frames of \a interval. The duration that recordFinished() tells
     * is 0 then. The frame time log, if there is one, keeps the numbers of the uncut video;
     * RecordingResult::logShift says by how many they differ.
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
     * \thread    Any. Holds the recorder's mutex for one frame copy; never waits for the encoder or a disk.
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
     * The recording has ended; emitted once for each finish, whether it succeeded or not: see lastResult().
     *
     * A recording that is delivered through the queue is announced when the queue has no job left, so batch
     * conversions of a host belong in an FFMpegQueue of their own. RecordingWatch tells of each recording as
     * soon as its own file is ready. \a durationMs is the nominal length.
     */
    void recordFinished(QString file, int durationMs);
    /** The writer was opened, or could not be: see getFrameCount(). */
    void recordStarted();
    /** At the end of each writing pass. */
    void frameCountChanged(qulonglong frames);

private:
    void process() override;
    bool copyFile(const std::shared_ptr<Recording> &recording);
    void reset();

    enum class Task
    {
        Idle,
        Wait,
        Open,
        Write,
        Finish
    };

    // What one pass has to do, taken in one go under the mutex.
    struct Pass
    {
        Task task = Task::Idle;
        int delayMs = 0; // of Idle and Wait
        std::shared_ptr<Recording> recording;
        QList<cv::Mat> inserted;
        cv::Size size;
        bool isFresh = false; // recording->sampled comes from the slot
        bool keepsPace = false;
        double rateHz = 0.0;
        qint64 elapsedNs = 0; // since the first pass, pauses left out
        quint64 repeated = 0; // what the pass has done
        quint64 pacedRepeats = 0;
    };

    Pass beginPass();
    void writePass(Pass &pass);
    void writeInsertedFrames(Pass &pass);
    void writeSampledFrame(Pass &pass);
    void keepPace(Pass &pass);
    void endPass(const Pass &pass);
    void openWriter(const std::shared_ptr<Recording> &recording);
    void openSidecars(Recording &recording);
    std::shared_ptr<Recording> leaveLatest();
    void finish(const std::shared_ptr<Recording> &recording);
    void closeFiles(Recording &recording);
    void askForSound(Recording &recording, bool isCut);
    bool finishFiles(const std::shared_ptr<Recording> &recording);
    void announceEnds();
    void tellResult(const RecordingResult &result, bool isFirst);
    void tellEnd(const RecordingResult &result, int durationMs);

    mutable QMutex mutex; // guards the slot, the recordings' shared part, the settings and what says so below
    cv::Mat frame; // the slot
    bool slotIsFresh = false; // guarded; the slot's frame has not been written yet
    FrameStamp slotStamp; // guarded
    cv::Size frameSize; // guarded
    std::atomic<bool> frameSizeCalculated{false};
    QList<cv::Mat> insertedFrames; // guarded
    QString path; // guarded; the destination of the next recording
    std::atomic<double> frameRate{24.0};
    std::atomic<int> frameInterval{10};
    std::atomic<bool> isPaused{false};
    std::atomic<bool> savingFile{false};
    std::shared_ptr<Recording> latest; // guarded; the newest recording, also after its end
    std::deque<std::shared_ptr<Recording>> superseded; // guarded; stopped ones behind which latest has begun
    RecordingDelivery delivery; // guarded
    bool keepsPace = false; // guarded
    SoundMaker soundMaker; // guarded
    std::function<void()> soundCloser; // guarded
    std::atomic<int> pendingFinishes{0}; // recordings that were opened and whose end is not announced
    std::atomic<int> pendingResults{0}; // and those whose result is not known
    std::atomic<bool> isClosing{false}; // the destructor waits
    QElapsedTimer passClock; // read by all; started by the constructor
    std::shared_ptr<RecorderLink> link;
    std::unique_ptr<RecordingNotifier> jobNotifier;
};
