#include "playback/annotationexchange_p.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPair>
#include <QSet>

#include <cmath>

using namespace AnnotationExchange;

namespace {

bool isId(const QJsonValue &value, qint64 *id)
{
    constexpr double largest = 9007199254740992.0; // 2^53, up to which a double counts in ones
    const double number = value.toDouble(NAN);
    if (!(std::fabs(number) <= largest) || number != std::floor(number))
        return false;
    *id = qint64(number);
    return true;
}

// The last number in a file's name: 12 in "take1_000012.png"; NaN if there is none.
double numberIn(const QString &fileName)
{
    const QString base = QFileInfo(fileName).completeBaseName();
    const auto isDigit = [&](int at) { return base[at] >= QLatin1Char('0') && base[at] <= QLatin1Char('9'); };
    int end = base.size();
    while (end > 0 && !isDigit(end - 1))
        --end;
    int begin = end;
    while (begin > 0 && isDigit(begin - 1))
        --begin;
    bool ok = false;
    const double number = base.mid(begin, end - begin).toDouble(&ok);
    return ok ? number : NAN;
}

// Escapes in JSON can leave half a character, which no other format could hold.
QString nameIn(const QJsonValue &value)
{
    return QString::fromUtf8(value.toString().toUtf8());
}

class CocoImport
{
public:
    CocoImport(AnnotationSet &set, AnnotationReport &report, const AnnotationExchangeOptions &options)
        : set(set), report(report), intake(set, report, options), progress(options, report)
    {
    }

    // False if the host cancels or the set is full.
    bool read(const QJsonObject &root)
    {
        readVideo(root.value(QStringLiteral("videos")).toArray().first().toObject());
        readImages(root.value(QStringLiteral("images")).toArray());
        readCategories(root.value(QStringLiteral("categories")).toArray());
        const QJsonArray annotations = root.value(QStringLiteral("annotations")).toArray();
        for (int i = 0; i < annotations.size(); ++i) {
            intake.start(i + 1, QStringLiteral("annotations"));
            readAnnotation(annotations[i].toObject());
            if (intake.isFull() || !progress.reaches(i + 1, annotations.size()))
                return false;
        }
        if (set.frameCount <= 0 && (set.frames.isEmpty() || set.frames.lastKey() < frameCount))
            set.frameCount = frameCount;
        return true;
    }

private:
    struct Object
    {
        int frame;
        QString name;
    };

    void readVideo(const QJsonObject &video)
    {
        hasVideo = isId(video.value(QStringLiteral("id")), &videoId);
        if (set.fileName.isEmpty())
            set.fileName = video.value(QStringLiteral("name")).toString();
        readSize(video);
        const double rate = video.value(QStringLiteral("fps")).toDouble();
        if (!(set.frameRate > 0) && std::isfinite(rate) && rate > 0)
            set.frameRate = rate;
        frameCount = std::max(0, video.value(QStringLiteral("frame_count")).toInt());
    }

    void readSize(const QJsonObject &object)
    {
        const int width = object.value(QStringLiteral("width")).toInt();
        const int height = object.value(QStringLiteral("height")).toInt();
        if (set.width > 0 || set.height > 0 || width <= 0 || height <= 0)
            return;
        set.width = width;
        set.height = height;
    }

    void readImages(const QJsonArray &images)
    {
        QSet<int> known;
        for (int i = 0; i < images.size() && !intake.isFull(); ++i) {
            intake.start(i + 1, QStringLiteral("images"));
            const QJsonObject image = images[i].toObject();
            qint64 id = 0, video = 0;
            int frame = 0;
            if (!isId(image.value(QStringLiteral("id")), &id)) {
                intake.problem(AnnotationError::MissingField,
                    Text::tr("The field \"%1\" is missing.").arg(QStringLiteral("id")));
                continue;
            }
            if (isId(image.value(QStringLiteral("video_id")), &video)) {
                if (!hasVideo)
                    videoId = video;
                hasVideo = true;
                if (video != videoId) {
                    otherVideos.insert(id);
                    continue;
                }
            }
            if (!readFrame(image, &frame))
                continue;
            if (known.contains(frame) || frames.contains(id)) {
                intake.problem(
                    AnnotationError::Duplicate, Text::tr("There is another image of frame %1.").arg(frame));
                continue;
            }
            known.insert(frame);
            frames.insert(id, frame);
            readSize(image);
        }
    }

