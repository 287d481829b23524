#pragma once

#include "playback/frameinfo.h"
#include "vtcv_export.h"

#include <QList>
#include <QMap>
#include <QSharedPointer>
#include <QString>
#include <QStringList>

#include <functional>

class QIODevice;
class VideoAnnotations;

/**
 * \file
 * Carries the annotations of a video to other tools and back: COCO JSON, CVAT's video XML, MOTChallenge text,
 * YOLO labels and CSV.
 *
 *     AnnotationSet set;
 *     set.readVideo(QStringLiteral("take1.avi"));
 *     const AnnotationReport report = readMotAnnotations(QStringLiteral("gt.txt"), set);
 *     for (const AnnotationProblem &problem : report.problems)
 *         qWarning() << "line" << problem.place << problem.text;
 *     addAnnotations(annotations, set); // into a VideoAnnotations, with undo
 *     writeCocoAnnotations(set, QStringLiteral("take1.json"));
 *
 * Names. A rectangle's or a point list's name is the name of its object, and the object is the same one in
 * all frames. Its class is the name without a "#" and digits at its end: "car#2" is an object of the class
 * "car". Where a format knows classes only, several objects of one class in a frame are read as "car",
 * "car#2", "car#3". A value named like a rectangle with ".confidence" behind it is that rectangle's
 * confidence in the formats that know one.
 *
 * Rounding. Other tools place rectangles and points between pixels; here they stand on whole ones. Each
 * number is rounded to the nearest, halves upwards; a size above 0 does not become 0.
 *
 * Reading goes on behind what is wrong, and says for each such place what it was. What a file says costs
 * memory only by its length, never by the size of its numbers, and AnnotationExchangeOptions bounds both.
 * A file is written as a whole or not at all, an older one stays if that fails; only YOLO's labels, a file
 * for each frame, are written one after the other, and what a failed or cancelled export has written of them
 * stays.
 *
 * All functions are free of state and need no event loop; a long one belongs on a worker thread, with
 * nobody changing the set meanwhile.
 */

/** The annotations of one video as other tools see them, and what they want to know of the video. */
struct VTCV_EXPORT AnnotationSet
{
    QString fileName; // the video's; the names of pictures and label files are made of it
    int width = 0; // of a frame in px; 0: not known
    int height = 0;
    double frameRate = 0; // Hz; 0: not known
    int frameCount = 0; // 0: not known. Otherwise readers refuse frames that the video does not have

    /** The records by frame number. Copies of a set share them. */
    QMap<int, QSharedPointer<FrameInfo>> frames;

    /** The record of a frame, made if there is none. */
    FrameInfo &frame(int number);

    /** The number of entries in all records. */
    int entryCount() const;

    /**
     * Takes name, size, rate and number of frames from the video at \a path; false if it cannot be opened.
     *
     * A file of a killed recorder does not tell its number of frames, which then stays not known.
     */
    bool readVideo(const QString &path);

    /**
     * The name, without a suffix, that the picture of a frame has in COCO and YOLO: "take1_000012" is frame
     * 12 of "take1.avi". Name the pictures so when you store them for training.
     */
    QString pictureName(int frame) const;
};

/** Tells whether two sets hold equal entries in the same frames; what they say of the video does not count.
 */
VTCV_EXPORT bool sameAnnotations(const AnnotationSet &a, const AnnotationSet &b);

/** A copy of all that is annotated; only the records, see AnnotationSet::readVideo() for the rest. */
VTCV_EXPORT AnnotationSet annotationSetOf(const VideoAnnotations &annotations);

/**
 * Puts the entries of \a set into \a annotations as one step of undo, in the place of those of the same
 * names.
 *
 * \return how many were set; 0 while no file is open.
 */
VTCV_EXPORT int addAnnotations(VideoAnnotations &annotations, const AnnotationSet &set);

