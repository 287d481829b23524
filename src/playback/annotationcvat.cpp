#include "playback/annotationexchange_p.h"

#include "baselib/texthelper.h"

#include <QVector>
#include <QXmlStreamWriter>

using namespace AnnotationExchange;

namespace {

QString textOf(qint64 number)
{
    return QString::number(number);
}

class CvatExport
{
public:
    CvatExport(const AnnotationSet &set, AnnotationReport &report, const AnnotationExchangeOptions &options)
        : set(set), report(report), options(options), progress(options, report)
    {
        collect(FrameInfo::Rect, rects);
        collect(FrameInfo::Points, points);
        const qint64 end = set.frames.isEmpty() ? 0 : qint64(set.frames.lastKey()) + 1;
        videoSize = set.frameCount > 0 ? set.frameCount : std::max<qint64>(0, end);
    }

    // False if the host cancels or the device fails.
    bool write(QIODevice *device)
    {
        xml.setDevice(device);
        xml.setCodec("UTF-8");
        xml.setAutoFormatting(true);
        xml.setAutoFormattingIndent(1);
        xml.writeStartDocument();
        xml.writeStartElement(QStringLiteral("annotations"));
        xml.writeTextElement(QStringLiteral("version"), QStringLiteral("1.1"));
        writeMeta();
        const bool whole = writeTracks(FrameInfo::Rect, rects) && writeTracks(FrameInfo::Points, points);
        xml.writeEndDocument();
        if (xml.hasError())
            addProblem(report, AnnotationError::CannotWrite, 0, device->errorString());
        return whole && !xml.hasError();
    }

private:
    using Tracks = QMap<QString, QVector<int>>; // an object's frames in ascending order

    bool holds(FrameInfo &record, FrameInfo::InfoDataType kind, const QString &name) const
    {
        if (kind == FrameInfo::Rect)
            return hasArea(record.getRect(name));
        const bool outline = options.points == AnnotationExchangeOptions::Points::Outline;
        return record.getPoints(name).size() >= (outline ? 3 : 1);
    }

    void collect(FrameInfo::InfoDataType kind, Tracks &tracks)
    {
        for (auto it = set.frames.cbegin(); it != set.frames.cend(); ++it) {
            const QStringList names = it.key() >= 0 && *it ? (*it)->getNames(kind) : QStringList();
            for (const QString &name : names) {
                if (!holds(**it, kind, name))
                    continue;
                tracks[name].append(it.key());
                ++report.entries;
                report.altered += withoutControls(name) != name ? 1 : 0;
            }
        }
    }

    void writeMeta()
    {
        QStringList labels = report.numbers.classes = options.numbers.classes;
        addClasses(labels, rects.keys() + points.keys());
        report.numbers.classes = labels;
        xml.writeStartElement(QStringLiteral("meta"));
        xml.writeStartElement(QStringLiteral("task"));
        xml.writeTextElement(QStringLiteral("name"), withoutControls(set.fileName));
        xml.writeTextElement(QStringLiteral("size"), textOf(videoSize));
        xml.writeTextElement(QStringLiteral("mode"), QStringLiteral("interpolation"));
        xml.writeTextElement(QStringLiteral("start_frame"), textOf(0));
        xml.writeTextElement(QStringLiteral("stop_frame"), textOf(std::max<qint64>(0, videoSize - 1)));
        xml.writeStartElement(QStringLiteral("labels"));
        for (const QString &label : qAsConst(labels)) {
            xml.writeStartElement(QStringLiteral("label"));
            xml.writeTextElement(QStringLiteral("name"), withoutControls(label));
            xml.writeTextElement(QStringLiteral("type"), QStringLiteral("any"));
            xml.writeEmptyElement(QStringLiteral("attributes"));
            xml.writeEndElement();
        }
        xml.writeEndElement();
        if (set.width > 0 && set.height > 0) {
            xml.writeStartElement(QStringLiteral("original_size"));
            xml.writeTextElement(QStringLiteral("width"), textOf(set.width));
            xml.writeTextElement(QStringLiteral("height"), textOf(set.height));
            xml.writeEndElement();
        }
        xml.writeTextElement(QStringLiteral("source"), withoutControls(set.fileName));
        xml.writeEndElement();
        xml.writeEndElement();
    }

