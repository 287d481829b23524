#include "playback/annotationexchange.h"
#include "playback/videoannotations.h"
#include "support/frames.h"

#include <QtTest>
#include <QUndoStack>

#include <limits>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#endif

namespace {

#ifdef Q_OS_UNIX
// The system grants a file few bytes, fewer than any buffer holds, so that the failure comes late.
class FullDisk
{
public:
    FullDisk()
    {
        ::getrlimit(RLIMIT_FSIZE, &unlimited);
        const rlimit limited{100, unlimited.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~FullDisk()
    {
        ::setrlimit(RLIMIT_FSIZE, &unlimited);
        std::signal(SIGXFSZ, handler);
    }

private:
    rlimit unlimited;
    void (*handler)(int) = std::signal(SIGXFSZ, SIG_IGN);
};
#endif

enum class Format
{
    Coco,
    CocoOutlines,
    Cvat,
    Mot,
    Yolo,
    Csv,
};

using Expected = QList<QPair<AnnotationError, qint64>>; // what is wrong, and where

AnnotationExchangeOptions optionsFor(Format format)
{
    AnnotationExchangeOptions options;
    if (format == Format::CocoOutlines)
        options.points = AnnotationExchangeOptions::Points::Outline;
    return options;
}

AnnotationReport write(
    Format format, const AnnotationSet &set, const QString &path, const AnnotationExchangeOptions &options)
{
    switch (format) {
    case Format::Coco:
    case Format::CocoOutlines:
        return writeCocoAnnotations(set, path, options);
    case Format::Cvat:
        return writeCvatAnnotations(set, path, options);
    case Format::Mot:
        return writeMotAnnotations(set, path, options);
    case Format::Yolo:
        return writeYoloAnnotations(set, path, options);
    case Format::Csv:
        break;
    }
    return writeCsvAnnotations(set, path, options);
}

// From a path or a device.
template <typename Source>
AnnotationReport read(
    Format format, Source source, AnnotationSet &set, const AnnotationExchangeOptions &options = {})
{
    if (format == Format::Mot)
        return readMotAnnotations(source, set, options);
    return format == Format::Csv ? readCsvAnnotations(source, set, options)
                                 : readCocoAnnotations(source, set, options);
}

AnnotationReport readBytes(
    Format format, const QByteArray &bytes, AnnotationSet &set, const AnnotationExchangeOptions &options = {})
{
    QBuffer buffer;
    buffer.setData(bytes);
    return read(format, static_cast<QIODevice *>(&buffer), set, options);
}

// With ' for ", so that the tables can be read.
QByteArray json(const char *text)
{
    return QByteArray(text).replace('\'', '"');
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
}

QByteArrayList recordsOf(const AnnotationSet &set)
{
    QByteArrayList records;
    for (const auto &record : set.frames) {
        if (record->count() > 0)
            records.append(record->toJsonString().toUtf8());
    }
    return records;
}

const QList<FrameInfo::InfoDataType> allKinds{FrameInfo::Percent, FrameInfo::Value, FrameInfo::Rect,
    FrameInfo::Comment, FrameInfo::Bool, FrameInfo::Points};

// Entries that are hard for one format or another.
AnnotationSet difficultSet()
{
    constexpr int least = std::numeric_limits<int>::min();
    constexpr int most = std::numeric_limits<int>::max();
    AnnotationSet set;
    set.fileName = QStringLiteral("/videos/take 1.avi");
    set.width = 640;
    set.height = 480;
    set.frameRate = 29.97;
    for (int frame : {-3, 0, 1, 12, 2000000000}) {
        FrameInfo &record = set.frame(frame);
        record.setRect(QStringLiteral("car"), QRect(frame % 100, -5, 31, 40));
        record.setRect(QStringLiteral("car#2"), QRect(600, 470, 100, 100));
        record.setRect(QStringLiteral("7"), QRect(QPoint(least, least), QPoint(most, most)));
        record.setRect(QStringLiteral("empty"), QRect(3, 4, 0, -7));
        record.setValue(QStringLiteral("car.confidence"), 0.1 + frame / 1e12);
        record.setPoints(QStringLiteral("car"), {{0, 0}, {least, most}, {-1, 1}, {0, 0}});
        record.setPoints(QStringLiteral("hand"), {{5, 6}});
        record.setPoints(QStringLiteral("none"), {});
    }
    FrameInfo &record = set.frame(12);
    record.setRect(QStringLiteral("Лампа, \"A\"\nß"), QRect(1, 2, 3, 4));
    record.setRect(QString(), QRect(9, 9, 9, 9));
    record.setValue(QStringLiteral("tiny"), -4.9e-324);
    record.setValue(QStringLiteral("nan"), std::numeric_limits<double>::quiet_NaN());
    record.setPercent(QStringLiteral("fill"), least);
    record.setBool(QStringLiteral("seen"), true);
    record.setBool(QStringLiteral("lost"), false);
    record.setComment(QStringLiteral(" note "), QStringLiteral(" =1,\"2\"\r\n\n\" "));
    record.setComment(QStringLiteral("empty"), QString());
    return set;
}

bool holds(Format format, FrameInfo &record, FrameInfo::InfoDataType kind, const QString &name)
{
    if (format == Format::Csv)
        return name != QStringLiteral("nan");
    const int points = record.getPoints(name).size();
    return record.getFrameNumber() >= 0
        && ((kind == FrameInfo::Rect && name != QStringLiteral("empty"))
            || (kind == FrameInfo::Value && name == QStringLiteral("car.confidence"))
            || (kind == FrameInfo::Points
                && (format == Format::Coco || (format == Format::CocoOutlines && points >= 3))));
}

} // namespace

class AnnotationExchangeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { folder = std::make_unique<QTemporaryDir>(); }

