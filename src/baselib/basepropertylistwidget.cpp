#include "baselib/basepropertylistwidget.h"

#include "baselib/abstractmetadescriptor.h"
#include "baselib/abstractsettings.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QRegularExpression>
#include <QSignalBlocker>
#include <QUndoStack>

namespace {

constexpr int undoLimit = 200;
constexpr qint64 continuedWithinMs = 1000;

// "IPCameraSettings" as "IP camera settings".
QString readable(const QString &name)
{
    static const QRegularExpression seam(
        QStringLiteral("(?<=[a-z0-9])(?=[A-Z])|(?<=[A-Z])(?=[A-Z][a-z])|(?<=[a-z])(?=[0-9])|_+"));
    QStringList words = QString(name).replace(seam, QStringLiteral(" ")).split(QLatin1Char(' '));
    for (QString &word : words) {
        if (&word != &words.first() && word.size() > 1 && word.at(1).isLower())
            word[0] = word.at(0).toLower();
    }
    QString text = words.join(QLatin1Char(' ')).trimmed();
    if (!text.isEmpty())
        text[0] = text.at(0).toUpper();
    return text;
}

QString translated(const QByteArray &context, const QString &name)
{
    const QByteArray source = name.toUtf8();
    const QString text = QCoreApplication::translate(context, source);
    return text == name ? readable(name) : text;
}

bool isTrue(const QString &info)
{
    return info.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0 || info == QLatin1String("1");
}

QVariant enumFromText(const QMetaEnum &metaEnum, const QString &text)
{
    QStringList keys = text.split(QLatin1Char('|'), Qt::SkipEmptyParts);
    for (QString &key : keys)
        key = key.section(QStringLiteral("::"), -1).trimmed();
    bool ok = false;
    const int number = metaEnum.keysToValue(keys.join(QLatin1Char('|')).toLatin1(), &ok);
    return ok ? QVariant(number) : QVariant();
}

} // namespace

class BasePropertyListWidget::Edit : public QUndoCommand
{
public:
    Edit(BasePropertyListWidget *list, const QString &property, const QVariant &before, const QVariant &after,
        bool continues)
        : QUndoCommand(list->label(property)), list(list), property(property), before(before), after(after),
          continues(continues)
    {
        age.start();
    }

    int id() const override { return 1; }

    bool mergeWith(const QUndoCommand *command) override
    {
        const auto *const next = static_cast<const Edit *>(command);
        if (!continues || !next->continues || next->property != property || age.hasExpired(continuedWithinMs))
            return false;
        after = next->after;
        age.start();
        setObsolete(after == before);
        return true;
    }

    void undo() override { list->write(property, before); }

    void redo() override
    {
        // Pushing calls it, when all is done already.
        if (done)
            list->write(property, after);
        done = true;
    }

private:
    BasePropertyListWidget *const list; // owns the stack
    const QString property;
    const QVariant before;
    QVariant after;
    const bool continues;
    QElapsedTimer age; // since the last change that it holds
    bool done = false;
};

BasePropertyListWidget::BasePropertyListWidget(QWidget *parent) : QWidget(parent), stack(new QUndoStack(this))
{
    stack->setUndoLimit(undoLimit);
}

BasePropertyListWidget::~BasePropertyListWidget()
{
    // A stack tells that it loses its commands, even to a subclass that is gone already.
    const QSignalBlocker blocker(stack);
    stack->clear();
}

AbstractSettings *BasePropertyListWidget::settings() const
{
    return shown;
}

void BasePropertyListWidget::setSettings(AbstractSettings *settings)
{
    if (shown) {
        commit();
        shown->disconnect(this);
    }
    shown = settings;
    listed.clear();
    stack->clear();
    if (shown) {
        connect(shown, &QObject::destroyed, this, &BasePropertyListWidget::settingsDestroyed);
        const QMetaMethod slot = staticMetaObject.method(staticMetaObject.indexOfSlot("settingsNotified()"));
        const QStringList names = shown->metaDescriptor()->propertyNames();
        for (const QString &name : names) {
            const QMetaProperty property = metaProperty(name);
            if (!property.isReadable() || isTrue(info(name, QStringLiteral("NotVisible"))))
                continue;
            listed.append(name);
            // Unique, as several properties may share a signal.
            if (property.hasNotifySignal())
                connect(shown, property.notifySignal(), this, slot, Qt::UniqueConnection);
        }
    }
    build();
    retranslate();
    showValues();
}

void BasePropertyListWidget::settingsDestroyed()
{
    // The signal may have waited in the queue while other settings took their place.
    if (!shown)
        setSettings(nullptr);
}