    bool readFrame(const QJsonObject &image, int *frame)
    {
        double number = image.value(QStringLiteral("frame_id")).toDouble(NAN);
        if (std::isnan(number))
            number = image.value(QStringLiteral("frame_index")).toDouble(NAN);
        if (std::isnan(number))
            number = numberIn(image.value(QStringLiteral("file_name")).toString());
        if (std::isnan(number))
            return intake.problem(AnnotationError::MissingField,
                Text::tr("Neither a field nor the file name tells the frame."));
        return intake.frame(number, 0, frame);
    }

    void readCategories(const QJsonArray &list)
    {
        for (int i = 0; i < list.size() && !intake.isFull(); ++i) {
            intake.start(i + 1, QStringLiteral("categories"));
            const QJsonObject category = list[i].toObject();
            const QJsonValue name = category.value(QStringLiteral("name"));
            qint64 id = 0;
            if (!isId(category.value(QStringLiteral("id")), &id) || !name.isString()) {
                intake.problem(AnnotationError::MissingField, Text::tr("A category needs an id and a name."));
                continue;
            }
            if (categories.contains(id)) {
                intake.problem(AnnotationError::Duplicate, Text::tr("There is another category %1.").arg(id));
                continue;
            }
            categories.insert(id, nameIn(name));
            report.numbers.classes.append(nameIn(name));
        }
    }

    void readAnnotation(const QJsonObject &annotation)
    {
        qint64 image = 0;
        if (isId(annotation.value(QStringLiteral("image_id")), &image) && otherVideos.contains(image)) {
            ++report.leftOut;
            return;
        }
        qint64 category = 0;
        if (!frames.contains(image) || !isId(annotation.value(QStringLiteral("category_id")), &category)
            || !categories.contains(category)) {
            intake.problem(AnnotationError::UnknownReference,
                Text::tr("The annotation's image or category is not in the file."));
            return;
        }
        const QJsonObject attributes = annotation.value(QStringLiteral("attributes")).toObject();
        const bool derivedBox = attributes.value(QStringLiteral("derived_bbox")).toBool();
        const QJsonValue box = annotation.value(QStringLiteral("bbox"));
        const int frame = frames[image];
        const Object object{frame, nameOf(annotation, attributes, frame, categories[category])};
        const int before = report.entries;
        const int problems = report.problemCount;
        const int left = report.leftOut;
        if (!derivedBox && !box.isUndefined() && readBox(box.toArray(), object)) {
            const QJsonValue score = annotation.value(QStringLiteral("score"));
            if (score.isDouble())
                intake.add(object.frame, FrameInfo::Value, confidenceName(object.name), score.toDouble());
        }
        readPoints(annotation, object);
        if (report.entries == before && report.problemCount == problems && report.leftOut == left)
            intake.problem(
                AnnotationError::MissingField, Text::tr("The annotation has neither a box nor points."));
    }

    // Of objects that the file itself does not tell apart, the first of a class in a frame has the class's
    // name.
    QString nameOf(
        const QJsonObject &annotation, const QJsonObject &attributes, int frame, const QString &category)
    {
        const QJsonValue name = attributes.value(QStringLiteral("name"));
        if (name.isString())
            return nameIn(name);
        qint64 track = 0;
        if ((isId(annotation.value(QStringLiteral("instance_id")), &track)
                || isId(annotation.value(QStringLiteral("track_id")), &track))
            && track >= 0)
            return QStringLiteral("%1#%2").arg(category, QString::number(track));
        const int number = ++counts[qMakePair(frame, category)];
        return number == 1 ? category : QStringLiteral("%1#%2").arg(category, QString::number(number));
    }