    void roundTripKeepsWhatTheFormatHolds_data()
    {
        QTest::addColumn<Format>("format");
        QTest::newRow("coco") << Format::Coco;
        QTest::newRow("coco outlines") << Format::CocoOutlines;
        QTest::newRow("mot") << Format::Mot;
        QTest::newRow("csv") << Format::Csv;
    }

    void roundTripKeepsWhatTheFormatHolds()
    {
        QFETCH(Format, format);
        AnnotationSet set = difficultSet();
        AnnotationSet expected;
        for (const auto &record : qAsConst(set.frames)) {
            for (FrameInfo::InfoDataType kind : allKinds) {
                for (const QString &name : record->getNames(kind)) {
                    if (holds(format, *record, kind, name))
                        expected.frame(record->getFrameNumber()).set(kind, name, record->get(kind, name));
                }
            }
        }
        const QString path = folder->filePath(QStringLiteral("a.first"));
        const AnnotationReport written = write(format, set, path, optionsFor(format));
        QVERIFY(written.done);
        QCOMPARE(written.problemCount, 0);
        QCOMPARE(written.entries, expected.entryCount());
        QCOMPARE(written.leftOut, set.entryCount() - expected.entryCount());

        AnnotationSet back;
        const AnnotationReport report = read(format, path, back);
        QVERIFY(report.done);
        QVERIFY2(report.problemCount == 0, qPrintable(report.problems.value(0).text));
        QCOMPARE(report.entries, expected.entryCount());
        QCOMPARE(report.altered + report.leftOut, 0);
        QCOMPARE(recordsOf(back), recordsOf(expected));
        QVERIFY(sameAnnotations(back, expected));
        QVERIFY(!sameAnnotations(back, set));
        if (format == Format::Coco) {
            QCOMPARE(back.fileName, set.fileName);
            QCOMPARE(QSize(back.width, back.height), QSize(640, 480));
            QCOMPARE(back.frameRate, 29.97);
        }
    }