/** What can be wrong with a file, or with one place in it. */
enum class AnnotationError
{
    CannotOpen, // missing, unreadable, or no file of known length, such as a pipe
    CannotWrite, // no folder, no permission, a full disk; an older file is as it was
    TooLarge, // longer than AnnotationExchangeOptions::largestFile: nothing was read
    TooManyEntries, // more than AnnotationExchangeOptions::mostEntries: reading ended there
    WrongFormat, // not a file of this format at all: nothing was read
    LineTooLong, // above 1 MiB
    OpenQuote, // a quoted CSV field that does not end, or goes on behind its end
    MissingField,
    BadNumber, // no number, not a finite one, or not whole where only whole ones make sense
    OutOfRange, // a frame before the first or behind the last, coordinates beyond 32 bits
    BadValue, // a rectangle without an area, a truth value that is none, points that are none
    UnknownKind, // of a CSV row
    UnknownReference, // to an image or a category that the file does not have
    Duplicate, // the frame has this entry already; the first one stays
    NoPictureSize, // YOLO needs width and height: nothing was written
    StaleLabels, // label files of an earlier export lie in the folder, which this one has not replaced
    TooManyProblems, // a million of them: reading ended there
    Cancelled, // by AnnotationExchangeOptions::progress
};

/** One thing that is wrong. */
struct AnnotationProblem
{
    AnnotationError error;
    qint64 place; // line of the file, or in COCO place in the list that text names, from 1; 0: the whole file
    QString text; // for the user, translated
};

/**
 * The numbers that stand for names in formats that want numbers.
 *
 * Every report holds those that were used. Give them to the next export if numbers must stay what they were
 * while names come and go; names without a number get one behind those.
 */
struct AnnotationNumbers
{
    QStringList classes; // COCO's category ids count them from 1, YOLO's class numbers from 0
    QMap<int, QString> tracks; // object names by track number
};

/** How an exchange went. */
struct AnnotationReport
{
    bool done = false; // the file was written, or read to its end
    int entries = 0; // written, or taken into the set
    int leftOut = 0; // entries that the format cannot hold, or things in the file that a set cannot hold
    int altered =
        0; // entries that came through changed: rounded, clipped to the picture, freed of characters
    int problemCount = 0;
    QList<AnnotationProblem> problems; // the first thousand of them, and one that ended the reading
    AnnotationNumbers numbers;
};

/** What a host may want otherwise. */
struct AnnotationExchangeOptions
{
    /** What lists of points are in COCO and CVAT. */
    enum class Points
    {
        Keypoints, // points on their own, any number of them
        Outline, // the corners of an area, three at least
    };

    Points points = Points::Keypoints;
    AnnotationNumbers numbers;
    qint64 largestFile = 128 << 20; // bytes; COCO costs up to 16 times as much memory while it is read
    int mostEntries = 2'000'000;

    /** Called on the calling thread with what is done, at most once per percent; false cancels. */
    std::function<bool(int percent)> progress;
};

/**
 * Writes rectangles, points and confidences as COCO JSON.
 *
 * Each frame is an image, named by AnnotationSet::pictureName() + ".png", with its number from 0 as
 * "frame_id". A rectangle and a point list of one name in a frame are one annotation. An object's full name
 * is kept in "attributes", where other readers pass over it.
 */
VTCV_EXPORT AnnotationReport writeCocoAnnotations(
    const AnnotationSet &set, const QString &path, const AnnotationExchangeOptions &options = {});

/**
 * Writes rectangles and points as tracks of CVAT's video format, version 1.1.
 *
 * Every entry is a keyframe, and where an object is gone its track says so: nothing appears by interpolation.
 */
VTCV_EXPORT AnnotationReport writeCvatAnnotations(
    const AnnotationSet &set, const QString &path, const AnnotationExchangeOptions &options = {});

/**
 * Writes rectangles and confidences as MOTChallenge text: frame from 1, track, left, top, width, height,
 * confidence, -1, -1, -1. A rectangle without a confidence gets 1.
 *
 * The names go into a file beside it, "take1.names.csv" for "take1.txt". A name that is a number is its own
 * track number. Without options.numbers.tracks, the numbers in a names file that is there already stay.
 */
VTCV_EXPORT AnnotationReport writeMotAnnotations(
    const AnnotationSet &set, const QString &path, const AnnotationExchangeOptions &options = {});

