#include "baselib/uihelper.h"

#include "baselib/globalconsole.h"
#include "baselib/svgiconengine_p.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLayout>
#include <QPushButton>
#include <QVBoxLayout>

#include <memory>

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
    layout->addWidget(widget);
}

QPushButton *UIHelper::GenerateSvgButton(const QString &svg, const QSize &iconSize, const QSize &buttonSize,
    const QString &text, const QString &toolTip)
{
    auto *const button = new QPushButton(text);
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

QIcon UIHelper::svgIcon(const QString &svg, QWidget *widget)
{
    auto renderer = std::make_shared<QSvgRenderer>(svg);
    if (!renderer->isValid()) {
        GlobalConsole::writeLine(
            QCoreApplication::translate("UIHelper", "The icon %1 cannot be shown").arg(svg),
            QDateTime::currentDateTime());
        return {};
    }
    return QIcon(new SvgIconEngine(std::move(renderer), widget));
}
