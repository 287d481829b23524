#include "baselib/vtsettings.h"

#include "baselib/abstractmetadescriptor.h"
#include "baselib/fileutilities.h"
#include "baselib/globalconsole.h"
#include "baselib/settingsfile_p.h"
#include "baselib/settingsvalue_p.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QMetaClassInfo>
#include <QMetaEnum>
#include <QMetaProperty>
#include <QMutexLocker>
#include <QScopedValueRollback>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <algorithm>
#include <optional>

namespace {

// The indices of the properties that classes below VTSettings declare; of those of one name the last.
template <typename Function> void forEachProperty(const QMetaObject &metaObject, Function &&function)
{
    for (int i = VTSettings::staticMetaObject.propertyCount(); i < metaObject.propertyCount(); ++i) {
        const QMetaProperty property = metaObject.property(i);
        if (metaObject.indexOfProperty(property.name()) == i)
            function(property);
    }
}

// Asks the object each time, because its meta-object is complete only after its construction.
class PropertyDescriptor : public AbstractMetaDescriptor
{
public:
    explicit PropertyDescriptor(const QObject &settings) : settings(settings) { }

    QStringList propertyNames() const override
    {
        QStringList names;
        forEachProperty(*settings.metaObject(),
            [&names](const QMetaProperty &property) { names.append(QString::fromLatin1(property.name())); });
        return names;
    }

    QString declaringClass(const QString &property) const override
    {
        const int index = settings.metaObject()->indexOfProperty(property.toLatin1());
        const QMetaObject *declaring = settings.metaObject();
        while (index >= 0 && index < declaring->propertyOffset())
            declaring = declaring->superClass();
        return index >= 0 ? QString::fromLatin1(declaring->className()) : QString();
    }

    QString info(const QString &property, const QString &suffix) const override
    {
        const int index = settings.metaObject()->indexOfClassInfo((property + suffix).toLatin1());
        return index >= 0 ? QString::fromUtf8(settings.metaObject()->classInfo(index).value()) : QString();
    }

private:
    const QObject &settings;
};

int enumNumber(const QVariant &value)
{
    if (value.canConvert<int>())
        return value.toInt();
    // Flags that are registered as a type of their own do not convert, but they are stored as an int.
    return QMetaType::sizeOf(value.userType()) == sizeof(int) ? *static_cast<const int *>(value.constData())
                                                              : 0;
}

bool isKnown(const QMetaEnum &metaEnum, int number)
{
    bool ok = false;
    if (!metaEnum.isFlag())
        return metaEnum.valueToKey(number);
    return number == 0 || (metaEnum.keysToValue(metaEnum.valueToKeys(number), &ok) == number && ok);
}

QVariant enumText(const QMetaEnum &metaEnum, int number)
{
    if (!isKnown(metaEnum, number))
        return {};
    const QByteArray keys =
        metaEnum.isFlag() ? metaEnum.valueToKeys(number) : QByteArray(metaEnum.valueToKey(number));
    return QString::fromLatin1(keys.isEmpty() ? "0" : keys);
}

QVariant enumValue(const QMetaEnum &metaEnum, const QString &text)
{
    bool ok = false;
    const QByteArray key = text.trimmed().toLatin1();
    int number = key.toInt(&ok);
    if (!ok)
        number = metaEnum.isFlag() ? metaEnum.keysToValue(key, &ok) : metaEnum.keyToValue(key, &ok);
    // A number without a key is no value of the type, and code that switches on it may not expect it.
    return ok && isKnown(metaEnum, number) ? QVariant(number) : QVariant();
}

// What the file is to hold; nothing for a value that it cannot.
std::optional<QVariant> valueToStore(const QMetaProperty &property, const QObject *settings)
{
    QVariant value = property.read(settings);
    if (property.isEnumType()) {
        value = enumText(property.enumerator(), enumNumber(value));
        return value.isValid() ? std::optional(value) : std::nullopt;
    }
    return SettingsValue::canWrite(value) ? std::optional(value) : std::nullopt;
}

QVariant storedValue(const QMetaProperty &property, QXmlStreamReader &xml)
{
    if (!property.isEnumType())
        return SettingsValue::read(xml, property.userType());
    return enumValue(property.enumerator(), SettingsValue::read(xml, QMetaType::QString).toString());
}

struct Stored
{
    QString name;
    QVariant value;
    bool ofAnyType; // the property is a QVariant, so the file has to name the type
    bool changed;
};

// Writes an old document again, token by token, with other values in it. We indent it ourselves: what stands
// inside of foreign elements must keep its white space.
class Merger
{
public:
    Merger(const QVector<Stored> &properties, QByteArray *result) : properties(properties), out(result) { }

