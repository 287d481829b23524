#pragma once

#include <QFile>
#include <QFileInfo>
#include <QString>

namespace FFMpegFiles {

/** True where two spellings lead to one existing file. `ffmpeg` tells them apart and would empty the file
 * that it reads. */
inline bool leadToOne(const QString &a, const QString &b)
{
    // QFileInfo takes any two files that do not exist for one and the same.
    return QFile::exists(a) && QFile::exists(b) && QFileInfo(a) == QFileInfo(b);
}

} // namespace FFMpegFiles