    void otherReadersUnderstandTheFiles()
    {
        const QString python = QStandardPaths::findExecutable(QStringLiteral("python3"));
        if (python.isEmpty())
            QSKIP("python3, which reads the files independently, is not there");
        AnnotationSet set = difficultSet();
        set.frameCount = 100;
        AnnotationExchangeOptions outlines = optionsFor(Format::CocoOutlines);
        const auto path = [this](const char *name) { return folder->filePath(QLatin1String(name)); };
        QVERIFY(writeCocoAnnotations(set, path("coco.json")).done);
        QVERIFY(writeCocoAnnotations(set, path("outlines.json"), outlines).done);
        QVERIFY(writeCvatAnnotations(set, path("cvat.xml")).done);
        QVERIFY(writeCvatAnnotations(set, path("outlines.xml"), outlines).done);
        QVERIFY(writeMotAnnotations(set, path("mot.txt")).done);
        QVERIFY(writeCsvAnnotations(set, path("all.csv")).done);
        const AnnotationReport yolo = writeYoloAnnotations(set, path("yolo"));
        QVERIFY(yolo.done);
        QCOMPARE(yolo.entries, 14); // all with a part in the picture
        QCOMPARE(yolo.altered, 13); // all but the one that lies inside and has a clean name
        QProcess process;
        process.start(python, {QFINDTESTDATA("read_annotations.py"), folder->path()});
        QVERIFY(process.waitForFinished());
        QCOMPARE(QString::fromUtf8(process.readAllStandardError()), QString());
        QCOMPARE(process.exitCode(), 0);
    }

    void filesOfOtherToolsAreRead_data()
    {
        QTest::addColumn<Format>("format");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArrayList>("records");
        QTest::addColumn<int>("altered");
        QTest::addColumn<int>("leftOut");
        const QByteArray coco =
            json("{'images':[{'id':9,'file_name':'a7/frame_000012.PNG','width':64,'height':48},"
                 "{'id':4,'file_name':'x.png','frame_index':3}],'categories':[{'id':5,'name':'car'}],'"
                 "annotations':[");
        QTest::newRow("coco, objects of a class")
            << Format::Coco
            << coco
                + json("{'image_id':9,'category_id':5,'bbox':[0.5,-0.5,0.2,2.49]},"
                       "{'image_id':9,'category_id':5,'bbox':[1,2,3,4],'score':0.25},"
                       "{'image_id':4,'category_id':5,'track_id':8,'bbox':[1,2,3,4],'score':null}]}")
            << QByteArrayList{json("{'frame':3,'rects':[{'car#8':'1,2,3,4'}]}"),
                   json("{'frame':12,'rects':[{'car':'1,0,1,2'},{'car#2':'1,2,3,4'}],"
                        "'values':[{'car#2.confidence':0.25}]}")}
            << 1 << 0;
        QTest::newRow("coco, points and masks")
            << Format::Coco
            << coco
                + json(
                    "{'image_id':9,'category_id':5,'keypoints':[0,0,0,5,6,1,0,0,0],'segmentation':[[1,2]]},"
                    "{'image_id':4,'category_id':5,'segmentation':[[1,2,3.2,4]],'keypoints':[0,0,0],"
                    "'num_keypoints':0},"
                    "{'image_id':4,'category_id':5,'segmentation':[[1,2],[3,4]]},"
                    "{'image_id':4,'category_id':5,'segmentation':{'counts':'x'}}]}")
            << QByteArrayList{json("{'frame':3,'points':[{'car':'1,2;3,4'}]}"),
                   json("{'frame':12,'points':[{'car':'0,0;5,6'}]}")}
            << 1 << 3;
        QTest::newRow("coco, several videos")
            << Format::Coco
            << (json("{'videos':[{'id':2}],'categories':[{'id':1,'name':'a#1'}],'images':["
                     "{'id':1,'video_id':1,'frame_id':0},{'id':2,'video_id':2,'frame_id':0}],'annotations':["
                     "{'image_id':1,'category_id':1,'bbox':[1,1,1,1]},{'image_id':2,'category_id':1,'bbox':["
                     "2,2,2,2]}]}"))
            << QByteArrayList{json("{'frame':0,'rects':[{'a#1':'2,2,2,2'}]}")} << 0 << 1;
        QTest::newRow("mot, detections and tracks")
            << Format::Mot
            << QByteArray("\xEF\xBB\xBF"
                          "1,-1,1,2,3,4,0.5,-1,-1,-1\r\n\r\n 1, -1, 5,6,7,8, 1\n"
                          "2.000e+00,3,1,2,3,4.5,-1,1,0.9\n2,0,1,2,3,4")
            << QByteArrayList{json("{'frame':0,'rects':[{'object#1':'1,2,3,4'},{'object#2':'5,6,7,8'}],"
                                   "'values':[{'object#1.confidence':0.5}]}"),
                   json("{'frame':1,'rects':[{'0':'1,2,3,4'},{'3':'1,2,3,5'}]}")}
            << 1 << 0;
        QTest::newRow("csv, a spreadsheet's")
            << Format::Csv
            << QByteArray("\xEF\xBB\xBFkind,Name,frame,height,width,x,y,more,value\r\n"
                          "rect,a,5.0,40.0,30.0,10.4,20.0,?,\r\nBOOL,b,5,,,,,,TRUE\r\n\r\n"
                          "comment,c,5,,,,,,\"two\r\nlines\"\r\npoints,d,5,,,,,,\" 1, 2 ; 3,4\"\r\n")
            << QByteArrayList{json("{'bools':[{'b':true}],'comments':[{'c':'two\\r\\nlines'}],'frame':5,"
                                   "'points':[{'d':'1,2;3,4'}],'rects':[{'a':'10,20,30,40'}]}")}
            << 1 << 0;
    }

