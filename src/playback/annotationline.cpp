#include "playback/annotationline_p.h"

#include "baselib/texthelper.h"
#include "playback/frameinfo.h"

#include <QJsonArray>
#include <QLocale>

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

// Walks through a line; each step is false where the text is not the one that we would write.
class Walk
{
public:
    explicit Walk(const QByteArray &line) : at(line.constData()), end(at + line.size()) { }

    bool atEnd() const { return at == end; }

    template <std::size_t size> bool skip(const char (&text)[size])
    {
        constexpr std::ptrdiff_t length = size - 1;
        if (end - at < length || std::memcmp(at, text, length) != 0)
            return false;
        at += length;
        return true;
    }

    // A text between quotes without anything that JSON escapes.
    bool string(QString *text)
    {
        if (!skip("\""))
            return false;
        const char *const begin = at;
        bool ascii = true;
        for (; at != end && *at != '"'; ++at) {
            const auto byte = static_cast<unsigned char>(*at);
            if (byte < 0x20 || byte == '\\')
                return false;
            ascii = ascii && byte < 0x80;
        }
        const int length = int(at - begin);
        if (ascii) {
            *text = QString::fromLatin1(begin, length);
        } else {
            *text = QString::fromUtf8(begin, length);
            if (text->toUtf8() != QByteArray::fromRawData(begin, length)) // not well formed
                return false;
        }
        return skip("\"");
    }

    bool integer(int *number)
    {
        const bool negative = skip("-");
        const char *const digits = at;
        qint64 value = 0;
        for (; at != end && *at >= '0' && *at <= '9'; ++at) {
            value = value * 10 + (*at - '0');
            if (at - digits > 10)
                return false;
        }
        if (at == digits || (*digits == '0' && (negative || at - digits > 1)))
            return false;
        if (negative)
            value = -value;
        *number = int(value);
        return *number == value;
    }

    bool real(double *number)
    {
        const char *const begin = at;
        int whole = 0;
        const bool isWhole = integer(&whole);
        if (at == end || std::strchr(".eE+-", *at) == nullptr) {
            *number = whole;
            return isWhole && std::abs(whole) < 1'000'000;
        }
        while (at != end && std::strchr("0123456789.eE+-", *at) != nullptr && *at != '\0')
            ++at;
        const QByteArray token(begin, int(at - begin));
        bool ok = false;
        *number = token.toDouble(&ok);
        // Large whole numbers are written in more than one way, so they are left to the general reader.
        return ok && *number != std::trunc(*number)
            && QByteArray::number(*number, 'g', QLocale::FloatingPointShortest) == token;
    }

    bool boolean(bool *value)
    {
        *value = skip("true");
        return *value || skip("false");
    }

    // TextHelper alone knows its texts, so what is read here is right if it gives the same text again.
    bool rect(QRect *value)
    {
        const char *const begin = at;
        int x = 0, y = 0, width = 0, height = 0;
        if (!skip("\"") || !integer(&x) || !skip(",") || !integer(&y) || !skip(",") || !integer(&width)
            || !skip(",") || !integer(&height) || !skip("\""))
            return false;
        const qint64 right = qint64(x) + width - 1;
        const qint64 bottom = qint64(y) + height - 1;
        *value = QRect(QPoint(x, y), QPoint(int(right), int(bottom)));
        return value->right() == right && value->bottom() == bottom
            && isQuoted(TextHelper::QRectToString(*value), begin);
    }

    bool points(QList<QPoint> *value)
    {
        const char *const begin = at;
        if (!skip("\""))
            return false;
        while (at != end && *at != '"') {
            int x = 0, y = 0;
            if (!integer(&x) || !skip(",") || !integer(&y))
                return false;
            value->append(QPoint(x, y));
            if (!skip(";"))
                break;
        }
        return skip("\"") && isQuoted(TextHelper::QListPointsToString(*value), begin);
    }

