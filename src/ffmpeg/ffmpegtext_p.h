#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/**
 * Keeps what a child process writes on its error channel, as a terminal would show it.
 *
 * A carriage return alone starts the line anew, or an hour of progress would push out the reason of a
 * failure. Only the last lines are kept, and of an endless line its begin.
 */
class FFMpegText
{
public:
    /** Takes \a chunk in; gives the lines that end in it, those that are overwritten afterwards included. */
    QStringList append(const QByteArray &chunk);

    /** The last 20 lines, a line that has not ended included. */
    QString lastLines() const;

    void clear();

private:
    QStringList lines; // whole ones
    QByteArray begun; // the line that follows them
    bool returned = false; // a carriage return: what comes next overwrites the line
};