    void filesOfOtherToolsAreRead()
    {
        QFETCH(Format, format);
        QFETCH(QByteArray, bytes);
        AnnotationSet set;
        const AnnotationReport report = readBytes(format, bytes, set);
        QVERIFY2(report.problemCount == 0, qPrintable(report.problems.value(0).text));
        QVERIFY(report.done);
        QTEST(recordsOf(set), "records");
        QTEST(report.altered, "altered");
        QTEST(report.leftOut, "leftOut");
    }

    void badPlacesAreNamedAndReadingGoesOn_data()
    {
        using E = AnnotationError;
        QTest::addColumn<Format>("format");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("done");
        QTest::addColumn<int>("entries");
        QTest::addColumn<Expected>("expected");

        QTest::newRow("mot") << Format::Mot
                             << QByteArray(
                                    "1,1,1,1,1,1\n" // good
                                    "1,1,2,2,2,2\n1,1,1,1,1\n1,x,1,1,1,1\n1,2,nan,1,1,1\n"
                                    "1,2,1e999,1,1,1\n1.5,2,1,1,1,1\n0,2,1,1,1,1\n4000000000,2,1,1,1,1\n"
                                    "1,2,1,1,0,1\n1,2,2147483647,1,2,1\n1,2,1e300,1,1,1\n"
                                    "11,2,1,1,1,1\n")
                + QByteArray(3 << 20, '1') + "\n2,2,1,1,1,1\n"
                             << true << 2
                             << Expected{{E::Duplicate, 2}, {E::MissingField, 3}, {E::BadNumber, 4},
                                    {E::BadNumber, 5}, {E::BadNumber, 6}, {E::BadNumber, 7},
                                    {E::OutOfRange, 8}, {E::OutOfRange, 9}, {E::BadValue, 10},
                                    {E::OutOfRange, 11}, {E::OutOfRange, 12}, {E::OutOfRange, 13},
                                    {E::LineTooLong, 14}};
        const QByteArray header("frame,kind,name,value,x,y,width,height\n");
        QTest::newRow("csv") << Format::Csv
                             << header
                + "0,comment,a,\"x\ny\",,,,\n" // good
                  "0,Comment,a,again,,,,\n0,circle,a,1,,,,\n0,bool,a,maybe,,,,\n0,percent,a,1.5,,,,\n"
                  "0,percent,a,3000000000,,,,\n0,value,a,inf,,,,\n0,value,a,,,,,\n0,rect,a,,1,1,1\n"
                  "0,rect,a,,2147483647,0,2,1\n0,points,a,\"1,2;3\",,,,\n,comment,b,c\n10,comment,b,c\n"
                  "0,comment,b,\"c\"d\n0,comment,c,\"open\n-1,rect,b,,0,0,-4,0\n"
                  "0,comment,\"q\"\"\",\"\"\"\"\n"
                + '"' + QByteArray(3 << 20, 'x') + "\n1,bool,a,0\n0,comment,d,\"\n"
                             << true << 4
                             << Expected{{E::Duplicate, 4}, {E::UnknownKind, 5}, {E::BadValue, 6},
                                    {E::BadNumber, 7}, {E::OutOfRange, 8}, {E::BadNumber, 9},
                                    {E::MissingField, 10}, {E::MissingField, 11}, {E::OutOfRange, 12},
                                    {E::BadValue, 13}, {E::MissingField, 14}, {E::OutOfRange, 15},
                                    {E::OpenQuote, 16}, {E::OpenQuote, 17}, {E::LineTooLong, 20},
                                    {E::OpenQuote, 22}};
        QTest::newRow("csv without columns")
            << Format::Csv << QByteArray("frame,name\n0,a\n") << false << 0 << Expected{{E::WrongFormat, 0}};

        const QByteArray image(json("{'id':1,'frame_id':0}"));
        const auto coco = [](const QByteArray &images, const QByteArray &annotations) {
            return json("{'categories':[{'id':1,'name':'a'},{'id':1,'name':'b'},{'id':'1'}],'images':[")
                + images + json("],'annotations':[") + annotations + "]}";
        };
        const Expected categories{{E::Duplicate, 2}, {E::MissingField, 3}};
        QTest::newRow("coco images")
            << Format::Coco
            << coco(image
                       + json(",{'id':2,'frame_id':0},{'id':1,'frame_id':5},{'frame_id':6},7,"
                              "{'id':3,'file_name':'no "
                              "number.png'},{'id':4,'frame_id':-1},{'id':5,'frame_id':1e300},"
                              "{'id':6,'file_name':'99999999999999999999.png'},{'id':7,'frame_id':10}"),
                   json("{'image_id':1,'category_id':1,'bbox':[1,1,1,1]}"))
            << true << 1
            << Expected{{E::Duplicate, 2}, {E::Duplicate, 3}, {E::MissingField, 4}, {E::MissingField, 5},
                   {E::MissingField, 6}, {E::OutOfRange, 7}, {E::OutOfRange, 8}, {E::OutOfRange, 9},
                   {E::OutOfRange, 10}}
                + categories;
        QByteArray annotations;
        for (const QByteArray &fields :
            {json(",'bbox':[1,1,1,1]"), json(",'bbox':[1,1,1,1],'attributes':{'name':'a'}"),
                json(",'bbox':[1,1,1]"), json(",'bbox':[1,1,'1',1]"), json(",'bbox':[1,1,-1,1]"),
                json(",'bbox':[1e300,1,1,1]"), QByteArray(), json(",'keypoints':[1,2]"),
                json(",'segmentation':[[1,{}]]"), json(",'keypoints':[1e10,2,2]")})
            annotations += json("{'image_id':1,'category_id':1") + fields + "},";
        annotations += json("{'image_id':2,'category_id':1},{'image_id':1,'category_id':7},[[]]");
        QTest::newRow("coco annotations") << Format::Coco << coco(image, annotations) << true << 1
                                          << categories
                + Expected{{E::Duplicate, 2}, {E::BadValue, 3}, {E::BadNumber, 4}, {E::BadValue, 5},
                    {E::OutOfRange, 6}, {E::MissingField, 7}, {E::BadValue, 8}, {E::BadNumber, 9},
                    {E::OutOfRange, 10}, {E::UnknownReference, 11}, {E::UnknownReference, 12},
                    {E::UnknownReference, 13}};
        QTest::newRow("coco cut off") << Format::Coco << QByteArray("{\"images\":[\n\n{\"id\":") << false << 0
                                      << Expected{{E::WrongFormat, 3}};
        QTest::newRow("coco deep") << Format::Coco << QByteArray(1 << 20, '[') << false << 0
                                   << Expected{{E::WrongFormat, 1}};
        QTest::newRow("coco of results") << Format::Coco << QByteArray("[{\"image_id\":1}]") << false << 0
                                         << Expected{{E::WrongFormat, 0}};
    }

