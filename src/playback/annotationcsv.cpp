#include "playback/annotationexchange_p.h"

#include "baselib/texthelper.h"

#include <QFile>
#include <QMetaEnum>

#include <array>
#include <cmath>

using namespace AnnotationExchange;

namespace {

struct Kind
{
    FrameInfo::InfoDataType type = FrameInfo::Percent;
    const char *name;
};

constexpr std::array<Kind, 6> kinds{{
    {FrameInfo::Percent, "percent"},
    {FrameInfo::Value, "value"},
    {FrameInfo::Rect, "rect"},
    {FrameInfo::Comment, "comment"},
    {FrameInfo::Bool, "bool"},
    {FrameInfo::Points, "points"},
}};

enum Column
{
    FrameColumn,
    KindColumn,
    NameColumn,
    ValueColumn,
    XColumn,
    YColumn,
    WidthColumn,
    HeightColumn,
    ColumnCount,
};

constexpr std::array<const char *, ColumnCount> columnNames{
    "frame", "kind", "name", "value", "x", "y", "width", "height"};

// The last five fields of a row; empty for what CSV cannot hold.
QByteArray valueFields(FrameInfo &record, FrameInfo::InfoDataType type, const QString &name)
{
    const QByteArray noPlace(",,,,");
    switch (type) {
    case FrameInfo::Percent:
        return QByteArray::number(record.getPercent(name)) + noPlace;
    case FrameInfo::Value:
        if (!std::isfinite(record.getValue(name)))
            return {};
        return numberText(record.getValue(name)) + noPlace;
    case FrameInfo::Rect:
        return ',' + TextHelper::QRectToString(record.getRect(name)).toLatin1();
    case FrameInfo::Comment:
        return csvField(record.getComment(name)) + noPlace;
    case FrameInfo::Bool:
        return (record.getBool(name) ? "true" : "false") + noPlace;
    case FrameInfo::Points:
        return csvField(TextHelper::QListPointsToString(record.getPoints(name))) + noPlace;
    }
    return {};
}

class CsvImport
{
public:
    CsvImport(AnnotationSet &set, AnnotationReport &report, const AnnotationExchangeOptions &options)
        : intake(set, report, options)
    {
    }

    // False for a row that lacks a column that must be there.
    bool readHeader(const QStringList &names)
    {
        columns.fill(-1);
        for (int i = 0; i < names.size(); ++i) {
            for (int column = 0; column < ColumnCount; ++column) {
                if (columns[column] < 0
                    && names[i].trimmed().compare(QLatin1String(columnNames[column]), Qt::CaseInsensitive)
                        == 0)
                    columns[column] = i;
            }
        }
        return columns[FrameColumn] >= 0 && columns[KindColumn] >= 0 && columns[NameColumn] >= 0;
    }

    bool isFull() { return intake.isFull(); }

    void readRow(qint64 line, const QStringList &row)
    {
        intake.start(line);
        fields = &row;
        double number = 0;
        int frame = 0;
        FrameInfo::InfoDataType type = FrameInfo::Percent;
        QVariant value;
        if (has(FrameColumn) && has(KindColumn) && has(NameColumn, true) && numberIn(FrameColumn, &number)
            && intake.frame(number, std::numeric_limits<int>::min(), &frame) && readKind(&type)
            && readValue(type, &value))
            intake.add(frame, type, text(NameColumn), value);
    }

private:
    QString text(Column column) const { return fields->value(columns[column]); }

    bool has(Column column, bool mayBeEmpty = false)
    {
        const bool there = columns[column] >= 0 && columns[column] < fields->size();
        if (there && (mayBeEmpty || !text(column).trimmed().isEmpty()))
            return true;
        return intake.problem(AnnotationError::MissingField,
            Text::tr("The field \"%1\" is missing.").arg(QLatin1String(columnNames[column])));
    }

    bool numberIn(Column column, double *number)
    {
        return has(column) && intake.number(text(column).toUtf8(), number);
    }

    bool readKind(FrameInfo::InfoDataType *type)
    {
        const QString wanted = text(KindColumn).trimmed();
        for (const Kind &kind : kinds) {
            if (wanted.compare(QLatin1String(kind.name), Qt::CaseInsensitive) == 0) {
                *type = kind.type;
                return true;
            }
        }
        return intake.problem(
            AnnotationError::UnknownKind, Text::tr("There is no kind \"%1\".").arg(wanted.left(40)));
    }

