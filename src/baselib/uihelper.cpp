#include "baselib/uihelper.h"

#include "baselib/globalconsole.h"
#include "baselib/svgiconengine_p.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLayout>
#include <QPushButton>
#include <QVBoxLayout>

#include <QStyleOptionButton>
#include <QStylePainter>

#include <memory>
#include <utility>

namespace {

constexpr int gap = 4; // between icon and text

// Paints its icon itself. In a style's hands, Qt 5 enlarges an icon of as many pixels as points, unless the
// whole application asks for more.
class SvgButton : public QPushButton
{
public:
    using QPushButton::QPushButton;

protected:
    void paintEvent(QPaintEvent *event) override
    {
        QStyleOptionButton option;
        initStyleOption(&option);
        const QIcon icon = std::exchange(option.icon, QIcon());
        const QString text = std::exchange(option.text, QString());
        if (icon.isNull()) {
            QPushButton::paintEvent(event);
            return;
        }
        QStylePainter painter(this);
        painter.drawControl(QStyle::CE_PushButton, option);

        QRect place = style()->subElementRect(QStyle::SE_PushButtonContents, &option, this);
        if (option.state & (QStyle::State_Sunken | QStyle::State_On))
            place.translate(style()->pixelMetric(QStyle::PM_ButtonShiftHorizontal, &option, this),
                style()->pixelMetric(QStyle::PM_ButtonShiftVertical, &option, this));
        const int flags = Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine
            | (style()->styleHint(QStyle::SH_UnderlineShortcut, &option, this) ? Qt::TextShowMnemonic
                                                                               : Qt::TextHideMnemonic);
        const QSize iconPlace = option.iconSize;
        QSize content = iconPlace;
        if (!text.isEmpty())
            content.rwidth() += gap + option.fontMetrics.size(flags, text).width();
        const QRect whole(
            QPoint(), QSize(content.width(), qMax(content.height(), option.fontMetrics.height())));
        const QRect centred = QStyle::alignedRect(Qt::LeftToRight, Qt::AlignCenter, whole.size(), place);
        const auto mirrored = [&](const QRect &rect) {
            return QStyle::visualRect(option.direction, centred, rect);
        };
        const QRect iconRect(centred.left(), centred.center().y() - (iconPlace.height() - 1) / 2,
            iconPlace.width(), iconPlace.height());
        icon.paint(&painter, mirrored(iconRect), Qt::AlignCenter,
            isEnabled() ? QIcon::Normal : QIcon::Disabled, isChecked() ? QIcon::On : QIcon::Off);
        painter.drawItemText(mirrored(centred.adjusted(iconPlace.width() + gap, 0, 0, 0)), flags,
            option.palette, isEnabled(), text, QPalette::ButtonText);
    }
};

// Layouts put a widget that may not grow on their left, across their direction.
class CentredItem : public QWidgetItem
{
public:
    using QWidgetItem::QWidgetItem;

    void setGeometry(const QRect &place) override
    {
        const QSize size = place.size().boundedTo(maximumSize());
        QWidgetItem::setGeometry(QStyle::alignedRect(Qt::LeftToRight, Qt::AlignCenter, size, place));
    }
};

QIcon svgIcon(const QString &svg, QWidget *widget)
{
    auto renderer = std::make_shared<QSvgRenderer>(svg);
    if (renderer->isValid())
        return QIcon(new SvgIconEngine(std::move(renderer), widget));
    GlobalConsole::writeLine(QCoreApplication::translate("UIHelper", "The icon %1 cannot be shown").arg(svg),
        QDateTime::currentDateTime());
    return {};
}

} // namespace

// Of two resources of one name Qt takes the one that came first. The application's come after those of the
// library that it links, so ours step back once everything is loaded. Not in an unnamed namespace, where Qt's
// macros would declare other functions.
static void yieldIconsToApplication()
{
    Q_CLEANUP_RESOURCE(varnholdicons);
    Q_INIT_RESOURCE(varnholdicons);
}

Q_COREAPP_STARTUP_FUNCTION(yieldIconsToApplication)

void UIHelper::InsertToWidget(QWidget *host, QWidget *widget, int margin, int spacing)
{
    if (!host || !widget)
        return;
    QLayout *layout = host->layout();
    if (!layout)
        layout = new QVBoxLayout(host);
    layout->setContentsMargins(margin, margin, margin, margin);
    layout->setSpacing(spacing);
    layout->addWidget(widget); // takes it out of the layout that it stands in, too
    delete layout->takeAt(layout->count() - 1);
    layout->addItem(new CentredItem(widget));
}

QPushButton *UIHelper::GenerateSvgButton(const QString &svg, const QSize &iconSize, const QSize &buttonSize,
    const QString &text, const QString &toolTip)
{
    auto *const button = new SvgButton(text);
    button->setIconSize(iconSize);
    button->setIcon(svgIcon(svg, button));
    if (text.isEmpty()) {
        button->setAccessibleName(toolTip);
        if (!buttonSize.isEmpty())
            button->setFixedSize(buttonSize);
    } else if (!buttonSize.isEmpty()) {
        button->setMinimumHeight(buttonSize.height()); // the width follows the text, in each language
    }
    button->setToolTip(toolTip);
    button->setAutoDefault(false); // Enter in a field of the same dialog is not meant for it
    return button;
}