    void badPlacesAreNamedAndReadingGoesOn()
    {
        QFETCH(Format, format);
        QFETCH(QByteArray, bytes);
        QFETCH(Expected, expected);
        AnnotationSet set;
        set.frameCount = 10;
        const AnnotationReport report = readBytes(format, bytes, set);
        for (int i = 0; i < qMin(report.problems.size(), expected.size()); ++i) {
            const AnnotationProblem &problem = report.problems[i];
            const QString told = QStringLiteral("%1: %2").arg(problem.place).arg(problem.text);
            QVERIFY2(problem.error == expected[i].first, qPrintable(told));
            QVERIFY2(problem.place == expected[i].second, qPrintable(told));
            QVERIFY(!problem.text.isEmpty() && problem.text.size() < 200);
        }
        QCOMPARE(report.problemCount, expected.size());
        QTEST(report.done, "done");
        QTEST(report.entries, "entries");
        QCOMPARE(set.entryCount(), report.entries);
    }

    void limitsBoundWhatIsRead()
    {
        AnnotationSet set;
        AnnotationExchangeOptions options;
        options.mostEntries = 3;
        const QByteArray lines =
            QByteArray("1,1,1,1,1,1\n2,1,1,1,1,1\n3,1,1,1,1,1\n4,1,1,1,1,1\n5,1,1,1,1,1\n");
        AnnotationReport report = readBytes(Format::Mot, lines, set, options);
        QVERIFY(!report.done);
        QCOMPARE(report.problems.value(0).error, AnnotationError::TooManyEntries);
        QCOMPARE(report.problemCount, 1);
        QCOMPARE(set.entryCount(), 3);
        options.largestFile = lines.size() - 1;
        report = readBytes(Format::Mot, lines, set, options);
        QCOMPARE(report.problems.value(0).error, AnnotationError::TooLarge);
        QVERIFY(!report.done && set.frames.isEmpty());
        report = readBytes(Format::Mot, QByteArray("x\n").repeated(5000), set);
        QCOMPARE(report.problemCount, 5000);
        QCOMPARE(report.problems.size(), 1000);
        report = readBytes(Format::Mot, QByteArray("x\n").repeated(1000002), set);
        QVERIFY(!report.done);
        QCOMPARE(report.problems.last().error, AnnotationError::TooManyProblems);
        QCOMPARE(report.problems.last().place, 1000000);
        for (const QString &path :
            {folder->filePath(QStringLiteral("none")), folder->path(), QStringLiteral("/dev/zero")}) {
            report = readCsvAnnotations(path, set);
            QCOMPARE(report.problems.value(0).error, AnnotationError::CannotOpen);
        }
    }

