// Makes the pictures of the widgets for the documentation, on devices without hardware:
//     screenshots FOLDER SUFFIX
#include "baselib/globalconsole.h"
#include "screenshots/sheet.h"

#include <QtWidgets>

int main(int argc, char **argv)
{
    const QTemporaryDir home; // for the settings of the cameras
    qputenv("HOME", QFile::encodeName(home.path()));
    QApplication app(argc, argv);
    if (argc != 3) {
        qCritical("usage: screenshots FOLDER SUFFIX");
        return 2;
    }
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication::setFont(QFont(QStringLiteral("DejaVu Sans"), 9));
    QApplication::setCursorFlashTime(0);
    GlobalConsole::setSink([](const QString &, const QDateTime &) {}); // outages are what is shown

    const QString folder = QString::fromLocal8Bit(argv[1]);
    const QString ending = QString::fromLocal8Bit(argv[2]) + QStringLiteral(".png");
    const bool isSaved = saveCameraSheets(folder, ending) && savePlaybackSheets(folder, ending)
        && saveRecordingSheets(folder, ending) && saveSoundSheets(folder, ending);
    return isSaved ? 0 : 1;
}