/**
 * Writes the rectangles as YOLO labels into \a folder, which is made if need be: "classes.txt", and a file of
 * AnnotationSet::pictureName() + ".txt" for each frame that has a rectangle.
 *
 * Rectangles are clipped to the picture, whose size must be known. Labels that an earlier export has left in
 * the folder are not removed, but told of where their frame has none now. Several videos may share a folder:
 * without options.numbers.classes, the classes in a "classes.txt" that is there already keep their numbers.
 */
VTCV_EXPORT AnnotationReport writeYoloAnnotations(
    const AnnotationSet &set, const QString &folder, const AnnotationExchangeOptions &options = {});

/**
 * Writes all entries as CSV, one a row: frame (from 0), kind, name, value, x, y, width, height.
 *
 * Only values that are no finite numbers are left out. Points are "x,y;x,y" in the column value.
 */
VTCV_EXPORT AnnotationReport writeCsvAnnotations(
    const AnnotationSet &set, const QString &path, const AnnotationExchangeOptions &options = {});

/**
 * Reads COCO JSON; see writeCocoAnnotations().
 *
 * set.frames is replaced. What the file says of its video goes into \a set, where the set does not know it
 * yet. A frame's number is the image's "frame_id" or "frame_index", otherwise the last number in its file
 * name. Of several videos only the first one's annotations are read; the others' are counted as left out, and
 * so are masks and outlines of several pieces. Keypoints that are not labelled count as (0, 0), and at the
 * end of their list as not there.
 *
 * The JSON text is parsed as a whole, which cannot be cancelled.
 */
VTCV_EXPORT AnnotationReport readCocoAnnotations(
    const QString &path, AnnotationSet &set, const AnnotationExchangeOptions &options = {});

/**
 * Reads MOTChallenge text of 6 to 10 fields; see writeMotAnnotations().
 *
 * set.frames is replaced. Names come from options.numbers.tracks, otherwise from the names file beside; a
 * track without a name is named by its number. Detections of no track (-1) become "object#1", "object#2" and
 * so on in each frame. A confidence other than 1 and -1 is kept as a value. The last three fields are passed
 * over.
 */
VTCV_EXPORT AnnotationReport readMotAnnotations(
    const QString &path, AnnotationSet &set, const AnnotationExchangeOptions &options = {});

/**
 * Reads CSV; see writeCsvAnnotations().
 *
 * set.frames is replaced. The first row names the columns: frame, kind and name must be there, in any order,
 * and columns of other names are passed over.
 */
VTCV_EXPORT AnnotationReport readCsvAnnotations(
    const QString &path, AnnotationSet &set, const AnnotationExchangeOptions &options = {});

/**
 * The same to a device that is open for writing, or from one of known length. For MOT, the names are left to
 * the host: they are in the report, and wanted in options.numbers.tracks.
 *
 * \ownership The caller keeps \a device, and flushes it.
 */
VTCV_EXPORT AnnotationReport writeCocoAnnotations(
    const AnnotationSet &set, QIODevice *device, const AnnotationExchangeOptions &options = {});
VTCV_EXPORT AnnotationReport writeCvatAnnotations(
    const AnnotationSet &set, QIODevice *device, const AnnotationExchangeOptions &options = {});
VTCV_EXPORT AnnotationReport writeMotAnnotations(
    const AnnotationSet &set, QIODevice *device, const AnnotationExchangeOptions &options = {});
VTCV_EXPORT AnnotationReport writeCsvAnnotations(
    const AnnotationSet &set, QIODevice *device, const AnnotationExchangeOptions &options = {});
VTCV_EXPORT AnnotationReport readCocoAnnotations(
    QIODevice *device, AnnotationSet &set, const AnnotationExchangeOptions &options = {});
VTCV_EXPORT AnnotationReport readMotAnnotations(
    QIODevice *device, AnnotationSet &set, const AnnotationExchangeOptions &options = {});
VTCV_EXPORT AnnotationReport readCsvAnnotations(
    QIODevice *device, AnnotationSet &set, const AnnotationExchangeOptions &options = {});
