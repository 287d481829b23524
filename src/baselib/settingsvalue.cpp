#include "baselib/settingsvalue_p.h"

#include "baselib/texthelper.h"

#include <QColor>
#include <QDataStream>
#include <QDateTime>
#include <QMetaType>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <algorithm>
#include <new>
#include <optional>

namespace {

constexpr int maxDepth = 50; // of lists in lists; the reader of the file takes twice as many elements

// Its length, unlike that of QLatin1String's own constructor, is known to every compiler in time.
template <int size> constexpr QLatin1String latin1(const char (&text)[size])
{
    return QLatin1String(text, size - 1);
}

constexpr QLatin1String itemElement = latin1("item");
constexpr QLatin1String typeAttribute = latin1("type");
constexpr QLatin1String keyAttribute = latin1("key");
constexpr QLatin1String encodingAttribute = latin1("encoding");
constexpr QLatin1String escaped = latin1("escaped");
constexpr QLatin1String base64 = latin1("base64");

struct Leaf
{
    QString text;
    QString encoding; // null for plain text
};

bool isContainer(int type)
{
    return type == QMetaType::QStringList || type == QMetaType::QVariantList || type == QMetaType::QVariantMap
        || type == QMetaType::QVariantHash;
}

QString textOf(double number)
{
    return QString::number(number, 'g', QLocale::FloatingPointShortest);
}

QString textOf(std::initializer_list<double> numbers)
{
    QStringList texts;
    for (double number : numbers)
        texts.append(textOf(number));
    return texts.join(QLatin1Char(','));
}

// The numbers of a comma separated list; an empty vector unless there are exactly so many.
QVector<double> numbersOf(const QString &text, int count)
{
    QVector<double> numbers;
    const QStringList parts = text.split(QLatin1Char(','));
    for (const QString &part : parts) {
        bool ok = false;
        numbers.append(part.toDouble(&ok));
        if (!ok)
            return {};
    }
    return numbers.size() == count ? numbers : QVector<double>();
}

// QVariant cuts a number that its type cannot hold.
bool isWithinRange(const QString &text, const QVariant &value)
{
    bool ok = false;
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Long:
    case QMetaType::LongLong:
        return text.toLongLong(&ok) == value.toLongLong() && ok;
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        return text.toULongLong(&ok) == value.toULongLong() && ok;
    default:
        return true;
    }
}

QVariant fromText(const QString &text, int type)
{
    bool ok = false;
    switch (type) {
    case QMetaType::QString:
        return text;
    case QMetaType::Bool: {
        const QString word = text.trimmed().toLower();
        const bool yes = word == QLatin1String("true") || word == QLatin1String("1");
        ok = yes || word == QLatin1String("false") || word == QLatin1String("0");
        return ok ? QVariant(yes) : QVariant();
    }
    case QMetaType::Double:
    case QMetaType::Float: {
        const double number = text.toDouble(&ok);
        if (!ok)
            return {};
        return type == QMetaType::Double ? QVariant(number) : QVariant::fromValue(float(number));
    }
    case QMetaType::QPoint: {
        const QList<QPoint> points = TextHelper::QListPointsFromString(text, &ok);
        return ok && points.size() == 1 ? QVariant(points.first()) : QVariant();
    }
    case QMetaType::QSize: {
        const QList<QPoint> points = TextHelper::QListPointsFromString(text, &ok);
        return ok && points.size() == 1 ? QVariant(QSize(points.first().x(), points.first().y()))
                                        : QVariant();
    }
    case QMetaType::QRect: {
        const QRect rect = TextHelper::QRectFromString(text, &ok);
        return ok ? QVariant(rect) : QVariant();
    }
    case QMetaType::QPointF: {
        const QVector<double> n = numbersOf(text, 2);
        return n.isEmpty() ? QVariant() : QVariant(QPointF(n[0], n[1]));
    }
    case QMetaType::QSizeF: {
        const QVector<double> n = numbersOf(text, 2);
        return n.isEmpty() ? QVariant() : QVariant(QSizeF(n[0], n[1]));
    }
    case QMetaType::QRectF: {
        const QVector<double> n = numbersOf(text, 4);
        return n.isEmpty() ? QVariant() : QVariant(QRectF(n[0], n[1], n[2], n[3]));
    }
    default: {
        QVariant value(text);
        return value.convert(type) && isWithinRange(text, value) ? value : QVariant();
    }
    }
}

bool isExactly(const QVariant &value, const QVariant &other)
{
    if (value.userType() != other.userType() || value != other)
        return false;
    if (value.userType() != QMetaType::QDateTime)
        return true;
    const QDateTime time = value.toDateTime();
    const QDateTime otherTime = other.toDateTime();
    return time.timeSpec() == otherTime.timeSpec() && time.offsetFromUtc() == otherTime.offsetFromUtc();
}