    bool writeTracks(FrameInfo::InfoDataType kind, const Tracks &tracks)
    {
        for (auto it = tracks.cbegin(); it != tracks.cend(); ++it) {
            const QVector<int> &frames = it.value();
            xml.writeStartElement(QStringLiteral("track"));
            xml.writeAttribute(QStringLiteral("id"), textOf(trackNumber++));
            xml.writeAttribute(QStringLiteral("label"), withoutControls(className(it.key())));
            xml.writeAttribute(QStringLiteral("source"), QStringLiteral("manual"));
            for (int i = 0; i < frames.size(); ++i) {
                const qint64 next = qint64(frames[i]) + 1;
                writeShape(kind, it.key(), frames[i], frames[i], false);
                // A reader holds or interpolates a shape up to the next keyframe unless it is told otherwise.
                if (next < videoSize && (i + 1 == frames.size() || frames[i + 1] != next))
                    writeShape(kind, it.key(), frames[i], next, true);
                if (!progress.reaches(++written, report.entries))
                    return false;
            }
            xml.writeEndElement();
        }
        return true;
    }

    void writeShape(FrameInfo::InfoDataType kind, const QString &name, int from, qint64 frame, bool outside)
    {
        FrameInfo &record = *set.frames.value(from);
        const bool isRect = kind == FrameInfo::Rect;
        const bool outline = options.points == AnnotationExchangeOptions::Points::Outline;
        xml.writeEmptyElement(isRect ? QStringLiteral("box")
                : outline            ? QStringLiteral("polygon")
                                     : QStringLiteral("points"));
        xml.writeAttribute(QStringLiteral("frame"), textOf(frame));
        xml.writeAttribute(QStringLiteral("outside"), textOf(outside ? 1 : 0));
        xml.writeAttribute(QStringLiteral("occluded"), textOf(0));
        xml.writeAttribute(QStringLiteral("keyframe"), textOf(1));
        if (isRect) {
            const QRect rect = record.getRect(name);
            xml.writeAttribute(QStringLiteral("xtl"), textOf(rect.left()));
            xml.writeAttribute(QStringLiteral("ytl"), textOf(rect.top()));
            xml.writeAttribute(QStringLiteral("xbr"), textOf(rect.left() + widthOf(rect)));
            xml.writeAttribute(QStringLiteral("ybr"), textOf(rect.top() + heightOf(rect)));
        } else {
            xml.writeAttribute(
                QStringLiteral("points"), TextHelper::QListPointsToString(record.getPoints(name)));
        }
        xml.writeAttribute(QStringLiteral("z_order"), textOf(0));
    }

    const AnnotationSet &set;
    AnnotationReport &report;
    const AnnotationExchangeOptions &options;
    Progress progress;
    QXmlStreamWriter xml;
    Tracks rects;
    Tracks points;
    qint64 videoSize = 0; // in frames
    qint64 written = 0;
    int trackNumber = 0;
};

} // namespace

AnnotationReport writeCvatAnnotations(
    const AnnotationSet &set, QIODevice *device, const AnnotationExchangeOptions &options)
{
    AnnotationReport report;
    report.done = CvatExport(set, report, options).write(device);
    report.leftOut = set.entryCount() - report.entries;
    return report;
}

AnnotationReport writeCvatAnnotations(
    const AnnotationSet &set, const QString &path, const AnnotationExchangeOptions &options)
{
    return writeFile(path, [&](QIODevice *device) { return writeCvatAnnotations(set, device, options); });
}