    void merge(const QByteArray &old)
    {
        out.writeStartDocument();
        if (old.isEmpty()) {
            newLine(0);
            out.writeStartElement(QLatin1String(SettingsFile::rootElement));
            endRoot();
        }
        QXmlStreamReader in(old);
        in.setNamespaceProcessing(false);
        while (!in.atEnd()) {
            in.readNext();
            take(in);
        }
        out.writeCharacters(QStringLiteral("\n"));
    }

private:
    void take(QXmlStreamReader &in)
    {
        switch (in.tokenType()) {
        case QXmlStreamReader::StartElement:
            startElement(in);
            break;
        case QXmlStreamReader::EndElement:
            if (--depth == 0)
                endRoot();
            else
                out.writeEndElement();
            break;
        case QXmlStreamReader::Characters:
            if (in.isCDATA())
                out.writeCDATA(in.text().toString());
            else if (depth > 1)
                SettingsValue::writeCharacters(out, in.text().toString());
            else if (depth == 1 && !in.isWhitespace()) {
                // Trimmed, or each rewrite would add the white space of its own.
                newLine(1);
                SettingsValue::writeCharacters(out, in.text().toString().trimmed());
            }
            break;
        case QXmlStreamReader::Comment:
            if (depth <= 1)
                newLine(depth);
            out.writeComment(in.text().toString());
            break;
        case QXmlStreamReader::ProcessingInstruction:
            if (depth <= 1)
                newLine(depth);
            out.writeProcessingInstruction(
                in.processingInstructionTarget().toString(), in.processingInstructionData().toString());
            break;
        default:
            break;
        }
    }

    void startElement(QXmlStreamReader &in)
    {
        const QString name = in.qualifiedName().toString();
        if (depth == 1) {
            const Stored *property = find(name);
            if (property && property->changed) {
                // A second element of the name would count more than the first.
                if (!present.contains(name))
                    write(*property);
                present.insert(name);
                in.skipCurrentElement();
                return;
            }
            present.insert(name);
        }
        if (depth <= 1)
            newLine(depth);
        out.writeStartElement(name);
        const QXmlStreamAttributes attributes = in.attributes();
        for (const QXmlStreamAttribute &attribute : attributes)
            out.writeAttribute(attribute.qualifiedName().toString(), attribute.value().toString());
        ++depth;
    }

    void endRoot()
    {
        for (const Stored &property : properties) {
            if (!present.contains(property.name))
                write(property);
        }
        newLine(0);
        out.writeEndElement();
    }

    void write(const Stored &property)
    {
        newLine(1);
        SettingsValue::write(out, property.name, property.value, property.ofAnyType);
    }

    void newLine(int level) { out.writeCharacters(QLatin1Char('\n') + QString(4 * level, QLatin1Char(' '))); }

    const Stored *find(const QString &name) const
    {
        const auto found = std::find_if(properties.cbegin(), properties.cend(),
            [&name](const Stored &property) { return property.name == name; });
        return found != properties.cend() ? &*found : nullptr;
    }

    const QVector<Stored> &properties;
    QXmlStreamWriter out;
    QSet<QString> present; // names of the elements of the old document
    int depth = 0; // of the old document
};

} // namespace

VTSettings::VTSettings(const QString &filePath, bool autoSave, QObject *parent, VTSettingsFormat format)
    : AbstractSettings(parent), path(filePath.isEmpty() ? filePath : QDir().absoluteFilePath(filePath)),
      autoSave(autoSave), descriptor(new PropertyDescriptor(*this))
{
    Q_UNUSED(format) // there is one only
}

VTSettings::~VTSettings() = default;

QString VTSettings::filePath() const
{
    return path;
}

AbstractMetaDescriptor *VTSettings::metaDescriptor()
{
    return descriptor.get();
}