    void failureOrCancelLeavesTheOlderFile_data()
    {
        QTest::addColumn<Format>("format");
        QTest::newRow("coco") << Format::Coco;
        QTest::newRow("cvat") << Format::Cvat;
        QTest::newRow("mot") << Format::Mot;
        QTest::newRow("csv") << Format::Csv;
    }

    void failureOrCancelLeavesTheOlderFile()
    {
        QFETCH(Format, format);
        AnnotationSet set = difficultSet();
        const QString path = folder->filePath(QStringLiteral("a.txt"));
        QVERIFY(write(format, set, path, {}).done);
        const QByteArray before = contents(path);
        const QByteArray names = contents(folder->filePath(QStringLiteral("a.names.csv")));
        const int files = QDir(folder->path()).entryList(QDir::Files | QDir::Hidden).size();
        set.frame(0).setRect(QStringLiteral("new"), QRect(1, 1, 1, 1));
        AnnotationExchangeOptions options;
        options.progress = [](int) { return false; };
        AnnotationReport report = write(format, set, path, options);
        QVERIFY(!report.done);
        QCOMPARE(report.problems.value(0).error, AnnotationError::Cancelled);
        QCOMPARE(contents(path), before);
        QCOMPARE(contents(folder->filePath(QStringLiteral("a.names.csv"))), names);

#ifdef Q_OS_UNIX
        {
            const FullDisk full;
            report = write(format, set, path, {});
        }
        QVERIFY(!report.done);
        QCOMPARE(report.problems.value(0).error, AnnotationError::CannotWrite);
        QCOMPARE(contents(path), before);
        QCOMPARE(QDir(folder->path()).entryList(QDir::Files | QDir::Hidden).size(), files);
#endif

        report = write(format, set, folder->filePath(QStringLiteral("no/such.txt")), {});
        QVERIFY(!report.done);
        QCOMPARE(report.problems.value(0).error, AnnotationError::CannotWrite);
        QVERIFY(write(format, set, path, {}).done);
        QVERIFY(contents(path) != before);
    }