    bool readValue(FrameInfo::InfoDataType type, QVariant *value)
    {
        switch (type) {
        case FrameInfo::Percent: {
            double number = 0;
            int whole = 0;
            if (!numberIn(ValueColumn, &number) || !intake.whole(number, &whole))
                return false;
            *value = whole;
            return true;
        }
        case FrameInfo::Value: {
            double number = 0;
            if (!numberIn(ValueColumn, &number))
                return false;
            *value = number;
            return true;
        }
        case FrameInfo::Rect: {
            double x = 0, y = 0, width = 0, height = 0;
            QRect rect;
            if (!numberIn(XColumn, &x) || !numberIn(YColumn, &y) || !numberIn(WidthColumn, &width)
                || !numberIn(HeightColumn, &height) || !intake.rectOfAnySize(x, y, width, height, &rect))
                return false;
            *value = rect;
            return true;
        }
        case FrameInfo::Comment:
            *value = text(ValueColumn);
            return has(ValueColumn, true);
        case FrameInfo::Bool:
            return has(ValueColumn) && readBool(text(ValueColumn).trimmed().toLower(), value);
        case FrameInfo::Points: {
            bool ok = false;
            const QList<QPoint> points = TextHelper::QListPointsFromString(text(ValueColumn), &ok);
            *value = QVariant::fromValue(points);
            return has(ValueColumn, true)
                && (ok || intake.problem(AnnotationError::BadValue, Text::tr("This is no list of points.")));
        }
        }
        return false;
    }

    bool readBool(const QString &word, QVariant *value)
    {
        const bool yes = word == QLatin1String("true") || word == QLatin1String("1");
        if (!yes && word != QLatin1String("false") && word != QLatin1String("0"))
            return intake.problem(
                AnnotationError::BadValue, Text::tr("\"%1\" is neither true nor false.").arg(word.left(40)));
        *value = yes;
        return true;
    }

    Intake intake;
    const QStringList *fields = nullptr;
    std::array<int, ColumnCount> columns;
};

} // namespace

AnnotationReport writeCsvAnnotations(
    const AnnotationSet &set, QIODevice *device, const AnnotationExchangeOptions &options)
{
    AnnotationReport report;
    Progress progress(options, report);
    Output output(*device, report);
    output.write("frame,kind,name,value,x,y,width,height\n");
    const bool whole = eachFrame(set, progress, [&](int frame, FrameInfo &record) {
        for (const Kind &kind : kinds) {
            const QStringList names = record.getNames(kind.type);
            for (const QString &name : names) {
                const QByteArray fields = valueFields(record, kind.type, name);
                if (fields.isEmpty())
                    continue;
                output.write(
                    QByteArray::number(frame) + ',' + kind.name + ',' + csvField(name) + ',' + fields + '\n');
                ++report.entries;
            }
        }
    });
    report.leftOut = set.entryCount() - report.entries;
    report.done = whole && output.isWhole();
    return report;
}

AnnotationReport writeCsvAnnotations(
    const AnnotationSet &set, const QString &path, const AnnotationExchangeOptions &options)
{
    return writeFile(path, [&](QIODevice *device) { return writeCsvAnnotations(set, device, options); });
}

AnnotationReport readCsvAnnotations(
    QIODevice *device, AnnotationSet &set, const AnnotationExchangeOptions &options)
{
    AnnotationReport report;
    CsvImport import(set, report, options);
    if (!openForReading(*device, report, options))
        return report;
    Progress progress(options, report);
    CsvReader reader(*device);
    if (!reader.next() || reader.fault != CsvReader::Fault::None || !import.readHeader(reader.fields)) {
        addProblem(report, AnnotationError::WrongFormat, 0,
            Text::tr("The first row does not name the columns frame, kind and name."));
        return report;
    }
    while (reader.next()) {
        if (reader.fault != CsvReader::Fault::None)
            addFault(report, reader);
        else
            import.readRow(reader.number, reader.fields);
        if (import.isFull() || !progress.reaches(device->pos(), device->size()))
            return report;
    }
    report.done = true;
    return report;
}

AnnotationReport readCsvAnnotations(
    const QString &path, AnnotationSet &set, const AnnotationExchangeOptions &options)
{
    QFile file(path);
    return readCsvAnnotations(&file, set, options);
}