bool VTSettings::reload()
{
    const SettingsFile::Content content =
        nameIsUsable() ? SettingsFile::read(SettingsFile::resolved(path)) : SettingsFile::Content();
    if (content.state == SettingsFile::Content::Missing)
        return false;
    if (content.state != SettingsFile::Content::Good) {
        tell(tr("cannot be read"), content.reason);
        return false;
    }
    readValues(content.bytes);
    return true;
}

void VTSettings::readValues(const QByteArray &bytes)
{
    QXmlStreamReader xml(bytes);
    xml.setNamespaceProcessing(false);
    xml.readNextStartElement();
    const QScopedValueRollback<bool> guard(reloading, true);
    while (xml.readNextStartElement()) {
        const QString name = xml.qualifiedName().toString();
        const QMetaProperty property = storedProperty(name);
        if (!property.isValid()) {
            xml.skipCurrentElement();
            continue;
        }
        const QVariant value = storedValue(property, xml);
        // The setter reports a change that the file has already.
        if ((value.isValid() || property.userType() == QMetaType::QVariant) && property.write(this, value))
            unsaved.remove(name);
        else
            tell(tr("holds no usable value for %1").arg(name), {});
    }
}

void VTSettings::changedProperty(const QString &name)
{
    if (!storedProperty(name).isValid()) {
        if (metaObject()->indexOfProperty(name.toLatin1()) < 0)
            qWarning() << metaObject()->className() << "has no property" << name << "to save";
        return;
    }
    unsaved.insert(name);
    if (autoSave && !reloading)
        save();
}

bool VTSettings::save()
{
    if (unsaved.isEmpty())
        return true;
    QString reason;
    if (writeChanges(&reason)) {
        lastFailure.clear();
        return true;
    }
    if (lastFailure != reason)
        tell(tr("cannot be written, changes stay in memory"), reason);
    lastFailure = reason;
    return false;
}

bool VTSettings::writeChanges(QString *reason)
{
    if (!nameIsUsable()) {
        *reason = tr("no file can have this name");
        return false;
    }
    QVector<Stored> properties;
    forEachProperty(*metaObject(), [&](const QMetaProperty &property) {
        const QString name = QString::fromLatin1(property.name());
        if (!storedProperty(name).isValid())
            return;
        const std::optional<QVariant> value = valueToStore(property, this);
        if (value) {
            const bool ofAnyType = property.userType() == QMetaType::QVariant;
            properties.append({name, *value, ofAnyType, unsaved.contains(name)});
        } else if (unsaved.contains(name)) {
            tell(tr("cannot hold the value of %1").arg(name), {});
        }
    });

    const QString target = SettingsFile::resolved(path);
    if (!FileUtilities::createIfNotExists(QFileInfo(target).path())) {
        *reason = tr("its folder cannot be made");
        return false;
    }
    // From here on no code of a subclass runs, as it could come back for the same lock.
    const QMutexLocker lock(&SettingsFile::lockOf(target));
    const SettingsFile::Content content = SettingsFile::read(target);
    if (content.state == SettingsFile::Content::Unreadable) {
        *reason = content.reason;
        return false;
    }
    if (content.state == SettingsFile::Content::Broken && !SettingsFile::keepBroken(target, reason))
        return false;
    QByteArray next;
    Merger(properties, &next).merge(content.bytes);
    if (next != content.bytes && !SettingsFile::replace(target, next, reason))
        return false;
    unsaved.clear();
    return true;
}

QMetaProperty VTSettings::storedProperty(const QString &name) const
{
    const int index = metaObject()->indexOfProperty(name.toLatin1());
    if (index < staticMetaObject.propertyCount())
        return {};
    const QMetaProperty property = metaObject()->property(index);
    return property.isReadable() && property.isWritable() && property.isStored(this) ? property
                                                                                     : QMetaProperty();
}

bool VTSettings::nameIsUsable() const
{
    // The system would take a name with a null character for a shorter one.
    return !path.isEmpty() && !path.endsWith(QLatin1Char('/')) && !path.contains(QChar(0));
}

void VTSettings::tell(const QString &what, const QString &reason) const
{
    const QString line = tr("Settings file %1 %2").arg(path, what);
    GlobalConsole::writeLine(
        reason.isEmpty() ? line : line + QLatin1String(": ") + reason, QDateTime::currentDateTime());
}
