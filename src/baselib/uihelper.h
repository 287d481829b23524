#pragma once

#include "varnhold_export.h"

#include <QSize>
#include <QString>

class QPushButton;
class QWidget;

/**
 * Makes small pieces of user interfaces.
 *
 *     QPushButton *button = UIHelper::GenerateSvgButton(
 *         QStringLiteral(":/icons/settings.svg"), QSize(16, 16), QSize(24, 24), {}, tr("Settings"));
 *
 * Two icons come with the library, ":/icons/photo_camera.svg" and ":/icons/settings.svg". Files that an
 * application compiles in under these names take their place.
 *
 * \thread GUI thread.
 */
class VARNHOLD_EXPORT UIHelper
{
public:
    UIHelper() = delete;

    /**
     * Makes \a widget fill \a host. Without either nothing happens.
     *
     * A host without a layout gets a vertical one; in a host that has one, \a widget goes behind what is
     * there. A widget that may not grow so large stands in the middle.
     *
     * \param margin on all four sides, inside of the host's own contents margins, in pixels.
     * \param spacing to what stands in the same host, in pixels.
     * \ownership \a host owns \a widget afterwards.
     */
    static void InsertToWidget(QWidget *host, QWidget *widget, int margin = 0, int spacing = 0);

    /**
     * Makes a button with the icon of the file \a svg.
     *
     * The icon is sharp at any scale factor, whether or not the application uses Qt::AA_UseHighDpiPixmaps.
     * One of a single grey (black and white count) is drawn in the colour of the button's texts and follows
     * its palette; any other keeps its colours. If the file cannot be shown, the button has no icon, and
     * there is one console line.
     *
     * \param svg a file or a resource.
     * \param buttonSize the size of a button without a text; the least height of one with a text, whose width
     *     follows the text. An empty one leaves both to the style.
     * \param toolTip also what the button is called where there is no text.
     * \ownership The caller's: the button has no parent.
     */
    static QPushButton *GenerateSvgButton(const QString &svg, const QSize &iconSize, const QSize &buttonSize,
        const QString &text = {}, const QString &toolTip = {});
};
