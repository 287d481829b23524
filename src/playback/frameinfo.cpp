#include "playback/frameinfo.h"

#include "baselib/texthelper.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QPolygon>
#include <QSequentialIterable>

namespace {

// Gives each entry of a section to store(name, value); only the first key of an object counts.
template <typename Store> void readSection(const QJsonObject &json, QLatin1String key, Store store)
{
    const QJsonArray section = json.value(key).toArray();
    for (const auto &element : section) {
        const QJsonObject entry = element.toObject();
        const auto first = entry.constBegin();
        if (first != entry.constEnd())
            store(first.key(), first.value());
    }
}

template <typename Map, typename ToJson>
void writeSection(QJsonObject *json, QLatin1String key, const Map &entries, ToJson toJson)
{
    if (entries.isEmpty())
        return;
    QJsonArray section;
    for (auto entry = entries.constBegin(); entry != entries.constEnd(); ++entry) {
        QJsonObject object;
        object.insert(entry.key(), toJson(entry.value()));
        section.append(object);
    }
    json->insert(key, section);
}

// An invalid variant if there is no entry of the name.
template <typename Map> QVariant variantOf(const Map &entries, const QString &name)
{
    const auto entry = entries.constFind(name);
    return entry == entries.constEnd() ? QVariant() : QVariant::fromValue(entry.value());
}

// False if the value is no list of points.
bool pointsOf(const QVariant &value, QList<QPoint> *points)
{
    if (value.userType() == QMetaType::QPolygon) {
        *points = value.value<QPolygon>().toList();
        return true;
    }
    if (!value.canConvert<QVariantList>())
        return false;
    const auto list = value.value<QSequentialIterable>();
    for (const QVariant &item : list) {
        if (item.userType() != QMetaType::QPoint && item.userType() != QMetaType::QPointF)
            return false;
        points->append(item.toPoint());
    }
    return true;
}

} // namespace

FrameInfo::FrameInfo(int frame, QObject *parent) : QObject(parent), frameNumber(frame) { }

FrameInfo::FrameInfo(QJsonObject json, QObject *parent)
    : QObject(parent), frameNumber(json.value(QLatin1String("frame")).toInt(0))
{
    readSection(json, QLatin1String("comments"),
        [this](const QString &name, const QJsonValue &value) { setComment(name, value.toString()); });
    readSection(json, QLatin1String("percents"),
        [this](const QString &name, const QJsonValue &value) { setPercent(name, value.toInt(0)); });
    readSection(json, QLatin1String("rects"), [this](const QString &name, const QJsonValue &value) {
        setRect(name, TextHelper::QRectFromString(value.toString()));
    });
    readSection(json, QLatin1String("values"),
        [this](const QString &name, const QJsonValue &value) { setValue(name, value.toDouble(0.0)); });
    readSection(json, QLatin1String("bools"),
        [this](const QString &name, const QJsonValue &value) { setBool(name, value.toBool(false)); });
    readSection(json, QLatin1String("points"), [this](const QString &name, const QJsonValue &value) {
        setPoints(name, TextHelper::QListPointsFromString(value.toString()));
    });
}

int FrameInfo::getPercent(QString name)
{
    return percents.value(name, 0);
}

double FrameInfo::getValue(QString name)
{
    return values.value(name, 0.0);
}

QRect FrameInfo::getRect(QString name)
{
    return rects.value(name);
}

QString FrameInfo::getComment(QString name) const
{
    return comments.value(name);
}

bool FrameInfo::getBool(QString name)
{
    return bools.value(name, false);
}

QList<QPoint> FrameInfo::getPoints(QString name)
{
    return points.value(name);
}

int FrameInfo::getFrameNumber()
{
    return frameNumber;
}

template <typename Type, typename Signal>
void FrameInfo::store(QMap<QString, Type> *entries, const QString &name, const Type &value, Signal changed)
{
    entries->insert(name, value);
    changing();
    Q_EMIT(this->*changed)(frameNumber, name, value);
    Q_EMIT somethingChanged(frameNumber);
}

void FrameInfo::setPercent(QString name, int value)
{
    store(&percents, name, value, &FrameInfo::percentChanged);
}

void FrameInfo::setValue(QString name, double value)
{
    store(&values, name, value, &FrameInfo::valueChanged);
}

void FrameInfo::setRect(QString name, QRect value)
{
    store(&rects, name, value, &FrameInfo::rectChanged);
}

void FrameInfo::setComment(QString name, QString value)
{
    store(&comments, name, value, &FrameInfo::commentChanged);
}

void FrameInfo::setBool(QString name, bool value)
{
    store(&bools, name, value, &FrameInfo::boolChanged);
}

void FrameInfo::setPoints(QString name, QList<QPoint> value)
{
    store(&points, name, value, &FrameInfo::pointsChanged);
}

void FrameInfo::set(InfoDataType type, QString name, QVariant value)
{
    switch (type) {
    case Percent:
        return setPercent(name, value.toInt());
    case Value:
        return setValue(name, value.toDouble());
    case Rect:
        return setRect(name, value.toRect());
    case Comment:
        return setComment(name, value.toString());
    case Bool:
        return setBool(name, value.toBool());
    case Points:
        break;
    }
    QList<QPoint> list;
    if (type == Points && pointsOf(value, &list))
        setPoints(name, list);
}

QVariant FrameInfo::get(InfoDataType type, const QString &name) const
{
    switch (type) {
    case Percent:
        return variantOf(percents, name);
    case Value:
        return variantOf(values, name);
    case Rect:
        return variantOf(rects, name);
    case Comment:
        return variantOf(comments, name);
    case Bool:
        return variantOf(bools, name);
    case Points:
        break;
    }
    // Without it, variants of equal lists would compare as different.
    static const bool comparable = QMetaType::registerEqualsComparator<QList<QPoint>>();
    return type == Points && comparable ? variantOf(points, name) : QVariant();
}

QStringList FrameInfo::getNames(InfoDataType type)
{
    switch (type) {
    case Percent:
        return percents.keys();
    case Value:
        return values.keys();
    case Rect:
        return rects.keys();
    case Comment:
        return comments.keys();
    case Bool:
        return bools.keys();
    case Points:
        return points.keys();
    }
    return {};
}

bool FrameInfo::contains(InfoDataType type, QString name)
{
    return get(type, name).isValid();
}

int FrameInfo::count() const
{
    return percents.size() + values.size() + rects.size() + comments.size() + points.size() + bools.size();
}

bool FrameInfo::equals(const FrameInfo &other) const
{
    return frameNumber == other.frameNumber && percents == other.percents && values == other.values
        && rects == other.rects && comments == other.comments && points == other.points
        && bools == other.bools;
}

QJsonObject FrameInfo::toJson()
{
    const auto same = [](const auto &value) { return QJsonValue(value); };
    QJsonObject json;
    json.insert(QLatin1String("frame"), frameNumber);
    writeSection(&json, QLatin1String("comments"), comments, same);
    writeSection(&json, QLatin1String("values"), values, same);
    writeSection(&json, QLatin1String("percents"), percents, same);
    writeSection(&json, QLatin1String("rects"), rects, &TextHelper::QRectToString);
    writeSection(&json, QLatin1String("bools"), bools, same);
    writeSection(&json, QLatin1String("points"), points, &TextHelper::QListPointsToString);
    return json;
}

QString FrameInfo::toJsonString()
{
    if (text.isNull())
        text = TextHelper::toJsonString(toJson(), QJsonDocument::Compact);
    return text;
}

void FrameInfo::changing()
{
    text.clear();
    if (changeMark)
        *changeMark = true;
}