    bool numbersOf(const QJsonArray &array, QVector<double> *numbers)
    {
        numbers->reserve(array.size());
        for (const QJsonValue &value : array) {
            if (!value.isDouble())
                return intake.problem(AnnotationError::BadNumber, Text::tr("A coordinate is no number."));
            numbers->append(value.toDouble());
        }
        return true;
    }

    bool readBox(const QJsonArray &array, const Object &object)
    {
        QVector<double> n;
        QRect rect;
        if (array.size() != 4)
            return intake.problem(AnnotationError::BadValue, Text::tr("The box has not four numbers."));
        return numbersOf(array, &n) && intake.rect(n[0], n[1], n[2], n[3], &rect)
            && intake.add(object.frame, FrameInfo::Rect, object.name, rect);
    }

    void readPoints(const QJsonObject &annotation, const Object &object)
    {
        const QJsonValue segmentation = annotation.value(QStringLiteral("segmentation"));
        const QJsonArray pieces = segmentation.toArray();
        const QJsonValue keypoints = annotation.value(QStringLiteral("keypoints"));
        // Datasets of keypoints also list objects with none labelled: zeros, while our own lists may be
        // empty.
        const bool withKeypoints = keypoints.isArray()
            && (keypoints.toArray().isEmpty()
                || annotation.value(QStringLiteral("num_keypoints")).toInt(1) > 0);
        if (withKeypoints)
            addPoints(keypoints.toArray(), 3, object);
        if (!withKeypoints && pieces.size() == 1)
            addPoints(pieces.first().toArray(), 2, object);
        else if (!pieces.isEmpty() || segmentation.isObject())
            ++report.leftOut;
    }

    void addPoints(const QJsonArray &array, int step, const Object &object)
    {
        QVector<double> n;
        if (!numbersOf(array, &n))
            return;
        if (n.size() % step != 0) {
            intake.problem(AnnotationError::BadValue, Text::tr("This is no list of points."));
            return;
        }
        while (step == 3 && !n.isEmpty() && n.last() == 0) // not labelled
            n.resize(n.size() - step);
        QList<QPoint> points;
        for (int i = 0; i < n.size(); i += step) {
            QPoint point;
            if (!intake.point(n[i], n[i + 1], &point))
                return;
            points.append(point);
        }
        intake.add(object.frame, FrameInfo::Points, object.name, QVariant::fromValue(points));
    }

    AnnotationSet &set;
    AnnotationReport &report;
    Intake intake;
    Progress progress;
    bool hasVideo = false;
    qint64 videoId = 0;
    int frameCount = 0;
    QHash<qint64, int> frames; // by image
    QSet<qint64> otherVideos; // images of them
    QHash<qint64, QString> categories;
    QHash<QPair<int, QString>, int> counts; // objects of a class in a frame
};

} // namespace

AnnotationReport readCocoAnnotations(
    QIODevice *device, AnnotationSet &set, const AnnotationExchangeOptions &options)
{
    AnnotationReport report;
    CocoImport import(set, report, options);
    if (!openForReading(*device, report, options))
        return report;
    QJsonParseError error;
    const QByteArray text = device->readAll();
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError) {
        const qint64 line = QByteArray::fromRawData(text.constData(), error.offset).count('\n') + 1;
        addProblem(report, AnnotationError::WrongFormat, line,
            Text::tr("This is no JSON text: %1").arg(error.errorString()));
        return report;
    }
    const QJsonObject root = document.object();
    if (!root.value(QStringLiteral("images")).isArray()
        || !root.value(QStringLiteral("annotations")).isArray()) {
        addProblem(report, AnnotationError::WrongFormat, 0,
            Text::tr("The file has no lists \"images\" and \"annotations\"."));
        return report;
    }
    report.done = import.read(root);
    return report;
}

AnnotationReport readCocoAnnotations(
    const QString &path, AnnotationSet &set, const AnnotationExchangeOptions &options)
{
    QFile file(path);
    return readCocoAnnotations(&file, set, options);
}
