#pragma once

#include <QByteArray>
#include <QString>

class QMutex;

/** Reads and replaces settings files, whole and readable by their owner alone. \thread Any. */
namespace SettingsFile {

constexpr char rootElement[] = "Settings";

struct Content
{
    enum State
    {
        Missing,
        Good, // well-formed, within the limits, with the right document element
        Broken, // to be kept aside before it is replaced
        Unreadable, // must not be replaced, since what it holds is not known
    };
    State state = Missing;
    QByteArray bytes; // of a good one
    QString reason; // why it is not good
};

/** The file that is meant where \a path is a symbolic link; otherwise \a path. */
QString resolved(const QString &path);

/** Held while a file is read, merged and replaced. Not every file has one of its own. */
QMutex &lockOf(const QString &path);

Content read(const QString &path);

/** Puts \a bytes in place of the file in one step. */
bool replace(const QString &path, const QByteArray &bytes, QString *reason);

/** Keeps what is at \a path under another name as well. */
bool keepBroken(const QString &path, QString *reason);

} // namespace SettingsFile
