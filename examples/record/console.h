#pragma once

#include <QString>

/** Writes to the terminal so that a line never shares its row with a progress text. All functions: any
 * thread. */
namespace Console {

/** Sends the library's lines and Qt's messages through line() from now on. */
void install();

/** Replaces the progress text in the last row of the error channel. */
void progress(const QString &text);

/** Writes one line to the error channel, below a progress text that stands there. */
void line(const QString &text);

/** Writes one line to the output channel, below a progress text. */
void result(const QString &text);

/** Writes \a reason as the program's own line. */
void fault(const QString &reason);

} // namespace Console
