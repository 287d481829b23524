#pragma once

#include "vtcv_export.h"

#include <QPointer>
#include <QWidget>

class AnnotationNames;
class QColorDialog;
class QLineEdit;
class QListView;
class QModelIndex;
class QToolButton;

/**
 * Shows the names of annotations, with colours and check boxes, and picks the one for the next drawn item.
 *
 *     auto *names = new AnnotationNameList;
 *     overlay->setNames(names->getNames());
 *     layout->addWidget(names);
 *
 * The selected name is that of AnnotationNames::getCurrent(). Keys: up and down choose, space shows or hides
 * the name's annotations, Return (or a double click, or the button below) changes its colour. A name that is
 * typed into the field below joins the list with Return.
 *
 * \thread GUI thread.
 */
class VTCV_EXPORT AnnotationNameList : public QWidget
{
    Q_OBJECT

public:
    /** \param names is looked at and changed; null makes a list of its own. \ownership The caller's. */
    explicit AnnotationNameList(AnnotationNames *names = nullptr, QWidget *parent = nullptr);

    /** What is shown. Null only after its owner has deleted it. */
    AnnotationNames *getNames() const;

    /** Opens the dialog for the colour of the current name. It takes the new colour when it is accepted. */
    void chooseColor();

protected:
    void changeEvent(QEvent *event) override;

private:
    void addTypedName();
    void pick(const QModelIndex &index);
    void showCurrent();
    void showTexts();

    QPointer<AnnotationNames> names;
    QListView *view;
    QLineEdit *newName;
    QToolButton *colorButton;
    QPointer<QColorDialog> dialog; // while it is open
};
