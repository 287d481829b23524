#include "support/backends.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>

#include <memory>
#include <vector>

void hideBackEnds(const QString &folder)
{
    static std::vector<std::unique_ptr<QTemporaryDir>> shown; // links to all that is not hidden
    shown.push_back(std::make_unique<QTemporaryDir>());
    const QStringList paths = QCoreApplication::libraryPaths();
    for (const QString &path : paths) {
        const QFileInfoList kinds = QDir(path).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot);
        for (const QFileInfo &kind : kinds) {
            if (kind.fileName() != folder)
                QFile::link(kind.absoluteFilePath(), shown.back()->filePath(kind.fileName()));
        }
    }
    QCoreApplication::setLibraryPaths({shown.back()->path()});
}
