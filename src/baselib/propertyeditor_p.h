#pragma once

#include <QMetaProperty>
#include <QString>
#include <QVariant>
#include <QWidget>

class QHBoxLayout;
class QLineEdit;

/** What the editor of a property has to know about it. */
struct PropertyTraits
{
    QMetaProperty property;
    QString specialType; // lower case; empty for none
    QString minimum; // as in the class-info; null for none, as the next two
    QString maximum;
    QString step;
    bool editable = false;
};

/**
 * Is the field for one property. It neither reads nor writes it: its owner sets the value and takes what the
 * user enters.
 *
 * \thread GUI thread.
 */
class PropertyEditor : public QWidget
{
    Q_OBJECT

public:
    /** The field that suits the type; one that only shows a text for a type that nothing here can edit. */
    static PropertyEditor *create(const PropertyTraits &traits, QWidget *parent);

    /** The same for what is neither a number nor a choice. */
    static PropertyEditor *createText(const PropertyTraits &traits, QWidget *parent);

    /** Shows \a value. What the user has begun to type stays until it is finished. */
    void setValue(const QVariant &value);

    /** Something is typed that has not been handed over yet. */
    virtual bool isPending() const { return false; }

    /** Hands over what is typed. */
    virtual void commit() { }

    /** Gives up what is typed. */
    void revert();

    /** Where a row's label leads to. */
    virtual QWidget *input() const = 0;

    /** The field carries the label itself. */
    virtual bool hasOwnLabel() const { return false; }

    /** Names the field, and its own texts, in the language of now. */
    virtual void retranslate(const QString &label) { input()->setAccessibleName(label); }

Q_SIGNALS:
    /** The user wants \a value. \param continues it is one of a series of small steps. */
    void edited(const QVariant &value, bool continues);

protected:
    explicit PropertyEditor(QWidget *parent);

    virtual void display(const QVariant &value) = 0;

    QHBoxLayout *row;
    QVariant latest; // the property's value
};

/**
 * Is the base of fields that are typed into: Escape gives up what is typed, Ctrl+Z is the text's until then.
 *
 * One that is not editable can still be read with the cursor keys, and copied.
 */
class TypedPropertyEditor : public PropertyEditor
{
    Q_OBJECT

public:
    bool isPending() const override;

protected:
    TypedPropertyEditor(bool editable, QWidget *parent);

    /** To be called with the widget that takes the keys and the line that shows the text. */
    void watch(QWidget *keys, QLineEdit *line);

    /** To be called when the text is what the property holds, or is handed over. */
    void settle();

    bool eventFilter(QObject *watched, QEvent *event) override;
    void changeEvent(QEvent *event) override;

    const bool editable;

private:
    void updateLook();

    QWidget *keys = nullptr;
    QLineEdit *line = nullptr;
    QString settled; // the text when it was no typing
};
