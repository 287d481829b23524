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

void TypedPropertyEditor::watch(QWidget *keys, QLineEdit *typed)
{
    line = typed;
    keys->installEventFilter(this);
    settle();
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
