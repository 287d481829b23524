#include "playback/annotationnamelist.h"

#include "playback/annotationnames.h"

#include <QColorDialog>
#include <QEvent>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QListView>
#include <QToolButton>
#include <QVBoxLayout>

AnnotationNameList::AnnotationNameList(AnnotationNames *names, QWidget *parent)
    : QWidget(parent), names(names ? names : new AnnotationNames(this)), view(new QListView),
      newName(new QLineEdit), colorButton(new QToolButton)
{
    view->setModel(this->names);
    view->setEditTriggers(QAbstractItemView::NoEditTriggers); // names are no text to change here
    view->setUniformItemSizes(true);
    colorButton->setToolButtonStyle(Qt::ToolButtonTextOnly);

    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view, 1);
    auto *const row = new QHBoxLayout;
    row->addWidget(newName, 1);
    row->addWidget(colorButton);
    layout->addLayout(row);
    setFocusProxy(view);

    connect(view->selectionModel(), &QItemSelectionModel::currentChanged, this, &AnnotationNameList::pick);
    connect(view, &QListView::activated, this, &AnnotationNameList::chooseColor);
    connect(newName, &QLineEdit::returnPressed, this, &AnnotationNameList::addTypedName);
    connect(colorButton, &QToolButton::clicked, this, &AnnotationNameList::chooseColor);
    connect(this->names, &AnnotationNames::currentChanged, this, &AnnotationNameList::showCurrent);
    connect(this->names, &AnnotationNames::modelReset, this, &AnnotationNameList::showCurrent);
    connect(
        this->names, &QObject::destroyed, colorButton, [button = colorButton] { button->setEnabled(false); });
    showTexts();
    showCurrent();
}

AnnotationNames *AnnotationNameList::getNames() const
{
    return names;
}

void AnnotationNameList::chooseColor()
{
    if (!names || names->getCurrent().isNull())
        return;
    delete dialog;
    dialog = new QColorDialog(names->getColor(names->getCurrent()), this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(tr("Colour of \"%1\"").arg(names->getCurrent()));
    // The name is the one the dialog was opened for, whatever is current when it closes.
    connect(
        dialog, &QColorDialog::colorSelected, this, [this, name = names->getCurrent()](const QColor &color) {
            if (names)
                names->setColor(name, color);
        });
    dialog->open();
}

void AnnotationNameList::addTypedName()
{
    const QString name = newName->text().trimmed();
    if (name.isEmpty() || !names)
        return;
    names->setCurrent(name);
    newName->clear();
}

void AnnotationNameList::pick(const QModelIndex &index)
{
    // A reset of the model takes the current index away; the name that is in use then stays.
    if (index.isValid() && names)
        names->setCurrent(index.data().toString());
}

void AnnotationNameList::showCurrent()
{
    const int row = names ? names->rowOf(names->getCurrent()) : -1;
    colorButton->setEnabled(row >= 0);
    if (row >= 0)
        view->setCurrentIndex(names->index(row));
}

void AnnotationNameList::showTexts()
{
    setAccessibleName(tr("Annotation names"));
    view->setAccessibleName(tr("Annotation names"));
    view->setToolTip(
        tr("The selected name is given to what is drawn next. Space shows or hides, Return changes "
           "the colour."));
    newName->setAccessibleName(tr("New name"));
    newName->setPlaceholderText(tr("New name"));
    const QFontMetrics metrics = newName->fontMetrics();
    newName->setMinimumWidth(metrics.horizontalAdvance(newName->placeholderText()) + metrics.height());
    colorButton->setText(tr("Colour..."));
    colorButton->setAccessibleName(tr("Change the colour of the selected name"));
}

void AnnotationNameList::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        showTexts();
}
