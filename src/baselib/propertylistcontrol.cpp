#include "baselib/propertylistcontrol.h"

#include "baselib/abstractmetadescriptor.h"
#include "baselib/abstractsettings.h"
#include "baselib/propertyeditor_p.h"
#include "baselib/uihelper.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSet>
#include <QStyle>
#include <QUndoStack>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr QSize smallButtonFrame(8, 8);

enum Column
{
    LabelColumn,
    EditorColumn,
    ResetColumn
};

// Asks for the size of what it holds, and scrolls where it gets less.
class FittingArea : public QScrollArea
{
public:
    FittingArea()
    {
        setFrameShape(QFrame::NoFrame);
        setWidgetResizable(true);
        setFocusPolicy(Qt::NoFocus);
    }
    QSize minimumSizeHint() const override
    {
        return {sizeHint().width(), QScrollArea::minimumSizeHint().height()};
    }
    QSize sizeHint() const override
    {
        const QSize content = widget() ? widget()->sizeHint() : QSize(0, 0);
        return content + QSize(verticalScrollBar()->sizeHint().width(), 0);
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        const bool result = QScrollArea::eventFilter(watched, event);
        if (watched == widget() && event->type() == QEvent::LayoutRequest)
            updateGeometry();
        return result;
    }
};

QString withKey(const QString &text, QKeySequence::StandardKey key)
{
    const QString keys = QKeySequence(key).toString(QKeySequence::NativeText);
    return keys.isEmpty() ? text : QStringLiteral("%1 (%2)").arg(text, keys);
}

QPushButton *flatButton(const QString &svg, const QString &text, const QWidget *host)
{
    const int side = host->style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, host);
    QPushButton *const button =
        UIHelper::GenerateSvgButton(svg, {side, side}, QSize(side, side) + smallButtonFrame, text);
    button->setFlat(true);
    // A click leaves the focus, and what is being typed, where it is.
    button->setFocusPolicy(Qt::TabFocus);
    return button;
}

} // namespace

PropertyListControl::PropertyListControl(
    AbstractSettings *settings, const QString &text, int viewMode, QWidget *parent)
    : BasePropertyListWidget(parent), viewMode(viewMode), heading(new QLabel(text)), area(new FittingArea),
      footer(new QWidget)
{
    auto *const column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    QFont bold = heading->font();
    bold.setBold(true);
    heading->setFont(bold);
    heading->setWordWrap(true);
    heading->setVisible(!text.isEmpty());
    column->addWidget(heading);
    column->addWidget(area, 1);
    column->addWidget(footer);

    auto *const buttons = new QHBoxLayout(footer);
    buttons->setContentsMargins(0, 0, 0, 0);
    buttons->addStretch();
    undoButton = addFooterButton(QStringLiteral(":/varnhold/icons/undo.svg"), tr("Undo"));
    redoButton = addFooterButton(QStringLiteral(":/varnhold/icons/redo.svg"), tr("Redo"));
    connect(undoButton, &QPushButton::clicked, this, &PropertyListControl::undo);
    connect(redoButton, &QPushButton::clicked, this, &PropertyListControl::redo);
    connect(undoStack(), &QUndoStack::indexChanged, this, &PropertyListControl::updateFooter);
    setSettings(settings);
}

PropertyListControl::~PropertyListControl() = default;

QPushButton *PropertyListControl::addFooterButton(const QString &svg, const QString &text)
{
    QPushButton *const button = flatButton(svg, text, this);
    footer->layout()->addWidget(button);
    return button;
}

void PropertyListControl::build()
{
    for (const Row &row : qAsConst(rows))
        row.editor->disconnect(this); // one that loses the focus must not write to the new settings
    rows.clear();
    groups.clear();
    if (QWidget *const old = area->takeWidget()) {
        // This may be the answer to a signal of one of its fields.
        old->hide();
        old->deleteLater();
    }
    auto *const content = new QWidget;
    auto *const column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 0, 0);
    const QStringList names = properties();
    QSet<QString> classes;
    for (const QString &name : names)
        classes.insert(settings()->metaDescriptor()->declaringClass(name));
    const bool titled = viewMode != Flat && classes.size() > 1;
    QString group;
    QGridLayout *grid = nullptr;
    for (const QString &name : names) {
        const QString declaring = settings()->metaDescriptor()->declaringClass(name);
        if (!grid || (titled && declaring != group))
            grid = addGroup(content, name, titled);
        group = declaring;
        addRow(name, grid);
    }
    column->addStretch();
    area->setWidget(content);
    footer->setVisible(
        std::any_of(names.cbegin(), names.cend(), [this](const QString &name) { return isEditable(name); }));
    updateFooter();
}

QGridLayout *PropertyListControl::addGroup(QWidget *content, const QString &property, bool titled)
{
    auto *const box = titled ? new QGroupBox : nullptr;
    auto *const grid = new QGridLayout;
    grid->setColumnStretch(EditorColumn, 1);
    if (box) {
        box->setLayout(grid);
        content->layout()->addWidget(box);
    } else {
        static_cast<QBoxLayout *>(content->layout())->addLayout(grid);
    }
    groups.append({property, box, grid});
    return grid;
}