    void numbersOfNamesStay()
    {
        AnnotationSet set;
        set.fileName = QStringLiteral("take.avi");
        set.frame(0).setRect(QStringLiteral("m"), QRect(0, 0, 8, 8));
        set.frame(1).setRect(QStringLiteral("1"), QRect(0, 0, 8, 8));
        const QString path = folder->filePath(QStringLiteral("take.txt"));
        QCOMPARE(writeMotAnnotations(set, path).numbers.tracks, (QMap<int, QString>{{1, "1"}, {2, "m"}}));
        const QString labels = folder->filePath(QStringLiteral("labels"));
        QCOMPARE(writeYoloAnnotations(set, labels).problems.value(0).error, AnnotationError::NoPictureSize);
        QVERIFY(!QFile::exists(labels));
        set.width = set.height = 10;
        QCOMPARE(writeYoloAnnotations(set, labels).numbers.classes, (QStringList{"1", "m"}));

        // A name that comes in front of the others takes no number away, in another video neither.
        AnnotationSet other = set;
        other.frames.clear();
        other.frame(7).setRect(QStringLiteral("a#1"), QRect(20, 20, 8, 8)); // outside of the picture
        other.frame(8).setRect(QStringLiteral("a#1"), QRect(5, 0, 5, 10));
        QCOMPARE(writeMotAnnotations(other, path).numbers.tracks,
            (QMap<int, QString>{{1, "1"}, {2, "m"}, {3, "a#1"}}));
        const AnnotationReport report = writeYoloAnnotations(other, labels);
        QCOMPARE(report.numbers.classes, (QStringList{"1", "m", "a"}));
        QCOMPARE(report.leftOut, 1);
        QCOMPARE(report.problems.value(0).error, AnnotationError::StaleLabels);
        QCOMPARE(contents(labels + QStringLiteral("/classes.txt")), QByteArray("1\nm\na\n"));
        QCOMPARE(contents(labels + QStringLiteral("/take_000008.txt")),
            QByteArray("2 0.750000 0.500000 0.500000 1.000000\n"));
        QVERIFY(!QFile::exists(labels + QStringLiteral("/take_000007.txt")));

        AnnotationExchangeOptions options;
        options.numbers.classes = QStringList{"z", "a"};
        options.numbers.tracks = {{5, QStringLiteral("a#1")}};
        const AnnotationReport chosen = writeCocoAnnotations(other, path, options);
        QCOMPARE(chosen.numbers.classes, options.numbers.classes);
        QCOMPARE(chosen.numbers.tracks, options.numbers.tracks);
    }

    void setsComeFromVideosAndGoBackWithUndo()
    {
        const QString video = folder->filePath(QStringLiteral("take.avi"));
        AnnotationSet set;
        QVERIFY(!set.readVideo(video));
        QVERIFY(frames::writeVideo(video, 7, 12.5, {320, 240}));
        QVERIFY(set.readVideo(video));
        QCOMPARE(QSize(set.width, set.height), QSize(320, 240));
        QCOMPARE(set.frameRate, 12.5);
        QCOMPARE(set.frameCount, 7);
        QCOMPARE(set.pictureName(3), QStringLiteral("take_000003"));

        VideoAnnotations annotations;
        set.frames = difficultSet().frames;
        set.frames.remove(12); // not a number is equal to nothing
        QCOMPARE(addAnnotations(annotations, set), 0);
        QVERIFY(annotations.open(video));
        annotations.setValue(0, FrameInfo::Bool, QStringLiteral("own"), true);
        QCOMPARE(addAnnotations(annotations, set), set.entryCount());
        AnnotationSet back = annotationSetOf(annotations);
        QVERIFY(!sameAnnotations(back, set));
        set.frame(0).setBool(QStringLiteral("own"), true);
        QVERIFY(sameAnnotations(back, set));
        annotations.getUndoStack()->undo();
        back = annotationSetOf(annotations);
        QCOMPARE(recordsOf(back), QByteArrayList{json("{'bools':[{'own':true}],'frame':0}")});
    }

private:
    std::unique_ptr<QTemporaryDir> folder;
};

Q_DECLARE_METATYPE(Format)
Q_DECLARE_METATYPE(AnnotationError)
Q_DECLARE_METATYPE(Expected)
QTEST_GUILESS_MAIN(AnnotationExchangeTest)
#include "tst_annotationexchange.moc"
