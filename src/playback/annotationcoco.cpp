#include "playback/annotationexchange_p.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPolygon>

#include <cmath>

using namespace AnnotationExchange;

namespace {

QByteArray lineOf(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QJsonArray boxOf(const QRect &rect)
{
    return {rect.left(), rect.top(), widthOf(rect), heightOf(rect)};
}

double areaOf(const QRect &rect)
{
    return double(widthOf(rect)) * double(heightOf(rect));
}

double areaOf(const QList<QPoint> &outline)
{
    double twice = 0;
    QPoint last = outline.last();
    for (const QPoint &corner : outline) {
        twice += double(last.x()) * corner.y() - double(corner.x()) * last.y();
        last = corner;
    }
    return std::fabs(twice) / 2;
}

/** Writes one object after the other, so that no set is in memory twice. */
class CocoExport
{
public:
    CocoExport(const AnnotationSet &set, AnnotationReport &report, const AnnotationExchangeOptions &options,
        QIODevice &device)
        : set(set), report(report), outlines(options.points == AnnotationExchangeOptions::Points::Outline),
          progress(options, report), file(device, report)
    {
        const QStringList names = namesOf(set, {FrameInfo::Rect, FrameInfo::Points});
        report.numbers = options.numbers;
        addClasses(report.numbers.classes, names);
        numberTracks(report.numbers.tracks, names);
        for (int i = report.numbers.classes.size() - 1; i >= 0; --i)
            categories.insert(report.numbers.classes[i], i + 1);
        for (auto it = report.numbers.tracks.cbegin(); it != report.numbers.tracks.cend(); ++it)
            tracks.insert(it.value(), it.key());
    }

    // False if the host cancels or the device fails.
    bool write()
    {
        file.write("{\"info\":" + lineOf({{QStringLiteral("description"), set.fileName}})
            + ",\n\"licenses\":[],\n\"videos\":[" + lineOf(video()) + "],\n\"images\":[\n");
        writeImages();
        file.write("],\n\"annotations\":[\n");
        first = true;
        const bool whole = eachFrame(set, progress, [this](int frame, FrameInfo &record) {
            const QStringList names = frame < 0 ? QStringList() : namesIn(record);
            for (const QString &name : names)
                writeAnnotation(frame, record, name);
        });
        file.write("],\n\"categories\":[\n");
        writeCategories();
        file.write("]}\n");
        return whole && file.isWhole();
    }

private:
    QJsonObject video() const
    {
        QJsonObject video{{QStringLiteral("id"), 1}, {QStringLiteral("name"), set.fileName}};
        addSize(video);
        if (std::isfinite(set.frameRate) && set.frameRate > 0)
            video.insert(QStringLiteral("fps"), set.frameRate);
        if (set.frameCount > 0)
            video.insert(QStringLiteral("frame_count"), set.frameCount);
        return video;
    }

    void addSize(QJsonObject &object) const
    {
        if (set.width <= 0 || set.height <= 0)
            return;
        object.insert(QStringLiteral("width"), set.width);
        object.insert(QStringLiteral("height"), set.height);
    }

    bool holds(const QList<QPoint> &points) const { return !outlines || points.size() >= 3; }

    // The objects that have something to write, in ascending order.
    QStringList namesIn(FrameInfo &record) const
    {
        QStringList names;
        const QStringList rects = record.getNames(FrameInfo::Rect);
        const QStringList points = record.getNames(FrameInfo::Points);
        for (const QString &name : rects) {
            if (hasArea(record.getRect(name)))
                names.append(name);
        }
        for (const QString &name : points) {
            const bool withRect = record.contains(FrameInfo::Rect, name) && hasArea(record.getRect(name));
            if (!withRect && holds(record.getPoints(name)))
                names.append(name);
        }
        names.sort();
        return names;
    }

    void writeImages()
    {
        first = true;
        for (auto it = set.frames.cbegin(); it != set.frames.cend(); ++it) {
            if (it.key() < 0 || !*it || namesIn(**it).isEmpty())
                continue;
            QJsonObject image{{QStringLiteral("id"), qint64(it.key()) + 1}, {QStringLiteral("video_id"), 1},
                {QStringLiteral("frame_id"), it.key()},
                {QStringLiteral("file_name"), set.pictureName(it.key()) + QStringLiteral(".png")}};
            addSize(image);
            writeObject(image);
        }
    }

    void writeAnnotation(int frame, FrameInfo &record, const QString &name)
    {
        QJsonObject attributes{{QStringLiteral("name"), name}};
        const QString objectClass = className(name);
        QJsonObject annotation{{QStringLiteral("id"), ++annotationId},
            {QStringLiteral("image_id"), qint64(frame) + 1},
            {QStringLiteral("category_id"), categories.value(objectClass)},
            {QStringLiteral("instance_id"), tracks.value(name)}, {QStringLiteral("iscrowd"), 0},
            {QStringLiteral("segmentation"), QJsonArray()}};

        const QRect rect = record.getRect(name);
        const QList<QPoint> points = record.getPoints(name);
        const bool withPoints = record.contains(FrameInfo::Points, name) && holds(points);
        const bool withRect = record.contains(FrameInfo::Rect, name) && hasArea(rect);
        // Every annotation needs a box; that of mere points is theirs, and marked as such for our own reader.
        const QRect box = withRect ? rect : QPolygon(points.toVector()).boundingRect();
        annotation.insert(QStringLiteral("bbox"), boxOf(box));
        annotation.insert(QStringLiteral("area"), areaOf(box));
        if (!withRect)
            attributes.insert(QStringLiteral("derived_bbox"), true);
        report.entries += withRect ? 1 : 0;
        if (withPoints)
            addPoints(annotation, points, objectClass);
        const QVariant confidence = record.get(FrameInfo::Value, confidenceName(name));
        if (withRect && confidence.isValid() && std::isfinite(confidence.toDouble())) {
            annotation.insert(QStringLiteral("score"), confidence.toDouble());
            ++report.entries;
        }
        annotation.insert(QStringLiteral("attributes"), attributes);
        writeObject(annotation);
    }

    void addPoints(QJsonObject &annotation, const QList<QPoint> &points, const QString &objectClass)
    {
        ++report.entries;
        QJsonArray numbers;
        for (const QPoint &point : points) {
            numbers.append(point.x());
            numbers.append(point.y());
            if (!outlines)
                numbers.append(2); // labelled and visible
        }
        if (outlines) {
            annotation.insert(QStringLiteral("segmentation"), QJsonArray{numbers});
            annotation.insert(QStringLiteral("area"), areaOf(points));
            return;
        }
        annotation.insert(QStringLiteral("keypoints"), numbers);
        annotation.insert(QStringLiteral("num_keypoints"), points.size());
        int &count = keypointCounts[objectClass];
        count = std::max(count, points.size());
    }

    void writeCategories()
    {
        first = true;
        for (int i = 0; i < report.numbers.classes.size(); ++i) {
            const QString name = report.numbers.classes[i];
            QJsonObject category{{QStringLiteral("id"), i + 1}, {QStringLiteral("name"), name},
                {QStringLiteral("supercategory"), QString()}};
            if (keypointCounts.contains(name)) {
                QJsonArray keypoints;
                for (int k = 1; k <= keypointCounts[name]; ++k)
                    keypoints.append(QString::number(k));
                category.insert(QStringLiteral("keypoints"), keypoints);
                category.insert(QStringLiteral("skeleton"), QJsonArray());
            }
            writeObject(category);
        }
    }

    void writeObject(const QJsonObject &object)
    {
        file.write((first ? "" : ",\n") + lineOf(object));
        first = false;
    }

    const AnnotationSet &set;
    AnnotationReport &report;
    bool outlines;
    Progress progress;
    Output file;
    QHash<QString, int> categories;
    QHash<QString, int> tracks;
    QHash<QString, int> keypointCounts; // most points of an object, by class
    qint64 annotationId = 0;
    bool first = true;
};

} // namespace

AnnotationReport writeCocoAnnotations(
    const AnnotationSet &set, QIODevice *device, const AnnotationExchangeOptions &options)
{
    AnnotationReport report;
    report.done = CocoExport(set, report, options, *device).write();
    report.leftOut = set.entryCount() - report.entries;
    return report;
}

AnnotationReport writeCocoAnnotations(
    const AnnotationSet &set, const QString &path, const AnnotationExchangeOptions &options)
{
    return writeFile(path, [&](QIODevice *device) { return writeCocoAnnotations(set, device, options); });
}