void PropertyListControl::addRow(const QString &property, QGridLayout *grid)
{
    PropertyTraits traits;
    traits.property = metaProperty(property);
    traits.specialType = info(property, QStringLiteral("SpecialType")).toLower();
    traits.minimum = info(property, QStringLiteral("Minimum"));
    traits.maximum = info(property, QStringLiteral("Maximum"));
    traits.step = info(property, QStringLiteral("Step"));
    traits.editable = isEditable(property);
    Row row{property, nullptr, PropertyEditor::create(traits, nullptr), nullptr};
    const int line = grid->rowCount();
    const auto vertical = traits.property.isFlagType() ? Qt::AlignTop : Qt::AlignVCenter;
    if (!row.editor->hasOwnLabel()) {
        row.label = new QLabel;
        row.label->setBuddy(row.editor->input());
        const auto sides = Qt::Alignment(style()->styleHint(QStyle::SH_FormLayoutLabelAlignment));
        grid->addWidget(row.label, line, LabelColumn, (sides & Qt::AlignHorizontal_Mask) | vertical);
    }
    grid->addWidget(row.editor, line, EditorColumn);
    if (traits.editable && hasDefault(property)) {
        row.reset = flatButton(QStringLiteral(":/varnhold/icons/reset.svg"), QString(), this);
        grid->addWidget(row.reset, line, ResetColumn, vertical);
        connect(row.reset, &QPushButton::clicked, this, [this, property] { resetRow(property); });
    }
    connect(row.editor, &PropertyEditor::edited, this,
        [this, property](const QVariant &value, bool continues) { setValue(property, value, continues); });
    rows.append(row);
}

void PropertyListControl::arrange()
{
    int labelWidth = 0;
    int resetWidth = 0;
    for (const Row &row : qAsConst(rows)) {
        if (row.label)
            labelWidth = qMax(labelWidth, row.label->sizeHint().width());
        if (row.reset)
            resetWidth = qMax(resetWidth, row.reset->sizeHint().width());
    }
    for (const Group &group : qAsConst(groups)) {
        group.grid->setColumnMinimumWidth(LabelColumn, labelWidth);
        group.grid->setColumnMinimumWidth(ResetColumn, resetWidth);
    }
    // While it is hidden, nothing tells the area that its content has another size; from the inside outwards.
    const QList<QWidget *> widgets = area->widget()->findChildren<QWidget *>();
    for (auto widget = widgets.crbegin(); widget != widgets.crend(); ++widget) {
        if ((*widget)->layout())
            (*widget)->layout()->activate();
    }
    area->widget()->layout()->activate();
    area->updateGeometry();
}

void PropertyListControl::showValue(const QString &property)
{
    const Row *const row = find(property);
    if (!row)
        return;
    row->editor->setValue(value(property));
    if (!row->reset)
        return;
    const bool canReset = !isDefault(property);
    // A button that goes dead would pass the focus on to the next row.
    if (!canReset && row->reset->hasFocus())
        row->editor->input()->setFocus();
    row->reset->setEnabled(canReset);
}

void PropertyListControl::retranslate()
{
    for (const Row &row : qAsConst(rows)) {
        const QString text = label(row.property);
        if (row.label)
            row.label->setText(text);
        row.editor->retranslate(text);
        if (row.reset) {
            row.reset->setToolTip(tr("Reset to the default"));
            row.reset->setAccessibleName(tr("Reset %1").arg(text));
        }
    }
    for (const Group &group : qAsConst(groups)) {
        if (group.box)
            group.box->setTitle(groupLabel(group.property));
    }
    setAccessibleName(heading->text().isEmpty() ? tr("Properties") : heading->text());
    undoButton->setText(tr("Undo"));
    redoButton->setText(tr("Redo"));
    updateFooter();
    arrange();
}

void PropertyListControl::updateFooter()
{
    undoButton->setEnabled(undoStack()->canUndo());
    redoButton->setEnabled(undoStack()->canRedo());
    undoButton->setToolTip(withKey(tr("Undo the last change"), QKeySequence::Undo));
    redoButton->setToolTip(withKey(tr("Redo what was undone"), QKeySequence::Redo));
}

void PropertyListControl::resetRow(const QString &property)
{
    if (const Row *const row = find(property)) {
        row->editor->revert();
        reset(property);
    }
}

bool PropertyListControl::giveUpTyping()
{
    bool typed = false;
    for (const Row &row : qAsConst(rows)) {
        if (row.editor->isPending()) {
            row.editor->revert();
            typed = true;
        }
    }
    return typed;
}

void PropertyListControl::undo()
{
    if (!giveUpTyping())
        undoStack()->undo();
}

void PropertyListControl::redo()
{
    if (!giveUpTyping())
        undoStack()->redo();
}

void PropertyListControl::commit()
{
    // What counts may bring other rows.
    QVector<QPointer<PropertyEditor>> editors;
    for (const Row &row : qAsConst(rows))
        editors.append(row.editor);
    for (const QPointer<PropertyEditor> &editor : qAsConst(editors)) {
        if (editor)
            editor->commit();
    }
}

QWidget *PropertyListControl::input(const QString &property) const
{
    const Row *const row = find(property);
    return row ? row->editor->input() : nullptr;
}

const PropertyListControl::Row *PropertyListControl::find(const QString &property) const
{
    const auto found = std::find_if(
        rows.cbegin(), rows.cend(), [&property](const Row &row) { return row.property == property; });
    return found != rows.cend() ? &*found : nullptr;
}

bool PropertyListControl::event(QEvent *event)
{
    // Not a shortcut of a QAction: with one of the host's for the same keys, neither would be taken.
    if (event->type() == QEvent::ShortcutOverride) {
        auto *const key = static_cast<QKeyEvent *>(event);
        if (key->matches(QKeySequence::Undo) || key->matches(QKeySequence::Redo)) {
            key->accept();
            return true;
        }
    }
    return BasePropertyListWidget::event(event);
}

void PropertyListControl::keyPressEvent(QKeyEvent *event)
{
    if (event->matches(QKeySequence::Undo))
        undo();
    else if (event->matches(QKeySequence::Redo))
        redo();
    else
        BasePropertyListWidget::keyPressEvent(event);
}

void PropertyListControl::hideEvent(QHideEvent *event)
{
    commit();
    BasePropertyListWidget::hideEvent(event);
}
