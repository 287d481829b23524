#pragma once

#include "baselib/basepropertylistwidget.h"
#include "varnhold_export.h"

#include <QVector>

class PropertyEditor;
class QGridLayout;
class QGroupBox;
class QLabel;
class QScrollArea;
class QPushButton;

/**
 * Edits the properties of a settings object in a form. Each change counts at once; there is nothing to apply.
 *
 *     PropertyListControl control(camera->getSettings());
 *     control.show();
 *
 * What is listed, the class-info keys and the texts are told at BasePropertyListWidget. The fields:
 *
 * - `bool`: a check box. An enumeration: a combo box; flags: a check box for each.
 * - Numbers: a spin box with the `Minimum`, `Maximum` and `Step` of the class-info. A value beyond them, set
 * by code, is shown as it is. Integers of 64 bits can be edited up to 2^53.
 * - Text and what converts to text and back, dates among them: a line.
 * - `SpecialType` "file" or "folder": a line with a button that opens a file dialog; for QString and QUrl.
 * - `SpecialType` "color", and each QColor: a line with "#rrggbb", "#aarrggbb" or a name, and a button that
 *   opens a colour dialog.
 * - `SpecialType` "password", and each text whose name ends in "Password": a hidden text, and a button that
 *   reveals it until the widget is hidden.
 * - Any other type: shown as text, sizes and rectangles with their numbers.
 *
 * Case does not matter in the value of `SpecialType`.
 *
 * A property with a default has a button that resets it. Typed texts and numbers count with Enter, when the
 * field loses the focus and when the widget is hidden; Escape gives them up. Ctrl+Z, and a button below,
 * undoes the last change, in the text until it counts and in the settings afterwards.
 *
 * \thread GUI thread; see BasePropertyListWidget.
 */
class VARNHOLD_EXPORT PropertyListControl : public BasePropertyListWidget
{
    Q_OBJECT

public:
    enum ViewMode
    {
        Groups = 0, // a titled group for each class that declares listed properties, if there are several
        Flat = 1 // one list
    };
    Q_ENUM(ViewMode)

    /**
     * \param settings null makes an empty widget, see setSettings().
     * \param text a heading; none if it is empty.
     * \param viewMode a ViewMode; any other number is taken for Groups.
     * \ownership The caller keeps \a settings.
     */
    explicit PropertyListControl(AbstractSettings *settings, const QString &text = {}, int viewMode = Groups,
        QWidget *parent = nullptr);
    ~PropertyListControl() override;

    /** The field of \a property that takes the keys, such as a QSpinBox; null for a name that is not listed.
     */
    QWidget *input(const QString &property) const;

    void commit() override;

protected:
    void build() override;
    void showValue(const QString &property) override;
    void retranslate() override;

    bool event(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    struct Row
    {
        QString property;
        QLabel *label; // null where the editor has its own
        PropertyEditor *editor;
        QPushButton *reset; // null without a default
    };

    struct Group
    {
        QString property; // its first one
        QGroupBox *box; // null where no title is shown
        QGridLayout *grid; // label, editor, reset
    };

    QPushButton *addFooterButton(const QString &svg, const QString &text);
    QGridLayout *addGroup(QWidget *content, const QString &property, bool titled);
    void addRow(const QString &property, QGridLayout *grid);
    void arrange();
    void resetRow(const QString &property);
    void undo();
    void redo();
    bool giveUpTyping();
    void updateFooter();
    const Row *find(const QString &property) const;

    const int viewMode;
    QLabel *heading;
    QScrollArea *area;
    QWidget *footer;
    QPushButton *undoButton;
    QPushButton *redoButton;
    QVector<Row> rows;
    QVector<Group> groups;
};
