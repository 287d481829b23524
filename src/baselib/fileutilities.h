#pragma once

#include "varnhold_export.h"

#include <QString>
#include <QStringList>

/** Makes folders, joins paths, tells sizes and lists the files of a folder. \thread Any. */
class VARNHOLD_EXPORT FileUtilities
{
public:
    FileUtilities() = delete;

    /** Makes \a folder with all folders above it. True if it exists afterwards; false also for an empty path
     * and where a file has that name. */
    static bool createIfNotExists(const QString &folder);

    /** \a folder with exactly one slash at its end. An empty path, which stands for the working folder, gives
     * "./": a slash alone would be the root. */
    static QString FolderSlash(const QString &folder);

    /** A number of bytes as text for people, in the default locale: "0 bytes", "1.50 MiB". */
    static QString filesizeNice(qint64 bytes);

    /** The size of the file at \a path as such a text. A file that is not there counts as 0 bytes. */
    static QString filesizeNice(const QString &path);

    /**
     * The files of \a folder that have one of \a suffixes, in natural order: img2 before img10, upper and
     * lower case side by side, the same in every locale.
     *
     * \param suffixes with or without a dot, compared without regard to case; "tar.gz" is possible. An empty
     *     list gives no file.
     * \param recursive also takes the files of the folders below. Links to folders are followed; a folder is
     *     listed once, under its own name where it has one below \a folder, and a link to a folder that
     *     contains \a folder is left out.
     * \param fullPath gives absolute paths; otherwise paths as seen from \a folder.
     *
     * Hidden files and folders are left out, as are names that the platform cannot open. A folder that is
     * missing or cannot be read gives no file.
     */
    static QStringList getFilesOfTypes(
        const QString &folder, const QStringList &suffixes, bool recursive, bool fullPath);
};
