#pragma once

#include <QFile>
#include <QFileInfo>
#include <QString>

/** Compares paths and the files behind them. */
namespace SameFile {

/** True for equal paths, compared without regard to case and without looking at the disk. */
inline bool isSamePath(const QString &a, const QString &b)
{
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

/** The same for absolute forms of the paths. */
inline bool isSameAbsolutePath(const QString &a, const QString &b)
{
    return isSamePath(QFileInfo(a).absoluteFilePath(), QFileInfo(b).absoluteFilePath());
}

/** True if two spellings lead to one existing file. */
inline bool leadToOne(const QString &a, const QString &b)
{
    // QFileInfo takes any two files that do not exist for one and the same.
    return QFile::exists(a) && QFile::exists(b) && QFileInfo(a) == QFileInfo(b);
}

} // namespace SameFile
