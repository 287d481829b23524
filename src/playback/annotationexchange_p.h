#pragma once

#include "playback/annotationexchange.h"

#include <QCoreApplication>
#include <QIODevice>
#include <QSaveFile>

/** What the formats of annotationexchange.h share. */
namespace AnnotationExchange {

struct Text
{
    Q_DECLARE_TR_FUNCTIONS(AnnotationExchange)
};

constexpr qint64 longestLine = 1 << 20; // bytes; for CSV, of a whole row

void addProblem(AnnotationReport &report, AnnotationError error, qint64 place, const QString &text);

/** The width and the height, which QRect itself computes in an int that can overflow. */
qint64 widthOf(const QRect &rect);
qint64 heightOf(const QRect &rect);

/** A rectangle that formats other than CSV can hold. */
bool hasArea(const QRect &rect);

/** The class of an object: "car" for "car#2". */
QString className(const QString &objectName);

/** The name of an object's confidence among the values. */
QString confidenceName(const QString &objectName);

/** \a text without the control characters that no XML and no line of a list can hold. */
QString withoutControls(const QString &text);

/** The shortest text that reads back as exactly \a number. */
QByteArray numberText(double number);

/** Gives a number to each of \a names that has none in \a tracks. */
void numberTracks(QMap<int, QString> &tracks, const QStringList &names);

/** Puts those of \a names that are not in \a classes behind them. */
void addClasses(QStringList &classes, const QStringList &names);

/** Names of all entries of the given kinds, in ascending order. */
QStringList namesOf(const AnnotationSet &set, const QList<FrameInfo::InfoDataType> &kinds);

bool openForWriting(QSaveFile &file, AnnotationReport &report);
bool openForReading(QIODevice &file, AnnotationReport &report, const AnnotationExchangeOptions &options);
bool commit(QSaveFile &file, AnnotationReport &report);

/** Writes to a device and remembers whether all of it went there. */
class Output
{
public:
    Output(QIODevice &device, AnnotationReport &report);

    void write(const QByteArray &bytes);

    /** False, which the report then tells, if something was not written. */
    bool isWhole() const;

private:
    QIODevice &device;
    AnnotationReport &report;
    bool whole = true;
};

/** Lets \a write fill a file, which comes into its place if that went well. */
AnnotationReport writeFile(
    const QString &path, const std::function<AnnotationReport(QIODevice *device)> &write);

/** The track names in the file beside \a path. */
QString namesPath(const QString &path);
QMap<int, QString> readNames(
    const QString &path, AnnotationReport &report, const AnnotationExchangeOptions &options);
void writeNames(const QMap<int, QString> &tracks, Output &output);

/** Tells the host how far an exchange is. */
class Progress
{
public:
    Progress(const AnnotationExchangeOptions &options, AnnotationReport &report);

    /** False once the host has cancelled, which the report then says. */
    bool reaches(qint64 done, qint64 total);

private:
    const AnnotationExchangeOptions &options;
    AnnotationReport &report;
    int lastPercent = -1;
    bool cancelled = false;
};

/** Calls visit(frame, record) for each frame in order; false once the host has cancelled. */
template <typename Visit> bool eachFrame(const AnnotationSet &set, Progress &progress, Visit visit)
{
    qint64 visited = 0;
    for (auto it = set.frames.cbegin(); it != set.frames.cend(); ++it) {
        if (it.value()) // QMap's [] makes null ones
            visit(it.key(), *it.value());
        if (!progress.reaches(++visited, set.frames.size()))
            return false;
    }
    return true;
}

/** Lines of a text file, none of them longer in memory than longestLine. */
class LineReader
{
public:
    explicit LineReader(QIODevice &device);

    /** The next line without its end, false behind the last one. A line that is too long is empty. */
    bool next();

    QByteArray line;
    qint64 number = 0;
    bool tooLong = false;

    /** A place to go back to. */
    struct Mark
    {
        qint64 position;
        qint64 number;
    };
    Mark mark() const;
    void goTo(const Mark &mark);

private:
    QIODevice &device;
};

/** Rows of a CSV file; a quoted field may go over several lines. */
class CsvReader
{
public:
    explicit CsvReader(QIODevice &device);

    /** The next row that is not blank, false behind the last one. A broken row has an error and no fields. */
    bool next();

    QStringList fields;
    qint64 number = 0; // of the row's first line
    enum class Fault
    {
        None,
        LineTooLong,
        OpenQuote,
    };
    Fault fault = Fault::None;

private:
    bool split(const QByteArray &row);

    LineReader lines;
};

void addFault(AnnotationReport &report, const CsvReader &reader);
QByteArray csvField(const QString &text);

/** Takes what a file holds into a set, and notes what is wrong with it. */
class Intake
{
public:
    Intake(AnnotationSet &set, AnnotationReport &report, const AnnotationExchangeOptions &options);

    /** Begins with the next line, or element of a JSON list, which problems are told of. */
    void start(qint64 place, const QString &list = QString());

    /** False, so that a reader can return it. */
    bool problem(AnnotationError error, const QString &text);

    // These are false after they have noted what is wrong. Those that give whole numbers round.
    bool number(const QByteArray &text, double *value);
    bool whole(double value, int *result);
    bool frame(double value, qint64 firstFrame, int *result);
    bool rect(double x, double y, double width, double height, QRect *result);
    bool rectOfAnySize(double x, double y, double width, double height, QRect *result);
    bool point(double x, double y, QPoint *result);

    /** Stores what was read since the last add() or start(); false if the frame has it, or the set is full.
     */
    bool add(int frame, FrameInfo::InfoDataType kind, const QString &name, const QVariant &value);

    /** True where reading must end; asked behind each line or element. */
    bool isFull();

private:
    bool pixel(double value, double *result);

    AnnotationSet &set;
    AnnotationReport &report;
    const AnnotationExchangeOptions &options;
    qint64 place = 0;
    QString list;
    bool rounded = false;
    bool full = false;
};

} // namespace AnnotationExchange