void BasePropertyListWidget::settingsNotified()
{
    if (!shown || sender() != shown)
        return;
    const int signal = senderSignalIndex();
    const QStringList names = listed; // showing may lead to another list
    for (const QString &name : names) {
        if (metaProperty(name).notifySignalIndex() == signal)
            showValue(name);
    }
}

QStringList BasePropertyListWidget::properties() const
{
    return listed;
}

bool BasePropertyListWidget::isListed(const QString &property) const
{
    return shown && listed.contains(property);
}

QMetaProperty BasePropertyListWidget::metaProperty(const QString &property) const
{
    if (!shown)
        return {};
    const QMetaObject *const metaObject = shown->metaObject();
    return metaObject->property(metaObject->indexOfProperty(property.toLatin1()));
}

QString BasePropertyListWidget::info(const QString &property, const QString &suffix) const
{
    return shown ? shown->metaDescriptor()->info(property, suffix) : QString();
}

bool BasePropertyListWidget::isEditable(const QString &property) const
{
    return isListed(property) && metaProperty(property).isWritable()
        && isTrue(info(property, QStringLiteral("Editable")));
}

QVariant BasePropertyListWidget::defaultValue(const QString &property) const
{
    const QString text = info(property, QStringLiteral("Default"));
    const QMetaProperty meta = metaProperty(property);
    if (text.isNull() || !meta.isValid())
        return {};
    if (meta.isEnumType())
        return enumFromText(meta.enumerator(), text);
    QVariant value(text);
    return value.convert(meta.userType()) ? value : QVariant();
}

bool BasePropertyListWidget::hasDefault(const QString &property) const
{
    return isListed(property) && (metaProperty(property).isResettable() || defaultValue(property).isValid());
}

bool BasePropertyListWidget::isDefault(const QString &property) const
{
    const QVariant preset = defaultValue(property);
    return preset.isValid() && preset == value(property);
}

QVariant BasePropertyListWidget::value(const QString &property) const
{
    if (!isListed(property))
        return {};
    const QMetaProperty meta = metaProperty(property);
    QVariant value = meta.read(shown);
    if (!meta.isEnumType() || value.userType() == QMetaType::Int)
        return value;
    // Flags of a registered type do not convert, but they are stored as an int.
    return value.canConvert<int>() ? value.toInt() : *static_cast<const int *>(value.constData());
}

QString BasePropertyListWidget::label(const QString &property) const
{
    return translated("Generic", property);
}

QString BasePropertyListWidget::groupLabel(const QString &property) const
{
    const QString name = shown ? shown->metaDescriptor()->declaringClass(property) : QString();
    return translated("Generic", name.section(QStringLiteral("::"), -1));
}

QString BasePropertyListWidget::enumLabel(const QMetaEnum &metaEnum, int index)
{
    return translated(metaEnum.enumName(), QString::fromLatin1(metaEnum.key(index)));
}

bool BasePropertyListWidget::setValue(const QString &property, const QVariant &value, bool continues)
{
    if (!isEditable(property))
        return false;
    const QVariant before = this->value(property);
    if (before != value)
        metaProperty(property).write(shown, value);
    return finishEdit(property, before, continues);
}

bool BasePropertyListWidget::reset(const QString &property)
{
    if (!isEditable(property) || !hasDefault(property))
        return false;
    const QVariant before = value(property);
    const QMetaProperty meta = metaProperty(property);
    if (!meta.isResettable() || !meta.reset(shown))
        meta.write(shown, defaultValue(property));
    return finishEdit(property, before, false);
}

bool BasePropertyListWidget::finishEdit(const QString &property, const QVariant &before, bool continues)
{
    if (!isListed(property)) // its setter may have ended the settings
        return true;
    const QVariant after = value(property);
    const bool changed = after != before;
    if (changed)
        stack->push(new Edit(this, property, before, after, continues));
    showValue(property);
    showValues();
    if (changed)
        Q_EMIT propertyEdited(property);
    return changed;
}

void BasePropertyListWidget::write(const QString &property, const QVariant &value)
{
    if (!isListed(property))
        return;
    metaProperty(property).write(shown, value);
    showValues();
    Q_EMIT propertyEdited(property);
}

void BasePropertyListWidget::commit() { }

void BasePropertyListWidget::showValues()
{
    const QStringList names = listed;
    for (const QString &name : names) {
        if (isListed(name))
            showValue(name);
    }
}

QUndoStack *BasePropertyListWidget::undoStack() const
{
    return stack;
}

void BasePropertyListWidget::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        retranslate();
}

void BasePropertyListWidget::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    showValues();
}