// A text for people that gives the value back exactly.
std::optional<QString> readableText(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::QString:
        return value.toString();
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QMetaType::Double:
    case QMetaType::Float:
        return textOf(value.toDouble());
    case QMetaType::QPoint:
        return TextHelper::QListPointsToString({value.toPoint()});
    case QMetaType::QSize:
        return TextHelper::QListPointsToString({QPoint(value.toSize().width(), value.toSize().height())});
    case QMetaType::QRect:
        return TextHelper::QRectToString(value.toRect());
    case QMetaType::QPointF:
        return textOf({value.toPointF().x(), value.toPointF().y()});
    case QMetaType::QSizeF:
        return textOf({value.toSizeF().width(), value.toSizeF().height()});
    case QMetaType::QRectF: {
        const QRectF rect = value.toRectF();
        return textOf({rect.x(), rect.y(), rect.width(), rect.height()});
    }
    default:
        break;
    }
    if (!value.canConvert<QString>())
        return {};
    const QString text = value.toString();
    return isExactly(fromText(text, value.userType()), value) ? std::optional(text) : std::nullopt;
}

// XML 1.0 knows no control characters but tab and line ends, no halves of a pair and no noncharacters.
bool isXmlText(const QString &text, int position)
{
    const QChar c = text[position];
    if (c.isHighSurrogate())
        return position + 1 < text.size() && text[position + 1].isLowSurrogate();
    if (c.isLowSurrogate())
        return position > 0 && text[position - 1].isHighSurrogate();
    if (c.unicode() < 0x20)
        return c == QLatin1Char('\t') || c == QLatin1Char('\n') || c == QLatin1Char('\r');
    return c.unicode() < 0xFFFE;
}

bool isXmlText(const QString &text)
{
    for (int i = 0; i < text.size(); ++i) {
        if (!isXmlText(text, i))
            return false;
    }
    return true;
}

QString escape(const QString &text)
{
    QString result;
    for (int i = 0; i < text.size(); ++i) {
        if (text[i] == QLatin1Char('\\'))
            result += QLatin1String("\\\\");
        else if (isXmlText(text, i))
            result += text[i];
        else
            result += QStringLiteral("\\u%1").arg(text[i].unicode(), 4, 16, QLatin1Char('0'));
    }
    return result;
}

std::optional<QString> unescape(const QString &text)
{
    QString result;
    for (int i = 0; i < text.size(); ++i) {
        if (text[i] != QLatin1Char('\\')) {
            result += text[i];
        } else if (text.midRef(i + 1, 1) == QLatin1String("\\")) {
            result += text[++i];
        } else {
            bool ok = false;
            const QStringRef code = text.midRef(i + 2, 4);
            const ushort unicode = code.toUShort(&ok, 16);
            if (!ok || code.size() != 4 || text[i + 1] != QLatin1Char('u'))
                return {};
            result += QChar(unicode);
            i += 5;
        }
    }
    return result;
}

// Streams of these hold values of any type, one in the other: their reader's recursion has no bound.
bool mayStream(int type)
{
    return type != QMetaType::UnknownType && type != QMetaType::QVariant && !isContainer(type);
}

std::optional<QByteArray> streamed(const QVariant &value)
{
    if (value.userType() == QMetaType::QByteArray)
        return value.toByteArray();
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_5_12);
    if (!mayStream(value.userType()) || !QMetaType::save(stream, value.userType(), value.constData()))
        return {};
    return bytes;
}

QVariant fromStreamed(const QByteArray &bytes, int type)
{
    if (type == QMetaType::QByteArray)
        return bytes;
    if (!mayStream(type))
        return {};
    QDataStream stream(bytes);
    stream.setVersion(QDataStream::Qt_5_12);
    QVariant value(type, nullptr);
    try {
        if (!QMetaType::load(stream, type, value.data()) || stream.status() != QDataStream::Ok)
            return {};
    } catch (const std::bad_alloc &) {
        // The length of a list is a number in the stream, and this one was never written by us.
        return {};
    }
    return value;
}

std::optional<Leaf> leafOf(const QVariant &value)
{
    if (const auto text = readableText(value)) {
        if (isXmlText(*text))
            return Leaf{*text, {}};
        return Leaf{escape(*text), escaped};
    }
    if (const auto bytes = streamed(value))
        return Leaf{QString::fromLatin1(bytes->toBase64()), base64};
    return {};
}

QVariant readLeaf(QXmlStreamReader &xml, int type)
{
    const QString encoding = xml.attributes().value(encodingAttribute).toString();
    const QString text = xml.readElementText(QXmlStreamReader::SkipChildElements);
    if (encoding.isEmpty())
        return fromText(text, type);
    if (encoding == escaped) {
        const auto plain = unescape(text);
        return plain ? fromText(*plain, type) : QVariant();
    }
    return encoding == base64 ? fromStreamed(QByteArray::fromBase64(text.toLatin1()), type) : QVariant();
}