    // The entries of a section behind its opening bracket, and that which closes it.
    template <typename Value> bool entries(QMap<QString, Value> *map, bool (Walk::*value)(Value *))
    {
        QString name;
        do {
            const bool first = map->isEmpty();
            Value entry{};
            if (!skip("{") || !string(&name) || !skip(":") || !(this->*value)(&entry) || !skip("}"))
                return false;
            if (!first && !(map->lastKey() < name))
                return false;
            map->insert(map->constEnd(), name, entry);
        } while (skip(","));
        return skip("]");
    }

private:
    // Tells whether the text between quotes is what stands from begin to here.
    bool isQuoted(const QString &text, const char *begin) const
    {
        return text == QLatin1String(begin + 1, int(at - begin) - 2);
    }

    const char *at;
    const char *end;
};

using Holds = bool (*)(const QJsonValue &);

bool holdsSection(const QJsonValue &value, Holds holds)
{
    if (!value.isArray())
        return false;
    const QJsonArray section = value.toArray();
    QStringList names;
    for (const auto &element : section) {
        const QJsonObject entry = element.toObject();
        if (entry.size() != 1 || !holds(entry.constBegin().value()))
            return false;
        names.append(entry.constBegin().key());
    }
    return names.removeDuplicates() == 0;
}

bool isInteger(const QJsonValue &value)
{
    // Two defaults, since each could be the number itself.
    return value.toInt(0) == value.toInt(1);
}

bool isRect(const QJsonValue &value)
{
    const QString text = value.toString();
    const QRect rect = TextHelper::QRectFromString(text);
    return rect != QRect() || text == TextHelper::QRectToString(rect);
}

bool arePoints(const QJsonValue &value)
{
    const QString text = value.toString();
    return value.isString() && (text.isEmpty() || !TextHelper::QListPointsFromString(text).isEmpty());
}

} // namespace

std::unique_ptr<FrameInfo> AnnotationLine::readPlain(const QByteArray &line)
{
    auto record = std::make_unique<FrameInfo>(0);
    Walk walk(line);
    // The order of the keys is that of their names, as QJsonObject has them.
    if (!walk.skip("{"))
        return nullptr;
    if (walk.skip("\"bools\":[") && !(walk.entries(&record->bools, &Walk::boolean) && walk.skip(",")))
        return nullptr;
    if (walk.skip("\"comments\":[") && !(walk.entries(&record->comments, &Walk::string) && walk.skip(",")))
        return nullptr;
    if (!walk.skip("\"frame\":") || !walk.integer(&record->frameNumber))
        return nullptr;
    if (walk.skip(",\"percents\":[") && !walk.entries(&record->percents, &Walk::integer))
        return nullptr;
    if (walk.skip(",\"points\":[") && !walk.entries(&record->points, &Walk::points))
        return nullptr;
    if (walk.skip(",\"rects\":[") && !walk.entries(&record->rects, &Walk::rect))
        return nullptr;
    if (walk.skip(",\"values\":[") && !walk.entries(&record->values, &Walk::real))
        return nullptr;
    if (!walk.skip("}") || !walk.atEnd())
        return nullptr;
    record->text = QString::fromUtf8(line);
    return record;
}

bool AnnotationLine::hasNumber(const QJsonObject &json)
{
    return isInteger(json.value(QLatin1String("frame")));
}

bool AnnotationLine::holdsAll(const QJsonObject &json)
{
    for (auto section = json.constBegin(); section != json.constEnd(); ++section) {
        const QString key = section.key();
        const QJsonValue value = section.value();
        bool holds = false;
        if (key == QLatin1String("frame"))
            holds = isInteger(value);
        else if (key == QLatin1String("comments"))
            holds = holdsSection(value, [](const QJsonValue &entry) { return entry.isString(); });
        else if (key == QLatin1String("bools"))
            holds = holdsSection(value, [](const QJsonValue &entry) { return entry.isBool(); });
        else if (key == QLatin1String("values"))
            holds = holdsSection(value, [](const QJsonValue &entry) { return entry.isDouble(); });
        else if (key == QLatin1String("percents"))
            holds = holdsSection(value, &isInteger);
        else if (key == QLatin1String("rects"))
            holds = holdsSection(value, &isRect);
        else if (key == QLatin1String("points"))
            holds = holdsSection(value, &arePoints);
        if (!holds)
            return false;
    }
    return true;
}
