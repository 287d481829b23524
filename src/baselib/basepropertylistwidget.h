#pragma once

#include "varnhold_export.h"

#include <QMetaEnum>
#include <QMetaProperty>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QWidget>

class AbstractSettings;
class QUndoStack;

/**
 * Is the base of widgets that show the properties of a settings object: what is listed, what it is called,
 * and changes that can be undone. The subclass brings the fields.
 *
 * Class-info keys, the property's name with a suffix behind it, steer it (see AbstractMetaDescriptor):
 *
 * - `NotVisible` "true": the property is not listed.
 * - `Editable` "true": it can be changed. Without this key it is shown only.
 * - `Default`: what reset() sets where the property has no reset function of its own. An enumeration's value
 *   is its key, with or without scopes in front.
 *
 * Texts are looked up with QCoreApplication::translate(): properties by their name and groups by the name of
 * their class in the context "Generic", the values of an enumeration by their key in a context of the
 * enumeration's name, such as "CameraRotation". A name without a translation is made readable: "UseMask" is
 * shown as "Use mask".
 *
 * The widget follows each notify signal. Properties without one are looked at again when the widget is shown
 * and after each change that is made in it.
 *
 * \thread GUI thread. A notify signal may come from any thread, and the property is then read on the GUI
 * thread: settings that are changed elsewhere need getters that may be called at the same time.
 */
class VARNHOLD_EXPORT BasePropertyListWidget : public QWidget
{
    Q_OBJECT

public:
    ~BasePropertyListWidget() override;

    /** What is shown; null if there is nothing, or nothing any more. */
    AbstractSettings *settings() const;

    /**
     * Shows the properties of \a settings, or none for null. What is typed counts for those before; what
     * could be undone is forgotten.
     *
     * \ownership The caller's. It may be deleted on the GUI thread at any time; the list is empty then.
     */
    void setSettings(AbstractSettings *settings);

    /** The names of the listed properties, in the descriptor's order. */
    QStringList properties() const;

    bool isEditable(const QString &property) const;

    /** True if reset() knows what to set. */
    bool hasDefault(const QString &property) const;

    /** True if the value is the one of the `Default` key. */
    bool isDefault(const QString &property) const;

    /** The value now; of an enumeration its number. Invalid for a name that is not listed. */
    QVariant value(const QString &property) const;

    QString label(const QString &property) const;
    QString groupLabel(const QString &property) const;

    /** The text for the key at \a index of \a metaEnum. */
    static QString enumLabel(const QMetaEnum &metaEnum, int index);

    /**
     * Sets a listed, editable property as a user does, so that it can be undone.
     *
     * \param continues the last change of the property, a moment ago, and this one are undone together.
     * \return true if the property has another value now, be it that or one that its setter preferred.
     */
    bool setValue(const QString &property, const QVariant &value, bool continues = false);

    /** Sets a listed, editable property to its default, by its reset function if it has one; as setValue().
     */
    bool reset(const QString &property);

    /** Makes what is typed in a field count, for fields that wait until it is finished. */
    virtual void commit();

    /** The changes made in this widget; a host may put it into a QUndoGroup. */
    QUndoStack *undoStack() const;

Q_SIGNALS:
    /** The user, or a call as of one, has changed \a property. */
    void propertyEdited(const QString &property);

protected:
    explicit BasePropertyListWidget(QWidget *parent = nullptr);

    /** Makes the fields for properties() in place of those before, without their values. */
    virtual void build() = 0;

    /** Shows value() in the field of \a property; this is no change by the user. */
    virtual void showValue(const QString &property) = 0;

    /** Shows all texts in the language of now. */
    virtual void retranslate() = 0;

    QMetaProperty metaProperty(const QString &property) const;

    /** The class-info value for \a property; null if there is none. */
    QString info(const QString &property, const QString &suffix) const;

    void showValues();

    void changeEvent(QEvent *event) override;
    void showEvent(QShowEvent *event) override;

private Q_SLOTS:
    void settingsNotified();
    void settingsDestroyed();

private:
    class Edit;

    bool isListed(const QString &property) const;
    QVariant defaultValue(const QString &property) const;
    void write(const QString &property, const QVariant &value);
    bool finishEdit(const QString &property, const QVariant &before, bool continues);

    QPointer<AbstractSettings> shown;
    QStringList listed;
    QUndoStack *stack;
};