bool canWriteAt(const QVariant &value, int depth)
{
    if (!value.isValid() || value.userType() == QMetaType::QStringList)
        return true;
    if (!isContainer(value.userType()))
        return leafOf(value).has_value();
    if (depth == maxDepth)
        return false;
    const auto canWriteAll = [depth](const auto &items) {
        return std::all_of(items.cbegin(), items.cend(),
            [depth](const QVariant &item) { return canWriteAt(item, depth + 1); });
    };
    switch (value.userType()) {
    case QMetaType::QVariantList:
        return canWriteAll(value.toList());
    case QMetaType::QVariantMap:
        return canWriteAll(value.toMap());
    default:
        return canWriteAll(value.toHash());
    }
}

void newLine(QXmlStreamWriter &xml, int depth)
{
    xml.writeCharacters(QLatin1Char('\n') + QString(4 * depth, QLatin1Char(' ')));
}

void writeAt(QXmlStreamWriter &xml, const QString &name, const QVariant &value, bool typed, int depth,
    const QString &key = {})
{
    const auto writeItem = [&xml, depth](const QVariant &item, bool itemTyped, const QString &itemKey = {}) {
        newLine(xml, depth + 1);
        writeAt(xml, itemElement, item, itemTyped, depth + 1, itemKey);
    };
    xml.writeStartElement(name);
    if (!key.isNull())
        xml.writeAttribute(keyAttribute, escape(key));
    if (typed && value.isValid())
        xml.writeAttribute(typeAttribute, QString::fromLatin1(value.typeName()));
    const int type = value.userType();
    if (type == QMetaType::QStringList) {
        const QStringList texts = value.toStringList();
        for (const QString &text : texts)
            writeItem(text, false);
    } else if (type == QMetaType::QVariantList) {
        const QVariantList items = value.toList();
        for (const QVariant &item : items)
            writeItem(item, true);
    } else if (type == QMetaType::QVariantMap || type == QMetaType::QVariantHash) {
        const QVariantMap items = value.toMap();
        for (auto item = items.cbegin(); item != items.cend(); ++item)
            writeItem(item.value(), true, item.key().isNull() ? QLatin1String("") : item.key());
    } else if (const auto leaf = leafOf(value)) {
        if (!leaf->encoding.isNull())
            xml.writeAttribute(encodingAttribute, leaf->encoding);
        SettingsValue::writeCharacters(xml, leaf->text);
    }
    if (isContainer(type))
        newLine(xml, depth);
    xml.writeEndElement();
}

QVariant readAt(QXmlStreamReader &xml, int type, int depth)
{
    if (type == QMetaType::QVariant) {
        const QString name = xml.attributes().value(typeAttribute).toString();
        type = QMetaType::type(name.toLatin1());
        if (type == QMetaType::UnknownType || type == QMetaType::QVariant) {
            xml.skipCurrentElement();
            return {};
        }
    }
    if (!isContainer(type))
        return readLeaf(xml, type);

    QStringList texts;
    QVariantList list;
    QVariantMap map;
    while (xml.readNextStartElement()) {
        if (xml.name() != itemElement || depth == maxDepth) {
            xml.skipCurrentElement();
            continue;
        }
        const auto key = unescape(xml.attributes().value(keyAttribute).toString());
        const bool isText = type == QMetaType::QStringList;
        const QVariant item =
            readAt(xml, isText ? int(QMetaType::QString) : int(QMetaType::QVariant), depth + 1);
        if (isText)
            texts.append(item.toString());
        else if (type == QMetaType::QVariantList)
            list.append(item);
        else if (key)
            map.insert(*key, item);
    }
    switch (type) {
    case QMetaType::QStringList:
        return texts;
    case QMetaType::QVariantList:
        return list;
    case QMetaType::QVariantMap:
        return map;
    default: {
        QVariantHash hash;
        for (auto item = map.cbegin(); item != map.cend(); ++item)
            hash.insert(item.key(), item.value());
        return hash;
    }
    }
}

} // namespace

bool SettingsValue::canWrite(const QVariant &value)
{
    return canWriteAt(value, 1);
}

void SettingsValue::write(QXmlStreamWriter &xml, const QString &name, const QVariant &value, bool typed)
{
    writeAt(xml, name, value, typed, 1);
}

QVariant SettingsValue::read(QXmlStreamReader &xml, int type)
{
    return readAt(xml, type, 1);
}

void SettingsValue::writeCharacters(QXmlStreamWriter &xml, const QString &text)
{
    // A reader takes a plain carriage return for a line end and gives a line feed.
    int from = 0;
    for (int end; (end = text.indexOf(QLatin1Char('\r'), from)) >= 0; from = end + 1) {
        xml.writeCharacters(text.mid(from, end - from));
        xml.writeEntityReference(QStringLiteral("#13"));
    }
    // Nothing at all leaves an element in its short form, as it is written again later.
    if (from < text.size())
        xml.writeCharacters(text.mid(from));
}
