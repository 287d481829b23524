#include "baselib/propertyeditor_p.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>

PropertyEditor::PropertyEditor(QWidget *parent) : QWidget(parent), row(new QHBoxLayout(this))
{
    row->setContentsMargins(0, 0, 0, 0);
}

void PropertyEditor::setValue(const QVariant &value)
{
    latest = value;
    if (!isPending())
        display(value);
}

void PropertyEditor::revert()
{
    display(latest);
}

TypedPropertyEditor::TypedPropertyEditor(bool editable, QWidget *parent)
    : PropertyEditor(parent), editable(editable)
{
}

void TypedPropertyEditor::watch(QWidget *keyed, QLineEdit *typed)
{
    keys = keyed;
    line = typed;
    keys->installEventFilter(this);
    updateLook();
    settle();
}

void TypedPropertyEditor::updateLook()
{
    if (editable || !keys)
        return;
    QPalette colors = palette();
    colors.setBrush(QPalette::Base, colors.window());
    keys->setPalette(colors);
}

void TypedPropertyEditor::changeEvent(QEvent *event)
{
    PropertyEditor::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange)
        updateLook();
}

bool TypedPropertyEditor::isPending() const
{
    return line->text() != settled;
}

void TypedPropertyEditor::settle()
{
    settled = line->text();
}

bool TypedPropertyEditor::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::ShortcutOverride && event->type() != QEvent::KeyPress)
        return PropertyEditor::eventFilter(watched, event);
    auto *const key = static_cast<QKeyEvent *>(event);
    const bool typing = isPending();
    const bool isUndo = key->matches(QKeySequence::Undo) || key->matches(QKeySequence::Redo);
    if (isUndo && !typing) {
        // The line would take it for its own text, where nothing is left to undo. It goes to the list
        // instead.
        key->ignore();
        return true;
    }
    if (!key->matches(QKeySequence::Cancel) || !typing)
        return false;
    // Else it would close the dialog.
    key->accept();
    if (event->type() == QEvent::KeyPress)
        revert();
    return true;
}
